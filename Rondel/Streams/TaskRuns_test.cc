// SPDX-License-Identifier: MIT
//
// When a run begins and when it is over: second starts, closed handles, and callbacks that raise.
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/StreamRecorder.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::runFor;
using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::StreamRecorder;
using test::TaskRecorder;
using Events = std::vector<std::string>;

const TaskRecorder::Hook kRaise = [](ZevMoTask*) { throw std::runtime_error("enough"); };

// Turns the loop until the run is over, raises and all; returns how many passes raised.
int raisesUntilOver(ZevMoTask& task) {
  int raises = 0;
  while (!task.runIsOver()) {
    try {
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
    } catch (const std::runtime_error&) {
      ++raises;
    }
  }
  return raises;
}

// ---- Over or not ------------------------------------------------------------------------------

TEST(TaskRun, IsOverAfterTheStopAndNotBefore) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("(sleep 0.1; echo late) & exit 0", recorder);
  EXPECT_FALSE(task->runIsOver());
  recorder.onStart = [](ZevMoTask* started) { EXPECT_FALSE(started->runIsOver()); };
  recorder.onOutput = [](ZevMoTask* read) { EXPECT_FALSE(read->runIsOver()); };
  recorder.onStop = [](ZevMoTask* stopped) { EXPECT_TRUE(stopped->runIsOver()); };
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 0);
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(recorder.output, "late\n");
}

TEST(TaskRun, IsOverAfterAFailureAndAfterACleanup) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> failed = shellTask("", recorder);
  failed->setTaskPath("/no/such/tool"_hx);
  recorder.onFailure = [](ZevMoTask* task) { EXPECT_TRUE(task->runIsOver()); };
  failed->startTask();
  EXPECT_TRUE(failed->runIsOver());

  const Ref<ZevMoTask> abandoned = shellTask("exec cat", recorder);
  abandoned->startTask();
  EXPECT_FALSE(abandoned->runIsOver());
  abandoned->cleanupAfterTask();
  EXPECT_TRUE(abandoned->runIsOver());
}

TEST(TaskRun, DoesNotRunAgainAfterAnExitThatWasHeardInTaskDidStart) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo x; exit 3", recorder);
  recorder.onStart = [](ZevMoTask* started) {
    started->hxTask()->waitUntilExit();
    EXPECT_EQ(started->terminationStatus(), 3);
  };
  task->startTask();
  EXPECT_FALSE(task->isRunning());
  EXPECT_EQ(raisesUntilOver(*task), 0);
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
}

// ---- Second starts ----------------------------------------------------------------------------

TEST(TaskRun, StartingWhileOneIsUnderWayFailsACheckAndDoesNothing) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("read a; echo $a", recorder);
  task->startTask();
  const int pid = task->processID();
  {
    test::FailureRecorder failures;
    task->startTask();
    task->executeTaskAtPath("/bin/true"_hx, nullptr, nullptr, nullptr);
    EXPECT_EQ(failures.messages(), Events(2, "Assertion failed: !_runIsUnderWay"));
  }
  EXPECT_EQ(task->processID(), pid);
  EXPECT_TRUE(task->isRunning());
  task->sendDataToTask(dataOf("word\n"));
  EXPECT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(recorder.output, "word\n");
}

TEST(TaskRun, AStoppedTaskMayBeStartedAgain) {
  for (const bool inBackground : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat; exit 4", recorder);
    task->setTaskAutomaticStandardInData(dataOf("in "));
    if (inBackground) task->performWritesInBackground();
    for (int run = 1; run <= 3; ++run) {
      task->startTask();
      EXPECT_EQ(task->terminationStatus(), 0);
      ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
      EXPECT_EQ(task->terminationStatus(), 4);
    }
    EXPECT_EQ(recorder.output, "in in in ");
    EXPECT_EQ(recorder.events.size(), 9U);
  }
}

TEST(TaskRun, MayBeStartedAgainInItsStopAndAfterAFailure) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo x", recorder);
  int starts = 1;
  recorder.onStop = [&](ZevMoTask* stopped) {
    if (++starts <= 3) stopped->startTask();
  };
  recorder.onFailure = [](ZevMoTask* failed) {
    failed->setTaskPath("/bin/sh"_hx);
    failed->startTask();
  };
  task->setTaskPath("/no/such/tool"_hx);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return starts == 4; }));
  EXPECT_EQ(recorder.output, "x\nx\nx\n");
  EXPECT_TRUE(task->runIsOver());
}

