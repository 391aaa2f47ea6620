// SPDX-License-Identifier: MIT
//
// Numbers at the start of text.
#include <unicode/uchar.h>

#include <algorithm>
#include <limits>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"

namespace rondel {

namespace {

using internal::Characters;

bool isWhitespace(HxUniChar unit) { return u_isUWhiteSpace(unit) != 0; }

// Walks over the start of a text; it reads 0 at the end.
class Cursor {
 public:
  explicit Cursor(const Characters& text) : _text(text) {}
  HxUniChar unit() const { return _index < _text.length() ? _text[_index] : u'\0'; }
  void advance() { ++_index; }
  void skipWhitespace() {
    while (_index < _text.length() && isWhitespace(unit())) advance();
  }
  // Returns whether there was a minus.
  bool skipSign() {
    const HxUniChar sign = unit();
    if (sign == u'+' || sign == u'-') advance();
    return sign == u'-';
  }

 private:
  const Characters& _text;
  HxUInteger _index = 0;
};

template <class Integer>
Integer leadingNumber(const HxString& string) {
  constexpr Integer kLeast = std::numeric_limits<Integer>::min();
  constexpr Integer kGreatest = std::numeric_limits<Integer>::max();
  const Characters text(string);
  Cursor cursor(text);
  cursor.skipWhitespace();
  const bool isNegative = cursor.skipSign();
  Integer value = 0;  // kept negative: the range has one more number there
  for (; internal::isDecimalDigit(cursor.unit()); cursor.advance()) {
    if (__builtin_mul_overflow(value, 10, &value) ||
        __builtin_sub_overflow(value, cursor.unit() - u'0', &value)) {
      return isNegative ? kLeast : kGreatest;
    }
  }
  if (isNegative) return value;
  return value == kLeast ? kGreatest : -value;
}

}  // namespace

int HxString::intValue() const { return leadingNumber<int>(*this); }

HxInteger HxString::integerValue() const { return leadingNumber<HxInteger>(*this); }

bool HxString::boolValue() const {
  if (isEmpty()) return false;
  const HxUniChar unit = characterAtIndex(0);
  return (internal::isDecimalDigit(unit) && unit != u'0') || unit == u'Y' || unit == u'y' ||
         unit == u'T' || unit == u't';
}

}  // namespace rondel
