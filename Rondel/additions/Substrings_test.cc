// SPDX-License-Identifier: MIT
#include "Rondel/additions/Substrings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::FailureRecorder;
using test::forEachText;
using test::kTextForms;
using test::makeText;
using test::randomText;
using test::TextForm;
using test::unitsOf;

// A number where a string or an array is expected, and the sink returns.
template <class Handle>
Handle wrongObject() {
  return Handle(HxAny::Unchecked{}, HxNumber::numberWithInt(42));
}

// Exactly one failure, in the operation, for the receiver.
void expectFailure(const FailureRecorder& failures, const std::string& operation,
                   const HxString& receiver, const std::string& message,
                   const std::string& condition) {
  ASSERT_EQ(failures.failures().size(), 1U);
  const FailureRecorder::Failure& failure = failures.failures().front();
  EXPECT_EQ(failure.function, "-[HxString(MoStringUtilities) " + operation + "]");
  EXPECT_EQ(failure.operation, operation);
  EXPECT_EQ(failure.receiver, receiver.object());
  EXPECT_EQ(failure.message, message);
  EXPECT_EQ(failure.condition, condition);
}

// ---- Prefixes and suffixes --------------------------------------------------------------------

struct Removal {
  std::u16string text;
  std::u16string part;
  std::u16string withoutPrefix;
  std::u16string withoutSuffix;
};

class SubstringsWithoutParts : public testing::TestWithParam<Removal> {};

TEST_P(SubstringsWithoutParts, AreTheReceiverItselfWhenThereIsNone) {
  const Removal& expected = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, expected.text);
    const HxString part = makeText(form, expected.part);
    const HxString withoutPrefix = stringByRemovingPrefix(text, part);
    const HxString withoutSuffix = stringByRemovingSuffix(text, part);
    EXPECT_EQ(unitsOf(withoutPrefix), expected.withoutPrefix) << nameOf(form);
    EXPECT_EQ(unitsOf(withoutSuffix), expected.withoutSuffix) << nameOf(form);
    EXPECT_TRUE(text.hasPrefix(part) || withoutPrefix.object() == text.object()) << nameOf(form);
    EXPECT_TRUE(text.hasSuffix(part) || withoutSuffix.object() == text.object()) << nameOf(form);
  }
}

const Removal kRemovals[] = {
    {u"", u"", u"", u""},
    {u"", u"a", u"", u""},
    {u"abc", u"", u"abc", u"abc"},
    {u"abc", u"a", u"bc", u"abc"},
    {u"abc", u"c", u"abc", u"ab"},
    {u"abc", u"abc", u"", u""},
    {u"abc", u"abcd", u"abc", u"abc"},
    {u"aaa", u"a", u"aa", u"aa"},
    {u"\u4E2Da\u4E2D", u"\u4E2D", u"a\u4E2D", u"\u4E2Da"},
    // As hasPrefix has it: by code units.
    {u"e\u0301x", u"\u00E9", u"e\u0301x", u"e\u0301x"},
    {u"xe\u0301", u"\u00E9", u"xe\u0301", u"xe\u0301"},
    {u"e\u0301x", u"e\u0301", u"x", u"e\u0301x"},
    {u"e\u0301x", u"e", u"\u0301x", u"e\u0301x"},
    {u"xe\u0301", u"\u0301", u"xe\u0301", u"xe"},
};

INSTANTIATE_TEST_SUITE_P(All, SubstringsWithoutParts, testing::ValuesIn(kRemovals));

TEST(Substrings, ANilPrefixAndSuffixRemoveNothingAndFailNoCheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_EQ(stringByRemovingPrefix(text, nullptr).object(), text.object());
  EXPECT_EQ(stringByRemovingSuffix(text, nullptr).object(), text.object());
  EXPECT_TRUE(failures.failures().empty());
}

