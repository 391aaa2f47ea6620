// SPDX-License-Identifier: MIT
//
// Signals to a child and its group, waits with a deadline, and what a child has used.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>
#include <string>
#include <thread>

#include "Rondel/host/Process.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::helper;
using test::outputOf;
using test::shell;
using test::statusOf;
using test::stringOf;
using test::SystemCalls;
using test::taskOf;

Ref<HxTask> launchedSleeper() {
  const auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  return task;
}

// A child that says when it has begun, and then runs until it is killed.
struct Deaf {
  Ref<HxTask> task = shell("trap '' TERM; echo; exec sleep 1000");
  Ref<HxFileHandle> output;

  Deaf() {
    const auto pipe = HxPipe::init();
    output = pipe->fileHandleForReading();
    task->setStandardOutput(pipe);
    task->launch();
    EXPECT_EQ(stringOf(output->availableData()), "\n");
  }
};

// ---- Signals to the child

TEST(ProcessSignals, AnySignalCanBeSent) {
  for (const int signal : {SIGHUP, SIGUSR1, SIGKILL, SIGRTMIN}) {
    const auto task = launchedSleeper();
    EXPECT_TRUE(task->sendSignal(signal));
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), signal);
  }
}

TEST(ProcessSignals, ZeroAsks) {
  const auto task = launchedSleeper();
  EXPECT_TRUE(task->sendSignal(0));
  EXPECT_TRUE(task->isRunning());
  task->terminate();
  task->waitUntilExit();
  EXPECT_FALSE(task->sendSignal(0));
}

TEST(ProcessSignals, WhatIsNoSignalIsNotSent) {
  const auto task = launchedSleeper();
  EXPECT_FALSE(task->sendSignal(-1));
  EXPECT_FALSE(task->sendSignal(1000));
  EXPECT_TRUE(task->isRunning());
  task->terminate();
  task->waitUntilExit();
}

TEST(ProcessSignals, AreNotSentBeforeTheLaunch) {
  const auto task = taskOf("/bin/sleep", {"1000"});
  EXPECT_FALSE(task->sendSignal(SIGTERM));
  EXPECT_FALSE(task->sendSignalToProcessGroup(SIGTERM));
  task->terminateWithGraceTime(0);
}

TEST(ProcessSignals, GoByThePidfd) {
  const test::SystemCallsKept kept;
  auto& killed = test::countCall<&SystemCalls::kill>();
  const auto task = launchedSleeper();
  EXPECT_FALSE(task->sendSignal(1000));
  task->terminate();
  task->waitUntilExit();
  EXPECT_EQ(killed.count, 0);
}

TEST(ProcessSignals, GoByThePidWhereThePidfdIsForbidden) {
  for (const int error : {EPERM, ENOSYS}) {
    const test::SystemCallsKept kept;
    test::failCall<&SystemCalls::pidfd_send_signal>(1, error);
    auto& killed = test::countCall<&SystemCalls::kill>();
    const auto task = launchedSleeper();
    EXPECT_TRUE(task->sendSignal(SIGTERM));
    task->waitUntilExit();
    EXPECT_EQ(killed.count, 1);
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
  }
}

TEST(ProcessSignals, AreNotSentByThePidWhereThePidfdRefusesThem) {
  for (const int error : {EBADF, EINVAL, ESRCH}) {
    const test::SystemCallsKept kept;
    test::failCall<&SystemCalls::pidfd_send_signal>(1, error);
    auto& killed = test::countCall<&SystemCalls::kill>();
    const auto task = launchedSleeper();
    EXPECT_FALSE(task->sendSignal(SIGTERM));
    EXPECT_TRUE(task->isRunning());
    EXPECT_EQ(killed.count, 0);
    task->terminate();
    task->waitUntilExit();
  }
}

