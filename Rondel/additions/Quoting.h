// SPDX-License-Identifier: MIT
//
// Quoting: words made safe to stand in a command line or a string list, and whole lists joined.
//
//   HxString line = stringByConcatenatingObjectsAsCommandLineArguments(words);
//   // of "cc", "-DNAME=a b", "": cc "-DNAME=a b" ""
//   HxArray same = arrayByParsingAsCommandLineArguments(line);
//
// What splits back. The splitters of CommandLine.h and StringList.h undo the quotes,
// backslash-quote and backslash-backslash. They do not undo the other escapes, which are for people
// and for property lists: to them \n is the letter n. So a joined command line splits back to the
// same words as long as these hold no character below U+0020 other than TAB, LF and CR, and no
// U+FFFF.
//
// U+FFFF. The quoters read it as the end of the text: what stands behind it is not looked at and
// not written. That is wanted; other readers of this library end there as well.
//
// Nil text and nil arrays give nil. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// The text between double quotes. Empty text gives two double quotes whatever the arguments are.
//
// onlyIfNeeded: text that needs no quotes is given back itself. Letters and digits of ASCII, a dot,
// a slash, an underscore and a backslash that does not follow another one need none; every other
// character does.
//
// Impl the quotes a character stands as it is, apart from these:
//
//   "  and  \                      a backslash in front of it
//   U+0007, 0008, 000B, 000C       \a  \b  \v  \f
//   TAB                            \t, and
//   LF and CR                      \n, both of them, if quoteTabsAndEOLs; else as they are
//   others below U+0020            \U and four lower-case hexadecimal digits
//   above U+00FF                   the same if quoteHighBitUnichars; else as they are
RONDEL_EXPORT HxString stringByQuotingOnlyIfNeeded(const HxString& text, bool onlyIfNeeded,
                                                   bool quoteTabsAndEOLs,
                                                   bool quoteHighBitUnichars);

// For use as a command-line argument: the text itself when it is made of letters, marks and numbers
// of Unicode and "/.,+-_=" alone, else in double quotes with all three options off. Empty text is
// given back as it is; the joiner below is what makes two quotes of it.
RONDEL_EXPORT HxString stringByQuotingIfNeeded(const HxString& text);

// For use in a string list: the same, but whitespace alone asks for quotes
// (HxCharacterSet::whitespaceAndNewlineCharacterSet). Text with a quote or a backslash and no
// whitespace is given back as it is, and a splitter will use these characters up; that is wanted.
RONDEL_EXPORT HxString stringByQuotingWhitespaceIfNeeded(const HxString& text);

// The descriptions of the elements with one blank between them: two double quotes for an empty one,
// else quoted by stringByQuotingIfNeeded or stringByQuotingWhitespaceIfNeeded. An empty array gives
// the empty string.
RONDEL_EXPORT HxString stringByConcatenatingObjectsAsCommandLineArguments(const HxArray& words);
RONDEL_EXPORT HxString stringByConcatenatingObjectsAsStringList(const HxArray& elements);

}  // namespace rondel
