// SPDX-License-Identifier: MIT
//
// Simple assignments: a text form of variables, one to a line.
//
//   CC = clang
//   CFLAGS = -O2 -DNAME=value;
//
// A line is a name, an equals sign and a value. Lines end as all lines of text do (LF, CR, CR LF,
// U+0085, U+2028, U+2029). Blanks around name and value do not count, nor does one semicolon at the
// end of the value. The first equals sign counts. A name is a letter of ASCII or an underscore,
// followed by letters, digits and underscores. An empty value is legal. Lines of blanks are passed
// over. There are no quotes and no comments: a quote is a character of the value like any other.
//
//   HxString problem;
//   HxMutableDictionary settings =
//       dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, &problem);
//   if (!settings) HxLog("%@"_hx, problem);
//
// Writing is not the inverse of reading. It quotes a value that is not a plain word, for the tools
// that split it later. Reading keeps these quotes: the value `y z` is written as `"y z"` and is
// read as these five characters.
//
// Both operations may be called on any thread.
#pragma once

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the values by their names, all strings. A later line replaces an earlier one of the same
// name. Without assignments the dictionary is empty; for nil text the result is nil.
//
// Returns nil on the first line that is wrong, and the lines before it are lost. Then
// `errorString`, if not null, is set to a message for the user. It is left alone if all is well.
//
//   String '<the whole line>' isn't a valid variable assignment   there is no equals sign
//   '<the name>' isn't a valid variable name                      the name is not legal
//
// Both texts are looked up in the library's own bundle, with "%@" in place of what is quoted. The
// first one is in the table "RondelKit", the second one in the table "RondlKit".
RONDEL_EXPORT HxMutableDictionary dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(
    const HxString& text, HxString* errorString);

// Returns a line "name = value" and a LF for each entry, ordered by name (compare). Values are
// quoted by stringByQuotingIfNeeded (Quoting.h). A line end in a value stays as it is, so reading
// sees another line. For an empty dictionary the result is the empty string. Returns nil for nil,
// and if an entry cannot be written: if a key is no legal name or a value is no string.
RONDEL_EXPORT HxString
stringByConcatenatingEntriesAsLinesOfSimpleAssignments(const HxDictionary& entries);

}  // namespace rondel
