// SPDX-License-Identifier: MIT
//
// Tasks dropped in every state, many tasks, much output, and signals all the while. The listener of
// the test program counts descriptors, threads and children around each of these.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TaskRecorder.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RONDEL_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RONDEL_IS_SANITIZED 1
#endif
#endif
#ifndef RONDEL_IS_SANITIZED
#define RONDEL_IS_SANITIZED 0
#endif

namespace rondel {
namespace {

using test::dataOf;
using test::runFor;
using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::TaskRecorder;
using Events = std::vector<std::string>;

// Less under the sanitizers, which make everything slower.
constexpr int kRuns = RONDEL_IS_SANITIZED ? 1000 : 10000;
constexpr std::size_t kOutputBytes = RONDEL_IS_SANITIZED ? 64U << 20U : 1U << 30U;

// ---- Dropping ---------------------------------------------------------------------------------

TEST(TaskDropping, InTaskDidStart) {
  TaskRecorder recorder;
  Ref<ZevMoTask> task = shellTask("echo x", recorder);
  recorder.onStart = [&](ZevMoTask*) { task = nullptr; };
  task.get()->startTask();
  runFor(0.1);
  EXPECT_EQ(recorder.events[0], "start");
}

TEST(TaskDropping, InOutputData) {
  TaskRecorder recorder;
  Ref<ZevMoTask> task = shellTask("echo x; sleep 0.05; echo y", recorder);
  recorder.onOutput = [&](ZevMoTask*) { task = nullptr; };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return task.isNil(); }));
  runFor(0.2);
  EXPECT_EQ(recorder.events, (Events{"start", "output"}));
  EXPECT_EQ(recorder.output, "x\n");
}

TEST(TaskDropping, InFailureMessage) {
  TaskRecorder recorder;
  Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&recorder);
  task->setTaskPath("/no/such/tool"_hx);
  task->setTaskAutomaticStandardInData(dataOf("x"));
  recorder.onFailure = [&](ZevMoTask*) { task = nullptr; };
  task.get()->startTask();
  EXPECT_TRUE(task.isNil());
  runFor(0.02);
}

TEST(TaskDropping, InTaskDidStop) {
  TaskRecorder recorder;
  Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  recorder.onStop = [&](ZevMoTask*) { task = nullptr; };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_TRUE(task.isNil());
}

TEST(TaskDropping, InTheStreamsEndAndInASend) {
  struct Dropper final : HxObject, ZevMoByteStreamConsuming {
    void streamProcessBytes(ZevMoStream*, const HxData&) override {
      if (inSend) *task = nullptr;
    }
    void streamDidEnd(ZevMoStream*) override {
      if (!inSend) *task = nullptr;
    }
    Ref<ZevMoTask>* task = nullptr;
    bool inSend = false;
  };
  for (const bool inSend : {true, false}) {
    TaskRecorder recorder;
    const Ref<Dropper> dropper = makeRef<Dropper>();
    Ref<ZevMoTask> task = shellTask("echo x", recorder);
    dropper->task = &task;
    dropper->inSend = inSend;
    const Ref<ZevMoByteStream> stream = task->byteStream();
    stream->setByteStreamConsumer(dropper);
    task->startTask();
    ASSERT_TRUE(runUntil([&] { return task.isNil(); }));
    runFor(0.05);
    stream->setByteStreamConsumer(nullptr);
  }
}

TEST(TaskDropping, WhileTheChildRunsNeitherSignalsItNorLeavesAZombie) {
  const test::TemporaryDirectory folder;
  TaskRecorder recorder;
  const std::string script = "sleep 0.2; echo survived > " + folder.path("note");
  {
    const Ref<ZevMoTask> task = shellTask(script.c_str(), recorder);
    task->startTask();
  }
  ASSERT_TRUE(runUntil([&] { return access(folder.path("note").c_str(), F_OK) == 0; }));
  EXPECT_EQ(recorder.events, (Events{"start"}));
  runFor(0.05);
}

TEST(TaskDropping, TakingTheDelegateBackAbandonsTheRun) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("sleep 0.1; exit 1", recorder);
  task->startTask();
  const int child = task->processID();
  task->setDelegate(nullptr);
  EXPECT_FALSE(task->isRunning());
  EXPECT_TRUE(task->hxTask().isNil());
  EXPECT_TRUE(task->taskPath().isNil());
  EXPECT_EQ(kill(child, 0), 0);                                // not signalled
  EXPECT_TRUE(runUntil([&] { return kill(child, 0) != 0; }));  // and reaped
  EXPECT_EQ(recorder.events, (Events{"start"}));
}

