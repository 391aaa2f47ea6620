// SPDX-License-Identifier: MIT
//
// The search for the next reference to a variable, over text that lies in one run or is read
// through a ZevStringBuffer.
//
//   VariableReference found;
//   if (findReference(RunReader(units, length, 0), found)) ...
//
// The search skips to the next '$', quote or backslash, 64 bytes at a time, and decides there.
//
// One worked trace, of  a'$B'\$C$(D)e :
//
//    '     hides all up to the next quote, so $B is skipped
//    \     hides the character after it, so $C is skipped
//    $     followed by a '(': the name ends at the next ')'
//          name {9, 1}, open delimiter {7, 2}, close delimiter {10, 1}
//
// The search over a run is always inlined, so that offsets stay in registers. That saves a third of
// the time of an expansion.
#pragma once

#include <bit>

#include "Rondel/additions/internal/StringBuffer.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/CodeUnits.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace rondel::internal {

struct VariableReference {
  HxRange name;
  HxRange openDelimiter;
  HxRange closeDelimiter;

  HxRange wholeRange() const noexcept { return HxUnionRange(openDelimiter, closeDelimiter); }
};

// ---- Assertions -------------------------------------------------------------------------------

// That a reference which was found lies within the search range, its parts in order. `receiver` is
// the text that the failure sink gets.

struct ScannerOperation {
  static constexpr const char* kName =
      "-[HxString(MoVariableExpansion) _getVariableNameRange:openDelimiterRange:"
      "closeDelimiterRange:ofFirstVariableReferenceInRange:]";
};
struct ExpanderOperation {
  static constexpr const char* kName =
      "-[HxString(MoVariableExpansion) MO_stringByExpandingVariables:inRange:options:]";
};

// What both of them assert.
template <class Operation>
[[gnu::always_inline]] inline void assertDelimiters(const HxString& receiver, HxRange searchRange,
                                                    HxRange openDelimRange,
                                                    HxRange closeDelimRange) {
  MO_ADDITION(receiver, Operation::kName);
  MoAssert(openDelimRange.location >= searchRange.location);
  MoAssert(openDelimRange.length == 1 || openDelimRange.length == 2);
  MoAssertText(HxMaxRange(openDelimRange) <= HxMaxRange(searchRange),
               "openDelimRange.location+openDelimRange.length <= "
               "searchRange.location+searchRange.length");
  MoAssertText(closeDelimRange.location >= HxMaxRange(openDelimRange),
               "closeDelimRange.location >= openDelimRange.location+openDelimRange.length");
  MoAssert(closeDelimRange.length == 0 || closeDelimRange.length == 1);
  MoAssertText(HxMaxRange(closeDelimRange) <= HxMaxRange(searchRange),
               "closeDelimRange.location+closeDelimRange.length <= "
               "searchRange.location+searchRange.length");
}

[[gnu::always_inline]] inline void assertScannedReference(const HxString& receiver,
                                                          HxRange searchRange,
                                                          const VariableReference& found) {
  MO_ADDITION(receiver, ScannerOperation::kName);
  const auto& [variableNameRange, openDelimRange, closeDelimRange] = found;
  assertDelimiters<ScannerOperation>(receiver, searchRange, openDelimRange, closeDelimRange);
  MoAssert(variableNameRange.location > openDelimRange.location);
  MoAssertText(HxMaxRange(variableNameRange) <= closeDelimRange.location,
               "variableNameRange.location+variableNameRange.length <= closeDelimRange.location");
}

[[gnu::always_inline]] inline void assertReferenceToExpand(const HxString& receiver,
                                                           HxRange searchRange,
                                                           const VariableReference& found) {
  assertDelimiters<ExpanderOperation>(receiver, searchRange, found.openDelimiter,
                                      found.closeDelimiter);
}

// ---- Readers ----------------------------------------------------------------------------------

