// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/ComparedPairs.h"

#include <gtest/gtest.h>

#include <vector>

#include "Rondel/core/text/String.h"

namespace rondel::internal {
namespace {

using Verdict = ComparedPairs::Verdict;

std::vector<Ref<HxObject>> objects(std::size_t count) {
  class Plain final : public HxObject {};
  std::vector<Ref<HxObject>> made;
  for (std::size_t i = 0; i < count; ++i) made.push_back(makeRef<Plain>());
  return made;
}

TEST(ComparedPairs, APairIsUnknownOnceAndEqualAfterThatInEitherOrder) {
  const auto all = objects(2);
  ComparedPairs pairs;
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::unknown);
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::equal);
  EXPECT_EQ(pairs.meet(*all[1], *all[0]), Verdict::equal);
  EXPECT_EQ(pairs.meet(*all[0], *all[0]), Verdict::unknown);
}

TEST(ComparedPairs, EqualIsForgottenSinceAMarkAndDifferentStays) {
  const auto all = objects(4);
  ComparedPairs pairs;
  pairs.meet(*all[0], *all[1]);
  const std::size_t mark = pairs.added();
  pairs.meet(*all[0], *all[2]);
  pairs.meet(*all[0], *all[3]);
  pairs.setDifferent(*all[3], *all[0]);
  pairs.forgetSince(mark);
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::equal);
  EXPECT_EQ(pairs.meet(*all[0], *all[2]), Verdict::unknown);
  EXPECT_EQ(pairs.meet(*all[0], *all[3]), Verdict::different);
}

TEST(ComparedPairs, APairThatWasForgottenAndMetAgainIsForgottenAgain) {
  const auto all = objects(2);
  ComparedPairs pairs;
  pairs.meet(*all[0], *all[1]);
  pairs.forgetSince(0);
  const std::size_t mark = pairs.added();
  pairs.meet(*all[0], *all[1]);
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::equal);
  pairs.forgetSince(mark);
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::unknown);
}

TEST(ComparedPairs, AnUnmetPairIsNotMarked) {
  const auto all = objects(2);
  ComparedPairs pairs;
  pairs.setDifferent(*all[0], *all[1]);
  EXPECT_EQ(pairs.meet(*all[0], *all[1]), Verdict::unknown);
}

TEST(ComparedPairs, GrowsAndKeepsTheLatestVerdictOfEach) {
  const auto all = objects(60);
  ComparedPairs pairs;
  for (const auto& a : all) pairs.meet(*a, *all[0]);
  pairs.forgetSince(0);
  for (const auto& a : all) {
    for (const auto& b : all) pairs.meet(*a, *b);
  }
  for (const auto& a : all) {
    for (const auto& b : all) ASSERT_EQ(pairs.meet(*a, *b), Verdict::equal);
  }
}

TEST(ComparedPairs, HoldsWhatItRemembers) {
  bool isGone = false;
  class Watched final : public HxObject {
   public:
    explicit Watched(bool& gone) : _gone(gone) {}
    ~Watched() override { _gone = true; }

   private:
    bool& _gone;
  };
  {
    ComparedPairs pairs;
    pairs.meet(*HxAny(makeRef<Watched>(isGone)).object(), *"other"_hx.object());
    EXPECT_FALSE(isGone);
  }
  EXPECT_TRUE(isGone);
}

}  // namespace
}  // namespace rondel::internal
