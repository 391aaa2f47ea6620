// SPDX-License-Identifier: MIT

// Assignments are read, written and read again; reading is held against a plain model. The input is
// UTF-8 or, when it is not that, UTF-16.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/SimpleAssignments.h"
#include "Rondel/core/text/CharacterSet.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;

namespace {

using Units = std::u16string;
using Entries = std::map<Units, Units>;

Units unitsOf(const HxString& string) {
  Units units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

bool isBlank(char16_t unit) {
  static const HxCharacterSet blanks = HxCharacterSet::whitespaceCharacterSet();
  return blanks.characterIsMember(unit);
}

Units trimmed(Units text) {
  while (!text.empty() && isBlank(text.back())) text.pop_back();
  while (!text.empty() && isBlank(text.front())) text.erase(0, 1);
  return text;
}

bool isName(const Units& name) {
  const Units read = name.substr(0, name.find(u'\xFFFF'));
  const auto isLetter = [](char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_';
  };
  const auto isDigit = [](char16_t c) { return c >= u'0' && c <= u'9'; };
  if (name.empty()) return false;
  if (!read.empty() && isDigit(read[0])) return false;
  return std::all_of(read.begin(), read.end(),
                     [&](char16_t c) { return isLetter(c) || isDigit(c); });
}

// What a text holds; nothing, and a message, for a text with a bad line.
std::optional<Entries> model(const Units& text, Units& message) {
  Entries entries;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end =
        std::min(text.find_first_of(u"\n\r\u0085\u2028\u2029", at), text.size());
    const Units line = text.substr(at, end - at);
    at = end + (text.substr(end, 2) == u"\r\n" ? 2 : 1);
    const std::size_t sign = line.find(u'=');
    if (sign == Units::npos) {
      if (trimmed(line).empty()) continue;
      message = u"String '" + line + u"' isn't a valid variable assignment";
      return std::nullopt;
    }
    const Units name = trimmed(line.substr(0, sign));
    Units value = trimmed(line.substr(sign + 1));
    if (value.ends_with(u';')) value = trimmed(value.substr(0, value.size() - 1));
    if (!isName(name)) {
      message = u"'" + name + u"' isn't a valid variable name";
      return std::nullopt;
    }
    entries[name] = value;
  }
  return entries;
}

Entries entriesOf(const HxDictionary& dictionary) {
  Entries entries;
  for (auto [key, value] : dictionary) {
    entries[unitsOf(as<HxString>(key))] = unitsOf(as<HxString>(value));
  }
  return entries;
}

HxMutableDictionary read(const HxString& text, HxString* message) {
  return dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, message);
}

// Values come back as the quoter wrote them. U+FFFF ends what it writes, and may make an entry's
// line look otherwise, so such text is not looked at.
void checkRoundTrip(const HxDictionary& entries) {
  const HxString written = stringByConcatenatingEntriesAsLinesOfSimpleAssignments(entries);
  require(!written.isNil(), "what was read can be written");
  const Units lines = unitsOf(written);
  if (lines.find(u'\xFFFF') != Units::npos) return;
  HxMutableDictionary expected = HxMutableDictionary::dictionary();
  for (auto [name, value] : entries) {
    expected.setObject(stringByQuotingIfNeeded(as<HxString>(value)), name);
  }
  HxString message;
  const HxMutableDictionary again = read(written, &message);
  require(message.isNil() && again.isEqual(expected),
          "what was written reads back, but for quotes");
}

bool hasUnit(const Entries& entries, char16_t unit) {
  return std::any_of(entries.begin(), entries.end(), [unit](const auto& entry) {
    return entry.first.find(unit) != Units::npos || entry.second.find(unit) != Units::npos;
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const HxString text = fuzz::textFrom(data, size);
  HxString message;
  const HxMutableDictionary entries = read(text, &message);
  Units expectedMessage;
  const std::optional<Entries> expected = model(unitsOf(text), expectedMessage);
  require(entries.isNil() == !expected, "good and bad lines are told apart");
  require(unitsOf(message) == expectedMessage, "the message is that of the first bad line");
  require(read(text, nullptr).isNil() == entries.isNil(), "the message need not be wanted");
  if (!expected) return 0;
  require(entriesOf(entries) == *expected, "the entries are those of the plain model");
  if (!hasUnit(*expected, u'\xFFFF')) checkRoundTrip(entries);
  return 0;
}
