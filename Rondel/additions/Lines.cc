// SPDX-License-Identifier: MIT
#include "Rondel/additions/Lines.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/LineScan.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::findLineTerminator;
using internal::lineTerminatorLength;

// ---- Offsets ----------------------------------------------------------------------------------

// A line follows every terminator, even at the end of the text.
template <class Unit, class Visit>
void forEachLineStart(const Unit* units, HxUInteger length, const Visit& visit) {
  internal::clearUpperHalves();
  HxUInteger start = 0;
  for (;;) {
    visit(start);
    const HxUInteger terminator = findLineTerminator(units, start, length);
    if (terminator == length) return;
    start = terminator + lineTerminatorLength(units, terminator, length);
  }
}

// Offsets in a block of the heap that a caller can take over.
class OffsetArray {
 public:
  explicit OffsetArray(HxUInteger textLength) {
    const HxUInteger likely = textLength / kTypicalLineLength;
    resize((likely > kLeastCapacity ? likely : kLeastCapacity) + kClosingOffsets);
  }
  OffsetArray(const OffsetArray&) = delete;
  OffsetArray& operator=(const OffsetArray&) = delete;
  ~OffsetArray() { std::free(_offsets); }

  void append(HxUInteger offset) {
    if (_count == _capacity) [[unlikely]] {
      resize(_capacity < kMostToDouble ? _capacity * 2 : _capacity + kStep);
    }
    _offsets[_count++] = offset;
  }
  HxUInteger count() const noexcept { return _count; }
  // Returns the block, cut to size. The caller owns it.
  HxUInteger* take() {
    resize(_count);
    return std::exchange(_offsets, nullptr);
  }

 private:
  static constexpr HxUInteger kTypicalLineLength = 40;
  static constexpr HxUInteger kLeastCapacity = 4096;
  static constexpr HxUInteger kClosingOffsets = 2;  // an empty last line, and the length
  static constexpr HxUInteger kMostToDouble = HxUInteger{1} << 20;
  static constexpr HxUInteger kStep = HxUInteger{1} << 19;

  void resize(HxUInteger capacity) {
    void* const block = std::realloc(_offsets, capacity * sizeof(HxUInteger));
    if (!block) throw std::bad_alloc();
    _offsets = static_cast<HxUInteger*>(block);
    _capacity = capacity;
  }

  HxUInteger* _offsets = nullptr;
  HxUInteger _count = 0;
  HxUInteger _capacity = 0;
};

// ---- Numbers ----------------------------------------------------------------------------------

// One line of a text, at first line 0. A terminator at the end of the text opens no further line.
template <class Unit>
class LineCursor {
 public:
  LineCursor(const Unit* units, HxUInteger length) noexcept : _units(units), _length(length) {
    internal::clearUpperHalves();
    _end = endOfLineAt(0);
  }

  HxUInteger number() const noexcept { return _number; }
  HxUInteger start() const noexcept { return _start; }
  HxUInteger end() const noexcept { return _end; }

  // Moves on to the line of that number. Returns false, at the last line, if the text ends first.
  bool moveToLine(HxUInteger number) noexcept {
    while (_number < number && !isLast()) advance();
    return _number == number;
  }
  // Moves on to the first line that ends at `offset` or after it.
  void moveToEndAt(HxUInteger offset) noexcept {
    while (_end < offset && !isLast()) advance();
  }

 private:
  bool isLast() const noexcept { return _end == _length; }
  void advance() noexcept {
    _start = _end;
    _end = endOfLineAt(_start);
    ++_number;
  }
  HxUInteger endOfLineAt(HxUInteger start) const noexcept {
    const HxUInteger terminator = findLineTerminator(_units, start, _length);
    return terminator + lineTerminatorLength(_units, terminator, _length);
  }

  const Unit* const _units;
  const HxUInteger _length;
  HxUInteger _number = 0;
  HxUInteger _start = 0;
  HxUInteger _end = 0;
};

template <class Unit>
HxRange charactersOfLines(LineCursor<Unit> line, HxRange lines) noexcept {
  if (!line.moveToLine(lines.location)) return kNotFoundRange;
  const HxUInteger start = line.start();
  if (lines.length == 0) return {start, 0};
  const bool isOverflow = lines.length - 1 > UINTPTR_MAX - lines.location;
  const HxUInteger last = isOverflow ? UINTPTR_MAX : lines.location + (lines.length - 1);
  return {start, line.moveToLine(last) ? line.end() - start : 0};
}

template <class Unit>
HxRange linesOfCharacters(LineCursor<Unit> line, HxRange characters) noexcept {
  line.moveToEndAt(characters.location + 1);
  const HxUInteger first = line.number();
  line.moveToEndAt(HxMaxRange(characters));
  return {first, line.number() - first + 1};
}

}  // namespace

HxIndexSet lineStartOffsets(const HxString& text) {
  if (!text) return nullptr;
  HxMutableIndexSet offsets = HxMutableIndexSet::indexSet();
  Characters(text).visit([&](const auto* units, HxUInteger length) {
    forEachLineStart(units, length, [&](HxUInteger start) { offsets.addIndex(start); });
  });
  return offsets;
}

void getLineStartOffsets(const HxString& text, HxUInteger** offsetsPtr, HxUInteger* numOffsetsPtr) {
  if (!text) {
    if (offsetsPtr) *offsetsPtr = nullptr;
    if (numOffsetsPtr) *numOffsetsPtr = 0;
    return;
  }
  MO_ADDITION(text, "-[HxString(MoStringUtilities) getLineStartOffsets:count:]");
  MoAssertText(offsetsPtr != nullptr && numOffsetsPtr != nullptr,
               "offsetsPtr != ((void*)0) && numOffsetsPtr != ((void*)0)");
  if (!offsetsPtr || !numOffsetsPtr) return;
  const Characters characters(text);
  OffsetArray offsets(characters.length());
  characters.visit([&](const auto* units, HxUInteger length) {
    forEachLineStart(units, length, [&](HxUInteger start) { offsets.append(start); });
  });
  offsets.append(characters.length());
  *offsetsPtr = offsets.take();
  *numOffsetsPtr = offsets.count();
}

HxRange characterRangeForLineRange(const HxString& text, HxRange lineRange) {
  if (!text) return {};
  return Characters(text).visit([&](const auto* units, HxUInteger length) {
    return charactersOfLines(LineCursor(units, length), lineRange);
  });
}

HxRange lineRangeForCharacterRange(const HxString& text, HxRange characterRange) {
  if (!text) return {};
  const Characters characters(text);
  if (!HxRangeFits(characterRange, characters.length())) {
    HxException::raise(HxRangeException, "%@: Range or index out of bounds"_hx,
                       "-[HxString lineRangeForCharacterRange:]"_hx);
  }
  return characters.visit([&](const auto* units, HxUInteger length) {
    return linesOfCharacters(LineCursor(units, length), characterRange);
  });
}

HxUInteger numberOfLines(const HxString& text) {
  return lineRangeForCharacterRange(text, {0, text.length()}).length;
}

void insertStringAtLine(HxMutableString text, const HxString& string, HxUInteger line) {
  if (!text) return;
  MO_ADDITION(text, "-[HxMutableString(MoStringUtilities) insertString:atLine:]");
  HxParameterAssertText(!string.isNil(), "string != nil");
  if (string.isEmpty()) return;
  text.insertString(string, characterRangeForLineRange(text, {line, 1}).location);
}

}  // namespace rondel
