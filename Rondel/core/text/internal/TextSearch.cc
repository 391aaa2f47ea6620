// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/TextSearch.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>
#include <cstring>

namespace rondel::internal {

namespace {

#if defined(__SSE2__)

// One bit a byte of the units that are `a` or `b`, in the 16 bytes at `p`.
unsigned eitherMask(const char* p, HxUniChar a, HxUniChar b) {
  const __m128i run = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(run, _mm_set1_epi8(static_cast<char>(a))),
                                     _mm_cmpeq_epi8(run, _mm_set1_epi8(static_cast<char>(b))))));
}

unsigned eitherMask(const HxUniChar* p, HxUniChar a, HxUniChar b) {
  const __m128i run = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(run, _mm_set1_epi16(static_cast<short>(a))),
                                     _mm_cmpeq_epi16(run, _mm_set1_epi16(static_cast<short>(b))))));
}

#endif

// The first index in [from, to) whose unit is `a` or `b`, `to` when there is none. In bytes only
// ASCII is looked for.
template <class Unit>
HxUInteger indexOfEither(const Unit* units, HxUInteger from, HxUInteger to, HxUniChar a,
                         HxUniChar b) {
#if defined(__SSE2__)
  constexpr HxUInteger kStep = 16 / sizeof(Unit);
  for (; from + kStep <= to; from += kStep) {
    const unsigned mask = eitherMask(units + from, a, b);
    if (mask) return from + static_cast<HxUInteger>(std::countr_zero(mask)) / sizeof(Unit);
  }
#endif
  while (from < to && units[from] != Unit(a) && units[from] != Unit(b)) ++from;
  return from;
}

HxUniChar upper(HxUniChar ascii) {
  return ascii >= u'a' && ascii <= u'z' ? static_cast<HxUniChar>(ascii - 32) : ascii;
}

HxUniChar wide(char unit) { return static_cast<unsigned char>(unit); }
HxUniChar wide(HxUniChar unit) { return unit; }

// ASCII characters that a character beyond ASCII decomposes to as a whole: U+037E, U+1FEF, U+212A.
bool hasTwin(HxUniChar ascii) { return ascii == u';' || ascii == u'`' || ascii == u'K'; }

}  // namespace

TextSearch::TextSearch(const Characters& text, const Characters& pattern,
                       HxStringCompareOptions options)
    : _text(text), _options(options), _equivalence(options) {
  if (pattern.length() > 0) prepare(pattern);
}

void TextSearch::prepare(const Characters& pattern) {
  if (_text.isNarrow() && pattern.isNarrow() && !_equivalence.foldsCase) {
    _road = Road::bytes;
    _bytes = pattern.narrow();
    _length = pattern.length();
    return;
  }
  pattern.visit(
      [&](auto* units, HxUInteger length) { appendKey(units, length, _equivalence, _key); });
  _length = _key.length();
  // What is not ASCII can still have a key that is; the other way round there is nothing to find.
  if (_text.isNarrow() && !isASCII(_key.data(), _length)) return;
  _road = _text.isNarrow() || _equivalence.isExact() ? Road::units : Road::keys;
  _startsAsItself = !_equivalence.foldsCase && _key[0] < 0x80 && !hasTwin(_key[0]) &&
                    (_length == 1 || _key[1] < kFirstMark);
}

HxRange TextSearch::find(HxRange range) const {
  switch (_road) {
    case Road::bytes:
      return findBytes(range);
    case Road::units:
      return _text.visit([&](auto* units, HxUInteger) { return findUnits(units, range); });
    case Road::keys:
      return findKeys(range);
    case Road::none:
      break;
  }
  return kNotFoundRange;
}

// ---- Bytes and units --------------------------------------------------------------------------

HxRange TextSearch::findBytes(HxRange range) const {
  if (isAnchored() || isBackwards()) return findUnits(_text.narrow(), range);
  const char* start = _text.narrow();
  const void* found = ::memmem(start + range.location, range.length, _bytes, _length);
  if (!found) return kNotFoundRange;
  return {static_cast<HxUInteger>(static_cast<const char*>(found) - start), _length};
}

template <class Unit>
bool TextSearch::matchesUnitsAt(const Unit* units, HxUInteger index) const {
  if (_bytes) return std::memcmp(units + index, _bytes, _length) == 0;
  for (HxUInteger i = 0; i < _length; ++i) {
    const HxUniChar unit = wide(units[index + i]);
    if (unit != _key[i] && _equivalence.fold(unit) != _key[i]) return false;
  }
  return true;
}

