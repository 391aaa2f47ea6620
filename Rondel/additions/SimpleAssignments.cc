// SPDX-License-Identifier: MIT
#include "Rondel/additions/SimpleAssignments.h"

#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/Whitespace.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/report/Check.h"

namespace rondel {

namespace {

// A message for the user with the table that it is looked up in.
struct Message {
  HxString format;
  HxString table;
};
constexpr Message kNoAssignment{"String '%@' isn't a valid variable assignment"_hx, "RondelKit"_hx};
// Deliberate: this table's name is spelt unlike the other's. Translations depend on it.
constexpr Message kNoName{"'%@' isn't a valid variable name"_hx, "RondlKit"_hx};

HxString localized(const Message& message, const HxString& subject) {
  const HxBundle bundle = HxBundle::bundleWithIdentifier(HxRondelBundleIdentifier);
  return HxString::stringWithFormat(
      bundle.localizedStringForKey(message.format, ""_hx, message.table), subject);
}

HxString withoutSemicolon(const HxString& value) {
  const HxUInteger length = value.length();
  if (length == 0 || value.characterAtIndex(length - 1) != u';') return value;
  return stringByRemovingLeadingAndTrailingWhitespace(value.substringToIndex(length - 1));
}

// Reads one assignment. Returns what is wrong with it, or null.
const Message* readLine(const HxString& line, HxMutableDictionary& entries, HxString& subject) {
  const HxRange sign = line.rangeOfString("="_hx, HxLiteralSearch);
  if (sign.length == 0) {
    subject = line;
    return stringByRemovingLeadingAndTrailingWhitespace(line).isEmpty() ? nullptr : &kNoAssignment;
  }
  subject = stringByRemovingLeadingAndTrailingWhitespace(line.substringToIndex(sign.location));
  if (!isLegalCIdentifier(subject)) return &kNoName;
  entries.setObject(withoutSemicolon(stringByRemovingLeadingAndTrailingWhitespace(
                        line.substringFromIndex(HxMaxRange(sign)))),
                    subject);
  return nullptr;
}

bool canBeWritten(const HxDictionary& entries, const HxHandle& key) {
  return isLegalCIdentifier(as<HxString>(key)) &&
         HxString::canHold(entries.objectForKey(key).object());
}

}  // namespace

HxMutableDictionary dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(
    const HxString& text, HxString* errorString) {
  if (!text) return nullptr;
  HxMutableDictionary entries = HxMutableDictionary::dictionary();
  HxString subject;
  const HxUInteger length = text.length();
  for (HxUInteger at = 0; at < length;) {
    HxUInteger start = 0;
    HxUInteger contentsEnd = 0;
    text.getLineStart(&start, &at, &contentsEnd, {at, 0});
    if (contentsEnd == start) continue;
    const HxString line = text.substringWithRange({start, contentsEnd - start});
    if (const Message* const fault = readLine(line, entries, subject)) {
      if (errorString) *errorString = localized(*fault, subject);
      return nullptr;
    }
  }
  return entries;
}

HxString stringByConcatenatingEntriesAsLinesOfSimpleAssignments(const HxDictionary& entries) {
  if (!entries) return nullptr;
  MO_ADDITION(entries,
              "-[HxDictionary(MoSimpleAssignments) "
              "stringByConcatenatingEntriesAsLinesOfSimpleAssignments]");
  HxArray keys = entries.allKeys();
  for (const HxAny& key : keys) {
    if (!canBeWritten(entries, key)) return nullptr;
  }
  const HxUInteger count = keys.count();
  keys = keys.sortedArrayUsingSelector(HxSelector("compare:"));
  MoAssertWithMessageText(keys.count() == count, "[keys count] == count",
                          "sorting the key array changed the number of items!"_hx);
  HxMutableString lines = HxMutableString::string();
  for (const HxAny& key : keys) {
    MoCheckInstance(key, HxString);
    const HxString value = entries.objectForKey<HxString>(key);
    lines.appendFormat("%@ = %@\n"_hx, key, stringByQuotingIfNeeded(value));
  }
  return lines.copy();
}

}  // namespace rondel
