// SPDX-License-Identifier: MIT
//
// Characters and text replaced, text appended, and two characters that nobody sees.
//
//   stringByReplacingCharacter("a:b"_hx, u':', u'/');                // a/b
//   stringByReplacingSubstring(name, "$(ARCH)"_hx, "x86_64"_hx);
//   appendSubstringWithRange(line, {start, end - start}, source);
//
// Nil text gives nil, and nothing happens to a nil mutable string. All of this may be called on any
// thread; a mutable string belongs to one at a time.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Replacing ----------------------------------------------------------------------------------

// All occurrences of a UTF-16 unit replaced by another one, in a new string. The receiver itself
// when it is empty or the two are the same.
RONDEL_EXPORT HxString stringByReplacingCharacter(const HxString& text, HxUniChar former,
                                                  HxUniChar replacement);

// A mutable copy with all occurrences of the target replaced, from left to right. The search is
// literal and goes on behind each replacement, which is itself not searched. An empty or nil target
// occurs nowhere; a nil replacement is the empty string.
RONDEL_EXPORT HxMutableString stringByReplacingSubstring(const HxString& text,
                                                         const HxString& target,
                                                         const HxString& replacement);

// That with one backslash and "/".
RONDEL_EXPORT HxMutableString ZEV_stringByReplacingBackslashWithSlash(const HxString& path);

// ---- Appending ----------------------------------------------------------------------------------

// With "/" at the end: the receiver itself when it ends in one. The empty string gives "/".
RONDEL_EXPORT HxString stringByAppendingPathSeparatorIfNeeded(const HxString& path);

// Appends a part of another string, or of the text itself. A range beyond the end of that string
// raises HxRangeException; nothing of a nil string is appended.
RONDEL_EXPORT void appendSubstringWithRange(HxMutableString text, HxRange range,
                                            const HxString& string);

// ---- Characters that are not seen ---------------------------------------------------------------

// U+2063 and U+2062, each the same constant on every call: marks that a program puts into text and
// finds again, and that take no place on a screen.
RONDEL_EXPORT HxString stringWithUnicodeInvisibleSeparatorCharacter();
RONDEL_EXPORT HxString stringWithUnicodeInvisibleTimesCharacter();

}  // namespace rondel
