// SPDX-License-Identifier: MIT
#include "Rondel/host/RunLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/SteadyClock.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/RunLoops.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::look;
using test::Probe;
using test::runOnce;
using test::SystemCalls;

// The main thread's loop keeps its descriptors for the life of the process.
const test::WarmUp mainLoop([] {
  const auto loop = HxRunLoop::currentRunLoop();
  loop->performBlock([] {});
  loop->runMode(HxDefaultRunLoopMode, nullptr);
});

// ---- Loops, threads and modes

TEST(RunLoop, EachThreadHasOne) {
  const auto mine = HxRunLoop::currentRunLoop();
  EXPECT_EQ(mine, HxRunLoop::currentRunLoop());
  EXPECT_EQ(mine, HxRunLoop::mainRunLoop());
  std::thread([&] {
    EXPECT_NE(HxRunLoop::currentRunLoop(), mine);
    EXPECT_EQ(HxRunLoop::mainRunLoop(), mine);
  }).join();
}

TEST(RunLoop, ModeWithNothingToWaitForEndsAtOnce) {
  EXPECT_FALSE(runOnce());
  EXPECT_FALSE(runOnce("Never heard of"_hx));
  EXPECT_FALSE(runOnce(nullptr));
  HxRunLoop::currentRunLoop()->performBlock([] {});
  EXPECT_FALSE(runOnce(HxRunLoopCommonModes));
  EXPECT_TRUE(runOnce());
}

TEST(RunLoop, RunsOnItsOwnThreadOnly) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::thread([&] { EXPECT_THROW(loop->runMode("M"_hx, nullptr), HxException); }).join();
}

TEST(RunLoop, DateInThePastLooksOnly) {
  const auto timer = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, false);
  EXPECT_TRUE(look());
  EXPECT_TRUE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr));
  timer->invalidate();
}

TEST(RunLoop, PassEndsAtTheDateWhenNothingHappens) {
  const auto timer = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, false);
  const auto before = internal::steadyNow();
  EXPECT_TRUE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                                   HxDate::dateWithTimeIntervalSinceNow(0.02)));
  EXPECT_GE(internal::steadyNow() - before, 20'000'000 - 1'000'000);
  timer->invalidate();
}

// ---- Turns

TEST(RunLoop, KeepsObjectsUntilTheTurnEnds) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([&] {
    loop->retainUntilEndOfTurn(makeRef<Probe>(&diary));
    diary += 'a';
  });
  loop->performBlock([&] { diary += 'b'; });
  runOnce();
  EXPECT_EQ(diary, "ab~");
}

TEST(RunLoop, KeptOutsideAnyTurnGoesWithTheNextOne) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->retainUntilEndOfTurn(makeRef<Probe>(&diary));
  loop->performBlock([&] { diary += 'a'; });
  runOnce();
  EXPECT_EQ(diary, "a~");
}

TEST(RunLoop, NestedTurnLeavesWhatTheOuterOneKeeps) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([&] {
    loop->retainUntilEndOfTurn(makeRef<Probe>(&diary));
    loop->performBlock([&] { loop->retainUntilEndOfTurn(makeRef<Probe>(&diary)); });
    runOnce();
    diary += 'o';
  });
  runOnce();
  EXPECT_EQ(diary, "~o~");
}

TEST(RunLoop, TurnThatRaisesLetsGoToo) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([&] {
    loop->retainUntilEndOfTurn(makeRef<Probe>(&diary));
    throw std::runtime_error("no");
  });
  EXPECT_THROW(runOnce(), std::runtime_error);
  EXPECT_EQ(diary, "~");
}

TEST(RunLoop, KeptObjectsGoWithTheThread) {
  std::string diary;
  std::thread([&] {
    HxRunLoop::currentRunLoop()->retainUntilEndOfTurn(makeRef<Probe>(&diary));
  }).join();
  EXPECT_EQ(diary, "~");
}