// The characters that mean something outside of a reference.
template <class Unit>
constexpr bool startsSomething(Unit unit) noexcept {
  return unit == '$' || unit == '\'' || unit == '\\' ||
         static_cast<HxUniChar>(unit) == ZevStringBuffer::kEnd;
}

#ifdef __SSE2__
// Tells for 16 bytes, or 64, which of them belong to a unit that is one of three or U+FFFF: a bit
// for each byte.
template <class Unit>
class StopMask {
 public:
  StopMask(HxUniChar a, HxUniChar b, HxUniChar c) noexcept
      : _a(vectorOf(a)), _b(vectorOf(b)), _c(vectorOf(c)) {}

  std::uint64_t of16(const Unit* at) const noexcept {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    __m128i stops = _mm_or_si128(_mm_or_si128(equal(units, _a), equal(units, _b)),  //
                                 equal(units, _c));
    if constexpr (sizeof(Unit) == 2) stops = _mm_or_si128(stops, equal(units, _mm_set1_epi8(-1)));
    return static_cast<unsigned>(_mm_movemask_epi8(stops));
  }
  // One answer for 64 bytes is one branch that may mispredict.
  std::uint64_t of64(const Unit* at) const noexcept {
    constexpr std::ptrdiff_t kUnits = 16 / sizeof(Unit);
    return of16(at) | of16(at + kUnits) << 16 | of16(at + 2 * kUnits) << 32 |
           of16(at + 3 * kUnits) << 48;
  }

 private:
  static __m128i vectorOf(HxUniChar unit) noexcept {
    return sizeof(Unit) == 1 ? _mm_set1_epi8(static_cast<char>(unit))
                             : _mm_set1_epi16(static_cast<short>(unit));
  }
  static __m128i equal(__m128i a, __m128i b) noexcept {
    return sizeof(Unit) == 1 ? _mm_cmpeq_epi8(a, b) : _mm_cmpeq_epi16(a, b);
  }

  const __m128i _a;
  const __m128i _b;
  const __m128i _c;
};
#endif

// The first unit of [at, end) that is one of three or U+FFFF; `end` if there is none. From
// `begin` on the units may be read, though they do not count.
template <class Unit>
[[gnu::always_inline]] inline const Unit* firstOf(HxUniChar a, HxUniChar b, HxUniChar c,
                                                  [[maybe_unused]] const Unit* begin,
                                                  const Unit* at, const Unit* end) noexcept {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kUnits = 16 / sizeof(Unit);
  const StopMask<Unit> stops(a, b, c);
  const auto firstIn = [](const Unit* place, std::uint64_t mask) {
    return place + static_cast<std::size_t>(std::countr_zero(mask)) / sizeof(Unit);
  };
  if (end - at >= kUnits) {  // names end here
    if (const std::uint64_t mask = stops.of16(at)) return firstIn(at, mask);
    at += kUnits;
  }
  for (; end - at >= 4 * kUnits; at += 4 * kUnits) {
    if (const std::uint64_t mask = stops.of64(at)) return firstIn(at, mask);
  }
  for (; end - at >= kUnits; at += kUnits) {
    if (const std::uint64_t mask = stops.of16(at)) return firstIn(at, mask);
  }
  if (end - begin >= kUnits) {  // the last vector, with units in it that were read before
    const Unit* const last = end - kUnits;
    const auto read = static_cast<unsigned>((at - last) * std::ptrdiff_t{sizeof(Unit)});
    const std::uint64_t mask = stops.of16(last) >> read << read;
    return mask ? firstIn(last, mask) : end;
  }
#endif
  const auto isStop = [=](HxUniChar unit) {
    return unit == a || unit == b || unit == c || unit == ZevStringBuffer::kEnd;
  };
  while (at != end && !isStop(static_cast<HxUniChar>(*at))) ++at;
  return at;
}

template <class Unit>
[[gnu::always_inline]] inline const Unit* firstStart(const Unit* begin, const Unit* at,
                                                     const Unit* end) noexcept {
  return firstOf(u'$', u'\'', u'\\', begin, at, end);
}

