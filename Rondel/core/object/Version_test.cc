// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Version.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace rondel {
namespace {

TEST(Version, NumberGrowsWithEachPartOfTheVersion) {
  EXPECT_EQ(ZevRondelVersionNumber,
            RONDEL_VERSION_MAJOR * 10000.0 + RONDEL_VERSION_MINOR * 100.0 + RONDEL_VERSION_PATCH);
}

TEST(Version, TextSaysTheSameAsTheMacros) {
  int major = -1, minor = -1, patch = -1, end = -1;
  ASSERT_EQ(std::sscanf(ZevRondelVersionString, "%d.%d.%d%n", &major, &minor, &patch, &end), 3);
  EXPECT_EQ(ZevRondelVersionString[end], '\0');
  EXPECT_EQ(major, RONDEL_VERSION_MAJOR);
  EXPECT_EQ(minor, RONDEL_VERSION_MINOR);
  EXPECT_EQ(patch, RONDEL_VERSION_PATCH);
}

}  // namespace
}  // namespace rondel
