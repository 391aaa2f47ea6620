// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "Rondel/core/propertylist/internal/ChangedDefaults.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/ResourceListener.h"

namespace {

// Set for the processes that a test starts of this program, which use the home of the first one and
// do not remove it.
constexpr char kHomeVariable[] = "RONDEL_TEST_HOME";

void useHome(const rondel::test::TemporaryDirectory& home) {
  setenv(kHomeVariable, home.path().c_str(), 1);
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
    setenv(name, home.path(name).c_str(), 1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // No test reads or changes what belongs to the person who runs it.
  std::optional<rondel::test::TemporaryDirectory> home;
  if (!getenv(kHomeVariable)) useHome(home.emplace());
  // GoogleTest owns its listeners.
  testing::UnitTest::GetInstance()->listeners().Append(new rondel::test::ResourceListener);
  const int result = RUN_ALL_TESTS();
  rondel::internal::writeChangedDefaults();  // at exit their folder is gone
  return result;
}