TEST(TaskDropping, TakingTheDelegateBackInEachCallbackIsSafe) {
  for (int when = 0; when < 3; ++when) {
    TaskRecorder recorder;
    const TaskRecorder::Hook leave = [](ZevMoTask* task) { task->setDelegate(nullptr); };
    if (when == 0) recorder.onStart = leave;
    if (when == 1) recorder.onOutput = leave;
    if (when == 2) recorder.onStop = leave;
    const Ref<ZevMoTask> task = shellTask("echo x", recorder);
    task->startTask();
    runFor(0.1);
    EXPECT_FALSE(task->isRunning()) << when;
    EXPECT_TRUE(task->hxTask().isNil()) << when;
  }
}

TEST(TaskDropping, AnExceptionOfAConsumerPassesThroughAndTheTaskStaysUsable) {
  struct Raiser final : HxObject, ZevMoByteStreamConsuming {
    void streamProcessBytes(ZevMoStream*, const HxData&) override { throw 42; }
    void streamDidEnd(ZevMoStream*) override {}
  };
  TaskRecorder recorder;
  const Ref<Raiser> raiser = makeRef<Raiser>();
  const Ref<ZevMoTask> task = shellTask("echo x; exec sleep 60", recorder);
  task->byteStream()->setByteStreamConsumer(raiser);
  task->startTask();
  EXPECT_THROW(runUntil([] { return false; }), int);
  task->byteStream()->setByteStreamConsumer(nullptr);
  EXPECT_TRUE(task->isRunning());
  task->stopTask();
  EXPECT_TRUE(runUntil([&] { return recorder.isOver(); }));  // it was read on
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
}

// A task in one of its states, ready to be dropped. None of these children outlives its task.
struct State {
  const char* name;
  const char* script;
  void (*enter)(Ref<ZevMoTask>& task, TaskRecorder& recorder, const HxString& mode);
};

void start(Ref<ZevMoTask>& task, TaskRecorder&, const HxString&) { task->startTask(); }

const State kStates[] = {
    {"idle", "", [](Ref<ZevMoTask>&, TaskRecorder&, const HxString&) {}},
    {"launching", "exec cat",
     [](Ref<ZevMoTask>& task, TaskRecorder& recorder, const HxString&) {
       recorder.onStart = [&task](ZevMoTask*) { task = nullptr; };
       task.get()->startTask();
     }},
    {"failed", nullptr, start},
    {"running", "exec cat", start},
    {"stopping", "exec cat",
     [](Ref<ZevMoTask>& task, TaskRecorder&, const HxString&) {
       task->startTask();
       task->stopTask();
     }},
    {"output ended", "exec >&- 2>&-; exec cat",
     [](Ref<ZevMoTask>& task, TaskRecorder&, const HxString& mode) {
       task->startTask();
       // The exit is not in the task's own mode: this ends with its last read.
       while (HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantFuture())) {
       }
       EXPECT_TRUE(task->isRunning());
     }},
    {"exited", "exec 3<&0; cat <&3 >/dev/null & exit 0",
     [](Ref<ZevMoTask>& task, TaskRecorder& recorder, const HxString&) {
       task->startTask();
       EXPECT_TRUE(runUntil([&] { return !task->isRunning(); }));
       EXPECT_FALSE(recorder.isOver());
     }},
    {"stopped", "exit 0",
     [](Ref<ZevMoTask>& task, TaskRecorder& recorder, const HxString&) {
       EXPECT_TRUE(runToEnd(*task, recorder));
     }},
};

TEST(TaskDropping, InEachStateManyTimes) {
  constexpr int kDrops = RONDEL_IS_SANITIZED ? 100 : 1000;
  for (const State& state : kStates) {
    SCOPED_TRACE(state.name);
    for (int i = 0; i < kDrops; ++i) {
      const HxString mode = ZevMoTask::checkoutRunLoopMode();
      ZevMoTask::checkInRunLoopMode(mode);
      TaskRecorder recorder;
      Ref<ZevMoTask> task = shellTask(state.script ? state.script : "", recorder);
      if (!state.script) task->setTaskPath(nullptr);
      if (i % 2) task->performWritesInBackground();
      state.enter(task, recorder, mode);
      if (task && i % 3 == 0) task->setDelegate(nullptr);
      task = nullptr;
      const std::size_t events = recorder.events.size();
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr);
      EXPECT_EQ(recorder.events.size(), events);
    }
  }
}

// ---- Many -------------------------------------------------------------------------------------

