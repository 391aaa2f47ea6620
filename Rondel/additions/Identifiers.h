// SPDX-License-Identifier: MIT
//
// Identifiers, names that are not taken yet, and version numbers.
//
//   stringByManglingToLegalCIdentifier("My Tool 2.0"_hx);        // My_Tool_2_0
//   stringByManglingToLegalRFC1034Identifier("My Tool 2.0"_hx);  // My-Tool-2-0
//   uniqueStringAmongStrings("Target"_hx, namesInUse);           // Target 1
//   versionNumberComparison("1.10"_hx, "1.9"_hx);                // HxOrderedDescending
//
// U+FFFF. isLegalCIdentifier and the two manglers read it as the end of the text: what stands
// behind it is not looked at. That is wanted; other readers of this library end there as well.
//
// Nil text gives false, nil or HxOrderedSame. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Identifiers --------------------------------------------------------------------------------

// Whether the text is made of ASCII letters, digits and underscores, with no digit in front. Empty
// text is no identifier. Keywords of the language are not told apart, and identifiers with other
// letters, which newer C allows, are none here.
RONDEL_EXPORT bool isLegalCIdentifier(const HxString& text);

// A C identifier made of any text, and a label as RFC 1034, section 3.5, has them. The text is
// decomposed canonically, so that a letter with a mark is a letter and a mark; then each UTF-16
// unit gives one character. ASCII letters stay, so do digits but for one in front, and all else
// becomes an underscore, or for RFC 1034 a hyphen.
//
//   "1a"    _a     -a
//   "a_b"   a_b    a-b
//   "é"     e_     e-
//
// Different texts may give the same identifier. Empty text gives the empty string, which is no
// identifier; and a label of RFC 1034 may not begin or end with a hyphen or be longer than 63,
// which is for the caller to see to.
RONDEL_EXPORT HxString stringByManglingToLegalCIdentifier(const HxString& text);
RONDEL_EXPORT HxString stringByManglingToLegalRFC1034Identifier(const HxString& text);

// ---- Names --------------------------------------------------------------------------------------

// The name, without whitespace at its ends (whitespaceCharacterSet), if the collection does not
// contain it; the receiver itself then when it has none. Else the name with a number that makes it
// free: a number at its end goes up from there, a name without one starts at 1.
//
//   "Target"    taken   Target 1
//   "Target 3"  taken   Target 4
//   "Target3"   taken   Target 4: always one blank in front of the number
//   "42"        taken   4 3: the first character is never part of the number
//
// A name without characters is given back even if the collection contains it. A nil collection
// contains nothing. Numbers beyond the range of int count as its greatest, and go on from there.
RONDEL_EXPORT HxString uniqueStringAmongStrings(const HxString& name, const HxArray& strings);
RONDEL_EXPORT HxString uniqueStringAmongStrings(const HxString& name, const HxSet& strings);
inline HxString uniqueStringAmongStrings(const HxString& name, std::nullptr_t) {
  return uniqueStringAmongStrings(name, HxArray());
}

// ---- Version numbers ----------------------------------------------------------------------------

// Compares part by part, the parts being what lies between dots; parts that one of the two lacks at
// its end are "0". So 1.2 and 1.2.0 are the same, and 1.10 is above 1.9. Parts need not be numbers:
// they are compared with HxNumericSearch, as text in which runs of digits count by their value. A
// nil argument has no parts, and so is the same as 0.
RONDEL_EXPORT HxComparisonResult versionNumberComparison(const HxString& version,
                                                         const HxString& other);

}  // namespace rondel
