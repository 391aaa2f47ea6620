// SPDX-License-Identifier: MIT
//
// Replaces characters and text, appends text, and names two invisible characters.
//
//   stringByReplacingCharacter("a:b"_hx, u':', u'/');                // a/b
//   stringByReplacingSubstring(name, "$(ARCH)"_hx, "x86_64"_hx);
//   appendSubstringWithRange(line, {start, end - start}, source);
//
// The result for nil text is nil, and nothing happens to a nil mutable string. All of this may be
// called on any thread; a mutable string belongs to one at a time.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Replacing ----------------------------------------------------------------------------------

// Returns a new string with all occurrences of a UTF-16 unit replaced by another one. Returns the
// receiver itself if it is empty or the two units are the same.
RONDEL_EXPORT HxString stringByReplacingCharacter(const HxString& text, HxUniChar former,
                                                  HxUniChar replacement);

// Returns a mutable copy with all occurrences of the target replaced, from left to right. The
// search is literal and continues after each replacement, which is not searched itself. An empty or
// nil target occurs nowhere; a nil replacement is the empty string.
RONDEL_EXPORT HxMutableString stringByReplacingSubstring(const HxString& text,
                                                         const HxString& target,
                                                         const HxString& replacement);

// Does that with one backslash as the target and "/" as the replacement.
RONDEL_EXPORT HxMutableString ZEV_stringByReplacingBackslashWithSlash(const HxString& path);

// ---- Appending ----------------------------------------------------------------------------------

// Returns the path with "/" at its end: the receiver itself if it ends in one. The empty string
// becomes "/".
RONDEL_EXPORT HxString stringByAppendingPathSeparatorIfNeeded(const HxString& path);

// Appends a part of another string, or of the text itself. A range beyond the end of that string
// raises HxRangeException; nothing of a nil string is appended.
RONDEL_EXPORT void appendSubstringWithRange(HxMutableString text, HxRange range,
                                            const HxString& string);

// ---- Invisible characters -----------------------------------------------------------------------

// Return U+2063 and U+2062, each the same constant on every call. A program puts them into text as
// marks that it can find again and that take no place on a screen.
RONDEL_EXPORT HxString stringWithUnicodeInvisibleSeparatorCharacter();
RONDEL_EXPORT HxString stringWithUnicodeInvisibleTimesCharacter();

}  // namespace rondel
