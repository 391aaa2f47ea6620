// SPDX-License-Identifier: MIT
//
// Lines of a text: where they start, how many there are, and which characters belong to which.
//
//   for (HxUInteger start : lineStartOffsets(source)) ...
//   HxRange third = characterRangeForLineRange(source, {2, 1});      // with its terminator
//   HxUInteger line = lineRangeForCharacterRange(source, {at, 0}).location;  // counted from 0
//
// LF, CR, CR LF, U+0085, U+2028 and U+2029 end a line, as for HxString::getLineStart. A line
// includes its terminator.
//
// The last line. Operations on offsets and operations on numbers differ if the text ends with a
// terminator, and editors need both. For the offsets an empty line starts after it: "a\n" has
// starts at 0 and 2. For the numbers it closes the last line: "a\n" is one line, line 0, and there
// is no line 1. The empty text is one line to both.
//
// The result for nil text is zero: nil, no lines, empty ranges. All of this may be called on any
// thread; a mutable string belongs to one at a time. Each call reads the text from its start, so
// take the offsets to answer many questions about one text.
#pragma once

#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Offsets ------------------------------------------------------------------------------------

// Returns the offsets at which lines start. Those of "a\nb" are 0 and 2; that of "" is 0.
RONDEL_EXPORT HxIndexSet lineStartOffsets(const HxString& text);

// Stores the same offsets in a plain array, and after them the length of the text. So each line
// lies between two neighbouring elements. The array of "a\n" is 0, 2, 2, that of "" is 0, 0.
//
// The array is stored through `offsetsPtr` and belongs to the caller, who frees it with free(). The
// number of its elements, the length included, is stored through `numOffsetsPtr`. For nil text they
// are null and 0. A null pointer fails a check (MoAssert), and then nothing is stored.
//
//   HxUInteger* offsets = nullptr;
//   HxUInteger count = 0;
//   getLineStartOffsets(text, &offsets, &count);
//   for (HxUInteger i = 0; i + 1 < count; ++i) use(offsets[i], offsets[i + 1]);
//   std::free(offsets);
RONDEL_EXPORT void getLineStartOffsets(const HxString& text, HxUInteger** offsetsPtr,
                                       HxUInteger* numOffsetsPtr);

// ---- Numbers ------------------------------------------------------------------------------------

// Returns the characters of a range of lines, from the start of the first to the end of the last.
// The length is 0 if no line is asked for, or if the text has the first line but not the last.
// Returns kNotFoundRange if it does not have the first.
RONDEL_EXPORT HxRange characterRangeForLineRange(const HxString& text, HxRange lineRange);

// Returns the lines that hold a range of characters. Its location is the number of the line in
// which the range starts. Its length is how many lines reach to its end, at least one. The place
// after the last character belongs to the last line. A range that ends beyond the text raises
// HxRangeException with the reason "-[HxString lineRangeForCharacterRange:]: Range or index out of
// bounds".
RONDEL_EXPORT HxRange lineRangeForCharacterRange(const HxString& text, HxRange characterRange);

// Returns the number of lines, at least 1; 0 for nil.
RONDEL_EXPORT HxUInteger numberOfLines(const HxString& text);

// Inserts the string before a line. An empty string inserts nothing, whatever the line. A line that
// the text does not have raises HxRangeException. A nil string fails the check "string != nil",
// which raises HxInternalInconsistencyException; if the handler returns, nothing is inserted.
RONDEL_EXPORT void insertStringAtLine(HxMutableString text, const HxString& string,
                                      HxUInteger line);

}  // namespace rondel
