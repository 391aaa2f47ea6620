// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "Rondel/testing/Places.h"
#include "Rondel/testing/ResourceListener.h"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // No test reads or changes what belongs to the person who runs it.
  const rondel::test::TemporaryDirectory home;
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
    setenv(name, home.path(name).c_str(), 1);
  }
  // GoogleTest owns its listeners.
  testing::UnitTest::GetInstance()->listeners().Append(new rondel::test::ResourceListener);
  return RUN_ALL_TESTS();
}
