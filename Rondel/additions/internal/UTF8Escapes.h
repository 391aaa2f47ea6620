// SPDX-License-Identifier: MIT
//
// How a malformed byte is written: "\377" for FF.
#pragma once

#include <array>
#include <cstring>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

inline constexpr HxUInteger kEscapeLength = 4;

// Four units, which one store writes.
template <class Unit>
struct Escape {
  Unit units[kEscapeLength];

  void writeTo(Unit* out) const noexcept { std::memcpy(out, units, sizeof units); }
};

template <class Unit>
inline constexpr std::array<Escape<Unit>, 0x80> kEscapes = [] {
  std::array<Escape<Unit>, 0x80> escapes{};
  const auto digit = [](unsigned value) { return static_cast<Unit>('0' + (value & 7)); };
  for (unsigned byte = 0x80; byte <= 0xFF; ++byte) {
    escapes[byte - 0x80] = {{Unit('\\'), digit(byte >> 6), digit(byte >> 3), digit(byte)}};
  }
  return escapes;
}();

// The escape of a byte beyond ASCII; that of 80 to FF for 00 to 7F, so that any byte may be asked.
template <class Unit>
const Escape<Unit>& escapeOf(std::uint8_t byte) noexcept {
  return kEscapes<Unit>[byte & 0x7FU];
}

}  // namespace rondel::internal
