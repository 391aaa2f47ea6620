// SPDX-License-Identifier: MIT
//
// Command lines: one string split into the words of a tool invocation.
//
//   HxArray words = arrayByParsingAsCommandLineArguments("cc -DNAME=\"a b\" main.c"_hx);
//   // "cc", "-DNAME=a b", "main.c"
//   HxArray shown = componentsSeparatedByUnquotedWhitespace("cc -DNAME=\"a b\" main.c"_hx);
//   // "cc", "-DNAME=\"a b\"", "main.c"
//
// The grammar. Whitespace (HxCharacterSet::whitespaceAndNewlineCharacterSet, so with U+0085, U+00A0
// and the other Unicode blanks) separates words. Double and single quotes keep whitespace in a word
// and may begin and end anywhere inside it. A backslash takes the next character as it stands, also
// inside both kinds of quote: single quotes do not protect it. A quoted empty string is a word with
// no characters. Nothing is an error: an open quote is closed by the end of the text, and a
// backslash there is dropped.
//
// That is neither the grammar of a shell nor that of string lists (StringList.h); the guide
// docs/guides/command-lines.md has them side by side. Quoting.h goes the other way.
//
// Nil text gives nil. Every result is a new array. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// The words as a tool gets them: quotes and backslashes have done their work and are gone.
//
//   a "" b      gives a, an empty word and b
//   'a\'b'      gives a'b
//   it's        gives its
RONDEL_EXPORT HxArray arrayByParsingAsCommandLineArguments(const HxString& text);

// The words as they were written, quotes and backslashes in place. Their borders are the same, and
// so is their number, with one exception: a backslash that stands alone at the very end is a word
// here and none there.
RONDEL_EXPORT HxArray componentsSeparatedByUnquotedWhitespace(const HxString& text);

// Both of the above: the second with true.
RONDEL_EXPORT HxArray _componentsSeparatedByUnquotedWhitespacePreservingQuotes(
    const HxString& text, bool preservesQuotes);

// The values of an option that is written as "-Ivalue" or as "-I", "value". Each word that is
// longer than the prefix gives what stands behind it; a word that is the prefix alone gives the
// next element, whatever that is, which is then not looked at as an option itself. A last word with
// no element behind it gives nothing.
//
//   arrayByExtractingCommandLineArgumentsHavingPrefix(words, "-I"_hx)
//   // of "-Ia", "-I", "b", "-I": "a", "b"
//
// A nil or empty prefix is a failed check (MoCheckNonEmptyString on "argumentPrefix"), and so is
// each element looked at that is no string (MoCheckString on "string"); behind it that element is
// passed over, a nil prefix matches nothing and an empty one everything.
RONDEL_EXPORT HxArray arrayByExtractingCommandLineArgumentsHavingPrefix(
    const HxArray& arguments, const HxString& argumentPrefix);

}  // namespace rondel
