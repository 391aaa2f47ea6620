// SPDX-License-Identifier: MIT
//
// What is written to a child: at once, in the background, and by itself.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "Rondel/Streams/Task.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/SystemCallFailures.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::runFor;
using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::TaskRecorder;
using Events = std::vector<std::string>;

TEST(TaskInput, IsWrittenAtOnce) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->startTask();
  task->sendDataToTask(dataOf("one "));
  task->sendStringAsCStringToTask("two"_hx);
  task->taskStandardInput()->closeFile();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "one two");
}

TEST(TaskInput, StringsAreSentAsFileSystemRepresentation) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->startTask();
  task->sendStringAsCStringToTask("\u00E4"_hx);  // one character, sent decomposed
  task->taskStandardInput()->closeFile();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "a\xCC\x88");
}

TEST(TaskInput, AutomaticDataIsSentAndTheInputClosed) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->setTaskAutomaticStandardInData(dataOf("automatic"));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "automatic");
}

TEST(TaskInput, AutomaticDataWithABackgroundWriterArrivesWhole) {
  const std::string sent(300000, 'x');
  for (int i = 0; i < 50; ++i) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat", recorder);
    task->performWritesInBackground();
    task->setTaskAutomaticStandardInData(dataOf(sent));
    ASSERT_TRUE(runToEnd(*task, recorder));
    ASSERT_EQ(recorder.output, sent);
    EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  }
}

TEST(TaskInput, ARefusedAutomaticWriteRaisesAndClosesTheInput) {
  const test::SystemCallsKept kept;
  test::failCall<&test::FileCalls::write>(1, EIO);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
  task->setTaskAutomaticStandardInData(dataOf("refused"));
  EXPECT_THROW(task->startTask(), HxException);
  EXPECT_TRUE(task->isRunning());
  EXPECT_TRUE(task->taskStandardInput()->isClosed());
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.output, "end\n");
}

TEST(TaskInput, ToAStoppedChildIsDropped) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  ASSERT_TRUE(runToEnd(*task, recorder));
  task->sendDataToTask(dataOf("x"));
  task->sendStringAsCStringToTask("x"_hx);
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

TEST(TaskInput, SIGPIPEIsIgnoredFromTheCallForBackgroundWritesOn) {
  const auto former = std::signal(SIGPIPE, SIG_DFL);
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->performWritesInBackground();
  EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
  TaskRecorder recorder;
  task->setDelegate(&recorder);
  task->setTaskPath("/bin/cat"_hx);
  task->setTaskAutomaticStandardInData(dataOf("x"));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(std::signal(SIGPIPE, former), SIG_DFL);  // a later choice of the tool stays
}

TEST(TaskInput, ARefusedForegroundWriteRaises) {
  const auto former = std::signal(SIGPIPE, SIG_IGN);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec 0<&-; echo closed; exec sleep 60", recorder);
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return recorder.output == "closed\n"; }));
  EXPECT_THROW(task->sendDataToTask(dataOf("x")), HxException);
  EXPECT_TRUE(task->isRunning());  // nothing has changed
  task->stopTask();
  EXPECT_TRUE(runUntil([&] { return recorder.isOver(); }));
  std::signal(SIGPIPE, former);
}

// ---- In the background ------------------------------------------------------------------------

TEST(TaskInput, BackgroundWritesArriveInOrderAndTheInputIsClosedAfterThem) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->performWritesInBackground();
  task->performWritesInBackground();  // does nothing
  task->startTask();
  std::string sent;
  for (int i = 0; i < 1000; ++i) {
    const std::string chunk = std::to_string(i) + " ";
    sent += chunk;
    task->sendDataToTask(dataOf(chunk));
  }
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, sent);
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

TEST(TaskInput, BothPipesFullDoNotBlockEachOther) {
  constexpr std::size_t kBytes = 32U << 20U;
  TaskRecorder recorder;
  std::size_t seen = 0;
  recorder.onOutput = [&](ZevMoTask*) {
    seen += recorder.output.size();
    recorder.output.clear();
  };
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->performWritesInBackground();
  task->startTask();
  const HxData chunk = dataOf(std::string(1U << 20U, 'x'));
  for (std::size_t sent = 0; sent < kBytes; sent += chunk.length()) task->sendDataToTask(chunk);
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(seen, kBytes);
}

