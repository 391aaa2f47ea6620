// SPDX-License-Identifier: MIT
//
// What single code units are: surrogates and their pairs, hexadecimal digits, blanks. A char is an
// ASCII character here.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// Returns the code unit of an ASCII character, or the unit itself.
constexpr HxUniChar unitOf(char ascii) noexcept { return static_cast<unsigned char>(ascii); }
constexpr HxUniChar unitOf(HxUniChar unit) noexcept { return unit; }

// ---- Surrogates (Unicode Standard, 3.8) ---------------------------------------------------------

constexpr bool isHighSurrogate(std::uint32_t unit) noexcept { return (unit & ~0x3FFU) == 0xD800; }
constexpr bool isLowSurrogate(std::uint32_t unit) noexcept { return (unit & ~0x3FFU) == 0xDC00; }
constexpr bool isSurrogate(std::uint32_t unit) noexcept { return (unit & ~0x7FFU) == 0xD800; }
constexpr bool isSurrogatePair(std::uint32_t high, std::uint32_t low) noexcept {
  return isHighSurrogate(high) && isLowSurrogate(low);
}
// Returns whether a pair begins at `index`, which is below `length`.
constexpr bool isPairAt(const HxUniChar* units, HxUInteger length, HxUInteger index) noexcept {
  return index + 1 < length && isSurrogatePair(units[index], units[index + 1]);
}
// Returns whether `index` lies between the two units of a pair.
constexpr bool splitsPair(const HxUniChar* units, HxUInteger length, HxUInteger index) noexcept {
  return index > 0 && index < length && isSurrogatePair(units[index - 1], units[index]);
}

constexpr std::uint32_t codePointOfPair(HxUniChar high, HxUniChar low) noexcept {
  return 0x10000 + ((high - 0xD800U) << 10) + (low - 0xDC00U);
}
// Writes a code point as one or two units. Returns their number.
constexpr HxUInteger splitIntoUnits(std::uint32_t value, HxUniChar* units) noexcept {
  if (value < 0x10000) {
    units[0] = static_cast<HxUniChar>(value);
    return 1;
  }
  units[0] = static_cast<HxUniChar>(0xD7C0 + (value >> 10));
  units[1] = static_cast<HxUniChar>(0xDC00 + (value & 0x3FF));
  return 2;
}

// ---- ASCII --------------------------------------------------------------------------------------

inline constexpr char kHexadecimalDigits[] = "0123456789abcdef";
inline constexpr char kUpperHexadecimalDigits[] = "0123456789ABCDEF";

constexpr bool isDecimalDigit(std::uint32_t unit) noexcept { return unit - '0' < 10; }
constexpr bool isHexadecimalDigit(std::uint32_t unit) noexcept {
  return isDecimalDigit(unit) || (unit | 0x20) - 'a' < 6;
}
// Returns the value of a hexadecimal digit, kNoHexadecimalDigit if the unit is none.
inline constexpr unsigned kNoHexadecimalDigit = 16;
constexpr unsigned hexadecimalValue(std::uint32_t unit) noexcept {
  if (isDecimalDigit(unit)) return unit - '0';
  return isHexadecimalDigit(unit) ? (unit | 0x20) - 'a' + 10 : kNoHexadecimalDigit;
}
constexpr bool isLetter(std::uint32_t unit) noexcept { return (unit | 0x20) - 'a' < 26; }
constexpr bool isLetterOrDigit(std::uint32_t unit) noexcept {
  return isLetter(unit) || isDecimalDigit(unit);
}
// Returns whether the unit is one of the six blanks of ASCII, as isspace has them in the C locale.
constexpr bool isBlank(std::uint32_t unit) noexcept {
  return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

// ---- Runs ---------------------------------------------------------------------------------------

// Returns whether two runs of `count` units are the same.
template <class Left, class Right>
bool areSameUnits(const Left* left, const Right* right, HxUInteger count) noexcept {
  if constexpr (std::is_same_v<Left, Right>) {
    return count == 0 || std::memcmp(left, right, count * sizeof(Left)) == 0;
  } else {
    for (HxUInteger i = 0; i < count; ++i) {
      if (unitOf(left[i]) != unitOf(right[i])) return false;
    }
    return true;
  }
}

}  // namespace rondel::internal
