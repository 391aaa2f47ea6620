// SPDX-License-Identifier: MIT
#include "Rondel/additions/Whitespace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::forEachText;
using test::kTextForms;
using test::makeText;
using test::randomText;
using test::TextForm;
using test::unitsOf;

constexpr std::u16string_view kFourBlanks = u"\n\t\r ";

bool isBlank(char16_t unit) { return kFourBlanks.find(unit) != std::u16string_view::npos; }

bool isMutable(const HxString& text) { return HxMutableString::canHold(text.object()); }

// ---- The set of four --------------------------------------------------------------------------

TEST(Whitespace, TheSetHoldsExactlyFourCharacters) {
  const HxCharacterSet set = isspaceCharacterSet();
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const auto character = static_cast<HxUniChar>(unit);
    EXPECT_EQ(set.characterIsMember(character), isBlank(character)) << unit;
  }
}

TEST(Whitespace, TheSetIsNewOnEachCall) {
  EXPECT_NE(isspaceCharacterSet().object(), isspaceCharacterSet().object());
  EXPECT_EQ(isspaceCharacterSet(), isspaceCharacterSet());
}

// ---- Deleting at the ends and everywhere ------------------------------------------------------

struct Deletion {
  std::u16string text;
  std::u16string withoutLeading;
  std::u16string withoutTrailing;
  std::u16string withoutAny;
};

class WhitespaceDeletions : public testing::TestWithParam<Deletion> {};

TEST_P(WhitespaceDeletions, ReturnANewMutableString) {
  const Deletion& expected = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, expected.text);
    const HxString leading = stringByDeletingLeadingWhitespace(text);
    const HxString trailing = stringByDeletingTrailingWhitespace(text);
    const HxString all = stringByDeletingAllWhitespace(text);
    EXPECT_EQ(unitsOf(leading), expected.withoutLeading) << nameOf(form);
    EXPECT_EQ(unitsOf(trailing), expected.withoutTrailing) << nameOf(form);
    EXPECT_EQ(unitsOf(all), expected.withoutAny) << nameOf(form);
    EXPECT_EQ(unitsOf(text), expected.text) << nameOf(form);
    for (const HxString& result : {leading, trailing, all}) {
      EXPECT_TRUE(isMutable(result)) << nameOf(form);
      EXPECT_NE(result.object(), text.object()) << nameOf(form);
    }
  }
}

TEST_P(WhitespaceDeletions, ChangeAMutableStringInPlace) {
  const Deletion& expected = GetParam();
  const auto after = [&](void (*change)(HxMutableString)) {
    HxMutableString text = HxString(expected.text).mutableCopy();
    const HxString same = text;
    change(text);
    return unitsOf(same);
  };
  EXPECT_EQ(after(deleteLeadingWhitespace), expected.withoutLeading);
  EXPECT_EQ(after(deleteTrailingWhitespace), expected.withoutTrailing);
  EXPECT_EQ(after(deleteAllWhitespace), expected.withoutAny);
}

const Deletion kDeletions[] = {
    {u"", u"", u"", u""},
    {u" ", u"", u"", u""},
    {u"\t\n\r ", u"", u"", u""},
    {u"a", u"a", u"a", u"a"},
    {u" a", u"a", u" a", u"a"},
    {u"a ", u"a ", u"a", u"a"},
    {u"\n\t a b\r\n", u"a b\r\n", u"\n\t a b", u"ab"},
    {u" \v ", u"\v ", u" \v", u"\v"},
    {u"\u00A0 a \u2003", u"\u00A0 a \u2003", u"\u00A0 a \u2003", u"\u00A0a\u2003"},
    {u" \u4E2D ", u"\u4E2D ", u" \u4E2D", u"\u4E2D"},
    {u" \U0001F600 ", u"\U0001F600 ", u" \U0001F600", u"\U0001F600"},
};

INSTANTIATE_TEST_SUITE_P(All, WhitespaceDeletions, testing::ValuesIn(kDeletions));

TEST(Whitespace, AVerticalTabAtTheEndIsKeptByOneSetAndRemovedByTheOther) {
  const HxString text = "a \v"_hx;
  EXPECT_EQ(stringByDeletingTrailingWhitespace(text), text);
  EXPECT_EQ(stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(text), "a"_hx);
}

