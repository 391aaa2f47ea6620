// SPDX-License-Identifier: MIT
//
// Command lines: splits one string into the words of a tool invocation.
//
//   HxArray words = arrayByParsingAsCommandLineArguments("cc -DNAME=\"a b\" main.c"_hx);
//   // "cc", "-DNAME=a b", "main.c"
//   HxArray shown = componentsSeparatedByUnquotedWhitespace("cc -DNAME=\"a b\" main.c"_hx);
//   // "cc", "-DNAME=\"a b\"", "main.c"
//
// The grammar. Whitespace (HxCharacterSet::whitespaceAndNewlineCharacterSet, so with U+0085, U+00A0
// and the other Unicode blanks) separates words. Double and single quotes keep whitespace in a word
// and may begin and end anywhere inside it. A backslash takes the next character as it is, even
// inside both kinds of quote: single quotes do not protect it. A quoted empty string is a word with
// no characters. Nothing is an error: the end of the text closes an open quote, and a backslash
// there is dropped.
//
// That is neither the grammar of a shell nor that of string lists (StringList.h). The guide
// docs/guides/command-lines.md compares the three. Quoting.h does the reverse.
//
// The result for nil is nil. Every result is a new array. Short words of ASCII share blocks of
// memory, so a word that is kept keeps up to 1 KiB. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the words as a tool gets them, without their quotes and backslashes.
//
//   a "" b      is a, an empty word and b
//   'a\'b'      is a'b
//   it's        is its
RONDEL_EXPORT HxArray arrayByParsingAsCommandLineArguments(const HxString& text);

// Returns the words as they were written, with their quotes and backslashes. They are the same
// words with one exception: a backslash alone at the very end is a word here and none there.
RONDEL_EXPORT HxArray componentsSeparatedByUnquotedWhitespace(const HxString& text);

// Does what the second of these does if `preservesQuotes`, else what the first does.
RONDEL_EXPORT HxArray _componentsSeparatedByUnquotedWhitespacePreservingQuotes(
    const HxString& text, bool preservesQuotes);

// Returns the values of an option that is written as "-Ivalue" or as "-I", "value". The value of a
// word longer than the prefix is the rest of it. The value of a word that is the prefix alone is
// the next element, whatever that is; it is not looked at as an option itself. A last word with no
// element after it has no value.
//
//   arrayByExtractingCommandLineArgumentsHavingPrefix(words, "-I"_hx)
//   // of "-Ia", "-I", "b", "-I": "a", "b"
//
// Two checks may fail: MoCheckNonEmptyString on "argumentPrefix", and MoCheckString on "string" for
// each element that is looked at. After a failed check that element is passed over. A prefix that
// is nil or no string matches nothing then, and an empty one matches everything.
RONDEL_EXPORT HxArray arrayByExtractingCommandLineArgumentsHavingPrefix(
    const HxArray& arguments, const HxString& argumentPrefix);

}  // namespace rondel
