// SPDX-License-Identifier: MIT
#include "Rondel/core/report/internal/AspectMap.h"

#include <gtest/gtest.h>

#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

TEST(AspectMap, KeepsEveryAspectWhileItGrows) {
  internal::AspectMap map;
  const auto nameOf = [](int i) { return HxString::stringWithFormat("Aspect%d"_hx, i); };
  for (int i = 0; i < 1000; ++i) {
    map.setLevel(nameOf(i), static_cast<HxUInteger>(i));
    ASSERT_EQ(map.levelOf(nameOf(i / 2)), static_cast<HxUInteger>(i / 2));
    ASSERT_EQ(map.levelOf(nameOf(i + 1)), 0U);
  }
  map.clear();
  EXPECT_EQ(map.levelOf(nameOf(1)), 0U);
}

TEST(AspectMap, ChangesOfLevelTakeNothing) {
  internal::AspectMap map;
  map.setLevel("Topic"_hx, 1);
  const test::AllocationCounter counter;
  for (HxUInteger level = 0; level < 1000; ++level) map.setLevel("Topic"_hx, level);
  EXPECT_EQ(counter.count(), 0U);
  map.clear();
}

}  // namespace
}  // namespace rondel
