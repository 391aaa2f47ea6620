// SPDX-License-Identifier: MIT
//
// Line bounds.
#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/LineScan.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

// Units that lie in one run.
template <class Unit>
class Run {
 public:
  Run(const Unit* units, HxUInteger length) noexcept : _units(units), _length(length) {}
  HxUInteger length() const noexcept { return _length; }
  bool hasUnit(HxUInteger index, char unit) const noexcept { return _units[index] == Unit(unit); }
  bool endsLineAt(HxUInteger index) const noexcept { return internal::endsLine(_units[index]); }
  HxUInteger findTerminator(HxUInteger from) const noexcept {
    return internal::findLineTerminator(_units, from, _length);
  }

 private:
  const Unit* _units;
  HxUInteger _length;
};

// Units of a string of an open class, read through a window: a caller that walks a long text line
// by line must not pay for the whole text at each step.
class Window {
 public:
  Window(const HxStringObject& string, HxUInteger length) : _string(string), _length(length) {}
  HxUInteger length() const { return _length; }
  bool hasUnit(HxUInteger index, char unit) { return at(index) == HxUniChar(unit); }
  bool endsLineAt(HxUInteger index) { return internal::endsLine(at(index)); }
  HxUInteger findTerminator(HxUInteger from) {
    while (from < _length) {
      at(from);
      const HxUInteger found = _start + internal::findLineTerminator(_units, from - _start, _count);
      if (found < _start + _count) return found;
      from = found;
    }
    return _length;
  }

 private:
  static constexpr HxUInteger kUnits = 256;

  HxUniChar at(HxUInteger index) {
    if (index - _start >= _count) load(index);
    return _units[index - _start];
  }
  // The window includes some units before: the scan for a line's start goes backwards.
  void load(HxUInteger index) {
    _start = index - (index < kUnits / 4 ? index : kUnits / 4);
    _count = _length - _start < kUnits ? _length - _start : kUnits;
    _string.getCharacters(_units, {_start, _count});
  }

  const HxStringObject& _string;
  HxUInteger _length;
  HxUInteger _start = 0;
  HxUInteger _count = 0;
  HxUniChar _units[kUnits];
};

// Returns whether the index is between the two halves of one CR LF.
template <class Text>
bool splitsTerminator(Text& text, HxUInteger index) {
  return index > 0 && index < text.length() && text.hasUnit(index, '\n') &&
         text.hasUnit(index - 1, '\r');
}

template <class Text>
HxUInteger startOfLine(Text& text, HxUInteger index) {
  if (splitsTerminator(text, index)) --index;
  while (index > 0 && !text.endsLineAt(index - 1)) --index;
  return index;
}

struct LineBounds {
  HxUInteger* start;
  HxUInteger* end;
  HxUInteger* contentsEnd;

  template <class Text>
  void find(Text text, HxRange range) const {
    if (start) *start = startOfLine(text, range.location);
    if (!end && !contentsEnd) return;
    // The last line is that of the last unit in the range, so a range that ends with a terminator
    // does not touch the line after it.
    HxUInteger last = range.length > 0 ? HxMaxRange(range) - 1 : range.location;
    if (splitsTerminator(text, last)) --last;
    const HxUInteger found = text.findTerminator(last);
    if (contentsEnd) *contentsEnd = found;
    if (end) *end = found + (found < text.length() ? 1 : 0) + (splitsTerminator(text, found + 1));
  }
};

}  // namespace

void HxString::getLineStart(HxUInteger* start, HxUInteger* end, HxUInteger* contentsEnd,
                            HxRange range) const {
  internal::clearUpperHalves();
  const LineBounds bounds{start, end, contentsEnd};
  if (!_object) return bounds.find(Run<char>("", 0), {});
  const HxUInteger units = length();
  internal::checkRange("-[HxString getLineStart:end:contentsEnd:forRange:]", range, units);
  if (isFlat()) {
    return flat()->isNarrow() ? bounds.find(Run(flat()->narrow(), units), range)
                              : bounds.find(Run(flat()->wide(), units), range);
  }
  const HxStringObject::Contiguous run = stringObject()->contiguousCharacters();
  if (run.narrow) return bounds.find(Run(run.narrow, units), range);
  if (run.wide) return bounds.find(Run(run.wide, units), range);
  Window window(*stringObject(), units);
  bounds.find<Window&>(window, range);
}

}  // namespace rondel
