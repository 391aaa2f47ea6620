// SPDX-License-Identifier: MIT
#include "Rondel/additions/CommandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Rondel/additions/StringList.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::charactersOf;
using test::FailureRecorder;
using test::Texts;
using test::textsOf;
using namespace std::string_literals;

Texts parsed(const HxString& text) { return textsOf(arrayByParsingAsCommandLineArguments(text)); }
Texts preserved(const HxString& text) {
  return textsOf(componentsSeparatedByUnquotedWhitespace(text));
}

// ---- The grammar by example -------------------------------------------------------------------

struct Example {
  const char* text;
  Texts arguments;
  Texts components;
  Texts list;
};

const Example kExamples[] = {
    {"  a   b  ", {"a", "b"}, {"a", "b"}, {"a", "b"}},
    {R"("a b" c)", {"a b", "c"}, {R"("a b")", "c"}, {"a b", "c"}},
    {R"(a"b c"d)", {"ab cd"}, {R"(a"b c"d)"}, {"ab cd"}},
    {R"("")", {""}, {R"("")"}, {}},
    {R"(a "" b)", {"a", "", "b"}, {"a", R"("")", "b"}, {"a", "b"}},
    {"it's", {"its"}, {"it's"}, {"its"}},
    {R"("it's")", {"it's"}, {R"("it's")"}, {"it's"}},
    {R"(a\ b)", {"a b"}, {R"(a\ b)"}, {"a b"}},
    {R"("a\"b")", {R"(a"b)"}, {R"("a\"b")"}, {R"(a"b)"}},
    {R"('a\b')", {"ab"}, {R"('a\b')"}, {R"(a\b)"}},
    {R"('a\'b')", {"a'b"}, {R"('a\'b')"}, {R"(a\b)"}},
    {R"(a\)", {"a"}, {R"(a\)"}, {R"(a\)"}},
    {R"(\)", {}, {R"(\)"}, {R"(\)"}},
    {R"("a b)", {"a b"}, {R"("a b)"}, {"a b"}},
};

class CommandLineExamples : public testing::TestWithParam<Example> {};

TEST_P(CommandLineExamples, SplitThreeWays) {
  const HxString text(GetParam().text);
  EXPECT_EQ(parsed(text), GetParam().arguments);
  EXPECT_EQ(preserved(text), GetParam().components);
  EXPECT_EQ(textsOf(arrayByParsingAsStringList(text)), GetParam().list);
}

// A word beyond ASCII in front takes the whole text to UTF-16 and changes nothing after it.
TEST_P(CommandLineExamples, SplitAlikeInUTF16) {
  const HxString text(std::string("\u4E2D ") + GetParam().text);
  const auto behind = [](Texts texts) {
    texts.insert(texts.begin(), "\u4E2D");
    return texts;
  };
  EXPECT_EQ(parsed(text), behind(GetParam().arguments));
  EXPECT_EQ(preserved(text), behind(GetParam().components));
  EXPECT_EQ(textsOf(arrayByParsingAsStringList(text)), behind(GetParam().list));
}

INSTANTIATE_TEST_SUITE_P(All, CommandLineExamples, testing::ValuesIn(kExamples));

// ---- The grammar row by row -------------------------------------------------------------------

TEST(CommandLine, BackslashTakesTheNextCharacterWhateverItIs) {
  EXPECT_EQ(parsed(HxString(R"(\a \" \' \\ \ x)")), (Texts{"a", "\"", "'", "\\", " x"}));
}

TEST(CommandLine, EscapedQuoteDoesNotMakeAnEmptyWordCount) {
  // The quotes around nothing do, the escaped character alone is a word by its length.
  EXPECT_EQ(parsed(HxString(R"(\" '' x)")), (Texts{"\"", "", "x"}));
}

TEST(CommandLine, SingleQuotesDoNotProtectABackslash) {
  EXPECT_EQ(parsed(HxString(R"('a\\b' 'c\ d')")), (Texts{R"(a\b)", "c d"}));
}

