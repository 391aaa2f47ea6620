// SPDX-License-Identifier: MIT
//
// A growing run of UTF-16 units for algorithms: short ones on the stack, longer ones on the heap.
#pragma once

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// A length as ICU takes it. Text of 2^31 units and more is beyond ICU: raises std::length_error.
inline std::int32_t icuLength(HxUInteger length) {
  if (length > INT_MAX) throw std::length_error("text of more than 2147483647 units");
  return static_cast<std::int32_t>(length);
}

class UnitBuffer {
 public:
  static constexpr HxUInteger kStackUnits = 120;

  UnitBuffer() noexcept = default;
  UnitBuffer(const UnitBuffer&) = delete;
  UnitBuffer& operator=(const UnitBuffer&) = delete;
  ~UnitBuffer() {
    if (_units != _stack) std::free(_units);
  }

  const HxUniChar* data() const noexcept { return _units; }
  HxUInteger length() const noexcept { return _length; }
  HxUniChar operator[](HxUInteger index) const noexcept { return _units[index]; }
  void clear() noexcept { _length = 0; }

  void reserve(HxUInteger capacity) {
    if (capacity > _capacity) grow(capacity);
  }
  void append(HxUniChar unit) {
    if (_length == _capacity) grow(_capacity * 2);
    _units[_length++] = unit;
  }
  void append(const HxUniChar* units, HxUInteger count) {
    reserve(_length + count);
    if (count > 0) std::memcpy(_units + _length, units, count * sizeof(HxUniChar));
    _length += count;
  }

  // Appends what an ICU function writes. `write(units, capacity)` returns the length of its output,
  // and is called again with more room if that did not fit.
  template <class Write>
  void appendWith(Write&& write) {
    const HxUInteger room = _capacity - _length;
    const HxUInteger wanted = write(_units + _length, icuLength(room));
    if (wanted > room) {
      grow(_length + wanted);
      write(_units + _length, icuLength(wanted));
    }
    _length += wanted;
  }

 private:
  // To twice the room at least, so that appending takes time that grows as the text does.
  void grow(HxUInteger capacity) {
    if (capacity < 2 * _capacity) capacity = 2 * _capacity;
    if (capacity > HxNotFound / sizeof(HxUniChar)) throw std::bad_alloc();
    void* old = _units == _stack ? nullptr : _units;
    auto* units = static_cast<HxUniChar*>(std::realloc(old, capacity * sizeof(HxUniChar)));
    if (!units) throw std::bad_alloc();
    if (!old) std::memcpy(units, _stack, _length * sizeof(HxUniChar));
    _units = units;
    _capacity = capacity;
  }

  HxUniChar* _units = _stack;
  HxUInteger _length = 0;
  HxUInteger _capacity = kStackUnits;
  HxUniChar _stack[kStackUnits];
};

}  // namespace rondel::internal
