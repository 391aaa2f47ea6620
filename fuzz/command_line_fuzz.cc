// SPDX-License-Identifier: MIT

// The splitters of command lines and of string lists against each other, on every text for which
// their grammars agree, and against themselves on every text.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/StringList.h"
#include "Rondel/core/report/Check.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;

namespace {

// The grammars agree on ASCII without NUL in which no backslash stands inside single quotes or at
// the end; but for elements without characters, which a list drops.
bool grammarsAgree(std::string_view text) {
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c <= '\0') return false;  // NUL and all beyond ASCII
    if (c == '\\') {
      if (quote == '\'' || ++i == text.size() || text[i] <= '\0') return false;
    } else if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    }
  }
  return true;
}

HxArray withoutEmptyWords(const HxArray& words) {
  HxMutableArray rest = HxMutableArray::array();
  for (const HxAny& word : words) {
    if (!as<HxString>(word).isEmpty()) rest.addObject(word);
  }
  return rest;
}

void checkCommandLine(const HxString& text) {
  const HxArray words = arrayByParsingAsCommandLineArguments(text);
  const HxArray components = componentsSeparatedByUnquotedWhitespace(text);
  const bool hasLoneBackslash = components.lastObject().isEqual("\\"_hx);
  require(components.count() == words.count() + (hasLoneBackslash ? 1 : 0),
          "both forms have as many words, but for a lone backslash at the end");
  for (HxUInteger i = 0; i < words.count(); ++i) {
    const HxString component = components.objectAtIndex<HxString>(i);
    require(arrayByParsingAsCommandLineArguments(component).isEqual(
                HxArray::arrayWithObject(words.objectAtIndex(i))),
            "a word that keeps its quotes parses to the word without them");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Elements that are not UTF-8 fail a check, one after the other; nobody wants to read of each.
  MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*, int,
                                  const HxString&, HxArguments) {});
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const HxArray list = MoSplitWhitespaceSeparatedComponents(bytes.c_str(), bytes.size(), nullptr);
  std::u16string units(size / 2, u'\0');
  bytes.copy(reinterpret_cast<char*>(units.data()), size / 2 * 2);
  checkCommandLine(HxString(units));
  const HxString text{std::string_view(bytes)};
  if (!text) return 0;
  checkCommandLine(text);
  arrayByParsingAsStringList(text);
  if (grammarsAgree(bytes)) {
    require(withoutEmptyWords(arrayByParsingAsCommandLineArguments(text)).isEqual(list),
            "both grammars split alike");
    require(arrayByParsingAsStringList(text).isEqual(list), "text and bytes are the same list");
  }
  return 0;
}
