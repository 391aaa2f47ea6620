// SPDX-License-Identifier: MIT
//
// Ordering.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/ComposedText.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::Equivalence;

HxComparisonResult ordering(auto left, auto right) {
  return left < right ? HxOrderedAscending : left > right ? HxOrderedDescending : HxOrderedSame;
}

template <class Unit>
struct Text {
  Text(const Unit* start, HxUInteger count) : units(start), length(count) {}
  HxUniChar operator[](HxUInteger index) const { return static_cast<HxUniChar>(units[index]); }

  const Unit* units;  // a char is ASCII
  HxUInteger length;
};

template <class Left, class Right>
HxUInteger commonPrefix(Text<Left> left, Text<Right> right) {
  const HxUInteger end = std::min(left.length, right.length);
  HxUInteger i = 0;
  while (i < end && left[i] == right[i]) ++i;
  return i;
}

template <class Left, class Right>
HxComparisonResult compareUnits(Text<Left> left, Text<Right> right) {
  const HxUInteger at = commonPrefix(left, right);
  if (at < left.length && at < right.length) return ordering(left[at], right[at]);
  return ordering(left.length, right.length);
}

HxComparisonResult compareUnits(Text<char> left, Text<char> right) {
  const HxUInteger end = std::min(left.length, right.length);
  const int difference = end > 0 ? std::memcmp(left.units, right.units, end) : 0;
  return difference ? ordering(difference, 0) : ordering(left.length, right.length);
}

// Reads the key of a text unit by unit, making it piece by piece.
template <class Unit>
class KeyReader {
 public:
  static constexpr int kEnd = -1;

  KeyReader(Text<Unit> text, HxUInteger start, Equivalence equivalence)
      : _text(text), _position(start), _equivalence(equivalence) {
    read();
  }

  int unit() const noexcept { return _unit; }
  void advance() { read(); }
  bool isAtDigit() const noexcept { return _unit >= '0' && _unit <= '9'; }

 private:
  void read() {
    if constexpr (sizeof(Unit) == 1) {
      _unit = _position < _text.length ? _equivalence.fold(_text[_position++]) : kEnd;
    } else {
      if (_next == _piece.length() && !makePiece()) return;
      _unit = _piece[_next++];
    }
  }
  bool makePiece() {
    _piece.clear();
    _next = 0;
    if (_position == _text.length) {
      _unit = kEnd;
      return false;
    }
    const HxUInteger end = nextPiece(_text.units, _text.length, _position, _equivalence);
    appendKey(_text.units + _position, end - _position, _equivalence, _piece);
    _position = end;
    return true;
  }

  struct Nothing {};
  Text<Unit> _text;
  HxUInteger _position;
  Equivalence _equivalence;
  int _unit = kEnd;
  HxUInteger _next = 0;
  std::conditional_t<sizeof(Unit) == 1, Nothing, internal::UnitBuffer> _piece;
};

// Compares two runs of digits by value, and leaves the readers after them.
template <class Left, class Right>
HxComparisonResult compareNumbers(KeyReader<Left>& left, KeyReader<Right>& right) {
  while (left.unit() == '0') left.advance();
  while (right.unit() == '0') right.advance();
  HxComparisonResult result = HxOrderedSame;
  for (; left.isAtDigit() && right.isAtDigit(); left.advance(), right.advance()) {
    if (result == HxOrderedSame) result = ordering(left.unit(), right.unit());
  }
  if (left.isAtDigit()) return HxOrderedDescending;
  return right.isAtDigit() ? HxOrderedAscending : result;
}

template <class Left, class Right>
HxComparisonResult compareKeys(KeyReader<Left> left, KeyReader<Right> right, bool byNumber) {
  for (;;) {
    if (byNumber && left.isAtDigit() && right.isAtDigit()) {
      const HxComparisonResult result = compareNumbers(left, right);
      if (result != HxOrderedSame) return result;
    } else {
      if (left.unit() != right.unit()) return ordering(left.unit(), right.unit());
      if (left.unit() == KeyReader<Left>::kEnd) return HxOrderedSame;
      left.advance();
      right.advance();
    }
  }
}

// Returns where the comparison of keys must begin: equal units need no keys, but the sequence with
// the first difference does.
template <class Left, class Right>
HxUInteger startOfDifference(Text<Left> left, Text<Right> right) {
  const HxUInteger at = commonPrefix(left, right);
  if (at == 0) return 0;
  return std::min(internal::previousSequenceBoundary(left.units, left.length, at),
                  internal::previousSequenceBoundary(right.units, right.length, at));
}

template <class Left, class Right>
HxComparisonResult compareTexts(Text<Left> left, Text<Right> right,
                                HxStringCompareOptions options) {
  const Equivalence equivalence(options);
  const bool byNumber = (options & HxNumericSearch) != 0;
  constexpr bool areNarrow = sizeof(Left) == 1 && sizeof(Right) == 1;
  if (!byNumber && (equivalence.isExact() || (areNarrow && !equivalence.foldsCase))) {
    return compareUnits(left, right);
  }
  const HxUInteger start = byNumber ? 0 : startOfDifference(left, right);
  return compareKeys(KeyReader<Left>(left, start, equivalence),
                     KeyReader<Right>(right, start, equivalence), byNumber);
}

}  // namespace

HxComparisonResult HxString::compare(const HxString& other, HxStringCompareOptions options) const {
  return compare(other, options, {0, length()});
}

HxComparisonResult HxString::compare(const HxString& other, HxStringCompareOptions options,
                                     HxRange range) const {
  if (!_object) return HxOrderedSame;
  internal::checkRange("-[HxString compare:options:range:]", range, length());
  if (!other) return HxOrderedDescending;
  return Characters(*this).visit([&](auto* left, HxUInteger) {
    return Characters(other).visit([&](auto* right, HxUInteger count) {
      return compareTexts(Text{left + range.location, range.length}, Text{right, count}, options);
    });
  });
}

HxComparisonResult HxStringObject::compare(const HxObject& other) const {
  if (other.typeID() != HxTypeID::string) return HxObject::compare(other);
  return HxString(HxAny::Unchecked{}, HxAny(this))
      .compare(HxString(HxAny::Unchecked{}, HxAny(&other)));
}

}  // namespace rondel
