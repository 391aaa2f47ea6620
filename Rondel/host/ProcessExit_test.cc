// SPDX-License-Identifier: MIT
//
// Exits that the system reports late, wrongly or not at all.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/host/Process.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::helper;
using test::statusOf;
using test::SystemCalls;
using test::taskOf;
using test::Watcher;

TEST(ProcessExit, WaitThatFailsIsReportedOnceAndTriedAgain) {
  for (const int error : {EPERM, ENOSYS, ENOMEM}) {
    const test::SystemCallsKept kept;
    const test::LogRecorder log;
    test::failCall<&SystemCalls::waitid>(1, error, 3);
    const auto task = helper("exit-with", {"3"});
    const auto watcher = makeRef<Watcher>(task);
    EXPECT_EQ(statusOf(task), 3);
    EXPECT_EQ(watcher->count, 1);
    EXPECT_EQ(log.messages(),
              std::vector<std::string>{"HxTask: could not ask for the exit of process " +
                                       std::to_string(task->processIdentifier()) + ": " +
                                       strerrordesc_np(error)});
  }
}

TEST(ProcessExit, SystemThatCannotWaitByPidfdIsAskedByPid) {
  const test::SystemCallsKept kept;
  static auto* const real = test::systemCalls.waitid.function();
  test::systemCalls.waitid =
      +[](idtype_t kind, id_t which, siginfo_t* info, int options, rusage* usage) {
        if (kind != P_PIDFD) return real(kind, which, info, options, usage);
        errno = EINVAL;
        return -1;
      };
  EXPECT_EQ(statusOf(helper("exit-with", {"3"})), 3);
}

TEST(ProcessExit, DroppedChildWhoseWaitFailsLeavesNoZombie) {
  const test::SystemCallsKept kept;
  const test::LogRecorder log;
  auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  const pid_t pid = task->processIdentifier();
  test::failCall<&SystemCalls::waitid>(1, EPERM, 5);
  task = nullptr;
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
  EXPECT_EQ(log.messages().size(), 1u);
}

TEST(ProcessExit, FalseAlarmOfTheExitIsLookedAtAgain) {
  const test::SystemCallsKept kept;
  static auto* const real = test::systemCalls.waitid.function();
  static std::atomic<int> alarms = 3;
  test::systemCalls.waitid =
      +[](idtype_t kind, id_t which, siginfo_t* info, int options, rusage* usage) {
        if (--alarms < 0) return real(kind, which, info, options, usage);
        info->si_pid = 0;
        return 0;
      };
  const auto task = helper("exit-with", {"3"});
  const auto watcher = makeRef<Watcher>(task);
  auto& waits = test::countCall<&SystemCalls::epoll_wait>();
  EXPECT_EQ(statusOf(task), 3);
  EXPECT_EQ(watcher->count, 1);
  EXPECT_LT(waits.count, 20);
}

// A child that is being traced: its pidfd is readable all the while, and its status cannot be
// taken.
struct Traced {
  static constexpr int kRounds = 3;  // of the reaper, in which it looks so
  std::atomic<int> asksHere = 0;     // by the thread of the test
  std::atomic<int> asksElsewhere = 0;
  std::thread::id thread = std::this_thread::get_id();

  bool looksEnded() {
    const bool isHere = std::this_thread::get_id() == thread;
    if (isHere) ++asksHere;
    return isHere ? asksElsewhere < kRounds : ++asksElsewhere <= kRounds;
  }
};
std::atomic<Traced*> traced = nullptr;

void trace(Traced& child) {
  traced = &child;
  static auto* const real = test::systemCalls.waitid.function();
  test::systemCalls.waitid =
      +[](idtype_t kind, id_t which, siginfo_t* info, int options, rusage* usage) {
        if (!traced.load()->looksEnded()) return real(kind, which, info, options, usage);
        info->si_pid = 0;
        return 0;
      };
}

TEST(ProcessExit, TracedChildIsLeftToTheReaper) {
  const test::SystemCallsKept kept;
  Traced child;
  trace(child);
  const auto task = helper("exit-with", {"3"});
  const auto watcher = makeRef<Watcher>(task);
  EXPECT_EQ(statusOf(task), 3);
  EXPECT_EQ(watcher->count, 1);
  EXPECT_EQ(child.asksHere, 1);
  EXPECT_GT(child.asksElsewhere, Traced::kRounds);
}

TEST(ProcessExit, DroppedTracedChildIsAskedForNowAndThen) {
  const test::SystemCallsKept kept;
  Traced child;
  auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  trace(child);
  const pid_t pid = task->processIdentifier();
  task = nullptr;
  const auto& waits = test::countCall<&SystemCalls::epoll_wait>();
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
  EXPECT_LT(waits.count, 20);
}

TEST(ProcessExit, InterruptedWaitIsTriedAgain) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::waitid>(1, EINTR, 5);
  EXPECT_EQ(statusOf(helper("exit-with", {"3"})), 3);
}

}  // namespace
}  // namespace rondel
