// SPDX-License-Identifier: MIT
//
// Most searches look for the first unit of the pattern and compare the rest from there. On
// text that keeps almost matching this is quadratic, so each search has an allowance that grows
// with the text it has passed. A search that has used it up goes on steadily (Knuth, Morris and
// Pratt): each unit of text is read once, and a table of the pattern has how much of a failed
// match is the start of another one.
//
//   "aab" in "aaab":  table 0 1 0       a   a    a                  b
//                     units matched     1   2    2 (falls to 1, +1)  3: found at 1
//
// Composed text is searched in the same two ways, over the keys of its sequences instead of units.
#include "Rondel/core/text/internal/TextSearch.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>
#include <cstring>
#include <vector>

namespace rondel::internal {

namespace {

#if defined(__SSE2__)

// Returns a bit for each of the 16 bytes at `p`: set if its unit is `a` or `b`.
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

// Returns the first index in [from, to) whose unit is `a` or `b`, `to` if there is none. In bytes
// only ASCII is looked for.
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

// ASCII characters that a character beyond ASCII decomposes to as a whole: U+037E, U+1FEF, U+212A.
bool hasTwin(HxUniChar ascii) { return ascii == u';' || ascii == u'`' || ascii == u'K'; }

// Returns what a quick search may compare after it has passed so many units of text.
HxUInteger allowance(HxUInteger passed) { return 16 * passed + 1024; }

// How much of a pattern the units up to the present one match.
template <class PatternUnit>
class SteadyMatch {
 public:
  SteadyMatch(HxUInteger length, const PatternUnit& patternUnit)
      : _patternUnit(patternUnit), _table(length) {
    for (HxUInteger i = 1; i < length; ++i) {
      _matched = extended(_matched, _patternUnit(i));
      _table[i] = _matched;
    }
    _matched = 0;
  }

  // Takes the next unit. Returns whether the whole pattern ends with it.
  bool take(HxUniChar unit) {
    if (_matched == _table.size()) _matched = _table.back();
    _matched = extended(_matched, unit);
    return _matched == _table.size();
  }

 private:
  HxUInteger extended(HxUInteger matched, HxUniChar unit) const {
    while (matched > 0 && _patternUnit(matched) != unit) matched = _table[matched - 1];
    return _patternUnit(matched) == unit ? matched + 1 : 0;
  }

