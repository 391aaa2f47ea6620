// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

HxMutableString make(const HxString& text) { return HxMutableString::stringWithString(text); }

TEST(MutableString, TakesACapacityAsAdvice) {
  for (const HxUInteger capacity : {HxUInteger{1} << 40, HxNotFound}) {
    HxMutableString text = HxMutableString::initWithCapacity(capacity);
    text.appendString("a"_hx);
    EXPECT_EQ(text, "a"_hx);
  }
}

TEST(MutableString, BeginsEmpty) {
  EXPECT_EQ(HxMutableString::string(), ""_hx);
  EXPECT_EQ(HxMutableString::initWithCapacity(100), ""_hx);
  EXPECT_EQ(HxMutableString::stringWithString(nullptr), ""_hx);
  EXPECT_NE(HxMutableString::string().object(), HxMutableString::string().object());
}

TEST(MutableString, AppendsTextOfEveryForm) {
  for (const TextForm form : kTextForms) {
    HxMutableString text = make("a"_hx);
    text.appendString(makeText(form, u"bc"));
    EXPECT_EQ(text, "abc"_hx) << nameOf(form);
    text.appendString(makeText(form, u"\u00e9"));
    EXPECT_EQ(text, "abc\u00e9"_hx) << nameOf(form);
    text.appendString(makeText(form, u"de"));
    EXPECT_EQ(text, "abc\u00e9de"_hx) << nameOf(form);
  }
}

TEST(MutableString, AppendsItself) {
  HxMutableString text = make("ab\u00e9"_hx);
  text.appendString(text);
  EXPECT_EQ(text, "ab\u00e9ab\u00e9"_hx);
}

TEST(MutableString, AppendsCharactersAndFormats) {
  HxMutableString text = HxMutableString::stringWithFormat("%d:"_hx, 1);
  text.appendCharacters(u"x\u00e9", 2);
  text.appendFormat("%@%C"_hx, "y"_hx, u'z');
  EXPECT_EQ(text, "1:x\u00e9yz"_hx);
}

TEST(MutableString, AppendsNothingForNull) {
  HxMutableString text = HxMutableString::stringWithString("a"_hx);
  text.appendCharacters(nullptr, 5);
  text.appendString(nullptr);
  text.appendFormat(nullptr, 5);
  EXPECT_EQ(text, "a"_hx);
}

TEST(MutableString, GrowsUnitByUnit) {
  HxMutableString text = HxMutableString::string();
  std::u16string expected;
  for (int i = 0; i < 5000; ++i) {
    const auto unit = static_cast<HxUniChar>(i < 2500 ? 'a' + i % 26 : 0x400 + i % 26);
    text.appendCharacters(&unit, 1);
    expected += unit;
  }
  EXPECT_EQ(unitsOf(text), expected);
}

TEST(MutableString, RoomForShortTextLiesInTheSameBlock) {
  const AllocationCounter counter;
  HxMutableString text = HxMutableString::initWithCapacity(20);
  text.appendString("12345678901234567890"_hx);
  EXPECT_EQ(counter.count(), 1U);
}

// A string that outgrows its room frees it.
TEST(MutableString, RoomForLongTextIsABlockOfItsOwn) {
  const AllocationCounter counter;
  const HxMutableString text = HxMutableString::initWithCapacity(100000);
  EXPECT_EQ(counter.count(), 2U);
}

TEST(MutableString, OutgrowsItsOwnRoom) {
  for (const HxUInteger capacity : {1U, 20U, 512U, 513U}) {
    for (const HxString& more : {"more"_hx, "\u4E2D"_hx, HxString(std::string(2000, 'm'))}) {
      HxMutableString text = HxMutableString::initWithCapacity(capacity);
      const std::string filled(capacity, 'x');
      text.appendString(HxString(filled));
      text.appendString(more);
      text.insertString(more, 0);
      EXPECT_EQ(text.toStdString(), more.toStdString() + filled + more.toStdString());
    }
  }
}

TEST(MutableString, WidensWithRoomOfItsOwn) {
  HxMutableString text = HxMutableString::initWithCapacity(100);
  text.appendString("\u00e9"_hx);
  text.appendString("a"_hx);
  text.deleteCharactersInRange({0, 1});
  EXPECT_EQ(text, "a"_hx);
}

TEST(MutableString, Inserts) {
  HxMutableString text = make("ad"_hx);
  text.insertString("bc"_hx, 1);
  text.insertString("\u00e9"_hx, 4);
  text.insertString("<"_hx, 0);
  text.insertString(nullptr, 3);
  EXPECT_EQ(text, "<abcd\u00e9"_hx);
}

TEST(MutableString, Deletes) {
  HxMutableString text = make("abcd\u00e9f"_hx);
  text.deleteCharactersInRange({1, 2});
  EXPECT_EQ(text, "ad\u00e9f"_hx);
  text.deleteCharactersInRange({0, 0});
  text.deleteCharactersInRange({0, 4});
  EXPECT_EQ(text, ""_hx);
}