// Nobody knows then whether the pid is still the child's.
TEST(ProcessSignals, AreNotSentByThePidOfAChildThatTheSystemDoesNotTellOf) {
  const test::SystemCallsKept kept;
  const test::LogRecorder log;
  const auto task = launchedSleeper();
  test::failCall<&SystemCalls::waitid>(1, EINVAL, 2);  // by pidfd and by pid
  test::failCall<&SystemCalls::pidfd_send_signal>(1, EPERM);
  const auto& kills = test::countCall<&SystemCalls::kill>();
  EXPECT_FALSE(task->sendSignal(SIGTERM));
  EXPECT_EQ(kills.count, 0);
  EXPECT_TRUE(task->sendSignal(SIGTERM));
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(ProcessSignals, NoneIsSentToAStolenChildWhateverIsForbidden) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::pidfd_send_signal>(1, EPERM, 1000);
  auto& killed = test::countCall<&SystemCalls::kill>();
  const auto task = helper("exit-with");
  task->launch();
  waitpid(task->processIdentifier(), nullptr, 0);
  EXPECT_FALSE(task->sendSignal(SIGTERM));
  EXPECT_EQ(killed.count, 0);
  task->waitUntilExit();
}

// ---- Signals to the group

TEST(ProcessSignals, GroupMeansTheDescendantsToo) {
  const auto task = shell("sleep 1000 & echo; wait");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  task->setStartsNewProcessGroup(true);
  task->launch();
  EXPECT_EQ(stringOf(pipe->fileHandleForReading()->availableData()), "\n");
  EXPECT_TRUE(task->sendSignalToProcessGroup(SIGTERM));
  // The end comes when neither of the two holds the pipe.
  EXPECT_EQ(stringOf(pipe->fileHandleForReading()->readDataToEndOfFile()), "");
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(ProcessSignals, GroupOfAChildThatLeadsNoneIsLeftAlone) {
  const auto task = launchedSleeper();  // in the group of this program
  EXPECT_FALSE(task->sendSignalToProcessGroup(SIGKILL));
  task->terminate();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(ProcessSignals, GroupIsReachedWhileItsLeaderIsAZombie) {
  const auto task = shell("sleep 1000 & echo");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  task->setStartsNewProcessGroup(true);
  task->launch();
  siginfo_t info = {};
  waitid(P_PID, static_cast<id_t>(task->processIdentifier()), &info, WEXITED | WNOWAIT);
  EXPECT_TRUE(task->sendSignalToProcessGroup(SIGTERM));
  EXPECT_EQ(stringOf(pipe->fileHandleForReading()->readDataToEndOfFile()), "\n");
  EXPECT_EQ((task->waitUntilExit(), task->terminationStatus()), 0);
}

TEST(ProcessSignals, GroupIsLeftAloneAfterTheExitWasSeenOrStolen) {
  const test::SystemCallsKept kept;
  auto& killed = test::countCall<&SystemCalls::kill>();
  for (const bool isStolen : {false, true}) {
    const auto task = helper("exit-with");
    task->setStartsNewProcessGroup(true);
    task->launch();
    if (isStolen) {
      waitpid(task->processIdentifier(), nullptr, 0);
    } else {
      task->waitUntilExit();
    }
    EXPECT_FALSE(task->sendSignalToProcessGroup(SIGTERM));
    task->waitUntilExit();
  }
  EXPECT_EQ(killed.count, 0);
}

// ---- Grace time

TEST(ProcessSignals, GraceTimeIsNotNeededByAChildThatObeys) {
  const auto task = launchedSleeper();
  task->terminateWithGraceTime(1000);
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(ProcessSignals, ChildThatDoesNotObeyIsKilledAfterTheGraceTime) {
  const auto nan = std::numeric_limits<double>::quiet_NaN();
  for (const double seconds : {0.05, 0.0, -1.0, nan}) {
    const Deaf deaf;
    deaf.task->terminateWithGraceTime(seconds);
    deaf.task->waitUntilExit();
    EXPECT_EQ(deaf.task->terminationStatus(), SIGKILL);
  }
}

TEST(ProcessSignals, ShorterGraceTimeCounts) {
  const Deaf deaf;
  deaf.task->terminateWithGraceTime(0.01);
  deaf.task->terminateWithGraceTime(1000);
  deaf.task->waitUntilExit();
  EXPECT_EQ(deaf.task->terminationStatus(), SIGKILL);
}

TEST(ProcessSignals, GraceTimeNeedsNoRunLoopAndNoPidfd) {
  for (const bool hasPidfd : {true, false}) {
    const test::SystemCallsKept kept;
    if (!hasPidfd) test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
    const Deaf deaf;
    deaf.task->terminateWithGraceTime(0.01);
    while (deaf.task->isRunning()) usleep(1000);
    EXPECT_EQ(deaf.task->terminationStatus(), SIGKILL);
  }
}

TEST(ProcessSignals, GraceTimeHoldsForADroppedTask) {
  Deaf deaf;
  deaf.task->terminateWithGraceTime(0.01);
  deaf.task = nullptr;
  EXPECT_EQ(stringOf(deaf.output->readDataToEndOfFile()), "");
}

// ---- Waits with a deadline

TEST(ProcessSignals, WaitEndsAtItsDeadline) {
  const auto task = launchedSleeper();
  EXPECT_FALSE(task->waitUntilExitBeforeDate(nullptr));
  EXPECT_FALSE(task->waitUntilExitBeforeDate(HxDate::distantPast()));
  EXPECT_FALSE(task->waitUntilExitBeforeDate(HxDate::dateWithTimeIntervalSinceNow(0.01)));
  task->terminate();
  EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantFuture()));
  EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantPast()));
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(ProcessSignals, WaitForNothingEndsAtOnce) {
  EXPECT_FALSE(HxTask::init()->waitUntilExitBeforeDate(HxDate::distantFuture()));
}

