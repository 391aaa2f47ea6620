// SPDX-License-Identifier: MIT
//
// The UTF-8 kernel for x86-64 machines with AVX2. See UTF8Kernel.h for what it does.
#pragma once

#include "Rondel/core/text/internal/UTF8Kernel.h"

#if defined(__x86_64__)

namespace rondel::internal {

// Returns whether this machine has all the instructions of the kernel.
bool canRunAVX2() noexcept;
UTF8Progress measureUTF8WithAVX2(const std::uint8_t* bytes, const std::uint8_t* end) noexcept;
UTF8Progress convertUTF8WithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                 HxUniChar* out) noexcept;
}  // namespace rondel::internal

#endif
