// SPDX-License-Identifier: MIT
#include "Rondel/host/Timer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

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

TEST(Timer, AddedToTheLoopOfAnEndedThreadIsInvalid) {
  Ref<HxRunLoop> loop;
  std::thread([&] { loop = HxRunLoop::currentRunLoop(); }).join();
  const auto target = makeRef<Target>();
  const auto timer = HxTimer::timerWithTimeInterval<&Target::fired>(1, target.get(), nullptr, true);
  loop->addTimer(timer, HxDefaultRunLoopMode);
  EXPECT_FALSE(timer->isValid());
  EXPECT_TRUE(target->isUniquelyReferenced());
}

TEST(Timer, MoreThanACenturyAwayKeepsItsMode) {
  const auto timer = schedule(makeRef<Target>(), 1e300, true);
  EXPECT_TRUE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr));
  timer->invalidate();
  EXPECT_FALSE(HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr));
}

TEST(Timer, NullTargetIsNotCalled) {
  const auto timer = schedule(nullptr, 0.0001, false);
  run();
  EXPECT_FALSE(timer->isValid());
}

// The callback drops the last reference, and uses the timer after that.
TEST(Timer, FireKeepsATimerThatItsCallbackDrops) {
  enum Form { dropsOnce, dropsRepeating, invalidatesAndDrops };
  for (const Form form : {dropsOnce, dropsRepeating, invalidatesAndDrops}) {
    const auto target = makeRef<Target>();
    Ref<HxTimer> timer = HxTimer::timerWithTimeInterval<&Target::fired>(3600, target.get(), "i"_hx,
                                                                        form != dropsOnce);
    if (form == invalidatesAndDrops) {
      HxRunLoop::currentRunLoop()->addTimer(timer, HxDefaultRunLoopMode);
    }
    HxTimer* const raw = timer.get();
    target->reaction = [&](HxTimer& self) {
      if (form == invalidatesAndDrops) self.invalidate();
      timer = nullptr;
      EXPECT_EQ(self.timeInterval(), 3600);
    };
    raw->fire();
    EXPECT_EQ(target->count, 1);
    EXPECT_TRUE(target->isUniquelyReferenced());
  }
}

TEST(Timer, IsSkippedInsideItsOwnCallback) {
  constexpr int kTooDeep = 5;
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 0.0001, true);
  int depth = 0;
  int deepest = 0;
  target->reaction = [&](HxTimer&) {
    deepest = std::max(deepest, ++depth);
    usleep(500);  // it would be due again by now
    if (depth < kTooDeep) HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr);
    --depth;
  };
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
  EXPECT_EQ(deepest, 1);
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
  EXPECT_EQ(target->count, 2);
  timer->invalidate();
}

TEST(Timer, OthersFireInsideACallback) {
  const auto outer = makeRef<Target>();
  const auto inner = makeRef<Target>();
  const auto timer = schedule(outer, 0.0001, true);
  outer->reaction = [&](HxTimer& self) {
    schedule(inner, 0.0001, false);
    while (inner->count == 0) {
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
    }
    self.invalidate();
  };
  run();
  EXPECT_EQ(outer->count, 1);
  EXPECT_EQ(inner->count, 1);
}

TEST(Timer, ThatRaisesFiresAgain) {
  const auto target = makeRef<Target>();
  const auto timer = schedule(target, 0.0001, true);
  target->reaction = [](HxTimer&) { throw std::runtime_error("no"); };
  EXPECT_THROW(run(), std::runtime_error);
  EXPECT_THROW(run(), std::runtime_error);
  EXPECT_EQ(target->count, 2);
  timer->invalidate();
}

TEST(Timer, InvalidatedByAnotherThatIsDueToo) {
  const auto first = makeRef<Target>();
  const auto second = makeRef<Target>();
  const auto one = schedule(first, 0.0001, true);
  const auto two = schedule(second, 0.0002, true);
  first->reaction = [&](HxTimer&) { two->invalidate(); };
  usleep(1000);
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr);
  EXPECT_EQ(second->count, 0);
  one->invalidate();
}

// Either the one or the other comes first; in both cases the loop forgets the timer.
TEST(Timer, InvalidatedWhileItIsAddedLeavesNothing) {
  constexpr int kRounds = 5000;
  const auto loop = HxRunLoop::currentRunLoop();
  const auto target = makeRef<Target>();
  std::atomic<HxTimer*> added = nullptr;
  std::atomic<bool> isOver = false;
  std::atomic<int> invalidated = 0;
  std::thread other([&] {
    while (!isOver) {
      if (HxTimer* const timer = added.exchange(nullptr)) {
        timer->invalidate();
        timer->release();
        ++invalidated;
      }
    }
  });
  int left = 0;
  for (int round = 0; round < kRounds && left == 0; ++round) {
    const auto timer =
        HxTimer::timerWithTimeInterval<&Target::fired>(3600, target.get(), nullptr, true);
    timer->retain();
    added = timer.get();
    loop->addTimer(timer, "Race"_hx);
    while (invalidated <= round) std::this_thread::yield();
    if (loop->runMode("Race"_hx, nullptr)) ++left;
  }
  isOver = true;
  other.join();
  EXPECT_EQ(left, 0);
  EXPECT_TRUE(target->isUniquelyReferenced());
}

TEST(Timer, ManyFireInTheOrderOfTheirTimes) {
  constexpr int kTimers = 2000;
  std::vector<int> order;
  for (int index = 0; index < kTimers; ++index) {
    const auto target = makeRef<Target>();
    const int place = (index * 7919) % kTimers;
    target->reaction = [&order, place](HxTimer&) { order.push_back(place); };
    schedule(target, 0.001 + place * 0.00001, false);
  }
  usleep(100'000);
  run();
  ASSERT_EQ(order.size(), std::size_t{kTimers});
  // Those set later with a longer time may come closer than the time that setting them took.
  EXPECT_EQ(std::set<int>(order.begin(), order.end()).size(), order.size());
}

// Far enough apart for the order not to depend on when they were set.
TEST(Timer, FireInTheOrderOfTheirTimes) {
  constexpr int kTimers = 40;
  std::vector<int> order;
  for (int index = 0; index < kTimers; ++index) {
    const auto target = makeRef<Target>();
    const int place = (index * 7) % kTimers;
    target->reaction = [&order, place](HxTimer&) { order.push_back(place); };
    schedule(target, 0.5 + place * 0.001, false);
  }
  usleep(600'000);
  run();
  ASSERT_EQ(order.size(), std::size_t{kTimers});
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

// The square of so many would not end within the time that a test has.
TEST(Timer, ManyAreAddedAndInvalidatedInLinearTime) {
  const auto target = makeRef<Target>();
  std::vector<Ref<HxTimer>> timers(300'000);
  for (auto& timer : timers) timer = schedule(target, 3600, false);
  for (const auto& timer : timers) timer->invalidate();
  timers.clear();
  EXPECT_TRUE(target->isUniquelyReferenced());
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
