// SPDX-License-Identifier: MIT
//
// Normal forms come from ICU, which puts each mark in its place among those before it. That is
// quadratic in a long run of marks, so such runs are cut out and sorted here by counting:
//
//   a, 100 acutes (class 230) and 100 cedillas (class 202) in turn
//     cut     the run is found by a look at every 32nd unit; the base "a" goes with it
//     sort    one list per class: 202 gets the cedillas, 230 the acutes, each in their order
//     write   a, 100 cedillas, 100 acutes
//
// Composition starts from the sorted form, where ICU finds every mark in its place.
#include "Rondel/core/text/internal/ComposedText.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <vector>

namespace rondel::internal {

// ---- Sequences --------------------------------------------------------------------------------

namespace {

bool isMark(UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0; }

bool takesMarks(UChar32 c) {
  return (U_GET_GC_MASK(c) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) == 0;
}

// Conjoining Hangul letters: vowels go with leading letters and vowels, trailing letters with
// vowels and trailing ones (Unicode Standard, 3.12). The blocks that hold them are tested first.
bool isHangulVowelOrTrail(UChar32 c) {
  return (c >= 0x1160 && c <= 0x11FF) || (c >= 0xD7B0 && c <= 0xD7FB);
}

bool continuesSyllable(UChar32 before, UChar32 c) {
  const auto typeOf = [](UChar32 letter) {
    return u_getIntPropertyValue(letter, UCHAR_HANGUL_SYLLABLE_TYPE);
  };
  const int type = typeOf(before);
  if (typeOf(c) == U_HST_VOWEL_JAMO) {
    return type == U_HST_LEADING_JAMO || type == U_HST_VOWEL_JAMO || type == U_HST_LV_SYLLABLE;
  }
  return type == U_HST_VOWEL_JAMO || type == U_HST_TRAILING_JAMO || type == U_HST_LV_SYLLABLE ||
         type == U_HST_LVT_SYLLABLE;
}

bool continuesSequence(UChar32 before, UChar32 c) {
  if (isHangulVowelOrTrail(c)) return continuesSyllable(before, c);
  return isMark(c) && takesMarks(before);
}

}  // namespace

bool isSequenceBoundarySlow(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  if (splitsPair(units, length, index)) return false;
  UChar32 c;
  U16_GET(units, 0, index, length, c);
  UChar32 before;
  U16_GET(units, 0, index - 1, length, before);
  return !continuesSequence(before, c);
}

void checkICUStatus(int status) {
  const auto code = static_cast<UErrorCode>(status);
  if (code == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  if (U_FAILURE(code) && code != U_BUFFER_OVERFLOW_ERROR) {
    throw std::runtime_error(u_errorName(code));
  }
}

// ---- Normal forms -----------------------------------------------------------------------------

namespace {

using InstanceGetter = const UNormalizer2* (*)(UErrorCode*);

const UNormalizer2* instance(InstanceGetter get) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* result = get(&status);
  checkICUStatus(status);
  return result;
}

const UNormalizer2* formD() {
  static const UNormalizer2* const form = instance(unorm2_getNFDInstance);
  return form;
}

const UNormalizer2* formC() {
  static const UNormalizer2* const form = instance(unorm2_getNFCInstance);
  return form;
}

void appendNormalized(const UNormalizer2* form, const HxUniChar* units, HxUInteger length,
                      UnitBuffer& out) {
  out.appendWith([&](HxUniChar* place, std::int32_t room) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t wanted =
        unorm2_normalize(form, units, icuLength(length), place, room, &status);
    checkICUStatus(status);
    return static_cast<HxUInteger>(wanted);
  });
}

bool isNormalized(const UNormalizer2* form, const HxUniChar* units, HxUInteger length) {
  UErrorCode status = U_ZERO_ERROR;
  const UBool result = unorm2_isNormalized(form, units, icuLength(length), &status);
  checkICUStatus(status);
  return result;
}

// ---- Long runs of marks -------------------------------------------------------------------------

// Returns whether the decomposition of a character begins with a mark that may change places.
bool isReordered(UChar32 c) {
  return c >= kFirstMark && u_getIntPropertyValue(c, UCHAR_LEAD_CANONICAL_COMBINING_CLASS) != 0;
}

HxUInteger startOfMarks(const HxUniChar* units, HxUInteger index) {
  for (HxUInteger start = index; start > 0;) {
    UChar32 c;
    U16_PREV(units, 0, start, c);
    if (!isReordered(c)) return index;
    index = start;
  }
  return index;
}

HxUInteger endOfMarks(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  for (HxUInteger end = index; end < length;) {
    UChar32 c;
    U16_NEXT(units, end, length, c);
    if (!isReordered(c)) return index;
    index = end;
  }
  return index;
}

HxUInteger previousCodePoint(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  return index - (index > 1 && splitsPair(units, length, index - 1) ? 2 : 1);
}

// Appends the full decomposition of one character, with its marks in their order there.
void appendDecompositionOf(UChar32 c, UnitBuffer& out) {
  out.appendWith([&](HxUniChar* place, std::int32_t room) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t count = unorm2_getDecomposition(formD(), c, place, room, &status);
    checkICUStatus(status);
    if (count >= 0) return static_cast<HxUInteger>(count);
    HxUniChar units[2];
    const HxUInteger own = splitIntoUnits(static_cast<std::uint32_t>(c), units);
    if (own <= static_cast<HxUInteger>(room)) std::copy_n(units, own, place);
    return own;
  });
}

