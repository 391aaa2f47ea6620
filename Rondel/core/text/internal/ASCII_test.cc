// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/ASCII.h"

#include <gtest/gtest.h>

#include <string>

namespace rondel::internal {
namespace {

// Text of every length up to a few registers, with one letter that is not ASCII at every place.
template <class Check>
void forEachSpoiltText(const Check& check) {
  for (std::size_t length = 0; length <= 70; ++length) {
    std::u16string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char16_t>(1 + i * 7 % 127);
    check(text, true);
    for (std::size_t at = 0; at < length; ++at) {
      for (const char16_t unit : {u'\u0080', u'\u00FF', u'\u0100', u'\u7F7F', u'\uFF41'}) {
        std::u16string spoilt = text;
        spoilt[at] = unit;
        check(spoilt, false);
      }
    }
  }
}

std::string bytesOf(const std::u16string& units) {
  std::string bytes;
  for (const char16_t unit : units) bytes += static_cast<char>(unit);
  return bytes;
}

TEST(ASCII, OneUnitBeyondItIsFoundAtEveryPlace) {
  forEachSpoiltText([](const std::u16string& text, bool isPlain) {
    ASSERT_EQ(isASCII(text.data(), text.size()), isPlain) << text.size();
  });
}

TEST(ASCII, NarrowsUnitsThatAreKnownToBeASCII) {
  forEachSpoiltText([](const std::u16string& text, bool isPlain) {
    if (!isPlain) return;
    std::string bytes(text.size() + 1, '#');
    narrowUnits(text.data(), text.size(), bytes.data());
    ASSERT_EQ(bytes, bytesOf(text) + '#');
  });
}

}  // namespace
}  // namespace rondel::internal
