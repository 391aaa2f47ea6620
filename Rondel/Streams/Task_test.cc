// SPDX-License-Identifier: MIT
//
// What a task tells its delegate and when, with real children.
#include "Rondel/Streams/Task.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Timer.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::bytesOf;
using test::dataOf;
using test::runFor;
using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::TaskRecorder;
using Events = std::vector<std::string>;

// ---- A new task -------------------------------------------------------------------------------

TEST(Task, ANewOneIsIdle) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  EXPECT_FALSE(task->isRunning());
  EXPECT_EQ(task->processID(), 0);
  EXPECT_EQ(task->platformExitInformation(), -1);
  EXPECT_TRUE(task->startsNewProcessGroup());
  EXPECT_EQ(task->preferredArchitectures().count(), 1U);
  EXPECT_EQ(task->preferredArchitectures().objectAtIndex<HxNumber>(0).intValue(), -1);
  EXPECT_EQ(task->byteStream()->name(), "task output stream"_hx);
  EXPECT_TRUE(task->hxTask().isNil());
  task->stopTask();
  task->interruptTask();
  task->waitUntilExit();
  EXPECT_FALSE(task->isRunning());
}

TEST(Task, SettersShareAndDoNotCopy) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  const HxMutableArray arguments = HxMutableArray::array();
  task->setTaskArguments(arguments);
  EXPECT_EQ(task->taskArguments().object(), arguments.object());
  task->setTaskAutomaticStandardInData(dataOf("x"));
  EXPECT_EQ(bytesOf(task->taskAutomaticStandardInData()), "x");
  task->setTaskCurrentDirectory("/tmp"_hx);
  EXPECT_EQ(task->taskCurrentDirectory(), "/tmp"_hx);
  const HxMutableDictionary environment = HxMutableDictionary::dictionary();
  task->setTaskEnvironment(environment);
  EXPECT_EQ(task->taskEnvironment().object(), environment.object());
  const HxMutableString path = HxMutableString::stringWithString("/bin/true"_hx);
  task->setTaskPath(path);
  EXPECT_EQ(task->taskPath().object(), path.object());
  const HxArray types = HxArray::arrayWithObject(HxNumber::numberWithInt(7));
  task->setPreferredArchitectures(types);
  EXPECT_EQ(task->preferredArchitectures().object(), types.object());
  task->setStartsNewProcessGroup(false);
  EXPECT_FALSE(task->startsNewProcessGroup());
  TaskRecorder recorder;
  task->setDelegate(&recorder);
  EXPECT_EQ(task->delegate(), &recorder);
}

TEST(Task, DescriptionIsPathAndArgumentsUnquoted) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->setTaskPath("/bin/echo"_hx);
  task->setTaskArguments(HxArray::arrayWithObjects({"a b"_hx, "c"_hx}));
  EXPECT_EQ(task->description(), "/bin/echo a b c"_hx);
  EXPECT_EQ(ZevMoTask::init()->description(), "(null) (null)"_hx);
}

// ---- One run ----------------------------------------------------------------------------------

TEST(Task, TellsStartOutputAndStopOnce) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo one; echo two >&2; exit 3", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(recorder.output, "one\ntwo\n");  // output and error output are one channel
  EXPECT_EQ(task->terminationStatus(), 3);
  EXPECT_FALSE(task->isRunning());
  runFor(0.05);
  EXPECT_EQ(recorder.events.size(), 3U);
}

TEST(Task, AChildThatWritesNothingStopsOnce) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, DuringTaskDidStartNothingIsRunningYet) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
  recorder.onStart = [](ZevMoTask* started) {
    EXPECT_FALSE(started->isRunning());
    EXPECT_GT(started->processID(), 0);
    started->stopTask();                   // does nothing
    started->sendDataToTask(dataOf("x"));  // is dropped
  };
  task->startTask();
  EXPECT_TRUE(task->isRunning());
  task->taskStandardInput()->closeFile();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "end\n");
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

TEST(Task, DuringTaskDidStartDataIsDroppedWithAWriterToo) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
  task->performWritesInBackground();
  recorder.onStart = [](ZevMoTask* started) { started->sendDataToTask(dataOf("x")); };
  task->startTask();
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "end\n");
}

TEST(Task, InTaskDidStopTheStatusIsKnownAndNothingRuns) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 6", recorder);
  recorder.onStop = [](ZevMoTask* stopped) {
    EXPECT_EQ(stopped->terminationStatus(), 6);
    EXPECT_FALSE(stopped->isRunning());
    stopped->stopTask();  // does nothing
    stopped->waitUntilExit();
  };
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, ProcessIDIsTheChilds) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo $$", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, std::to_string(task->processID()) + "\n");
}