TEST(TaskStress, ManyRunsOneAfterTheOtherLeaveNothing) {
  const auto runOne = [] {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = ZevMoTask::init();
    task->setDelegate(&recorder);
    task->setTaskPath("/bin/true"_hx);
    ASSERT_TRUE(runToEnd(*task, recorder));
    ASSERT_EQ(recorder.events, (Events{"start", "stop 0"}));
  };
  for (int i = 0; i < 10; ++i) runOne();
  runFor(0.01);  // what was kept until the end of the turn goes
  const std::size_t before = test::heapBytesInUse();
  for (int i = 0; i < kRuns; ++i) runOne();
  runFor(0.01);
  EXPECT_EQ(test::heapBytesInUse(), before);
}

TEST(TaskStress, TwoHundredChildrenAtOnce) {
  constexpr int kChildren = 200;
  std::vector<Ref<TaskRecorder>> recorders;
  std::vector<Ref<ZevMoTask>> tasks;
  for (int i = 0; i < kChildren; ++i) {
    recorders.push_back(makeRef<TaskRecorder>());
    const std::string script =
        "sleep 0.05; echo " + std::to_string(i) + "; exit " + std::to_string(i % 100);
    tasks.push_back(shellTask(script.c_str(), *recorders.back()));
    tasks.back()->startTask();
  }
  for (int i = 0; i < kChildren; ++i) {
    const auto index = static_cast<std::size_t>(i);
    ASSERT_TRUE(runUntil([&] { return recorders[index]->isOver(); })) << i;
    EXPECT_EQ(recorders[index]->output, std::to_string(i) + "\n");
    EXPECT_EQ(recorders[index]->events, (Events{"start", "output", "stop 0"}));
    EXPECT_EQ(tasks[index]->terminationStatus(), i % 100);
  }
}

// ---- Much -------------------------------------------------------------------------------------

class LineCounter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    ++lines;
    units += line.length();
  }
  void streamDidEnd(ZevMoStream*) override { ++ends; }
  std::size_t lines = 0;
  std::size_t units = 0;
  int ends = 0;
};

TEST(TaskStress, MuchOutputThroughTheWholeChainInBoundedMemory) {
  constexpr std::size_t kLineBytes = 64;
  constexpr std::size_t kMostGrowth = 16U << 20U;
  TaskRecorder recorder;
  const Ref<LineCounter> counter = makeRef<LineCounter>();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  lines->setLineStreamConsumer(counter);
  decoder->setCharacterStreamConsumer(lines);
  const std::string script =
      "yes 'größe 0123456789 0123456789 0123456789 0123456789 01234567890' | "
      "head -c " +
      std::to_string(kOutputBytes);
  const Ref<ZevMoTask> task = shellTask(script.c_str(), recorder);
  task->byteStream()->setByteStreamConsumer(decoder);
  const std::size_t before = test::heapBytesInUse();
  std::size_t most = 0;
  task->startTask();
  ASSERT_TRUE(runUntil([&] {
    most = std::max(most, test::heapBytesInUse());
    return recorder.isOver();
  }));
  EXPECT_EQ(counter->lines, kOutputBytes / kLineBytes);
  EXPECT_EQ(counter->units, kOutputBytes / kLineBytes * (kLineBytes - 2));  // ö and ß are one unit
  EXPECT_EQ(counter->ends, 1);
  EXPECT_LT(most, before + kMostGrowth);
}

// ---- Signals ----------------------------------------------------------------------------------

TEST(TaskStress, SignalsAllTheWhileLoseNothing) {
  constexpr std::size_t kBytes = 8U << 20U;
  struct sigaction action {};
  struct sigaction former {};
  action.sa_handler = [](int) {};  // without SA_RESTART: every blocking call is cut short
  sigaction(SIGALRM, &action, &former);
  const itimerval often{{0, 1000}, {0, 1000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  TaskRecorder recorder;
  std::size_t seen = 0;
  recorder.onOutput = [&](ZevMoTask*) {
    seen += recorder.output.size();
    recorder.output.clear();
  };
  const Ref<ZevMoTask> task = shellTask("cat; sleep 0.2; exit 9", recorder);
  task->performWritesInBackground();
  task->startTask();
  for (std::size_t sent = 0; sent < kBytes; sent += 1U << 16U) {
    task->sendDataToTask(dataOf(std::string(1U << 16U, 'x')));
  }
  task->closeInputAfterWrites();
  EXPECT_TRUE(runUntil([&] { return recorder.isOver(); }));
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &former, nullptr);
  EXPECT_EQ(seen, kBytes);
  EXPECT_EQ(task->terminationStatus(), 9);
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

}  // namespace
}  // namespace rondel
