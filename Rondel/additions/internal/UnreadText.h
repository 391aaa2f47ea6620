// SPDX-License-Identifier: MIT
//
// Text that is read from its front and grows there. Together with the text that is done it is a
// string that is edited at a moving point. An edit does not move the text after the point, as with
// a gap buffer.
//
// At first it is a view of the caller's characters. The first text that is put in front makes it a
// copy, at the end of a block with room before it.
//
// One worked trace, of "$(B)/c", with "x$D" for $(B) and "y" for $D; a dot is room:
//
//    $(B)/c        a view
//    /c            drop(4): still a view
//    .....x$D/c    addFront(3): a block for twice the five units
//    ......../c    drop(1) for the x that is done, drop(2) for the $D
//    .......y/c    addFront(1): there is room, so nothing moves
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

#include "Rondel/core/text/internal/ASCII.h"

namespace rondel::internal {

// A run of units at the end of a block, with room before it.
template <class Unit>
class FrontRun {
 public:
  FrontRun() noexcept = default;
  FrontRun(const Unit* units, HxUInteger length) noexcept : _units(units), _length(length) {}
  FrontRun(const FrontRun&) = delete;
  FrontRun& operator=(const FrontRun&) = delete;
  ~FrontRun() {
    if (_block) std::free(_block);
  }

  const Unit* units() const noexcept { return _units; }
  HxUInteger length() const noexcept { return _length; }

  void drop(HxUInteger count) noexcept {
    _units += count;
    _length -= count;
  }
  // Adds so many units in front, which the caller writes.
  Unit* addFront(HxUInteger count) {
    if (count > room()) grow(count);
    Unit* const front = _block + (room() - count);
    _units = front;
    _length += count;
    return front;
  }

 private:
  // The units before the text.
  HxUInteger room() const noexcept { return _block ? static_cast<HxUInteger>(_units - _block) : 0; }
  void grow(HxUInteger count) {
    constexpr HxUInteger kMost = HxNotFound / sizeof(Unit) / 2;
    if (count > kMost - _length) throw std::bad_alloc();
    const HxUInteger capacity = (_length + count) * 2;
    auto* const block = static_cast<Unit*>(std::malloc(capacity * sizeof(Unit)));
    if (!block) throw std::bad_alloc();
    Unit* const units = block + (capacity - _length);
    if (_length > 0) std::memcpy(units, _units, _length * sizeof(Unit));
    std::free(_block);
    _block = block;
    _units = units;
  }

  Unit* _block = nullptr;
  const Unit* _units = nullptr;
  HxUInteger _length = 0;
};

class UnreadText {
 public:
  // The characters must live as long as this.
  UnreadText(const char* ascii, HxUInteger length) noexcept
      : _narrow(ascii, length), _isWide(false) {}
  UnreadText(const HxUniChar* units, HxUInteger length) noexcept
      : _wide(units, length), _isWide(true) {}

  HxUInteger length() const noexcept { return _isWide ? _wide.length() : _narrow.length(); }
  // `visitor` gets the units, bytes if all of them are ASCII, and their number.
  template <class Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return _isWide ? visitor(_wide.units(), _wide.length())
                   : visitor(_narrow.units(), _narrow.length());
  }

  void drop(HxUInteger count) noexcept { _isWide ? _wide.drop(count) : _narrow.drop(count); }
  void addFront(const char* ascii, HxUInteger length) {
    if (_isWide) {
      widenBytes(ascii, length, _wide.addFront(length));
    } else {
      std::memcpy(_narrow.addFront(length), ascii, length);
    }
  }
  void addFront(const HxUniChar* units, HxUInteger length) {
    widen();
    std::memcpy(_wide.addFront(length), units, length * sizeof(HxUniChar));
  }

 private:
  void widen() {
    if (_isWide) return;
    widenBytes(_narrow.units(), _narrow.length(), _wide.addFront(_narrow.length()));
    _isWide = true;
  }

  FrontRun<char> _narrow;
  FrontRun<HxUniChar> _wide;
  bool _isWide;
};

}  // namespace rondel::internal
