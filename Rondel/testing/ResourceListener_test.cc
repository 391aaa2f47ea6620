// SPDX-License-Identifier: MIT
#include "Rondel/testing/ResourceListener.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <latch>
#include <thread>

namespace rondel::test {
namespace {

const ::testing::TestInfo& thisTest() {
  return *::testing::UnitTest::GetInstance()->current_test_info();
}

bool warmedUp = false;
const WarmUp warmUp([] { warmedUp = true; });

TEST(ResourceListener, WarmUpsRanBeforeTheTests) { EXPECT_TRUE(warmedUp); }

TEST(ResourceListener, AnOpenDescriptorFailsTheTest) {
  ResourceListener listener(0);
  listener.OnTestStart(thisTest());
  ProcessResources left = ProcessResources::now();
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ++left.descriptors;
  EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(thisTest()), "left " + left.text());
  close(descriptor);
  listener.OnTestEnd(thisTest());
}

TEST(ResourceListener, AThreadThatStillRunsFailsTheTest) {
  ResourceListener listener(0);
  std::latch ended(1);
  listener.OnTestStart(thisTest());
  ProcessResources left = ProcessResources::now();
  std::thread thread([&] { ended.wait(); });
  ++left.threads;
  EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(thisTest()), "left " + left.text());
  ended.count_down();
  thread.join();
}

TEST(ResourceListener, AChildThatNobodyWaitedForFailsTheTest) {
  ResourceListener listener(0);
  listener.OnTestStart(thisTest());
  ProcessResources left = ProcessResources::now();
  const pid_t child = fork();
  if (child == 0) _exit(0);
  ++left.children;
  EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(thisTest()), "left " + left.text());
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  listener.OnTestEnd(thisTest());
}

TEST(ResourceListener, WhatEndsSoonIsForgiven) {
  ResourceListener listener;
  listener.OnTestStart(thisTest());
  std::thread late([] { usleep(50'000); });
  listener.OnTestEnd(thisTest());
  late.join();
}

}  // namespace
}  // namespace rondel::test