// What a ZevStringBuffer does, over a run of units.
template <class Unit>
class RunReader {
 public:
  // The first unit has the offset `offset`.
  RunReader(const Unit* units, HxUInteger length, HxUInteger offset) noexcept
      : _begin(units), _at(units), _end(units + length), _offset(offset) {}

  HxUniChar current() const noexcept {
    return _at == _end ? ZevStringBuffer::kEnd : static_cast<HxUniChar>(*_at);
  }
  HxUInteger offset() const noexcept { return _offset + static_cast<HxUInteger>(_at - _begin); }
  void advance() noexcept {
    if (current() != ZevStringBuffer::kEnd) ++_at;
  }
  // There is a character before.
  void backUp() noexcept { --_at; }
  // Where the current character lies.
  const Unit* place() const noexcept { return _at; }
  // Passes over what is there.
  void pass(HxUInteger count) noexcept { _at += count; }
  // Adds to all later offsets. The sum may wrap around.
  void shiftOffsets(HxUInteger distance) noexcept { _offset += distance; }
  [[gnu::always_inline]] void skipUntilStart() noexcept { _at = firstStart(_begin, _at, _end); }
  [[gnu::always_inline]] void skipUntil(HxUniChar target) noexcept {
    for (;;) {
      _at = firstOf(target, u'\\', u'\\', _begin, _at, _end);
      if (current() != u'\\') return;
      advance();
      advance();
    }
  }

 private:
  const Unit* const _begin;
  const Unit* _at;
  const Unit* const _end;
  HxUInteger _offset;
};

class ChunkReader : public ZevStringBuffer {
 public:
  using ZevStringBuffer::ZevStringBuffer;
  void skipUntilStart() {
    while (!startsSomething(current())) advance();
  }
  void skipUntil(HxUniChar target) { _ZevSkipInStringBufferUntilCharacter(*this, target); }
};

// ---- The search -------------------------------------------------------------------------------

constexpr bool isIdentifierCharacter(HxUniChar unit) noexcept {
  return isLetterOrDigit(unit) || unit == u'_';
}

// Returns the close delimiter for the character after a '$', 0 if it opens nothing.
constexpr HxUniChar closeDelimiterOf(HxUniChar open) noexcept {
  switch (open) {
    case u'(':
      return u')';
    case u'{':
      return u'}';
    case u'[':
      return u']';
    case u'%':
      return u'%';
    default:
      return 0;
  }
}

// Reads from a '$' on. Returns false if it starts no reference. The reader is back at the '$' then,
// or at the end if a name is never closed.
template <class Reader>
[[gnu::always_inline]] inline bool readReference(Reader& in, VariableReference& found) {
  const HxUInteger start = in.offset();
  in.advance();
  const HxUniChar close = closeDelimiterOf(in.current());
  const HxUInteger openLength = close ? 2 : 1;
  if (close) {
    in.advance();
    in.skipUntil(close);
    if (in.current() == ZevStringBuffer::kEnd) return false;
  } else if (isIdentifierCharacter(in.current())) {
    do in.advance();
    while (isIdentifierCharacter(in.current()));
  } else {
    in.backUp();
    return false;
  }
  found = {.name = {start + openLength, in.offset() - start - openLength},
           .openDelimiter = {start, openLength},
           .closeDelimiter = {in.offset(), HxUInteger{close ? 1U : 0U}}};
  return true;
}

// Finds the first reference from the reader's current character on. Leaves `found` alone if there
// is none.
template <class Reader>
[[gnu::always_inline]] inline bool findReference(Reader&& in, VariableReference& found) {
  for (in.skipUntilStart(); in.current() != ZevStringBuffer::kEnd; in.skipUntilStart()) {
    if (in.current() == u'\'') {
      in.advance();
      in.skipUntil(u'\'');
    } else if (in.current() == u'\\') {
      in.advance();
    } else if (readReference(in, found)) {
      return true;
    }
    in.advance();
  }
  return false;
}

}  // namespace rondel::internal