TEST(RunLoop, RunGoesOnUntilNothingIsLeft) {
  const auto loop = HxRunLoop::currentRunLoop();
  int passes = 0;
  std::function<void()> again = [&] {
    if (++passes < 5) loop->performBlock(again);
  };
  loop->performBlock(again);
  loop->run();
  EXPECT_EQ(passes, 5);
}

TEST(RunLoop, StopEndsRunFromAnyThread) {
  const auto loop = HxRunLoop::currentRunLoop();
  const auto forever = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, true);
  loop->stop();  // nothing runs: without effect
  std::thread stopper;
  loop->performBlock([&] { stopper = std::thread([&] { loop->stop(); }); });
  loop->run();
  stopper.join();
  forever->invalidate();
  loop->performBlock([] {});
  EXPECT_TRUE(look());
}

TEST(RunLoop, RunUntilDateEndsAtTheDate) {
  const auto forever = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, true);
  HxRunLoop::currentRunLoop()->runUntilDate(HxDate::dateWithTimeIntervalSinceNow(0.01));
  forever->invalidate();
  SUCCEED() << "it came back";
}

// ---- The system refuses

TEST(RunLoop, InterruptedWaitGoesOnForTheRestOfTheTime) {
  const test::SystemCallsKept kept;
  const auto forever = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, true);
  const auto before = internal::steadyNow();
  test::failCall<&SystemCalls::epoll_wait>(1, EINTR, 3);
  EXPECT_TRUE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                                   HxDate::dateWithTimeIntervalSinceNow(0.02)));
  EXPECT_GE(internal::steadyNow() - before, 19'000'000);
  EXPECT_GE(test::ruleOf<&SystemCalls::epoll_wait>().count, 4);
  forever->invalidate();
}

TEST(RunLoop, RefusedMeansToWaitRaiseAndAreTriedAgain) {
  const test::SystemCallsKept kept;
  std::thread([] {
    std::string diary;
    const auto loop = HxRunLoop::currentRunLoop();
    loop->performBlock([&] { diary += 'x'; });
    test::failCall<&SystemCalls::epoll_create1>(1, EMFILE);
    EXPECT_THROW(look(), HxException);
    test::failCall<&SystemCalls::eventfd>(1, ENFILE);
    EXPECT_THROW(look(), HxException);
    test::failCall<&SystemCalls::epoll_ctl>(1, ENOMEM);
    EXPECT_THROW(look(), HxException);
    EXPECT_EQ(diary, "");
    EXPECT_TRUE(look());
    EXPECT_EQ(diary, "x");
    loop->performBlock([] {});
    test::failCall<&SystemCalls::epoll_wait>(1, EBADF);
    EXPECT_THROW(look(), HxException);
  }).join();
}

// ---- Deadlines

TEST(SteadyClock, RoundsUpAndSaturates) {
  using namespace internal;
  EXPECT_EQ(millisecondsUntil(kForever), -1);
  EXPECT_EQ(millisecondsUntil(0), 0);
  EXPECT_EQ(millisecondsUntil(steadyNow() - 1), 0);
  EXPECT_GE(millisecondsUntil(steadyNow() + 5'000'001), 5);
  EXPECT_GT(millisecondsUntil(kForever - 1), 1'000'000'000);
  EXPECT_EQ(steadyTimeAfter(1e300), kForever);
  EXPECT_EQ(millisecondsUntil(steadyTimeAfter(-5)), 0);
  EXPECT_EQ(millisecondsUntil(steadyTimeAfter(0.0 / 0.0)), 0);
  EXPECT_EQ(steadyTimeOf(nullptr), 0);
  EXPECT_EQ(steadyTimeOf(HxDate::distantFuture()), kForever);
  EXPECT_EQ(millisecondsUntil(steadyTimeOf(HxDate::distantPast())), 0);
}

}  // namespace
}  // namespace rondel
