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
#include "Rondel/host/linux/Event.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using internal::RunLoopSource;
using internal::SharedDescriptor;
using test::SystemCalls;

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

bool look() {
  return HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantPast());
}
void waitForNews() {
  HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
}

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
  while (listener->calls == 0) waitForNews();
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

}  // namespace
}  // namespace rondel
