// SPDX-License-Identifier: MIT

// Escaped text holds nothing that had to be escaped and comes back when the escapes are undone;
// whitespace that is run together, trimmed or deleted is gone, and all else is still there. The
// input is UTF-8 or, when it is not that, UTF-16.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Rondel/additions/Escaping.h"
#include "Rondel/additions/Replacing.h"
#include "Rondel/additions/Whitespace.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;
using fuzz::textFrom;

namespace {

std::u16string unitsOf(const HxString& string) {
  std::u16string units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

bool isBlank(char16_t unit) {
  return unit == u'\t' || unit == u'\n' || unit == u'\r' || unit == u' ';
}

struct Entity {
  HxString escape;
  HxString character;
};
// The ampersand comes last.
constexpr Entity kEntities[] = {{"&lt;"_hx, "<"_hx},
                                {"&gt;"_hx, ">"_hx},
                                {"&quot;"_hx, "\""_hx},
                                {"&apos;"_hx, "'"_hx},
                                {"&amp;"_hx, "&"_hx}};

void checkXML(const HxString& text) {
  HxString escaped = stringByEscapingForXML(text);
  require(escaped.object() != text.object() || text.isEmpty(), "escaped text is a new string");
  const std::u16string units = unitsOf(escaped);
  require(units.find_first_of(u"<>\"'") == std::u16string::npos, "no markup is left");
  for (const Entity& entity : kEntities) {
    escaped = stringByReplacingSubstring(escaped, entity.escape, entity.character);
  }
  require(escaped.isEqualToString(text), "escapes can be undone");
  require(stringByUnescapingFromXML(text).object() == text.object(), "and are not by this");
}

void checkPercents(const HxString& text) {
  const HxString escaped = stringByEscapingPercents(text);
  require(HxString::stringWithFormat(escaped).isEqualToString(text), "text stands for itself");
}

void checkWhitespace(const HxString& text) {
  const std::u16string units = unitsOf(text);
  std::u16string bare = units;
  std::erase_if(bare, isBlank);
  require(unitsOf(stringByDeletingAllWhitespace(text)) == bare, "deleting leaves the rest");
  HxMutableString bySet = text.mutableCopy();
  deleteAllCharactersInSet(bySet, isspaceCharacterSet());
  require(unitsOf(bySet) == bare, "by set as well");

  const HxString runs = stringByConvertingWhitespaceRunsToSingleSpaces(text);
  require((runs.object() == text.object()) == (bare.size() == units.size()),
          "text without any is the receiver itself");
  require(unitsOf(runs).find(u"  ") == std::u16string::npos, "no blank beside another");
  require(unitsOf(stringByDeletingAllWhitespace(runs)) == bare, "and all the rest");

  const auto first = std::find_if_not(units.begin(), units.end(), isBlank);
  require(unitsOf(stringByDeletingLeadingWhitespace(text)) == std::u16string(first, units.end()),
          "deleting at the start");
  const auto last = std::find_if_not(units.rbegin(), units.rend(), isBlank).base();
  require(unitsOf(stringByDeletingTrailingWhitespace(text)) == std::u16string(units.begin(), last),
          "deleting at the end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const HxString text = textFrom(data, size);
  checkXML(text);
  checkPercents(text);
  checkWhitespace(text);
  return 0;
}
