// SPDX-License-Identifier: MIT
//
// The built-in immutable string: a header of 24 bytes and the characters in one block. While all of
// them are ASCII they take one byte each, else two; a string that holds only ASCII is never stored
// wide, so that two flat strings of different width are never equal. A NUL (not counted) stands
// behind the characters.
//
// String.h reads these inline; nothing here is for users.
#pragma once

#include <cstring>
#include <string_view>

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxCharacterSet;
class HxStringObject;

namespace internal {
class BufferString;
class FlatString;
class SubstringView;
}  // namespace internal

// The open class of strings. A class that supplies these three operations works wherever a string
// does; everything else is derived from them.
//
//   class Spaces final : public HxStringObject {
//    public:
//     explicit Spaces(HxUInteger n) : _count(n) {}
//     HxUInteger length() const override { return _count; }
//     HxUniChar characterAtIndex(HxUInteger) const override { return u' '; }
//     void getCharacters(HxUniChar* buffer, HxRange range) const override {
//       for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = u' ';
//     }
//    private:
//     HxUInteger _count;
//   };
//   HxString text = HxString::stringWithObject(makeRef<Spaces>(8U));
class RONDEL_EXPORT HxStringObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Number of UTF-16 code units.
  virtual HxUInteger length() const = 0;
  // The code unit at an index below length(); the handle has checked the bounds.
  virtual HxUniChar characterAtIndex(HxUInteger index) const = 0;
  // Copies the units of a range within length() to `buffer`, with no terminator.
  virtual void getCharacters(HxUniChar* buffer, HxRange range) const = 0;

  // All units where they lie, if they lie in one run; null when they do not. An optional fast road:
  // one of the two pointers is set, and it is good until the string changes or goes. `narrow` text
  // must be ASCII.
  struct Contiguous {
    const char* narrow = nullptr;
    const HxUniChar* wide = nullptr;
  };
  virtual Contiguous contiguousCharacters() const { return {}; }
  // What stands behind the operations of this name of the handle, which has not checked the range.
  virtual HxRange rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                          HxRange range) const;

  // By code units, whatever the classes of the two strings are. A class may only be faster at these
  // two: the answers must be the same.
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  HxComparisonResult compare(const HxObject& other) const final;
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const final;

 protected:
  constexpr HxStringObject() noexcept : HxObject(HxTypeID::string) {}
  constexpr ~HxStringObject() override = default;

 private:
  friend class internal::BufferString;
  friend class internal::FlatString;
  friend class internal::SubstringView;
  constexpr explicit HxStringObject(std::uint32_t flags) noexcept
      : HxObject(HxTypeID::string, flags) {}
};

namespace internal {

// Copies the bytes and gives the place behind them. A single one, often a separator, is not worth a
// call.
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

  // A new string of `length` units whose characters the caller writes, all of them, before anybody
  // else sees it; wide text must hold at least one unit that is not ASCII. The reference is the
  // caller's.
  static FlatString* makeNarrow(HxUInteger length) {
    return makeNarrowIn(allocate(sizeof(FlatString) + length + 1), length);
  }
  // The same in a block with the room for it: a new one, or that of a string of before.
  static FlatString* makeNarrowIn(void* block, HxUInteger length) noexcept {
    auto* string = new (block) FlatString(static_cast<std::uint32_t>(length), kFlatNarrow);
    string->narrow()[length] = '\0';
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
  // Computed on first use and kept; two threads that race compute the same.
  std::uint32_t flatHash() const noexcept {
    const std::uint32_t kept = _hash.loadRelaxed();
    return kept ? kept : computeHash();
  }

  // Same units: flat strings of different width never hold the same text.
  bool hasSameUnits(const FlatString& other) const noexcept {
    return _length == other._length && ((bits() ^ other.bits()) & kFlatWide) == 0 &&
           std::memcmp(narrow(), other.narrow(), byteLength()) == 0;
  }
  HxUInteger byteLength() const noexcept {
    return isNarrow() ? _length : HxUInteger{_length} * sizeof(HxUniChar);
  }

  // Gives back the block of a string. Out of line: a compiler that sees a constant's handle go must
  // not see a delete behind it.
  static void freeBlock(void* block) noexcept;
  static void* allocate(std::size_t bytes);

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
  FlatString(std::uint32_t length, std::uint32_t flags) noexcept
      : HxStringObject(flags), _length(length) {}
  std::uint32_t computeHash() const noexcept;

  const std::uint32_t _length;
  mutable AtomicWord _hash{0};
};
static_assert(sizeof(FlatString) == 24);

// The text of a literal as a template argument: UTF-8 as it stands in the source.
template <std::size_t N>
struct LiteralText {
  char bytes[N]{};
  consteval LiteralText(const char (&text)[N]) {  // NOLINT: a literal converts
    for (std::size_t i = 0; i < N; ++i) bytes[i] = text[i];
  }
  static constexpr std::size_t size() { return N - 1; }
  constexpr bool isASCII() const {
    for (std::size_t i = 0; i < size(); ++i) {
      if (static_cast<unsigned char>(bytes[i]) >= 0x80) return false;
    }
    return true;
  }
  // Whether the bytes are valid UTF-8 (RFC 3629).
  constexpr bool isUTF8() const {
    for (std::size_t i = 0; i < size();) {
      const std::size_t count = lengthOfCharacterAt(i);
      if (count == 0) return false;
      i += count;
    }
    return true;
  }

