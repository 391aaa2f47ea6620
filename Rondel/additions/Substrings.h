// SPDX-License-Identifier: MIT
//
// Parts of a text: without a prefix or a suffix, around markers, abbreviated, and where it differs
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
// The result for nil text is zero: nil or an empty range. Nothing is checked then. Arguments that
// fail a check, where the sink returns, are treated as stated with each operation. All of this may
// be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Prefixes and suffixes ----------------------------------------------------------------------

// Return the text without the prefix or the suffix. Return the receiver itself if it has none, or
// if the argument is nil or empty. An argument that is no string fails a check and removes nothing.
RONDEL_EXPORT HxString stringByRemovingPrefix(const HxString& text, const HxString& possiblePrefix);
RONDEL_EXPORT HxString stringByRemovingSuffix(const HxString& text, const HxString& possibleSuffix);

// Returns the first element of the array that the text has as a prefix, nil if there is none. The
// empty string is a prefix of every text; an element that is no string is a prefix of none. Nil,
// and an object that is no array, fails a check; the result is nil.
RONDEL_EXPORT HxString firstMatchingPrefixFromArray(const HxString& text, const HxArray& prefixes);

// ---- Around markers -----------------------------------------------------------------------------

// Return the text after the first occurrence of the marker, and the text before it. Return nil if
// the marker is absent, nil or empty. Unless line boundaries may be crossed, the text after the
// marker ends at the first "\n", and the text before it starts after the last "\n". Other line
// terminators are ordinary characters here.
//
//   "1\n2 = 3\n4"   after " = "    crossing: 3\n4    not crossing: 3
//                   before " = "   crossing: 1\n2    not crossing: 2
RONDEL_EXPORT HxString substringAfterString(const HxString& text, const HxString& marker,
                                            bool crossingLineBoundaries);
RONDEL_EXPORT HxString substringBeforeString(const HxString& text, const HxString& marker,
                                             bool crossingLineBoundaries);

// Returns the text between the first occurrence of one marker and the first occurrence of the other
// after it, nil if one of them is absent. Unless line boundaries may be crossed, both must be on
// one line.
RONDEL_EXPORT HxString substringBetweenString(const HxString& text, const HxString& start,
                                              const HxString& end, bool crossingLineBoundaries);

// ---- Abbreviating -------------------------------------------------------------------------------

// Returns text longer than the limit with one ellipsis, U+2026, in place of its middle. Returns the
// receiver itself if it is not longer. As many units are kept at the start as at the end, so the
// result may be shorter than the limit. Composed characters are not split, so it may be longer as
// well. For limits below 4 the result is the ellipsis alone.
RONDEL_EXPORT HxString stringByAbbreviatingWithEllipsisInMiddleToLength(const HxString& text,
                                                                        HxUInteger limit);

// ---- Differences --------------------------------------------------------------------------------

// Returns the part of the text that differs from a part of another. It lies between the units that
// both begin with and those that both end with. The beginnings are compared first, and no unit
// counts twice: "aa" differs from "aaa" in {2, 0}. Single UTF-16 units are compared, whatever they
// compose.
//
// A range beyond the other text fails a check and is cut. Nil, and an object that is no string,
// fails a check and is compared as the empty string.
RONDEL_EXPORT HxRange rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(const HxString& text,
                                                                            HxRange str2Range,
                                                                            const HxString& str2);

}  // namespace rondel
