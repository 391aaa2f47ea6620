// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

constexpr HxStringCompareOptions kLiteral = HxLiteralSearch;
constexpr HxStringCompareOptions kNoCase = HxCaseInsensitiveSearch;
constexpr HxStringCompareOptions kNumeric = HxNumericSearch;

struct Comparison {
  std::u16string_view left;
  std::u16string_view right;
  HxStringCompareOptions options;
  HxComparisonResult result;
};

void PrintTo(const Comparison& row, std::ostream* out) {
  *out << HxString(row.left).toStdString() << " with " << HxString(row.right).toStdString()
       << ", options " << row.options;
}

class Comparisons : public testing::TestWithParam<Comparison> {};

TEST_P(Comparisons, AreTheSameInEveryFormAndBothWays) {
  const Comparison& row = GetParam();
  for (const TextForm left : kTextForms) {
    for (const TextForm right : kTextForms) {
      const HxString a = makeText(left, row.left);
      const HxString b = makeText(right, row.right);
      EXPECT_EQ(a.compare(b, row.options), row.result) << nameOf(left) << ", " << nameOf(right);
      EXPECT_EQ(b.compare(a, row.options), -row.result) << nameOf(left) << ", " << nameOf(right);
    }
  }
}

constexpr HxComparisonResult kLess = HxOrderedAscending;
constexpr HxComparisonResult kSame = HxOrderedSame;

INSTANTIATE_TEST_SUITE_P(
    OfUnits, Comparisons,
    testing::Values(Comparison{u"", u"", 0, kSame}, Comparison{u"", u"a", 0, kLess},
                    Comparison{u"a", u"b", 0, kLess}, Comparison{u"ab", u"abc", 0, kLess},
                    Comparison{u"B", u"a", 0, kLess}, Comparison{u"abc", u"abc", kLiteral, kSame},
                    Comparison{u"abd", u"ab\u00e9", kLiteral, kLess},
                    Comparison{u"z", u"\u00e9", kLiteral, kLess},
                    Comparison{u"\U0001F600", u"\uff41", kLiteral, kLess},
                    Comparison{u"caf\u00e9", u"cafe\u0301", kLiteral, HxOrderedDescending}));

INSTANTIATE_TEST_SUITE_P(ByEquivalence, Comparisons,
                         testing::Values(Comparison{u"caf\u00e9", u"cafe\u0301", 0, kSame},
                                         Comparison{u"a\u0323\u0307", u"a\u0307\u0323", 0, kSame},
                                         Comparison{u"\uac01", u"\u1100\u1161\u11a8", 0, kSame},
                                         Comparison{u"\u212b", u"A\u030a", 0, kSame},
                                         Comparison{u"K", u"\u212a", 0, kSame},
                                         Comparison{u"caf\u00e9", u"caff", 0, kLess},
                                         Comparison{u"cafe", u"caf\u00e9", 0, kLess},
                                         Comparison{u"e\u0301a", u"\u00e9b", 0, kLess},
                                         Comparison{u"e\u0301", u"e\u0302", 0, kLess},
                                         Comparison{u"e\u0301\u0323", u"e\u0323\u0302", 0, kLess},
                                         Comparison{u"e\U0001D165", u"e\U0001D158", 0,
                                                    HxOrderedDescending}));

INSTANTIATE_TEST_SUITE_P(
    IgnoringCase, Comparisons,
    testing::Values(Comparison{u"README", u"readme", kNoCase, kSame},
                    Comparison{u"a", u"B", kNoCase, kLess}, Comparison{u"[", u"a", kNoCase, kLess},
                    Comparison{u"CAF\u00c9", u"cafe\u0301", kNoCase, kSame},
                    Comparison{u"stra\u00dfe", u"STRASSE", kNoCase, kSame},
                    Comparison{u"\u03c2", u"\u03a3", kNoCase, kSame},
                    Comparison{u"CAF\u00c9", u"caf\u00e9", kNoCase | kLiteral, kSame},
                    Comparison{u"e\u0301", u"\u00c9", kNoCase | kLiteral, kLess}));

