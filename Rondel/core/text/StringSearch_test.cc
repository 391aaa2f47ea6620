// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

constexpr HxStringCompareOptions kLiteral = HxLiteralSearch;
constexpr HxStringCompareOptions kBackwards = HxBackwardsSearch;
constexpr HxStringCompareOptions kAnchored = HxAnchoredSearch;
constexpr HxStringCompareOptions kNoCase = HxCaseInsensitiveSearch;

// A search in a table. `found` has a length of 0 when nothing is to be found.
struct Search {
  std::u16string_view text;
  std::u16string_view pattern;
  HxStringCompareOptions options;
  HxRange found;
};

void PrintTo(const Search& search, std::ostream* out) {
  *out << HxString(search.pattern).toStdString() << " in " << HxString(search.text).toStdString()
       << ", options " << search.options;
}

class Searches : public testing::TestWithParam<Search> {};

TEST_P(Searches, FindTheSameInEveryForm) {
  const Search& search = GetParam();
  const HxRange expected = search.found.length > 0 ? search.found : kNotFoundRange;
  for (const TextForm text : kTextForms) {
    for (const TextForm pattern : kTextForms) {
      const HxRange found = makeText(text, search.text)
                                .rangeOfString(makeText(pattern, search.pattern), search.options);
      EXPECT_EQ(found, expected) << nameOf(pattern) << " in " << nameOf(text);
    }
  }
}

constexpr HxRange kNothing{};

INSTANTIATE_TEST_SUITE_P(
    OfASCII, Searches,
    testing::Values(
        Search{u"abcabc", u"bc", 0, {1, 2}}, Search{u"abcabc", u"bc", kBackwards, {4, 2}},
        Search{u"abcabc", u"bc", kAnchored, kNothing}, Search{u"abcabc", u"ab", kAnchored, {0, 2}},
        Search{u"abcabc", u"bc", kAnchored | kBackwards, {4, 2}},
        Search{u"abcabc", u"ab", kAnchored | kBackwards, kNothing},
        Search{u"abc", u"abc", 0, {0, 3}}, Search{u"abc", u"abcd", 0, kNothing},
        Search{u"abc", u"abcd", kBackwards, kNothing}, Search{u"abc", u"abcd", kAnchored, kNothing},
        Search{u"", u"a", 0, kNothing}, Search{u"aaab", u"aab", 0, {1, 3}},
        Search{u"abc", u"B", 0, kNothing}, Search{u"abc", u"\u00e9", 0, kNothing},
        Search{u"abc", u"b\u0301", 0, kNothing}));

INSTANTIATE_TEST_SUITE_P(OfNothing, Searches,
                         testing::Values(Search{u"abc", u"", 0, kNothing},
                                         Search{u"", u"", 0, kNothing},
                                         Search{u"abc", u"", kLiteral, kNothing},
                                         Search{u"abc", u"", kBackwards, kNothing},
                                         Search{u"abc", u"", kAnchored, kNothing},
                                         Search{u"caf\u00e9", u"", kNoCase, kNothing}));

INSTANTIATE_TEST_SUITE_P(
    IgnoringCase, Searches,
    testing::Values(
        Search{u"Error: x", u"ERROR", kNoCase, {0, 5}},
        Search{u"an ERROR", u"error", kNoCase | kBackwards, {3, 5}},
        Search{u"a@b[", u"A`B{", kNoCase, kNothing},
        Search{u"CAF\u00c9", u"cafe\u0301", kNoCase, {0, 4}},
        Search{u"stra\u00dfe", u"STRASSE", kNoCase, {0, 6}},
        Search{u"strasse", u"\u00df", kNoCase, {4, 2}},
        Search{u"stra\u00dfe", u"s", kNoCase | kBackwards, {0, 1}},
        Search{u"\u03a3\u03af\u03c3\u03c5\u03c6\u03bf\u03c2", u"\u03c3", kNoCase, {0, 1}},
        Search{
            u"\u03a3\u03af\u03c3\u03c5\u03c6\u03bf\u03c2", u"\u03c3", kNoCase | kBackwards, {6, 1}},
        Search{u"5 \u212a", u"k", kNoCase, {2, 1}},
        Search{u"\U00010400", u"\U00010428", kNoCase, {0, 2}},
        Search{u"\U00010400", u"\U00010428", kNoCase | kLiteral, {0, 2}},
        Search{u"CAF\u00c9", u"caf\u00e9", kNoCase | kLiteral, {0, 4}},
        Search{u"CAF\u00c9", u"cafe\u0301", kNoCase | kLiteral, kNothing}));

