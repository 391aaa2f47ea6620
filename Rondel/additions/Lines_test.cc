// SPDX-License-Identifier: MIT
#include "Rondel/additions/Lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/AssertionHandler.h"
#include "Rondel/testing/Collections.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::FailureRecorder;
using test::forEachText;
using test::kTextForms;
using test::makeText;
using test::messageOf;
using test::raisedBy;
using test::randomText;
using test::TextForm;
using test::unitsOf;
using testing::ElementsAre;

using Offsets = std::vector<HxUInteger>;

Offsets offsetsOf(const HxIndexSet& set) {
  Offsets offsets;
  for (const HxUInteger offset : set) offsets.push_back(offset);
  return offsets;
}

Offsets arrayOf(const HxString& text) {
  HxUInteger* array = nullptr;
  HxUInteger count = 0;
  getLineStartOffsets(text, &array, &count);
  Offsets offsets(array, array + count);
  std::free(array);
  return offsets;
}

// By the rules alone: the starts that a walk with getLineStart finds, and the end of a text whose
// last line is terminated.
Offsets walked(const HxString& text) {
  Offsets starts;
  HxUInteger at = 0;
  HxUInteger contentsEnd = 0;
  do {
    HxUInteger start = 0;
    text.getLineStart(&start, &at, &contentsEnd, {at, 0});
    starts.push_back(start);
  } while (at < text.length());
  if (contentsEnd < text.length()) starts.push_back(text.length());
  return starts;
}

// ---- Offsets ----------------------------------------------------------------------------------

struct LineStarts {
  std::u16string text;
  Offsets offsets;
};

class LinesOffsets : public testing::TestWithParam<LineStarts> {};

TEST_P(LinesOffsets, AreTheStartsOfLines) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, GetParam().text);
    EXPECT_EQ(offsetsOf(lineStartOffsets(text)), GetParam().offsets) << nameOf(form);
  }
}

TEST_P(LinesOffsets, AsAnArrayEndWithTheLength) {
  Offsets expected = GetParam().offsets;
  expected.push_back(GetParam().text.size());
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(arrayOf(makeText(form, GetParam().text)), expected) << nameOf(form);
  }
}

const LineStarts kLineStarts[] = {
    {u"", {0}},
    {u"a", {0}},
    {u"a\n", {0, 2}},
    {u"\n", {0, 1}},
    {u"\n\n", {0, 1, 2}},
    {u"a\nb", {0, 2}},
    {u"a\nb\n", {0, 2, 4}},
    {u"a\rb", {0, 2}},
    {u"a\r\nb", {0, 3}},
    {u"a\r\n", {0, 3}},
    {u"a\n\rb", {0, 2, 3}},
    {u"a\r\r\nb", {0, 2, 4}},
    {u"a\u0085b", {0, 2}},
    {u"a\u2028b\u2029", {0, 2, 4}},
    {u"a\vb\fc", {0}},
    {u"\U0001F600\nb", {0, 3}},
};

INSTANTIATE_TEST_SUITE_P(All, LinesOffsets, testing::ValuesIn(kLineStarts));

TEST(Lines, AnEmptyStringHasOneLineStartAndTwoElementsInTheArray) {
  EXPECT_EQ(offsetsOf(lineStartOffsets(""_hx)), Offsets{0});
  EXPECT_EQ(arrayOf(""_hx), (Offsets{0, 0}));
}

TEST(Lines, OffsetsAreThoseOfAWalkThroughTheLines) {
  forEachText(u"a\n\r\u2028", 6, [](const std::u16string& units) {
    const HxString text(units);
    Offsets expected = walked(text);
    EXPECT_EQ(offsetsOf(lineStartOffsets(text)), expected);
    expected.push_back(units.size());
    EXPECT_EQ(arrayOf(text), expected);
    return !testing::Test::HasFailure();
  });
}

TEST(Lines, OffsetsOfLongTextAreThoseOfAWalkThroughTheLines) {
  for (const char16_t* const alphabet : {u"abcdefgh\n", u"abcdefgh\r\n\u0085\u00E9"}) {
    const std::u16string units = randomText(alphabet, 60000, 3);
    Offsets expected = walked(HxString(units));
    ASSERT_GT(expected.size(), 4096U);  // what the array has room for at first
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(offsetsOf(lineStartOffsets(makeText(form, units))), expected) << nameOf(form);
    }
    expected.push_back(units.size());
    EXPECT_EQ(arrayOf(HxString(units)), expected);
  }
}

