// SPDX-License-Identifier: MIT
#include "Rondel/additions/StringList.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::FailureRecorder;
using test::Texts;
using test::textsOf;
using namespace std::string_literals;
using namespace std::string_view_literals;

Texts listed(const HxString& text) { return textsOf(arrayByParsingAsStringList(text)); }
Texts split(const std::string& bytes) {
  return textsOf(MoSplitWhitespaceSeparatedComponents(bytes.c_str(), bytes.size(), nullptr));
}

TEST(StringList, TheSixWhitespaceCharactersOfASCIISeparateElements) {
  EXPECT_EQ(split("a b\tc\nd\ve\ff\rg"), (Texts{"a", "b", "c", "d", "e", "f", "g"}));
  EXPECT_EQ(split(" \t a \n\n "), (Texts{"a"}));
  EXPECT_EQ(split(" \t\r\n\v\f"), Texts{});
}

TEST(StringList, BytesWithTheHighBitAreNeverWhitespace) {
  EXPECT_EQ(split("a\u0085b \u00A0 \u3000"), (Texts{"a\u0085b", "\u00A0", "\u3000"}));
}

TEST(StringList, OtherControlsAreOrdinary) {
  EXPECT_EQ(split("a\x01 \x1F"), (Texts{"a\x01", "\x1F"}));
}

