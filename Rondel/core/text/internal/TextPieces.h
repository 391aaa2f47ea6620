// SPDX-License-Identifier: MIT
//
// A string piece by piece: in place, or through a window on the stack. For algorithms that walk a
// text of any length and any class once, and take nothing from the heap.
//
//   TextPieces text(string);
//   text.visit({at, count}, [](auto* units) { ... });  // const char* (ASCII) or const HxUniChar*
#pragma once

#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/FlatString.h"

namespace rondel::internal {

class TextPieces {
 public:
  // The most units of one piece.
  static constexpr HxUInteger kUnits = 256;

  explicit TextPieces(const HxStringObject& string)
      : _string(string), _run(string.contiguousCharacters()) {}
  TextPieces(const TextPieces&) = delete;
  TextPieces& operator=(const TextPieces&) = delete;

  // Null and null if the text does not lie in one run.
  HxStringObject::Contiguous run() const noexcept { return _run; }

  // Returns the units of a range that fits the text, valid until the next call.
  template <class Visitor>
  decltype(auto) visit(HxRange piece, Visitor&& visitor) {
    if (_run.narrow) return visitor(_run.narrow + piece.location);
    if (_run.wide) return visitor(_run.wide + piece.location);
    _string.getCharacters(_window, piece);
    return visitor(static_cast<const HxUniChar*>(_window));
  }

 private:
  const HxStringObject& _string;
  const HxStringObject::Contiguous _run;
  HxUniChar _window[kUnits];
};

// Calls `visit` with one piece of the range after the other, from its start on, until it returns
// false.
template <class Visit>
void forEachPiece(HxRange range, Visit visit) {
  while (range.length > 0) {
    const HxUInteger count = range.length < TextPieces::kUnits ? range.length : TextPieces::kUnits;
    if (!visit(HxRange{range.location, count})) return;
    range = {range.location + count, range.length - count};
  }
}

// Returns whether `a` holds `b`, of `length` units, from `start` on.
inline bool haveSameUnits(const HxStringObject& a, HxUInteger start, const HxStringObject& b,
                          HxUInteger length) {
  TextPieces left(a);
  TextPieces right(b);
  bool isSame = true;
  forEachPiece({0, length}, [&](HxRange piece) {
    isSame = left.visit({start + piece.location, piece.length}, [&](auto* units) {
      return right.visit(piece,
                         [&](auto* others) { return areSameUnits(units, others, piece.length); });
    });
    return isSame;
  });
  return isSame;
}

}  // namespace rondel::internal
