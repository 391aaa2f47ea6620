// SPDX-License-Identifier: MIT
#include "Rondel/core/object/internal/RangeCheck.h"

#include "Rondel/core/object/Exception.h"

namespace rondel::internal {

void raiseIndexBeyondEnd(const char* operation, HxUInteger index, HxUInteger count) {
  HxException::raise(HxRangeException, "%s: index %lu beyond the end, %lu"_hx, operation, index,
                     count);
}

void raiseRangeBeyondEnd(const char* operation, HxRange range, HxUInteger count) {
  HxException::raise(HxRangeException, "%s: range {%lu, %lu} beyond the end, %lu"_hx, operation,
                     range.location, range.length, count);
}

}  // namespace rondel::internal