// Puts each run of marks in the order of their classes; marks of one class keep theirs.
class MarkSorter {
 public:
  explicit MarkSorter(UnitBuffer& out) : _out(out) {}

  void add(UChar32 c) {
    const std::size_t kind = u_getCombiningClass(c);
    if (kind == 0) {
      finish();
      return append(c);
    }
    if (_marks[kind].empty()) _used.push_back(kind);
    _marks[kind].push_back(c);
  }
  void finish() {
    std::sort(_used.begin(), _used.end());
    for (const std::size_t kind : _used) {
      for (const UChar32 c : _marks[kind]) append(c);
      _marks[kind].clear();
    }
    _used.clear();
  }

 private:
  void append(UChar32 c) {
    HxUniChar units[2];
    _out.append(units, splitIntoUnits(static_cast<std::uint32_t>(c), units));
  }

  UnitBuffer& _out;
  std::array<std::vector<UChar32>, 256> _marks;
  std::vector<std::size_t> _used;
};

// Appends the normal form D of text with a long run of marks, in time linear in the text.
void appendSorted(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  UnitBuffer decomposed;
  for (HxUInteger i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(units, i, length, c);
    appendDecompositionOf(c, decomposed);
  }
  MarkSorter sorter(out);
  for (HxUInteger i = 0; i < decomposed.length();) {
    UChar32 c;
    U16_NEXT(decomposed.units(), i, decomposed.length(), c);
    sorter.add(c);
  }
  sorter.finish();
}

}  // namespace

HxRange nextLongRunOfMarks(const HxUniChar* units, HxUInteger length, HxUInteger from) {
  for (HxUInteger at = from + kLongRunOfMarks - 1; at < length; at += kLongRunOfMarks) {
    if (units[at] < kFirstMark) continue;
    const HxUInteger inside = splitsPair(units, length, at) ? at - 1 : at;
    const HxUInteger end = endOfMarks(units, length, inside);
    const HxUInteger start = startOfMarks(units, inside);
    if (end > start && end - start >= kLongRunOfMarks) {
      return {std::max(start, from), end - std::max(start, from)};
    }
  }
  return kNotFoundRange;
}

void appendDecomposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  HxUInteger done = 0;
  while (done < length) {
    const HxRange run = nextLongRunOfMarks(units, length, done);
    if (run.length == 0) break;
    // The run takes its base along: the marks that it decomposes to are sorted with the others.
    const HxUInteger start =
        run.location > done ? previousCodePoint(units, length, run.location) : done;
    if (start > done) appendNormalized(formD(), units + done, start - done, out);
    appendSorted(units + start, HxMaxRange(run) - start, out);
    done = HxMaxRange(run);
  }
  if (done < length) appendNormalized(formD(), units + done, length - done, out);
}

void appendComposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  if (nextLongRunOfMarks(units, length, 0).length == 0) {
    return appendNormalized(formC(), units, length, out);
  }
  // Composition adds sorted marks at the end, one after the other.
  UnitBuffer decomposed;
  appendDecomposed(units, length, decomposed);
  appendNormalized(formC(), decomposed.units(), decomposed.length(), out);
}

bool isDecomposed(const HxUniChar* units, HxUInteger length) {
  return isNormalized(formD(), units, length);
}

// A long run of marks is checked by making the form: the quick check would sort it for each mark.
bool isComposed(const HxUniChar* units, HxUInteger length) {
  if (nextLongRunOfMarks(units, length, 0).length == 0) {
    return isNormalized(formC(), units, length);
  }
  UnitBuffer composed;
  appendComposed(units, length, composed);
  return composed.length() == length && areSameUnits(composed.units(), units, length);
}

// ---- Keys -------------------------------------------------------------------------------------

HxUInteger nextPiece(const HxUniChar* units, HxUInteger length, HxUInteger index,
                     Equivalence equivalence) {
  if (equivalence.canonical) return nextSequenceBoundary(units, length, index);
  return index + (splitsPair(units, length, index + 1) ? 2 : 1);
}

HxUInteger previousPiece(const HxUniChar* units, HxUInteger length, HxUInteger index,
                         Equivalence equivalence) {
  if (equivalence.canonical) return previousSequenceBoundary(units, length, index);
  return index - (splitsPair(units, length, index - 1) ? 2 : 1);
}

bool isPieceBoundary(const HxUniChar* units, HxUInteger length, HxUInteger index,
                     Equivalence equivalence) {
  return equivalence.canonical ? isSequenceBoundary(units, length, index)
                               : !splitsPair(units, length, index);
}

namespace {

// Full default case folding (Unicode Standard, 3.13).
void appendFolded(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  out.appendWith([&](HxUniChar* place, std::int32_t room) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t wanted =
        u_strFoldCase(place, room, units, icuLength(length), U_FOLD_CASE_DEFAULT, &status);
    checkICUStatus(status);
    return static_cast<HxUInteger>(wanted);
  });
}

}  // namespace

void appendKey(const HxUniChar* units, HxUInteger length, Equivalence equivalence,
               UnitBuffer& key) {
  if (length == 1 && units[0] < 0x80) return key.append(equivalence.fold(units[0]));
  if (!equivalence.canonical) {
    return equivalence.foldsCase ? appendFolded(units, length, key) : key.append(units, length);
  }
  if (!equivalence.foldsCase) return appendDecomposed(units, length, key);
  // Canonical caseless matching: decompose, fold, decompose (definition D145).
  UnitBuffer decomposed;
  UnitBuffer folded;
  appendDecomposed(units, length, decomposed);
  appendFolded(decomposed.units(), decomposed.length(), folded);
  appendDecomposed(folded.units(), folded.length(), key);
}

void appendKey(const char* ascii, HxUInteger length, Equivalence equivalence, UnitBuffer& key) {
  key.room(length);
  for (HxUInteger i = 0; i < length; ++i) {
    key.append(equivalence.fold(static_cast<unsigned char>(ascii[i])));
  }
}

bool mayBeginKeySlow(HxUniChar unit, HxUniChar first, Equivalence equivalence) {
  if (isSurrogate(unit)) return true;
  if (equivalence.foldsCase) {
    UnitBuffer key;
    appendKey(&unit, 1, equivalence, key);
    return key[0] == first || isMark(unit);
  }
  // A piece of marks alone may have its marks reordered, so that any of them comes first.
  if (unit == first) return true;
  HxUniChar decomposition[32];
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t count = unorm2_getDecomposition(formD(), unit, decomposition, 32, &status);
  return (count > 0 && decomposition[0] == first) || isMark(unit);
}

}  // namespace rondel::internal
