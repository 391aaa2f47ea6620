// SPDX-License-Identifier: MIT
//
// Reads a string of any class character by character. It asks the string for 32 characters at a
// time.
//
//   ZevStringBuffer in(text, {0, text.length()});
//   while (in.current() != ZevStringBuffer::kEnd) in.advance();
//
// U+FFFF means the end, so reading ends at one in the text: advancing from it does nothing.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel::internal {

class ZevStringBuffer {
 public:
  static constexpr HxUniChar kEnd = 0xFFFF;
  static constexpr HxUInteger kChunkLength = 32;

  // Starts at the first character of the range. The range lies in the string, which outlives this.
  ZevStringBuffer(const HxStringObject& string, HxRange range);

  // kEnd at the end of the range.
  HxUniChar current() const noexcept { return _current; }
  // The offset of the current character in the string.
  HxUInteger offset() const noexcept { return _chunkOffset + _nextIndex - 1; }

  void advance();
  // Moves to the character before; stays at the first one of the string.
  void backUp();

 private:
  void load(HxUInteger offset, HxUInteger length);

  HxUInteger _chunkLength = 0;
  HxUInteger _nextIndex = 1;  // in the chunk, of the character after the current one
  const HxStringObject* _string;
  HxUInteger _end;
  HxUInteger _chunkOffset;
  HxUniChar _chunk[kChunkLength];
  HxUniChar _current = kEnd;
};

// Advances to the first `target` from the current character on, or to the end. A backslash hides
// the character after it.
void _ZevSkipInStringBufferUntilCharacter(ZevStringBuffer& in, HxUniChar target);

}  // namespace rondel::internal
