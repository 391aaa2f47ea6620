// SPDX-License-Identifier: MIT
//
// ASCII in bytes and in UTF-16 units: what most text is, and what every conversion looks for first.
// All functions are pure and may be called on any thread.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// Index of the first byte that is not ASCII, or `length`.
HxUInteger lengthOfASCIIPrefix(const std::uint8_t* bytes, HxUInteger length) noexcept;
// The same, copying to units as it goes. Behind those, but below `out + length / 3`, units may be
// written over: as many as the bytes make at the least when they are UTF-8.
HxUInteger widenASCIIPrefix(const std::uint8_t* bytes, HxUInteger length, HxUniChar* out) noexcept;
// Index of the first unit that is not ASCII, or `length`, copying to bytes as it goes. Up to
// `length` bytes of `out` may be written over.
HxUInteger narrowASCIIPrefix(const HxUniChar* units, HxUInteger length, char* out) noexcept;

// Whether all units are ASCII.
bool isASCII(const char* bytes, HxUInteger length) noexcept;
bool isASCII(const HxUniChar* units, HxUInteger length) noexcept;
// Copies units that are known to be ASCII, one byte each; and bytes, ASCII or not, one unit each.
void narrowUnits(const HxUniChar* units, HxUInteger length, char* out) noexcept;
void widenBytes(const char* bytes, HxUInteger length, HxUniChar* out) noexcept;

}  // namespace rondel::internal