TEST(Task, LeadsAProcessGroupOnlyWhenReported) {
  for (const bool flag : {true, false}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task =
        shellTask("ps -o pgid= -p $$ 2>/dev/null || cut -d' ' -f5 /proc/$$/stat", recorder);
    task->setStartsNewProcessGroup(flag);
    ASSERT_TRUE(runToEnd(*task, recorder));
    EXPECT_EQ(std::stoi(recorder.output), flag ? task->processID() : getpgrp());
  }
}

// ---- Stream and delegate ----------------------------------------------------------------------

// Keeps chunks and the end, with a hook for what the delegate has heard by then.
class ByteKeeper final : public HxObject, public ZevMoByteStreamConsuming {
 public:
  void streamProcessBytes(ZevMoStream*, const HxData& data) override { bytes += bytesOf(data); }
  void streamDidEnd(ZevMoStream*) override {
    ++ends;
    if (onEnd) onEnd();
  }
  std::string bytes;
  int ends = 0;
  std::function<void()> onEnd;
};

TEST(Task, AConsumerOfTheStreamTakesTheOutputFromTheDelegate) {
  TaskRecorder recorder;
  const Ref<ByteKeeper> keeper = makeRef<ByteKeeper>();
  const Ref<ZevMoTask> task = shellTask("echo hello", recorder);
  task->byteStream()->setByteStreamConsumer(keeper);
  keeper->onEnd = [&] { EXPECT_EQ(recorder.events, (Events{"start"})); };  // before the delegate
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(keeper->bytes, "hello\n");
  EXPECT_EQ(keeper->ends, 1);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, WithoutDelegateAndConsumerOutputIsDropped) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->setTaskPath("/bin/echo"_hx);
  task->startTask();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 0);
}

TEST(Task, OutputAndErrorAreOneHandleWhateverIsCaptured) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo e >&2", recorder);
  task->setCapturesStandardError(false);
  task->setCapturesStandardOutput(false);
  task->startTask();
  EXPECT_EQ(task->taskStandardError(), task->taskStandardOutput());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "e\n");
}

TEST(Task, CanBeTheConsumerOfAnotherTask) {
  TaskRecorder upper;
  TaskRecorder lower;
  const Ref<ZevMoTask> sink = shellTask("read a; echo \"got $a\"", lower);
  const Ref<ZevMoTask> source = shellTask("echo word", upper);
  source->byteStream()->setByteStreamConsumer(sink);
  sink->startTask();
  ASSERT_TRUE(runToEnd(*source, upper));
  ASSERT_TRUE(runUntil([&] { return lower.isOver(); }));
  EXPECT_EQ(lower.output, "got word\n");
  source->byteStream()->setByteStreamConsumer(nullptr);
}

// ---- The end, by order of arrival -------------------------------------------------------------

TEST(Task, ReadingExitThenEndOfOutput) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("(sleep 0.3; echo late) & exit 4", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
  EXPECT_EQ(task->terminationStatus(), 4);  // the exit stores the status and returns
  EXPECT_EQ(recorder.events, (Events{"start"}));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(recorder.output, "late\n");
}

TEST(Task, ReadingEndOfOutputThenExit) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo x; exec >&- 2>&-; sleep 0.3; exit 5", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(task->terminationStatus(), 5);
}

// The owner of a supplied output handle.
class Owner final : public HxObject, public ZevMoTaskSynchronizedFileHandle {
 public:
  void taskDidStopForSynchronizedFileHandle() override { ++stops; }
  bool didSynchronizedFileHandleReceiveLastData() override { return hasLastData; }
  int stops = 0;
  bool hasLastData = false;
};

// One that does something else when the child has exited.
class OwnerWithReaction final : public HxObject, public ZevMoTaskSynchronizedFileHandle {
 public:
  void taskDidStopForSynchronizedFileHandle() override { reaction(); }
  bool didSynchronizedFileHandleReceiveLastData() override { return true; }
  std::function<void()> reaction;
};

Ref<ZevMoTask> taskWithSuppliedOutput(TaskRecorder& recorder, Ref<HxPipe>& pipe) {
  const Ref<ZevMoTask> task = shellTask("echo out", recorder);
  pipe = HxPipe::init();
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
  return task;
}

