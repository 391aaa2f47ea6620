// SPDX-License-Identifier: MIT

// Words are quoted, joined, and split again. The input is one word a line, in UTF-8 or, when it is
// not that, in UTF-16.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/StringList.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;

namespace {

std::u16string unitsOf(const HxString& string) {
  std::u16string units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

// The escapes of these are for people; the splitters do not read them back. U+FFFF ends a text.
bool splitsBack(char16_t unit) {
  const bool isEscaped = unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r';
  return !isEscaped && unit != 0xFFFF;
}

std::u16string withoutOthers(std::u16string text) {
  std::erase_if(text, [](char16_t unit) { return !splitsBack(unit); });
  return text;
}

bool isASCII(const std::u16string& text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

// By units: to hasPrefix a quote with a combining mark after it is another character.
bool isBetweenQuotes(const HxString& text) {
  const HxUInteger length = text.length();
  return length >= 2 && text.characterAtIndex(0) == u'"' &&
         text.characterAtIndex(length - 1) == u'"';
}

void checkAnyText(const HxString& word) {
  for (int options = 0; options < 8; ++options) {
    const bool onlyIfNeeded = (options & 1) != 0;
    const HxString quoted =
        stringByQuotingOnlyIfNeeded(word, onlyIfNeeded, (options & 2) != 0, (options & 4) != 0);
    require(quoted.object() == word.object() || isBetweenQuotes(quoted),
            "the result is the receiver or stands between quotes");
    require(quoted.object() != word.object() || onlyIfNeeded, "quotes were asked for");
  }
}

void checkRoundTrip(const HxString& word) {
  const HxArray alone = HxArray::arrayWithObject(word);
  const HxString quoted = stringByQuotingOnlyIfNeeded(word, false, false, false);
  require(arrayByParsingAsCommandLineArguments(quoted).isEqual(alone), "quotes split back");
  require(componentsSeparatedByUnquotedWhitespace(quoted).isEqual(HxArray::arrayWithObject(quoted)),
          "quoted text is one word");
  if (!word.isEmpty() && isASCII(unitsOf(word))) {
    require(arrayByParsingAsStringList(quoted).isEqual(alone), "quotes split back from a list");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* const bytes = reinterpret_cast<const char*>(data);
  HxString text(std::string_view(bytes, size));
  if (!text) {
    std::u16string units(size / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
      units[i] = static_cast<char16_t>(data[2 * i] << 8 | data[2 * i + 1]);
    }
    text = HxString(std::u16string_view(units));
  }
  HxMutableArray words = HxMutableArray::array();
  for (const HxAny& line : text.componentsSeparatedByString("\n"_hx)) {
    const HxString any = as<HxString>(line);
    checkAnyText(any);
    const HxString word{std::u16string_view(withoutOthers(unitsOf(any)))};
    checkRoundTrip(word);
    words.addObject(word);
  }
  const HxString joined = stringByConcatenatingObjectsAsCommandLineArguments(words);
  require(arrayByParsingAsCommandLineArguments(joined).isEqual(words), "a joined line splits back");
  stringByConcatenatingObjectsAsStringList(words);
  return 0;
}