TEST(TaskInput, AChildThatNeverReadsDoesNotBlockTheRunLoop) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec sleep 60", recorder);
  task->performWritesInBackground();
  task->startTask();
  task->sendDataToTask(dataOf(std::string(4U << 20U, 'x')));
  runFor(0.1);
  EXPECT_EQ(recorder.events, (Events{"start"}));
  task->stopTask();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events.back(), "stop 1");
  EXPECT_TRUE(task->taskStandardInput().isNil());  // its write was refused
}

TEST(TaskInput, AChildThatDiesLetsTheQueueDrainToNowhere) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("head -c 10 | wc -c", recorder);
  task->performWritesInBackground();
  task->startTask();
  for (int i = 0; i < 50; ++i) task->sendDataToTask(dataOf(std::string(100000, 'x')));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(std::stoi(recorder.output), 10);
  EXPECT_EQ(recorder.events.back(), "stop 0");
}

TEST(TaskInput, AnEndMarkOfTheCallersEndsTheWriterAndDoesNotHangTheExit) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("sleep 0.1", recorder);
  task->performWritesInBackground();
  task->startTask();
  task->sendDataToTask(dataOf(""));
  task->sendDataToTask(dataOf("after the mark: never written"));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

TEST(TaskInput, IsClosedAlsoAfterAnEndMark) {
  for (const bool hasEnded : {false, true}) {
    const auto before = test::ProcessResources::now();
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
    task->performWritesInBackground();
    task->startTask();
    task->sendDataToTask(dataOf("data "));
    task->sendDataToTask(dataOf(""));
    if (hasEnded) {
      ASSERT_TRUE(
          runUntil([&] { return test::ProcessResources::now().threads == before.threads; }));
    }
    task->closeInputAfterWrites();
    EXPECT_TRUE(!hasEnded || task->taskStandardInput()->isClosed());
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    EXPECT_EQ(recorder.output, "data end\n");
  }
}

TEST(TaskInput, ATextThatHasNoBytesSendsNothingAndIsNoEndMark) {
  const HxUniChar units[] = {'a', 0xD800};
  for (const bool inBackground : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat", recorder);
    if (inBackground) task->performWritesInBackground();
    task->startTask();
    task->sendStringAsCStringToTask(HxString::stringWithCharacters(units, 2));
    task->sendStringAsCStringToTask("next"_hx);
    task->closeInputAfterWrites();
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    EXPECT_EQ(recorder.output, "next");
  }
}

// ---- Descendants that inherit the input -------------------------------------------------------

TEST(TaskInput, ADescendantThatKeepsItOpenDoesNotHoldTheRunLoop) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task =
      shellTask("exec 3<&0; sleep 60 <&3 >/dev/null 2>&1 & echo $!; sleep 0.1", recorder);
  task->performWritesInBackground();
  task->startTask();
  task->sendDataToTask(dataOf(std::string(4U << 20U, 'x')));
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  EXPECT_TRUE(task->taskStandardInput().isNil());
  EXPECT_EQ(kill(std::stoi(recorder.output), SIGKILL), 0);  // it was there all the while
}

TEST(TaskInput, ADescendantThatStillReadsItSeesItsEndAfterTheExit) {
  for (const std::size_t chunk : {std::size_t{4} << 20U, std::size_t{1000}}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task =
        shellTask("exec 3<&0; (sleep 0.2; exec wc -c <&3) & exit 0", recorder);
    task->performWritesInBackground();
    task->startTask();
    for (std::size_t sent = 0; sent < 4U << 20U; sent += chunk) {
      task->sendDataToTask(dataOf(std::string(chunk, 'x')));
    }
    ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
    EXPECT_LT(std::stoul(recorder.output), 4U << 20U);
    EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"}));
  }
}

