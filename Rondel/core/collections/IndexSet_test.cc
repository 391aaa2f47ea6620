// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/IndexSet.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

std::vector<HxUInteger> listOf(const HxIndexSet& set) {
  std::vector<HxUInteger> indexes;
  for (const HxUInteger index : set) indexes.push_back(index);
  return indexes;
}
HxMutableIndexSet setOf(std::initializer_list<HxUInteger> indexes) {
  HxMutableIndexSet set = HxMutableIndexSet::indexSet();
  for (const HxUInteger index : indexes) set.addIndex(index);
  return set;
}

TEST(IndexSet, IsMadeOfNothingAnIndexOrARange) {
  EXPECT_TRUE(HxIndexSet::indexSet().isEmpty());
  EXPECT_EQ(listOf(HxIndexSet::indexSetWithIndex(7)), std::vector<HxUInteger>({7}));
  EXPECT_EQ(listOf(HxIndexSet::indexSetWithIndexesInRange({3, 2})),
            std::vector<HxUInteger>({3, 4}));
  EXPECT_TRUE(HxIndexSet::indexSetWithIndexesInRange({3, 0}).isEmpty());
  EXPECT_EQ(listOf(HxMutableIndexSet::indexSetWithIndexesInRange({3, 2})),
            std::vector<HxUInteger>({3, 4}));
}

TEST(IndexSet, KeepsItsIndexesInOrderAndOnce) {
  EXPECT_EQ(listOf(setOf({5, 1, 3, 1, 5})), std::vector<HxUInteger>({1, 3, 5}));
}

TEST(IndexSet, CountsTheIndexesInARange) {
  const HxIndexSet set = setOf({1, 2, 3, 7, 8, 20});
  EXPECT_EQ(set.count(), 6U);
  EXPECT_EQ(set.countOfIndexesInRange({0, 100}), 6U);
  EXPECT_EQ(set.countOfIndexesInRange({2, 6}), 3U);
  EXPECT_EQ(set.countOfIndexesInRange({4, 3}), 0U);
  EXPECT_EQ(set.countOfIndexesInRange({8, 1}), 1U);
  EXPECT_EQ(set.countOfIndexesInRange({8, 0}), 0U);
  EXPECT_EQ(set.countOfIndexesInRange({21, 100}), 0U);
  EXPECT_EQ(set.countOfIndexesInRange({3, ~HxUInteger{0}}), 4U);
  EXPECT_EQ(set.countOfIndexesInRange(kNotFoundRange), 0U);
}

TEST(IndexSet, FindsIndexes) {
  const HxIndexSet set = setOf({1, 2, 7});
  EXPECT_TRUE(set.containsIndex(2));
  EXPECT_FALSE(set.containsIndex(3));
  EXPECT_FALSE(set.containsIndex(HxNotFound));
  EXPECT_EQ(set.firstIndex(), 1U);
  EXPECT_EQ(set.lastIndex(), 7U);
  EXPECT_EQ(set.indexGreaterThanIndex(0), 1U);
  EXPECT_EQ(set.indexGreaterThanIndex(1), 2U);
  EXPECT_EQ(set.indexGreaterThanIndex(2), 7U);
  EXPECT_EQ(set.indexGreaterThanIndex(7), HxNotFound);
  EXPECT_EQ(set.indexGreaterThanIndex(HxNotFound), HxNotFound);
  EXPECT_EQ(HxIndexSet::indexSet().firstIndex(), HxNotFound);
  EXPECT_EQ(HxIndexSet::indexSet().lastIndex(), HxNotFound);
}

TEST(IndexSet, HoldsNoIndexFromNotFoundOn) {
  HxMutableIndexSet set = setOf({HxNotFound, ~HxUInteger{0}});
  EXPECT_TRUE(set.isEmpty());
  set.addIndexesInRange({HxNotFound - 2, ~HxUInteger{0}});
  EXPECT_EQ(listOf(set), std::vector<HxUInteger>({HxNotFound - 2, HxNotFound - 1}));
  set.removeIndexesInRange({HxNotFound - 1, ~HxUInteger{0}});
  EXPECT_EQ(set.count(), 1U);
}

