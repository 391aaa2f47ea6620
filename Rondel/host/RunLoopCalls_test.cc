// SPDX-License-Identifier: MIT
//
// Calls that a run loop makes: from any thread, after a delay, and taken back.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Timer.h"
#include "Rondel/testing/RunLoops.h"

namespace rondel {
namespace {

using test::kPrivateMode;
using test::look;
using test::Probe;
using test::runOnce;
using test::watched;

TEST(RunLoop, CallsAreMadeInOrder) {
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  const auto loop = HxRunLoop::currentRunLoop();
  loop->perform<&Probe::note>(probe.get(), "a"_hx);
  loop->perform<&Probe::call>(probe.get());
  loop->performBlock([&] { diary += 'b'; });
  EXPECT_EQ(diary, "");
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(diary, "a!b");
}

TEST(RunLoop, CallFromAnotherThreadWakesTheLoop) {
  std::string diary;
  const auto keepsTheModeAlive = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, false);
  std::thread caller([&] { HxRunLoop::mainRunLoop()->performBlock([&] { diary += 'x'; }); });
  while (diary.empty()) runOnce();
  caller.join();
  EXPECT_EQ(diary, "x");
  keepsTheModeAlive->invalidate();
}

TEST(RunLoop, WakeUpIsNotLostWhenThePassItEndedRaises) {
  const auto loop = HxRunLoop::currentRunLoop();
  const auto source = watched([]() -> bool { throw std::runtime_error("no"); });
  source->source->arm(nullptr);
  source->write();
  std::thread([&] { loop->performBlock([] {}); }).join();
  EXPECT_THROW(runOnce(), std::runtime_error);
  source->read();
  std::string diary;
  std::thread caller([&] { loop->performBlock([&] { diary += 'x'; }, true); });
  while (diary.empty()) runOnce();
  caller.join();
}

TEST(RunLoop, CallerMayWaitUntilTheCallWasMade) {
  std::atomic<bool> ended = false;
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  std::thread caller([&] {
    performOnMainThread<&Probe::note>(probe.get(), "w"_hx, true);
    EXPECT_EQ(diary, "w");
    ended = true;
  });
  while (!ended) look();
  caller.join();
}

// Has one operation that can be called by name.
class Named : public HxObject {
 public:
  static HxClass classObject() noexcept {
    static constexpr HxMethod kMethods[] = {
        {"note:", [](HxObject& self, const HxHandle& argument) -> HxAny {
           static_cast<Named&>(self).noted = argument;
           return nullptr;
         }}};
    static const HxClassInfo info{"Named", HxObject::classObject().info(), nullptr, kMethods, 1};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }

  HxAny noted;
};

TEST(RunLoop, CallsByNameAreMadeOnTheMainThread) {
  const auto object = makeRef<Named>();
  std::thread([&] { performSelectorOnMainThread(object, HxSelector("note:"), "a"_hx); }).join();
  EXPECT_TRUE(object->noted.isNil());
  while (object->noted.isNil()) look();
  EXPECT_TRUE(object->noted.isEqual("a"_hx));
  EXPECT_TRUE(object->isUniquelyReferenced());
}

TEST(RunLoop, WaitingOnOnesOwnThreadCallsAtOnce) {
  std::string diary;
  HxRunLoop::currentRunLoop()->performBlock([&] { diary += 'x'; }, true);
  EXPECT_EQ(diary, "x");
  EXPECT_FALSE(look());
}

TEST(RunLoop, CallThatAsksForACallWaitsForTheNextPass) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([&] {
    diary += '1';
    loop->performBlock([&] { diary += '2'; });
  });
  runOnce();
  EXPECT_EQ(diary, "1");
  runOnce();
  EXPECT_EQ(diary, "12");
}

TEST(RunLoop, CallsAreMadeInCommonModesOnly) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([&] { diary += 'x'; });
  EXPECT_FALSE(look(kPrivateMode));
  EXPECT_EQ(diary, "");
  loop->addCommonMode("Made common"_hx);
  EXPECT_TRUE(look("Made common"_hx));
  EXPECT_EQ(diary, "x");
}

TEST(RunLoop, WhatACallRaisesPassesAndTheOthersRemain) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  loop->performBlock([] { throw std::runtime_error("no"); });
  loop->performBlock([&] { diary += 'x'; });
  EXPECT_THROW(runOnce(), std::runtime_error);
  EXPECT_EQ(diary, "");
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(diary, "x");
}

TEST(RunLoop, TargetAndArgumentLiveUntilTheCall) {
  std::string diary;
  HxRunLoop::currentRunLoop()->perform<&Probe::note>(makeRef<Probe>(&diary).get(), "a"_hx);
  EXPECT_EQ(diary, "");
  runOnce();
  EXPECT_EQ(diary, "a~");
}

TEST(RunLoop, DelayOfNothingMeansTheNextPass) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  loop->performBlock([&] { loop->performAfterDelay<&Probe::note>(probe.get(), "d"_hx, 0); });
  runOnce();
  EXPECT_EQ(diary, "");
  EXPECT_TRUE(look());
  EXPECT_EQ(diary, "d");
  EXPECT_FALSE(look());
}

TEST(RunLoop, DelayedCallsComeInOrderOfTheirTimes) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  loop->performAfterDelay<&Probe::note>(probe.get(), "2"_hx, 0.02);
  loop->performAfterDelay<&Probe::note>(probe.get(), "1"_hx, 0.001);
  loop->run();
  EXPECT_EQ(diary, "12");
}

