// SPDX-License-Identifier: MIT
//
// Long strings of every class, walked piece by piece.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

// Around the sizes of a block of the hash and of a piece, and beyond.
constexpr std::size_t kLengths[] = {0, 1, 15, 16, 17, 255, 256, 257, 272, 273, 511, 512, 513, 5000};

std::u16string longText(std::size_t length, HxUniChar last) {
  std::u16string units;
  for (std::size_t i = 0; i < length; ++i) units += static_cast<HxUniChar>(u'a' + i % 26);
  if (length > 0) units.back() = last;
  return units;
}

TEST(StringPieces, EqualTextHashesAlikeInEveryFormAndLength) {
  for (const std::size_t length : kLengths) {
    for (const HxUniChar last : {u'z', u'\u00e9', u'\uac00'}) {
      const std::u16string units = longText(length, last);
      for (const TextForm form : kTextForms) {
        const HxString text = makeText(form, units);
        const HxString flat{std::u16string_view(units)};
        EXPECT_EQ(text.hash(), flat.hash()) << length << ' ' << nameOf(form);
        EXPECT_TRUE(text.isEqual(flat)) << length << ' ' << nameOf(form);
        EXPECT_TRUE(flat.isEqual(text)) << length << ' ' << nameOf(form);
      }
    }
  }
}

TEST(StringPieces, OneUnitThatDiffersIsFoundWhereverItStands) {
  for (const std::size_t at : {0U, 255U, 256U, 511U, 512U, 999U}) {
    const std::u16string units = longText(1000, u'z');
    std::u16string others = units;
    others[at] = u'!';
    for (const TextForm left : kTextForms) {
      for (const TextForm right : kTextForms) {
        EXPECT_FALSE(makeText(left, units).isEqual(makeText(right, others))) << at;
      }
    }
  }
}

TEST(StringPieces, MembersOfASetAreFoundInEveryPiece) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("!"_hx);
  for (const HxUInteger at : {HxUInteger{1}, HxUInteger{256}, HxUInteger{600}, HxUInteger{998}}) {
    std::u16string units = longText(1000, u'\u00e9');
    units[at] = u'!';
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, units);
      const HxRange found{locationOf(form) + at, 1};
      EXPECT_EQ(text.rangeOfCharacterFromSet(set, 0, {1, 998}), found);
      EXPECT_EQ(text.rangeOfCharacterFromSet(set, HxBackwardsSearch, {1, 998}), found);
      EXPECT_EQ(text.rangeOfCharacterFromSet(set, 0, {at + 1, 999 - at}), kNotFoundRange);
      EXPECT_EQ(text.rangeOfCharacterFromSet(set, HxBackwardsSearch, {0, at}), kNotFoundRange);
    }
  }
}

TEST(StringPieces, HashingComparingAndSearchingTakeNothingFromTheHeap) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("!"_hx);
  for (const HxUniChar last : {u'z', u'\u00e9'}) {
    const std::u16string units = longText(5000, last);
    std::vector<HxString> texts;
    for (const TextForm form : kTextForms) texts.push_back(makeText(form, units));
    const AllocationCounter counter;
    bool areAlike = true;
    for (const HxString& text : texts) {
      for (const HxString& other : texts) {
        areAlike = areAlike && text.isEqual(other) && text.hash() == other.hash();
      }
      areAlike = areAlike && text.rangeOfCharacterFromSet(set).length == 0;
    }
    const std::size_t allocations = counter.count();
    EXPECT_TRUE(areAlike);
    EXPECT_EQ(allocations, 0U);
  }
}

}  // namespace
}  // namespace rondel::test
