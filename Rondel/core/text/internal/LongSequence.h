// SPDX-License-Identifier: MIT
//
// Remembers the long composed sequence that was asked for last, and the string that holds it.
// Finding a sequence takes time as its length does. Asked for at each of its indexes, a run of many
// marks would take the square of that.
//
//   "a" and 1000 acutes, asked at 0   found {0, 1001} by a walk, remembered
//                        asked at 1   inside {0, 1001}: no walk
//   the string goes or changes        forgotten
//
// Only for strings that call forgetSequence before they go, and before they change other than by
// text at their end. Constants never go.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel {

class HxObject;

namespace internal {

// Sequences of fewer units are found as fast as remembered.
inline constexpr HxUInteger kLongSequence = 64;

// The string, for comparison only; null for none. Read and written atomically.
extern const HxObject* stringOfLongSequence;

// Returns the sequence around `index` of a string of that length; an empty range if it is not the
// one remembered.
HxRange rememberedSequence(const HxObject& string, HxUInteger length, HxUInteger index);
void rememberSequence(const HxObject& string, HxUInteger length, HxRange sequence);

void forgetLongSequence(const HxObject* string) noexcept;
inline void forgetSequence(const HxObject* string) noexcept {
  if (__atomic_load_n(&stringOfLongSequence, __ATOMIC_RELAXED) == string) [[unlikely]] {
    forgetLongSequence(string);
  }
}

}  // namespace internal
}  // namespace rondel
