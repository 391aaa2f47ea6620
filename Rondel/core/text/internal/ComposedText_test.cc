// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/ComposedText.h"

#include <gtest/gtest.h>
#include <unicode/unorm2.h>

#include <random>
#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::internal {
namespace {

using test::unitsOf;

// The normal form as ICU makes it, in quadratic time.
std::u16string normalized(const std::u16string& text, bool isComposed) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* form =
      isComposed ? unorm2_getNFCInstance(&status) : unorm2_getNFDInstance(&status);
  std::u16string result(4 * text.size() + 16, u'\0');
  const std::int32_t length =
      unorm2_normalize(form, text.data(), static_cast<std::int32_t>(text.size()), result.data(),
                       static_cast<std::int32_t>(result.size()), &status);
  result.resize(static_cast<std::size_t>(length));
  return result;
}

std::u16string decomposed(const std::u16string& text) {
  return unitsOf(HxString(std::u16string_view(text)).decomposedStringWithCanonicalMapping());
}
std::u16string composed(const std::u16string& text) {
  return unitsOf(HxString(std::u16string_view(text)).precomposedStringWithCanonicalMapping());
}

// Marks of several classes, some beyond U+FFFF, some that decompose, bases with and without marks
// of their own, a Hangul syllable and a lone surrogate.
std::u16string randomText(std::mt19937& random, std::size_t most) {
  static const std::u16string marks[] = {u"\u0301", u"\u0327",     u"\u0345",     u"\u0344",
                                         u"\u0F73", u"\U0001D165", u"\U0001D16D", u"\u05B0"};
  static const std::u16string bases[] = {u"a",      u"\u1E09", u"\u00e9", u"\uAC01",
                                         u"\u4e2d", u"\xD83D", u"\u0F40"};
  std::u16string text;
  while (text.size() < most) {
    if (random() % 3 != 0) text += bases[random() % std::size(bases)];
    const std::size_t run = random() % 4 == 0 ? random() % 200 : random() % 3;
    for (std::size_t i = 0; i < run; ++i) text += marks[random() % std::size(marks)];
  }
  return text;
}

TEST(ComposedText, FormsWithLongRunsOfMarksAreThoseOfTheStandard) {
  std::mt19937 random(3);
  for (int round = 0; round < 400; ++round) {
    const std::u16string text = randomText(random, random() % 600);
    EXPECT_EQ(decomposed(text), normalized(text, false)) << round;
    EXPECT_EQ(composed(text), normalized(text, true)) << round;
    EXPECT_EQ(composed(decomposed(text)), normalized(text, true)) << round;
    EXPECT_EQ(decomposed(composed(text)), normalized(text, false)) << round;
  }
}

// What is left to ICU holds no run of marks that is long, so its sorting stays short.
TEST(ComposedText, NoLongRunOfMarksIsLeftOver) {
  std::mt19937 random(4);
  for (int round = 0; round < 200; ++round) {
    const std::size_t before = random() % 70;
    const std::size_t marks = 2 * kLongRunOfMarks + random() % 100;
    const std::size_t after = random() % 70;
    const std::u16string text = std::u16string(before, u'a') + std::u16string(marks, u'\u0301') +
                                std::u16string(after, u'b');
    const HxRange run = nextLongRunOfMarks(text.data(), text.size(), 0);
    EXPECT_EQ(run, HxMakeRange(before, marks)) << round;
    EXPECT_EQ(nextLongRunOfMarks(text.data(), text.size(), HxMaxRange(run)), kNotFoundRange);
  }
}

TEST(ComposedText, ShortRunsOfMarksAreNotLong) {
  std::u16string text;
  for (int i = 0; i < 100; ++i) text += u"a" + std::u16string(kLongRunOfMarks - 1, u'\u0301');
  EXPECT_EQ(nextLongRunOfMarks(text.data(), text.size(), 0), kNotFoundRange);
}

TEST(ComposedText, AMegabyteOfMarksIsSorted) {
  std::u16string text = u"a";
  for (int i = 0; i < 500000; ++i) text += i % 2 == 0 ? u'\u0301' : u'\u0327';
  const std::u16string sorted =
      u"a" + std::u16string(250000, u'\u0327') + std::u16string(250000, u'\u0301');
  EXPECT_EQ(decomposed(text), sorted);
  EXPECT_EQ(composed(text).front(), u'\u00e1');
  EXPECT_TRUE(HxString(std::u16string_view(text)).fileSystemRepresentation().view().size() > 0);
}

}  // namespace
}  // namespace rondel::internal
