// SPDX-License-Identifier: MIT
//
// A string over its own buffer: every mutable string, and each immutable one that is too long for a
// flat header. It is narrow while all characters that were ever put in are ASCII, and wide from
// then on.
#pragma once

#include <cstring>

#include "Rondel/core/text/String.h"

namespace rondel::internal {

class RONDEL_EXPORT BufferString final : public HxStringObject {
 public:
  explicit BufferString(bool isMutable) noexcept
      : HxStringObject(isMutable ? kBuiltIn | kMutable : 0) {}
  // Returns a mutable one with room for `capacity` units. Room for a short text is in its block.
  static HxAny makeMutable(HxUInteger capacity);
  ~BufferString() override;

  // Returns an immutable string of any length.
  template <class Unit>
  static HxString makeLong(const Unit* units, HxUInteger length);

  HxClass hxClass() const noexcept override;
  HxUInteger length() const override { return _length; }
  HxUniChar characterAtIndex(HxUInteger index) const override;
  void getCharacters(HxUniChar* buffer, HxRange range) const override;
  Contiguous contiguousCharacters() const override;
  HxAny copy() const override;

  void reserve(HxUInteger capacity);
  // Puts text at the end: ASCII, or any units.
  void append(const char* bytes, HxUInteger length) {
    if (_wide || length > _capacity - _length) return replaceWithBytes({_length, 0}, bytes, length);
    if (length > 0) std::memcpy(_narrow + _length, bytes, length);
    _length += length;
  }
  void append(const HxUniChar* units, HxUInteger length) {
    if (!_wide || length > _capacity - _length) {
      return replaceWithUnits({_length, 0}, units, length);
    }
    if (length > 0) std::memcpy(_wide + _length, units, length * sizeof(HxUniChar));
    _length += length;
  }
  // Replaces a range that fits by the text, which may be part of this very string.
  void replace(HxRange range, const HxString& string);
  void replaceWithUnits(HxRange range, const HxUniChar* units, HxUInteger length);
  // ASCII only.
  void replaceWithBytes(HxRange range, const char* bytes, HxUInteger length);

  // Adds a byte, so that no other block can begin at ownRoom().
  static void* operator new(std::size_t size) { return ::operator new(size + 1); }
  static void operator delete(void* block) noexcept { ::operator delete(block); }

 private:
  struct Room {
    HxUInteger bytes;
  };
  static void* operator new(std::size_t size, Room room) {
    return ::operator new(size + room.bytes);
  }
  static void operator delete(void* block, Room) noexcept { ::operator delete(block); }
  // The room after this object, in its block. Only a string that was made with room has any.
  char* ownRoom() noexcept { return reinterpret_cast<char*>(this + 1); }
  void freeNarrow() noexcept;

  template <class Unit>
  Unit* openGap(Unit*& units, HxRange range, HxUInteger length);
  void widen();

  char* _narrow = nullptr;
  HxUniChar* _wide = nullptr;  // set from the first unit on that is not ASCII; _narrow is null then
  HxUInteger _length = 0;
  HxUInteger _capacity = 0;
};

}  // namespace rondel::internal
