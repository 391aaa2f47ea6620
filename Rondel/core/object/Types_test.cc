// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Types.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "Rondel/core/text/String.h"

namespace rondel::test {
namespace {

TEST(Types, WordsAreThoseOfTheMachine) {
  static_assert(sizeof(HxInteger) == sizeof(void*) && std::is_signed_v<HxInteger>);
  static_assert(sizeof(HxUInteger) == sizeof(void*) && std::is_unsigned_v<HxUInteger>);
  static_assert(sizeof(HxUniChar) == 2 && std::is_unsigned_v<HxUniChar>);
  static_assert(std::is_same_v<HxTimeInterval, double>);
  EXPECT_EQ(HxNotFound, static_cast<HxUInteger>(INTPTR_MAX));
}

TEST(Types, OptionsAndResultsHaveTheirNumbers) {
  EXPECT_EQ(HxLiteralSearch, 2U);
  EXPECT_EQ(HxBackwardsSearch, 4U);
  EXPECT_EQ(HxNumericSearch, 64U);
  EXPECT_EQ(HxOrderedAscending, -1);
  EXPECT_EQ(HxOrderedSame, 0);
  EXPECT_EQ(HxOrderedDescending, 1);
}

TEST(Range, HasItsLocationFirst) {
  const HxRange range{2, 3};
  EXPECT_EQ(range.location, 2U);
  EXPECT_EQ(range.length, 3U);
  EXPECT_EQ(HxMakeRange(2, 3), range);
  EXPECT_EQ(HxRange(), HxMakeRange(0, 0));
  EXPECT_NE(HxMakeRange(2, 3), HxMakeRange(3, 2));
}

TEST(Range, EndsAfterItsLastElement) {
  EXPECT_EQ(HxMaxRange({2, 3}), 5U);
  EXPECT_EQ(HxMaxRange({2, 0}), 2U);
}

TEST(Range, NotFoundIsExactInBothHalves) {
  EXPECT_EQ(kNotFoundRange.location, HxNotFound);
  EXPECT_EQ(kNotFoundRange.length, 0U);
}

TEST(Range, UnionIsTheSmallestThatHoldsBoth) {
  struct Case {
    HxRange a;
    HxRange b;
    HxRange both;
  };
  for (const Case& row :
       {Case{{2, 3}, {7, 1}, {2, 6}}, Case{{2, 5}, {3, 1}, {2, 5}}, Case{{2, 3}, {4, 4}, {2, 6}},
        Case{{0, 1}, {1, 1}, {0, 2}}, Case{{3, 0}, {5, 0}, {3, 2}}, Case{{4, 2}, {4, 2}, {4, 2}}}) {
    EXPECT_EQ(HxUnionRange(row.a, row.b), row.both);
    EXPECT_EQ(HxUnionRange(row.b, row.a), row.both);
  }
}

TEST(Range, FitsWithoutOverflow) {
  EXPECT_TRUE(HxRangeFits({0, 0}, 0));
  EXPECT_TRUE(HxRangeFits({5, 0}, 5));
  EXPECT_TRUE(HxRangeFits({2, 3}, 5));
  EXPECT_FALSE(HxRangeFits({2, 4}, 5));
  EXPECT_FALSE(HxRangeFits({6, 0}, 5));
  EXPECT_FALSE(HxRangeFits({2, ~HxUInteger{0}}, 5));
  EXPECT_FALSE(HxRangeFits({~HxUInteger{0}, 2}, 5));
  EXPECT_FALSE(HxRangeFits(kNotFoundRange, 5));
}

TEST(Range, AsText) {
  EXPECT_EQ(HxStringFromRange({12, 3}), "{12, 3}"_hx);
  EXPECT_EQ(HxStringFromRange(kNotFoundRange), "{9223372036854775807, 0}"_hx);
  EXPECT_EQ(HxStringFromRange({~HxUInteger{0}, ~HxUInteger{0}}),
            "{18446744073709551615, 18446744073709551615}"_hx);
}

}  // namespace
}  // namespace rondel::test
