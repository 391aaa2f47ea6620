// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/FormatSink.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Rondel/core/text/internal/BufferString.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

void FormatSink::append(const char* ascii, HxUInteger length) {
  makeRoom(length);
  if (_unitSize == 1) {
    std::copy_n(ascii, length, narrow() + _length);
  } else {
    widenBytes(ascii, length, wide() + _length);
  }
  _length += length;
}

void FormatSink::append(const HxUniChar* units, HxUInteger length) {
  if (_unitSize == 1 && !isASCII(units, length)) widen();
  makeRoom(length);
  if (_unitSize == 1) {
    narrowUnits(units, length, narrow() + _length);
  } else {
    std::copy_n(units, length, wide() + _length);
  }
  _length += length;
}

void FormatSink::append(FormatRun run) {
  if (run.wide) {
    append(run.wide, run.length);
  } else {
    append(run.narrow, run.length);
  }
}

void FormatSink::fill(char ascii, HxUInteger count) {
  makeRoom(count);
  if (_unitSize == 1) {
    std::fill_n(narrow() + _length, count, ascii);
  } else {
    std::fill_n(wide() + _length, count, static_cast<unsigned char>(ascii));
  }
  _length += count;
}

FormatRun FormatSink::run() const noexcept {
  if (_unitSize == 1) return {reinterpret_cast<const char*>(_bytes), nullptr, _length};
  return {nullptr, reinterpret_cast<const HxUniChar*>(_bytes), _length};
}

HxString FormatSink::string() const {
  const FormatRun all = run();
  return all.wide ? makeString(all.wide, all.length) : makeString(all.narrow, all.length);
}

void FormatSink::appendTo(const HxMutableString& string) const {
  auto* const buffer = static_cast<BufferString*>(string.object());
  const FormatRun all = run();
  const HxRange end{buffer->length(), 0};
  if (all.wide) {
    buffer->replaceWithUnits(end, all.wide, all.length);
  } else {
    buffer->replaceWithBytes(end, all.narrow, all.length);
  }
}

void FormatSink::reserve(HxUInteger bytes) {
  if (bytes <= _capacity) return;
  const HxUInteger capacity = std::max(bytes, _capacity * 2);
  auto* block = static_cast<unsigned char*>(std::realloc(_heap, capacity));
  if (!block) throw std::bad_alloc();
  if (!_heap) std::memcpy(block, _stack, _length * _unitSize);
  _heap = _bytes = block;
  _capacity = capacity;
}

void FormatSink::makeRoom(HxUInteger units) {
  if (units > HxNotFound / sizeof(HxUniChar) - _length) throw std::bad_alloc();
  reserve((_length + units) * _unitSize);
}

// From the last unit to the first, in place.
void FormatSink::widen() {
  reserve(_length * sizeof(HxUniChar));
  _unitSize = sizeof(HxUniChar);
  for (HxUInteger i = _length; i-- > 0;) wide()[i] = _bytes[i];
}

}  // namespace rondel::internal