INSTANTIATE_TEST_SUITE_P(
    ByEquivalence, Searches,
    testing::Values(Search{u"a caf\u00e9!", u"cafe\u0301", 0, {2, 4}},
                    Search{u"a cafe\u0301!", u"caf\u00e9", 0, {2, 5}},
                    Search{u"a cafe\u0301!", u"caf\u00e9", kBackwards, {2, 5}},
                    Search{u"cafe\u0301", u"f\u00e9", kAnchored | kBackwards, {2, 3}},
                    Search{u"caf\u00e9", u"e\u0301", kLiteral, kNothing},
                    Search{u"a\u0323\u0307", u"a\u0307\u0323", 0, {0, 3}},
                    Search{u"\u212b", u"\u00c5", 0, {0, 1}}, Search{u"a\u037eb", u";", 0, {1, 1}},
                    Search{u"a\u037eb", u";", kLiteral, kNothing},
                    Search{u"5\u212a", u"K", 0, {1, 1}}, Search{u"K", u"\u212a", 0, {0, 1}},
                    Search{u"a\uac01b", u"\u1100\u1161\u11a8", 0, {1, 1}},
                    Search{u"a\u1100\u1161\u11a8b", u"\uac01", 0, {1, 3}},
                    Search{u"x\U0001D15E", u"\U0001D157\U0001D165", 0, {1, 2}},
                    Search{u"x\u0958", u"\u0915\u093c", 0, {1, 1}}));

INSTANTIATE_TEST_SUITE_P(OfWholeSequences, Searches,
                         testing::Values(Search{u"cafe\u0301", u"e", 0, kNothing},
                                         Search{u"cafe\u0301", u"cafe", 0, kNothing},
                                         Search{u"cafe\u0301", u"cafe", kAnchored, kNothing},
                                         Search{u"cafe\u0301", u"caf", 0, {0, 3}},
                                         Search{u"cafe\u0301 e", u"e", 0, {6, 1}},
                                         Search{u"e cafe\u0301", u"e", kBackwards, {0, 1}},
                                         Search{u"cafe\u0301", u"\u0301", 0, kNothing},
                                         Search{u"cafe\u0301", u"\u0301", kAnchored | kBackwards,
                                                kNothing},
                                         Search{u"cafe\u0301", u"\u0301", kLiteral, {4, 1}},
                                         Search{u"cafe\u0301", u"cafe", kLiteral, {0, 4}},
                                         Search{u"e\u0301\u0302", u"e\u0301", 0, kNothing},
                                         Search{u"\u00e9\u0302", u"\u00e9", 0, kNothing},
                                         Search{u"\u0301a", u"\u0301", 0, {0, 1}},
                                         Search{u"\uac01", u"\u1100", 0, kNothing},
                                         Search{u"\u1100\u1161\u11a8", u"\uac00", 0, kNothing},
                                         Search{u"\n\u0301", u"\n", 0, {0, 1}},
                                         Search{u"\U0001F600\u20dd", u"\U0001F600", 0, kNothing}));

const std::u16string_view kHighHalf(u"\xD83D", 1);
const std::u16string_view kLowHalf(u"\xDE00", 1);
const std::u16string_view kWithNUL(u"a\0b\0c", 5);

