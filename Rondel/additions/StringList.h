// SPDX-License-Identifier: MIT
//
// String lists: the form in which build settings hold several values in one string.
//
//   HxArray architectures = arrayByParsingAsStringList("arm64 x86_64"_hx);
//   HxArray folders = arrayByParsingAsStringList("include \"my include\""_hx);
//   // "include", "my include"
//
// The grammar works on bytes. The six whitespace characters of ASCII separate elements. Double
// quotes keep whitespace, and a backslash takes the next byte as it stands, also inside them.
// Single quotes keep everything up to the next single quote, backslashes included. A backslash at
// the very end is itself. An element without characters is dropped, also a quoted one. Nothing is
// an error: open quotes are closed by the end of the text.
//
// That is not the grammar of command lines (CommandLine.h), which differs in backslashes, empty
// elements and whitespace; the guide docs/guides/command-lines.md has them side by side.
//
// Both operations may be called on any thread.
#pragma once

#include <cstddef>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// The elements of the list. The lists that occur most are split once for the whole process
// (StringListCache.h): each gives one array, shared by all callers; other text gives a new array
// at every call. ASCII text is split as it stands; text with any other character is
// split in its file-system form, so that its elements come back canonically decomposed. The text
// ends at its first NUL. Empty text gives an empty array that is shared by all callers, nil gives
// nil. Text that has no file-system form (a lone surrogate) gives nil behind a failed check
// (MoCheckArray on "stringList").
RONDEL_EXPORT HxArray arrayByParsingAsStringList(const HxString& text);

// The same for bytes of UTF-8 up to their first NUL, which must stand at bytes[length] or before;
// `length` itself only tells whether there is anything to split. With a length of 0 it is the
// shared empty array, and `error` is left alone; otherwise a new array, and nil is stored through
// `error` unless that is null. There are no errors in this grammar.
//
// Null bytes with a length are a failed check (MoAssert), behind which they count as no text. An
// element that is not valid UTF-8 is a failed check (MoCheckString on "string") and is left out.
RONDEL_EXPORT HxArray MoSplitWhitespaceSeparatedComponents(const char* bytes, std::size_t length,
                                                           HxError* error);

}  // namespace rondel
