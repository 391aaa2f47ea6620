// SPDX-License-Identifier: MIT

// Mangled text is an identifier, names that are made unique are free, versions have an order. The
// input is one name a line, in UTF-8 or, when it is not that, in UTF-16.

#include <cstddef>
#include <cstdint>

#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/Replacing.h"
#include "Rondel/additions/Whitespace.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;
using fuzz::textFrom;

namespace {

// What the manglers read: all in front of the first U+FFFF.
HxString readPart(const HxString& text) {
  const HxRange mark = text.rangeOfString(HxString(u"\uFFFF"), HxLiteralSearch);
  return mark.length > 0 ? text.substringToIndex(mark.location) : text;
}

void checkMangling(const HxString& name) {
  const HxString c = stringByManglingToLegalCIdentifier(name);
  const HxString rfc1034 = stringByManglingToLegalRFC1034Identifier(name);
  const HxString read = readPart(name.decomposedStringWithCanonicalMapping());
  require(c.length() == read.length() && rfc1034.length() == c.length(),
          "each unit makes one character");
  require(isLegalCIdentifier(c) == !read.isEmpty(), "what is made is an identifier");
  require(stringByManglingToLegalCIdentifier(c).isEqualToString(c), "and stays as it is");
  require(stringByReplacingCharacter(c, u'_', u'-').isEqualToString(rfc1034),
          "the two differ in the filler alone");
  if (isLegalCIdentifier(name)) {
    require(c.isEqualToString(readPart(name)), "an identifier is mangled to itself");
  }
}

void checkUniqueness(const HxString& name, const HxArray& names, const HxSet& set) {
  const HxString unique = uniqueStringAmongStrings(name, set);
  require(unique.isEqualToString(uniqueStringAmongStrings(name, names)), "array and set agree");
  require(unique.isEmpty() || !set.containsObject(unique), "a unique name is free");
  const HxString trimmed = stringByRemovingLeadingAndTrailingWhitespace(name);
  require(set.containsObject(trimmed) || unique.object() == trimmed.object() ||
              unique.isEqualToString(trimmed),
          "a name that is free stays");
}

void checkOrder(const HxString& a, const HxString& b) {
  require(versionNumberComparison(a, a) == HxOrderedSame, "a version is the same as itself");
  require(versionNumberComparison(a, a.stringByAppendingString(".0"_hx)) == HxOrderedSame,
          "parts that are 0 at the end do not count");
  require(int{versionNumberComparison(a, b)} == -int{versionNumberComparison(b, a)},
          "the order is the same from both sides");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const HxString text = textFrom(data, size);
  const HxArray names = text.componentsSeparatedByString("\n"_hx);
  const HxSet set = HxSet::initWithArray(names);
  HxString previous = "1"_hx;
  HxUInteger left = 64;  // names that are looked at; uniqueness in an array is quadratic
  for (const HxAny& line : names) {
    if (left-- == 0) break;
    const HxString name = as<HxString>(line);
    checkMangling(name);
    checkUniqueness(name, names, set);
    checkOrder(name, previous);
    previous = name;
  }
  return 0;
}
