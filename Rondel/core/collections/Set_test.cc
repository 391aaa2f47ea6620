// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Set.h"

#include <gtest/gtest.h>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

TEST(Set, HoldsEachObjectOnce) {
  const HxSet set = HxSet::initWithArray(
      HxArray::arrayWithObjects({"a"_hx, HxString(u"a"), "b"_hx, HxNumber::numberWithInt(1)}));
  EXPECT_EQ(set.count(), 3U);
  EXPECT_FALSE(set.isEmpty());
  EXPECT_TRUE(set.containsObject("a"_hx));
  EXPECT_TRUE(set.containsObject(openString(u"b")));
  EXPECT_TRUE(set.containsObject(HxNumber::numberWithDouble(1)));
  EXPECT_FALSE(set.containsObject("c"_hx));
  EXPECT_FALSE(set.containsObject(HxNumber::numberWithInt(2)));
  EXPECT_FALSE(set.containsObject(nullptr));
}

TEST(Set, ReturnsTheObjectThatItHolds) {
  const HxString stored(std::string_view("stored"));
  const HxSet set = HxSet::initWithObjects({stored, "b"_hx});
  EXPECT_EQ(set.member("stored"_hx).object(), stored.object());
  EXPECT_TRUE(set.member("none"_hx).isNil());
  EXPECT_TRUE(set.member(nullptr).isNil());
}

TEST(Set, OfAListLeavesNilsOut) {
  EXPECT_EQ(HxSet::initWithObjects({"a"_hx, nullptr, "b"_hx}).count(), 2U);
  EXPECT_EQ(HxMutableSet::initWithObjects({nullptr, "a"_hx, nullptr, "b"_hx}).count(), 2U);
}

TEST(Set, OfNothingIsEmpty) {
  for (const HxSet& set :
       {HxSet::set(), HxSet::initWithArray(nullptr), HxSet::initWithObjects({}),
        HxSet(HxMutableSet::set()), HxSet(HxMutableSet::initWithArray(nullptr))}) {
    EXPECT_FALSE(set.isNil());
    EXPECT_TRUE(set.isEmpty());
    EXPECT_TRUE(set.allObjects().isEmpty());
  }
}

TEST(Set, ListsItsObjects) {
  const HxArray words = HxArray::arrayWithObjects({"c"_hx, "a"_hx, "b"_hx});
  const HxArray all = HxSet::initWithArray(words).allObjects();
  EXPECT_EQ(all.sortedArrayUsingSelector(HxSelector("compare:")),
            words.sortedArrayUsingSelector(HxSelector("compare:")));
}

TEST(Set, EqualsByObjects) {
  const HxSet set = HxSet::initWithObjects({"a"_hx, "b"_hx});
  const HxMutableSet same = HxMutableSet::initWithObjects({openString(u"b"), "a"_hx});
  EXPECT_TRUE(set.isEqual(same));
  EXPECT_TRUE(same.isEqualToSet(set));
  EXPECT_EQ(set.hash(), same.hash());
  EXPECT_FALSE(set.isEqual(HxSet::initWithObjects({"a"_hx})));
  EXPECT_FALSE(set.isEqual(HxSet::initWithObjects({"a"_hx, "c"_hx})));
  EXPECT_FALSE(set.isEqual(HxArray::arrayWithObjects({"a"_hx, "b"_hx})));
}

TEST(Set, DescribesItsObjectsInOrderOfTheirTexts) {
  EXPECT_EQ(shown(HxSet::initWithObjects({"b"_hx, "a"_hx})), "{(\n    a,\n    b\n)}");
  EXPECT_EQ(shown(HxSet::set()), "{(\n)}");
}

TEST(MutableSet, TakesAndLosesObjects) {
  HxMutableSet set = HxMutableSet::initWithArray(HxArray::arrayWithObject("a"_hx));
  set.addObject("b"_hx);
  set.addObject("b"_hx);
  set.addObject(nullptr);
  set.addObjectsFromArray(HxArray::arrayWithObjects({"c"_hx, "a"_hx}));
  set.addObjectsFromArray(nullptr);
  EXPECT_TRUE(set.isEqual(HxSet::initWithObjects({"a"_hx, "b"_hx, "c"_hx})));
  set.removeObject("a"_hx);
  set.removeObject("none"_hx);
  set.removeObject(nullptr);
  EXPECT_TRUE(set.isEqual(HxSet::initWithObjects({"b"_hx, "c"_hx})));
  set.removeAllObjects();
  EXPECT_TRUE(set.isEmpty());
}

TEST(MutableSet, KeepsTheObjectThatWasThereFirst) {
  const HxString first(std::string_view("a"));
  HxMutableSet set = HxMutableSet::set();
  set.addObject(first);
  set.addObject("a"_hx);
  EXPECT_EQ(set.member("a"_hx).object(), first.object());
}

TEST(MutableSet, LetsGoOfWhatItRemoves) {
  const Ref<OpenArray> object = makeRef<OpenArray>(std::vector<HxAny>());
  HxMutableSet set = HxMutableSet::initWithObjects({object});
  EXPECT_FALSE(object->isUniquelyReferenced());
  set.removeObject(object);
  EXPECT_TRUE(object->isUniquelyReferenced());
  set.addObject(object);
  set.removeAllObjects();
  EXPECT_TRUE(object->isUniquelyReferenced());
}

TEST(MutableSet, StandsApartFromItsCopies) {
  HxMutableSet set = HxMutableSet::initWithObjects({"a"_hx});
  const HxSet before = set.copy();
  HxMutableSet other = set.mutableCopy();
  set.addObject("b"_hx);
  other.removeAllObjects();
  EXPECT_EQ(before.count(), 1U);
  EXPECT_EQ(set.count(), 2U);
  EXPECT_EQ(other.count(), 0U);
}

TEST(NilSet, AnswersZeroToEverything) {
  const HxSet nil;
  EXPECT_EQ(nil.count(), 0U);
  EXPECT_TRUE(nil.isEmpty());
  EXPECT_FALSE(nil.containsObject("a"_hx));
  EXPECT_TRUE(nil.member("a"_hx).isNil());
  EXPECT_TRUE(nil.allObjects().isNil());
  EXPECT_FALSE(nil.isEqualToSet(nil));
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
}

TEST(NilMutableSet, DoesNothing) {
  HxMutableSet nil = nullptr;
  nil.addObject("a"_hx);
  nil.addObjectsFromArray(HxArray::arrayWithObject("a"_hx));
  nil.removeObject("a"_hx);
  nil.removeAllObjects();
  EXPECT_TRUE(nil.isNil());
}

}  // namespace
}  // namespace rondel::test
