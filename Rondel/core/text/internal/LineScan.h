// SPDX-License-Identifier: MIT
//
// The ends of lines: LF, CR, CR LF, U+0085, U+2028 and U+2029. For scanners that walk a span of
// units themselves. ASCII spans have only LF and CR.
//
//   for (HxUInteger start = 0; start < length;) {
//     const HxUInteger end = findLineTerminator(units, start, length);
//     consume(units + start, end - start);
//     start = end + lineTerminatorLength(units, end, length);
//   }
//
// A CR at the very end of a span may be the first half of a CR LF that the next span ends. A
// scanner that gets its text in pieces has to check.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

constexpr bool endsLine(char unit) noexcept { return unit == '\n' || unit == '\r'; }

constexpr bool endsLine(HxUniChar unit) noexcept {
  return unit == u'\n' || unit == u'\r' || unit == 0x85 || (unit | 1) == 0x2029;
}

#if defined(__SSE2__)

// Returns a bit for each of the 16 bytes at `p`: set if its unit ends a line.
inline unsigned lineEndMask(const char* p) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
      _mm_cmpeq_epi8(units, _mm_set1_epi8('\n')), _mm_cmpeq_epi8(units, _mm_set1_epi8('\r')))));
}

inline unsigned lineEndMask(const HxUniChar* p) noexcept {
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i ascii = _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16('\n')),
                                     _mm_cmpeq_epi16(units, _mm_set1_epi16('\r')));
  const __m128i odd = _mm_or_si128(units, _mm_set1_epi16(1));
  const __m128i other = _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16(0x85)),
                                     _mm_cmpeq_epi16(odd, _mm_set1_epi16(0x2029)));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(ascii, other)));
}

#endif

// Returns the first index in [from, to) whose unit ends a line, `to` if there is none.
template <class Unit>
HxUInteger findLineTerminator(const Unit* units, HxUInteger from, HxUInteger to) noexcept {
#if defined(__SSE2__)
  constexpr HxUInteger kStep = 16 / sizeof(Unit);
  for (; to - from >= kStep; from += kStep) {
    const unsigned mask = lineEndMask(units + from);
    if (mask) return from + static_cast<HxUInteger>(std::countr_zero(mask)) / sizeof(Unit);
  }
#endif
  while (from < to && !endsLine(units[from])) ++from;
  return from;
}

// Returns the number of units of the terminator at `index`: 2 for CR LF, 0 at the end of the text.
template <class Unit>
HxUInteger lineTerminatorLength(const Unit* units, HxUInteger index, HxUInteger length) noexcept {
  if (index >= length) return 0;
  return units[index] == Unit('\r') && index + 1 < length && units[index + 1] == Unit('\n') ? 2 : 1;
}

}  // namespace rondel::internal
