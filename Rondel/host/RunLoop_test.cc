// SPDX-License-Identifier: MIT
#include "Rondel/host/RunLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/internal/SteadyClock.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using internal::RunLoopSource;
using internal::SharedDescriptor;
using test::SystemCalls;

// The main thread's loop keeps its descriptors for the life of the process.
const test::WarmUp mainLoop([] {
  const auto loop = HxRunLoop::currentRunLoop();
  loop->performBlock([] {});
  loop->runMode(HxDefaultRunLoopMode, nullptr);
});

constexpr HxString kPrivateMode = "Private"_hx;

// Writes down what it is called with.
class Probe : public HxObject {
 public:
  explicit Probe(std::string* diary = nullptr) : _diary(diary) {}
  ~Probe() override {
    if (_diary) *_diary += "~";
  }
  void note(const HxHandle& argument) { *_diary += as<HxString>(argument).toStdString(); }
  void call() { *_diary += "!"; }
  void fired(HxTimer& timer) {
    *_diary += "t";
    if (onFire) onFire(timer);
  }
  std::function<void(HxTimer&)> onFire;

 private:
  std::string* _diary;
};

bool runOnce(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantFuture());
}
bool look(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantPast());
}

// A pipe whose reading end a source of the current loop watches.
class Watched : public HxObject {
 public:
  Watched(RunLoopSource::Order order, std::function<bool()> action) : _action(std::move(action)) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    _reading = internal::ownDescriptor(ends[0]);
    _writing = internal::ownDescriptor(ends[1]);
    source = makeRef<RunLoopSource>(
        HxRunLoop::currentRunLoop(), _reading, order, this,
        [](HxObject& self) { return static_cast<Watched&>(self)._action(); });
  }
  ~Watched() override { source->remove(); }
  void write() { EXPECT_EQ(::write(_writing->fd(), "x", 1), 1); }
  void read() {
    char byte;
    EXPECT_EQ(::read(_reading->fd(), &byte, 1), 1);
  }
  void hangUp() { _writing = nullptr; }

  Ref<RunLoopSource> source;

 private:
  std::function<bool()> _action;
  Ref<SharedDescriptor> _reading;
  Ref<SharedDescriptor> _writing;
};

Ref<Watched> watched(std::function<bool()> action,
                     RunLoopSource::Order order = RunLoopSource::Order::read) {
  return makeRef<Watched>(order, std::move(action));
}

HxArray modes(const HxString& first, const HxString& second = nullptr) {
  return HxArray::arrayWithObjects({first, second});
}

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

// ---- Calls

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
  step = 2;
  owner.join();
  waiter.join();
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

// ---- Sources

TEST(RunLoop, ReadableDescriptorIsToldInItsModes) {
  int calls = 0;
  Ref<Watched> source;
  source = watched([&] {
    ++calls;
    source->read();
    return true;
  });
  source->source->arm(modes(HxDefaultRunLoopMode, kPrivateMode));
  source->write();
  EXPECT_TRUE(runOnce(kPrivateMode));
  source->write();
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(calls, 2);
  source->source->disarm();
  EXPECT_FALSE(runOnce());
}

TEST(RunLoop, StaysReadyUntilItIsRead) {
  int calls = 0;
  const auto source = watched([&] { return ++calls > 0; });
  source->source->arm(nullptr);
  source->write();
  runOnce();
  runOnce();
  EXPECT_EQ(calls, 2);
}

TEST(RunLoop, HangUpCountsAsReadable) {
  bool told = false;
  const auto source = watched([&] { return told = true; });
  source->source->arm(nullptr);
  source->hangUp();
  runOnce();
  EXPECT_TRUE(told);
}

TEST(RunLoop, SourceOfAnotherModeCostsOneWakeUpOnly) {
  const test::SystemCallsKept kept;
  int calls = 0;
  std::string diary;
  const auto source = watched([&] { return ++calls > 0; });
  source->source->arm(modes(kPrivateMode));
  source->hangUp();
  const auto timer = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      0.05, makeRef<Probe>(&diary).get(), nullptr, false);
  auto& waits = test::countCall<&SystemCalls::epoll_wait>();
  runOnce();
  EXPECT_LE(waits.count, 4);
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(runOnce(kPrivateMode));
  EXPECT_EQ(calls, 1);
}

