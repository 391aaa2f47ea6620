// SPDX-License-Identifier: MIT
//
// Text that grows at its end: bytes while all of it is ASCII, UTF-16 from the first text on that is
// not. Short text never leaves the stack.
#pragma once

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/GrowingRun.h"

namespace rondel::internal {

class TextBuffer {
 public:
  bool isWide() const noexcept { return _isWide; }
  // The run that is in use: narrow() until it is wide, wide() from then on.
  GrowingRun<char>& narrow() noexcept { return _narrow; }
  GrowingRun<HxUniChar>& wide() noexcept { return _wide; }

  void widen() {
    if (_isWide) return;
    HxUniChar* const room = _wide.room(_narrow.length());
    widenBytes(_narrow.units(), _narrow.length(), room);
    _wide.moveEndTo(room + _narrow.length());
    _isWide = true;
  }

  void append(char ascii) {
    if (_isWide) {
      _wide.append(static_cast<HxUniChar>(ascii));
    } else {
      _narrow.append(ascii);
    }
  }
  void append(const char* ascii, HxUInteger length) {
    if (!_isWide) return _narrow.append(ascii, length);
    HxUniChar* const room = _wide.room(length);
    widenBytes(ascii, length, room);
    _wide.moveEndTo(room + length);
  }
  void append(const HxUniChar* units, HxUInteger length) {
    widen();
    _wide.append(units, length);
  }

  HxString string() const {
    return _isWide ? makeString(_wide.units(), _wide.length())
                   : makeString(_narrow.units(), _narrow.length());
  }

 private:
  GrowingRun<char> _narrow;
  GrowingRun<HxUniChar> _wide;
  bool _isWide = false;
};

}  // namespace rondel::internal
