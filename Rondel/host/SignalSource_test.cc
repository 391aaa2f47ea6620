// SPDX-License-Identifier: MIT
#include "Rondel/host/SignalSource.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::SystemCalls;

bool runOnce() {
  return HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
}
bool look() { return HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr); }

void sendMyself(int signal) { kill(getpid(), signal); }

using Handler = void (*)(int);
Handler handlerOf(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler;
}

class Tool : public HxObject {
 public:
  void watch(int signal) {
    source = HxSignalSource::scheduledSourceWithSignal<&Tool::signalled>(signal, this);
  }
  void signalled(HxSignalSource& sender) {
    EXPECT_EQ(sender.signalNumber(), SIGUSR1);
    ++count;
    if (reaction) reaction();
  }
  Ref<HxSignalSource> source;
  int count = 0;
  std::function<void()> reaction;
};

TEST(SignalSource, CallsForASignal) {
  const auto tool = makeRef<Tool>();
  tool->watch(SIGUSR1);
  EXPECT_TRUE(tool->isUniquelyReferenced());
  sendMyself(SIGUSR1);
  runOnce();
  EXPECT_EQ(tool->count, 1);
}

TEST(SignalSource, CallsABlock) {
  int count = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] { ++count; });
  sendMyself(SIGUSR1);
  runOnce();
  EXPECT_EQ(count, 1);
}

TEST(SignalSource, EndsTheWaitOfItsLoopOnlyForItsSignal) {
  int first = 0;
  int second = 0;
  const auto one = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] { ++first; });
  const auto two = HxSignalSource::scheduledSourceWithSignal(SIGUSR2, [&] { ++second; });
  std::thread sender([] { sendMyself(SIGUSR2); });
  runOnce();
  sender.join();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST(SignalSource, EachSignalIsACall) {
  int count = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] { ++count; });
  for (int sent = 0; sent < 3; ++sent) sendMyself(SIGUSR1);
  for (int pass = 0; pass < 3; ++pass) look();
  EXPECT_EQ(count, 3);
  look();
  EXPECT_EQ(count, 3);
}

TEST(SignalSource, EverySourceOfEveryLoopHears) {
  int here = 0;
  std::atomic<int> there = 0;
  std::atomic<bool> isReady = false;
  const auto count = [&] { ++here; };
  const auto one = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, count);
  const auto two = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, count);
  std::thread other([&] {
    const auto three = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] { ++there; });
    isReady = true;
    while (there == 0) runOnce();
  });
  while (!isReady) std::this_thread::yield();
  sendMyself(SIGUSR1);
  other.join();
  while (here < 2) runOnce();
  EXPECT_EQ(there, 1);
}

TEST(SignalSource, FormerDispositionComesBackWithTheLastSource) {
  for (const Handler former : {SIG_IGN, SIG_DFL}) {
    const Handler before = signal(SIGUSR1, former);
    auto one = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
    auto two = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
    EXPECT_NE(handlerOf(SIGUSR1), former);
    one = nullptr;
    EXPECT_NE(handlerOf(SIGUSR1), former);
    two->invalidate();
    EXPECT_EQ(handlerOf(SIGUSR1), former);
    two = nullptr;
    signal(SIGUSR1, before);
  }
}

TEST(SignalSource, DispositionThatWasChangedMeanwhileStays) {
  const Handler before = handlerOf(SIGUSR1);
  auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
  signal(SIGUSR1, SIG_IGN);
  source = nullptr;
  EXPECT_EQ(handlerOf(SIGUSR1), SIG_IGN);
  signal(SIGUSR1, before);
}

TEST(SignalSource, IsHeardInItsModesOnly) {
  int count = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(
      SIGUSR1, [&] { ++count; }, "Private"_hx);
  sendMyself(SIGUSR1);
  EXPECT_FALSE(look());
  EXPECT_EQ(count, 0);
  HxRunLoop::currentRunLoop()->runMode("Private"_hx, nullptr);
  EXPECT_EQ(count, 1);
}

TEST(SignalSource, NobodyIsCalledAfterInvalidate) {
  int count = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] { ++count; });
  sendMyself(SIGUSR1);
  source->invalidate();
  source->invalidate();
  EXPECT_FALSE(look());
  EXPECT_EQ(count, 0);
}

TEST(SignalSource, CallMayDropSourceAndTarget) {
  Ref<Tool> tool = makeRef<Tool>();
  tool->watch(SIGUSR1);
  tool->reaction = [&] {
    tool->source = nullptr;
    tool = nullptr;
  };
  sendMyself(SIGUSR1);
  runOnce();
  EXPECT_FALSE(tool);
  EXPECT_FALSE(look());
}

TEST(SignalSource, CallMayRaiseAndTheOthersRemain) {
  int count = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] {
    if (++count == 1) throw std::runtime_error("no");
  });
  sendMyself(SIGUSR1);
  sendMyself(SIGUSR1);
  EXPECT_THROW(runOnce(), std::runtime_error);
  runOnce();
  EXPECT_EQ(count, 2);
}

