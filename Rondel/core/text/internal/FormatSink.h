// SPDX-License-Identifier: MIT
//
// The last part of the format engine: a growing run of UTF-16 units. It keeps one byte per unit
// while all of them are ASCII, lies on the stack while it is short, and takes from the heap beyond
// that.
#pragma once

#include <cstdlib>

#include "Rondel/core/text/String.h"

namespace rondel::internal {

// A run of text in place: one of the pointers is set. `narrow` text is ASCII.
struct FormatRun {
  const char* narrow = nullptr;
  const HxUniChar* wide = nullptr;
  HxUInteger length = 0;
};

class FormatSink {
 public:
  FormatSink() noexcept = default;
  FormatSink(const FormatSink&) = delete;
  FormatSink& operator=(const FormatSink&) = delete;
  ~FormatSink() { std::free(_heap); }

  // Append text. Bytes must be ASCII.
  void append(const char* ascii, HxUInteger length);
  void append(const HxUniChar* units, HxUInteger length);
  void append(FormatRun run);
  void append(HxUniChar unit) { append(&unit, 1); }
  // Appends an ASCII character `count` times.
  void fill(char ascii, HxUInteger count);

  // Returns all that was appended, valid until more is.
  FormatRun run() const noexcept;
  // Returns the same as a new string, with one allocation.
  HxString string() const;
  // Appends the same to a mutable string, which must not be nil.
  void appendTo(const HxMutableString& string) const;

 private:
  static constexpr HxUInteger kStackBytes = 512;

  char* narrow() noexcept { return reinterpret_cast<char*>(_bytes); }
  HxUniChar* wide() noexcept { return reinterpret_cast<HxUniChar*>(_bytes); }
  void reserve(HxUInteger bytes);
  void makeRoom(HxUInteger units);
  void widen();

  HxUInteger _length = 0;
  HxUInteger _unitSize = 1;
  HxUInteger _capacity = kStackBytes;  // bytes
  unsigned char* _heap = nullptr;
  unsigned char* _bytes = _stack;
  alignas(HxUniChar) unsigned char _stack[kStackBytes];
};

}  // namespace rondel::internal
