// SPDX-License-Identifier: MIT
//
// The UTF-8 kernel for x86-64 machines with AVX2, and what it shares with the one for every
// machine, which reads the last bytes of a text for it. See UTF8Kernel.h for what they do.
#pragma once

#include "Rondel/core/internal/UTF8Kernel.h"

namespace rondel::internal {

UTF8Progress measureUTF8(const std::uint8_t* bytes, const std::uint8_t* end) noexcept;
UTF8Progress convertUTF8(const std::uint8_t* bytes, const std::uint8_t* end,
                         HxUniChar* out) noexcept;

#if defined(__x86_64__)
// Whether this machine has all the instructions that the kernel is made of.
bool canRunAVX2() noexcept;
UTF8Progress measureUTF8WithAVX2(const std::uint8_t* bytes, const std::uint8_t* end) noexcept;
UTF8Progress convertUTF8WithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                 HxUniChar* out) noexcept;
#endif

}  // namespace rondel::internal
