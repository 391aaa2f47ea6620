// SPDX-License-Identifier: MIT
//
// Finds the units of a span that end a line, in order. It is for spans of many short lines. It
// looks at 64 units at a time, so that a line costs no separate search.
//
//   LineEnds ends(units, length);
//   for (HxUInteger at = ends.next(); at < length; at = ends.next()) ...
#pragma once

#include <algorithm>

#include "Rondel/core/text/internal/LineScan.h"

namespace rondel::internal {

inline constexpr HxUInteger kLineEndBlock = 64;

#if defined(__SSE2__)

inline __m128i loadUnits(const void* p) noexcept {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

// Sets bit i if unit i of the block ends a line.
inline std::uint64_t lineEndsInBlock(const char* units) noexcept {
  std::uint64_t ends = 0;
  for (unsigned i = 0; i < kLineEndBlock; i += 16) {
    ends |= std::uint64_t{lineEndMask(units + i)} << i;
  }
  return ends;
}

// Packs sixteen units into a byte each: those above 0xFF become 0xFF or 0.
inline __m128i packedUnits(const HxUniChar* units) noexcept {
  return _mm_packus_epi16(loadUnits(units), loadUnits(units + 8));
}

// U+2028 and U+2029 are rare: this is called only if a unit is above 0xFF.
inline std::uint64_t rareLineEndsInBlock(const HxUniChar* units) noexcept {
  std::uint64_t ends = 0;
  for (unsigned i = 0; i < kLineEndBlock; i += 8) {
    const __m128i odd = _mm_or_si128(loadUnits(units + i), _mm_set1_epi16(1));
    const __m128i found = _mm_cmpeq_epi16(odd, _mm_set1_epi16(0x2029));
    const __m128i bytes = _mm_packs_epi16(found, _mm_setzero_si128());
    ends |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(bytes))} << i;
  }
  return ends;
}

inline std::uint64_t lineEndsInBlock(const HxUniChar* units) noexcept {
  std::uint64_t ends = 0;
  __m128i high = _mm_setzero_si128();
  for (unsigned i = 0; i < kLineEndBlock; i += 16) {
    const __m128i bytes = packedUnits(units + i);
    const __m128i ascii = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')),
                                       _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')));
    const __m128i latin = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(0x85)));
    const __m128i found = _mm_or_si128(ascii, latin);
    ends |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(found))} << i;
    high = _mm_or_si128(high, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(-1)));
  }
  return _mm_movemask_epi8(high) == 0 ? ends : ends | rareLineEndsInBlock(units);
}

#else

template <class Unit>
std::uint64_t lineEndsInBlock(const Unit* units) noexcept {
  std::uint64_t ends = 0;
  for (unsigned i = 0; i < kLineEndBlock; ++i) ends |= std::uint64_t{endsLine(units[i])} << i;
  return ends;
}

#endif

template <class Unit>
class LineEnds {
 public:
  // The span must not change meanwhile.
  LineEnds(const Unit* units, HxUInteger length) noexcept : _units(units), _length(length) {}

  // Returns the index of the next one, the length if there is none. CR LF is two.
  HxUInteger next() noexcept {
    while (_ends == 0) {
      if (_blockEnd == _length) return _length;
      readBlock();
    }
    const HxUInteger index = _start + static_cast<HxUInteger>(std::countr_zero(_ends));
    _ends &= _ends - 1;
    return index;
  }

 private:
  void readBlock() noexcept {
    _start = _blockEnd;
    const HxUInteger left = _length - _start;
    if (left >= kLineEndBlock) {
      _ends = lineEndsInBlock(_units + _start);
      _blockEnd += kLineEndBlock;
    } else {
      Unit last[kLineEndBlock] = {};
      std::copy_n(_units + _start, left, last);
      _ends = lineEndsInBlock(last);
      _blockEnd = _length;
    }
  }

  const Unit* _units;
  HxUInteger _length;
  HxUInteger _start = 0;  // of the block
  HxUInteger _blockEnd = 0;
  std::uint64_t _ends = 0;  // of the block, without those that were returned
};

}  // namespace rondel::internal