TEST(Task, SynchronizedOwnerExitThenLastData) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<Owner> owner = makeRef<Owner>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->setSynchronizedFileHandleDelegate(owner.get());
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return owner->stops == 1; }));
  EXPECT_EQ(recorder.events, (Events{"start"}));
  task->synchronizedFileHandleDidReceivedLastData();
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, SynchronizedOwnerLastDataThenExit) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<Owner> owner = makeRef<Owner>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->setSynchronizedFileHandleDelegate(owner.get());
  owner->hasLastData = true;
  task->startTask();
  task->synchronizedFileHandleDidReceivedLastData();  // finds no exit
  EXPECT_EQ(recorder.events, (Events{"start"}));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(owner->stops, 1);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, SynchronizedOwnerThatReportsWhileItIsReportedStopsTheRunOnce) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<OwnerWithReaction> owner = makeRef<OwnerWithReaction>();
  const Ref<ByteKeeper> keeper = makeRef<ByteKeeper>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->byteStream()->setByteStreamConsumer(keeper);
  task->setSynchronizedFileHandleDelegate(owner.get());
  owner->reaction = [&] { task->synchronizedFileHandleDidReceivedLastData(); };
  ASSERT_TRUE(runToEnd(*task, recorder));
  task->synchronizedFileHandleDidReceivedLastData();
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(keeper->ends, 1);
}

TEST(Task, LastDataReportedInTheStreamsEndEndsItOnce) {
  constexpr int kMostEnds = 3;
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<Owner> owner = makeRef<Owner>();
  const Ref<ByteKeeper> keeper = makeRef<ByteKeeper>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->byteStream()->setByteStreamConsumer(keeper);
  task->setSynchronizedFileHandleDelegate(owner.get());
  keeper->onEnd = [&] {
    if (keeper->ends < kMostEnds) task->synchronizedFileHandleDidReceivedLastData();
  };
  owner->hasLastData = true;
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(keeper->ends, 1);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, SynchronizedOwnerMayLeaveWhileItIsReported) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<OwnerWithReaction> owner = makeRef<OwnerWithReaction>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->setSynchronizedFileHandleDelegate(owner.get());
  owner->reaction = [&] { task->setSynchronizedFileHandleDelegate(nullptr); };
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
  EXPECT_EQ(recorder.events, (Events{"start"}));  // nobody is there to say yes
  task->synchronizedFileHandleDidReceivedLastData();
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  runFor(0.02);
}

TEST(Task, SuppliedOutputMayBeReadHere) {
  const test::TemporaryDirectory folder;
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo out; exec cat", recorder);
  ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
  const int descriptor = open(folder.path("fifo").c_str(), O_RDWR | O_CLOEXEC);
  task->setTaskStdOutputFileHandleReadTaskOutput(
      HxFileHandle::initWithFileDescriptor(descriptor, true), true);
  task->startTask();
  EXPECT_EQ(task->taskStandardOutput()->fileDescriptor(), descriptor);
  ASSERT_TRUE(runUntil([&] { return recorder.output == "out\n"; }));
}

TEST(Task, AReplacedOutputHandleIsNotHeardOfAnyMore) {
  TaskRecorder recorder;
  const Ref<HxPipe> pipe = HxPipe::init();
  const Ref<ZevMoTask> task = shellTask("exec cat", recorder);
  const int other = dup(pipe->fileHandleForReading()->fileDescriptor());
  const Ref<HxFileHandle> former = HxFileHandle::initWithFileDescriptor(other, true);
  task->setTaskStdOutputFileHandleReadTaskOutput(former, true);
  task->startTask();
  task->setTaskStdOutputFileHandleReadTaskOutput(nullptr, false);
  pipe->fileHandleForWriting()->writeData(dataOf("x"));
  runFor(0.05);
  EXPECT_EQ(recorder.output, "");
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
}

TEST(Task, SuppliedOutputWithoutOwnerStopsAtTheExit) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<ByteKeeper> keeper = makeRef<ByteKeeper>();
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->byteStream()->setByteStreamConsumer(keeper);
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(keeper->bytes, "");  // the stream never carries data
  EXPECT_EQ(bytesOf(pipe->fileHandleForReading()->availableData()), "out\n");
}

TEST(Task, TheSameOutputHandleChangesNothingFlagIncluded) {
  TaskRecorder recorder;
  Ref<HxPipe> pipe;
  const Ref<ZevMoTask> task = taskWithSuppliedOutput(recorder, pipe);
  task->setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), true);
  ASSERT_TRUE(runToEnd(*task, recorder));  // a task that read the handle would wait for its end
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, SuppliedInputIsReadByTheChildItself) {
  const test::TemporaryDirectory folder;
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  folder.write("in", "from a file\n");
  const int descriptor = open(folder.path("in").c_str(), O_RDONLY | O_CLOEXEC);
  task->setTaskStdInputFileHandle(HxFileHandle::initWithFileDescriptor(descriptor, true));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "from a file\n");
}