TEST(Substrings, APrefixThatIsNoStringFailsACheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_EQ(stringByRemovingPrefix(text, wrongObject<HxString>()).object(), text.object());
  expectFailure(failures, "stringByRemovingPrefix:", text,
                "possiblePrefix should be a string, but it is 42",
                "((possiblePrefix)) == nil || HcGetTypeID((possiblePrefix)) == "
                "HcStringGetTypeID()");
}

TEST(Substrings, ASuffixThatIsNoStringFailsACheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_EQ(stringByRemovingSuffix(text, wrongObject<HxString>()).object(), text.object());
  expectFailure(failures, "stringByRemovingSuffix:", text,
                "possibleSuffix should be a string, but it is 42",
                "((possibleSuffix)) == nil || HcGetTypeID((possibleSuffix)) == "
                "HcStringGetTypeID()");
}

// ---- The first of several prefixes ------------------------------------------------------------

TEST(Substrings, TheFirstPrefixInTheOrderOfTheArrayMatches) {
  const HxArray prefixes = HxArray::arrayWithObjects({"x"_hx, "lib"_hx, "libc"_hx});
  EXPECT_EQ(firstMatchingPrefixFromArray("libc.so"_hx, prefixes).object(),
            prefixes.objectAtIndex(1).object());
  EXPECT_TRUE(firstMatchingPrefixFromArray("main"_hx, prefixes).isNil());
  EXPECT_TRUE(firstMatchingPrefixFromArray("main"_hx, HxArray::array()).isNil());
  EXPECT_EQ(firstMatchingPrefixFromArray("main"_hx, HxArray::arrayWithObject(""_hx)), ""_hx);
}

TEST(Substrings, WhatIsNoStringIsNoPrefix) {
  const HxArray prefixes =
      HxArray::arrayWithObjects({HxAny(HxNumber::numberWithInt(4)), HxAny("4"_hx)});
  EXPECT_EQ(firstMatchingPrefixFromArray("42"_hx, prefixes), "4"_hx);
}

TEST(Substrings, NilPrefixesFailACheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_TRUE(firstMatchingPrefixFromArray(text, nullptr).isNil());
  expectFailure(failures, "firstMatchingPrefixFromArray:", text,
                "prefixes should be an instance inheriting from HxArray, but it is nil",
                "(prefixes) != nil");
}

TEST(Substrings, PrefixesThatAreNoArrayFailACheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_TRUE(firstMatchingPrefixFromArray(text, wrongObject<HxArray>()).isNil());
  expectFailure(failures, "firstMatchingPrefixFromArray:", text,
                "prefixes should be an instance inheriting from HxArray, but it is 42",
                "[(id)(prefixes) isKindOfClass:[HxArray class]]");
}

// ---- Around markers ---------------------------------------------------------------------------

using Text = std::optional<std::u16string>;  // none for nil

Text textOf(const HxString& string) { return string ? Text(unitsOf(string)) : std::nullopt; }

struct Marked {
  std::u16string text;
  std::u16string marker;
  Text after, afterOnTheLine;
  Text before, beforeOnTheLine;
};

class SubstringsAroundMarkers : public testing::TestWithParam<Marked> {};

TEST_P(SubstringsAroundMarkers, AreCutAtLineEnds) {
  const Marked& expected = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, expected.text);
    const HxString marker = makeText(form, expected.marker);
    EXPECT_EQ(textOf(substringAfterString(text, marker, true)), expected.after);
    EXPECT_EQ(textOf(substringAfterString(text, marker, false)), expected.afterOnTheLine);
    EXPECT_EQ(textOf(substringBeforeString(text, marker, true)), expected.before);
    EXPECT_EQ(textOf(substringBeforeString(text, marker, false)), expected.beforeOnTheLine);
  }
}

