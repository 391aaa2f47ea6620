// SPDX-License-Identifier: MIT
//
// The inner loops of UTF-8 to UTF-16 (RFC 3629). One loop measures well-formed text, one converts
// it. There is a form that runs on every machine, and one for a wider instruction set.
//
//   const UTF8Progress all = bestUTF8Kernel().measure(bytes, bytes + n);
//   if (all.stop != bytes + n) ...                       // the sequence at all.stop is ill-formed
//   bestUTF8Kernel().convert(bytes, bytes + n, units);   // room for all.units
//
// All kernels return the same, to the byte. They are pure and may be called on any thread.
#pragma once

#include <span>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// How far a kernel read: the first byte that does not begin a complete, well-formed sequence, or
// the end of the bytes; and the number of UTF-16 units of the text before it.
struct UTF8Progress {
  const std::uint8_t* stop;
  HxUInteger units;
};

struct UTF8Kernel {
  const char* name;
  UTF8Progress (*measure)(const std::uint8_t* bytes, const std::uint8_t* end) noexcept;
  // Writes the units to `out`, which must have room for the units of all the bytes. Room that is
  // not needed may be written over.
  UTF8Progress (*convert)(const std::uint8_t* bytes, const std::uint8_t* end,
                          HxUniChar* out) noexcept;
};

// Returns the kernels that this machine can run, the one for every machine first, the fastest last.
std::span<const UTF8Kernel> availableUTF8Kernels() noexcept;
const UTF8Kernel& bestUTF8Kernel() noexcept;

}  // namespace rondel::internal
