// SPDX-License-Identifier: MIT
//
// Lines of a text: where they start, how many there are, and which characters belong to which.
//
//   for (HxUInteger start : lineStartOffsets(source)) ...
//   HxRange third = characterRangeForLineRange(source, {2, 1});      // with its terminator
//   HxUInteger line = lineRangeForCharacterRange(source, {at, 0}).location;  // counted from 0
//
// LF, CR, CR LF, U+0085, U+2028 and U+2029 end a line, as for HxString::getLineStart. A line holds
// its terminator.
//
// The last line. Operations on offsets and operations on numbers look at a terminator at the very
// end of the text in two ways, and editors need both. For the offsets an empty line starts behind
// it: "a\n" has starts at 0 and 2. For the numbers it closes the last line: "a\n" is one line, line
// 0, and there is no line 1. The empty text is one line to both.
//
// Nil text gives zero: nil, no lines, empty ranges. All of this may be called on any thread; a
// mutable string belongs to one at a time. Each call reads the text from its start, so many
// questions about one text are best answered from its offsets.
#pragma once

#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Offsets ------------------------------------------------------------------------------------

// The offsets at which lines start. Those of "a\nb" are 0 and 2, those of "" are 0 alone.
RONDEL_EXPORT HxIndexSet lineStartOffsets(const HxString& text);

// The same offsets in a plain array, and behind them the length of the text: each line lies between
// two elements that are neighbours. The array of "a\n" is 0, 2, 2, that of "" is 0, 0.
//
// The array is stored through `offsetsPtr` and belongs to the caller, who frees it with free(); the
// number of its elements, the length included, through `numOffsetsPtr`. Nil text gives null and 0.
// Both pointers must be given, which is checked; else nothing is stored.
//
//   HxUInteger* offsets = nullptr;
//   HxUInteger count = 0;
//   getLineStartOffsets(text, &offsets, &count);
//   for (HxUInteger i = 0; i + 1 < count; ++i) use(offsets[i], offsets[i + 1]);
//   std::free(offsets);
RONDEL_EXPORT void getLineStartOffsets(const HxString& text, HxUInteger** offsetsPtr,
                                       HxUInteger* numOffsetsPtr);

// ---- Numbers ------------------------------------------------------------------------------------

// The characters of a range of lines, from the start of the first to the end of the last. The
// length is 0 when no line is asked for, and when the text has the first line but not the last.
// kNotFoundRange when it does not have the first.
RONDEL_EXPORT HxRange characterRangeForLineRange(const HxString& text, HxRange lineRange);

// The lines that hold a range of characters: the number of the line in which it starts, and how
// many lines it takes to reach its end, at least one. The place behind the last character belongs
// to the last line. A range that ends beyond the text raises HxRangeException with the reason
// "-[HxString lineRangeForCharacterRange:]: Range or index out of bounds".
RONDEL_EXPORT HxRange lineRangeForCharacterRange(const HxString& text, HxRange characterRange);

// At least 1; 0 for nil.
RONDEL_EXPORT HxUInteger numberOfLines(const HxString& text);

// Inserts the string in front of a line. An empty string is not inserted, whatever the line. A line
// that the text does not have raises HxRangeException. A nil string fails the check "string !=
// nil", which raises HxInternalInconsistencyException; with a handler that returns, nothing is
// inserted.
RONDEL_EXPORT void insertStringAtLine(HxMutableString text, const HxString& string,
                                      HxUInteger line);

}  // namespace rondel
