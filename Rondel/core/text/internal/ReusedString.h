// SPDX-License-Identifier: MIT
//
// One string after the other, for code that sends out many and forgets each. While no receiver
// keeps them, they are made in the same block. A string that is kept keeps its block.
//
//   ReusedString line;
//   while (...) consume(line.make(units, length));
//
// A string is valid until the next one is made, and as long as there is another reference to it. So
// a ReusedString must not be shared with calls that may come from within `consume`.
#pragma once

#include <cstring>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/ASCII.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

class ReusedString {
 public:
  ReusedString() noexcept = default;
  ReusedString(const ReusedString&) = delete;
  ReusedString& operator=(const ReusedString&) = delete;

  // From bytes known to be ASCII, or from units.
  template <class Unit>
  const HxString& make(const Unit* units, HxUInteger length) {
    if (!makeInPlace(units, length)) {
      _string = makeString(units, length);
      _room = length <= kMostRoom && _string.asciiView().data() ? length : 0;
    }
    return _string;
  }

 private:
  // In characters. It bounds the unused room of a short string that is kept after longer ones.
  static constexpr HxUInteger kMostRoom = 128;

  template <class Unit>
  bool makeInPlace(const Unit* units, HxUInteger length) noexcept {
    if (length == 0 || length > _room || !_string.object()->isUniquelyReferenced()) return false;
    auto* string = static_cast<FlatString*>(_string.object());
    if (!copyASCII(units, length, string->narrow())) return false;
    FlatString::makeNarrowIn(string, length);
    return true;
  }
  static bool copyASCII(const char* ascii, HxUInteger length, char* out) noexcept {
    std::memcpy(out, ascii, length);
    return true;
  }
  static bool copyASCII(const HxUniChar* units, HxUInteger length, char* out) noexcept {
    return narrowASCIIPrefix(units, length, out) == length;
  }

  HxString _string;
  HxUInteger _room = 0;  // of the block; 0 if it is not a flat, narrow string's
};

}  // namespace rondel::internal
