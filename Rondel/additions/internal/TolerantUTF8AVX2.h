// SPDX-License-Identifier: MIT
//
// The tolerant UTF-8 kernel for x86-64 machines with AVX2. See TolerantUTF8.h for what it does, and
// canRunAVX2() (UTF8KernelAVX2.h) for where it may be called.
#pragma once

#include "Rondel/additions/internal/TolerantUTF8.h"

#if defined(__x86_64__)

namespace rondel::internal {

const std::uint8_t* measureTolerantlyWithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                              TextMeasure& measure) noexcept;
const std::uint8_t* convertTolerantlyWithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                              HxUniChar*& out) noexcept;
const std::uint8_t* convertToASCIIWithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                           char*& out) noexcept;

}  // namespace rondel::internal

#endif
