// SPDX-License-Identifier: MIT
#pragma once

// Runs a piece of work once for each of its allocations, and lets that allocation fail.
//
//     TEST(OutOfMemory, Joining) {
//       EXPECT_TRUE(survivesOutOfMemory([] { return joined("a"_hx, "b"_hx).toStdString(); }));
//     }
//
// Each run is a forked child of its own. The n-th allocation fails there, for n = 1, 2, 3 and so on
// until the work runs through without reaching it; above 300 every tenth n. Each n runs twice: once
// with a single failure, and once with all later allocations failing too. A run must end in
// std::bad_alloc or in the right result. Afterwards the same work must run right in the same child,
// which must then hold no more descriptors, threads, children and blocks than before.
//
// Work that starts children or threads is run alone:
//
//     EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] { return outputOf(child()); });
//
// The test program starts itself again for that, since a forked child has none of the threads that
// the library keeps. There each run begins with the filling of what the process keeps.
//
// Under the thread sanitizer allocations cannot fail: call RONDEL_NEEDS_FAILING_ALLOCATIONS first.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "Rondel/testing/AllocationCounter.h"

#define RONDEL_NEEDS_FAILING_ALLOCATIONS() \
  if (!::rondel::test::canFailAllocations()) GTEST_SKIP() << "the sanitizer needs its own memory"

#define EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE(...)                                                 \
  do {                                                                                           \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                              \
    EXPECT_EXIT(::rondel::test::exitOutOfMemory(__VA_ARGS__), ::testing::ExitedWithCode(0), ""); \
  } while (false)

namespace rondel::test {

/// Returns success if `work` survives all its failing allocations. A failure tells the n, whether
/// it was single or lasting, what went wrong, what the child wrote to standard error, and the stack
/// of the first allocation that failed. `work` runs in this process first, to fill what the process
/// keeps; what it returns then is the right result.
::testing::AssertionResult survivesOutOfMemory(const std::function<std::string()>& work);

/// Returns what survivesOutOfMemory tells, without the stack, which takes a second to make; empty
/// if the work survives.
std::string faultOutOfMemory(const std::function<std::string()>& work);

/// Ends the process: with status 0 if the work survives, else with 1 after the fault was written to
/// standard error. This process does not run the work itself.
[[noreturn]] void exitOutOfMemory(const std::function<std::string()>& work);

}  // namespace rondel::test