TEST(ProcessSignals, WaitOnAnotherThreadEndsAtItsDeadline) {
  for (const bool hasPidfd : {true, false}) {
    const test::SystemCallsKept kept;
    if (!hasPidfd) test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
    const auto task = launchedSleeper();
    std::thread([&] {
      EXPECT_FALSE(task->waitUntilExitBeforeDate(HxDate::dateWithTimeIntervalSinceNow(0.01)));
      task->terminate();
      EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantFuture()));
    }).join();
    task->waitUntilExit();
  }
}

TEST(ProcessSignals, WaitsForOneTaskMayBeNested) {
  const auto task = launchedSleeper();
  bool innerHasEnded = false;
  std::thread([&] {
    HxRunLoop::currentRunLoop()->performBlock([&] {
      task->terminate();
      task->waitUntilExit();
      innerHasEnded = true;
    });
    task->waitUntilExit();
  }).join();
  EXPECT_TRUE(innerHasEnded);
  task->waitUntilExit();
}

TEST(ProcessSignals, WaitOnAnotherThreadNeedsNoDescriptor) {
  const test::SystemCallsKept kept;
  const auto task = launchedSleeper();
  std::thread([&] {
    test::failCall<&SystemCalls::epoll_create1>(1, EMFILE, 1000);
    task->terminate();
    task->waitUntilExit();
    EXPECT_FALSE(task->isRunning());
  }).join();
  task->waitUntilExit();
}

// ---- What a child has used

TEST(ProcessSignals, TellsWhatTheChildHasUsed) {
  const auto task = shell("i=0; while [ $i -lt 100000 ]; do i=$((i+1)); done");
  EXPECT_EQ(task->resourceUsage().peakResidentBytes, 0u);
  task->launch();
  EXPECT_EQ(task->resourceUsage().peakResidentBytes, 0u);
  task->waitUntilExit();
  const HxTaskResourceUsage usage = task->resourceUsage();
  EXPECT_GT(usage.userSeconds + usage.systemSeconds, 0);
  EXPECT_GT(usage.peakResidentBytes, 100'000u);
  EXPECT_GT(usage.pageFaultsWithoutInput, 0u);
}

TEST(ProcessSignals, NothingIsKnownOfALostChild) {
  const auto task = helper("exit-with");
  task->launch();
  waitpid(task->processIdentifier(), nullptr, 0);
  task->waitUntilExit();
  EXPECT_EQ(task->resourceUsage().peakResidentBytes, 0u);
}

// ---- Recycled pids

class RecycledPid : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(RecycledPid, IsNeverHit) {
  constexpr int kSkipped = 77;
  const auto task = helper("recycled-pid", {GetParam().first, GetParam().second});
  const std::string output = outputOf(task);
  if (task->terminationStatus() == kSkipped) GTEST_SKIP() << output;
  EXPECT_EQ(task->terminationStatus(), 0) << output;
}

INSTANTIATE_TEST_SUITE_P(ProcessSignals, RecycledPid,
                         testing::Values(std::pair{"foreign", "pidfd"},
                                         std::pair{"foreign", "none"}, std::pair{"own", "pidfd"},
                                         std::pair{"own", "none"}));

}  // namespace
}  // namespace rondel