TEST(RunLoop, CallsToATargetCanBeTakenBack) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  const auto other = makeRef<Probe>(&diary);
  loop->performAfterDelay<&Probe::note>(probe.get(), "no"_hx, 0);
  loop->perform<&Probe::note>(probe.get(), "no"_hx);
  loop->perform<&Probe::note>(other.get(), "yes"_hx);
  loop->cancelPerformSelectorsWithTarget(probe.get());
  loop->cancelPerformSelectorsWithTarget(nullptr);
  EXPECT_TRUE(probe->isUniquelyReferenced());
  loop->run();
  EXPECT_EQ(diary, "yes");
}

TEST(RunLoop, TakingBackTheDelayedCallsToOneTargetLooksAtNoOthers) {
  constexpr int kTargets = 100'000;
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  std::vector<Ref<Probe>> probes;
  for (int i = 0; i < kTargets; ++i) {
    probes.push_back(makeRef<Probe>(&diary));
    loop->performAfterDelay<&Probe::call>(probes.back().get(), nullptr, 3600);
  }
  for (const auto& probe : probes) loop->cancelPerformSelectorsWithTarget(probe.get());
  EXPECT_FALSE(look());
  EXPECT_EQ(diary, "");
}

TEST(RunLoop, TakingBackAfterACallWasMadeFindsTheOthers) {
  const auto loop = HxRunLoop::currentRunLoop();
  std::string diary;
  const auto probe = makeRef<Probe>(&diary);
  loop->performAfterDelay<&Probe::note>(probe.get(), "1"_hx, 0);
  loop->performAfterDelay<&Probe::note>(probe.get(), "2"_hx, 3600);
  runOnce();
  loop->cancelPerformSelectorsWithTarget(probe.get());
  loop->cancelPerformSelectorsWithTarget(probe.get());
  EXPECT_FALSE(look());
  EXPECT_EQ(diary, "1");
}

TEST(RunLoop, EndOfAThreadDropsItsCallsAndLetsWaitersGo) {
  std::string diary;
  Ref<HxRunLoop> loop;
  std::atomic<int> step = 0;
  std::thread owner([&] {
    loop = HxRunLoop::currentRunLoop();
    step = 1;
    while (step < 2) std::this_thread::yield();
  });
  while (step < 1) std::this_thread::yield();
  std::thread waiter([&] { loop->performBlock([&] { diary += 'x'; }, true); });
  loop->perform<&Probe::call>(makeRef<Probe>(&diary).get());
  std::string unused;
  const auto delayed = makeRef<Probe>(&unused);
  loop->performAfterDelay<&Probe::call>(delayed.get(), nullptr, 3600);
  step = 2;
  owner.join();
  waiter.join();
  loop->cancelPerformSelectorsWithTarget(delayed.get());
  EXPECT_TRUE(delayed->isUniquelyReferenced());
  EXPECT_EQ(diary, "~");
  loop->performBlock([&] { diary += 'x'; }, true);
  EXPECT_EQ(diary, "~");
}

TEST(RunLoop, NilTargetIsNotCalled) {
  const auto loop = HxRunLoop::currentRunLoop();
  Probe* const nobody = nullptr;
  loop->perform<&Probe::call>(nobody);
  loop->perform<&Probe::call>(nobody, nullptr, true);
  loop->performAfterDelay<&Probe::call>(nobody, nullptr, 0);
  loop->performSelector(HxSelector("call"), nullptr);
  loop->performSelectorAfterDelay(HxSelector("call"), nullptr, nullptr, 0);
  std::thread([&] { performOnMainThread<&Probe::call>(nobody, nullptr, true); }).join();
  EXPECT_FALSE(look());
}

TEST(RunLoop, TargetThatGoesWithItsCallMayUseTheLoop) {
  class Leaver : public HxObject {
   public:
    ~Leaver() override {
      HxRunLoop::currentRunLoop()->cancelPerformSelectorsWithTarget(this);
      HxRunLoop::currentRunLoop()->performBlock([] {});
    }
    void call() {}
  };
  HxRunLoop::currentRunLoop()->perform<&Leaver::call>(makeRef<Leaver>().get());
  EXPECT_TRUE(look());
  EXPECT_TRUE(look());
  EXPECT_FALSE(look());
}

// Its destructor runs after the loop of the thread has ended.
struct LateUser {
  ~LateUser() {
    if (run) run();
  }
  std::function<void()> run;
};

TEST(RunLoop, LoopOfAThreadThatIsEndingTakesNothing) {
  std::string diary;
  bool wasRun = false;
  std::thread([&] {
    thread_local LateUser user;
    user.run = [&] {
      const auto loop = HxRunLoop::currentRunLoop();
      ASSERT_TRUE(loop);
      EXPECT_EQ(loop, HxRunLoop::currentRunLoop());
      EXPECT_FALSE(look());
      loop->perform<&Probe::call>(makeRef<Probe>(&diary).get());
      loop->performBlock([&] { diary += 'x'; }, true);
      loop->retainUntilEndOfTurn(makeRef<Probe>(&diary));
      const auto timer = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
          1, makeRef<Probe>(&diary).get(), nullptr, true);
      EXPECT_FALSE(timer->isValid());
      const auto source = watched([] { return true; });
      source->source->arm(nullptr);
      EXPECT_FALSE(look());
      loop->run();
      loop->stop();
      wasRun = true;
    };
    HxRunLoop::currentRunLoop()->performBlock([] {});
  }).join();
  EXPECT_TRUE(wasRun);
  EXPECT_EQ(diary, "~~~");
}

}  // namespace
}  // namespace rondel