// ---- Stopping ---------------------------------------------------------------------------------

TEST(Task, StopBeforeTheFirstOutputIsReported) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec sleep 60", recorder);
  task->startTask();
  task->stopTask();
  EXPECT_FALSE(task->isRunning());
  task->stopTask();  // does nothing
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST(Task, StopAfterTheEndDoesNothing) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  task->stopTask();
  task->interruptTask();
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(Task, StopAfterTheExitDoesNothing) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("(sleep 0.2; echo late) & exit 0", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
  task->stopTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
}

TEST(Task, StopAfterTheEndOfOutputIsReported) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec >&- 2>&-; exec sleep 60", recorder);
  task->startTask();
  runFor(0.2);
  task->stopTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
}

TEST(Task, StopWorksWhileADescendantKeepsTheOutputOpen) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("sleep 0.4 & exec sleep 60", recorder);
  task->startTask();
  task->stopTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 1"}));
}

TEST(Task, InterruptSendsSIGINTAndChangesNoState) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec sleep 60", recorder);
  task->startTask();
  task->interruptTask();
  EXPECT_TRUE(task->isRunning());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(task->terminationStatus(), SIGINT);
}

TEST(Task, TellsWhichSignalKilledTheChild) {
  for (const int signal :
       {SIGHUP, SIGINT, SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGKILL, SIGUSR1,
        SIGSEGV, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM, SIGXCPU}) {
    TaskRecorder recorder;
    const std::string script = "ulimit -c 0; kill -" + std::to_string(signal) + " $$";
    const Ref<ZevMoTask> task = shellTask(script.c_str(), recorder);
    ASSERT_TRUE(runToEnd(*task, recorder)) << signal;
    EXPECT_EQ(task->terminationStatus(), signal);
    EXPECT_TRUE(WIFSIGNALED(task->platformExitInformation())) << signal;
    EXPECT_EQ(task->hxTask()->terminationReason(), HxTaskTerminationReason::signal);
    EXPECT_EQ(recorder.events.back(), "stop 0");
  }
}

TEST(Task, CloseTaskHandlesClosesBothSides) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; exit 8", recorder);
  task->startTask();
  const Ref<HxFileHandle> input = task->taskStandardInput();
  const Ref<HxFileHandle> output = task->taskStandardOutput();
  task->closeTaskHandles();
  EXPECT_TRUE(input->isClosed());
  EXPECT_TRUE(output->isClosed());
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(task->terminationStatus(), 8);
  ZevMoTask::init()->closeTaskHandles();  // has none
}

TEST(Task, AStatusTakenByTheHostEndsTheRunWithMinusOne) {
  struct sigaction former {};
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &former);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 7", recorder);
  EXPECT_TRUE(runToEnd(*task, recorder));
  sigaction(SIGCHLD, &former, nullptr);
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
  EXPECT_EQ(task->terminationStatus(), -1);
}

// ---- Waiting ----------------------------------------------------------------------------------

TEST(Task, WaitUntilExitDeliversTheLastOutputAndTheStop) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo now; exit 2", recorder);
  task->startTask();
  task->waitUntilExit();
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_EQ(task->terminationStatus(), 2);
}

TEST(Task, WaitUntilExitReadsOnlyThisTaskAfterTheExit) {
  struct Counter final : HxObject {
    void fire(HxTimer&) { ++fired; }
    int fired = 0;
  };
  TaskRecorder recorder;
  const Ref<Counter> counter = makeRef<Counter>();
  const Ref<ZevMoTask> task = shellTask("(sleep 0.25; echo late) & exit 0", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return !task->isRunning(); }));
  HxTimer::scheduledTimerWithTimeInterval<&Counter::fire>(0.01, counter.get(), nullptr, false);
  task->waitUntilExit();  // the exit was seen: only the private mode runs
  EXPECT_EQ(recorder.output, "late\n");
  EXPECT_EQ(recorder.events.back(), "stop 0");
  EXPECT_EQ(counter->fired, 0);
  runFor(0.05);
  EXPECT_EQ(counter->fired, 1);
}

TEST(Task, WaitUntilExitReturnsUpOnDescendantsAfterHalfASecond) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("sleep 1.2 & exit 0", recorder);
  task->startTask();
  task->waitUntilExit();
  EXPECT_EQ(recorder.events, (Events{"start"}));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

}  // namespace
}  // namespace rondel