TEST(Whitespace, LongTextLosesAllOfIt) {
  const std::u16string text = randomText(u"ab \t\n\r\u00E9", 5000, 1);
  std::u16string expected = text;
  std::erase_if(expected, isBlank);
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(unitsOf(stringByDeletingAllWhitespace(makeText(form, text))), expected);
  }
}

TEST(Whitespace, DeletingFromNilReturnsNil) {
  EXPECT_TRUE(stringByDeletingLeadingWhitespace(nullptr).isNil());
  EXPECT_TRUE(stringByDeletingTrailingWhitespace(nullptr).isNil());
  EXPECT_TRUE(stringByDeletingAllWhitespace(nullptr).isNil());
  HxMutableString none = nullptr;
  deleteLeadingWhitespace(none);
  deleteTrailingWhitespace(none);
  deleteAllWhitespace(none);
  deleteCharactersFromSet(none, isspaceCharacterSet(), 0, 0);
  deleteAllCharactersInSet(none, isspaceCharacterSet());
  EXPECT_TRUE(none.isNil());
}

// ---- Deleting by set --------------------------------------------------------------------------

struct RunDeletion {
  std::u16string text;
  HxUInteger index;
  HxStringCompareOptions options;
  std::u16string left;
};

class WhitespaceRunDeletions : public testing::TestWithParam<RunDeletion> {};

TEST_P(WhitespaceRunDeletions, LeaveTheRest) {
  const RunDeletion& deletion = GetParam();
  const HxCharacterSet vowels = HxCharacterSet::characterSetWithCharactersInString("aei\u4E2D"_hx);
  HxMutableString text = HxString(deletion.text).mutableCopy();
  deleteCharactersFromSet(text, vowels, deletion.index, deletion.options);
  EXPECT_EQ(unitsOf(text), deletion.left);
}

const RunDeletion kRunDeletions[] = {
    {u"aexia", 0, 0, u"xia"},
    {u"aexia", 1, 0, u"axia"},
    {u"aexia", 2, 0, u"aexia"},
    {u"aexia", 3, 0, u"aex"},
    {u"aexia", 4, 0, u"aexi"},
    {u"aexia", 4, HxBackwardsSearch, u"aex"},
    {u"aexia", 3, HxBackwardsSearch, u"aexa"},
    {u"aexia", 2, HxBackwardsSearch, u"aexia"},
    {u"aexia", 1, HxBackwardsSearch, u"xia"},
    {u"aexia", 0, HxBackwardsSearch, u"exia"},
    {u"aei", 0, 0, u""},
    {u"aei", 2, HxBackwardsSearch, u""},
    {u"x\u4E2Da", 1, 0, u"x"},
    {u"x\u4E2Da", 2, HxBackwardsSearch, u"x"},
    // Only the bit of backwards is looked at.
    {u"aexia", 3, HxLiteralSearch | HxAnchoredSearch | HxNumericSearch | 1, u"aex"},
    {u"aexia", 3, HxLiteralSearch | HxBackwardsSearch, u"aexa"},
    // Beyond the end.
    {u"ae", 3, 0, u"ae"},
    {u"ae", 3, HxBackwardsSearch, u"ae"},
    {u"ae", HxNotFound, HxBackwardsSearch, u"ae"},
    {u"", 0, 0, u""},
    {u"", 0, HxBackwardsSearch, u""},
};

INSTANTIATE_TEST_SUITE_P(All, WhitespaceRunDeletions, testing::ValuesIn(kRunDeletions));

TEST(Whitespace, DeletingARunAtTheVeryEndDoesNothing) {
  HxMutableString text = "ab  "_hx.mutableCopy();
  deleteCharactersFromSet(text, isspaceCharacterSet(), text.length(), 0);
  deleteCharactersFromSet(text, isspaceCharacterSet(), text.length(), HxBackwardsSearch);
  EXPECT_EQ(text, "ab  "_hx);
}

