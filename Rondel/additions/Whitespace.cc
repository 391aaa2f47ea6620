// SPDX-License-Identifier: MIT
#include "Rondel/additions/Whitespace.h"

#include <algorithm>

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/GrowingRun.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::GrowingRun;
using internal::unitOf;

// The members of isspaceCharacterSet, without a set. Not isBlank: VT and FF are none of them.
struct FourBlanks {
  static constexpr bool contains(HxUniChar unit) noexcept {
    constexpr std::uint64_t kMembers = 1ULL << u'\t' | 1ULL << u'\n' | 1ULL << u'\r' | 1ULL << u' ';
    // Branch-free: members come in no order, so a branch would mispredict.
    return (unit <= u' ') & (kMembers >> (unit & 0x3F) & 1);
  }
};

// ---- Deleting ---------------------------------------------------------------------------------

template <class Set>
HxRange runAt(const HxString& text, const Set& set, HxUInteger index, bool isBackwards) {
  const Characters units(text);
  if (index >= units.length()) return {};
  HxUInteger start = isBackwards ? index + 1 : index;
  HxUInteger end = start;
  if (isBackwards) {
    while (start > 0 && set.contains(units[start - 1])) --start;
  } else {
    while (end < units.length() && set.contains(units[end])) ++end;
  }
  return {start, end - start};
}

template <class Set>
void deleteRun(HxMutableString& text, const Set& set, HxUInteger index,
               HxStringCompareOptions options) {
  const HxRange run = runAt(text, set, index, (options & HxBackwardsSearch) != 0);
  if (run.length > 0) text.deleteCharactersInRange(run);
}

// Branch-free: members come in no order, so branches would mispredict.
template <class Unit, class Set>
HxString stringWithout(const Set& set, const Unit* units, HxUInteger length) {
  GrowingRun<Unit> kept;
  Unit* out = kept.room(length);
  for (const Unit* at = units; at < units + length; ++at) {
    *out = *at;
    out += set.contains(unitOf(*at)) ? 0 : 1;
  }
  kept.moveEndTo(out);
  return internal::makeString(kept.units(), kept.length());
}

template <class Set>
void deleteAll(HxMutableString& text, const Set& set) {
  text.setString(Characters(text).visit(
      [&](const auto* units, HxUInteger length) { return stringWithout(set, units, length); }));
}

using Deletion = void (*)(HxMutableString);

HxMutableString changedCopy(const HxString& text, Deletion change) {
  HxMutableString copy = text.mutableCopy();
  change(copy);
  return copy;
}

// ---- Removing at both ends --------------------------------------------------------------------

HxRange rangeBetween(const HxString& text, const HxCharacterSetObject& set) {
  const Characters units(text);
  HxUInteger start = 0;
  HxUInteger end = units.length();
  while (start < end && set.contains(units[start])) ++start;
  while (end > start && set.contains(units[end - 1])) --end;
  return {start, end - start};
}

// ---- Runs -------------------------------------------------------------------------------------

template <class Unit>
bool hasBlank(const Unit* units, HxUInteger length) noexcept {
  return std::any_of(units, units + length,
                     [](Unit unit) { return FourBlanks::contains(unitOf(unit)); });
}

template <class Unit>
HxString withSingleSpaces(const Unit* units, HxUInteger length) {
  GrowingRun<Unit> result;
  Unit* out = result.room(length);
  bool wasBlank = false;
  for (const Unit* at = units; at < units + length; ++at) {
    const bool isBlank = FourBlanks::contains(unitOf(*at));
    *out = isBlank ? Unit(' ') : *at;
    out += isBlank && wasBlank ? 0 : 1;
    wasBlank = isBlank;
  }
  result.moveEndTo(out);
  return internal::makeString(result.units(), result.length());
}

}  // namespace

HxCharacterSet isspaceCharacterSet() {
  return HxCharacterSet::characterSetWithCharactersInString("\n\t\r "_hx);
}

HxMutableString stringByDeletingLeadingWhitespace(const HxString& text) {
  return changedCopy(text, deleteLeadingWhitespace);
}

HxMutableString stringByDeletingTrailingWhitespace(const HxString& text) {
  return changedCopy(text, deleteTrailingWhitespace);
}

HxMutableString stringByDeletingAllWhitespace(const HxString& text) {
  return changedCopy(text, deleteAllWhitespace);
}

void deleteLeadingWhitespace(HxMutableString text) { deleteRun(text, FourBlanks(), 0, 0); }

void deleteTrailingWhitespace(HxMutableString text) {
  const HxUInteger length = text.length();
  deleteRun(text, FourBlanks(), length > 0 ? length - 1 : 0, HxBackwardsSearch);
}

void deleteAllWhitespace(HxMutableString text) { deleteAll(text, FourBlanks()); }

void deleteCharactersFromSet(HxMutableString text, const HxCharacterSet& set, HxUInteger index,
                             HxStringCompareOptions options) {
  if (set) deleteRun(text, *set.setObject(), index, options);
}

void deleteAllCharactersInSet(HxMutableString text, const HxCharacterSet& set) {
  if (set) deleteAll(text, *set.setObject());
}

HxString stringByRemovingLeadingAndTrailingCharactersFromSet(const HxString& text,
                                                             const HxCharacterSet& set) {
  if (!text || !set) return text;
  const HxRange range = rangeBetween(text, *set.setObject());
  return range.length == text.length() ? text : text.substringWithRange(range);
}

HxString stringByRemovingLeadingAndTrailingWhitespace(const HxString& text) {
  return stringByRemovingLeadingAndTrailingCharactersFromSet(
      text, HxCharacterSet::whitespaceCharacterSet());
}

HxString stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(const HxString& text) {
  return stringByRemovingLeadingAndTrailingCharactersFromSet(
      text, HxCharacterSet::whitespaceAndNewlineCharacterSet());
}

HxString stringByConvertingWhitespaceRunsToSingleSpaces(const HxString& text) {
  return Characters(text).visit([&](const auto* units, HxUInteger length) {
    return hasBlank(units, length) ? withSingleSpaces(units, length) : text;
  });
}

}  // namespace rondel
