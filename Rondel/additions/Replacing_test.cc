// SPDX-License-Identifier: MIT
#include "Rondel/additions/Replacing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Rondel/core/object/Exception.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::forEachText;
using test::kTextForms;
using test::makeText;
using test::raisedBy;
using test::randomText;
using test::TextForm;
using test::unitsOf;

bool isMutable(const HxString& text) { return HxMutableString::canHold(text.object()); }

// ---- One character by another -----------------------------------------------------------------

TEST(Replacing, EveryOccurrenceOfACharacterIsReplaced) {
  for (const char16_t former : {u'a', u'\u4E2D', u'z'}) {
    for (const char16_t other : {u'b', u'\u00E9', u'\uFFFF'}) {
      forEachText(u"ab\u4E2D", 5, [&](const std::u16string& units) {
        std::u16string expected = units;
        std::replace(expected.begin(), expected.end(), former, other);
        for (const TextForm form : kTextForms) {
          const HxString text = makeText(form, units);
          const HxString result = stringByReplacingCharacter(text, former, other);
          EXPECT_EQ(unitsOf(result), expected) << nameOf(form);
          EXPECT_EQ(result, HxString(expected)) << nameOf(form);
          EXPECT_EQ(result.object() == text.object(), units.empty()) << nameOf(form);
        }
        return !testing::Test::HasFailure();
      });
    }
  }
}

TEST(Replacing, ACharacterIsReplacedInLongText) {
  const std::u16string units = randomText(u"abc\u4E2D", 10000, 7);
  for (const char16_t other : {u'x', u'\u00E9'}) {
    std::u16string expected = units;
    std::replace(expected.begin(), expected.end(), u'\u4E2D', other);
    EXPECT_EQ(unitsOf(stringByReplacingCharacter(HxString(units), u'\u4E2D', other)), expected);
  }
}

TEST(Replacing, ACharacterByItselfReturnsTheReceiverItself) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"abc");
    EXPECT_EQ(stringByReplacingCharacter(text, u'a', u'a').object(), text.object());
  }
}

TEST(Replacing, ACharacterInShortTextTakesTheResultAloneFromTheHeap) {
  for (const char16_t* const units : {u"a/b/c", u"\u4E2D/\u4E2D"}) {
    const HxString text{std::u16string_view(units)};
    const test::AllocationCounter allocations;
    const HxString result = stringByReplacingCharacter(text, u'/', u'-');
    EXPECT_EQ(allocations.count(), 1U);
  }
}

// ---- Text by text -----------------------------------------------------------------------------

struct Replacement {
  std::u16string text;
  std::u16string target;
  std::u16string replacement;
  std::u16string result;
};

class ReplacingText : public testing::TestWithParam<Replacement> {};

TEST_P(ReplacingText, ReturnsAMutableCopy) {
  const Replacement& expected = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, expected.text);
    const HxString result = stringByReplacingSubstring(text, makeText(form, expected.target),
                                                       makeText(form, expected.replacement));
    EXPECT_EQ(unitsOf(result), expected.result) << nameOf(form);
    EXPECT_TRUE(isMutable(result));
    EXPECT_NE(result.object(), text.object());
    EXPECT_EQ(unitsOf(text), expected.text);
  }
}

const Replacement kReplacements[] = {
    {u"", u"a", u"b", u""},
    {u"abab", u"a", u"xy", u"xybxyb"},
    {u"abab", u"ab", u"", u""},
    {u"aaa", u"aa", u"b", u"ba"},      // from left to right
    {u"aaa", u"a", u"aa", u"aaaaaa"},  // what was put in is not searched
    {u"ab", u"b", u"ab", u"aab"},
    {u"aab", u"ab", u"b", u"ab"},  // nor is what came together
    {u"abc", u"x", u"y", u"abc"},
    {u"abc", u"", u"y", u"abc"},
    {u"a\u4E2Db", u"\u4E2D", u"-", u"a-b"},
    {u"a-b", u"-", u"\u4E2D", u"a\u4E2Db"},
    // Literally: marks and other forms of a letter count.
    {u"e\u0301", u"e", u"x", u"x\u0301"},
    {u"e\u0301\u00E9", u"\u00E9", u"x", u"e\u0301x"},
    {u"A", u"a", u"x", u"A"},
};

INSTANTIATE_TEST_SUITE_P(All, ReplacingText, testing::ValuesIn(kReplacements));

