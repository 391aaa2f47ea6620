// SPDX-License-Identifier: MIT
//
// The built-in immutable string: a header of 24 bytes and the characters in one block. While all of
// them are ASCII they take one byte each, else two; a string that holds only ASCII is never stored
// wide, so that two flat strings of different width are never equal. A NUL (not counted) follows
// the characters.
//
// String.h reads these inline; nothing here is for users.
#pragma once

#include <cstring>
#include <string_view>

#include "Rondel/core/text/StringObject.h"

namespace rondel::internal {

// Copies the bytes and returns the place after them. A single one, often a separator, is not worth
// a call.
inline char* appendBytes(char* out, std::string_view bytes) noexcept {
  if (bytes.size() == 1) {
    *out = bytes.front();
  } else if (!bytes.empty()) {
    std::memcpy(out, bytes.data(), bytes.size());
  }
  return out + bytes.size();
}

class RONDEL_EXPORT FlatString final : public HxStringObject {
 public:
  // Lengths from here on do not fit the header; such text is kept in a string of another kind.
  static constexpr HxUInteger kMaximumLength = 0xFFFFFFFEU;

  // Returns a new string of `length` units. The reference to it is the caller's. The caller writes
  // all of the units before it shares the string. Wide text must hold at least one unit that is not
  // ASCII.
  static FlatString* makeNarrow(HxUInteger length) {
    return makeNarrowIn(allocate(sizeof(FlatString) + length + 1), length);
  }
  // Does the same in a place with the room for it: a new block, that of a former string, or a place
  // in a StringBlock at this distance from its start, in steps of 8 bytes.
  static FlatString* makeNarrowIn(void* place, HxUInteger length,
                                  HxUInteger distance = 0) noexcept {
    const std::uint32_t flags = kFlatNarrow | static_cast<std::uint32_t>(distance)
                                                  << kDistanceShift;
    auto* string = new (place) FlatString(static_cast<std::uint32_t>(length), flags);
    string->narrow()[length] = '\0';
    return string;
  }
  // Returns a new string of these parts, which have this length together. Deliberate: the parts by
  // value, so that none is looked up again after the calls between.
  template <class... Parts>
  static FlatString* makeNarrowOf(HxUInteger length, Parts... parts) {
    FlatString* const string = makeNarrow(length);
    char* out = string->narrow();
    ((out = appendBytes(out, parts)), ...);
    return string;
  }
  static FlatString* makeWide(HxUInteger length);

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }
  HxUInteger length() const override { return _length; }
  HxUniChar characterAtIndex(HxUInteger index) const override {
    return isNarrow() ? static_cast<unsigned char>(narrow()[index]) : wide()[index];
  }
  void getCharacters(HxUniChar* buffer, HxRange range) const override;
  Contiguous contiguousCharacters() const override {
    return isNarrow() ? Contiguous{narrow(), nullptr} : Contiguous{nullptr, wide()};
  }
  HxAny copy() const override { return HxAny(this); }

  constexpr bool isNarrow() const noexcept { return (bits() & kFlatNarrow) != 0; }
  const char* narrow() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  const HxUniChar* wide() const noexcept { return reinterpret_cast<const HxUniChar*>(this + 1); }
  char* narrow() noexcept { return reinterpret_cast<char*>(this + 1); }
  HxUniChar* wide() noexcept { return reinterpret_cast<HxUniChar*>(this + 1); }
  std::string_view narrowView() const noexcept { return {narrow(), _length}; }
  HxUInteger flatLength() const noexcept { return _length; }
  // Returns the hash, computed on first use and kept; two threads that race compute the same.
  std::uint32_t flatHash() const noexcept {
    const std::uint32_t kept = keptHash();
    return kept ? kept : computeHash();
  }
  // Returns 0 before the first use.
  std::uint32_t keptHash() const noexcept { return _hash.loadRelaxed(); }

  // Returns whether the units are the same. Strings of different width never hold the same text.
  bool hasSameUnits(const FlatString& other) const noexcept {
    return _length == other._length && ((bits() ^ other.bits()) & kFlatWide) == 0 &&
           std::memcmp(narrow(), other.narrow(), byteLength()) == 0;
  }
  HxUInteger byteLength() const noexcept {
    return isNarrow() ? _length : HxUInteger{_length} * sizeof(HxUniChar);
  }

  // Ends a string that has lost its last reference.
  static void drop(FlatString* string) noexcept;
  // Frees the block of a string. Deliberate: out of line, so that no compiler sees the delete of a
  // constant after its handle ends.
  static void freeBlock(void* block) noexcept;
  [[gnu::returns_nonnull]] static void* allocate(std::size_t bytes);

  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static constexpr void operator delete(void* block) noexcept {
    if (!std::is_constant_evaluated()) freeBlock(block);
  }
  static constexpr void operator delete(void*, void*) noexcept {}

  // NOLINTNEXTLINE: the compilers want it written out to destroy constants while compiling
  constexpr ~FlatString() override {}

  // For constants in static storage; see LiteralStorage.
  constexpr FlatString(std::uint32_t length, bool isNarrow) noexcept
      : HxStringObject(kImmortal | (isNarrow ? kFlatNarrow : kFlatWide)), _length(length) {}

 private:
  // The bits from here on are the distance from the start of a StringBlock, 0 outside of one.
  static constexpr unsigned kDistanceShift = 16;

  FlatString(std::uint32_t length, std::uint32_t flags) noexcept
      : HxStringObject(flags), _length(length) {}
  std::uint32_t computeHash() const noexcept;

  const std::uint32_t _length;
  mutable AtomicWord _hash{0};
};
static_assert(sizeof(FlatString) == 24);

}  // namespace rondel::internal
