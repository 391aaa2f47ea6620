// SPDX-License-Identifier: MIT
//
// String lists: the form in which build settings hold several values in one string.
//
//   HxArray architectures = arrayByParsingAsStringList("arm64 x86_64"_hx);
//   HxArray folders = arrayByParsingAsStringList("include \"my include\""_hx);
//   // "include", "my include"
//
// The grammar works on bytes. The six whitespace characters of ASCII separate elements. Double
// quotes keep whitespace. A backslash takes the next byte as it is, inside double quotes too.
// Single quotes keep everything up to the next single quote, backslashes included. A backslash at
// the very end is itself. An element without characters is dropped, even a quoted one. Nothing is
// an error: the end of the text closes open quotes.
//
// That is not the grammar of command lines (CommandLine.h), which differs in backslashes, empty
// elements and whitespace. The guide docs/guides/command-lines.md compares them.
//
// Short elements of ASCII share blocks of memory, so one that is kept keeps up to 1 KiB. Both
// operations may be called on any thread.
#pragma once

#include <cstddef>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the elements of the list. The lists that occur most are split once for the whole process
// (StringListCache.h), and all callers share the array. For other text the array is new at every
// call. ASCII text is split as it is. Other text is split in its file-system form, so its elements
// are canonically decomposed. The text ends at its first NUL. For empty text all callers share an
// empty array; for nil the result is nil. Text that has no file-system form (a lone surrogate)
// fails a check (MoCheckArray on "stringList"), and the result is nil.
RONDEL_EXPORT HxArray arrayByParsingAsStringList(const HxString& text);

// Does the same for bytes of UTF-8 up to their first NUL, which must be at bytes[length] or before.
// `length` itself only says whether there is anything to split. For a length of 0 the result is the
// shared empty array, and `error` is left alone. Otherwise the array is new, and nil is stored
// through `error` unless that is null. There are no errors in this grammar.
//
// Null bytes with a length fail a check (MoAssert) and count as no text. An element that is not
// valid UTF-8 fails a check (MoCheckString on "string") and is left out.
RONDEL_EXPORT HxArray MoSplitWhitespaceSeparatedComponents(const char* bytes, std::size_t length,
                                                           HxError* error);

}  // namespace rondel
