// SPDX-License-Identifier: MIT
//
// Parts of a text: without a prefix or a suffix, around markers, its two ends, and where it differs
// from another.
//
//   stringByRemovingPrefix("libz.so"_hx, "lib"_hx);                         // z.so
//   substringAfterString("name = value\nmore"_hx, " = "_hx, false);         // value
//   substringBetweenString("f(x, y)"_hx, "("_hx, ")"_hx, false);            // x, y
//   stringByAbbreviatingWithEllipsisInMiddleToLength("abcdefghij"_hx, 7);   // ab…ij
//
// Prefixes and suffixes are found as by hasPrefix and hasSuffix: by code units. Markers are found
// as by rangeOfString: text that is canonically equivalent counts, and what was found goes as a
// whole, however it is written there.
//
// Nil text gives zero: nil or an empty range, and nothing is checked. Arguments that fail a check,
// where the sink returns, are treated as stated with each operation. All of this may be called on
// any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Prefixes and suffixes ----------------------------------------------------------------------

// What follows the prefix, or stands before the suffix. The receiver itself when it has none, and
// when the argument is nil or empty. An argument that is no string fails a check, and removes
// nothing.
RONDEL_EXPORT HxString stringByRemovingPrefix(const HxString& text, const HxString& possiblePrefix);
RONDEL_EXPORT HxString stringByRemovingSuffix(const HxString& text, const HxString& possibleSuffix);

// The first element, in the order of the array, that the text has as a prefix; nil when there is
// none. The empty string is a prefix of every text; elements that are no strings are of none. Nil,
// and what is no array, fails a check, and has none.
RONDEL_EXPORT HxString firstMatchingPrefixFromArray(const HxString& text, const HxArray& prefixes);

// ---- Around markers -----------------------------------------------------------------------------

// The text behind the first occurrence of the marker, and the text before it; nil when the marker
// is absent, nil or empty. Unless line boundaries may be crossed, only what lies on the line of the
// marker: what is behind it up to the first "\n", what is before it from the last "\n" on. Other
// line terminators are ordinary characters here.
//
//   "1\n2 = 3\n4"   behind " = "   crossing: 3\n4    not crossing: 3
//                   before " = "   crossing: 1\n2    not crossing: 2
RONDEL_EXPORT HxString substringAfterString(const HxString& text, const HxString& marker,
                                            bool crossingLineBoundaries);
RONDEL_EXPORT HxString substringBeforeString(const HxString& text, const HxString& marker,
                                             bool crossingLineBoundaries);

// The text between the first occurrence of one marker and the first occurrence of the other behind
// it; nil when there is not one of each. Unless line boundaries may be crossed, both must be on one
// line.
RONDEL_EXPORT HxString substringBetweenString(const HxString& text, const HxString& start,
                                              const HxString& end, bool crossingLineBoundaries);

// ---- Abbreviating -------------------------------------------------------------------------------

// Text longer than the limit loses its middle to one ellipsis, U+2026; other text is the receiver
// itself. As many units are kept at the start as at the end, so the result may be shorter than the
// limit. Composed characters are not split, so it may be longer as well. Limits below 4 leave the
// ellipsis alone.
RONDEL_EXPORT HxString stringByAbbreviatingWithEllipsisInMiddleToLength(const HxString& text,
                                                                        HxUInteger limit);

// ---- Differences --------------------------------------------------------------------------------

// Which part of the text differs from a part of another: the range between the units that both
// begin with and those that both end with. The beginnings are compared first, and no unit counts
// twice: "aa" differs from "aaa" in {2, 0}. Units are compared as they stand, whatever they
// compose.
//
// A range beyond the other text fails a check, and is cut; nil, and what is no string, fails one,
// and is compared as the empty string.
RONDEL_EXPORT HxRange rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(const HxString& text,
                                                                            HxRange str2Range,
                                                                            const HxString& str2);

}  // namespace rondel
