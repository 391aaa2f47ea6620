// SPDX-License-Identifier: MIT
#include "Rondel/core/text/CharacterSet.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <functional>
#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

// Whether the set answers for every unit as the predicate does.
void expectMembers(const HxCharacterSet& set, const std::function<bool(HxUniChar)>& isMember) {
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const auto character = static_cast<HxUniChar>(unit);
    ASSERT_EQ(set.characterIsMember(character), isMember(character)) << std::hex << unit;
  }
}

bool isZs(HxUniChar unit) { return u_charType(unit) == U_SPACE_SEPARATOR; }
bool isNewline(HxUniChar unit) {
  return (unit >= 0xA && unit <= 0xD) || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
}

TEST(CharacterSet, HoldsTheUnitsOfATextInEveryForm) {
  for (const TextForm form : kTextForms) {
    const HxCharacterSet set =
        HxCharacterSet::characterSetWithCharactersInString(makeText(form, u"ab\u00e9\U0001F600a"));
    expectMembers(set, [](HxUniChar unit) {
      return unit == u'a' || unit == u'b' || unit == 0xE9 || unit == 0xD83D || unit == 0xDE00;
    });
  }
}

TEST(CharacterSet, OfNothingIsEmpty) {
  for (const HxString& text : {HxString(), ""_hx}) {
    const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString(text);
    ASSERT_FALSE(set.isNil());
    expectMembers(set, [](HxUniChar) { return false; });
    expectMembers(set.invertedSet(), [](HxUniChar) { return true; });
  }
}

TEST(CharacterSet, HoldsARangeAsFarAsThereAreUnits) {
  expectMembers(HxCharacterSet::characterSetWithRange({u'a', 3}),
                [](HxUniChar unit) { return unit >= u'a' && unit <= u'c'; });
  expectMembers(HxCharacterSet::characterSetWithRange({0xFFFF, ~HxUInteger{0}}),
                [](HxUniChar unit) { return unit == 0xFFFF; });
  expectMembers(HxCharacterSet::characterSetWithRange({~HxUInteger{0}, 5}),
                [](HxUniChar) { return false; });
}

TEST(CharacterSet, WhitespaceIsZsAndTab) {
  const HxCharacterSet set = HxCharacterSet::whitespaceCharacterSet();
  expectMembers(set, [](HxUniChar unit) { return unit == u'\t' || isZs(unit); });
  for (const HxUniChar unit : {u' ', u'\t', u'\u00a0', u'\u3000'}) {
    EXPECT_TRUE(set.characterIsMember(unit));
  }
  EXPECT_FALSE(set.characterIsMember(u'\n'));
  EXPECT_FALSE(set.characterIsMember(u'\u200b'));
}

TEST(CharacterSet, WhitespaceAndNewlineAddsTheEndsOfLines) {
  expectMembers(HxCharacterSet::whitespaceAndNewlineCharacterSet(),
                [](HxUniChar unit) { return unit == u'\t' || isZs(unit) || isNewline(unit); });
}

TEST(CharacterSet, AlphanumericIsLettersMarksAndNumbers) {
  const HxCharacterSet set = HxCharacterSet::alphanumericCharacterSet();
  expectMembers(set, [](HxUniChar unit) {
    return (U_GET_GC_MASK(unit) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
  });
  for (const HxUniChar unit : {u'a', u'Z', u'0', u'\u00e9', u'\u0301', u'\u00b2', u'\u65e5'}) {
    EXPECT_TRUE(set.characterIsMember(unit));
  }
  for (const HxUniChar unit : {u'_', u'-', u' ', u'\0', u'\u20ac'}) {
    EXPECT_FALSE(set.characterIsMember(unit));
  }
}

TEST(CharacterSet, NamedOnesAreMadeOnceAndShared) {
  HxCharacterSet::whitespaceCharacterSet();
  HxCharacterSet::whitespaceAndNewlineCharacterSet();
  HxCharacterSet::alphanumericCharacterSet();
  const AllocationCounter counter;
  EXPECT_EQ(HxCharacterSet::whitespaceCharacterSet().object(),
            HxCharacterSet::whitespaceCharacterSet().object());
  EXPECT_EQ(HxCharacterSet::whitespaceAndNewlineCharacterSet().object(),
            HxCharacterSet::whitespaceAndNewlineCharacterSet().object());
  EXPECT_EQ(HxCharacterSet::alphanumericCharacterSet().object(),
            HxCharacterSet::alphanumericCharacterSet().object());
  EXPECT_EQ(counter.count(), 0U);
}

TEST(CharacterSet, InvertedHoldsAllOthers) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("ab"_hx);
  expectMembers(set.invertedSet(), [](HxUniChar unit) { return unit != u'a' && unit != u'b'; });
  EXPECT_TRUE(set.invertedSet().invertedSet().isEqual(set));
}

TEST(CharacterSet, EqualsByMembers) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("abc"_hx);
  const HxCharacterSet same = HxCharacterSet::characterSetWithRange({u'a', 3});
  EXPECT_TRUE(set.isEqual(same));
  EXPECT_EQ(set.hash(), same.hash());
  EXPECT_FALSE(set.isEqual(HxCharacterSet::characterSetWithRange({u'a', 2})));
  EXPECT_FALSE(set.isEqual("abc"_hx));
}

TEST(MutableCharacterSet, TakesMoreUnits) {
  HxMutableCharacterSet set = HxMutableCharacterSet::characterSet();
  expectMembers(set, [](HxUniChar) { return false; });
  set.addCharactersInString("ab"_hx);
  set.addCharactersInString(nullptr);
  set.addCharactersInRange({u'x', 2});
  set.formUnionWithCharacterSet(HxCharacterSet::characterSetWithCharactersInString("\u00e9"_hx));
  set.formUnionWithCharacterSet(nullptr);
  expectMembers(set, [](HxUniChar unit) {
    return unit == u'a' || unit == u'b' || unit == u'x' || unit == u'y' || unit == 0xE9;
  });
  set.invert();
  EXPECT_FALSE(set.characterIsMember(u'a'));
  EXPECT_TRUE(set.characterIsMember(u'c'));
}

TEST(MutableCharacterSet, StandsApartFromItsCopies) {
  const HxCharacterSet blanks = HxCharacterSet::whitespaceCharacterSet();
  HxMutableCharacterSet set = blanks.mutableCopy();
  const HxCharacterSet before = set.copy();
  set.addCharactersInString("a"_hx);
  EXPECT_TRUE(set.characterIsMember(u' '));
  EXPECT_FALSE(before.characterIsMember(u'a'));
  EXPECT_FALSE(blanks.characterIsMember(u'a'));
  EXPECT_EQ(blanks.copy().object(), blanks.object());
}

TEST(NilCharacterSet, AnswersZeroToEverything) {
  HxMutableCharacterSet nil = nullptr;
  nil.addCharactersInString("a"_hx);
  nil.addCharactersInRange({u'a', 1});
  nil.formUnionWithCharacterSet(HxCharacterSet::whitespaceCharacterSet());
  nil.invert();
  EXPECT_FALSE(nil.characterIsMember(u'a'));
  EXPECT_TRUE(nil.invertedSet().isNil());
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
  EXPECT_EQ(nil.setObject(), nullptr);
}

}  // namespace
}  // namespace rondel::test
