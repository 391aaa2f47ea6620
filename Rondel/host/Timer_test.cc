// SPDX-License-Identifier: MIT
#include "Rondel/host/Timer.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/RunLoop.h"

namespace rondel {
namespace {

class Target : public HxObject {
 public:
  void fired(HxTimer& timer) {
    ++count;
    if (reaction) reaction(timer);
  }
  int count = 0;
  std::function<void(HxTimer&)> reaction;
};

Ref<HxTimer> schedule(const Ref<Target>& target, HxTimeInterval seconds, bool repeats) {
  return HxTimer::scheduledTimerWithTimeInterval<&Target::fired>(seconds, target.get(), nullptr,
                                                                 repeats);
}

void run() { HxRunLoop::currentRunLoop()->run(); }

TEST(Timer, FiresOnceAndIsInvalid) {
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 0.001, false);
  EXPECT_TRUE(timer->isValid());
  EXPECT_FALSE(target->isUniquelyReferenced());
  run();
  EXPECT_EQ(target->count, 1);
  EXPECT_FALSE(timer->isValid());
  EXPECT_TRUE(target->isUniquelyReferenced());
}

TEST(Timer, RepeatsUntilInvalidated) {
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 0.001, true);
  target->reaction = [&](HxTimer& self) {
    EXPECT_EQ(&self, timer.get());
    if (target->count == 3) self.invalidate();
  };
  run();
  EXPECT_EQ(target->count, 3);
  timer->invalidate();
}

TEST(Timer, LeavesOutTheTimesThatItMissed) {
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 0.001, true);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr);
  EXPECT_EQ(target->count, 1);
  timer->invalidate();
}

TEST(Timer, LoopOwnsItAndItOwnsItsTarget) {
  int fired = 0;
  {
    const auto target = makeRef<Target>();
    target->reaction = [&](HxTimer&) { ++fired; };
    schedule(target, 0.001, false);
  }
  run();
  EXPECT_EQ(fired, 1);
}

TEST(Timer, CarriesItsUserInfo) {
  const auto target = makeRef<Target>();
  const auto timer = HxTimer::timerWithTimeInterval<&Target::fired>(1, target.get(), "i"_hx, true);
  EXPECT_EQ(as<HxString>(timer->userInfo()), "i"_hx);
  EXPECT_EQ(timer->timeInterval(), 1);
  EXPECT_TRUE(timer->repeats());
  timer->invalidate();
  EXPECT_TRUE(timer->userInfo().isNil());
}

TEST(Timer, FireCallsNow) {
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 3600, true);
  timer->fire();
  timer->fire();
  EXPECT_EQ(target->count, 2);
  timer->invalidate();
  timer->fire();
  EXPECT_EQ(target->count, 2);
  EXPECT_FALSE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr));
}

TEST(Timer, OneThatRaisesIsStillInvalidAfterIt) {
  const auto target = makeRef<Target>();
  target->reaction = [](HxTimer&) { throw std::runtime_error("no"); };
  const auto timer = schedule(target, 0.001, false);
  EXPECT_THROW(run(), std::runtime_error);
  EXPECT_FALSE(timer->isValid());
}

TEST(Timer, FiresInEachOfItsModesAndNoOther) {
  const auto loop = HxRunLoop::currentRunLoop();
  const auto target = makeRef<Target>();
  const auto timer =
      HxTimer::timerWithTimeInterval<&Target::fired>(0.0001, target.get(), nullptr, true);
  loop->addTimer(timer, "One"_hx);
  loop->addTimer(timer, "Two"_hx);
  EXPECT_FALSE(loop->runMode(HxDefaultRunLoopMode, nullptr));
  EXPECT_TRUE(loop->runMode("One"_hx, HxDate::distantFuture()));
  EXPECT_TRUE(loop->runMode("Two"_hx, HxDate::distantFuture()));
  EXPECT_EQ(target->count, 2);
  timer->invalidate();
  EXPECT_FALSE(loop->runMode("One"_hx, nullptr));
}

TEST(Timer, IsOnOneLoopOnly) {
  const auto timer =
      HxTimer::timerWithTimeInterval<&Target::fired>(1, makeRef<Target>().get(), nullptr, true);
  HxRunLoop::currentRunLoop()->addTimer(timer, "One"_hx);
  std::thread([&] {
    EXPECT_THROW(HxRunLoop::currentRunLoop()->addTimer(timer, "One"_hx), HxException);
  }).join();
  timer->invalidate();
  HxRunLoop::currentRunLoop()->addTimer(timer, "One"_hx);
  HxRunLoop::currentRunLoop()->addTimer(nullptr, "One"_hx);
  EXPECT_FALSE(HxRunLoop::currentRunLoop()->runMode("One"_hx, nullptr));
}

TEST(Timer, InvalidatedOnAnotherThreadWakesTheLoop) {
  const auto timer = schedule(makeRef<Target>(), 3600, true);
  std::thread other([&] { timer->invalidate(); });
  run();
  other.join();
  EXPECT_FALSE(timer->isValid());
}

TEST(Timer, EndOfTheThreadInvalidates) {
  Ref<HxTimer> timer;
  std::thread([&] { timer = schedule(makeRef<Target>(), 3600, true); }).join();
  EXPECT_FALSE(timer->isValid());
}

TEST(Timer, IntervalsThatMakeNoSenseAreShort) {
  for (const double seconds : {0.0, -1.0, 0.0 / 0.0}) {
    const auto target = makeRef<Target>();
    schedule(target, seconds, false);
    run();
    EXPECT_EQ(target->count, 1);
  }
}

}  // namespace
}  // namespace rondel
