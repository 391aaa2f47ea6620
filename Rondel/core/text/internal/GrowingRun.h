// SPDX-License-Identifier: MIT
//
// A run of units that grows at its end. It is on the stack while it is short, later on the heap.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

template <class Unit, HxUInteger kUnitsOnStack = 1024 / sizeof(Unit)>
class GrowingRun {
 public:
  static constexpr HxUInteger kStackUnits = kUnitsOnStack;

  GrowingRun() noexcept = default;
  GrowingRun(const GrowingRun&) = delete;
  GrowingRun& operator=(const GrowingRun&) = delete;
  ~GrowingRun() {
    if (_units != _stack) std::free(_units);
  }

  const Unit* units() const noexcept { return _units; }
  HxUInteger length() const noexcept { return _length; }

  // Returns how many units can be added without growing.
  HxUInteger roomLeft() const noexcept { return _capacity - _length; }
  // Returns room for `count` more units. Call moveEndTo after writing there.
  Unit* room(HxUInteger count) {
    if (count > _capacity - _length) grow(count);
    return _units + _length;
  }
  void moveEndTo(const Unit* end) noexcept { _length = static_cast<HxUInteger>(end - _units); }

  void clear() noexcept { _length = 0; }
  void append(Unit unit) {
    *room(1) = unit;
    ++_length;
  }
  void append(const Unit* units, HxUInteger count) {
    if (count == 0) return;
    std::memcpy(room(count), units, count * sizeof(Unit));
    _length += count;
  }

 private:
  void grow(HxUInteger count) {
    constexpr HxUInteger kMost = HxNotFound / sizeof(Unit);
    if (count > kMost - _length) throw std::bad_alloc();
    const HxUInteger needed = _length + count;
    const HxUInteger capacity = needed > kMost / 2 ? kMost : needed * 2;
    Unit* const old = _units == _stack ? nullptr : _units;
    auto* const units = static_cast<Unit*>(std::realloc(old, capacity * sizeof(Unit)));
    if (!units) throw std::bad_alloc();
    if (!old) std::memcpy(units, _stack, _length * sizeof(Unit));
    _units = units;
    _capacity = capacity;
  }

  Unit* _units = _stack;
  HxUInteger _length = 0;
  HxUInteger _capacity = kStackUnits;
  Unit _stack[kStackUnits];
};

}  // namespace rondel::internal
