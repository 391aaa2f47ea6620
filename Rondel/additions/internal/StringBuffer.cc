// SPDX-License-Identifier: MIT
#include "Rondel/additions/internal/StringBuffer.h"

#include <algorithm>

namespace rondel::internal {

ZevStringBuffer::ZevStringBuffer(const HxStringObject& string, HxRange range)
    : _string(&string), _end(HxMaxRange(range)), _chunkOffset(range.location) {
  if (range.length > 0) load(range.location, range.length);
}

// At most a chunk of the `length` characters there are at the offset.
void ZevStringBuffer::load(HxUInteger offset, HxUInteger length) {
  _chunkOffset = offset;
  _chunkLength = std::min(kChunkLength, length);
  _string->getCharacters(_chunk, {_chunkOffset, _chunkLength});
  _current = _chunk[0];
  _nextIndex = 1;
}

void ZevStringBuffer::advance() {
  if (_current == kEnd) return;
  const HxUInteger chunkEnd = _chunkOffset + _chunkLength;
  if (_nextIndex < _chunkLength) {
    _current = _chunk[_nextIndex++];
  } else if (chunkEnd < _end) {
    load(chunkEnd, _end - chunkEnd);
  } else {
    _current = kEnd;
    ++_nextIndex;
  }
}

void ZevStringBuffer::backUp() {
  if (_nextIndex == 1) {
    if (_chunkOffset == 0) return;
    const HxUInteger previous = std::min(kChunkLength, _chunkOffset);
    load(_chunkOffset - previous, previous);
    _nextIndex = previous + 1;
  }
  --_nextIndex;
  _current = _chunk[_nextIndex - 1];
}

void _ZevSkipInStringBufferUntilCharacter(ZevStringBuffer& in, HxUniChar target) {
  while (in.current() != target && in.current() != ZevStringBuffer::kEnd) {
    if (in.current() == u'\\') in.advance();
    in.advance();
  }
}

}  // namespace rondel::internal
