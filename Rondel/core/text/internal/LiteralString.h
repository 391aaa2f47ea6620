// SPDX-License-Identifier: MIT
//
// String literals: decoded at compile time, kept in static storage. String.h makes handles of them.
#pragma once

#include "Rondel/core/text/internal/FlatString.h"

namespace rondel::internal {

// The text of a literal as a template argument: UTF-8 as in the source.
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
  // Returns whether the bytes are valid UTF-8 (RFC 3629).
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
  // Returns the length in bytes; 0 if there is no whole and valid sequence.
  constexpr std::size_t lengthOfCharacterAt(std::size_t i) const {
    const std::uint32_t lead = byteAt(i);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t count = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (count > size() - i) return 0;
    for (std::size_t k = 1; k < count; ++k) {
      if ((byteAt(i + k) & 0xC0) != 0x80) return 0;
    }
    // The second byte shows an overlong form, a surrogate, or a value beyond U+10FFFF.
    const std::uint32_t second = byteAt(i + 1);
    const bool isOutside = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                           (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return isOutside ? 0 : count;
  }
};

// UTF-16 units of a literal, decoded at compile time.
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

}  // namespace rondel::internal