 private:
  constexpr std::uint32_t byteAt(std::size_t i) const {
    return static_cast<unsigned char>(bytes[i]);
  }
  // In bytes; 0 when there is no whole and valid one.
  constexpr std::size_t lengthOfCharacterAt(std::size_t i) const {
    const std::uint32_t lead = byteAt(i);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t count = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (count > size() - i) return 0;
    for (std::size_t k = 1; k < count; ++k) {
      if ((byteAt(i + k) & 0xC0) != 0x80) return 0;
    }
    // Too long a form, a surrogate, or beyond U+10FFFF: told by the second byte.
    const std::uint32_t second = byteAt(i + 1);
    const bool isOutside = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                           (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return isOutside ? 0 : count;
  }
};

// UTF-16 units of a literal, decoded while compiling.
template <std::size_t N>
struct LiteralUnits {
  HxUniChar units[N]{};
  std::uint32_t length = 0;
  constexpr explicit LiteralUnits(const LiteralText<N>& text) {
    for (std::size_t i = 0; i < text.size();) {
      const auto byte = [&](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text.bytes[at]));
      };
      const std::uint32_t lead = byte(i);
      std::uint32_t value = lead;
      std::size_t count = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
      if (count > 1) value = lead & (0x7FU >> count);
      for (std::size_t k = 1; k < count; ++k) value = value << 6 | (byte(i + k) & 0x3F);
      i += count;
      if (value >= 0x10000) {
        units[length++] = static_cast<HxUniChar>(0xD7C0 + (value >> 10));
        value = 0xDC00 + (value & 0x3FF);
      }
      units[length++] = static_cast<HxUniChar>(value);
    }
  }
};

// An immortal string in static storage: constant-initialised, never destroyed.
template <std::size_t N>
struct NarrowLiteral {
  FlatString header;
  char characters[N]{};
  constexpr explicit NarrowLiteral(const LiteralText<N>& text)
      : header(static_cast<std::uint32_t>(N - 1), true) {
    for (std::size_t i = 0; i < N; ++i) characters[i] = text.bytes[i];
  }
};
template <std::size_t N>
struct WideLiteral {
  FlatString header;
  HxUniChar characters[N]{};
  constexpr explicit WideLiteral(const LiteralText<N>& text) : WideLiteral(LiteralUnits<N>(text)) {}
  constexpr explicit WideLiteral(const LiteralUnits<N>& decoded) : header(decoded.length, false) {
    for (std::size_t i = 0; i < decoded.length; ++i) characters[i] = decoded.units[i];
  }
};
template <LiteralText Text>
struct LiteralStorage {
  using Object = std::conditional_t<Text.isASCII(), NarrowLiteral<sizeof(Text.bytes)>,
                                    WideLiteral<sizeof(Text.bytes)>>;
  static constexpr Object object{Text};
};

}  // namespace internal
}  // namespace rondel
