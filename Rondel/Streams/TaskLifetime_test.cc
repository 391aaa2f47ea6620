// SPDX-License-Identifier: MIT
//
// Tasks, delegates, consumers and owners of handles that go while the others stay. The listener of
// the test program counts descriptors, threads and children around each of these.
#include <gtest/gtest.h>

#include <optional>

#include "Rondel/Streams/Task.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/AllocationCounter.h"
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

void runOnePass() { HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr); }

// ---- Outside a pass of the run loop -------------------------------------------------------------

TEST(TaskLifetime, OutsideAPassOnlyTheOwnersKeepIt) {
  for (int i = 0; i < 50; ++i) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("exec cat", recorder);
    task->startTask();
    EXPECT_TRUE(task->isUniquelyReferenced());
  }
}  // the listener finds no descriptor and no child, though no pass was run

TEST(TaskLifetime, DroppedWithItsDelegateItIsNotHeardOfAgain) {
  for (int i = 0; i < 20; ++i) {
    {
      TaskRecorder recorder;
      shellTask("echo x", recorder)->startTask();
    }
    runOnePass();
  }
}

TEST(TaskLifetime, FailedStartsHoldNothing) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("", recorder);
  task->setTaskPath("/no/such/tool"_hx);
  const auto failOften = [&] {
    for (int i = 0; i < 1000; ++i) {
      task->startTask();
      recorder.events.clear();
    }
  };
  failOften();
  const std::size_t before = test::heapBytesInUse();
  failOften();
  EXPECT_EQ(test::heapBytesInUse(), before);
  EXPECT_TRUE(task->isUniquelyReferenced());
}

// ---- Inside one ---------------------------------------------------------------------------------

TEST(TaskLifetime, InAPassItKeepsItselfUntilThatEnds) {
  Ref<HxTask> process;
  bool isThereAfterTheDrop = false;
  HxRunLoop::currentRunLoop()->performBlock([&] {
    TaskRecorder recorder;
    Ref<ZevMoTask> task = shellTask("exec cat", recorder);
    task->startTask();
    process = task->hxTask();
    task = nullptr;
    isThereAfterTheDrop = !process->isUniquelyReferenced();
  });
  runOnePass();
  EXPECT_TRUE(isThereAfterTheDrop);
  EXPECT_TRUE(process->isUniquelyReferenced());
  process->terminate();
  process->waitUntilExit();
}

// The child's output and its exit may be there within the pass that started it.
TEST(TaskLifetime, StartedAndDroppedInAPassItHearsOfNothing) {
  for (int i = 0; i < 50; ++i) {
    HxRunLoop::currentRunLoop()->performBlock([] {
      TaskRecorder recorder;
      shellTask("echo x", recorder)->startTask();
      EXPECT_EQ(recorder.events, (Events{"start"}));
      usleep(2000);
    });
    runOnePass();
  }
}

// Much output is read several times in one pass, while the task still keeps itself.
TEST(TaskLifetime, ADelegateThatDropsItInAChunkIsNotCalledAgain) {
  for (int i = 0; i < 20; ++i) {
    std::optional<TaskRecorder> recorder(std::in_place);
    Ref<ZevMoTask> task = shellTask("head -c 1000000 /dev/zero", *recorder);
    int chunks = 0;
    recorder->onOutput = [&](ZevMoTask*) {
      ++chunks;
      task = nullptr;
    };
    task->startTask();
    usleep(5000);
    ASSERT_TRUE(runUntil([&] { return task.isNil(); }));
    runFor(0.005);
    EXPECT_EQ(chunks, 1);
  }
}

TEST(TaskLifetime, ADelegateMayGoWithItsTaskInEachCallback) {
  struct Owner final : HxObject, ZevMoTaskDelegate {
    void taskDidStart(ZevMoTask*) override { go("start"); }
    void taskOutputData(ZevMoTask*, const HxData&) override { go("output"); }
    void taskFailureMessage(ZevMoTask*, const HxString&) override { go("failure"); }
    void taskDidStop(ZevMoTask*, bool) override { go("stop"); }
    void go(const char* event) {
      if (when == event) *self = nullptr;
    }
    std::string when;
    Ref<Owner>* self = nullptr;
    Ref<ZevMoTask> task;
  };
  for (const char* const when : {"start", "output", "failure", "stop"}) {
    for (const bool inBackground : {false, true}) {
      SCOPED_TRACE(when);
      TaskRecorder unused;
      Ref<Owner> owner = makeRef<Owner>();
      owner->when = when;
      owner->self = &owner;
      owner->task = shellTask("head -c 300000 /dev/zero", unused);
      owner->task->setDelegate(owner.get());
      if (inBackground) owner->task->performWritesInBackground();
      if (owner->when == "failure") owner->task->setTaskPath("/no/such/tool"_hx);
      owner->task.get()->startTask();
      ASSERT_TRUE(runUntil([&] { return owner.isNil(); }));
    }
  }
  runFor(0.01);
}

// ---- Who is forgotten as it goes ----------------------------------------------------------------

