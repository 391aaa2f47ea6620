// SPDX-License-Identifier: MIT

#include "Rondel/host/internal/RunLoopSource.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/testing/RunLoops.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using internal::RunLoopSource;
using internal::SharedDescriptor;
using test::kPrivateMode;
using test::look;
using test::modes;
using test::Probe;
using test::runOnce;
using test::SystemCalls;
using test::watched;
using test::Watched;

// Owns a source on the current loop.
class Listener : public HxObject {
 public:
  Listener(const Ref<SharedDescriptor>& descriptor, RunLoopSource::Order order,
           std::function<void()> action = nullptr)
      : _action(std::move(action)) {
    source = makeRef<RunLoopSource>(HxRunLoop::currentRunLoop(), descriptor, order, this,
                                    [](HxObject& self) {
                                      auto& listener = static_cast<Listener&>(self);
                                      ++listener.calls;
                                      listener.source->disarm();
                                      if (listener._action) listener._action();
                                      return true;
                                    });
  }
  ~Listener() override { source->remove(); }

  Ref<RunLoopSource> source;
  int calls = 0;

 private:
  std::function<void()> _action;
};

Ref<SharedDescriptor> raisedEvent() { return internal::makeEvent(1); }

TEST(RunLoopSource, WithoutADescriptorIsReadyFromRaiseOn) {
  const auto listener = makeRef<Listener>(nullptr, RunLoopSource::Order::exit);
  listener->source->arm(nullptr);
  EXPECT_TRUE(look());  // there is something to wait for
  EXPECT_EQ(listener->calls, 0);
  listener->source->raise();
  look();
  EXPECT_EQ(listener->calls, 1);
  listener->source->arm(nullptr);
  look();
  EXPECT_EQ(listener->calls, 2);
}

TEST(RunLoopSource, MayBeRaisedBeforeItIsArmed) {
  const auto listener = makeRef<Listener>(nullptr, RunLoopSource::Order::read);
  listener->source->raise();
  EXPECT_FALSE(look());
  listener->source->arm(nullptr);
  EXPECT_TRUE(look());
  EXPECT_EQ(listener->calls, 1);
}

TEST(RunLoopSource, RaisedOnAnotherThreadEndsTheWait) {
  const auto listener = makeRef<Listener>(nullptr, RunLoopSource::Order::exit);
  listener->source->arm(nullptr);
  std::thread other([&] { listener->source->raise(); });
  while (listener->calls == 0) runOnce();
  other.join();
}

TEST(RunLoopSource, MayGetItsDescriptorAfterItWasArmed) {
  const auto listener = makeRef<Listener>(nullptr, RunLoopSource::Order::exit);
  listener->source->arm(nullptr);
  EXPECT_TRUE(listener->source->watch(raisedEvent()));
  look();
  EXPECT_EQ(listener->calls, 1);
}

TEST(RunLoopSource, StaysArmedWhenTheSystemRefusesToWatch) {
  const test::SystemCallsKept kept;
  const auto listener = makeRef<Listener>(nullptr, RunLoopSource::Order::exit);
  listener->source->arm(nullptr);
  test::failCall<&SystemCalls::epoll_ctl>(1, ENOMEM);
  EXPECT_FALSE(listener->source->watch(raisedEvent()));
  look();
  EXPECT_EQ(listener->calls, 0);
  listener->source->raise();
  look();
  EXPECT_EQ(listener->calls, 1);
}

TEST(RunLoopSource, TwoMayWatchOneDescriptor) {
  const Ref<SharedDescriptor> event = raisedEvent();
  const auto first = makeRef<Listener>(event, RunLoopSource::Order::read);
  const auto second = makeRef<Listener>(event, RunLoopSource::Order::read);
  first->source->arm(nullptr);
  second->source->arm(nullptr);
  look();
  EXPECT_EQ(first->calls, 1);
  EXPECT_EQ(second->calls, 1);
}

TEST(RunLoopSource, TheSecondOfOneDescriptorOutlivesTheFirst) {
  const Ref<SharedDescriptor> event = raisedEvent();
  auto first = makeRef<Listener>(event, RunLoopSource::Order::read);
  const auto second = makeRef<Listener>(event, RunLoopSource::Order::read);
  first->source->arm(nullptr);
  second->source->arm(nullptr);
  first = nullptr;
  look();
  EXPECT_EQ(second->calls, 1);
}

TEST(RunLoopSource, SaysWhyTheSecondOfOneDescriptorCannotBeWatched) {
  const test::SystemCallsKept kept;
  const Ref<SharedDescriptor> event = raisedEvent();
  const auto first = makeRef<Listener>(event, RunLoopSource::Order::read);
  const auto second = makeRef<Listener>(event, RunLoopSource::Order::read);
  first->source->arm(nullptr);
  test::failCall<&SystemCalls::fcntl>(1, EMFILE);
  try {
    second->source->arm(nullptr);
    ADD_FAILURE() << "nothing was raised";
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.reason(),
              HxString::stringWithFormat("cannot watch descriptor %d: Too many open files"_hx,
                                         event->fd()));
  }
  second->source->arm(nullptr);
  look();
  EXPECT_EQ(second->calls, 1);
}

TEST(RunLoopSource, AllReadsOfATurnComeBeforeAllExits) {
  constexpr int kPairs = 200;
  std::string order;
  std::vector<Ref<Listener>> listeners;
  for (int pair = 0; pair < kPairs; ++pair) {
    listeners.push_back(
        makeRef<Listener>(raisedEvent(), RunLoopSource::Order::exit, [&] { order += 'e'; }));
  }
  for (int pair = 0; pair < kPairs; ++pair) {
    listeners.push_back(
        makeRef<Listener>(raisedEvent(), RunLoopSource::Order::read, [&] { order += 'r'; }));
  }
  for (const auto& listener : listeners) listener->source->arm(nullptr);
  while (order.size() < listeners.size()) look();
  EXPECT_EQ(order, std::string(kPairs, 'r') + std::string(kPairs, 'e'));
}

TEST(RunLoopSource, ReadableFilesComeBeforeExitsToo) {
  std::string order;
  const auto file =
      internal::ownDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));  // cannot be watched
  const auto exit =
      makeRef<Listener>(raisedEvent(), RunLoopSource::Order::exit, [&] { order += 'e'; });
  const auto read = makeRef<Listener>(file, RunLoopSource::Order::read, [&] { order += 'r'; });
  exit->source->arm(nullptr);
  read->source->arm(nullptr);
  while (order.size() < 2) look();
  EXPECT_EQ(order, "re");
}

// ---- On a descriptor, as the loop runs

TEST(RunLoop, ReadableDescriptorIsReportedInItsModes) {
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

}  // namespace
}  // namespace rondel
