// SPDX-License-Identifier: MIT
#include "Rondel/additions/Substrings.h"

#include <algorithm>

#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::unitOf;

constexpr HxString kLineFeed = "\n"_hx;
constexpr HxString kEllipsis = "\u2026"_hx;

// ---- Differences ------------------------------------------------------------------------------

template <class Unit, class OtherUnit>
HxRange rangeNotInCommon(const Unit* units, HxUInteger length, const OtherUnit* others,
                         HxUInteger otherLength) noexcept {
  const HxUInteger shorter = std::min(length, otherLength);
  HxUInteger front = 0;
  while (front < shorter && unitOf(units[front]) == unitOf(others[front])) ++front;
  HxUInteger back = 0;
  while (back < shorter - front &&
         unitOf(units[length - 1 - back]) == unitOf(others[otherLength - 1 - back])) {
    ++back;
  }
  return {front, length - front - back};
}

HxRange cut(HxRange range, HxUInteger length) noexcept {
  const HxUInteger location = std::min(range.location, length);
  return {location, std::min(range.length, length - location)};
}

}  // namespace

// ---- Prefixes and suffixes --------------------------------------------------------------------

HxString stringByRemovingPrefix(const HxString& text, const HxString& possiblePrefix) {
  if (!text) return nullptr;
  MO_ADDITION(text, "-[HxString(MoStringUtilities) stringByRemovingPrefix:]");
  MoCheckStringOrNil(possiblePrefix);
  if (!HxString::canHold(possiblePrefix.object()) || !text.hasPrefix(possiblePrefix)) return text;
  return possiblePrefix.isEmpty() ? text : text.substringFromIndex(possiblePrefix.length());
}

HxString stringByRemovingSuffix(const HxString& text, const HxString& possibleSuffix) {
  if (!text) return nullptr;
  MO_ADDITION(text, "-[HxString(MoStringUtilities) stringByRemovingSuffix:]");
  MoCheckStringOrNil(possibleSuffix);
  if (!HxString::canHold(possibleSuffix.object()) || !text.hasSuffix(possibleSuffix)) return text;
  if (possibleSuffix.isEmpty()) return text;
  return text.substringToIndex(text.length() - possibleSuffix.length());
}

HxString firstMatchingPrefixFromArray(const HxString& text, const HxArray& prefixes) {
  if (!text) return nullptr;
  MO_ADDITION(text, "-[HxString(MoStringUtilities) firstMatchingPrefixFromArray:]");
  MoCheckInstance(prefixes, HxArray);
  if (!HxArray::canHold(prefixes.object())) return nullptr;
  for (const HxAny& element : prefixes) {
    HxString prefix = as<HxString>(element);
    if (text.hasPrefix(prefix)) return prefix;
  }
  return nullptr;
}

// ---- Around markers ---------------------------------------------------------------------------

HxString substringAfterString(const HxString& text, const HxString& marker,
                              bool crossingLineBoundaries) {
  const HxRange found = text.rangeOfString(marker);
  if (found.length == 0) return nullptr;
  const HxUInteger start = HxMaxRange(found);
  const HxRange rest{start, text.length() - start};
  const HxRange lineEnd = crossingLineBoundaries
                              ? kNotFoundRange
                              : text.rangeOfString(kLineFeed, HxLiteralSearch, rest);
  return text.substringWithRange(lineEnd.length > 0 ? HxRange{start, lineEnd.location - start}
                                                    : rest);
}

HxString substringBeforeString(const HxString& text, const HxString& marker,
                               bool crossingLineBoundaries) {
  const HxRange found = text.rangeOfString(marker);
  if (found.length == 0) return nullptr;
  const HxUInteger end = found.location;
  const HxRange lineEnd =
      crossingLineBoundaries
          ? kNotFoundRange
          : text.rangeOfString(kLineFeed, HxLiteralSearch | HxBackwardsSearch, {0, end});
  const HxUInteger start = lineEnd.length > 0 ? HxMaxRange(lineEnd) : 0;
  return text.substringWithRange({start, end - start});
}

HxString substringBetweenString(const HxString& text, const HxString& start, const HxString& end,
                                bool crossingLineBoundaries) {
  return substringBeforeString(substringAfterString(text, start, crossingLineBoundaries), end,
                               crossingLineBoundaries);
}

// ---- Abbreviating -----------------------------------------------------------------------------

HxString stringByAbbreviatingWithEllipsisInMiddleToLength(const HxString& text, HxUInteger limit) {
  constexpr HxUInteger kLeastWithText = 4;
  const HxUInteger length = text.length();
  if (length <= limit) return text;
  if (limit < kLeastWithText) return kEllipsis;
  const HxUInteger half = (limit - (limit % 2 == 0 ? 2 : 3)) / 2;
  const HxRange lastOfHead = text.rangeOfComposedCharacterSequenceAtIndex(half - 1);
  const HxRange firstOfTail = text.rangeOfComposedCharacterSequenceAtIndex(length - half);
  return HxString::stringByConcatenating(text.substringToIndex(HxMaxRange(lastOfHead)), kEllipsis,
                                         text.substringFromIndex(firstOfTail.location));
}

// ---- Differences ------------------------------------------------------------------------------

HxRange rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(const HxString& text,
                                                              HxRange str2Range,
                                                              const HxString& str2) {
  if (!text) return {};
  MO_ADDITION(text,
              "-[HxString(MoStringUtilities) "
              "rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange:ofString:]");
  MoCheckInstance(str2, HxString);
  const Characters self(text);
  const Characters other(HxString::canHold(str2.object()) ? str2 : HxString());
  MoAssertText(
      HxRangeFits(str2Range, other.length()),
      "str2Range.location <= str2Length && str2Range.location + str2Range.length <= str2Length");
  const HxRange compared = cut(str2Range, other.length());
  const HxRange result = self.visit([&](const auto* units, HxUInteger length) {
    return other.visit([&](const auto* others, HxUInteger) {
      return rangeNotInCommon(units, length, others + compared.location, compared.length);
    });
  });
  const HxUInteger end = HxMaxRange(result);
  MoAssertText(result.location <= self.length(), "selfCharsPtr <= selfLPtr");
  MoAssertText(result.location <= end, "selfLPtr <= selfRPtr");
  MoAssertText(end <= self.length(), "selfRPtr <= selfCharsPtr + selfLength");
  return result;
}

}  // namespace rondel
