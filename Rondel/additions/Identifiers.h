// SPDX-License-Identifier: MIT
//
// Identifiers, names that are not taken yet, and version numbers.
//
//   stringByManglingToLegalCIdentifier("My Tool 2.0"_hx);        // My_Tool_2_0
//   stringByManglingToLegalRFC1034Identifier("My Tool 2.0"_hx);  // My-Tool-2-0
//   uniqueStringAmongStrings("Target"_hx, namesInUse);           // Target 1
//   versionNumberComparison("1.10"_hx, "1.9"_hx);                // HxOrderedDescending
//
// U+FFFF. isLegalCIdentifier and the two manglers read it as the end of the text: what follows it
// is not looked at. Deliberate: other readers of this library end there as well.
//
// The result for nil text is false, nil or HxOrderedSame. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Identifiers --------------------------------------------------------------------------------

// Returns whether the text consists of ASCII letters, digits and underscores, with no digit in
// front. Empty text is no identifier. Keywords of the language are identifiers. Other letters,
// which newer C allows, are not accepted.
RONDEL_EXPORT bool isLegalCIdentifier(const HxString& text);

// Return a C identifier made from any text, and a label as in RFC 1034, section 3.5. The text is
// decomposed canonically, so a letter with a mark becomes a letter and a mark. Then each UTF-16
// unit becomes one character. ASCII letters stay, and so do digits that are not in front. All else
// becomes an underscore, or for RFC 1034 a hyphen.
//
//   "1a"    _a     -a
//   "a_b"   a_b    a-b
//   "é"     e_     e-
//
// Different texts may become the same identifier. Empty text becomes the empty string, which is no
// identifier. A label of RFC 1034 may not begin or end with a hyphen or be longer than 63: the
// caller sees to that.
RONDEL_EXPORT HxString stringByManglingToLegalCIdentifier(const HxString& text);
RONDEL_EXPORT HxString stringByManglingToLegalRFC1034Identifier(const HxString& text);

// ---- Names --------------------------------------------------------------------------------------

// Returns the name without whitespace at its ends (whitespaceCharacterSet) if the collection does
// not contain it; the receiver itself if it has no such whitespace. Otherwise returns the name with
// a number that makes it free. A number at its end counts up; a name without one starts at 1.
//
//   "Target"    taken   Target 1
//   "Target 3"  taken   Target 4
//   "Target3"   taken   Target 4: always one blank in front of the number
//   "42"        taken   4 3: the first character is never part of the number
//
// A name without characters is returned even if the collection contains it. A nil collection
// contains nothing. Numbers beyond the range of int count as its greatest, and count up from there.
RONDEL_EXPORT HxString uniqueStringAmongStrings(const HxString& name, const HxArray& strings);
RONDEL_EXPORT HxString uniqueStringAmongStrings(const HxString& name, const HxSet& strings);
inline HxString uniqueStringAmongStrings(const HxString& name, std::nullptr_t) {
  return uniqueStringAmongStrings(name, HxArray());
}

// ---- Version numbers ----------------------------------------------------------------------------

// Compares part by part; dots separate the parts. Parts that one of the two lacks at its end are
// "0". So 1.2 and 1.2.0 are the same, and 1.10 is above 1.9. Parts need not be numbers: they are
// compared with HxNumericSearch, as text in which runs of digits count by their value. A nil
// argument has no parts, and so is the same as 0.
RONDEL_EXPORT HxComparisonResult versionNumberComparison(const HxString& version,
                                                         const HxString& other);

}  // namespace rondel
