// SPDX-License-Identifier: MIT
#include "Rondel/additions/Identifiers.h"

#include <algorithm>
#include <array>

#include "Rondel/additions/Whitespace.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/MakeString.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::isDecimalDigit;
using internal::isLetterOrDigit;
using internal::unitOf;

// Where reading ends: at the first U+FFFF or at the end.
const char* endOfReading(const char* units, HxUInteger length) noexcept { return units + length; }
const HxUniChar* endOfReading(const HxUniChar* units, HxUInteger length) noexcept {
  constexpr HxUniChar kEndMark = 0xFFFF;
  return std::find(units, units + length, kEndMark);
}

// ---- Identifiers ------------------------------------------------------------------------------

constexpr HxUniChar kFillerForC = u'_';
constexpr HxUniChar kFillerForRFC1034 = u'-';

// What each ASCII character becomes after the first place.
using Mangling = std::array<char, 0x80>;

constexpr Mangling manglingWith(HxUniChar filler) {
  Mangling mangling{};
  for (HxUniChar unit = 0; unit < 0x80; ++unit) {
    const bool isKept = isLetterOrDigit(unit);
    mangling[unit] = static_cast<char>(isKept ? unit : filler);
  }
  return mangling;
}

constexpr Mangling kManglingForC = manglingWith(kFillerForC);
constexpr Mangling kManglingForRFC1034 = manglingWith(kFillerForRFC1034);

template <class Unit>
bool isLegal(const Unit* units, HxUInteger length) noexcept {
  if (length == 0 || isDecimalDigit(unitOf(*units))) return false;
  return std::all_of(units, endOfReading(units, length), [](Unit unit) {
    return unitOf(unit) < 0x80 && unitOf(unit) == unitOf(kManglingForC[unitOf(unit)]);
  });
}

char mangled(char unit, const Mangling& mangling, char) noexcept { return mangling[unitOf(unit)]; }
char mangled(HxUniChar unit, const Mangling& mangling, char filler) noexcept {
  return unit < 0x80 ? mangling[unit] : filler;
}

template <class Unit>
HxString mangled(const Unit* units, const Unit* end, const Mangling& mangling) {
  const char filler = mangling[0];
  return internal::makeNarrowString(static_cast<HxUInteger>(end - units), [&](char* out) {
    char* const first = out;
    for (const Unit* at = units; at < end; ++at) *out++ = mangled(*at, mangling, filler);
    if (units < end && isDecimalDigit(unitOf(*first))) *first = filler;
  });
}

HxString mangled(const HxString& text, const Mangling& mangling) {
  if (!text) return nullptr;
  const HxString decomposed = text.decomposedStringWithCanonicalMapping();
  return Characters(decomposed).visit([&](const auto* units, HxUInteger length) {
    return mangled(units, endOfReading(units, length), mangling);
  });
}

// ---- Names ------------------------------------------------------------------------------------

// Where the run of digits at the end starts. The first character is never in it.
HxUInteger startOfNumberAtEnd(const HxString& name) {
  const Characters units(name);
  HxUInteger start = units.length();
  while (start > 1 && isDecimalDigit(units[start - 1])) --start;
  return start;
}

template <class Collection>
HxString uniqueAmong(const HxString& text, const Collection& taken) {
  HxString name = stringByRemovingLeadingAndTrailingWhitespace(text);
  if (!taken.containsObject(name) || name.isEmpty()) return name;
  const HxUInteger start = startOfNumberAtEnd(name);
  const HxString stem = stringByDeletingTrailingWhitespace(name.substringToIndex(start));
  HxInteger counter = name.substringFromIndex(start).intValue();
  HxString candidate;
  do {
    candidate = HxString::stringWithFormat("%@ %ld"_hx, stem, ++counter);
  } while (taken.containsObject(candidate));
  return candidate;
}

// ---- Version numbers --------------------------------------------------------------------------

HxString partAt(const HxArray& parts, HxUInteger index) {
  return index < parts.count() ? as<HxString>(parts.objectAtIndex(index)) : "0"_hx;
}

}  // namespace

bool isLegalCIdentifier(const HxString& text) {
  return Characters(text).visit(
      [](const auto* units, HxUInteger length) { return isLegal(units, length); });
}

HxString stringByManglingToLegalCIdentifier(const HxString& text) {
  return mangled(text, kManglingForC);
}

HxString stringByManglingToLegalRFC1034Identifier(const HxString& text) {
  return mangled(text, kManglingForRFC1034);
}

HxString uniqueStringAmongStrings(const HxString& name, const HxArray& strings) {
  return uniqueAmong(name, strings);
}

HxString uniqueStringAmongStrings(const HxString& name, const HxSet& strings) {
  return uniqueAmong(name, strings);
}

HxComparisonResult versionNumberComparison(const HxString& version, const HxString& other) {
  if (!version) return HxOrderedSame;
  const HxArray parts = version.componentsSeparatedByString("."_hx);
  const HxArray others = other.componentsSeparatedByString("."_hx);
  const HxUInteger count = std::max(parts.count(), others.count());
  for (HxUInteger i = 0; i < count; ++i) {
    const HxComparisonResult result = partAt(parts, i).compare(partAt(others, i), HxNumericSearch);
    if (result != HxOrderedSame) return result;
  }
  return HxOrderedSame;
}

}  // namespace rondel
