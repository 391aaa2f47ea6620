// SPDX-License-Identifier: MIT
//
// Loops over collections, index sets and strings: what they hold, and what the standard's
// algorithms take them for.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <ranges>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

static_assert(std::ranges::forward_range<HxArray>);
static_assert(std::ranges::forward_range<HxMutableArray>);
static_assert(std::ranges::forward_range<HxEach<HxString>>);
static_assert(std::ranges::forward_range<HxIndexSet>);
static_assert(std::ranges::forward_range<HxString>);
static_assert(std::ranges::input_range<HxDictionary>);
static_assert(!std::ranges::forward_range<HxDictionary>);
static_assert(std::ranges::input_range<HxSet>);
static_assert(!std::ranges::forward_range<HxSet>);

HxString fresh(const char* text) { return HxString(text); }

// ---- What a loop holds -------------------------------------------------------------------------

TEST(Loop, OverAnArrayHoldsIt) {
  HxArray words = HxMutableArray::arrayWithObjects({fresh("a"), fresh("b")}).copy();
  std::string seen;
  for (const HxAny& word : words) {
    words = nullptr;
    seen += shown(word);
  }
  EXPECT_EQ(seen, "ab");
}

TEST(Loop, OverAnArrayOfAnOpenClassHoldsIt) {
  HxArray words = openArray({fresh("a"), fresh("b")});
  std::string seen;
  for (const HxAny& word : words) {
    words = nullptr;
    seen += shown(word);
  }
  EXPECT_EQ(seen, "ab");
}

TEST(Loop, OverTypedObjectsHoldsTheArray) {
  HxArray words = HxArray::arrayWithObjects({fresh("a"), fresh("b")});
  std::string seen;
  for (const HxString& word : words.each<HxString>()) {
    words = nullptr;
    seen += word.toStdString();
  }
  EXPECT_EQ(seen, "ab");
}

TEST(Loop, OverASetHoldsIt) {
  HxSet words = HxSet::initWithObjects({fresh("a"), fresh("b")});
  std::string seen;
  for (const HxAny& word : words) {
    words = nullptr;
    seen += shown(word);
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, "ab");
}

TEST(Loop, OverADictionaryHoldsIt) {
  HxDictionary words =
      HxDictionary::dictionaryWithEntries({{"a"_hx, fresh("1")}, {"b"_hx, fresh("2")}});
  std::string seen;
  for (const auto& [key, value] : words) {
    words = nullptr;
    seen += shown(value);
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, "12");
}

TEST(Loop, OverAnIndexSetHoldsIt) {
  HxIndexSet indexes = HxIndexSet::indexSetWithIndexesInRange({3, 3});
  HxUInteger sum = 0;
  for (HxUInteger index : indexes) {
    indexes = nullptr;
    sum += index;
  }
  EXPECT_EQ(sum, 12U);
}

TEST(Loop, OverAStringHoldsIt) {
  HxString text = fresh("abc");
  std::string seen;
  for (HxUniChar unit : text) {
    text = nullptr;
    seen += static_cast<char>(unit);
  }
  EXPECT_EQ(seen, "abc");
}

TEST(Loop, OverAStringThatGetsShorterRaises) {
  HxMutableString text = HxMutableString::stringWithString("abc"_hx);
  EXPECT_THROW(
      for (HxUniChar unit
           : text) {
        EXPECT_EQ(unit, u'a');
        text.setString(""_hx);
      },
      HxException);
}

TEST(Loop, OverASetThatChangesRaises) {
  HxMutableSet set = HxMutableSet::initWithObjects({"a"_hx, "b"_hx});
  const auto change = [&set] {
    for (const HxAny& object : set) set.removeObject(HxAny(object));
  };
  EXPECT_EQ(messageOf(change),
            "HxInternalInconsistencyException: -[HxEnumerator nextObject]: the set was changed "
            "meanwhile");
}

