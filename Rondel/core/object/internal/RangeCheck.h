// SPDX-License-Identifier: MIT
//
// Bounds checks of the value types: a comparison while they pass, HxRangeException if they fail.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

[[noreturn]] RONDEL_EXPORT void raiseIndexBeyondEnd(const char* operation, HxUInteger index,
                                                    HxUInteger count);
[[noreturn]] RONDEL_EXPORT void raiseRangeBeyondEnd(const char* operation, HxRange range,
                                                    HxUInteger count);

// `operation` is the full name for the reason: "-[HxArray objectAtIndex:]".
inline void checkIndex(const char* operation, HxUInteger index, HxUInteger count) {
  if (index >= count) [[unlikely]] {
    raiseIndexBeyondEnd(operation, index, count);
  }
}
inline void checkRange(const char* operation, HxRange range, HxUInteger count) {
  if (!HxRangeFits(range, count)) [[unlikely]] {
    raiseRangeBeyondEnd(operation, range, count);
  }
}

}  // namespace rondel::internal
