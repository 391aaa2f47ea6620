// SPDX-License-Identifier: MIT
//
// The scalar types that every module shares: machine words, ranges, comparison results,
// search options and text encodings.
//
//   HxRange r = HxMakeRange(2, 3);          // units 2, 3 and 4
//   if (text.rangeOfString(word).location == HxNotFound) ...
//
// Everything here is a plain value and may be used on any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rondel {

// Signed and unsigned machine words. Lengths, counts, locations and indexes are HxUInteger.
using HxInteger = std::intptr_t;
using HxUInteger = std::uintptr_t;

// One UTF-16 code unit. A surrogate pair is two of them.
using HxUniChar = char16_t;

// Seconds.
using HxTimeInterval = double;

// The location of a search that found nothing: the greatest signed word.
inline constexpr HxUInteger HxNotFound = static_cast<HxUInteger>(INTPTR_MAX);

// A run of `length` elements from `location` on.
struct HxRange {
  HxUInteger location = 0;
  HxUInteger length = 0;

  friend constexpr bool operator==(const HxRange&, const HxRange&) = default;
};

// The result of a search that found nothing. Both members are part of it.
inline constexpr HxRange kNotFoundRange{HxNotFound, 0};

constexpr HxRange HxMakeRange(HxUInteger location, HxUInteger length) noexcept {
  return {location, length};
}

// Returns the first location after the range.
constexpr HxUInteger HxMaxRange(HxRange range) noexcept { return range.location + range.length; }

// Returns the smallest range that holds both.
constexpr HxRange HxUnionRange(HxRange a, HxRange b) noexcept {
  const HxUInteger start = a.location < b.location ? a.location : b.location;
  const HxUInteger end = HxMaxRange(a) > HxMaxRange(b) ? HxMaxRange(a) : HxMaxRange(b);
  return {start, end - start};
}

// Returns whether `range` lies within `length` elements, even if location + length overflows.
constexpr bool HxRangeFits(HxRange range, HxUInteger length) noexcept {
  return range.location <= length && range.length <= length - range.location;
}

enum HxComparisonResult : int {
  HxOrderedAscending = -1,
  HxOrderedSame = 0,
  HxOrderedDescending = 1,
};

// Bits of the options argument of searches and comparisons.
using HxStringCompareOptions = HxUInteger;
inline constexpr HxStringCompareOptions HxCaseInsensitiveSearch = 1;
// Compare code units as they are, without canonical equivalence.
inline constexpr HxStringCompareOptions HxLiteralSearch = 2;
inline constexpr HxStringCompareOptions HxBackwardsSearch = 4;
// The match must be at the start of the range (at its end with HxBackwardsSearch).
inline constexpr HxStringCompareOptions HxAnchoredSearch = 8;
// Runs of ASCII digits compare by value; comparisons only.
inline constexpr HxStringCompareOptions HxNumericSearch = 64;

// Numbered text encodings.
using HxStringEncoding = HxUInteger;
inline constexpr HxStringEncoding HxASCIIStringEncoding = 1;
inline constexpr HxStringEncoding HxUTF8StringEncoding = 4;
// UTF-16; a byte order mark is read and not kept, without one it is big-endian (RFC 2781, 4.3).
inline constexpr HxStringEncoding HxUnicodeStringEncoding = 10;
// The host's legacy 8-bit encoding: ISO 8859-1 here, so that every byte decodes.
inline constexpr HxStringEncoding HxHaldenOSRomanStringEncoding = 30;

}  // namespace rondel
