// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Number.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kTwoTo53 = 9007199254740992.0;

HxNumber integer(HxInteger value) { return HxNumber::numberWithInteger(value); }
HxNumber natural(HxUInteger value) { return HxNumber::numberWithUnsignedInteger(value); }
HxNumber real(double value) { return HxNumber::numberWithDouble(value); }

TEST(Number, ReturnsItsValueAsEveryKind) {
  struct Case {
    HxNumber number;
    int asInt;
    HxInteger asInteger;
    HxUInteger asNatural;
    double asReal;
    bool asBool;
    const char* text;
  };
  const Case cases[] = {
      {HxNumber::numberWithInt(0), 0, 0, 0, 0, false, "0"},
      {HxNumber::numberWithInt(-7), -7, -7, ~HxUInteger{6}, -7, true, "-7"},
      {HxNumber::numberWithInt(INT_MAX), INT_MAX, INT_MAX, INT_MAX, INT_MAX, true, "2147483647"},
      {integer(INTPTR_MIN), 0, INTPTR_MIN, HxUInteger{1} << 63, -0x1p63, true,
       "-9223372036854775808"},
      {integer(0x100000002), 2, 0x100000002, 0x100000002, 4294967298.0, true, "4294967298"},
      {natural(~HxUInteger{0}), -1, -1, ~HxUInteger{0}, 0x1p64, true, "18446744073709551615"},
      {natural(7), 7, 7, 7, 7, true, "7"},
      {real(1.75), 1, 1, 1, 1.75, true, "1.75"},
      {real(-1.75), -1, -1, 0, -1.75, true, "-1.75"},
      {real(0.1), 0, 0, 0, 0.1, true, "0.1"},
      {real(1e300), INT_MAX, INTPTR_MAX, UINTPTR_MAX, 1e300, true, "1e+300"},
      {real(-1e300), INT_MIN, INTPTR_MIN, 0, -1e300, true, "-1e+300"},
      {real(kInfinity), INT_MAX, INTPTR_MAX, UINTPTR_MAX, kInfinity, true, "inf"},
      {HxNumber::numberWithBool(true), 1, 1, 1, 1, true, "1"},
      {HxNumber::numberWithBool(false), 0, 0, 0, 0, false, "0"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(row.number.intValue(), row.asInt) << row.text;
    EXPECT_EQ(row.number.integerValue(), row.asInteger) << row.text;
    EXPECT_EQ(row.number.unsignedIntegerValue(), row.asNatural) << row.text;
    EXPECT_EQ(row.number.doubleValue(), row.asReal) << row.text;
    EXPECT_EQ(row.number.boolValue(), row.asBool) << row.text;
    EXPECT_EQ(row.number.stringValue().toStdString(), row.text);
    EXPECT_EQ(shown(row.number), row.text);
  }
}

TEST(Number, ThatIsNoneIsZeroAndFalse) {
  EXPECT_EQ(real(kNaN).intValue(), 0);
  EXPECT_EQ(real(kNaN).integerValue(), 0);
  EXPECT_EQ(real(kNaN).unsignedIntegerValue(), 0U);
  EXPECT_TRUE(std::isnan(real(kNaN).doubleValue()));
  EXPECT_FALSE(real(kNaN).boolValue());
  EXPECT_FALSE(real(-0.0).boolValue());
}

TEST(Number, KnowsItsKind) {
  EXPECT_TRUE(HxNumber::numberWithBool(true).isBoolean());
  EXPECT_FALSE(HxNumber::numberWithInt(1).isBoolean());
  EXPECT_FALSE(real(1).isBoolean());
  EXPECT_TRUE(real(1).isReal());
  EXPECT_FALSE(HxNumber::numberWithInt(1).isReal());
  EXPECT_FALSE(HxNumber::numberWithBool(true).isReal());
}

TEST(Number, OrdersByValueWhateverTheKinds) {
  const std::vector<std::vector<HxNumber>> ascending = {
      {real(kNaN)},
      {real(-kInfinity)},
      {real(-0x1p63), integer(INTPTR_MIN)},
      {integer(-2), real(-2)},
      {real(-1.5)},
      {integer(0), real(0), real(-0.0), natural(0), HxNumber::numberWithBool(false)},
      {real(0.5)},
      {integer(1), real(1), natural(1), HxNumber::numberWithBool(true)},
      {real(kTwoTo53), integer(9007199254740992)},
      {integer(9007199254740993), natural(9007199254740993)},
      {integer(INTPTR_MAX), natural(INTPTR_MAX)},
      {real(0x1p63), natural(HxUInteger{1} << 63)},
      {natural(~HxUInteger{0})},
      {real(0x1p64)},
      {real(kInfinity)},
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t k = 0; k < ascending.size(); ++k) {
      for (const HxNumber& a : ascending[i]) {
        for (const HxNumber& b : ascending[k]) {
          EXPECT_EQ(a.compare(b), (i > k) - (i < k)) << shown(a) << ' ' << shown(b);
          EXPECT_EQ(a.isEqual(b), i == k) << shown(a) << ' ' << shown(b);
          if (i != k) continue;
          EXPECT_EQ(a.hash(), b.hash()) << shown(a) << ' ' << shown(b);
        }
      }
    }
  }
}

TEST(Number, DiffersFromOtherObjects) {
  EXPECT_FALSE(integer(1).isEqual("1"_hx));
  EXPECT_FALSE(HxAny("1"_hx).isEqual(integer(1)));
  EXPECT_NE(integer(1).compare("1"_hx), HxOrderedSame);
  EXPECT_TRUE(as<HxNumber>("1"_hx).isNil());
}

TEST(Number, SmallOnesAndBooleansAreSharedAndCostNothing) {
  const AllocationCounter counter;
  for (int value : {-1, 0, 1, 255}) {
    EXPECT_EQ(HxNumber::numberWithInt(value).intValue(), value);
    EXPECT_EQ(integer(value).object(), HxNumber::numberWithInt(value).object());
  }
  EXPECT_EQ(natural(255).object(), integer(255).object());
  EXPECT_EQ(HxNumber::numberWithBool(true).object(), HxNumber::numberWithBool(true).object());
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_EQ(integer(-2).intValue(), -2);
  EXPECT_EQ(integer(256).intValue(), 256);
  EXPECT_EQ(counter.count(), 2U);
}

TEST(Number, IsItsOwnCopy) {
  const HxNumber number = integer(1000);
  EXPECT_EQ(number.copy().object(), number.object());
  EXPECT_EQ(number.mutableCopy().object(), number.object());
}

TEST(NilNumber, AnswersZeroToEverything) {
  const HxNumber nil;
  EXPECT_EQ(nil.intValue(), 0);
  EXPECT_EQ(nil.integerValue(), 0);
  EXPECT_EQ(nil.unsignedIntegerValue(), 0U);
  EXPECT_EQ(nil.doubleValue(), 0.0);
  EXPECT_FALSE(nil.boolValue());
  EXPECT_FALSE(nil.isBoolean());
  EXPECT_FALSE(nil.isReal());
  EXPECT_TRUE(nil.stringValue().isNil());
}

}  // namespace
}  // namespace rondel::test