TEST(StringList, WeakQuotesKeepWhitespaceAndSingleQuotes) {
  EXPECT_EQ(split(R"(a"b c"d "it's" "  ")"), (Texts{"ab cd", "it's", "  "}));
}

TEST(StringList, BackslashInsideWeakQuotesEscapesTheNextByte) {
  EXPECT_EQ(split(R"("a\"b\\c\d")"), (Texts{R"(a"b\cd)"}));
}

TEST(StringList, BackslashOutsideQuotesEscapesTheNextByte) {
  EXPECT_EQ(split(R"(a\ b \"c \'d \\ \e)"), (Texts{"a b", "\"c", "'d", "\\", "e"}));
}

TEST(StringList, StrongQuotesKeepEverythingBackslashesIncluded) {
  EXPECT_EQ(split(R"('a\b "c" \' d'e  f')"), (Texts{R"(a\b "c" \)", "de  f"}));
}

TEST(StringList, BackslashAtTheVeryEndIsLiteral) {
  EXPECT_EQ(split("a\\"), (Texts{"a\\"}));
  EXPECT_EQ(split("a \\"), (Texts{"a", "\\"}));
  EXPECT_EQ(split("\"a\\"), (Texts{"a\\"}));
  EXPECT_EQ(split("'a\\"), (Texts{"a\\"}));
}

TEST(StringList, QuotedEmptyStringsMakeNoElement) {
  EXPECT_EQ(split(R"("" '' a """" '' b)"), (Texts{"a", "b"}));
}

TEST(StringList, OpenQuotesAreClosedByTheEnd) {
  EXPECT_EQ(split("a \"b c"), (Texts{"a", "b c"}));
  EXPECT_EQ(split("a 'b c"), (Texts{"a", "b c"}));
  EXPECT_EQ(split("a \""), (Texts{"a"}));
}

TEST(StringList, ALongElementWithGapsIsPutTogether) {
  const std::string part(3000, 'x');
  EXPECT_EQ(split(part + "\\ " + part + "' '" + part), (Texts{part + " " + part + " " + part}));
}

TEST(StringList, TheFirstNULEndsTheText) {
  EXPECT_EQ(split("a b\0c"s), (Texts{"a", "b"}));
  EXPECT_EQ(split("'a b\0c'"s), (Texts{"a b"}));
  EXPECT_EQ(split("a\\\0b"s), (Texts{"a\\"}));
  EXPECT_EQ(split("\0a"s), Texts{});
  EXPECT_EQ(listed(HxString("a b\0c"s)), (Texts{"a", "b"}));
  EXPECT_EQ(listed(HxString("a b\0c"s).mutableCopy()), (Texts{"a", "b"}));
  EXPECT_EQ(listed(HxString("\u4E2D b\0c"s)), (Texts{"\u4E2D", "b"}));
}

TEST(StringList, ATextThatBeginsWithANULReturnsTheSharedArray) {
  const HxArray shared = MoSplitWhitespaceSeparatedComponents("", 0, nullptr);
  for (const HxString& text : {HxString("\0a"s), HxString("\0\u4E2D"s)}) {
    EXPECT_EQ(arrayByParsingAsStringList(text).object(), shared.object());
  }
}

TEST(StringList, ALengthOfZeroReturnsTheSharedEmptyArrayAndLeavesTheErrorAlone) {
  const HxError before = HxError::posixError(2, nullptr);
  HxError error = before;
  const HxArray first = MoSplitWhitespaceSeparatedComponents("ignored", 0, &error);
  const HxArray second = MoSplitWhitespaceSeparatedComponents(nullptr, 0, &error);
  EXPECT_FALSE(first.isNil());
  EXPECT_EQ(first.count(), 0U);
  EXPECT_EQ(first.object(), second.object());
  EXPECT_EQ(error.object(), before.object());
}

TEST(StringList, ASplitStoresNilAsItsError) {
  HxError error = HxError::posixError(2, nullptr);
  EXPECT_EQ(MoSplitWhitespaceSeparatedComponents(" ", 1, &error).count(), 0U);
  EXPECT_TRUE(error.isNil());
}

TEST(StringList, ABlankTextReturnsAnEmptyArrayOfItsOwn) {
  const HxArray blank = MoSplitWhitespaceSeparatedComponents(" ", 1, nullptr);
  EXPECT_NE(blank.object(), MoSplitWhitespaceSeparatedComponents("", 0, nullptr).object());
}

TEST(StringList, NullBytesWithALengthFailTheirCheckAndCountAsNoText) {
  const FailureRecorder recorder;
  const HxArray list = MoSplitWhitespaceSeparatedComponents(nullptr, 3, nullptr);
  EXPECT_FALSE(list.isNil());
  EXPECT_EQ(list.count(), 0U);
  ASSERT_EQ(recorder.failures().size(), 1U);
  EXPECT_EQ(recorder.failures()[0].message, "Assertion failed: bytes != ((void*)0) || length == 0");
  EXPECT_EQ(recorder.failures()[0].receiver, nullptr);
  EXPECT_EQ(recorder.failures()[0].operation, "");
  EXPECT_EQ(recorder.failures()[0].function,
            "HxArray *MoSplitWhitespaceSeparatedComponents(const char *, size_t, HxError **)");
}

TEST(StringList, AnElementThatIsNotUTF8FailsItsCheckAndIsLeftOut) {
  const FailureRecorder recorder;
  EXPECT_EQ(split("a \xFF\xFE b\xC3 c"), (Texts{"a", "c"}));
  ASSERT_EQ(recorder.failures().size(), 2U);
  EXPECT_EQ(recorder.failures()[0].message, "string should be a string, but it is nil");
  EXPECT_EQ(recorder.failures()[0].condition, "(string) != nil");
  EXPECT_EQ(recorder.failures()[0].function,
            "HxArray *MoSplitWhitespaceSeparatedComponents(const char *, size_t, HxError **)");
}

TEST(StringList, AnElementThatIsNotUTF8IsNoError) {
  const FailureRecorder recorder;
  HxError error = HxError::posixError(2, nullptr);
  MoSplitWhitespaceSeparatedComponents("\xFF", 1, &error);
  EXPECT_TRUE(error.isNil());
}

TEST(StringList, ASinkMayRaise) {
  const FailureRecorder recorder;  // puts the former sink back
  MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*, int,
                                  const HxString&, HxArguments) { throw 1; });
  const std::string longElement(3000, 'x');
  EXPECT_THROW(split("a " + longElement + "\\ \xFF"), int);
}

TEST(StringList, ABackslashInsideASequenceOfUTF8TakesOneByteOnly) {
  const FailureRecorder recorder;
  EXPECT_EQ(split("\xC3\\\xA9"), (Texts{"\u00E9"}));
  EXPECT_EQ(recorder.failures().size(), 0U);
}

TEST(StringList, TextBeyondASCIIComesBackDecomposed) {
  EXPECT_EQ(listed(HxString("\u00E9t\u00E9 \uAC00")), (Texts{"e\u0301te\u0301", "\u1100\u1161"}));
}

TEST(StringList, BytesReturnnDirectlyAreNotDecomposed) {
  EXPECT_EQ(split("\u00E9"), (Texts{"\u00E9"}));
}

TEST(StringList, AnyStringClassIsSplit) {
  EXPECT_EQ(listed(test::openString(u"a 'b c' d")), (Texts{"a", "b c", "d"}));
  EXPECT_EQ(listed("a 'b c' d"_hx.mutableCopy()), (Texts{"a", "b c", "d"}));
}

TEST(StringList, NilTextReturnsNilAndEmptyTextTheSharedArray) {
  EXPECT_TRUE(arrayByParsingAsStringList(nullptr).isNil());
  EXPECT_EQ(arrayByParsingAsStringList(""_hx).object(),
            MoSplitWhitespaceSeparatedComponents("", 0, nullptr).object());
}

TEST(StringList, TextWithoutAFileSystemFormFailsItsCheckAndReturnsNil) {
  const FailureRecorder recorder;
  const HxString text(u"a \xD800"sv);
  EXPECT_TRUE(arrayByParsingAsStringList(text).isNil());
  ASSERT_EQ(recorder.failures().size(), 1U);
  EXPECT_EQ(recorder.failures()[0].message, "stringList should be a array, but it is nil");
  EXPECT_EQ(recorder.failures()[0].condition, "(stringList) != nil");
  EXPECT_EQ(recorder.failures()[0].function,
            "-[HxString(MoStringList) arrayByParsingAsStringList]");
  EXPECT_EQ(recorder.failures()[0].receiver, text.object());
  EXPECT_EQ(recorder.failures()[0].operation, "arrayByParsingAsStringList");
}

TEST(StringList, AShortListTakesOneAllocationForTheElementsAndOneForTheArray) {
  const HxString text = "'a long folder/include' headers/public\\ ones another/folder"_hx;
  const AllocationCounter counter;
  const HxArray list = arrayByParsingAsStringList(text);
  const std::size_t allocations = counter.count();
  EXPECT_EQ(list.count(), 3U);
  EXPECT_EQ(allocations, 2U);
}

TEST(StringList, AnElementOf2048BytesIsPutTogetherOnTheStack) {
  const std::string bytes = "\\a" + std::string(1020, 'x') + "\\" + std::string(1025, 'y');
  ASSERT_EQ(bytes.size(), 2048U);
  const AllocationCounter counter;
  const HxArray list = MoSplitWhitespaceSeparatedComponents(bytes.c_str(), bytes.size(), nullptr);
  const std::size_t allocations = counter.count();
  EXPECT_EQ(list.objectAtIndex<HxString>(0).length(), 2046U);
  EXPECT_EQ(allocations, 2U);
}

TEST(StringList, AShortListOfAnyClassTakesNoScratchFromTheHeap) {
  const std::u16string ascii(256, u'x');
  const std::u16string decomposed = u"\u4E2D\u6587e\u0301" + std::u16string(200, u'x');
  const std::u16string composed = u"caf\u00E9\uAC00" + std::u16string(200, u'x');
  for (const std::u16string& units : {ascii, decomposed, composed}) {
    const HxString forms[] = {HxString(units), HxString(units).mutableCopy(),
                              test::openString(units)};
    for (const HxString& text : forms) {
      arrayByParsingAsStringList(text);
      const AllocationCounter counter;
      const HxArray list = arrayByParsingAsStringList(text);
      const std::size_t allocations = counter.count();
      EXPECT_EQ(list.count(), 1U);
      EXPECT_EQ(allocations, 2U) << text.toStdString();
    }
  }
}

// The grammar in plain steps.
Texts modelSplit(const std::string& text) {
  const auto isWhitespace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  Texts elements;
  bool inWeakQuotes = false;
  std::size_t i = 0;
  const auto at = [&] { return i < text.size() ? text[i] : '\0'; };
  for (;;) {
    while (isWhitespace(at())) ++i;
    if (at() == '\0') return elements;
    std::string element;
    while (at() != '\0') {
      if (at() == '"') {
        inWeakQuotes = !inWeakQuotes;
        ++i;
      } else if (at() == '\'' && !inWeakQuotes) {
        for (++i; at() != '\0' && at() != '\''; ++i) element += at();
        if (at() == '\'') ++i;
      } else if (at() == '\\') {
        ++i;
        element += at() == '\0' ? '\\' : at();
        if (at() != '\0') ++i;
      } else if (isWhitespace(at()) && !inWeakQuotes) {
        break;
      } else {
        element += at();
        ++i;
      }
    }
    if (!element.empty()) elements.push_back(element);
  }
}

void expectLikeModel(const std::u16string& units) {
  const std::string text(units.begin(), units.end());  // ASCII
  ASSERT_EQ(split(text), modelSplit(text.c_str()));
}

TEST(StringList, EveryShortTextSplitsLikeThePlainModel) {
  test::forEachText(u"a \"'\\\v\0"s, 6, [](const std::u16string& text) {
    expectLikeModel(text);
    return !testing::Test::HasFatalFailure();
  });
}

TEST(StringList, EveryShortTextOfLongRunsSplitsLikeThePlainModel) {
  test::forEachText(u"a \"'\\"s, 6, [](const std::u16string& text) {
    expectLikeModel(test::withLongRuns(text));
    return !testing::Test::HasFatalFailure();
  });
}

TEST(StringList, LongRandomTextsSplitLikeThePlainModel) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    expectLikeModel(test::randomText(u"aaaaaaaaabcdefghij  \"'\\"s, seed * 20, seed));
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace rondel
