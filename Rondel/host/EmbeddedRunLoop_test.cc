// SPDX-License-Identifier: MIT
//
// A run loop that another loop polls for.
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <string>
#include <thread>

#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/RunLoops.h"

namespace rondel {
namespace {

using test::kPrivateMode;
using test::look;
using test::modes;
using test::Probe;
using test::watched;
using test::Watched;

// Polls as another loop does. Returns whether it would have gone to sleep for good.
bool pollOnce(int milliseconds) {
  const auto loop = HxRunLoop::currentRunLoop();
  pollfd ready = {.fd = loop->fileDescriptor(), .events = POLLIN, .revents = 0};
  const int timeout = loop->pollTimeout();
  return poll(&ready, 1, timeout < 0 ? milliseconds : std::min(timeout, milliseconds)) == 0 &&
         timeout < 0;
}

// Serves the loop until nothing is left to do.
void serve() {
  while (!pollOnce(20)) look();
}

TEST(EmbeddedRunLoop, MakesCallsFiresTimersAndReads) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  Ref<Watched> source;
  source = watched([&] {
    source->read();
    diary += 'r';
    source->source->disarm();
    return true;
  });
  source->source->arm(nullptr);
  source->write();
  serve();
  EXPECT_EQ(diary, "r");
  loop->performBlock([&] { diary += 'c'; });
  EXPECT_EQ(loop->pollTimeout(), 0);
  serve();
  EXPECT_EQ(diary, "rc");
  loop->performAfterDelay<&Probe::call>(probe.get(), nullptr, 0.01);
  EXPECT_GT(loop->pollTimeout(), 0);
  serve();
  EXPECT_EQ(diary, "rc!");
  EXPECT_EQ(loop->pollTimeout(), -1);
}

TEST(EmbeddedRunLoop, CallFromAnotherThreadEndsThePoll) {
  std::string diary;
  const auto loop = HxRunLoop::currentRunLoop();
  const int fd = loop->fileDescriptor();
  std::thread caller([&] { loop->performBlock([&] { diary += 'x'; }, true); });
  pollfd ready = {.fd = fd, .events = POLLIN, .revents = 0};
  while (diary.empty()) {
    poll(&ready, 1, loop->pollTimeout());
    look();
  }
  caller.join();
  serve();
  EXPECT_EQ(diary, "x");
}

TEST(EmbeddedRunLoop, WhatNobodyWantsDoesNotSpin) {
  const auto loop = HxRunLoop::currentRunLoop();
  const auto source = watched([] { return true; });
  source->source->arm(nullptr);
  source->hangUp();
  source->source->disarm();
  std::thread([&] {
    Probe target;
    loop->perform<&Probe::call>(&target);
    loop->cancelPerformSelectorsWithTarget(&target);
  }).join();
  int rounds = 0;
  while (!pollOnce(0)) {
    EXPECT_FALSE(look());
    ASSERT_LT(++rounds, 4);
  }
}

TEST(EmbeddedRunLoop, SourceOfAnotherModeIsDueWhenItsModeIsServed) {
  const auto loop = HxRunLoop::currentRunLoop();
  int calls = 0;
  const auto source = watched([&] { return ++calls > 0; });
  source->source->arm(modes(kPrivateMode));
  source->write();
  serve();  // takes it out
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(loop->pollTimeout(kPrivateMode), 0);
  look(kPrivateMode);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(loop->pollTimeout("Never heard of"_hx), -1);
  EXPECT_EQ(loop->pollTimeout(HxRunLoopCommonModes), -1);
}

TEST(EmbeddedRunLoop, HasNoDescriptorOnceItsThreadHasEnded) {
  Ref<HxRunLoop> loop;
  std::thread([&] { loop = HxRunLoop::currentRunLoop(); }).join();
  EXPECT_EQ(loop->fileDescriptor(), -1);
  EXPECT_EQ(loop->pollTimeout(), -1);
}

}  // namespace
}  // namespace rondel
