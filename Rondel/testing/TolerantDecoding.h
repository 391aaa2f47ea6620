// SPDX-License-Identifier: MIT
#pragma once

// UTF-8 that may be damaged, decoded one byte at a time by the rules of TextDecoding.h.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

#include "Rondel/core/object/Types.h"

namespace rondel::test {

struct Decoded {
  std::u16string text;
  HxUInteger used = 0;
  HxUInteger malformed = 0;
  friend bool operator==(const Decoded&, const Decoded&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const Decoded& decoded) {
  return out << testing::PrintToString(decoded.text) << ", used " << decoded.used << ", malformed "
             << decoded.malformed;
}

// Returns what the rules make of the bytes, word by word and byte by byte.
Decoded decodeByTheRules(std::string_view bytes, bool stop);

}  // namespace rondel::test
