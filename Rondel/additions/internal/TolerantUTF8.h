// SPDX-License-Identifier: MIT
//
// The inner loops for UTF-8 that turned out to be damaged. Each reads a stretch of it: a malformed
// byte becomes a backslash and three octal digits, all else becomes UTF-16.
//
//   const TolerantUTF8Kernel& kernel = bestTolerantUTF8Kernel();
//   TextMeasure measure;
//   while (p != end) p = kernel.measure(p, end, measure);
//
// Legal is what TextDecoding.h says. A stretch ends where the loops for well-formed text
// (UTF8Kernel.h) are worth another try. All kernels return the same text, in stretches of their
// own. They are pure and may be called on any thread.
#pragma once

#include <span>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

struct TextMeasure {
  HxUInteger units = 0;
  HxUInteger malformed = 0;
  bool isASCII = true;  // whether all that is not ASCII is malformed
};

struct TolerantUTF8Kernel {
  const char* name;
  // Each returns the first byte after the stretch. A stretch has at least one byte if there is one,
  // and does not end within a legal sequence. A sequence that the end cuts off is malformed.
  const std::uint8_t* (*measure)(const std::uint8_t* bytes, const std::uint8_t* end,
                                 TextMeasure& measure) noexcept;
  // Writes from `out` on and moves it to the end of what was written. There must be room for the
  // text of all bytes up to `end`. Room that is not needed may be written over.
  const std::uint8_t* (*convert)(const std::uint8_t* bytes, const std::uint8_t* end,
                                 HxUniChar*& out) noexcept;
  // The same for text whose measure is ASCII.
  const std::uint8_t* (*convertToASCII)(const std::uint8_t* bytes, const std::uint8_t* end,
                                        char*& out) noexcept;
};

// The kernels that this machine can run, the one for every machine first, the fastest last.
std::span<const TolerantUTF8Kernel> availableTolerantUTF8Kernels() noexcept;
const TolerantUTF8Kernel& bestTolerantUTF8Kernel() noexcept;

// The first byte of a last sequence whose bytes are not all there, told by its first byte alone.
// `end` if there is none.
const std::uint8_t* startOfIncompleteSequence(const std::uint8_t* bytes,
                                              const std::uint8_t* end) noexcept;

}  // namespace rondel::internal