INSTANTIATE_TEST_SUITE_P(
    OfOddUnits, Searches,
    testing::Values(Search{kWithNUL, std::u16string_view(u"\0c", 2), 0, {3, 2}},
                    Search{kWithNUL, std::u16string_view(u"\0", 1), 0, {1, 1}},
                    Search{kWithNUL, std::u16string_view(u"\0", 1), kBackwards, {3, 1}},
                    Search{u"a\U0001F600", kHighHalf, 0, kNothing},
                    Search{u"a\U0001F600", kLowHalf, 0, kNothing},
                    Search{u"a\U0001F600", kLowHalf, kLiteral, {2, 1}},
                    Search{u"a\U0001F600", u"\U0001F600", 0, {1, 2}},
                    Search{kHighHalf, kHighHalf, 0, {0, 1}},
                    Search{kLowHalf, kLowHalf, kBackwards, {0, 1}},
                    Search{kHighHalf, kHighHalf, kNoCase, {0, 1}},
                    Search{u"\u65e5\u672c\u8a9e\u672c", u"\u672c", kBackwards, {3, 1}},
                    Search{u"\uffff\ufffe", u"\ufffe", 0, {1, 1}}));

TEST(StringSearch, StaysWithinItsRange) {
  for (const TextForm form : kTextForms) {
    for (const std::u16string_view units : {u"ab ab ab", u"ab ab ab \u00e9"}) {
      const HxString text = makeText(form, units);
      EXPECT_EQ(text.rangeOfString("ab"_hx, 0, {1, 7}), HxMakeRange(3, 2));
      EXPECT_EQ(text.rangeOfString("ab"_hx, kBackwards, {0, 7}), HxMakeRange(3, 2));
      EXPECT_EQ(text.rangeOfString("ab"_hx, 0, {4, 3}), kNotFoundRange);
      EXPECT_EQ(text.rangeOfString("ab"_hx, kAnchored, {3, 5}), HxMakeRange(3, 2));
      EXPECT_EQ(text.rangeOfString("ab"_hx, kAnchored | kBackwards, {0, 5}), HxMakeRange(3, 2));
      EXPECT_EQ(text.rangeOfString("ab"_hx, kLiteral, {3, 2}), HxMakeRange(3, 2));
      EXPECT_EQ(text.rangeOfString("ab"_hx, kLiteral, {3, 0}), kNotFoundRange);
    }
  }
}

TEST(StringSearch, ARangeDoesNotDivideASequence) {
  const HxString text = "cafe\u0301"_hx;
  EXPECT_EQ(text.rangeOfString("e"_hx, 0, {0, 4}), kNotFoundRange);
  EXPECT_EQ(text.rangeOfString("e\u0301"_hx, 0, {0, 4}), kNotFoundRange);
  EXPECT_EQ(text.rangeOfString("e"_hx, kLiteral, {0, 4}), HxMakeRange(3, 1));
}

TEST(StringSearch, ARangeBeyondTheEndRaises) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"abc");
    EXPECT_EQ(raisedBy([&] { text.rangeOfString("a"_hx, 0, {0, 4}); }), HxRangeException);
    EXPECT_EQ(raisedBy([&] { text.rangeOfString(""_hx, 0, {4, 0}); }), HxRangeException);
    EXPECT_EQ(raisedBy([&] {
                text.rangeOfString("a"_hx, 0, {1, ~HxUInteger{0}});
              }),
              HxRangeException);
  }
}

TEST(StringSearch, FindsLongPatternsInLongText) {
  std::u16string units;
  for (int i = 0; i < 3000; ++i)
    units += i % 7 == 0 ? u'\u00e9' : static_cast<HxUniChar>('a' + i % 5);
  const std::u16string pattern = units.substr(2000, 700);
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, units);
    EXPECT_EQ(text.rangeOfString(HxString(pattern), kLiteral).location, units.find(pattern));
    EXPECT_EQ(text.rangeOfString(HxString(pattern)).location, units.find(pattern));
    EXPECT_EQ(text.rangeOfString(HxString(pattern), kBackwards).location, units.rfind(pattern));
  }
}

// ---- Prefixes and suffixes --------------------------------------------------------------------

