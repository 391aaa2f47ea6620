// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <climits>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

TEST(StringNumber, LeadingDecimalNumber) {
  struct Case {
    std::u16string_view text;
    HxInteger value;
  };
  const Case cases[] = {
      {u"", 0},        {u"abc", 0},       {u"12", 12},       {u"12abc", 12}, {u"-12", -12},
      {u"+12", 12},    {u"- 12", 0},      {u"--12", 0},      {u"007", 7},    {u"  12", 12},
      {u"\t\n12", 12}, {u"\u00a012", 12}, {u"1.9", 1},       {u"0x1F", 0},   {u"-", 0},
      {u"1,000", 1},   {u"\u0661", 0},    {u"12\u00e9", 12}, {u"   ", 0},    {u"-0", 0},
  };
  for (const Case& row : cases) {
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, row.text);
      EXPECT_EQ(text.intValue(), row.value) << text.toStdString() << ' ' << nameOf(form);
      EXPECT_EQ(text.integerValue(), row.value) << text.toStdString() << ' ' << nameOf(form);
    }
  }
}

TEST(StringNumber, StopsAtTheLimitsOfItsType) {
  EXPECT_EQ("2147483647"_hx.intValue(), INT_MAX);
  EXPECT_EQ("2147483648"_hx.intValue(), INT_MAX);
  EXPECT_EQ("-2147483648"_hx.intValue(), INT_MIN);
  EXPECT_EQ("-2147483649"_hx.intValue(), INT_MIN);
  EXPECT_EQ("99999999999999999999999"_hx.intValue(), INT_MAX);
  EXPECT_EQ("2147483648"_hx.integerValue(), 2147483648);
  EXPECT_EQ("9223372036854775807"_hx.integerValue(), INTPTR_MAX);
  EXPECT_EQ("9223372036854775808"_hx.integerValue(), INTPTR_MAX);
  EXPECT_EQ("-9223372036854775808"_hx.integerValue(), INTPTR_MIN);
  EXPECT_EQ("-99999999999999999999"_hx.integerValue(), INTPTR_MIN);
}

TEST(StringNumber, TrueAndFalse) {
  for (const TextForm form : kTextForms) {
    for (const std::u16string_view text :
         {u"Y", u"y", u"YES", u"yes", u"T", u"true", u"1", u"9x", u"10", u"Tt"}) {
      EXPECT_TRUE(makeText(form, text).boolValue()) << HxString(text).toStdString();
    }
    for (const std::u16string_view text : {u"", u"NO", u"no", u"false", u"0", u"007", u"-1", u"+1",
                                           u" 1", u" Y", u"on", u"x1", u"  ", u"\u0661"}) {
      EXPECT_FALSE(makeText(form, text).boolValue()) << HxString(text).toStdString();
    }
  }
}

}  // namespace
}  // namespace rondel::test