TEST(CommandLine, EachKindOfQuoteIsOrdinaryInsideTheOther) {
  EXPECT_EQ(parsed(HxString(R"("a'b" 'c"d')")), (Texts{"a'b", "c\"d"}));
}

TEST(CommandLine, WhitespaceInsideEitherKindOfQuoteIsKept) {
  EXPECT_EQ(parsed(HxString("\"a\t\nb\" 'c  d'")), (Texts{"a\t\nb", "c  d"}));
}

TEST(CommandLine, QuotesMayBeginAndEndInsideAWord) {
  EXPECT_EQ(parsed(HxString(R"(-DX="a b"'c d'e)")), (Texts{"-DX=a bc de"}));
}

TEST(CommandLine, QuotedEmptyStringSurvives) {
  EXPECT_EQ(parsed(HxString(R"('' a "" ""'')")), (Texts{"", "a", "", ""}));
}

TEST(CommandLine, QuotedBlankIsOneElementInBothGrammars) {
  EXPECT_EQ(parsed(R"(" ")"_hx), (Texts{" "}));
  EXPECT_EQ(textsOf(arrayByParsingAsStringList(R"(" ")"_hx)), (Texts{" "}));
}

TEST(CommandLine, RunsOfWhitespaceMakeNoEmptyWords) {
  EXPECT_EQ(parsed(" \t\n\v\f\r a \r\n b \n"_hx), (Texts{"a", "b"}));
  EXPECT_EQ(parsed(" \t\n "_hx), Texts{});
}