TEST(Lines, TheArrayGrowsInBothWays) {
  constexpr HxUInteger kLines = (HxUInteger{1} << 20) + (HxUInteger{1} << 19) + 10;
  const HxString text{std::string_view(std::string(kLines, '\n'))};
  const Offsets offsets = arrayOf(text);
  ASSERT_EQ(offsets.size(), kLines + 2);
  for (HxUInteger i = 0; i <= kLines; ++i) ASSERT_EQ(offsets[i], i);
  EXPECT_EQ(offsets.back(), kLines);
  EXPECT_EQ(lineStartOffsets(text).count(), kLines + 1);
}

TEST(Lines, NilHasNoOffsets) {
  EXPECT_TRUE(lineStartOffsets(nullptr).isNil());
  HxUInteger unused = 7;
  HxUInteger* array = &unused;
  HxUInteger count = 7;
  getLineStartOffsets(nullptr, &array, &count);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(count, 0U);
  getLineStartOffsets(nullptr, nullptr, nullptr);
}

TEST(Lines, OffsetsAskForBothPlaces) {
  const FailureRecorder failures;
  const HxString text = "a\nb"_hx;
  HxUInteger* array = nullptr;
  HxUInteger count = 0;
  getLineStartOffsets(text, &array, nullptr);
  getLineStartOffsets(text, nullptr, &count);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(count, 0U);
  ASSERT_EQ(failures.failures().size(), 2U);
  for (const FailureRecorder::Failure& failure : failures.failures()) {
    EXPECT_EQ(failure.function, "-[HxString(MoStringUtilities) getLineStartOffsets:count:]");
    EXPECT_EQ(failure.operation, "getLineStartOffsets:count:");
    EXPECT_EQ(failure.receiver, text.object());
    EXPECT_EQ(failure.message,
              "Assertion failed: offsetsPtr != ((void*)0) && numOffsetsPtr != ((void*)0)");
    EXPECT_EQ(failure.condition, "offsetsPtr != ((void*)0) && numOffsetsPtr != ((void*)0)");
  }
}

// ---- Characters of lines ----------------------------------------------------------------------

struct LinesAndCharacters {
  std::u16string text;
  HxRange lines;
  HxRange characters;
};

class LinesToCharacters : public testing::TestWithParam<LinesAndCharacters> {};

TEST_P(LinesToCharacters, AreFound) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(characterRangeForLineRange(makeText(form, GetParam().text), GetParam().lines),
              GetParam().characters)
        << nameOf(form);
  }
}

const LinesAndCharacters kLinesToCharacters[] = {
    {u"ab\nc\r\nd", {0, 1}, {0, 3}},
    {u"ab\nc\r\nd", {1, 1}, {3, 3}},
    {u"ab\nc\r\nd", {2, 1}, {6, 1}},
    {u"ab\nc\r\nd", {0, 2}, {0, 6}},
    {u"ab\nc\r\nd", {1, 2}, {3, 4}},
    {u"ab\nc\r\nd", {0, 3}, {0, 7}},
    // No line at all.
    {u"ab\nc\r\nd", {0, 0}, {0, 0}},
    {u"ab\nc\r\nd", {2, 0}, {6, 0}},
    // The text ends before the first line.
    {u"ab\nc\r\nd", {3, 1}, kNotFoundRange},
    {u"ab\nc\r\nd", {3, 0}, kNotFoundRange},
    {u"ab\nc\r\nd", {HxNotFound, 1}, kNotFoundRange},
    // It ends before the last.
    {u"ab\nc\r\nd", {1, 3}, {3, 0}},
    {u"ab\nc\r\nd", {1, HxNotFound}, {3, 0}},
    {u"ab\nc\r\nd", {1, UINTPTR_MAX}, {3, 0}},
    // A terminator at the end opens no further line.
    {u"ab\n", {0, 1}, {0, 3}},
    {u"ab\n", {0, 2}, {0, 0}},
    {u"ab\n", {1, 1}, kNotFoundRange},
    {u"ab\n", {1, 0}, kNotFoundRange},
    {u"ab", {1, 0}, kNotFoundRange},
    // Empty text has one line.
    {u"", {0, 0}, {0, 0}},
    {u"", {0, 1}, {0, 0}},
    {u"", {1, 1}, kNotFoundRange},
    {u"\u2028\u4E2D\u0085", {1, 1}, {1, 2}},
};