TEST(TaskInput, ADescendantSeesItsEndAlsoIfNothingWasSent) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec 3<&0; (cat <&3; echo end) & exit 0", recorder);
  task->performWritesInBackground();
  task->startTask();
  ASSERT_TRUE(runUntil([&] { return task->runIsOver(); }));
  EXPECT_EQ(recorder.output, "end\n");
}

// ---- What the exit cuts off -------------------------------------------------------------------

// Holds the calls on one descriptor that a writer's thread makes, until it is let go.
struct HeldCall {
  std::atomic<int> descriptor = -1;
  std::atomic<bool> isUnderWay = false;

  void hold(int of) {
    while (descriptor == of) {
      isUnderWay = true;
      usleep(1000);
    }
  }
};
HeldCall heldCall;

Ref<ZevMoTask> startedSleeper(TaskRecorder& recorder) {
  const Ref<ZevMoTask> task = shellTask("exec sleep 60", recorder);
  task->performWritesInBackground();
  recorder.onStop = [](ZevMoTask* stopped) {
    EXPECT_TRUE(stopped->taskStandardInput().isNil());
    heldCall.descriptor = -1;
  };
  task->startTask();
  heldCall.isUnderWay = false;
  heldCall.descriptor = task->taskStandardInput()->fileDescriptor();
  return task;
}

TEST(TaskInput, AWriteThatTheExitCutsOffHasFailedAtOnce) {
  const test::SystemCallsKept kept;
  test::fileCalls.write = +[](int descriptor, const void* bytes, size_t length) {
    heldCall.hold(descriptor);
    return write(descriptor, bytes, length);
  };
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = startedSleeper(recorder);
  task->sendDataToTask(dataOf("x"));
  EXPECT_TRUE(runUntil([] { return heldCall.isUnderWay.load(); }));
  task->stopTask();
  EXPECT_TRUE(runUntil([&] { return recorder.isOver(); }));
}

TEST(TaskInput, AWriteThatStillWaitsAtTheExitHasFailedAtOnce) {
  const test::SystemCallsKept kept;
  test::fileCalls.close = +[](int descriptor) {
    heldCall.hold(descriptor);
    return close(descriptor);
  };
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = startedSleeper(recorder);
  task->closeInputAfterWrites();  // keeps the writer busy
  EXPECT_TRUE(runUntil([] { return heldCall.isUnderWay.load(); }));
  task->sendDataToTask(dataOf("x"));
  task->stopTask();
  EXPECT_TRUE(runUntil([&] { return recorder.isOver(); }));
}

// ---- End marks --------------------------------------------------------------------------------

TEST(TaskInput, AnEndMarkPassesBeforeTheTaskRunsAndNothingElseDoes) {
  const HxData marks[] = {nullptr, dataOf("")};
  for (const HxData& mark : marks) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
    task->performWritesInBackground();
    recorder.onStart = [&](ZevMoTask* started) {
      started->sendDataToTask(dataOf("dropped"));
      started->sendDataToTask(mark);
    };
    task->startTask();
    task->sendDataToTask(dataOf("after the mark"));
    task->taskStandardInput()->closeFile();
    ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
    EXPECT_EQ(recorder.output, "end\n");
  }
}

TEST(TaskInput, NilAndEmptyTextsAreEndMarksToo) {
  for (const HxString& text : {HxString(), ""_hx}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
    task->performWritesInBackground();
    task->startTask();
    task->sendStringAsCStringToTask(text);
    task->sendDataToTask(dataOf("after the mark"));
    task->taskStandardInput()->closeFile();
    ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
    EXPECT_EQ(recorder.output, "end\n");
  }
}

TEST(TaskInput, NilAndEmptyWriteNothingAtOnce) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  task->startTask();
  task->sendDataToTask(nullptr);
  task->sendDataToTask(dataOf(""));
  task->sendStringAsCStringToTask(nullptr);
  task->sendStringAsCStringToTask(""_hx);
  task->streamProcessBytes(nullptr, nullptr);
  task->streamProcessBytes(nullptr, dataOf("x"));
  task->streamDidEnd(nullptr);  // does not close the input
  EXPECT_FALSE(task->taskStandardInput()->isClosed());
  task->taskStandardInput()->closeFile();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "x");
}