const Marked kMarked[] = {
    {u"a=b", u"=", u"b", u"b", u"a", u"a"},
    {u"a=b=c", u"=", u"b=c", u"b=c", u"a", u"a"},
    {u"=", u"=", u"", u"", u"", u""},
    {u"1\n2\n3=4\n5\n6", u"=", u"4\n5\n6", u"4", u"1\n2\n3", u"3"},
    {u"1\n=\n2", u"=", u"\n2", u"", u"1\n", u""},
    {u"1\r\n2=3\r\n4", u"=", u"3\r\n4", u"3\r", u"1\r\n2", u"2"},
    {u"1\r2\u20283=4\r5", u"=", u"4\r5", u"4\r5", u"1\r2\u20283", u"1\r2\u20283"},  // LF alone
    {u"a\u4E2D\nb\u00E9c", u"\u00E9", u"c", u"c", u"a\u4E2D\nb", u"b"},
    // A mark on a line end does not hide it.
    {u"1\n\u0301=2\n\u0301", u"=", u"2\n\u0301", u"2", u"1\n\u0301", u"\u0301"},
    {u"a", u"=", {}, {}, {}, {}},
    {u"", u"=", {}, {}, {}, {}},
    {u"a", u"", {}, {}, {}, {}},
    {u"xe\u0301y", u"\u00E9", u"y", u"y", u"x", u"x"},
};

INSTANTIATE_TEST_SUITE_P(All, SubstringsAroundMarkers, testing::ValuesIn(kMarked));

TEST(Substrings, BetweenTwoMarkers) {
  const HxString text = "a [b [c] d] e"_hx;
  EXPECT_EQ(substringBetweenString(text, "["_hx, "]"_hx, true), "b [c"_hx);
  EXPECT_EQ(substringBetweenString(text, "["_hx, "["_hx, true), "b "_hx);
  EXPECT_TRUE(substringBetweenString(text, "e"_hx, "]"_hx, true).isNil());
  EXPECT_TRUE(substringBetweenString(text, "("_hx, "]"_hx, true).isNil());
}

TEST(Substrings, BetweenTwoMarkersOnOneLine) {
  const HxString text = "a [b\nc] d"_hx;
  EXPECT_EQ(substringBetweenString(text, "["_hx, "]"_hx, true), "b\nc"_hx);
  EXPECT_TRUE(substringBetweenString(text, "["_hx, "]"_hx, false).isNil());
  EXPECT_EQ(substringBetweenString("a [b] \n c"_hx, "["_hx, "]"_hx, false), "b"_hx);
}

TEST(Substrings, NilMarkersReturnNil) {
  EXPECT_TRUE(substringAfterString("a"_hx, nullptr, true).isNil());
  EXPECT_TRUE(substringBeforeString("a"_hx, nullptr, false).isNil());
  EXPECT_TRUE(substringBetweenString("a"_hx, nullptr, "a"_hx, true).isNil());
  EXPECT_TRUE(substringBetweenString("a"_hx, "a"_hx, nullptr, true).isNil());
}

// ---- Abbreviating -----------------------------------------------------------------------------

struct Abbreviation {
  std::u16string text;
  HxUInteger limit;
  std::u16string result;
};

class SubstringsAbbreviated : public testing::TestWithParam<Abbreviation> {};

TEST_P(SubstringsAbbreviated, HaveAnEllipsisInTheMiddle) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, GetParam().text);
    const HxString result =
        stringByAbbreviatingWithEllipsisInMiddleToLength(text, GetParam().limit);
    EXPECT_EQ(unitsOf(result), GetParam().result) << nameOf(form);
    EXPECT_EQ(result.object() == text.object(), text.length() <= GetParam().limit);
  }
}

