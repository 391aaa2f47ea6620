// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

HxArray strings(std::initializer_list<HxAny> objects) { return HxArray::arrayWithObjects(objects); }

TEST(StringSplit, AtEachOccurrence) {
  for (const TextForm form : kTextForms) {
    const auto split = [&](std::u16string_view text, const HxString& separator) {
      return makeText(form, text).componentsSeparatedByString(separator);
    };
    EXPECT_EQ(split(u"a,b,c", ","_hx), strings({"a"_hx, "b"_hx, "c"_hx})) << nameOf(form);
    EXPECT_EQ(split(u",a,,", ","_hx), strings({""_hx, "a"_hx, ""_hx, ""_hx}));
    EXPECT_EQ(split(u",", ","_hx), strings({""_hx, ""_hx}));
    EXPECT_EQ(split(u"a, b, c", ", "_hx), strings({"a"_hx, "b"_hx, "c"_hx}));
    EXPECT_EQ(split(u"aaa", "aa"_hx), strings({""_hx, "a"_hx}));
    EXPECT_EQ(split(u"\u00e91e\u03012", "\u00e9"_hx), strings({""_hx, "1"_hx, "2"_hx}));
    EXPECT_EQ(split(u"a,\u0301b,c", ","_hx), strings({"a,\u0301b"_hx, "c"_hx}));
    EXPECT_EQ(split(std::u16string_view(u"a\0b", 3), "\0"_hx), strings({"a"_hx, "b"_hx}));
  }
}

TEST(StringSplit, WithoutAnOccurrenceReturnsTheStringAlone) {
  const HxString text = "abc"_hx;
  for (const HxString& separator : {","_hx, ""_hx, HxString(), "abcd"_hx}) {
    const HxArray components = text.componentsSeparatedByString(separator);
    ASSERT_EQ(components.count(), 1u);
    EXPECT_EQ(components.objectAtIndex(0).object(), text.object());
  }
  EXPECT_EQ(""_hx.componentsSeparatedByString(","_hx), strings({""_hx}));
}

TEST(StringSplit, ComponentsOfAMutableStringStayAsTheyAre) {
  HxMutableString text = HxMutableString::stringWithString("a"_hx);
  const HxArray components = text.componentsSeparatedByString(","_hx);
  text.setString("b"_hx);
  EXPECT_EQ(components, strings({"a"_hx}));
}

TEST(StringReplace, EveryOccurrence) {
  for (const TextForm form : kTextForms) {
    const auto replaced = [&](std::u16string_view text, const HxString& target,
                              const HxString& replacement) {
      return makeText(form, text).stringByReplacingOccurrencesOfString(target, replacement);
    };
    EXPECT_EQ(replaced(u"a-b-c", "-"_hx, "::"_hx), "a::b::c"_hx) << nameOf(form);
    EXPECT_EQ(replaced(u"a-b-c", "-"_hx, ""_hx), "abc"_hx);
    EXPECT_EQ(replaced(u"a-b-c", "-"_hx, nullptr), "abc"_hx);
    EXPECT_EQ(replaced(u"--", "-"_hx, "--"_hx), "----"_hx);
    EXPECT_EQ(replaced(u"a-b", "-"_hx, "\u2014"_hx), "a\u2014b"_hx);
    EXPECT_EQ(replaced(u"caf\u00e9 cafe\u0301", "\u00e9"_hx, "e"_hx), "cafe cafe"_hx);
    EXPECT_EQ(replaced(u"\u00e9-\u00e9", "-"_hx, "+"_hx), "\u00e9+\u00e9"_hx);
    EXPECT_EQ(replaced(u"cafe\u0301", "e"_hx, "x"_hx), "cafe\u0301"_hx);
    EXPECT_EQ(replaced(u"aaaa", "aa"_hx, "b"_hx), "bb"_hx);
  }
}

TEST(StringReplace, NoOccurrenceReturnsTheStringItself) {
  const HxString text = "abc"_hx;
  for (const HxString& target : {"x"_hx, ""_hx, HxString()}) {
    EXPECT_EQ(text.stringByReplacingOccurrencesOfString(target, "y"_hx).object(), text.object());
  }
  const HxMutableString buffer = HxMutableString::stringWithString("abc"_hx);
  EXPECT_NE(buffer.stringByReplacingOccurrencesOfString("x"_hx, "y"_hx).object(), buffer.object());
}

TEST(StringReplace, WithOptionsInARange) {
  struct Case {
    HxStringCompareOptions options;
    HxRange range;
    HxString expected;
  };
  const HxString text = "aAaA aAaA"_hx;
  const Case cases[] = {
      {0, {0, 9}, "xAxA xAxA"_hx},
      {HxCaseInsensitiveSearch, {0, 9}, "xxxx xxxx"_hx},
      {HxCaseInsensitiveSearch, {1, 2}, "axxA aAaA"_hx},
      {HxAnchoredSearch, {0, 9}, "xAaA aAaA"_hx},
      {HxAnchoredSearch, {1, 8}, "aAaA aAaA"_hx},
      {HxAnchoredSearch | HxBackwardsSearch, {0, 8}, "aAaA aAxA"_hx},
      {HxBackwardsSearch, {0, 9}, "xAxA xAxA"_hx},
      {HxLiteralSearch, {9, 0}, "aAaA aAaA"_hx},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(text.stringByReplacingOccurrencesOfString("a"_hx, "x"_hx, row.options, row.range),
              row.expected);
  }
  EXPECT_EQ(
      "aaa"_hx.stringByReplacingOccurrencesOfString("aa"_hx, "x"_hx, HxBackwardsSearch, {0, 3}),
      "ax"_hx);
  EXPECT_EQ(
      "cafe\u0301"_hx.stringByReplacingOccurrencesOfString("e"_hx, "x"_hx, HxLiteralSearch, {0, 5}),
      "cafx\u0301"_hx);
}

TEST(StringReplace, ARangeBeyondTheEndRaises) {
  EXPECT_EQ(raisedBy([] {
              return "abc"_hx.stringByReplacingOccurrencesOfString("a"_hx, "b"_hx, 0, {1, 3});
            }),
            HxRangeException);
}

}  // namespace
}  // namespace rondel::test
