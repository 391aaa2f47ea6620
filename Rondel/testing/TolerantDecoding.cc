// SPDX-License-Identifier: MIT
#include "Rondel/testing/TolerantDecoding.h"

#include <cstdint>

namespace rondel::test {

Decoded decodeByTheRules(std::string_view bytes, bool stop) {
  Decoded decoded;
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const auto isIn8To11 = [&](std::size_t i) { return at(i) >= 0x80 && at(i) <= 0xBF; };
  std::size_t p = 0;
  while (p < bytes.size()) {
    const unsigned b = at(p);
    if (b < 0x80) {
      decoded.text += static_cast<char16_t>(b);
      ++p;
      continue;
    }
    const unsigned n = b <= 0xBF ? 0 : b <= 0xDF ? 1 : b <= 0xEF ? 2 : b <= 0xF7 ? 3 : 0;
    bool isLegal = false;
    if (bytes.size() - p - 1 < n) {
      if (stop) break;
    } else {
      isLegal = b >= 0xC2 && b <= 0xF4;
      if (n == 3) isLegal = isLegal && isIn8To11(p + 3);
      if (n >= 2) isLegal = isLegal && isIn8To11(p + 2);
      if (n >= 1) {
        const unsigned a = at(p + 1);
        isLegal = isLegal && a < 0xC0 &&
                  (b == 0xF4   ? a < 0x90
                   : b == 0xF0 ? a > 0x8F
                   : b == 0xE0 ? a > 0x9F
                               : (a & 0x80) != 0);
      }
    }
    if (!isLegal) {
      decoded.text += u'\\';
      decoded.text += static_cast<char16_t>(u'0' + (b >> 6));
      decoded.text += static_cast<char16_t>(u'0' + ((b >> 3) & 7));
      decoded.text += static_cast<char16_t>(u'0' + (b & 7));
      ++decoded.malformed;
      ++p;
      continue;
    }
    std::uint32_t value = 0;
    for (unsigned i = 0; i <= n; ++i) {
      value += at(p + i);
      if (i < n) value <<= 6;
    }
    value -= n == 1 ? 0x3080 : n == 2 ? 0xE2080 : 0x3C82080;
    if (value < 0x10000) {
      decoded.text += static_cast<char16_t>(value);
    } else {
      decoded.text += static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
      decoded.text += static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
    }
    p += n + 1;
  }
  decoded.used = p;
  return decoded;
}

}  // namespace rondel::test