TEST(TaskRun, KeepsSuppliedHandlesForTheNextOne) {
  TaskRecorder recorder;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("echo x", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  for (int run = 0; run < 2; ++run) {
    ASSERT_TRUE(runToEnd(*task, recorder));
    EXPECT_EQ(task->taskStandardOutput(), pipe->fileHandleForWriting());
  }
  ASSERT_TRUE(runUntil([&] { return recorder.events.size() == 4U; }));
  EXPECT_EQ(test::bytesOf(pipe->fileHandleForReading()->availableData()), "x\nx\n");
}

TEST(TaskRun, AConsumerThatStartsAnotherInTheStreamsEndIsNotReportedOfTheFirstStop) {
  TaskRecorder recorder;
  StreamRecorder consumer;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->byteStream()->setByteStreamConsumer(&consumer);
  bool again = true;
  consumer.action = [&] {
    if (!std::exchange(again, false)) return;
    task->cleanupAfterTask();
    task->setTaskPath("/bin/true"_hx);
    task->startTask();
  };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return consumer.events.size() == 2U; }));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "start", "stop 0"}));
}

// ---- Handles that are closed or exchanged -------------------------------------------------------

TEST(TaskRun, ClosedHandlesEndTheOutputOnce) {
  struct Case {
    const char* name;
    const char* script;
    bool afterExit;
  };
  for (const Case& each : {Case{"before the exit", "cat; exit 8", false},
                           Case{"after the exit", "exec 3<&0; cat <&3 & exit 8", true}}) {
    SCOPED_TRACE(each.name);
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask(each.script, recorder);
    task->startTask();
    if (each.afterExit) {
      ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
    }
    task->closeTaskHandles();
    EXPECT_EQ(task->runIsOver(), each.afterExit);
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    task->closeTaskHandles();
    runFor(0.02);
    EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
    EXPECT_EQ(task->terminationStatus(), 8);
  }
}

TEST(TaskRun, HandlesClosedInACallbackEndTheOutputOnce) {
  for (const bool inStart : {true, false}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("trap '' PIPE; echo x; cat; exit 1", recorder);
    const TaskRecorder::Hook close = [](ZevMoTask* called) { called->closeTaskHandles(); };
    (inStart ? recorder.onStart : recorder.onOutput) = close;
    task->startTask();
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    runFor(0.02);
    EXPECT_EQ(recorder.events,
              inStart ? (Events{"start", "stop 0"}) : (Events{"start", "output", "stop 0"}));
  }
}

TEST(TaskRun, AnOutputHandleThatIsClosedDirectlyStillStopsWithTheExit) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; exit 1", recorder);
  task->startTask();
  task->taskStandardOutput()->closeFile();
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, AnotherOutputHandleEndsTheOutput) {
  for (const bool readTaskOutput : {false, true}) {
    TaskRecorder recorder;
    const Ref<HxPipe> pipe = HxPipe::init();
    const Ref<ZevMoTask> task = shellTask("exec 3<&0; cat <&3 & exit 0", recorder);
    task->startTask();
    ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
    task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForReading(), readTaskOutput);
    EXPECT_TRUE(task->runIsOver());
    EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
    EXPECT_EQ(task->taskStandardOutput(), pipe->fileHandleForReading());
  }
}

// An owner that does something else when it is told of the exit.
struct Owner final : ZevMoTaskSynchronizedFileHandle {
  void taskDidStopForSynchronizedFileHandle() override {
    ++exits;
    if (onExit) onExit();
  }
  bool didSynchronizedFileHandleReceiveLastData() override { return hasLastData; }
  int exits = 0;
  bool hasLastData = true;
  std::function<void()> onExit;
};

// The run itself decides who reads its output, and not the handle for the next one.
TEST(TaskRun, OutputThatTheTaskDoesNotReadEndsWithTheExitThoughAnotherHandleIsToBeRead) {
  TaskRecorder recorder;
  const Ref<HxPipe> first = HxPipe::init();
  const Ref<HxPipe> second = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(first->fileHandleForWriting(), false);
  task->startTask();
  task->setTaskStdOutputFileHandleReadTaskOutput(second->fileHandleForReading(), true);
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, OutputThatTheTaskReadsIsNoMatterOfALaterOwner) {
  TaskRecorder recorder;
  Owner owner;
  owner.hasLastData = false;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->startTask();
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  task->setSynchronizedFileHandleDelegate(&owner);
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(owner.exits, 0);
}

TEST(TaskRun, OwnerThatStartsAnotherRunWhileItIsReportedDoesNotEndThat) {
  TaskRecorder recorder;
  Owner owner;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  task->setSynchronizedFileHandleDelegate(&owner);
  owner.onExit = [&] {
    if (owner.exits > 1) return;
    task->cleanupAfterTask();
    task->setTaskPath("/bin/cat"_hx);
    task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
    task->setSynchronizedFileHandleDelegate(&owner);
    task->startTask();
  };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return recorder.events.size() == 2; }));
  runFor(0.02);
  EXPECT_EQ(recorder.events, (Events{"start", "start"}));
  EXPECT_FALSE(task->runIsOver());
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "start", "stop 0"}));
  EXPECT_EQ(owner.exits, 2);
}