TEST(StringSearch, PrefixesAndSuffixes) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"main.c");
    EXPECT_TRUE(text.hasPrefix("main"_hx)) << nameOf(form);
    EXPECT_FALSE(text.hasPrefix("Main"_hx));
    EXPECT_FALSE(text.hasPrefix("main.cc"_hx));
    EXPECT_TRUE(text.hasSuffix(".c"_hx)) << nameOf(form);
    EXPECT_FALSE(text.hasSuffix(".h"_hx));
    EXPECT_FALSE(text.hasSuffix("xmain.c"_hx));
    EXPECT_TRUE(text.hasPrefix(makeText(form, u"main.c")));
    EXPECT_TRUE(text.hasSuffix(makeText(form, u"main.c")));
  }
}

TEST(StringSearch, TheEmptyStringIsAPrefixAndASuffixOfEveryString) {
  for (const TextForm form : kTextForms) {
    for (const std::u16string_view units : {u"", u"abc", u"caf\u00e9"}) {
      EXPECT_TRUE(makeText(form, units).hasPrefix(""_hx));
      EXPECT_TRUE(makeText(form, units).hasSuffix(""_hx));
      EXPECT_TRUE(makeText(form, units).hasPrefix(makeText(form, u"")));
    }
  }
}

struct Ends {
  std::u16string_view text;
  std::u16string_view part;
  bool isPrefix;
  bool isSuffix;
};

constexpr Ends kEnds[] = {
    {u"e\u0301te\u0301", u"e\u0301t", true, false},
    {u"e\u0301te\u0301", u"te\u0301", false, true},
    {u"e\u0301te\u0301", u"\u00e9t", false, false},
    {u"e\u0301te\u0301", u"t\u00e9", false, false},
    {u"e\u0301te\u0301", u"e", true, false},
    {u"e\u0301te\u0301", u"\u0301", false, true},
    {u"/\u0301x", u"/", true, false},
    {u"\U0001F600", u"\xd83d", true, false},
    {u"\u00e9", u"\u00e9\u00e9", false, false},
    {u"a", u"\u00e9", false, false},
};

TEST(StringSearch, PrefixesAndSuffixesAreComparedByCodeUnits) {
  for (const Ends& ends : kEnds) {
    for (const TextForm form : kTextForms) {
      for (const TextForm other : kTextForms) {
        const HxString text = makeText(form, ends.text);
        const HxString part = makeText(other, ends.part);
        EXPECT_EQ(text.hasPrefix(part), ends.isPrefix) << &ends - kEnds << nameOf(form);
        EXPECT_EQ(text.hasSuffix(part), ends.isSuffix) << &ends - kEnds << nameOf(form);
      }
    }
  }
}

TEST(StringSearch, LongPrefixesAndSuffixesAreComparedWhole) {
  for (const TextForm form : kTextForms) {
    const std::u16string units = u"\u00e9" + std::u16string(1000, u'a') + u"\u00e8";
    const HxString text = makeText(form, units);
    EXPECT_TRUE(text.hasPrefix(makeText(form, units.substr(0, 900)))) << nameOf(form);
    EXPECT_TRUE(text.hasSuffix(makeText(form, units.substr(100)))) << nameOf(form);
    EXPECT_FALSE(text.hasPrefix(makeText(form, units.substr(0, 900) + u"b"))) << nameOf(form);
    EXPECT_FALSE(text.hasSuffix(makeText(form, u"b" + units.substr(100)))) << nameOf(form);
  }
}

// ---- Characters of a set ----------------------------------------------------------------------

TEST(StringSearch, FindsCharactersOfASet) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString(",;\u00e9"_hx);
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"a,b;\u00e9d");
    const auto at = [form](HxUInteger index) { return HxRange{locationOf(form) + index, 1}; };
    EXPECT_EQ(text.rangeOfCharacterFromSet(set), at(1)) << nameOf(form);
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, kBackwards), at(4));
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, 0, {2, 4}), at(3));
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, kBackwards, {0, 3}), at(1));
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, 0, {2, 1}), kNotFoundRange);
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, 0, {1, 0}), kNotFoundRange);
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, kAnchored), kNotFoundRange);
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, kAnchored, {1, 2}), at(1));
    EXPECT_EQ(text.rangeOfCharacterFromSet(set, kAnchored | kBackwards, {0, 4}), at(3));
    const HxRange beyond{3, unitsBehind(form) + 4};
    EXPECT_EQ(raisedBy([&] { text.rangeOfCharacterFromSet(set, 0, beyond); }), HxRangeException);
  }
}