INSTANTIATE_TEST_SUITE_P(All, LinesToCharacters, testing::ValuesIn(kLinesToCharacters));

class CharactersToLines : public testing::TestWithParam<LinesAndCharacters> {};

TEST_P(CharactersToLines, AreFound) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(lineRangeForCharacterRange(makeText(form, GetParam().text), GetParam().characters),
              GetParam().lines)
        << nameOf(form);
  }
}

const LinesAndCharacters kCharactersToLines[] = {
    {u"ab\nc\r\nd", {0, 1}, {0, 0}},
    {u"ab\nc\r\nd", {0, 1}, {0, 3}},
    {u"ab\nc\r\nd", {0, 1}, {2, 1}},
    {u"ab\nc\r\nd", {0, 2}, {2, 2}},
    {u"ab\nc\r\nd", {1, 1}, {3, 0}},
    {u"ab\nc\r\nd", {1, 1}, {3, 3}},
    {u"ab\nc\r\nd", {1, 1}, {5, 1}},  // the second half of CR LF
    {u"ab\nc\r\nd", {1, 2}, {5, 2}},
    {u"ab\nc\r\nd", {0, 3}, {0, 7}},
    // The very end belongs to the last line.
    {u"ab\nc\r\nd", {2, 1}, {7, 0}},
    {u"ab\n", {0, 1}, {3, 0}},
    {u"ab\nc\n", {1, 1}, {5, 0}},
    {u"", {0, 1}, {0, 0}},
};

INSTANTIATE_TEST_SUITE_P(All, CharactersToLines, testing::ValuesIn(kCharactersToLines));

TEST(Lines, ARangeBeyondTheTextRaises) {
  const std::string reason =
      "HxRangeException: -[HxString lineRangeForCharacterRange:]: Range or index out of bounds";
  for (const HxRange range :
       {HxRange{4, 0}, HxRange{0, 4}, HxRange{3, 1}, HxRange{1, UINTPTR_MAX}, kNotFoundRange}) {
    EXPECT_EQ(messageOf([&] { lineRangeForCharacterRange("a\nb"_hx, range); }), reason);
  }
}

TEST(Lines, ThereAndBackReturnsTheSameLines) {
  forEachText(u"a\n\r", 6, [](const std::u16string& units) {
    const HxString text(units);
    const HxUInteger count = numberOfLines(text);
    for (HxUInteger line = 0; line < count; ++line) {
      for (HxUInteger length = 1; length <= count - line; ++length) {
        const HxRange characters = characterRangeForLineRange(text, {line, length});
        EXPECT_EQ(lineRangeForCharacterRange(text, characters), (HxRange{line, length}));
      }
    }
    return !testing::Test::HasFailure();
  });
}

TEST(Lines, NilHasNoRanges) {
  EXPECT_EQ(characterRangeForLineRange(nullptr, {3, 1}), HxRange());
  EXPECT_EQ(lineRangeForCharacterRange(nullptr, {3, 1}), HxRange());
}

// ---- Their number -----------------------------------------------------------------------------

TEST(Lines, EmptyTextAndOneTerminatedLineAreOneLine) {
  EXPECT_EQ(numberOfLines(""_hx), 1U);
  EXPECT_EQ(numberOfLines("a"_hx), 1U);
  EXPECT_EQ(numberOfLines("a\n"_hx), 1U);
  EXPECT_EQ(numberOfLines("\r\n"_hx), 1U);
}

TEST(Lines, AreCountedByTheirTerminators) {
  EXPECT_EQ(numberOfLines("a\nb"_hx), 2U);
  EXPECT_EQ(numberOfLines("a\r\nb\rc\u0085d\u2028e\u2029f"_hx), 6U);
  EXPECT_EQ(numberOfLines("\n\n\n"_hx), 3U);
  EXPECT_EQ(numberOfLines(nullptr), 0U);
}

// ---- Inserting --------------------------------------------------------------------------------

