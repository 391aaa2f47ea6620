// SPDX-License-Identifier: MIT
//
// Quoting: makes words safe for a command line or a string list, and joins whole lists.
//
//   HxString line = stringByConcatenatingObjectsAsCommandLineArguments(words);
//   // of "cc", "-DNAME=a b", "": cc "-DNAME=a b" ""
//   HxArray same = arrayByParsingAsCommandLineArguments(line);
//
// What splits back. The splitters of CommandLine.h and StringList.h undo the quotes,
// backslash-quote and backslash-backslash. They do not undo the other escapes, which are for people
// and for property lists: to them \n is the letter n. So a joined command line splits back to the
// same words, with two exceptions. These are characters below U+0020 other than TAB, LF and CR, and
// U+FFFF.
//
// U+FFFF. Writing between quotes ends there: the rest of the text is lost. Deliberate: other
// readers of this library end there as well. Whether quotes are needed is told as follows.
// stringByQuotingOnlyIfNeeded reads up to U+FFFF, and returns the whole receiver if all before it
// needs no quotes. The other operations look at the whole text, so a blank after U+FFFF asks for
// quotes too: of "ab", U+FFFF, "c d" they make "ab" between quotes.
//
// The result for nil is nil. All of this may be called on any thread.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the text between double quotes. Empty text becomes two double quotes, whatever the
// arguments are.
//
// onlyIfNeeded: returns the receiver itself if it needs no quotes. Letters and digits of ASCII, a
// dot, a slash, an underscore and a backslash that does not follow another one need none; every
// other character does.
//
// Between the quotes a character stands as it is, apart from these:
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

// Returns the text for use as a command-line argument. That is the receiver itself if it holds only
// letters, marks and numbers of Unicode and "/.,+-_=". Other text is put in double quotes with all
// three options off. Characters beyond U+FFFF, letters too, need quotes: they are looked at as two
// surrogates. Empty text is returned as it is; the joiner below makes two quotes of it.
RONDEL_EXPORT HxString stringByQuotingIfNeeded(const HxString& text);

// Returns the text for use in a string list: the same, but only whitespace asks for quotes
// (HxCharacterSet::whitespaceAndNewlineCharacterSet). Deliberate: text with a quote or a backslash
// and no whitespace is returned as it is, although a splitter will use these characters up.
RONDEL_EXPORT HxString stringByQuotingWhitespaceIfNeeded(const HxString& text);

// Returns the descriptions of the elements with one blank between them. An empty one becomes two
// double quotes. The others are quoted by stringByQuotingIfNeeded, or for a string list by
// stringByQuotingWhitespaceIfNeeded. An empty array becomes the empty string.
RONDEL_EXPORT HxString stringByConcatenatingObjectsAsCommandLineArguments(const HxArray& words);
RONDEL_EXPORT HxString stringByConcatenatingObjectsAsStringList(const HxArray& elements);

}  // namespace rondel
