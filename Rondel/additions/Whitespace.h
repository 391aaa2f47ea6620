// SPDX-License-Identifier: MIT
//
// Whitespace and other characters trimmed, deleted, and run together.
//
//   stringByDeletingTrailingWhitespace(line);                     // "a\t\n" gives "a"
//   stringByRemovingLeadingAndTrailingWhitespace(answer);         // " yes " gives "yes"
//   stringByConvertingWhitespaceRunsToSingleSpaces(description);  // "a\n\t b" gives "a b"
//
// Two notions of whitespace, different on purpose:
//
//   Operations with "Deleting" or "delete" in their name, and the one with "Runs", mean the four
//   characters TAB, LF, CR and U+0020 and no others: what separates words in source text.
//   Operations with "Removing" mean the sets of Unicode, as people type: whitespaceCharacterSet, or
//   with line ends whitespaceAndNewlineCharacterSet.
//
// So a no-break space is kept by the first and removed by the second, and so is a vertical tab if
// line ends are removed.
//
// Results. Deleting makes a mutable copy and changes that; removing gives the receiver itself
// when there is nothing to remove. Nil gives nil, and nothing happens to a nil mutable string. A
// nil set holds no characters.
//
// Threads. All of this may be called on any thread; a mutable string belongs to one at a time.
#pragma once

#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// The set of TAB, LF, CR and U+0020; a new one on each call.
RONDEL_EXPORT HxCharacterSet isspaceCharacterSet();

// ---- Deleting -----------------------------------------------------------------------------------

// A mutable copy without the run of the four at its start, at its end, or without any of them.
RONDEL_EXPORT HxMutableString stringByDeletingLeadingWhitespace(const HxString& text);
RONDEL_EXPORT HxMutableString stringByDeletingTrailingWhitespace(const HxString& text);
RONDEL_EXPORT HxMutableString stringByDeletingAllWhitespace(const HxString& text);

// The same on the text itself. A handle passed by value still shares its object: the caller's
// string changes, and a fresh mutableCopy() may be passed as well.
RONDEL_EXPORT void deleteLeadingWhitespace(HxMutableString text);
RONDEL_EXPORT void deleteTrailingWhitespace(HxMutableString text);
RONDEL_EXPORT void deleteAllWhitespace(HxMutableString text);

// Deletes the run of members of the set that the character at `index` belongs to, from there on
// upwards; with HxBackwardsSearch among the options, from there on downwards. Other options do not
// count. Nothing is deleted when that character is no member, or when the index is the length or
// beyond.
//
//   deleteCharactersFromSet(text, digits, 1, 0);                  // "a12b3" becomes "ab3"
//   deleteCharactersFromSet(text, digits, 2, HxBackwardsSearch);  // so does it here
RONDEL_EXPORT void deleteCharactersFromSet(HxMutableString text, const HxCharacterSet& set,
                                           HxUInteger index, HxStringCompareOptions options);

// Deletes every member of the set.
RONDEL_EXPORT void deleteAllCharactersInSet(HxMutableString text, const HxCharacterSet& set);

// ---- Removing at both ends ----------------------------------------------------------------------

// What is left without the members of the set at the start and at the end: the receiver itself when
// there are none, the empty string when there is nothing else.
RONDEL_EXPORT HxString stringByRemovingLeadingAndTrailingCharactersFromSet(
    const HxString& text, const HxCharacterSet& set);

// That with HxCharacterSet::whitespaceCharacterSet and whitespaceAndNewlineCharacterSet.
RONDEL_EXPORT HxString stringByRemovingLeadingAndTrailingWhitespace(const HxString& text);
RONDEL_EXPORT HxString
stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(const HxString& text);

// ---- Runs ---------------------------------------------------------------------------------------

// Each run of the four becomes one U+0020, also at the ends: nothing is trimmed. The receiver
// itself when it holds none of them; else a new string, even if that has the same text.
RONDEL_EXPORT HxString stringByConvertingWhitespaceRunsToSingleSpaces(const HxString& text);

}  // namespace rondel