struct Insertion {
  std::u16string text;
  std::u16string inserted;
  HxUInteger line;
  std::u16string result;
};

class LinesInsertions : public testing::TestWithParam<Insertion> {};

TEST_P(LinesInsertions, StandInFrontOfTheLine) {
  HxMutableString text = HxString(GetParam().text).mutableCopy();
  insertStringAtLine(text, HxString(GetParam().inserted), GetParam().line);
  EXPECT_EQ(unitsOf(text), GetParam().result);
}

const Insertion kInsertions[] = {
    {u"a\nb", u"x\n", 0, u"x\na\nb"},
    {u"a\nb", u"x\n", 1, u"a\nx\nb"},
    {u"a\r\nb", u"\u4E2D\n", 1, u"a\r\n\u4E2D\nb"},
    {u"", u"x", 0, u"x"},
    {u"a\nb", u"", 1, u"a\nb"},
    {u"a\nb", u"", 9, u"a\nb"},
};

INSTANTIATE_TEST_SUITE_P(All, LinesInsertions, testing::ValuesIn(kInsertions));

TEST(Lines, ATextCanBeInsertedIntoItself) {
  HxMutableString text = "a\nb\n"_hx.mutableCopy();
  insertStringAtLine(text, text, 1);
  EXPECT_EQ(text, "a\na\nb\nb\n"_hx);
}

TEST(Lines, InsertingAtALineThatIsNotThereRaises) {
  for (const HxString& lines : {"a\nb"_hx, "a\nb\n"_hx}) {
    HxMutableString text = lines.mutableCopy();
    EXPECT_EQ(raisedBy([&] { insertStringAtLine(text, "x"_hx, 2); }), HxRangeException);
    EXPECT_EQ(text, lines);
  }
}

// The terminator at the very end belongs to the last line, and no other line starts after it.
TEST(Lines, TheNumberOfLinesIsTheFirstLineThatIsNotThere) {
  forEachText(u"a\n\r", 5, [](const std::u16string& units) {
    const HxString text(units);
    const HxUInteger count = numberOfLines(text);
    EXPECT_EQ(HxMaxRange(characterRangeForLineRange(text, {count - 1, 1})), units.size());
    EXPECT_EQ(characterRangeForLineRange(text, {count, 0}), kNotFoundRange);
    EXPECT_EQ(lineRangeForCharacterRange(text, {units.size(), 0}), (HxRange{count - 1, 1}));
    return !testing::Test::HasFailure();
  });
}

TEST(Lines, InsertingNilRaises) {
  HxMutableString text = "a"_hx.mutableCopy();
  EXPECT_EQ(messageOf([&] { insertStringAtLine(text, nullptr, 0); }),
            "HxInternalInconsistencyException: Invalid parameter not satisfying: string != nil");
  HxMutableString none = nullptr;
  insertStringAtLine(none, "x"_hx, 0);
  EXPECT_TRUE(none.isNil());
}

class Forgiving final : public HxAssertionHandler {
 public:
  void handleFailureInMethod(HxSelector method, const HxHandle& object, const HxString& file,
                             HxInteger line, const HxString& description,
                             HxArguments arguments) override {
    EXPECT_STREQ(method.name(), "insertString:atLine:");
    EXPECT_TRUE(file.hasSuffix("Lines.cc"_hx));
    EXPECT_GT(line, 0);
    EXPECT_EQ(description, "Invalid parameter not satisfying: %s"_hx);
    ASSERT_EQ(arguments.count(), 1U);
    EXPECT_STREQ(arguments[0].asCString(), "string != nil");
    receivers.push_back(object);
  }
  std::vector<HxAny> receivers;
};

TEST(Lines, InsertingNilDoesNothingWhenTheHandlerReturns) {
  const auto handler = makeRef<Forgiving>();
  const Ref<HxAssertionHandler> former = HxAssertionHandler::setCurrentHandler(handler);
  HxMutableString text = "a"_hx.mutableCopy();
  insertStringAtLine(text, nullptr, 0);
  HxAssertionHandler::setCurrentHandler(former);
  EXPECT_EQ(text, "a"_hx);
  EXPECT_THAT(handler->receivers, ElementsAre(HxAny(text)));
}

}  // namespace
}  // namespace rondel
