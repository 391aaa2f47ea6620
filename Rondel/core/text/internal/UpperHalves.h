// SPDX-License-Identifier: MIT
//
// The upper halves of the vector registers, which a host may leave filled.
#pragma once

namespace rondel::internal {

// Clears the upper halves. Call it first where a text operation begins.
//
// This library is compiled for every x86-64 machine, so its vector code is SSE2. Such code crawls
// if the code before it used wider registers and did not clear them: on some machines it takes
// 150 ns more. Clearing takes about one. By convention no caller keeps anything in the upper
// halves, and code that is compiled for AVX has no such trouble.
inline void clearUpperHalves() noexcept {
#if defined(__x86_64__) && !defined(__AVX__)
  if (__builtin_cpu_supports("avx")) asm volatile("vzeroupper");
#endif
}

}  // namespace rondel::internal
