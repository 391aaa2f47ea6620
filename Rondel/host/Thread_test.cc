// SPDX-License-Identifier: MIT
#include "Rondel/host/Thread.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/ConditionLock.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::SystemCalls;

class Worker : public HxObject {
 public:
  explicit Worker(std::atomic<int>& state) : _state(state) {}
  ~Worker() override { _state = 3; }
  void work(const HxHandle& lock) { asRef<HxConditionLock>(lock)->lockWhenCondition(1); }

 private:
  std::atomic<int>& _state;
};

TEST(Thread, KeepsItsTargetAliveWhileItRuns) {
  std::atomic<int> state = 0;
  const auto lock = HxConditionLock::initWithCondition(0);
  HxThread::detachNewThread<&Worker::work>(makeRef<Worker>(state).get(), lock);
  std::this_thread::yield();
  EXPECT_EQ(state, 0);
  lock->lock();
  lock->unlockWithCondition(1);
  while (state != 3) std::this_thread::yield();
}

TEST(Thread, RunsAnyCallable) {
  std::atomic<bool> done = false;
  HxThread::detachNewThread([&] { done = true; });
  while (!done) std::this_thread::yield();
}

TEST(Thread, KnowsTheMainThread) {
  EXPECT_TRUE(HxThread::isMainThread());
  std::thread([] { EXPECT_FALSE(HxThread::isMainThread()); }).join();
}

// Those that a fault of the thread itself sends, so that a crash handler of the host runs.
bool isOfAFault(int number) {
  return number == SIGSEGV || number == SIGBUS || number == SIGFPE || number == SIGILL ||
         number == SIGTRAP || number == SIGSYS;
}

TEST(Thread, BlocksTheSignalsOfOthersAndLeavesTheMakersMaskAlone) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  std::atomic<int> wrong = -1;
  HxThread::detachNewThread([&] {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    int count = 0;
    for (int number = 1; number < SIGRTMIN; ++number) {
      const bool isInternal = number == SIGKILL || number == SIGSTOP || number >= 32;
      if (!isInternal && (sigismember(&mask, number) == 0) != isOfAFault(number)) ++count;
    }
    wrong = count;
  });
  while (wrong < 0) std::this_thread::yield();
  EXPECT_EQ(wrong, 0);
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (int number = 1; number < SIGRTMIN; ++number) {
    EXPECT_EQ(sigismember(&before, number), sigismember(&after, number));
  }
}

TEST(Thread, NullTargetStartsNone) {
  const test::SystemCallsKept kept;
  auto& threads = test::countCall<&SystemCalls::pthread_create>();
  HxThread::detachNewThread<&Worker::work>(static_cast<Worker*>(nullptr));
  HxThread::detachNewThreadSelector(HxSelector("work:"), nullptr);
  EXPECT_EQ(threads.count, 0);
}

TEST(Thread, RefusedThreadRaisesAndDropsItsWork) {
  const test::SystemCallsKept kept;
  std::atomic<int> state = 0;
  test::failCall<&SystemCalls::pthread_create>(1, EAGAIN);
  try {
    HxThread::detachNewThread<&Worker::work>(makeRef<Worker>(state).get());
    FAIL();
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.reason(), "cannot start a thread: Resource temporarily unavailable"_hx);
  }
  EXPECT_EQ(state, 3);
}

}  // namespace
}  // namespace rondel
