// SPDX-License-Identifier: MIT
//
// Trims, deletes and collapses whitespace and other characters.
//
//   stringByDeletingTrailingWhitespace(line);                     // "a\t\n" becomes "a"
//   stringByRemovingLeadingAndTrailingWhitespace(answer);         // " yes " becomes "yes"
//   stringByConvertingWhitespaceRunsToSingleSpaces(description);  // "a\n\t b" becomes "a b"
//
// Two notions of whitespace, different on purpose:
//
//   Operations with "Deleting" or "delete" in their name, and the one with "Runs", mean the four
//   characters TAB, LF, CR and U+0020 and no others: what separates words in source text.
//   Operations with "Removing" mean the sets of Unicode, as people type: whitespaceCharacterSet, or
//   with line ends whitespaceAndNewlineCharacterSet.
//
// So the first keep a no-break space and the second remove it. The same holds for a vertical tab if
// line ends are removed.
//
// Results. Deleting changes a mutable copy. Removing returns the receiver itself if there is
// nothing to remove. The result for nil is nil, and nothing happens to a nil mutable string. A nil
// set has no members.
//
// Threads. All of this may be called on any thread; a mutable string belongs to one at a time.
#pragma once

#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the set of TAB, LF, CR and U+0020, a new one on each call.
RONDEL_EXPORT HxCharacterSet isspaceCharacterSet();

// ---- Deleting -----------------------------------------------------------------------------------

// Return a mutable copy without the run of the four at its start, at its end, or without any of
// them.
RONDEL_EXPORT HxMutableString stringByDeletingLeadingWhitespace(const HxString& text);
RONDEL_EXPORT HxMutableString stringByDeletingTrailingWhitespace(const HxString& text);
RONDEL_EXPORT HxMutableString stringByDeletingAllWhitespace(const HxString& text);

// Do the same to the text itself. A handle passed by value shares its object, so the caller's
// string changes. A fresh mutableCopy() may be passed as well.
RONDEL_EXPORT void deleteLeadingWhitespace(HxMutableString text);
RONDEL_EXPORT void deleteTrailingWhitespace(HxMutableString text);
RONDEL_EXPORT void deleteAllWhitespace(HxMutableString text);

// Deletes the run of members of the set that starts at `index`; with HxBackwardsSearch, the run
// that ends there. Other options do not count. Nothing is deleted if the character at the index is
// no member, or if the index is the length or beyond.
//
//   deleteCharactersFromSet(text, digits, 1, 0);                  // "a12b3" becomes "ab3"
//   deleteCharactersFromSet(text, digits, 2, HxBackwardsSearch);  // so does it here
RONDEL_EXPORT void deleteCharactersFromSet(HxMutableString text, const HxCharacterSet& set,
                                           HxUInteger index, HxStringCompareOptions options);

// Deletes every member of the set.
RONDEL_EXPORT void deleteAllCharactersInSet(HxMutableString text, const HxCharacterSet& set);

// ---- Removing at both ends ----------------------------------------------------------------------

// Returns the text without the members of the set at its start and at its end. That is the receiver
// itself if there are none. It is the empty string if there is nothing else.
RONDEL_EXPORT HxString stringByRemovingLeadingAndTrailingCharactersFromSet(
    const HxString& text, const HxCharacterSet& set);

// Do that with HxCharacterSet::whitespaceCharacterSet and whitespaceAndNewlineCharacterSet.
RONDEL_EXPORT HxString stringByRemovingLeadingAndTrailingWhitespace(const HxString& text);
RONDEL_EXPORT HxString
stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(const HxString& text);

// ---- Runs ---------------------------------------------------------------------------------------

// Returns the text with each run of the four as one U+0020, at the ends too: nothing is trimmed.
// Returns the receiver itself if it has none of them, else a new string, even if its text is the
// same.
RONDEL_EXPORT HxString stringByConvertingWhitespaceRunsToSingleSpaces(const HxString& text);

}  // namespace rondel