const Abbreviation kAbbreviations[] = {
    {u"abcdefghij", 10, u"abcdefghij"},
    {u"abcdefghij", HxNotFound, u"abcdefghij"},
    {u"abcdefghij", 9, u"abc\u2026hij"},
    {u"abcdefghij", 8, u"abc\u2026hij"},
    {u"abcdefghij", 7, u"ab\u2026ij"},
    {u"abcdefghij", 6, u"ab\u2026ij"},
    {u"abcdefghij", 5, u"a\u2026j"},
    {u"abcdefghij", 4, u"a\u2026j"},
    // Too short for a character on each side.
    {u"abcdefghij", 3, u"\u2026"},
    {u"abcdefghij", 2, u"\u2026"},
    {u"abcdefghij", 1, u"\u2026"},
    {u"abcdefghij", 0, u"\u2026"},
    {u"", 0, u""},
    {u"a", 1, u"a"},
    // Composed characters are not split.
    {u"e\u0301bcdefghe\u0301", 4, u"e\u0301\u2026e\u0301"},
    {u"\U0001F600bcdef\U0001F600", 5, u"\U0001F600\u2026\U0001F600"},
    {u"\u4E2D\u4E2D\u4E2D\u4E2D\u4E2D\u4E2D", 4, u"\u4E2D\u2026\u4E2D"},
    {u"e\u0301\u0302\u0303\u0304", 4, u"e\u0301\u0302\u0303\u0304\u2026e\u0301\u0302\u0303\u0304"},
};

INSTANTIATE_TEST_SUITE_P(All, SubstringsAbbreviated, testing::ValuesIn(kAbbreviations));

// ---- Differences ------------------------------------------------------------------------------

// By the rules alone.
HxRange differing(const std::u16string& text, const std::u16string& other) {
  const std::size_t shorter = std::min(text.size(), other.size());
  std::size_t front = 0;
  while (front < shorter && text[front] == other[front]) ++front;
  std::size_t back = 0;
  while (front + back < shorter && text[text.size() - 1 - back] == other[other.size() - 1 - back]) {
    ++back;
  }
  return {front, text.size() - front - back};
}

HxRange differenceOf(const HxString& text, const HxString& other) {
  return rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, {0, other.length()}, other);
}

struct Difference {
  std::u16string text;
  std::u16string other;
  HxRange range;
};

class SubstringsDifferences : public testing::TestWithParam<Difference> {};

TEST_P(SubstringsDifferences, LieBetweenWhatIsInCommon) {
  for (const TextForm form : kTextForms) {
    for (const TextForm otherForm : kTextForms) {
      EXPECT_EQ(
          differenceOf(makeText(form, GetParam().text), makeText(otherForm, GetParam().other)),
          GetParam().range)
          << nameOf(form) << " and " << nameOf(otherForm);
    }
  }
}

const Difference kDifferences[] = {
    {u"", u"", {0, 0}},
    {u"", u"a", {0, 0}},
    {u"a", u"", {0, 1}},
    {u"abc", u"abc", {3, 0}},
    {u"abc", u"axc", {1, 1}},
    {u"abc", u"ac", {1, 1}},
    {u"ac", u"abc", {1, 0}},
    {u"abc", u"xyz", {0, 3}},
    {u"aa", u"aaa", {2, 0}},  // the front goes first, and nothing counts twice
    {u"aaa", u"aa", {2, 1}},
    {u"\u00E9a", u"e\u0301a", {0, 1}},  // code units, whatever they compose
    {u"a\u4E2Db", u"a\u4E2Eb", {1, 1}},
};

INSTANTIATE_TEST_SUITE_P(All, SubstringsDifferences, testing::ValuesIn(kDifferences));

TEST(Substrings, DifferencesOfEveryPairOfShortTexts) {
  forEachText(u"ab", 4, [](const std::u16string& text) {
    forEachText(u"ab", 4, [&](const std::u16string& other) {
      EXPECT_EQ(differenceOf(HxString(text), HxString(other)), differing(text, other));
      return !testing::Test::HasFailure();
    });
    return !testing::Test::HasFailure();
  });
}

