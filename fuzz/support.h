// SPDX-License-Identifier: MIT
//
// What fuzz targets of text operations share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Rondel/core/text/String.h"

namespace rondel::fuzz {

inline void require(bool isTrue, const char* what) {
  if (isTrue) return;
  std::fprintf(stderr, "not true: %s\n", what);
  std::abort();
}

// UTF-8 or, when the bytes are not that, UTF-16 units, the high byte first.
inline HxString textFrom(const std::uint8_t* data, std::size_t size) {
  HxString text(std::string_view(reinterpret_cast<const char*>(data), size));
  if (text) return text;
  std::u16string units(size / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(data[2 * i] << 8 | data[2 * i + 1]);
  }
  return HxString(std::u16string_view(units));
}

}  // namespace rondel::fuzz
