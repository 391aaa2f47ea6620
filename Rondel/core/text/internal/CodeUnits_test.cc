// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/CodeUnits.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string_view>

namespace rondel::internal {
namespace {

TEST(CodeUnits, SurrogatesAreReportedByTheirBlocks) {
  for (std::uint32_t unit = 0; unit < 0x20000; ++unit) {
    EXPECT_EQ(isHighSurrogate(unit), unit >= 0xD800 && unit <= 0xDBFF) << unit;
    EXPECT_EQ(isLowSurrogate(unit), unit >= 0xDC00 && unit <= 0xDFFF) << unit;
    EXPECT_EQ(isSurrogate(unit), unit >= 0xD800 && unit <= 0xDFFF) << unit;
  }
}

TEST(CodeUnits, DigitsAndBlanksAreThoseOfTheCLocale) {
  for (std::uint32_t unit = 0; unit < 0x400; ++unit) {
    const int c = static_cast<int>(unit);
    EXPECT_EQ(isDecimalDigit(unit), unit < 0x80 && std::isdigit(c) != 0) << unit;
    EXPECT_EQ(isHexadecimalDigit(unit), unit < 0x80 && std::isxdigit(c) != 0) << unit;
    EXPECT_EQ(isBlank(unit), unit < 0x80 && std::isspace(c) != 0) << unit;
    EXPECT_EQ(isLetter(unit), unit < 0x80 && std::isalpha(c) != 0) << unit;
    EXPECT_EQ(isLetterOrDigit(unit), unit < 0x80 && std::isalnum(c) != 0) << unit;
  }
}

TEST(CodeUnits, HexadecimalDigitsOfBothCasesHaveTheirValue) {
  for (unsigned value = 0; value < 16; ++value) {
    EXPECT_EQ(hexadecimalValue(unitOf(kHexadecimalDigits[value])), value);
    EXPECT_EQ(hexadecimalValue(unitOf(kUpperHexadecimalDigits[value])), value);
  }
  for (const std::uint32_t unit : {u'/', u':', u'@', u'G', u'`', u'g', u'\0', u'\uFF11'}) {
    EXPECT_EQ(hexadecimalValue(unit), kNoHexadecimalDigit) << unit;
  }
}

TEST(CodeUnits, CodePointsAreSplitAndJoined) {
  for (const std::uint32_t value : {0x10000U, 0x1F600U, 0x10FFFFU}) {
    HxUniChar units[2];
    ASSERT_EQ(splitIntoUnits(value, units), 2u);
    EXPECT_TRUE(isSurrogatePair(units[0], units[1]));
    EXPECT_EQ(codePointOfPair(units[0], units[1]), value);
  }
  HxUniChar unit;
  EXPECT_EQ(splitIntoUnits(0xFFFF, &unit), 1u);
  EXPECT_EQ(unit, 0xFFFF);
}

TEST(CodeUnits, PairsAreFoundWithinTheirText) {
  const std::u16string_view text = u"a\U0001F600b";
  for (HxUInteger i = 0; i < text.size(); ++i) {
    EXPECT_EQ(isPairAt(text.data(), text.size(), i), i == 1) << i;
    EXPECT_EQ(splitsPair(text.data(), text.size(), i), i == 2) << i;
  }
  EXPECT_FALSE(isPairAt(text.data(), 2, 1));
}

TEST(CodeUnits, RunsOfBothWidthsAreCompared) {
  EXPECT_TRUE(areSameUnits("abc", u"abd", 2));
  EXPECT_FALSE(areSameUnits("abc", u"abd", 3));
  EXPECT_TRUE(areSameUnits(u"\u4E2D", u"\u4E2D", 1));
  EXPECT_TRUE(areSameUnits("a", "b", 0));
}

}  // namespace
}  // namespace rondel::internal