TEST(Substrings, DifferencesOfLongTexts) {
  const std::u16string text = randomText(u"ab\u4E2D", 3000, 8);
  std::u16string other = text;
  other.replace(1000, 5, u"xyz");
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(differenceOf(makeText(form, text), makeText(form, other)), (HxRange{1000, 5}));
    EXPECT_EQ(differenceOf(makeText(form, other), makeText(form, text)), (HxRange{1000, 3}));
  }
}

TEST(Substrings, DifferencesTakeNothingFromTheHeap) {
  const HxString text(std::u16string(512, u'\u4E2D'));
  const HxString other(std::u16string(512, u'a'));
  const test::AllocationCounter allocations;
  EXPECT_EQ(differenceOf(text, other), (HxRange{0, 512}));
  EXPECT_EQ(allocations.count(), 0U);
}

TEST(Substrings, APartOfTheOtherTextCanBeCompared) {
  const HxString text = "abc"_hx;
  const HxString other = "xxaczz"_hx;
  EXPECT_EQ(rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, {2, 2}, other),
            (HxRange{1, 1}));
  EXPECT_EQ(rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, {6, 0}, other),
            (HxRange{0, 3}));
}

constexpr const char* kDifferenceOperation =
    "rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange:ofString:";

TEST(Substrings, ComparingWithNilFailsACheckAndAllDiffers) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_EQ(rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, {0, 0}, nullptr),
            (HxRange{0, 3}));
  expectFailure(failures, kDifferenceOperation, text,
                "str2 should be an instance inheriting from HxString, but it is nil",
                "(str2) != nil");
}

TEST(Substrings, ComparingWithWhatIsNoStringFailsACheck) {
  const FailureRecorder failures;
  const HxString text = "abc"_hx;
  EXPECT_EQ(
      rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, {0, 0}, wrongObject<HxString>()),
      (HxRange{0, 3}));
  expectFailure(failures, kDifferenceOperation, text,
                "str2 should be an instance inheriting from HxString, but it is 42",
                "[(id)(str2) isKindOfClass:[HxString class]]");
}

TEST(Substrings, ARangeBeyondTheOtherTextFailsACheckAndIsCut) {
  const HxString text = "abcd"_hx;
  const HxString other = "abd"_hx;
  struct Case {
    HxRange range;
    HxRange difference;
  };
  for (const Case& each :
       {Case{{0, 4}, {2, 1}}, Case{{4, 0}, {0, 4}}, Case{{0, UINTPTR_MAX}, {2, 1}},
        Case{{2, UINTPTR_MAX}, {0, 3}}, Case{kNotFoundRange, {0, 4}}}) {
    const FailureRecorder failures;
    EXPECT_EQ(rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(text, each.range, other),
              each.difference);
    const std::string condition =
        "str2Range.location <= str2Length && str2Range.location + str2Range.length <= str2Length";
    expectFailure(failures, kDifferenceOperation, text, "Assertion failed: " + condition,
                  condition);
  }
}

// ---- Nil --------------------------------------------------------------------------------------

TEST(Substrings, OfNilAreNilAndCheckNothing) {
  const FailureRecorder failures;
  const HxString none;
  EXPECT_TRUE(stringByRemovingPrefix(none, "a"_hx).isNil());
  EXPECT_TRUE(stringByRemovingSuffix(none, "a"_hx).isNil());
  EXPECT_TRUE(firstMatchingPrefixFromArray(none, nullptr).isNil());
  EXPECT_TRUE(substringAfterString(none, "a"_hx, true).isNil());
  EXPECT_TRUE(substringBeforeString(none, "a"_hx, true).isNil());
  EXPECT_TRUE(substringBetweenString(none, "a"_hx, "b"_hx, true).isNil());
  EXPECT_TRUE(stringByAbbreviatingWithEllipsisInMiddleToLength(none, 0).isNil());
  EXPECT_EQ(rangeNotHavingLiteralPrefixAndSuffixInCommonWithRange(none, {9, 9}, nullptr),
            HxRange());
  EXPECT_TRUE(failures.failures().empty());
}

}  // namespace
}  // namespace rondel