TEST(TaskLifetime, ADelegateThatGoesIsForgottenByAllItsTasks) {
  Ref<ZevMoTask> tasks[2];
  {
    TaskRecorder recorder;
    for (Ref<ZevMoTask>& task : tasks) {
      task = shellTask("echo x; exit 5", recorder);
      task->startTask();
    }
  }
  for (const Ref<ZevMoTask>& task : tasks) {
    EXPECT_EQ(task->delegate(), nullptr);
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    EXPECT_EQ(task->terminationStatus(), 5);
  }
}

TEST(TaskLifetime, ADelegateThatGoesInTheStreamsEndIsNotReported) {
  std::optional<TaskRecorder> recorder(std::in_place);
  StreamRecorder consumer;
  const Ref<ZevMoTask> task = shellTask("exit 0", *recorder);
  task->byteStream()->setByteStreamConsumer(&consumer);
  consumer.action = [&] { recorder.reset(); };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_FALSE(recorder.has_value());
}

TEST(TaskLifetime, AConsumerThatGoesLeavesTheOutputToTheDelegate) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo x", recorder);
  {
    StreamRecorder consumer;
    task->byteStream()->setByteStreamConsumer(&consumer);
    task->startTask();
  }
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.output, "x\n");
}

TEST(TaskLifetime, ATaskThatGoesIsNoConsumerAnyMore) {
  TaskRecorder upper;
  TaskRecorder lower;
  const Ref<ZevMoTask> source = shellTask("echo word", upper);
  {
    const Ref<ZevMoTask> sink = shellTask("exec cat", lower);
    source->byteStream()->setByteStreamConsumer(sink);
    sink->startTask();
  }
  ASSERT_TRUE(runToEnd(*source, upper));
  EXPECT_EQ(upper.output, "word\n");
}

// ---- The owner of a supplied handle -------------------------------------------------------------

struct HandleOwner : ZevMoTaskSynchronizedFileHandle {
  void taskDidStopForSynchronizedFileHandle() override { ++stops; }
  bool didSynchronizedFileHandleReceiveLastData() override { return true; }
  void synchronizedTaskWillGo(ZevMoTask* task) override { gone.push_back(task); }
  int stops = 0;
  std::vector<ZevMoTask*> gone;
};

TEST(TaskLifetime, AnOwnerIsReportedWhenItsTaskGoesCleansUpOrGetsAnother) {
  HandleOwner owner;
  HandleOwner other;
  Ref<ZevMoTask> task = ZevMoTask::init();
  ZevMoTask* const address = task.get();
  task->setSynchronizedFileHandleDelegate(&owner);
  task->setSynchronizedFileHandleDelegate(&owner);  // no other one
  EXPECT_TRUE(owner.gone.empty());
  task->setSynchronizedFileHandleDelegate(&other);
  EXPECT_EQ(owner.gone.size(), 1U);
  EXPECT_EQ(task->synchronizedFileHandleDelegate(), &other);
  task->cleanupAfterTask();
  EXPECT_EQ(other.gone.size(), 1U);
  EXPECT_EQ(task->synchronizedFileHandleDelegate(), nullptr);
  task->cleanupAfterTask();
  EXPECT_EQ(other.gone.size(), 1U);
  task->setSynchronizedFileHandleDelegate(&owner);
  task = nullptr;
  EXPECT_EQ(owner.gone, std::vector<ZevMoTask*>(2, address));
}

TEST(TaskLifetime, AnOwnerThatGoesIsForgotten) {
  TaskRecorder recorder;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  {
    HandleOwner owner;
    task->setSynchronizedFileHandleDelegate(&owner);
    task->startTask();
  }
  EXPECT_EQ(task->synchronizedFileHandleDelegate(), nullptr);
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

// What an owner might do with the task that it is told of, in its destructor too.
TEST(TaskLifetime, AnOwnerMayCallTheTaskThatWillGo) {
  struct Caller final : HandleOwner {
    void synchronizedTaskWillGo(ZevMoTask* task) override {
      task->synchronizedFileHandleDidReceivedLastData();
      task->setSynchronizedFileHandleDelegate(nullptr);
      task->closeTaskHandles();
      task->cleanupAfterTask();
      EXPECT_EQ(task->delegate() == nullptr, inDestructor);
      HandleOwner::synchronizedTaskWillGo(task);
    }
    bool inDestructor = false;
  } owner;
  for (const bool inDestructor : {false, true}) {
    TaskRecorder recorder;
    const Ref<HxPipe> pipe = HxPipe::init();
    Ref<ZevMoTask> task = shellTask("exec cat", recorder);
    task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
    task->setSynchronizedFileHandleDelegate(&owner);
    owner.inDestructor = inDestructor;
    task->startTask();
    if (!inDestructor) task->cleanupAfterTask();
    task = nullptr;
    EXPECT_EQ(recorder.events, (Events{"start"}));
  }
  EXPECT_EQ(owner.gone.size(), 2U);
}

TEST(TaskLifetime, AnOwnerThatRaisesInATasksDestructorEndsNothing) {
  struct Raiser final : HandleOwner {
    void synchronizedTaskWillGo(ZevMoTask*) override { throw 42; }
  } owner;
  Ref<ZevMoTask> task = ZevMoTask::init();
  task->setSynchronizedFileHandleDelegate(&owner);
  const test::LogCapture log;
  task = nullptr;
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace rondel