TEST(SignalSource, CallMayRunTheLoop) {
  int depth = 0;
  int deepest = 0;
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [&] {
    deepest = std::max(deepest, ++depth);
    look();
    --depth;
  });
  sendMyself(SIGUSR1);
  sendMyself(SIGUSR1);
  runOnce();
  EXPECT_EQ(deepest, 2);
  look();
  EXPECT_EQ(deepest, 2);
}

TEST(SignalSource, NullTargetCatchesNothing) {
  const Handler before = handlerOf(SIGUSR1);
  Tool* const nobody = nullptr;
  EXPECT_FALSE(HxSignalSource::scheduledSourceWithSignal<&Tool::signalled>(SIGUSR1, nobody));
  EXPECT_EQ(handlerOf(SIGUSR1), before);
}

TEST(SignalSource, RefusesWhatCannotBeCaught) {
  for (const int signal :
       {0, -1, 1000, SIGKILL, SIGSTOP, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
    try {
      static_cast<void>(HxSignalSource::scheduledSourceWithSignal(signal, [] {}));
      ADD_FAILURE() << signal;
    } catch (const HxException& exception) {
      EXPECT_EQ(exception.name(), HxInvalidArgumentException);
      EXPECT_EQ(exception.reason(),
                HxString::stringWithFormat("cannot catch signal %d: Invalid argument"_hx, signal));
    }
  }
}

TEST(SignalSource, RefusedDescriptorsLeaveTheDisposition) {
  const Handler before = handlerOf(SIGUSR1);
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::eventfd>(1, EMFILE);
  EXPECT_THROW(static_cast<void>(HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {})),
               HxException);
  EXPECT_EQ(handlerOf(SIGUSR1), before);
  test::failCall<&SystemCalls::epoll_ctl>(1, ENOSPC);
  EXPECT_THROW(static_cast<void>(HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {})),
               HxException);
  EXPECT_EQ(handlerOf(SIGUSR1), before);
}

// The mask of that name in a /proc/PID/status, as a number.
unsigned long long maskIn(const std::string& status, const char* name) {
  const std::size_t at = status.find(name);
  EXPECT_NE(at, std::string::npos);
  return std::stoull(status.substr(status.find('\t', at) + 1), nullptr, 16);
}

TEST(SignalSource, ChildrenNeitherIgnoreNorBlockTheSignal) {
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
  const auto task = HxTask::init();
  const auto pipe = HxPipe::init();
  task->setLaunchPath("/bin/cat"_hx);
  task->setArguments(HxArray::arrayWithObject("/proc/self/status"_hx));
  task->setStandardOutput(pipe);
  task->launch();
  const HxData output = pipe->fileHandleForReading()->readDataToEndOfFile();
  const std::string status(reinterpret_cast<const char*>(output.bytes()), output.length());
  for (const char* const mask : {"SigBlk:", "SigIgn:", "SigCgt:"}) {
    EXPECT_EQ(maskIn(status, mask) >> (SIGUSR1 - 1) & 1, 0u) << mask;
  }
  task->waitUntilExit();
}

TEST(SignalSource, ChildrenEndByTheSignal) {
  const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
  const auto task = HxTask::init();
  task->setLaunchPath("/bin/sh"_hx);
  task->setArguments(HxArray::arrayWithObjects({"-c"_hx, "kill -USR1 $$; sleep 60"_hx}));
  task->launch();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationReason(), HxTaskTerminationReason::signal);
  EXPECT_EQ(task->terminationStatus(), SIGUSR1);
}

// The events of the sources are shared by both processes.
TEST(SignalSource, ForkedProcessHasTheFormerDispositions) {
  const auto tool = makeRef<Tool>();
  tool->watch(SIGUSR1);
  const pid_t pid = fork();
  if (pid == 0) {
    raise(SIGUSR1);
    _exit(1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status), SIGUSR1);
  look();
  EXPECT_EQ(tool->count, 0);
}

std::atomic<bool> isHandling = false;
std::atomic<bool> mayReturn = false;

// At the fork the handler is at work on another thread, which the new process does not have.
TEST(SignalSource, ForkedProcessDoesNotWaitForAHandlerOfItsParent) {
  isHandling = mayReturn = false;
  const test::SystemCallsKept kept;
  static const auto original = test::fileCalls.write.function();
  const auto tool = makeRef<Tool>();
  tool->watch(SIGUSR1);
  test::fileCalls.write = +[](int fd, const void* bytes, size_t length) {
    isHandling = true;
    while (!mayReturn) usleep(100);
    return original(fd, bytes, length);
  };
  std::thread other([] { pthread_kill(pthread_self(), SIGUSR1); });
  while (!isHandling) usleep(100);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(20);
    tool->source->invalidate();
    _exit(7);
  }
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 7);
  mayReturn = true;
  other.join();
}

// Sources come and go while the handler walks their list.
TEST(SignalSource, ComeAndGoInAStormOfSignals) {
  constexpr int kRounds = 300;
  const auto base = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
  std::atomic<int> busy = 3;
  std::vector<std::thread> threads;
  for (int index = 0; index < 3; ++index) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const auto source = HxSignalSource::scheduledSourceWithSignal(SIGUSR1, [] {});
        look();
      }
      --busy;
    });
  }
  while (busy > 0) {
    sendMyself(SIGUSR1);
    look();
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace rondel
