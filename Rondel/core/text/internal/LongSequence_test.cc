// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::internal {
namespace {

using test::makeText;
using test::TextForm;

std::u16string marked(std::size_t marks) { return u"a" + std::u16string(marks, u'\u0301') + u"b"; }

HxRange sequenceAt(const HxString& text, HxUInteger index) {
  return text.rangeOfComposedCharacterSequenceAtIndex(index);
}

// A walk from each index would take 10^12 steps.
TEST(LongSequence, IsFoundFromEachOfItsMillionIndexes) {
  constexpr std::size_t kMarks = 1000000;
  for (const TextForm form : {TextForm::flat, TextForm::buffer}) {
    const HxString text = makeText(form, marked(kMarks));
    for (HxUInteger i = 0; i <= kMarks; ++i) {
      ASSERT_EQ(sequenceAt(text, i), HxMakeRange(0, kMarks + 1)) << nameOf(form);
    }
    EXPECT_EQ(sequenceAt(text, kMarks + 1), HxMakeRange(kMarks + 1, 1));
  }
}

TEST(LongSequence, IsTheSameInEveryFormBesideAnother) {
  const std::u16string units = marked(100) + marked(200);
  for (const TextForm form : test::kTextForms) {
    const HxString text = makeText(form, units);
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 101)) << nameOf(form);
      EXPECT_EQ(sequenceAt(text, 250), HxMakeRange(102, 201)) << nameOf(form);
      EXPECT_EQ(sequenceAt(text, 101), HxMakeRange(101, 1)) << nameOf(form);
    }
  }
}

// Strings of one size made one after the other often lie in the same place.
TEST(LongSequence, OfAStringThatHasGoneIsForgotten) {
  for (HxUInteger i = 0; i < 100; ++i) {
    for (const TextForm form : {TextForm::flat, TextForm::buffer, TextForm::wideView}) {
      std::u16string units = marked(298);
      units[100 + i] = u'c';
      const HxString text = makeText(form, units);
      EXPECT_EQ(sequenceAt(text, 99), HxMakeRange(0, 100 + i)) << nameOf(form);
      EXPECT_EQ(sequenceAt(text, 210), HxMakeRange(100 + i, 199 - i)) << nameOf(form);
    }
  }
}

TEST(LongSequence, FollowsTheChangesOfItsString) {
  const HxMutableString text = HxMutableString::stringWithString(HxString(marked(200)));
  HxMutableString same = text;
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 201));
  same.replaceCharactersInRange({100, 1}, "c"_hx);
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 100));
  same.deleteCharactersInRange({0, 20});
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 80));
  same.insertString("cc"_hx, 0);
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(1, 81));
  same.setString(HxString(marked(70)));
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 71));
}

TEST(LongSequence, GrowsWithTextAtTheEndOfItsString) {
  HxMutableString text = HxMutableString::stringWithString(HxString(marked(200).substr(0, 201)));
  for (HxUInteger length = 201; length < 400; ++length) {
    ASSERT_EQ(sequenceAt(text, 50), HxMakeRange(0, length));
    text.appendString("\u0301"_hx);
  }
}

TEST(LongSequence, OfAReusedBufferIsForgotten) {
  HxMutableString text = HxMutableString::stringWithString(HxString(marked(200)));
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 201));
  text.deleteCharactersInRange({0, 202});
  text.appendString(HxString(marked(100) + marked(100).substr(0, 100)));
  EXPECT_EQ(text.length(), 202u);
  EXPECT_EQ(sequenceAt(text, 50), HxMakeRange(0, 101));
}

}  // namespace
}  // namespace rondel::internal