TEST(CommandLine, UnicodeWhitespaceSeparatesWords) {
  for (const char* blank : {"\u0085", "\u00A0", "\u1680", "\u2000", "\u200A", "\u2028", "\u2029",
                            "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(parsed(HxString(std::string("a") + blank + "b")), (Texts{"a", "b"})) << blank;
    EXPECT_EQ(parsed(HxString(std::string("'a") + blank + "b'")),
              (Texts{std::string("a") + blank + "b"}));
  }
}

TEST(CommandLine, OtherCharactersBeyondASCIIAreOrdinary) {
  EXPECT_EQ(parsed(HxString("\u4E2D\u6587 e\u0301\u200B \U0001F600x")),
            (Texts{"\u4E2D\u6587", "e\u0301\u200B", "\U0001F600x"}));
}

TEST(CommandLine, ControlsAndNULAreOrdinary) {
  const std::string text("a\0b \x01 \x7F", 7);
  EXPECT_EQ(parsed(HxString(text)), (Texts{std::string("a\0b", 3), "\x01", "\x7F"}));
}

TEST(CommandLine, UnitFFFFIsOrdinary) {
  EXPECT_EQ(parsed(HxString("a\uFFFF b")), (Texts{"a\uFFFF", "b"}));
}

TEST(CommandLine, LoneSurrogatesPassThrough) {
  const std::u16string text = u"\xD800 \xDC00";
  const HxArray words = arrayByParsingAsCommandLineArguments(HxString(text));
  ASSERT_EQ(words.count(), 2U);
  EXPECT_EQ(words.objectAtIndex<HxString>(0).characterAtIndex(0), 0xD800);
  EXPECT_EQ(words.objectAtIndex<HxString>(1).characterAtIndex(0), 0xDC00);
}

TEST(CommandLine, OpenQuotesAreClosedByTheEnd) {
  EXPECT_EQ(parsed(R"(a "b c)"_hx), (Texts{"a", "b c"}));
  EXPECT_EQ(parsed(R"(a 'b c)"_hx), (Texts{"a", "b c"}));
  EXPECT_EQ(parsed(R"(a ")"_hx), (Texts{"a", ""}));
}

TEST(CommandLine, BackslashAtTheEndAddsNothing) {
  EXPECT_EQ(parsed("a b\\"_hx), (Texts{"a", "b"}));
  EXPECT_EQ(parsed("a \\"_hx), (Texts{"a"}));
  EXPECT_EQ(parsed("'\\"_hx), (Texts{""}));
}

TEST(CommandLine, PreservingKeepsQuotesAndBackslashesAsTheyStood) {
  EXPECT_EQ(preserved(HxString(R"( a\ b"c d"'e\'f'  '' \)")),
            (Texts{R"(a\ b"c d"'e\'f')", "''", "\\"}));
}

TEST(CommandLine, BothFormsAreTheSplitterWithItsFlag) {
  const HxString text = R"(a "b c" \)"_hx;
  EXPECT_EQ(textsOf(_componentsSeparatedByUnquotedWhitespacePreservingQuotes(text, false)),
            parsed(text));
  EXPECT_EQ(textsOf(_componentsSeparatedByUnquotedWhitespacePreservingQuotes(text, true)),
            preserved(text));
}

TEST(CommandLine, EmptyTextReturnsAnEmptyArray) {
  const HxArray words = arrayByParsingAsCommandLineArguments(""_hx);
  EXPECT_FALSE(words.isNil());
  EXPECT_EQ(words.count(), 0U);
}

TEST(CommandLine, EmptyArraysOfCommandLinesAreNewAndThoseOfListsShared) {
  const HxArray first = arrayByParsingAsCommandLineArguments(""_hx);
  const HxArray second = arrayByParsingAsCommandLineArguments(""_hx);
  EXPECT_NE(first.object(), second.object());
  EXPECT_NE(componentsSeparatedByUnquotedWhitespace(""_hx).object(),
            componentsSeparatedByUnquotedWhitespace(""_hx).object());
  EXPECT_EQ(arrayByParsingAsStringList(""_hx).object(), arrayByParsingAsStringList(""_hx).object());
}

TEST(CommandLine, NilTextReturnsNil) {
  EXPECT_TRUE(arrayByParsingAsCommandLineArguments(nullptr).isNil());
  EXPECT_TRUE(componentsSeparatedByUnquotedWhitespace(nullptr).isNil());
  EXPECT_TRUE(_componentsSeparatedByUnquotedWhitespacePreservingQuotes(nullptr, false).isNil());
  EXPECT_TRUE(_componentsSeparatedByUnquotedWhitespacePreservingQuotes(nullptr, true).isNil());
}

TEST(CommandLine, AnyStringClassIsSplit) {
  EXPECT_EQ(parsed(test::openString(u"a 'b c' d")), (Texts{"a", "b c", "d"}));
  EXPECT_EQ(parsed("a 'b c' d"_hx.mutableCopy()), (Texts{"a", "b c", "d"}));
}

TEST(CommandLine, ASCIIWordsOfUTF16TextAreOrdinaryStrings) {
  const HxArray words = arrayByParsingAsCommandLineArguments(HxString("cc \u4E2D"));
  EXPECT_EQ(words.objectAtIndex<HxString>(0).asciiView(), "cc");
}

TEST(CommandLine, ALongWordWithGapsIsPutTogether) {
  const std::string part(1000, 'x');
  EXPECT_EQ(parsed(HxString("y" + part + "\\ " + part + "'" + part + "'")),
            (Texts{"y" + part + " " + part + part}));
}

TEST(CommandLine, AShortLineTakesOneAllocationForTheWordsAndOneForTheArray) {
  const HxString text =
      "/usr/local/bin/compiler 'some folder/main file.c' objects/main\\ file.o"_hx;
  const AllocationCounter counter;
  const HxArray words = arrayByParsingAsCommandLineArguments(text);
  const std::size_t allocations = counter.count();
  EXPECT_EQ(words.count(), 3U);
  EXPECT_EQ(allocations, 2U);
}

// The text and the word both stay on the stack.
TEST(CommandLine, ALineOf256CharactersOfAnyClassTakesNoScratchFromTheHeap) {
  for (const char16_t unit : {u'x', u'\u4E2D'}) {
    const HxString text = test::openString(std::u16string(254, unit) + u"\\ ");
    const AllocationCounter counter;
    const HxArray words = arrayByParsingAsCommandLineArguments(text);
    const std::size_t allocations = counter.count();
    ASSERT_EQ(words.count(), 1U);
    EXPECT_EQ(words.objectAtIndex<HxString>(0).length(), 255U);
    EXPECT_EQ(allocations, 2U);
  }
}

// ---- What differs from string lists -----------------------------------------------------------

struct Difference {
  const char* feature;
  std::string text;
  Texts commandLine;
  Texts list;
};

class CommandLineDifferences : public testing::TestWithParam<Difference> {};

TEST_P(CommandLineDifferences, FromStringLists) {
  const Difference& difference = GetParam();
  EXPECT_EQ(parsed(HxString(difference.text)), difference.commandLine) << difference.feature;
  EXPECT_EQ(textsOf(arrayByParsingAsStringList(HxString(difference.text))), difference.list)
      << difference.feature;
}

const Difference kDifferences[] = {
    {"NUL", std::string("a\0b c", 5), {std::string("a\0b", 3), "c"}, {"a"}},
    {"decomposition", "\u00E9", {"\u00E9"}, {"e\u0301"}},
    {"Unicode whitespace", "a\u00A0b", {"a", "b"}, {"a\u00A0b"}},
    {"U+0085", "a\u0085b", {"a", "b"}, {"a\u0085b"}},
    {"backslash inside single quotes", R"('a\b')", {"ab"}, {R"(a\b)"}},
    {"backslash inside double quotes", R"("a\b")", {"ab"}, {"ab"}},
    {"backslash at the end", R"(a\)", {"a"}, {R"(a\)"}},
    {"quoted empty string", R"(a '' "" b)", {"a", "", "", "b"}, {"a", "b"}},
};

INSTANTIATE_TEST_SUITE_P(All, CommandLineDifferences, testing::ValuesIn(kDifferences));

// ---- Every short text -------------------------------------------------------------------------

// The grammar in plain steps, one character at a time.
std::vector<std::u16string> modelSplit(const std::u16string& text, bool preservesQuotes) {
  std::vector<std::u16string> words;
  std::u16string word;
  bool sawQuote = false;
  bool inSingle = false;
  bool inDouble = false;
  bool afterBackslash = false;
  const auto endWord = [&] {
    if (word.empty() && !sawQuote) return;
    words.push_back(word);
    word.clear();
    sawQuote = false;
  };
  const auto isWhitespace = [](char16_t c) {
    return c == u' ' || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x3000;
  };
  for (const char16_t c : text) {
    if (afterBackslash) {
      word += c;
      afterBackslash = false;
    } else if (c == u'"' && !inSingle) {
      inDouble = !inDouble;
      sawQuote = true;
      if (preservesQuotes) word += c;
    } else if (c == u'\'' && !inDouble) {
      inSingle = !inSingle;
      sawQuote = true;
      if (preservesQuotes) word += c;
    } else if (c == u'\\') {
      afterBackslash = true;
      if (preservesQuotes) word += c;
    } else if (isWhitespace(c) && !inSingle && !inDouble) {
      endWord();
    } else {
      word += c;
    }
  }
  endWord();
  return words;
}

void expectLikeModel(const std::u16string& text) {
  const HxString string(text);
  ASSERT_EQ(charactersOf(arrayByParsingAsCommandLineArguments(string)), modelSplit(text, false));
  ASSERT_EQ(charactersOf(componentsSeparatedByUnquotedWhitespace(string)), modelSplit(text, true));
}

TEST(CommandLine, EveryShortTextSplitsLikeThePlainModel) {
  test::forEachText(u"a \"'\\\u00A0\0"s, 6, [](const std::u16string& text) {
    expectLikeModel(text);
    return !testing::Test::HasFatalFailure();
  });
}

TEST(CommandLine, EveryShortTextOfLongRunsSplitsLikeThePlainModel) {
  test::forEachText(u"a \"'\\"s, 6, [](const std::u16string& text) {
    expectLikeModel(test::withLongRuns(text));
    return !testing::Test::HasFatalFailure();
  });
}

TEST(CommandLine, LongRandomTextsSplitLikeThePlainModel) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    expectLikeModel(test::randomText(u"aaaaaaaabcdef   \"'\\\u3000\u4E2D"s, seed * 7, seed));
    expectLikeModel(test::randomText(u"aaaaaaaaabcdefghij  \"'\\"s, seed * 7, seed));
    if (HasFatalFailure()) return;
  }
}

TEST(CommandLine, ALoneBackslashAtTheEndIsTheOnlyDifferenceInNumber) {
  test::forEachText(u"a \"'\\\t"s, 6, [](const std::u16string& text) {
    const HxString string(text);
    const HxUInteger words = arrayByParsingAsCommandLineArguments(string).count();
    const HxArray components = componentsSeparatedByUnquotedWhitespace(string);
    const bool endsWithLoneBackslash = components.lastObject().isEqual("\\"_hx);
    EXPECT_EQ(components.count(), words + (endsWithLoneBackslash ? 1 : 0));
    return !testing::Test::HasFailure();
  });
}

// ---- Values of an option ----------------------------------------------------------------------

Texts valuesOf(std::initializer_list<HxAny> arguments, const HxString& prefix) {
  return textsOf(arrayByExtractingCommandLineArgumentsHavingPrefix(
      HxArray::arrayWithObjects(arguments), prefix));
}

TEST(CommandLineExtraction, TakesAttachedAndSeparateValues) {
  EXPECT_EQ(valuesOf({"-Ia"_hx, "-I"_hx, "b"_hx, "-I"_hx}, "-I"_hx), (Texts{"a", "b"}));
}

TEST(CommandLineExtraction, OneElementEqualToThePrefixReturnsAnEmptyArray) {
  const HxArray values =
      arrayByExtractingCommandLineArgumentsHavingPrefix(HxArray::arrayWithObject("-I"_hx), "-I"_hx);
  EXPECT_FALSE(values.isNil());
  EXPECT_EQ(values.count(), 0U);
}

TEST(CommandLineExtraction, ASeparateValueIsNotLookedAtAsAnOption) {
  EXPECT_EQ(valuesOf({"-I"_hx, "-I"_hx, "-Ix"_hx}, "-I"_hx), (Texts{"-I", "x"}));
}

TEST(CommandLineExtraction, OtherWordsAreNotTaken) {
  EXPECT_EQ(valuesOf({"-c"_hx, "x-Iy"_hx, "-ia"_hx, ""_hx}, "-I"_hx), Texts{});
}

TEST(CommandLineExtraction, EmptyArraysReturnEmptyArraysAndNilReturnsNil) {
  EXPECT_EQ(valuesOf({}, "-I"_hx), Texts{});
  EXPECT_FALSE(
      arrayByExtractingCommandLineArgumentsHavingPrefix(HxArray::array(), "-I"_hx).isNil());
  EXPECT_TRUE(arrayByExtractingCommandLineArgumentsHavingPrefix(nullptr, "-I"_hx).isNil());
}

TEST(CommandLineExtraction, NilPrefixFailsItsCheckAndMatchesNothing) {
  const FailureRecorder recorder;
  EXPECT_EQ(valuesOf({"-Ia"_hx}, nullptr), Texts{});
  ASSERT_EQ(recorder.failures().size(), 1U);
  EXPECT_EQ(recorder.failures()[0].message,
            "argumentPrefix should be a non-empty string, but it is nil");
  EXPECT_EQ(recorder.failures()[0].condition, "(argumentPrefix) != nil");
  EXPECT_EQ(recorder.failures()[0].function,
            "-[HxArray(MoCommandLine) arrayByExtractingCommandLineArgumentsHavingPrefix:]");
}

TEST(CommandLineExtraction, ItsChecksNameTheArrayAndTheOperation) {
  const FailureRecorder recorder;
  const HxArray arguments = HxArray::arrayWithObject(HxNumber::numberWithInt(7));
  arrayByExtractingCommandLineArgumentsHavingPrefix(arguments, nullptr);
  ASSERT_EQ(recorder.failures().size(), 2U);
  for (const FailureRecorder::Failure& failure : recorder.failures()) {
    EXPECT_EQ(failure.receiver, arguments.object());
    EXPECT_EQ(failure.operation, "arrayByExtractingCommandLineArgumentsHavingPrefix:");
  }
}

TEST(CommandLineExtraction, ThePrefixIsCheckedForAnEmptyArrayAndNotForNil) {
  const FailureRecorder recorder;
  const HxArray values = arrayByExtractingCommandLineArgumentsHavingPrefix(HxArray::array(), ""_hx);
  EXPECT_FALSE(values.isNil());
  EXPECT_EQ(values.count(), 0U);
  EXPECT_EQ(recorder.failures().size(), 1U);
  EXPECT_TRUE(arrayByExtractingCommandLineArgumentsHavingPrefix(nullptr, nullptr).isNil());
  EXPECT_EQ(recorder.failures().size(), 1U);
}

TEST(CommandLineExtraction, EmptyPrefixFailsItsCheckAndMatchesEverything) {
  const FailureRecorder recorder;
  EXPECT_EQ(valuesOf({"a"_hx, ""_hx, "b"_hx}, ""_hx), (Texts{"a", "b"}));
  ASSERT_EQ(recorder.failures().size(), 1U);
  EXPECT_EQ(recorder.failures()[0].message,
            "argumentPrefix should be a non-empty string, but it's an empty string");
  EXPECT_EQ(recorder.failures()[0].condition, "![(argumentPrefix) isEqualToString:@\"\"]");
}

TEST(CommandLineExtraction, AnElementThatIsNoStringFailsItsCheckAndIsPassedOver) {
  const FailureRecorder recorder;
  EXPECT_EQ(valuesOf({HxNumber::numberWithInt(7), "-Ia"_hx}, "-I"_hx), (Texts{"a"}));
  ASSERT_EQ(recorder.failures().size(), 1U);
  EXPECT_EQ(recorder.failures()[0].message, "string should be a string, but it is 7");
  EXPECT_EQ(recorder.failures()[0].condition, "HcGetTypeID(string) == HcStringGetTypeID()");
}

TEST(CommandLineExtraction, ThePrefixIsMatchedByCodeUnits) {
  const HxString decomposed = "-e\u0301"_hx;
  const HxString precomposed = "-\u00e9"_hx;
  EXPECT_EQ(valuesOf({"-\u00e9x"_hx, "y"_hx}, decomposed), (Texts{}));
  EXPECT_EQ(valuesOf({"-e\u0301x"_hx, "y"_hx}, decomposed), (Texts{"x"}));
  EXPECT_EQ(valuesOf({"-e\u0301x"_hx, "y"_hx}, precomposed), (Texts{}));
  EXPECT_EQ(valuesOf({"-e\u0301"_hx, "y"_hx}, "-e"_hx), (Texts{"\u0301"}));
}

TEST(CommandLineExtraction, AValueMayBeAnyObject) {
  const FailureRecorder recorder;
  EXPECT_EQ(valuesOf({"-I"_hx, HxNumber::numberWithInt(7)}, "-I"_hx), (Texts{"7"}));
  EXPECT_EQ(recorder.failures().size(), 0U);
}

}  // namespace
}  // namespace rondel
