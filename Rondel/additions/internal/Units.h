// SPDX-License-Identifier: MIT
//
// Bytes of ASCII and UTF-16 units read alike, for templates over both.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

constexpr HxUniChar unitOf(char unit) noexcept { return static_cast<unsigned char>(unit); }
constexpr HxUniChar unitOf(HxUniChar unit) noexcept { return unit; }

}  // namespace rondel::internal
