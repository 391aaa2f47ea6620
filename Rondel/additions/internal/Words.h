// SPDX-License-Identifier: MIT
//
// What the two splitters share: a fast search for the units that a grammar has to decide about, and
// the word under construction. Each splitter has its own grammar.
//
// A word is appended run by run. While its runs are neighbours in the input it is a view of them.
// The first gap, such as a quote that is dropped, makes it a copy.
//
// One worked trace, of  ab"c d"e f :
//
//    ab    plainEnd stops at the quote; the word is a view of "ab"
//    c d   quotedEnd stops at the quote; a gap, so the word is a copy: abc d
//    e     plainEnd stops at the blank: abc de, the end of the word
//    f     a view again
#pragma once

#include <bit>

#include "Rondel/core/object/Types.h"
#include "Rondel/core/text/internal/GrowingRun.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace rondel::internal {

// Whether both grammars take the unit as it is: all but blanks, controls, the two quotes and the
// backslash. Bytes from 0x80 up are plain. UTF-16 units from there up are not, since some are
// blanks.
constexpr bool isPlain(char unit) noexcept {
  return static_cast<unsigned char>(unit) > 0x20 && unit != '"' && unit != '\'' && unit != '\\';
}
constexpr bool isPlain(HxUniChar unit) noexcept {
  return unit > 0x20 && unit < 0x80 && unit != u'"' && unit != u'\'' && unit != u'\\';
}

#ifdef __SSE2__
// One bit for each byte of the 16 at `at`, set where the unit is not plain.
inline unsigned notPlainMask(const char* at) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i low = _mm_cmpeq_epi8(_mm_max_epu8(units, _mm_set1_epi8(0x20)), _mm_set1_epi8(0x20));
  const __m128i quotes = _mm_or_si128(_mm_cmpeq_epi8(units, _mm_set1_epi8('"')),
                                      _mm_cmpeq_epi8(units, _mm_set1_epi8('\'')));
  const __m128i backslash = _mm_cmpeq_epi8(units, _mm_set1_epi8('\\'));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(low, quotes), backslash)));
}
inline unsigned notPlainMask(const HxUniChar* at) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  // Signed comparison: units from 0x8000 up count as low.
  const __m128i low = _mm_cmpgt_epi16(_mm_set1_epi16(0x21), units);
  const __m128i high = _mm_cmpgt_epi16(units, _mm_set1_epi16(0x7F));
  const __m128i quotes = _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16('"')),
                                      _mm_cmpeq_epi16(units, _mm_set1_epi16('\'')));
  const __m128i backslash = _mm_cmpeq_epi16(units, _mm_set1_epi16('\\'));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(low, high), _mm_or_si128(quotes, backslash))));
}
#endif

// The first unit of [at, end) that is not plain, `end` if there is none.
template <class Unit>
const Unit* plainEnd(const Unit* at, const Unit* end) noexcept {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kUnits = 16 / sizeof(Unit);
  for (; end - at >= kUnits; at += kUnits) {
    if (const unsigned mask = notPlainMask(at)) {
      return at + static_cast<std::size_t>(std::countr_zero(mask)) / sizeof(Unit);
    }
  }
#endif
  while (at < end && isPlain(*at)) ++at;
  return at;
}

#ifdef __SSE2__
// One bit for each byte of the 16 at `at` that belongs to a unit that ends quoted text.
inline unsigned quotedEndMask(const char* at, char quote) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
      _mm_cmpeq_epi8(units, _mm_set1_epi8(quote)), _mm_cmpeq_epi8(units, _mm_set1_epi8('\\')))));
}
inline unsigned quotedEndMask(const HxUniChar* at, HxUniChar quote) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  return static_cast<unsigned>(_mm_movemask_epi8(
      _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16(static_cast<short>(quote))),
                   _mm_cmpeq_epi16(units, _mm_set1_epi16('\\')))));
}
#endif

// The first unit of [at, end) that is the quote or a backslash, `end` if there is none.
template <class Unit>
const Unit* quotedEnd(const Unit* at, const Unit* end, Unit quote) noexcept {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kUnits = 16 / sizeof(Unit);
  for (; end - at >= kUnits; at += kUnits) {
    if (const unsigned mask = quotedEndMask(at, quote)) {
      return at + static_cast<std::size_t>(std::countr_zero(mask)) / sizeof(Unit);
    }
  }
#endif
  while (at < end && *at != quote && *at != Unit('\\')) ++at;
  return at;
}

// Guesses the number of words of a text of this length, for the first size of the array. It is at
// least one, and bounded for texts of few long words.
constexpr HxUInteger likelyWordCount(HxUInteger length) noexcept {
  constexpr HxUInteger kTypicalWordLength = 16;
  constexpr HxUInteger kMost = 0x10000;
  const HxUInteger likely = length / kTypicalWordLength + 1;
  return likely < kMost ? likely : kMost;
}

// The word that a splitter puts together from runs of its input. A copy is on the stack up to
// kStackUnits.
template <class Unit, HxUInteger kStackUnits>
class Word {
 public:
  const Unit* units() const noexcept { return _isView ? _view : _copy.units(); }
  HxUInteger length() const noexcept { return _isView ? _viewLength : _copy.length(); }
  bool isEmpty() const noexcept { return _isView && _viewLength == 0; }
  void clear() noexcept {
    _isView = true;
    _viewLength = 0;
  }

  // Appends a run of the input.
  void append(const Unit* run, HxUInteger length) {
    if (length == 0) return;
    if (_isView && _viewLength == 0) _view = run;
    if (_isView && _view + _viewLength == run) {
      _viewLength += length;
    } else {
      appendCopy(run, length);
    }
  }

 private:
  [[gnu::noinline]] void appendCopy(const Unit* run, HxUInteger length) {  // keeps append inline
    if (_isView) {
      _copy.clear();
      _copy.append(_view, _viewLength);
      _isView = false;
    }
    _copy.append(run, length);
  }

  bool _isView = true;
  const Unit* _view = nullptr;
  HxUInteger _viewLength = 0;
  GrowingRun<Unit, kStackUnits> _copy;
};

}  // namespace rondel::internal