template <class Unit>
HxRange TextSearch::findUnits(const Unit* units, HxRange range) const {
  if (_length > range.length) return kNotFoundRange;
  const HxUInteger last = HxMaxRange(range) - _length;
  if (isAnchored()) {
    const HxUInteger at = isBackwards() ? last : range.location;
    return matchesUnitsAt(units, at) ? HxRange{at, _length} : kNotFoundRange;
  }
  if (isBackwards()) {
    for (HxUInteger at = last + 1; at-- > range.location;) {
      if (matchesUnitsAt(units, at)) return {at, _length};
    }
    return kNotFoundRange;
  }
  const HxUniChar first = _key[0];
  const HxUniChar other = _equivalence.foldsCase ? upper(first) : first;
  for (HxUInteger at = range.location; at <= last; ++at) {
    at = indexOfEither(units, at, last + 1, first, other);
    if (at <= last && matchesUnitsAt(units, at)) return {at, _length};
  }
  return kNotFoundRange;
}

// ---- Keys -------------------------------------------------------------------------------------

HxRange TextSearch::findKeys(HxRange range) const {
  const HxUInteger limit = HxMaxRange(range);
  if (isAnchored() && isBackwards()) {
    const HxUInteger start = startOfMatchEndingAt(limit, range.location);
    return start == HxNotFound ? kNotFoundRange : HxRange{start, limit - start};
  }
  const auto matchAt = [&](HxUInteger start) {
    const HxUInteger end = endOfMatchAt(start, limit);
    return end == HxNotFound ? kNotFoundRange : HxRange{start, end - start};
  };
  if (isAnchored()) return matchAt(range.location);
  if (isBackwards()) {
    for (HxUInteger at = limit; at-- > range.location;) {
      if (!mayBeginKey(_text.wide()[at], _key[0], _equivalence)) continue;
      if (const HxRange match = matchAt(at); match.length > 0) return match;
    }
    return kNotFoundRange;
  }
  for (HxUInteger at = nextCandidate(range.location, limit); at < limit;
       at = nextCandidate(at + 1, limit)) {
    if (const HxRange match = matchAt(at); match.length > 0) return match;
  }
  return kNotFoundRange;
}

HxUInteger TextSearch::nextCandidate(HxUInteger from, HxUInteger end) const {
  const HxUniChar* units = _text.wide();
  if (_startsAsItself) return indexOfEither(units, from, end, _key[0], _key[0]);
  while (from < end && !mayBeginKey(units[from], _key[0], _equivalence)) ++from;
  return from;
}

namespace {

bool standsAlone(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  return units[index] < 0x80 && (index + 1 >= length || units[index + 1] < kFirstMark);
}

}  // namespace

HxUInteger TextSearch::endOfMatchAt(HxUInteger start, HxUInteger limit) const {
  const HxUniChar* units = _text.wide();
  const HxUInteger length = _text.length();
  if (!isPieceBoundary(units, length, start, _equivalence)) return HxNotFound;
  UnitBuffer piece;
  HxUInteger at = start;
  for (HxUInteger matched = 0; matched < _length; matched += piece.length()) {
    // ASCII that no mark follows, most of all text, is a piece and its key at once.
    for (; at < limit && matched < _length && standsAlone(units, length, at); ++at, ++matched) {
      if (_equivalence.fold(units[at]) != _key[matched]) return HxNotFound;
    }
    if (matched == _length) return at;
    if (at >= limit) return HxNotFound;
    const HxUInteger end = nextPiece(units, length, at, _equivalence);
    if (end > limit) return HxNotFound;
    piece.clear();
    appendKey(units + at, end - at, _equivalence, piece);
    if (piece.length() > _length - matched ||
        std::memcmp(piece.data(), _key.data() + matched, piece.length() * sizeof(HxUniChar)) != 0) {
      return HxNotFound;
    }
    at = end;
  }
  return at;
}

HxUInteger TextSearch::startOfMatchEndingAt(HxUInteger end, HxUInteger limit) const {
  const HxUniChar* units = _text.wide();
  const HxUInteger length = _text.length();
  if (!isPieceBoundary(units, length, end, _equivalence)) return HxNotFound;
  UnitBuffer piece;
  HxUInteger at = end;
  for (HxUInteger left = _length; left > 0; left -= piece.length()) {
    if (at <= limit) return HxNotFound;
    const HxUInteger start = previousPiece(units, length, at, _equivalence);
    if (start < limit) return HxNotFound;
    piece.clear();
    appendKey(units + start, at - start, _equivalence, piece);
    if (piece.length() > left || std::memcmp(piece.data(), _key.data() + left - piece.length(),
                                             piece.length() * sizeof(HxUniChar)) != 0) {
      return HxNotFound;
    }
    at = start;
  }
  return at;
}

}  // namespace rondel::internal