TEST(Whitespace, AllCharactersOfASetAreDeleted) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("x\u4E2D"_hx);
  forEachText(u"xa\u4E2D", 6, [&](const std::u16string& units) {
    std::u16string expected = units;
    std::erase_if(expected, [](char16_t unit) { return unit != u'a'; });
    HxMutableString text = HxString(units).mutableCopy();
    deleteAllCharactersInSet(text, set);
    EXPECT_EQ(unitsOf(text), expected);
    return !testing::Test::HasFailure();
  });
}

TEST(Whitespace, DeletingFromShortTextTakesTheResultAloneFromTheHeap) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("x"_hx);
  for (const char16_t unit : {u'a', u'\u4E2D'}) {
    HxMutableString text = HxString(std::u16string(31, unit) + u"x").mutableCopy();
    const test::AllocationCounter allocations;
    deleteAllCharactersInSet(text, set);
    EXPECT_EQ(allocations.count(), 1U);
  }
}

TEST(Whitespace, ANilSetHoldsNothing) {
  HxMutableString text = " a "_hx.mutableCopy();
  deleteCharactersFromSet(text, nullptr, 0, 0);
  deleteCharactersFromSet(text, nullptr, 2, HxBackwardsSearch);
  deleteAllCharactersInSet(text, nullptr);
  EXPECT_EQ(text, " a "_hx);
  EXPECT_EQ(stringByRemovingLeadingAndTrailingCharactersFromSet(text, nullptr).object(),
            text.object());
}

// ---- Removing at both ends --------------------------------------------------------------------

struct Removal {
  std::u16string text;
  std::u16string withoutWhitespace;
  std::u16string withoutNewlines;
};

class WhitespaceRemovals : public testing::TestWithParam<Removal> {};

TEST_P(WhitespaceRemovals, ReturnWhatIsBetween) {
  const Removal& expected = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, expected.text);
    const HxString blanks = stringByRemovingLeadingAndTrailingWhitespace(text);
    const HxString newlines = stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(text);
    EXPECT_EQ(unitsOf(blanks), expected.withoutWhitespace) << nameOf(form);
    EXPECT_EQ(unitsOf(newlines), expected.withoutNewlines) << nameOf(form);
    EXPECT_EQ(blanks.object() == text.object(), blanks == text) << nameOf(form);
    EXPECT_EQ(newlines.object() == text.object(), newlines == text) << nameOf(form);
  }
}

const Removal kRemovals[] = {
    {u"", u"", u""},
    {u"a", u"a", u"a"},
    {u"a b", u"a b", u"a b"},
    {u" a b\t", u"a b", u"a b"},
    {u"\n a \n", u"\n a \n", u"a"},
    {u" \n a", u"\n a", u"a"},
    {u"\v\f\r\u0085\u2028\u2029a\u0085", u"\v\f\r\u0085\u2028\u2029a\u0085", u"a"},
    {u"\u00A0\u1680\u2003\u202F\u205F\u3000a\u3000", u"a", u"a"},
    {u"\u200Ba\u200B", u"\u200Ba\u200B", u"\u200Ba\u200B"},  // of no width, and no whitespace
    {u"\u2003\u2003", u"", u""},
    {u"\r\n", u"\r\n", u""},
};

INSTANTIATE_TEST_SUITE_P(All, WhitespaceRemovals, testing::ValuesIn(kRemovals));

TEST(Whitespace, BlanksAloneReturnTheEmptyString) {
  EXPECT_EQ(stringByRemovingLeadingAndTrailingWhitespace("   "_hx), ""_hx);
  EXPECT_EQ(stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(" \n "_hx), ""_hx);
}

TEST(Whitespace, TextWithoutBlanksAtItsEndsIsTheReceiverItself) {
  const HxString text{std::string_view("a b")};
  EXPECT_EQ(stringByRemovingLeadingAndTrailingWhitespace(text).object(), text.object());
  EXPECT_EQ(stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(text).object(), text.object());
}

TEST(Whitespace, AnySetCanBeRemovedAtBothEnds) {
  const HxCharacterSet quotes = HxCharacterSet::characterSetWithCharactersInString("'\""_hx);
  EXPECT_EQ(stringByRemovingLeadingAndTrailingCharactersFromSet("\"'it's'\""_hx, quotes),
            "it's"_hx);
}