  const PatternUnit& _patternUnit;
  std::vector<HxUInteger> _table;  // of each start of the pattern: its longest end that starts it
  HxUInteger _matched = 0;
};

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
  // Text that is not ASCII can have a key that is. ASCII text cannot hold a key that is not.
  if (_text.isNarrow() && !isASCII(_key.units(), _length)) return;
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
  if (_bytes) {
    if (unitOf(units[index]) != unitOf(_bytes[0])) return false;
    _work += _length;
    return std::memcmp(units + index, _bytes, _length) == 0;
  }
  HxUInteger matched = 0;
  while (matched < _length && _equivalence.fold(unitOf(units[index + matched])) == _key[matched]) {
    ++matched;
  }
  _work += matched;
  return matched == _length;
}

// Returns the last match if the search is backward.
template <class Unit>
HxRange TextSearch::findUnitsSteadily(const Unit* units, HxRange range) const {
  const auto pattern = [this](HxUInteger i) { return patternUnit(i); };
  SteadyMatch match(_length, pattern);
  HxRange found = kNotFoundRange;
  for (HxUInteger at = range.location; at < HxMaxRange(range); ++at, ++_work) {
    if (!match.take(_equivalence.fold(unitOf(units[at])))) continue;
    found = {at + 1 - _length, _length};
    if (!isBackwards()) break;
  }
  return found;
}

template <class Unit>
HxRange TextSearch::findUnits(const Unit* units, HxRange range) const {
  if (_length > range.length) return kNotFoundRange;
  const HxUInteger last = HxMaxRange(range) - _length;
  if (isAnchored()) {
    const HxUInteger at = isBackwards() ? last : range.location;
    return matchesUnitsAt(units, at) ? HxRange{at, _length} : kNotFoundRange;
  }
  const HxUInteger workBefore = _work;
  const auto isSpent = [&](HxUInteger passed) { return _work - workBefore > allowance(passed); };
  if (isBackwards()) {
    for (HxUInteger at = last + 1; at-- > range.location;) {
      if (matchesUnitsAt(units, at)) return {at, _length};
      if (isSpent(last - at)) {
        return findUnitsSteadily(units, {range.location, at + _length - range.location});
      }
    }
    return kNotFoundRange;
  }
  const HxUniChar first = patternUnit(0);
  const HxUniChar other = _equivalence.foldsCase ? upper(first) : first;
  for (HxUInteger at = range.location; at <= last; ++at) {
    at = indexOfEither(units, at, last + 1, first, other);
    if (at > last) break;
    if (matchesUnitsAt(units, at)) return {at, _length};
    if (isSpent(at - range.location)) {
      return findUnitsSteadily(units, {at, HxMaxRange(range) - at});
    }
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
  const HxUInteger workBefore = _work;
  const auto isSpent = [&](HxUInteger passed) { return _work - workBefore > allowance(passed); };
  if (isBackwards()) {
    for (HxUInteger at = limit; at-- > range.location;) {
      if (!mayBeginKey(_text.wide()[at], _key[0], _equivalence)) continue;
      if (const HxRange match = matchAt(at); match.length > 0) return match;
      if (isSpent(limit - at)) return findKeysSteadily(range);
    }
    return kNotFoundRange;
  }
  for (HxUInteger at = nextCandidate(range.location, limit); at < limit;
       at = nextCandidate(at + 1, limit)) {
    if (const HxRange match = matchAt(at); match.length > 0) return match;
    if (isSpent(at - range.location)) return findKeysSteadily({at, limit - at});
  }
  return kNotFoundRange;
}

// Returns the last match if the search is backward. A match begins and ends with a piece; `starts`
// keeps where the pieces began whose keys began with one of the units that the pattern covers now.
HxRange TextSearch::findKeysSteadily(HxRange range) const {
  const HxUniChar* units = _text.wide();
  const HxUInteger length = _text.length();
  const auto pattern = [this](HxUInteger i) { return patternUnit(i); };
  SteadyMatch match(_length, pattern);
  std::vector<HxUInteger> starts(_length, HxNotFound);
  HxRange found = kNotFoundRange;
  HxUInteger taken = 0;  // units of keys, modulo the pattern's length
  UnitBuffer piece;
  HxUInteger at = range.location;
  while (at < HxMaxRange(range) && !isPieceBoundary(units, length, at, _equivalence)) ++at;
  while (at < HxMaxRange(range)) {
    const HxUInteger end = nextPiece(units, length, at, _equivalence);
    if (end > HxMaxRange(range)) break;
    piece.clear();
    appendKey(units + at, end - at, _equivalence, piece);
    bool isMatch = false;
    for (HxUInteger i = 0; i < piece.length(); ++i) {
      starts[taken] = i == 0 ? at : HxNotFound;
      taken = taken + 1 == _length ? 0 : taken + 1;
      isMatch = match.take(piece[i]);
    }
    _work += end - at;
    at = end;
    if (!isMatch || starts[taken] == HxNotFound) continue;
    found = {starts[taken], end - starts[taken]};
    if (!isBackwards()) break;
  }
  return found;
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
    const HxUInteger runStart = at;
    while (at < limit && matched < _length && standsAlone(units, length, at) &&
           _equivalence.fold(units[at]) == _key[matched]) {
      ++at;
      ++matched;
    }
    _work += at - runStart;
    if (matched == _length) return at;
    if (at >= limit || standsAlone(units, length, at)) return HxNotFound;
    const HxUInteger end = nextPiece(units, length, at, _equivalence);
    _work += end - at;
    if (end > limit) return HxNotFound;
    piece.clear();
    appendKey(units + at, end - at, _equivalence, piece);
    if (piece.length() > _length - matched ||
        std::memcmp(piece.units(), _key.units() + matched, piece.length() * sizeof(HxUniChar)) !=
            0) {
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
    if (piece.length() > left || std::memcmp(piece.units(), _key.units() + left - piece.length(),
                                             piece.length() * sizeof(HxUniChar)) != 0) {
      return HxNotFound;
    }
    at = start;
  }
  return at;
}

}  // namespace rondel::internal
