// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/ComposedText.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace rondel::internal {

// ---- Sequences --------------------------------------------------------------------------------

namespace {

bool isMark(UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0; }

bool takesMarks(UChar32 c) {
  return (U_GET_GC_MASK(c) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) == 0;
}

// Conjoining Hangul letters: vowels go with leading letters and vowels, trailing letters with
// vowels and trailing ones (Unicode Standard, 3.12). The blocks that hold them are asked first.
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

bool splitsPair(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  return index > 0 && index < length && U16_IS_TRAIL(units[index]) && U16_IS_LEAD(units[index - 1]);
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

}  // namespace

void appendDecomposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  appendNormalized(formD(), units, length, out);
}

void appendComposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out) {
  appendNormalized(formC(), units, length, out);
}

bool isDecomposed(const HxUniChar* units, HxUInteger length) {
  return isNormalized(formD(), units, length);
}

bool isComposed(const HxUniChar* units, HxUInteger length) {
  return isNormalized(formC(), units, length);
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
  appendFolded(decomposed.data(), decomposed.length(), folded);
  appendDecomposed(folded.data(), folded.length(), key);
}

void appendKey(const char* ascii, HxUInteger length, Equivalence equivalence, UnitBuffer& key) {
  key.reserve(key.length() + length);
  for (HxUInteger i = 0; i < length; ++i) {
    key.append(equivalence.fold(static_cast<unsigned char>(ascii[i])));
  }
}

bool mayBeginKeySlow(HxUniChar unit, HxUniChar first, Equivalence equivalence) {
  if (U16_IS_SURROGATE(unit)) return true;
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
