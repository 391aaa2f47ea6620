// SPDX-License-Identifier: MIT
//
// Signals to a task's child and its group, waits with a deadline, and what the child has used.
#include <gtest/gtest.h>

#include <csignal>

#include "Rondel/Streams/Task.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::TaskRecorder;
using Events = std::vector<std::string>;

constexpr const char* kSleeper = "exec sleep 1000";
// Says that it has begun, and then runs until it is killed.
constexpr const char* kDeaf = "trap '' TERM; echo; exec sleep 1000";

TEST(TaskSignals, WithoutAChildNoneIsSent) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  EXPECT_FALSE(task->sendSignal(0));
  EXPECT_FALSE(task->sendSignalToProcessGroup(0));
  task->terminateWithGraceTime(0);
  EXPECT_FALSE(task->waitUntilExitBeforeDate(HxDate::distantFuture()));
  EXPECT_EQ(task->resourceUsage().peakResidentBytes, 0u);
}

TEST(TaskSignals, AnySignalReachesTheChildAndChangesNoState) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(kSleeper, recorder);
  task->startTask();
  EXPECT_TRUE(task->sendSignal(SIGUSR1));
  EXPECT_TRUE(task->isRunning());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(task->terminationStatus(), SIGUSR1);
  EXPECT_FALSE(task->sendSignal(0));
}

// The output ends when none of the two holds it any more.
TEST(TaskSignals, TheGroupMeansTheDescendantsToo) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("sleep 1000 & echo; wait", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !recorder.output.empty(); }));
  EXPECT_TRUE(task->sendSignalToProcessGroup(SIGKILL));
  EXPECT_TRUE(task->isRunning());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events.back(), "stop 0");
  EXPECT_EQ(task->terminationStatus(), SIGKILL);
  EXPECT_FALSE(task->sendSignalToProcessGroup(0));
}

TEST(TaskSignals, TheGroupOfAChildThatLeadsNoneIsLeftAlone) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(kSleeper, recorder);
  task->setStartsNewProcessGroup(false);
  task->startTask();
  EXPECT_FALSE(task->sendSignalToProcessGroup(SIGKILL));
  task->stopTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
}

TEST(TaskSignals, TheGraceTimeIsNotNeededByAChildThatObeys) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(kSleeper, recorder);
  task->startTask();
  task->terminateWithGraceTime(1000);
  EXPECT_FALSE(task->isRunning());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(TaskSignals, AChildThatDoesNotObeyIsKilledAfterTheGraceTime) {
  for (const bool wasStopped : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask(kDeaf, recorder);
    task->startTask();
    ASSERT_TRUE(runUntil([&] { return !recorder.output.empty(); }));
    if (wasStopped) task->stopTask();
    task->terminateWithGraceTime(0.01);
    ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
    EXPECT_EQ(recorder.events.back(), "stop 1");
    EXPECT_EQ(task->terminationStatus(), SIGKILL);
  }
}

TEST(TaskSignals, AChildMayBeTerminatedInTaskDidStart) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(kSleeper, recorder);
  recorder.onStart = [](ZevMoTask* started) { started->terminateWithGraceTime(1000); };
  task->startTask();
  EXPECT_FALSE(task->isRunning());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
}

TEST(TaskSignals, AfterTheExitTerminatingRequestsNothing) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->startTask();
  while (task->hxTask()->isRunning()) {
  }
  task->terminateWithGraceTime(0);
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskSignals, AWaitEndsAtItsDeadline) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(kSleeper, recorder);
  task->startTask();
  for (const HxDate& limit :
       {HxDate(), HxDate::distantPast(), HxDate::dateWithTimeIntervalSinceNow(0.01)}) {
    EXPECT_FALSE(task->waitUntilExitBeforeDate(limit));
    EXPECT_TRUE(task->isRunning());
  }
  task->stopTask();
  EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantFuture()));
  EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantPast()));
  EXPECT_TRUE(task->runIsOver());
}

TEST(TaskSignals, AWaitForTheLastOutputEndsAtItsDeadlineToo) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("(sleep 0.2; echo late) & exit 0", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
  EXPECT_TRUE(task->waitUntilExitBeforeDate(HxDate::distantPast()));
  EXPECT_EQ(recorder.output, "");
  EXPECT_FALSE(task->runIsOver());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "late\n");
}

TEST(TaskSignals, TellsWhatTheChildHasUsed) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_GT(task->resourceUsage().peakResidentBytes, 100'000u);
}

}  // namespace
}  // namespace rondel