TEST(TaskRun, OwnerThatIsDestroyedBeforeItsLastDataLeavesTheRunToItsReport) {
  TaskRecorder recorder;
  auto owner = std::make_unique<Owner>();
  owner->hasLastData = false;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  task->setSynchronizedFileHandleDelegate(owner.get());
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return owner->exits == 1; }));
  owner = nullptr;
  runFor(0.01);
  EXPECT_FALSE(task->runIsOver());
  task->synchronizedFileHandleDidReceivedLastData();
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, CleanupInTheStreamsEndDoesNotTakeTheStop) {
  struct Cleaner final : HxObject, ZevMoByteStreamConsuming {
    void streamProcessBytes(ZevMoStream*, const HxData&) override {}
    void streamDidEnd(ZevMoStream*) override {
      task->cleanupAfterTask();
      wasOver = task->runIsOver();
    }
    ZevMoTask* task = nullptr;
    bool wasOver = false;
  } cleaner;
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  cleaner.task = task.get();
  task->byteStream()->setByteStreamConsumer(&cleaner);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_TRUE(cleaner.wasOver);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, AnotherOutputHandleClosesThePipeThatNobodyReads) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec head -c 1000000 /dev/zero", recorder);
  task->startTask();
  task->setTaskStdOutputFileHandleReadTaskOutput(nullptr, false);
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(task->terminationStatus(), SIGPIPE);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

// ---- Callbacks that raise -----------------------------------------------------------------------

TEST(TaskRun, GoesOnAfterARaiseInTaskDidStart) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->setTaskAutomaticStandardInData(dataOf("sent all the same"));
  recorder.onStart = kRaise;
  EXPECT_THROW(task->startTask(), std::runtime_error);
  EXPECT_TRUE(task->isRunning());
  EXPECT_EQ(raisesUntilOver(*task), 0);
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(recorder.output, "sent all the same");
}

TEST(TaskRun, GoesOnAfterARaiseInAChunk) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo x; exit 2", recorder);
  recorder.onOutput = kRaise;
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 1);
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
}

TEST(TaskRun, StopsAfterARaiseInTheStreamsEnd) {
  TaskRecorder recorder;
  StreamRecorder consumer;
  const Ref<ZevMoTask> task = shellTask("exit 2", recorder);
  task->byteStream()->setByteStreamConsumer(&consumer);
  consumer.action = [] { throw std::runtime_error("enough"); };
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 1);
  EXPECT_EQ(consumer.events, (Events{"end"}));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, StopsAfterARaiseInAnUnterminatedLastLine) {
  TaskRecorder recorder;
  StreamRecorder consumer;
  const Ref<ZevMoTask> task = shellTask("printf last", recorder);
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  task->byteStream()->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(lines);
  lines->setLineStreamConsumer(&consumer);
  consumer.action = [] { throw std::runtime_error("enough"); };
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 1);
  EXPECT_EQ(consumer.events, (Events{"line:last\n"}));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, OfTwoRaisesTheLastOnePasses) {
  struct Raiser final : HxObject, ZevMoByteStreamConsuming {
    void streamProcessBytes(ZevMoStream*, const HxData&) override {}
    void streamDidEnd(ZevMoStream*) override { throw std::runtime_error("first"); }
  } raiser;
  TaskRecorder recorder;
  recorder.onStop = [](ZevMoTask*) { throw std::runtime_error("last"); };
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->byteStream()->setByteStreamConsumer(&raiser);
  task->startTask();
  std::vector<std::string> raised;
  while (!task->runIsOver()) {
    try {
      runFor(0.01);
    } catch (const std::runtime_error& error) {
      raised.emplace_back(error.what());
    }
  }
  EXPECT_EQ(raised, (std::vector<std::string>{"last"}));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskRun, IsOverAfterARaiseInItsStopOrFailure) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  recorder.onStop = kRaise;
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 1);
  recorder.onFailure = kRaise;
  task->setTaskPath("/no/such/tool"_hx);
  EXPECT_THROW(task->startTask(), std::runtime_error);
  EXPECT_TRUE(task->runIsOver());
  task->setTaskPath("/"_hx);  // exists, and cannot be launched
  EXPECT_THROW(task->startTask(), std::runtime_error);
  EXPECT_TRUE(task->runIsOver());
  EXPECT_TRUE(task->hxTask().isNil());
  recorder.onStop = nullptr;
  task->setTaskPath("/bin/sh"_hx);
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 0);
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

TEST(TaskRun, StopsAfterARaiseOfTheOwnerOfItsOutput) {
  Owner owner;
  owner.onExit = [] { throw std::runtime_error("enough"); };
  TaskRecorder recorder;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  task->setSynchronizedFileHandleDelegate(&owner);
  task->startTask();
  EXPECT_EQ(raisesUntilOver(*task), 1);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

}  // namespace
}  // namespace rondel
