// SPDX-License-Identifier: MIT
#include "Rondel/testing/OutOfMemory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>
#include <typeinfo>
#include <utility>

namespace rondel::test {
namespace {

std::string longText() { return std::string(100, 'x'); }

class OutOfMemoryHarness : public ::testing::Test {
 protected:
  void SetUp() override { RONDEL_NEEDS_FAILING_ALLOCATIONS(); }
};

TEST_F(OutOfMemoryHarness, WorkThatLetsTheExceptionThroughSurvives) {
  EXPECT_TRUE(survivesOutOfMemory([] { return longText() + longText(); }));
}

TEST_F(OutOfMemoryHarness, EachAllocationFailsOnceAlone) {
  // A second try succeeds if, and only if, the failure was a single one.
  const std::string fault = faultOutOfMemory([]() -> std::string {
    try {
      longText();
    } catch (const std::bad_alloc&) {
      longText();
      throw std::runtime_error("got it after all");
    }
    return "";
  });
  EXPECT_NE(fault.find("Allocation 1 failed: it threw \"got it after all\""), std::string::npos)
      << fault;
}

TEST_F(OutOfMemoryHarness, EachAllocationFailsOnceWithAllLaterOnes) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    try {
      longText();
    } catch (const std::bad_alloc&) {
      try {
        longText();
      } catch (const std::bad_alloc&) {
        throw std::bad_cast();
      }
    }
    return "";
  });
  EXPECT_NE(fault.find("Allocation 1 and all later ones failed: it threw \"std::bad_cast\""),
            std::string::npos)
      << fault;
}

TEST_F(OutOfMemoryHarness, AFailureThatEndsTheProcessIsReported) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    [&]() noexcept { longText(); }();
    return "";
  });
  EXPECT_NE(fault.find("it was killed by SIGABRT"), std::string::npos) << fault;
  EXPECT_NE(fault.find("std::bad_alloc"), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, TheStackOfTheFailureIsReported) {
  const auto result = survivesOutOfMemory([]() -> std::string {
    try {
      return longText();
    } catch (const std::bad_alloc&) {
      return "wrong";
    }
  });
  EXPECT_NE(std::string(result.message()).find("longText"), std::string::npos) << result.message();
}

TEST_F(OutOfMemoryHarness, AWrongResultIsReported) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    try {
      return longText().substr(0, 5);
    } catch (const std::bad_alloc&) {
      return "wrong";
    }
  });
  EXPECT_NE(fault.find("it returned \"wrong\", not \"xxxxx\""), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, AStateThatSpoilsTheNextRunIsReported) {
  static bool isSpoilt = false;
  const std::string fault = faultOutOfMemory([]() -> std::string {
    const bool wasSpoilt = std::exchange(isSpoilt, true);
    longText();
    isSpoilt = false;
    return wasSpoilt ? "spoilt" : "";
  });
  EXPECT_NE(fault.find("in the run after it, it returned \"spoilt\""), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, ALostBlockIsReported) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    void* volatile block = ::operator new(10);
    longText();
    ::operator delete(block);
    return "";
  });
  EXPECT_NE(fault.find("Allocation 2 failed: it began with"), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, ALostDescriptorIsReported) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    longText();
    close(descriptor);
    return "";
  });
  EXPECT_NE(fault.find("Allocation 1 failed: it began with"), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, OtherThreadsGetNoMemoryEither) {
  const std::string fault = faultOutOfMemory([]() -> std::string {
    bool isThrown = false;
    std::thread([&] {
      try {
        longText();
      } catch (const std::bad_alloc&) {
        isThrown = true;
      }
    }).join();
    if (isThrown) throw std::runtime_error("on the thread");
    return "";
  });
  EXPECT_NE(fault.find("on the thread"), std::string::npos) << fault;
}

TEST_F(OutOfMemoryHarness, WorkWithThreadsRunsAlone) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    std::string result;
    std::thread([] {}).join();
    return result + longText();
  });
}

TEST_F(OutOfMemoryHarness, AFaultOfWorkThatRunsAloneIsReported) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitOutOfMemory([]() -> std::string {
                try {
                  return longText();
                } catch (const std::bad_alloc&) {
                  return "wrong";
                }
              }),
              ::testing::ExitedWithCode(1), "it returned \"wrong\"");
}

}  // namespace
}  // namespace rondel::test