TEST(Loop, OverNilRunsNotAtAll) {
  int rounds = 0;
  for (const HxAny& object : HxArray()) rounds += object.isNil() ? 1 : 1;
  for (const HxString& object : HxArray().each<HxString>()) rounds += object.isNil() ? 1 : 1;
  for (const HxAny& object : HxSet()) rounds += object.isNil() ? 1 : 1;
  for (const auto& entry : HxDictionary()) rounds += entry.key.isNil() ? 1 : 1;
  for (HxUInteger index : HxIndexSet()) rounds += index > 0 ? 1 : 1;
  for (HxUniChar unit : HxString()) rounds += unit > 0 ? 1 : 1;
  EXPECT_EQ(rounds, 0);
}

// ---- Algorithms --------------------------------------------------------------------------------

TEST(Ranges, TakeArraysAndStrings) {
  const HxArray numbers = HxArray::arrayWithObjects(
      {HxNumber::numberWithInt(2), HxNumber::numberWithInt(5), HxNumber::numberWithInt(3)});
  const auto value = [](const HxAny& object) { return as<HxNumber>(object).intValue(); };
  EXPECT_EQ(value(*std::ranges::max_element(numbers, {}, value)), 5);
  EXPECT_EQ(std::ranges::count("banana"_hx, u'a'), 3);
  EXPECT_EQ(std::ranges::distance(HxSet::initWithObjects({"a"_hx, "b"_hx})), 2);
}

TEST(Each, ReturnsNilForAnObjectOfAnotherKind) {
  const HxArray mixed = HxArray::arrayWithObjects({"a"_hx, HxNumber::numberWithInt(1)});
  std::vector<HxString> texts;
  for (const HxString& text : mixed.each<HxString>()) texts.push_back(text);
  ASSERT_EQ(texts.size(), 2U);
  EXPECT_EQ(texts[0], "a"_hx);
  EXPECT_TRUE(texts[1].isNil());
}

TEST(TypedElements, AreNilWhenOfAnotherKind) {
  const HxArray mixed = HxArray::arrayWithObjects({"a"_hx, HxNumber::numberWithInt(1)});
  EXPECT_EQ(mixed.firstObject<HxString>(), "a"_hx);
  EXPECT_TRUE(mixed.firstObject<HxNumber>().isNil());
  EXPECT_EQ(mixed.lastObject<HxNumber>().intValue(), 1);
  EXPECT_TRUE(HxArray().lastObject<HxString>().isNil());
  EXPECT_EQ(HxSet::initWithObjects({"a"_hx}).member<HxString>("a"_hx), "a"_hx);
}

// ---- Enumerators -------------------------------------------------------------------------------

TEST(Enumerator, OfNilIsNilAndHarmless) {
  EXPECT_TRUE(HxDictionary().keyEnumerator().isNil());
  EXPECT_TRUE(HxDictionary().keyEnumerator().nextObject().isNil());
  EXPECT_TRUE(HxSet().objectEnumerator().nextObject().isNil());
}

TEST(Enumerator, OfADictionaryWhoseClassReturnsNoneIsHarmless) {
  class Bare final : public HxDictionaryObject {
   public:
    HxUInteger count() const override { return 1; }
    HxAny objectForKey(const HxHandle&) const override { return "x"_hx; }
    HxEnumerator keyEnumerator() const override { return nullptr; }
  };
  const HxDictionary bare(makeRef<Bare>());
  EXPECT_TRUE(bare.allKeys().isEmpty());
  EXPECT_EQ(bare.hash(), bare.hash());
  EXPECT_EQ(shown(bare), "{\n}");
}

TEST(Enumerator, IsAKindOfItsOwn) {
  const HxAny keys = HxDictionary::dictionaryWithObject("v"_hx, "k"_hx).keyEnumerator();
  EXPECT_EQ(as<HxEnumerator>(keys).nextObject(), HxAny("k"_hx));
  EXPECT_TRUE(as<HxEnumerator>("text"_hx).isNil());
  EXPECT_TRUE(keys.isKindOfClass(HxEnumerator::classObject()));
}

}  // namespace
}  // namespace rondel::test