TEST(RunLoop, SourceThatNobodyWantsDoesNotSpin) {
  const test::SystemCallsKept kept;
  const auto source = watched([] { return true; });
  source->source->arm(nullptr);
  source->hangUp();
  source->source->disarm();
  const auto forever = HxTimer::scheduledTimerWithTimeInterval<&Probe::fired>(
      3600, makeRef<Probe>().get(), nullptr, true);
  auto& waits = test::countCall<&SystemCalls::epoll_wait>();
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                       HxDate::dateWithTimeIntervalSinceNow(0.03));
  EXPECT_LE(waits.count, 4);
  forever->invalidate();
}

TEST(RunLoop, ReadsComeBeforeExits) {
  std::string order;
  const auto exit = watched([&] { return order += 'e', true; }, RunLoopSource::Order::exit);
  const auto read = watched([&] { return order += 'r', true; });
  exit->source->arm(nullptr);
  read->source->arm(nullptr);
  exit->write();
  read->write();
  runOnce();
  EXPECT_EQ(order, "re");
}

TEST(RunLoop, SourceRemovedInTheSameBatchIsNotCalled) {
  Ref<Watched> first;
  Ref<Watched> second;
  std::string order;
  first = watched([&] { return order += '1', second = nullptr, true; });
  second = watched([&] { return order += '2', first = nullptr, true; });
  first->source->arm(nullptr);
  second->source->arm(nullptr);
  first->write();
  second->write();
  runOnce();
  EXPECT_EQ(order.size(), 1u);
}

TEST(RunLoop, NestedPassTakesTheRestOfTheBatch) {
  std::string order;
  Ref<Watched> first;
  Ref<Watched> second;
  const auto once = [&](Ref<Watched>& which, char name) {
    which->read();  // fails the test when there is nothing
    order += name;
    look();
    return true;
  };
  first = watched([&] { return once(first, '1'); });
  second = watched([&] { return once(second, '2'); });
  first->source->arm(nullptr);
  second->source->arm(nullptr);
  first->write();
  second->write();
  runOnce();
  EXPECT_EQ(order.size(), 2u);
  first = nullptr;
  second = nullptr;
}

TEST(RunLoop, TargetIsNotKeptAndTakesItsSourceWithIt) {
  auto source = watched([] { return true; });
  EXPECT_TRUE(source->isUniquelyReferenced());
  source->source->arm(nullptr);
  EXPECT_TRUE(source->isUniquelyReferenced());
  source = nullptr;
  EXPECT_FALSE(look());
}

TEST(RunLoop, SourceMayBeRemovedOnAnotherThread) {
  auto source = watched([] { return true; });
  source->source->arm(nullptr);
  std::thread remover([&] { source = nullptr; });
  EXPECT_FALSE(runOnce() && runOnce());
  remover.join();
}

TEST(RunLoop, SourceOutlivesItsLoop) {
  Ref<Watched> source;
  std::thread([&] {
    source = watched([] { return true; });
    source->source->arm(nullptr);
  }).join();
  source->source->arm(nullptr);
  source->source->disarm();
  source = nullptr;
}

TEST(RunLoop, OrdinaryFileIsAlwaysReady) {
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  int calls = 0;
  class Target : public HxObject {
   public:
    int* calls = nullptr;
  };
  const auto target = makeRef<Target>();
  target->calls = &calls;
  const auto source = makeRef<RunLoopSource>(
      HxRunLoop::currentRunLoop(), internal::ownDescriptor(file), RunLoopSource::Order::read,
      target.get(), [](HxObject& self) { return ++*static_cast<Target&>(self).calls > 0; });
  source->arm(nullptr);
  EXPECT_TRUE(runOnce());
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(calls, 2);
  source->remove();
}

TEST(RunLoop, DescriptorThatCannotBeWatchedRaises) {
  const test::SystemCallsKept kept;
  const auto source = watched([] { return true; });
  test::failCall<&SystemCalls::epoll_ctl>(1, ENOSPC);
  try {
    source->source->arm(nullptr);
    FAIL();
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), HxFileHandleOperationException);
    EXPECT_TRUE(exception.reason().hasSuffix("No space left on device"_hx));
  }
  EXPECT_FALSE(look());
  source->source->arm(nullptr);  // recovers
  EXPECT_TRUE(look());
}

// ---- Inside another loop

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
