// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Rondel/testing/ResourceListener.h"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // GoogleTest owns its listeners.
  testing::UnitTest::GetInstance()->listeners().Append(new rondel::test::ResourceListener);
  return RUN_ALL_TESTS();
}