TEST(StringSearch, ASetAnswersForOneHalfOfAPair) {
  const HxCharacterSet others =
      HxCharacterSet::characterSetWithCharactersInString("a"_hx).invertedSet();
  EXPECT_EQ("a\U0001F600"_hx.rangeOfCharacterFromSet(others), HxMakeRange(1, 1));
  EXPECT_EQ("a\U0001F600"_hx.rangeOfCharacterFromSet(others, kBackwards), HxMakeRange(2, 1));
}

TEST(StringSearch, TrimsCharactersOfASet) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString(" \u00e9"_hx);
  for (const TextForm form : kTextForms) {
    const auto trimmed = [&](std::u16string_view units) {
      return makeText(form, units).stringByTrimmingCharactersInSet(set);
    };
    EXPECT_EQ(trimmed(u"  a b\u00e9 "), "a b"_hx);
    EXPECT_EQ(trimmed(u"a"), "a"_hx);
    EXPECT_EQ(trimmed(u"   "), ""_hx);
    EXPECT_EQ(trimmed(u""), ""_hx);
  }
  const HxString text = "a b"_hx;
  EXPECT_EQ(text.stringByTrimmingCharactersInSet(set).object(), text.object());
  EXPECT_EQ(" a"_hx.stringByTrimmingCharactersInSet(nullptr), " a"_hx);
}

// ---- Composed character sequences -------------------------------------------------------------

TEST(StringSearch, ReturnsTheWholeSequenceAroundEachIndex) {
  struct Case {
    std::u16string_view text;
    std::vector<HxRange> sequences;
  };
  const Case cases[] = {
      {u"abc", {{0, 1}, {1, 1}, {2, 1}}},
      {u"ae\u0301\u0302b", {{0, 1}, {1, 3}, {4, 1}}},
      {u"\u0301a", {{0, 1}, {1, 1}}},
      {u"a\U0001F600\u20ddb", {{0, 1}, {1, 3}, {4, 1}}},
      {u"\u1100\u1161\u11a8\u1100", {{0, 3}, {3, 1}}},
      {u"\uac00\u11a8x", {{0, 2}, {2, 1}}},
      {u"a\u1161", {{0, 1}, {1, 1}}},
      {u"\r\n\u0301", {{0, 1}, {1, 1}, {2, 1}}},
      {u"\u2028\u0301", {{0, 1}, {1, 1}}},
      {std::u16string_view(u"\xD83D\xD83D\xDE00\xDE00", 4), {{0, 1}, {1, 2}, {3, 1}}},
      {std::u16string_view(u"\xDE00\u0301", 2), {{0, 2}}},
      {u"x\U000E0100y", {{0, 3}, {3, 1}}},
  };
  for (const Case& row : cases) {
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, row.text);
      for (const HxRange sequence : row.sequences) {
        for (HxUInteger i = sequence.location; i < HxMaxRange(sequence); ++i) {
          EXPECT_EQ(text.rangeOfComposedCharacterSequenceAtIndex(i), sequence) << i;
        }
      }
    }
  }
}

// What is read of a string without a run of its own may end inside a pair.
TEST(StringSearch, ReturnsTheWholeSequenceWhereverAPairStandsInIt) {
  for (std::size_t before = 0; before < 70; ++before) {
    const std::u16string marks =
        std::u16string(before, u'\u0301') + u"\U0001D165" + std::u16string(70 - before, u'\u0301');
    const std::u16string units = u"a" + marks + u"b";
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, units);
      for (HxUInteger i = 0; i <= marks.size(); ++i) {
        ASSERT_EQ(text.rangeOfComposedCharacterSequenceAtIndex(i), HxMakeRange(0, marks.size() + 1))
            << before << ' ' << i << ' ' << nameOf(form);
      }
    }
  }
}

}  // namespace
}  // namespace rondel::test
