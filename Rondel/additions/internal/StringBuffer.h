// SPDX-License-Identifier: MIT
//
// Reads a string of any class character by character without an operation on it for each: 32
// characters at a time.
//
//   ZevStringBuffer in(text, {0, text.length()});
//   while (in.current() != ZevStringBuffer::kEnd) in.advance();
//
// U+FFFF stands for the end, so one in the text is where reading ends: there is no advancing from
// it.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel::internal {

class ZevStringBuffer {
 public:
  static constexpr HxUniChar kEnd = 0xFFFF;
  static constexpr HxUInteger kChunkLength = 32;

  // Stands on the first character of the range. The range lies in the string, which lives longer
  // than this.
  ZevStringBuffer(const HxStringObject& string, HxRange range);

  // kEnd when reading has run off the end.
  HxUniChar current() const noexcept { return _current; }
  // The offset of the current character in the string.
  HxUInteger offset() const noexcept { return _chunkOffset + _nextIndex - 1; }

  void advance();
  // To the character before; stays on the first one of the string.
  void backUp();

 private:
  void load(HxUInteger offset, HxUInteger length);

  HxUInteger _chunkLength = 0;
  HxUInteger _nextIndex = 1;  // in the chunk, of the character behind the current one
  const HxStringObject* _string;
  HxUInteger _end;
  HxUInteger _chunkOffset;
  HxUniChar _chunk[kChunkLength];
  HxUniChar _current = kEnd;
};

// To the first `target` from the current character on, or to the end. A backslash hides the
// character behind it.
void _ZevSkipInStringBufferUntilCharacter(ZevStringBuffer& in, HxUniChar target);

}  // namespace rondel::internal
