// SPDX-License-Identifier: MIT
//
// ASCII in bytes and in UTF-16 units. Most text is ASCII, so every conversion looks for it first.
// All functions are pure and may be called on any thread.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// Returns the index of the first byte that is not ASCII, or `length`.
HxUInteger lengthOfASCIIPrefix(const std::uint8_t* bytes, HxUInteger length) noexcept;
// Does the same and copies to units. Units after those, but below `out + length / 3`, may be
// written over: bytes of UTF-8 make at least as many.
HxUInteger widenASCIIPrefix(const std::uint8_t* bytes, HxUInteger length, HxUniChar* out) noexcept;
// Returns the index of the first unit that is not ASCII, or `length`, and copies to bytes. Up to
// `length` bytes of `out` may be written over.
HxUInteger narrowASCIIPrefix(const HxUniChar* units, HxUInteger length, char* out) noexcept;

// Returns whether all units are ASCII.
bool isASCII(const char* bytes, HxUInteger length) noexcept;
bool isASCII(const HxUniChar* units, HxUInteger length) noexcept;
// Copy units that are known to be ASCII, one byte each; and bytes, ASCII or not, one unit each.
void narrowUnits(const HxUniChar* units, HxUInteger length, char* out) noexcept;
void widenBytes(const char* bytes, HxUInteger length, HxUniChar* out) noexcept;

}  // namespace rondel::internal