INSTANTIATE_TEST_SUITE_P(
    ByNumber, Comparisons,
    testing::Values(
        Comparison{u"a2", u"a10", kNumeric, kLess},
        Comparison{u"a2", u"a10", 0, HxOrderedDescending},
        Comparison{u"a012", u"a12", kNumeric, kSame},
        Comparison{u"a012b", u"a12c", kNumeric, kLess}, Comparison{u"a12", u"a13", kNumeric, kLess},
        Comparison{u"a129", u"a13", kNumeric, HxOrderedDescending},
        Comparison{u"v1.9.3", u"v1.10", kNumeric, kLess}, Comparison{u"000", u"0", kNumeric, kSame},
        Comparison{u"1a", u"12", kNumeric, kLess}, Comparison{u"1", u"a", kNumeric, kLess},
        Comparison{u"99999999999999999999998", u"99999999999999999999999", kNumeric, kLess},
        Comparison{u"File2", u"file10", kNumeric | kNoCase, kLess},
        Comparison{u"\u00e92", u"e\u030110", kNumeric, kLess},
        Comparison{u"\u00e92", u"\u00e910", kNumeric | kLiteral, kLess}));

const std::u16string_view kHighHalf(u"\xD83D", 1);
const std::u16string_view kWithNUL(u"a\0b", 3);

INSTANTIATE_TEST_SUITE_P(OfOddUnits, Comparisons,
                         testing::Values(Comparison{u"a", kWithNUL, 0, kLess},
                                         Comparison{kWithNUL, u"ab", 0, kLess},
                                         Comparison{kHighHalf, kHighHalf, 0, kSame},
                                         Comparison{kHighHalf, u"\U0001F600", 0, kLess},
                                         Comparison{kHighHalf, u"\U0001F600", kNoCase, kLess}));

TEST(StringCompare, ARangeOfTheReceiver) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"xxabcyy\u00e9");
    EXPECT_EQ(text.compare("abc"_hx, 0, {2, 3}), HxOrderedSame) << nameOf(form);
    EXPECT_EQ(text.compare("ABC"_hx, kNoCase, {2, 3}), HxOrderedSame);
    EXPECT_EQ(text.compare("abc"_hx, kLiteral, {2, 4}), HxOrderedDescending);
    EXPECT_EQ(text.compare(""_hx, 0, {8, 0}), HxOrderedSame);
    EXPECT_EQ(raisedBy([&] { text.compare("a"_hx, 0, {8, 1}); }), HxRangeException);
  }
}

TEST(StringCompare, AsAnyObject) {
  const HxAny a = makeText(TextForm::primitives, u"caf\u00e9");
  EXPECT_EQ(a.compare("cafe\u0301"_hx), HxOrderedSame);
  EXPECT_EQ(a.compare("cafx"_hx), HxOrderedAscending);
  EXPECT_EQ(a.compare(HxAny()), HxOrderedDescending);
}

TEST(StringCompare, WithAnObjectOfAnotherKindIsSomeOrder) {
  const HxAny text = "1"_hx;
  const HxAny number = HxNumber::numberWithInt(1);
  EXPECT_NE(text.compare(number), HxOrderedSame);
}

TEST(StringCompare, ByName) {
  const HxAny text = "b"_hx;
  EXPECT_EQ(as<HxNumber>(text.performSelector(HxSelector("compare:"), "a"_hx)).intValue(), 1);
  EXPECT_EQ(
      as<HxNumber>(text.performSelector(HxSelector("caseInsensitiveCompare:"), "B"_hx)).intValue(),
      0);
}

TEST(StringCompare, IsTheOrderOfADecomposedText) {
  HxString texts[] = {"f"_hx,       "e\u0302"_hx, "e"_hx, "\u00e9"_hx,
                      "\u00e9a"_hx, "eb"_hx,      ""_hx,  "e\u0301"_hx};
  std::stable_sort(std::begin(texts), std::end(texts),
                   [](const HxString& a, const HxString& b) { return a.compare(b) < 0; });
  EXPECT_THAT(texts, testing::ElementsAre(""_hx, "e"_hx, "eb"_hx, "\u00e9"_hx, "e\u0301"_hx,
                                          "\u00e9a"_hx, "e\u0302"_hx, "f"_hx));
}

}  // namespace
}  // namespace rondel::test