TEST(Whitespace, RemovingFromNilReturnsNil) {
  EXPECT_TRUE(
      stringByRemovingLeadingAndTrailingCharactersFromSet(nullptr, isspaceCharacterSet()).isNil());
  EXPECT_TRUE(stringByRemovingLeadingAndTrailingWhitespace(nullptr).isNil());
  EXPECT_TRUE(stringByRemovingLeadingAndTrailingWhitespaceAndNewlines(nullptr).isNil());
}

// ---- Runs -------------------------------------------------------------------------------------

std::u16string withSingleSpaces(const std::u16string& text) {
  std::u16string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isBlank(text[i])) {
      result += text[i];
    } else if (i == 0 || !isBlank(text[i - 1])) {
      result += u' ';
    }
  }
  return result;
}

TEST(Whitespace, ARunBecomesOneSpaceAndNothingIsTrimmed) {
  EXPECT_EQ(stringByConvertingWhitespaceRunsToSingleSpaces("a  b"_hx), "a b"_hx);
  EXPECT_EQ(stringByConvertingWhitespaceRunsToSingleSpaces("\r\n\ta\t \nb\n"_hx), " a b "_hx);
  EXPECT_EQ(stringByConvertingWhitespaceRunsToSingleSpaces("\t"_hx), " "_hx);
}

TEST(Whitespace, OtherBlanksAreLeftInRuns) {
  const HxString text = "a\v\f\u00A0\u2028b"_hx;
  EXPECT_EQ(stringByConvertingWhitespaceRunsToSingleSpaces(text).object(), text.object());
}

TEST(Whitespace, RunsOfEveryShortTextBecomeSingleSpaces) {
  forEachText(u"a \t\u4E2D", 6, [](const std::u16string& units) {
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, units);
      const HxString result = stringByConvertingWhitespaceRunsToSingleSpaces(text);
      EXPECT_EQ(unitsOf(result), withSingleSpaces(units)) << nameOf(form);
      EXPECT_EQ(result.object() == text.object(), std::none_of(units.begin(), units.end(), isBlank))
          << nameOf(form);
    }
    return !testing::Test::HasFailure();
  });
}

TEST(Whitespace, RunsOfLongTextBecomeSingleSpaces) {
  for (const char16_t* const alphabet : {u"ab \n", u"a\u00E9\t \u2028"}) {
    const std::u16string units = randomText(alphabet, 5000, 2);
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(unitsOf(stringByConvertingWhitespaceRunsToSingleSpaces(makeText(form, units))),
                withSingleSpaces(units));
    }
  }
}

TEST(Whitespace, ASingleBlankReturnsANewEqualString) {
  const HxString text = "a b"_hx;
  const HxString result = stringByConvertingWhitespaceRunsToSingleSpaces(text);
  EXPECT_EQ(result, text);
  EXPECT_NE(result.object(), text.object());
}

TEST(Whitespace, TextWithoutAnyAndEmptyTextIsTheReceiverItself) {
  for (const TextForm form : kTextForms) {
    for (const char16_t* const units : {u"", u"abc", u"\u4E2D"}) {
      const HxString text = makeText(form, units);
      EXPECT_EQ(stringByConvertingWhitespaceRunsToSingleSpaces(text).object(), text.object());
    }
  }
}

TEST(Whitespace, RunsOfNilAreNil) {
  EXPECT_TRUE(stringByConvertingWhitespaceRunsToSingleSpaces(nullptr).isNil());
}

// ---- Temporaries
// ---------------------------------------------------------------------------------

TEST(Whitespace, EveryDeletionTakesAFreshCopy) {
  const HxString text = " a b "_hx;
  deleteLeadingWhitespace(text.mutableCopy());
  deleteTrailingWhitespace(text.mutableCopy());
  deleteAllWhitespace(text.mutableCopy());
  deleteCharactersFromSet(text.mutableCopy(), isspaceCharacterSet(), 0, 0);
  deleteAllCharactersInSet(text.mutableCopy(), isspaceCharacterSet());
  EXPECT_EQ(text, " a b "_hx);
}

}  // namespace
}  // namespace rondel