TEST(Replacing, NilIsReplacedNowhereAndReplacesByNothing) {
  EXPECT_EQ(stringByReplacingSubstring("abc"_hx, nullptr, "x"_hx), "abc"_hx);
  EXPECT_EQ(stringByReplacingSubstring("abc"_hx, "b"_hx, nullptr), "ac"_hx);
}

TEST(Replacing, BackslashesBecomeSlashes) {
  const HxString result = ZEV_stringByReplacingBackslashWithSlash("a\\b\\\\c/\\"_hx);
  EXPECT_EQ(result, "a/b//c//"_hx);
  EXPECT_TRUE(isMutable(result));
  EXPECT_TRUE(isMutable(ZEV_stringByReplacingBackslashWithSlash("a"_hx)));
}

// ---- At the end -------------------------------------------------------------------------------

TEST(Replacing, APathSeparatorIsAppendedUnlessThereIsOne) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded(makeText(form, u"a")), "a/"_hx);
    EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded(makeText(form, u"a/b")), "a/b/"_hx);
    EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded(makeText(form, u"\u4E2D")), "\u4E2D/"_hx);
    const HxString path = makeText(form, u"a/");
    EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded(path).object(), path.object());
  }
  EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded("/"_hx), "/"_hx);
  EXPECT_EQ(stringByAppendingPathSeparatorIfNeeded(""_hx), "/"_hx);
}

TEST(Replacing, APartOfAnotherStringIsAppended) {
  for (const TextForm form : kTextForms) {
    HxMutableString text = "ab"_hx.mutableCopy();
    appendSubstringWithRange(text, {1, 2}, makeText(form, u"xyz"));
    appendSubstringWithRange(text, {0, 1}, makeText(form, u"\u4E2Da"));
    appendSubstringWithRange(text, {1, 0}, makeText(form, u"x"));
    EXPECT_EQ(text, "abyz\u4E2D"_hx);
  }
}

TEST(Replacing, APartOfTheTextItselfIsAppended) {
  HxMutableString text = "abc"_hx.mutableCopy();
  appendSubstringWithRange(text, {0, 3}, text);
  appendSubstringWithRange(text, {2, 2}, text);
  EXPECT_EQ(text, "abcabcca"_hx);
}

TEST(Replacing, APartBeyondTheEndRaisesAndAppendsNothing) {
  HxMutableString text = "a"_hx.mutableCopy();
  EXPECT_EQ(raisedBy([&] { appendSubstringWithRange(text, {1, 2}, "xy"_hx); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { appendSubstringWithRange(text, {3, 0}, "xy"_hx); }), HxRangeException);
  EXPECT_EQ(text, "a"_hx);
}

TEST(Replacing, NilStaysNilAndAppendsNothing) {
  EXPECT_TRUE(stringByReplacingCharacter(nullptr, u'a', u'b').isNil());
  EXPECT_TRUE(stringByReplacingSubstring(nullptr, "a"_hx, "b"_hx).isNil());
  EXPECT_TRUE(ZEV_stringByReplacingBackslashWithSlash(nullptr).isNil());
  EXPECT_TRUE(stringByAppendingPathSeparatorIfNeeded(nullptr).isNil());
  HxMutableString text = "a"_hx.mutableCopy();
  appendSubstringWithRange(text, {0, 1}, nullptr);
  EXPECT_EQ(text, "a"_hx);
  HxMutableString none = nullptr;
  appendSubstringWithRange(none, {0, 9}, "a"_hx);
  EXPECT_TRUE(none.isNil());
}

// ---- Constants --------------------------------------------------------------------------------

TEST(Replacing, InvisibleCharactersAreConstants) {
  EXPECT_EQ(unitsOf(stringWithUnicodeInvisibleSeparatorCharacter()), u"\u2063");
  EXPECT_EQ(unitsOf(stringWithUnicodeInvisibleTimesCharacter()), u"\u2062");
  EXPECT_EQ(stringWithUnicodeInvisibleSeparatorCharacter().object(),
            stringWithUnicodeInvisibleSeparatorCharacter().object());
  EXPECT_EQ(stringWithUnicodeInvisibleTimesCharacter().object(),
            stringWithUnicodeInvisibleTimesCharacter().object());
}

}  // namespace
}  // namespace rondel