TEST(MutableString, ReplacesARangeByLongerShorterAndNoText) {
  HxMutableString text = make("one two three"_hx);
  text.replaceCharactersInRange({4, 3}, "2"_hx);
  EXPECT_EQ(text, "one 2 three"_hx);
  text.replaceCharactersInRange({0, 3}, "eins\u2014"_hx);
  EXPECT_EQ(text, "eins\u2014 2 three"_hx);
  text.replaceCharactersInRange({5, 2}, nullptr);
  EXPECT_EQ(text, "eins\u2014 three"_hx);
  text.replaceCharactersInRange({0, 4}, text);
  EXPECT_EQ(text, "eins\u2014 three\u2014 three"_hx);
}

TEST(MutableString, TakesWholeNewText) {
  HxMutableString text = make("abc"_hx);
  text.setString("d\u00e9"_hx);
  EXPECT_EQ(text, "d\u00e9"_hx);
  text.setString(text);
  EXPECT_EQ(text, "d\u00e9"_hx);
  text.setString(nullptr);
  EXPECT_EQ(text, ""_hx);
}

TEST(MutableString, ReplacesOccurrencesInARange) {
  HxMutableString text = make("a-b-c-d"_hx);
  EXPECT_EQ(text.replaceOccurrencesOfString("-"_hx, "::"_hx, 0, {2, 4}), 2u);
  EXPECT_EQ(text, "a-b::c::d"_hx);
  EXPECT_EQ(text.replaceOccurrencesOfString("x"_hx, "y"_hx, 0, {0, text.length()}), 0u);
  EXPECT_EQ(text.replaceOccurrencesOfString("::"_hx, "\u00e9"_hx, 0, {0, text.length()}), 2u);
  EXPECT_EQ(text, "a-b\u00e9c\u00e9d"_hx);
}

TEST(MutableString, ReplacesOccurrencesOfAndByItself) {
  HxMutableString text = make("ab"_hx);
  EXPECT_EQ(text.replaceOccurrencesOfString(text, "xy"_hx, 0, {0, 2}), 1u);
  EXPECT_EQ(text, "xy"_hx);
  EXPECT_EQ(text.replaceOccurrencesOfString("x"_hx, text, 0, {0, 2}), 1u);
  EXPECT_EQ(text, "xyy"_hx);
}

TEST(MutableString, TheSearchBeginsAtTheEndWhenReportedSo) {
  HxMutableString text = make("aaa"_hx);
  EXPECT_EQ(text.replaceOccurrencesOfString("aa"_hx, "x"_hx, HxBackwardsSearch, {0, 3}), 1u);
  EXPECT_EQ(text, "ax"_hx);
}

TEST(MutableString, RaisesBeyondItsEndAndStaysAsItWas) {
  HxMutableString text = make("abc"_hx);
  EXPECT_EQ(raisedBy([&] { text.insertString("x"_hx, 4); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { text.deleteCharactersInRange({2, 2}); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { text.replaceCharactersInRange({4, 0}, "x"_hx); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] {
              text.replaceOccurrencesOfString("a"_hx, "b"_hx, 0, {0, 4});
            }),
            HxRangeException);
  EXPECT_EQ(text, "abc"_hx);
}

TEST(MutableString, HandlesShareTheText) {
  HxMutableString text = make("abc"_hx);
  const HxString view = text;
  text.appendString("d"_hx);
  EXPECT_EQ(view, "abcd"_hx);
}

TEST(MutableString, HashFollowsTheText) {
  HxMutableString text = make("abc"_hx);
  EXPECT_EQ(text.hash(), "abc"_hx.hash());
  text.appendString("d"_hx);
  EXPECT_EQ(text.hash(), "abcd"_hx.hash());
}

TEST(MutableString, ReturnsUTF8OfItsPresentText) {
  HxMutableString text = make("abc"_hx);
  const HxCString bytes = text.UTF8String();
  text.setString("xyz"_hx);
  EXPECT_STREQ(bytes, "abc");
}

TEST(MutableString, IsKnownAsMutable) {
  EXPECT_FALSE(as<HxMutableString>(HxAny(make("a"_hx))).isNil());
  EXPECT_TRUE(as<HxMutableString>(HxAny("a"_hx)).isNil());
}

TEST(NilMutableString, DoesNothing) {
  HxMutableString nil = nullptr;
  nil.appendString("a"_hx);
  nil.appendCharacters(u"a", 1);
  nil.appendFormat("%d"_hx, 1);
  nil.setString("a"_hx);
  nil.insertString("a"_hx, 5);
  nil.deleteCharactersInRange({5, 5});
  nil.replaceCharactersInRange({5, 5}, "a"_hx);
  EXPECT_EQ(nil.replaceOccurrencesOfString("a"_hx, "b"_hx, 0, {5, 5}), 0u);
  EXPECT_TRUE(nil.isNil());
}

}  // namespace
}  // namespace rondel::test
