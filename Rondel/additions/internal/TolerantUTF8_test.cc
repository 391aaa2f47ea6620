// SPDX-License-Identifier: MIT
#include "Rondel/additions/internal/TolerantUTF8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/testing/TolerantDecoding.h"

namespace rondel::internal {
namespace {

using namespace std::string_view_literals;
using test::decodeByTheRules;
using test::Decoded;

// A stretch at a time, into room of just the size that was measured, with a mark after it.
template <class Unit, class Convert>
std::basic_string<Unit> convertBy(Convert convert, const std::vector<std::uint8_t>& bytes,
                                  HxUInteger size) {
  constexpr Unit kMark = 0x5A;
  std::basic_string<Unit> text(size + 1, kMark);
  Unit* out = text.data();
  const std::uint8_t* const end = bytes.data() + bytes.size();
  for (const std::uint8_t* p = bytes.data(); p != end;) p = convert(p, end, out);
  EXPECT_EQ(out, text.data() + size);
  EXPECT_EQ(text.back(), kMark);
  text.pop_back();
  return text;
}

void expectTheRulesOfEveryKernel(std::string_view text) {
  const Decoded expected = decodeByTheRules(text, false);
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  const std::uint8_t* const end = bytes.data() + bytes.size();
  for (const auto& kernel : availableTolerantUTF8Kernels()) {
    TextMeasure measure;
    for (const std::uint8_t* p = bytes.data(); p != end;) p = kernel.measure(p, end, measure);
    ASSERT_EQ(measure.units, expected.text.size()) << kernel.name;
    ASSERT_EQ(measure.malformed, expected.malformed) << kernel.name;
    ASSERT_EQ(convertBy<HxUniChar>(kernel.convert, bytes, measure.units), expected.text)
        << kernel.name;
    const auto isASCII = [](char16_t unit) { return unit < 0x80; };
    ASSERT_EQ(measure.isASCII, std::ranges::all_of(expected.text, isASCII)) << kernel.name;
    if (!measure.isASCII) continue;
    const std::string narrow = convertBy<char>(kernel.convertToASCII, bytes, measure.units);
    ASSERT_EQ(std::u16string(narrow.begin(), narrow.end()), expected.text) << kernel.name;
  }
}

// From one malformed byte in a text to nothing else.
std::string textWithDamage(unsigned long percent, std::string_view sound, std::mt19937& random) {
  std::string text;
  while (text.size() < 300) {
    if (random() % 100 < percent) {
      text += "\xFF\x80\xC1\xF8"[random() % 4];
    } else {
      text += sound;
    }
  }
  return text;
}

TEST(TolerantUTF8, EveryKernelFollowsTheRulesHoweverDenseTheDamageIs) {
  std::mt19937 random(3);
  for (const std::string_view sound : {"a"sv, "\xC3\xA9"sv, "\xE6\x96\x87"sv, "\xF0\x9F\x98\x80"sv,
                                       "\xED\xA0\x80"sv, "\xF4\x41\x80\x80"sv}) {
    for (const unsigned long percent : {0UL, 1UL, 5UL, 20UL, 50UL, 90UL, 100UL}) {
      const std::string text = textWithDamage(percent, sound, random);
      for (std::size_t size = 0; size <= text.size(); ++size) {
        ASSERT_NO_FATAL_FAILURE(expectTheRulesOfEveryKernel(text.substr(0, size)));
      }
    }
  }
}

TEST(TolerantUTF8, EveryKernelFollowsTheRulesOnRandomBytes) {
  std::mt19937 random(4);
  for (int round = 0; round < 1000; ++round) {
    std::string text(random() % 400, '\0');
    for (char& byte : text) byte = static_cast<char>(random());
    ASSERT_NO_FATAL_FAILURE(expectTheRulesOfEveryKernel(text));
  }
}

TEST(TolerantUTF8, EveryKernelFollowsTheRulesOverManyStretches) {
  std::mt19937 random(5);
  std::string text;
  while (text.size() < 50'000) text += textWithDamage(random() % 30, "b\xC3\xA9", random);
  expectTheRulesOfEveryKernel(text);
}

}  // namespace
}  // namespace rondel::internal
