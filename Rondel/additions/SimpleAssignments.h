// SPDX-License-Identifier: MIT
//
// Simple assignments: a text form of variables, one to a line.
//
//   CC = clang
//   CFLAGS = -O2 -DNAME=value;
//
// A line is a name, an equals sign and a value. Lines end as all lines of text do (LF, CR, CR LF,
// U+0085, U+2028, U+2029). Blanks around name and value do not count, and one semicolon at the end
// of the value does not either. The first equals sign is the one that counts. A name is a letter of
// ASCII or an underscore, and letters, digits and underscores behind it. An empty value is legal.
// Lines of blanks are passed over. There are no quotes and no comments: a quote is a character of
// the value like any other.
//
//   HxString problem;
//   HxMutableDictionary settings =
//       dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, &problem);
//   if (!settings) HxLog("%@"_hx, problem);
//
// Writing is not the inverse of reading. It quotes a value that is not a plain word, for the tools
// that split it later, and reading leaves these quotes where they are: the value `y z` is written
// as `"y z"` and comes back as these five characters.
//
// Both operations may be called on any thread.
#pragma once

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// The values by their names, all strings. A later line replaces an earlier one of the same name.
// Text without assignments gives an empty dictionary; nil gives nil.
//
// Nil on the first line that is wrong; what stood before it is lost. Then `errorString`, if it is
// not null, is set to a message for the user. It is left alone when all is well.
//
//   String '<the line as it stands>' isn't a valid variable assignment   there is no equals sign
//   '<the name>' isn't a valid variable name                             the name is none
//
// Both texts are looked up in the library's own bundle with "%@" in place of what is quoted: the
// first in the table "RondelKit", the second in the table "RondlKit".
RONDEL_EXPORT HxMutableDictionary dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(
    const HxString& text, HxString* errorString);

// A line "name = value" for each entry, each with a LF behind it, ordered by name (compare). Values
// are quoted by stringByQuotingIfNeeded (Quoting.h); a line end in a value stays as it is, and
// reading will see another line. The empty string for an empty dictionary. Nil for nil, and when an
// entry cannot be written: when a key is no legal name or a value is no string.
RONDEL_EXPORT HxString
stringByConcatenatingEntriesAsLinesOfSimpleAssignments(const HxDictionary& entries);

}  // namespace rondel
