// SPDX-License-Identifier: MIT
//
// A growing run of UTF-16 units that ICU can write to.
#pragma once

#include <algorithm>
#include <climits>
#include <stdexcept>

#include "Rondel/core/text/internal/GrowingRun.h"

namespace rondel::internal {

// A length as ICU takes it. Text of 2^31 units and more is beyond ICU: raises std::length_error.
inline std::int32_t icuLength(HxUInteger length) {
  if (length > INT_MAX) throw std::length_error("text of more than 2147483647 units");
  return static_cast<std::int32_t>(length);
}

class UnitBuffer : public GrowingRun<HxUniChar, 120> {
 public:
  HxUniChar operator[](HxUInteger index) const noexcept { return units()[index]; }

  // Appends what an ICU function writes. `write(units, capacity)` returns the length of its output,
  // and is called again with more room if that did not fit.
  template <class Write>
  void appendWith(Write&& write) {
    const HxUInteger left = std::min<HxUInteger>(roomLeft(), INT_MAX);
    const HxUInteger wanted = write(room(0), icuLength(left));
    if (wanted > left) write(room(wanted), icuLength(wanted));
    moveEndTo(units() + length() + wanted);
  }
};

}  // namespace rondel::internal