TEST(TaskInput, EmptyAutomaticDataClosesTheInput) {
  for (const bool inBackground : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
    task->setTaskAutomaticStandardInData(dataOf(""));
    if (inBackground) task->performWritesInBackground();
    ASSERT_TRUE(runToEnd(*task, recorder));
    EXPECT_EQ(recorder.output, "end\n");
  }
}

TEST(TaskInput, ARefusedWriteStillLetsTheInputBeClosed) {
  const test::SystemCallsKept kept;
  test::failCall<&test::FileCalls::write>(1, EIO);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat; echo end", recorder);
  task->performWritesInBackground();
  task->startTask();
  task->sendDataToTask(dataOf("refused"));
  task->sendDataToTask(dataOf("thrown away"));
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "end\n");
}

TEST(TaskInput, AWriterThatCannotBeStartedRaises) {
  const test::SystemCallsKept kept;
  test::failCall<&test::SystemCalls::pthread_create>(1, EAGAIN);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("cat", recorder);
  EXPECT_THROW(task->performWritesInBackground(), HxException);
  task->startTask();
  task->sendDataToTask(dataOf("at once"));
  task->closeInputAfterWrites();
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  EXPECT_EQ(recorder.output, "at once");
}

TEST(TaskInput, DroppingTheTaskEndsAWriteThatNobodyReads) {
  for (const bool byDelegate : {false, true}) {
    const auto before = test::ProcessResources::now();
    TaskRecorder recorder;
    Ref<ZevMoTask> task = shellTask("echo up; exec sleep 60", recorder);
    task->performWritesInBackground();
    task->startTask();
    ASSERT_TRUE(runUntil([&] { return recorder.output == "up\n"; }));
    // With a share of the process object, so that no thread has to wait for the child.
    const Ref<HxTask> process = task->hxTask();
    const Ref<HxFileHandle> input = task->taskStandardInput();
    task->sendDataToTask(dataOf(std::string(4U << 20U, 'x')));
    const int descriptor = input->fileDescriptor();
    ASSERT_TRUE(runUntil([&] {
      int waiting = 0;
      return ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting >= 65536;
    }));
    if (byDelegate) {
      task->setDelegate(nullptr);
    } else {
      task = nullptr;
      runFor(0.001);
    }
    EXPECT_TRUE(runUntil([&] { return test::ProcessResources::now().threads == before.threads; }));
    EXPECT_TRUE(process->isRunning());  // it was neither signalled nor waited for
    EXPECT_TRUE(input->isClosed());
    EXPECT_LT(fcntl(descriptor, F_GETFD), 0);
    process->terminate();
    process->waitUntilExit();
    EXPECT_EQ(process->terminationStatus(), SIGTERM);
  }
}

TEST(TaskInput, CleanupKeepsNoHandleThatRefusedAWrite) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->performWritesInBackground();
  task->startTask();
  const int descriptor = task->taskStandardInput()->fileDescriptor();
  task->sendDataToTask(dataOf(std::string(1U << 20U, 'x')));
  ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
  task->cleanupAfterTask();
  // The writer's thread may have it in hand for a moment.
  EXPECT_TRUE(runUntil([&] { return fcntl(descriptor, F_GETFD) < 0; }));
}

TEST(TaskInput, ATaskWithAWriterMayBeDroppedInAnyState) {
  { ZevMoTask::init()->performWritesInBackground(); }  // idle
  {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = ZevMoTask::init();  // failed
    task->setDelegate(&recorder);
    task->performWritesInBackground();
    task->startTask();
  }
  TaskRecorder recorder;
  {
    const Ref<ZevMoTask> task = shellTask("exec cat", recorder);  // nothing to write
    task->performWritesInBackground();
    task->startTask();
  }
  EXPECT_EQ(recorder.events, (Events{"start"}));
}

TEST(TaskInput, AfterCleanupNoSecondWriterIsStarted) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  task->performWritesInBackground();
  ASSERT_TRUE(runToEnd(*task, recorder));
  task->cleanupAfterTask();
  task->performWritesInBackground();
  EXPECT_TRUE(task->taskPath().isNil());
}

}  // namespace
}  // namespace rondel
