// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/ArrayStorage.h"

#include <gtest/gtest.h>

#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

using internal::ArrayBuilder;
using test::AllocationCounter;

std::string joined(const HxArray& array) {
  return array.componentsJoinedByString(" "_hx).toStdString();
}

TEST(ArrayBuilder, MakesAnArrayOfKnownSizeInOneAllocation) {
  const AllocationCounter counter;
  ArrayBuilder builder(3);
  builder.append("a"_hx);
  builder.append(HxAny());
  builder.append(HxString("b"_hx));
  const HxArray array = builder.finish();
  EXPECT_EQ(counter.count(), 1U);
  EXPECT_EQ(joined(array), "a b");
  EXPECT_TRUE(as<HxMutableArray>(array).isNil());
}

TEST(ArrayBuilder, GrowsBeyondWhatWasReserved) {
  ArrayBuilder builder(1);
  for (int i = 0; i < 100; ++i) builder.append(HxNumber::numberWithInt(i));
  EXPECT_EQ(builder.count(), 100U);
  const HxArray array = builder.finish();
  EXPECT_EQ(array.count(), 100U);
  EXPECT_EQ(as<HxNumber>(array.lastObject()).intValue(), 99);
}

TEST(ArrayBuilder, IsEmptyAfterwardsAndMakesAnEmptyArray) {
  ArrayBuilder builder;
  builder.append("a"_hx);
  EXPECT_EQ(joined(builder.finish()), "a");
  EXPECT_EQ(builder.count(), 0U);
  EXPECT_EQ(builder.finish().count(), 0U);
}

class Element final : public HxObject {};

TEST(ArrayBuilder, DropsWhatWasNotFinished) {
  const auto object = makeRef<Element>();
  {
    ArrayBuilder builder;
    for (int i = 0; i < 10; ++i) builder.append(object);
  }
  EXPECT_TRUE(object->isUniquelyReferenced());
}

}  // namespace
}  // namespace rondel