TEST(IndexSet, EqualsByIndexes) {
  const HxIndexSet set = HxIndexSet::indexSetWithIndexesInRange({1, 3});
  EXPECT_TRUE(set.isEqual(setOf({3, 1, 2})));
  EXPECT_TRUE(set.isEqualToIndexSet(setOf({3, 1, 2})));
  EXPECT_EQ(set.hash(), setOf({3, 1, 2}).hash());
  EXPECT_FALSE(set.isEqual(setOf({1, 2})));
  EXPECT_FALSE(set.isEqual("(1-3)"_hx));
}

TEST(IndexSet, DescribesItsRanges) {
  EXPECT_EQ(shown(HxIndexSet::indexSet()), "()");
  EXPECT_EQ(shown(setOf({7, 1, 3, 2})), "(1-3, 7)");
}

TEST(MutableIndexSet, DoesWhatASetOfNumbersDoes) {
  constexpr HxUInteger kEnd = 40;
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    HxMutableIndexSet set = HxMutableIndexSet::indexSet();
    std::set<HxUInteger> model;
    for (int step = 0; step < 30; ++step) {
      const HxRange range{random() % kEnd, random() % 6};
      const bool isAdded = random() % 3 != 0;
      for (HxUInteger i = range.location; i < HxMaxRange(range); ++i) {
        if (isAdded) model.insert(i);
        if (!isAdded) model.erase(i);
      }
      if (isAdded) set.addIndexesInRange(range);
      if (!isAdded) set.removeIndexesInRange(range);
      ASSERT_EQ(listOf(set), std::vector<HxUInteger>(model.begin(), model.end()));
      ASSERT_EQ(set.count(), model.size());
      const HxRange asked{random() % kEnd, random() % kEnd};
      ASSERT_EQ(set.countOfIndexesInRange(asked),
                static_cast<HxUInteger>(std::distance(model.lower_bound(asked.location),
                                                      model.lower_bound(HxMaxRange(asked)))));
      // The same indexes are the same ranges, however they came.
      HxMutableIndexSet again = HxMutableIndexSet::indexSet();
      for (auto i = model.rbegin(); i != model.rend(); ++i) again.addIndex(*i);
      ASSERT_TRUE(set.isEqual(again)) << shown(set) << shown(again);
    }
  }
}

TEST(MutableIndexSet, RemovesSingleOnesAndAll) {
  HxMutableIndexSet set = HxMutableIndexSet::indexSetWithIndexesInRange({1, 5});
  set.removeIndex(3);
  set.removeIndex(30);
  EXPECT_EQ(shown(set), "(1-2, 4-5)");
  set.removeAllIndexes();
  EXPECT_TRUE(set.isEmpty());
}

TEST(MutableIndexSet, StandsApartFromItsCopies) {
  HxMutableIndexSet set = setOf({1});
  const HxIndexSet before = set.copy();
  HxMutableIndexSet other = set.mutableCopy();
  set.addIndex(2);
  other.removeAllIndexes();
  EXPECT_EQ(shown(before), "(1)");
  EXPECT_EQ(shown(set), "(1-2)");
  EXPECT_EQ(shown(other), "()");
}

TEST(IndexSet, LoopsTakeNothingFromTheHeap) {
  const HxIndexSet set = HxIndexSet::indexSetWithIndexesInRange({1, 1000});
  const AllocationCounter counter;
  HxUInteger sum = 0;
  for (const HxUInteger index : set) sum += index;
  EXPECT_EQ(sum, 500500U);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(NilIndexSet, AnswersZeroToEverything) {
  const HxIndexSet nil;
  EXPECT_EQ(nil.count(), 0U);
  EXPECT_TRUE(nil.isEmpty());
  EXPECT_FALSE(nil.containsIndex(0));
  EXPECT_EQ(nil.countOfIndexesInRange({0, 5}), 0U);
  EXPECT_EQ(nil.firstIndex(), HxNotFound);
  EXPECT_EQ(nil.lastIndex(), HxNotFound);
  EXPECT_EQ(nil.indexGreaterThanIndex(0), HxNotFound);
  EXPECT_FALSE(nil.isEqualToIndexSet(nil));
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
  EXPECT_TRUE(listOf(nil).empty());
}

TEST(NilMutableIndexSet, DoesNothing) {
  HxMutableIndexSet nil = nullptr;
  nil.addIndex(1);
  nil.addIndexesInRange({1, 2});
  nil.removeIndex(1);
  nil.removeIndexesInRange({1, 2});
  nil.removeAllIndexes();
  EXPECT_TRUE(nil.isNil());
}

}  // namespace
}  // namespace rondel::test
