// SPDX-License-Identifier: MIT
#include "Rondel/host/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::failureOf;
using test::helper;
using test::outputOf;
using test::runOnce;
using test::shell;
using test::statusOf;
using test::stringOf;
using test::SystemCalls;
using test::taskOf;
using test::text;
using test::Watcher;

// The thread and the descriptors that the first launch makes stay.
const test::WarmUp firstLaunch([] {
  const auto task = taskOf("/bin/true");
  task->launch();
  task->waitUntilExit();
});

// ---- Exit

TEST(Process, TellsTheExitCode) {
  for (const int code : {0, 1, 42, 255}) {
    const auto task = helper("exit-with", {std::to_string(code)});
    EXPECT_EQ(statusOf(task), code);
    EXPECT_EQ(task->terminationReason(), HxTaskTerminationReason::exit);
    EXPECT_EQ(task->_platformExitInformation(), code << 8);
  }
}

TEST(Process, TellsTheSignalThatEndedTheChild) {
  for (int number = 1; number < SIGRTMIN; ++number) {
    if (number == SIGCHLD || number == SIGCONT || number == SIGSTOP || number == SIGTSTP ||
        number == SIGTTIN || number == SIGTTOU || number == SIGURG || number == SIGWINCH ||
        number >= 32) {
      continue;  // these do not end a process
    }
    const auto task = helper("kill-self", {std::to_string(number)});
    EXPECT_EQ(statusOf(task), number);
    EXPECT_EQ(task->terminationReason(), HxTaskTerminationReason::signal) << number;
    EXPECT_EQ(task->_platformExitInformation() & 0x7F, number);
  }
}

TEST(Process, PostsItsEndOnceOnTheThreadThatLaunched) {
  const auto task = helper("exit-with", {"3"});
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [&] {
    EXPECT_FALSE(task->isRunning());
    EXPECT_EQ(task->terminationStatus(), 3);
  };
  task->launch();
  EXPECT_EQ(watcher->count, 0);
  while (watcher->count == 0) runOnce();
  EXPECT_EQ(watcher->thread, std::this_thread::get_id());
  EXPECT_FALSE(runOnce());
  task->waitUntilExit();
  EXPECT_EQ(watcher->count, 1);
}

TEST(Process, AnswersZeroBeforeTheLaunch) {
  const auto task = HxTask::init();
  EXPECT_FALSE(task->isRunning());
  EXPECT_EQ(task->terminationStatus(), 0);
  EXPECT_EQ(task->terminationReason(), HxTaskTerminationReason::none);
  EXPECT_EQ(task->_platformExitInformation(), -1);
  EXPECT_EQ(task->_procid(), 0);
  task->terminate();
  task->interrupt();
  task->waitUntilExit();
}

TEST(Process, AnswersWhileItRuns) {
  const auto task = shell("exec sleep 1000");
  task->launch();
  EXPECT_TRUE(task->isRunning());
  EXPECT_EQ(task->terminationStatus(), 0);
  EXPECT_EQ(task->_platformExitInformation(), -1);
  EXPECT_GT(task->_procid(), 0);
  EXPECT_EQ(task->processIdentifier(), task->_procid());
  task->terminate();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);
  EXPECT_GT(task->_procid(), 0);
}

TEST(Process, InterruptSendsSIGINT) {
  const auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  task->interrupt();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGINT);
}

TEST(Process, SignalsAfterTheExitGoNowhere) {
  const test::SystemCallsKept kept;
  const auto task = helper("exit-with");
  task->launch();
  while (task->isRunning()) usleep(1000);
  auto& sent = test::countCall<&SystemCalls::pidfd_send_signal>();
  auto& killed = test::countCall<&SystemCalls::kill>();
  task->terminate();
  task->interrupt();
  EXPECT_EQ(sent.count + killed.count, 0);
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 0);
}

TEST(Process, IsRunningNeedsNoRunLoop) {
  const auto task = helper("exit-with", {"5"});
  const auto watcher = makeRef<Watcher>(task);
  task->launch();
  while (task->isRunning()) usleep(1000);
  EXPECT_EQ(task->terminationStatus(), 5);
  EXPECT_EQ(watcher->count, 0);
  task->waitUntilExit();
  EXPECT_EQ(watcher->count, 1);
}

TEST(Process, IsLaunchedOnce) {
  const auto task = helper("exit-with");
  task->launch();
  EXPECT_EQ(failureOf(task), "HxInvalidArgumentException: a task can be launched once only");
  task->waitUntilExit();
}

// ---- What the child gets

TEST(Process, ArgumentsArriveAsTheyAre) {
  const auto task = taskOf("/usr/bin/printf",
                           {"[%s]", "", "a b", "two\nlines", "\"'\\$", "\xC3\xA9", "e\xCC\x81"});
  EXPECT_EQ(outputOf(task), "[][a b][two\nlines][\"'\\$][\xC3\xA9][e\xCC\x81]");
}

TEST(Process, EnvironmentIsTheHostsUnlessSet) {
  setenv("RONDEL_TASK_TEST", "inherited", 1);
  EXPECT_EQ(outputOf(shell("echo \"$RONDEL_TASK_TEST\"")), "inherited\n");
  unsetenv("RONDEL_TASK_TEST");

  const auto some = taskOf("/usr/bin/env");
  some->setEnvironment(HxDictionary::dictionaryWithEntries({{"A"_hx, "1 = 1"_hx}}));
  EXPECT_EQ(outputOf(some), "A=1 = 1\n");

  const auto none = taskOf("/usr/bin/env");
  none->setEnvironment(HxDictionary::dictionary());
  EXPECT_EQ(outputOf(none), "");
}

TEST(Process, RunsInItsDirectory) {
  const test::TemporaryDirectory directory;
  const auto task = shell("pwd");
  task->setCurrentDirectoryPath(text(directory.path()));
  EXPECT_EQ(outputOf(task), directory.path() + "\n");
}

TEST(Process, RelativePathStartsFromTheHostsDirectory) {
  const test::TemporaryDirectory directory;
  const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(chdir("/bin"), 0);
  const auto task = taskOf("sh", {"-c", "pwd"});
  task->setCurrentDirectoryPath(text(directory.path()));
  EXPECT_EQ(outputOf(task), directory.path() + "\n");
  ASSERT_EQ(fchdir(before), 0);
  close(before);
}

TEST(Process, PathMayHaveSpacesAndBeNonASCII) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("a b \xC3\xA9\xE2\x82\xAC");
  ASSERT_EQ(symlink("/bin/echo", path.c_str()), 0);
  EXPECT_EQ(outputOf(taskOf(path, {"here"})), "here\n");
}

TEST(Process, ReadsAndWritesItsPipes) {
  const auto task = shell("tr a-z A-Z; echo err >&2");
  const auto in = HxPipe::init();
  const auto out = HxPipe::init();
  const auto err = HxPipe::init();
  task->setStandardInput(in);
  task->setStandardOutput(out);
  task->setStandardError(err);
  task->launch();
  // The ends that the child has got are closed here.
  EXPECT_TRUE(in->fileHandleForReading()->isClosed());
  EXPECT_TRUE(out->fileHandleForWriting()->isClosed());
  EXPECT_TRUE(err->fileHandleForWriting()->isClosed());
  in->fileHandleForWriting()->writeData(HxData::dataWithBytes("hello", 5));
  in->fileHandleForWriting()->closeFile();
  EXPECT_EQ(stringOf(out->fileHandleForReading()->readDataToEndOfFile()), "HELLO");
  EXPECT_EQ(stringOf(err->fileHandleForReading()->readDataToEndOfFile()), "err\n");
  task->waitUntilExit();
}

TEST(Process, OnePipeMayBeOutputAndError) {
  const auto task = shell("echo out; echo err >&2");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  task->setStandardError(pipe);
  task->launch();
  EXPECT_EQ(stringOf(pipe->fileHandleForReading()->readDataToEndOfFile()), "out\nerr\n");
  task->waitUntilExit();
}

TEST(Process, SuppliedHandleStaysOpenAndBlocking) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("out");
  const auto handle = HxFileHandle::initWithFileDescriptor(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600), true);
  const auto task = shell("echo out");
  task->setStandardOutput(handle);
  task->setStandardError(handle);
  EXPECT_EQ(statusOf(task), 0);
  EXPECT_FALSE(handle->isClosed());
  EXPECT_EQ(lseek(handle->fileDescriptor(), 0, SEEK_END), 4);
}

TEST(Process, PipeEndThatWasReadInTheBackgroundIsLentBlocking) {
  const auto pipe = HxPipe::init();
  const auto reading = pipe->fileHandleForReading();
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(fcntl(reading->fileDescriptor(), F_GETFL) & O_NONBLOCK);
  const auto task = taskOf("/bin/cat");
  task->setStandardInput(reading);
  const auto output = HxPipe::init();
  task->setStandardOutput(output);
  task->launch();
  EXPECT_FALSE(fcntl(reading->fileDescriptor(), F_GETFL) & O_NONBLOCK);
  reading->closeFile();
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("x", 1));
  pipe->fileHandleForWriting()->closeFile();
  EXPECT_EQ(stringOf(output->fileHandleForReading()->readDataToEndOfFile()), "x");
  task->waitUntilExit();
}

TEST(Process, ChildHasDescriptors0To2Only) {
  std::vector<int> open;
  for (int count = 0; count < 1000; ++count) open.push_back(dup(1));  // without close-on-exec
  const auto task = helper("show-descriptors");
  EXPECT_EQ(outputOf(task), "0 1 2\n");
  for (const int descriptor : open) close(descriptor);
}

TEST(Process, ChildHasDefaultSignalsAndAnEmptyMask) {
  std::vector<struct sigaction> before(static_cast<std::size_t>(SIGRTMIN));
  for (int number = 1; number < SIGRTMIN; ++number) {
    sigaction(number, nullptr, &before[static_cast<std::size_t>(number)]);
    if (number != SIGCHLD) signal(number, SIG_IGN);
  }
  sigset_t all;
  sigset_t mask;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &mask);
  const std::string output = outputOf(helper("show-signals"));
  sigprocmask(SIG_SETMASK, &mask, nullptr);
  for (int number = 1; number < SIGRTMIN; ++number)
    sigaction(number, &before[static_cast<std::size_t>(number)], nullptr);
  EXPECT_EQ(output, "/\n");
}

TEST(Process, LeadsAProcessGroupWhenAsked) {
  EXPECT_EQ(outputOf(helper("show-signals", {"group"})), "member\n");
  const auto leader = helper("show-signals", {"group"});
  leader->setStartsNewProcessGroup(true);
  EXPECT_EQ(outputOf(leader), "leader\n");
}

TEST(Process, PreferredArchitecturesChangeNothing) {
  const auto task = helper("exit-with", {"7"});
  task->setPreferredArchitectures(HxArray::arrayWithObject(HxNumber::numberWithInt(-1)));
  EXPECT_EQ(statusOf(task), 7);
}

// Each standard file of the child may be any of the host's, in any order.
TEST(Process, StandardFilesMayBeSwapped) {
  const test::TemporaryDirectory directory;
  int kept[3];
  std::string paths[3];
  for (int fd = 0; fd < 3; ++fd) kept[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 10);
  fflush(stdout);
  std::vector<std::string> faults;
  for (int plan = 0; plan < 64; ++plan) {
    for (int fd = 0; fd < 3; ++fd) {
      paths[fd] = directory.write(std::to_string(fd), "");
      close(fd);
      EXPECT_EQ(open(paths[fd].c_str(), O_RDWR | O_APPEND), fd);
    }
    const int sources[3] = {plan % 4, plan / 4 % 4, plan / 16};  // 3: none
    const auto task = shell("echo to0 >&0; echo to1; echo to2 >&2");
    for (int fd = 0; fd < 3; ++fd) {
      if (sources[fd] == 3) continue;
      const auto handle = HxFileHandle::initWithFileDescriptor(sources[fd], false);
      if (fd == 0) task->setStandardInput(handle);
      if (fd == 1) task->setStandardOutput(handle);
      if (fd == 2) task->setStandardError(handle);
    }
    task->launch();
    task->waitUntilExit();
    std::string expected[3];
    for (int fd = 0; fd < 3; ++fd) {
      const int target = sources[fd] == 3 ? fd : sources[fd];
      expected[target] += "to" + std::to_string(fd) + "\n";
    }
    for (int fd = 0; fd < 3; ++fd) {
      std::ifstream file(paths[fd]);
      const std::string got(std::istreambuf_iterator<char>(file), {});
      if (got != expected[fd]) faults.push_back(std::to_string(plan) + ": " + got);
    }
  }
  for (int fd = 0; fd < 3; ++fd) {
    dup2(kept[fd], fd);
    close(kept[fd]);
  }
  EXPECT_TRUE(faults.empty()) << faults.size() << " wrong, first " << faults.front();
}

TEST(Process, WorksWithClosedStandardFilesOfTheHost) {
  fflush(stdout);
  for (int closed = 0; closed < 8; ++closed) {
    int kept[3];
    for (int fd = 0; fd < 3; ++fd) {
      kept[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 10);
      if (closed & 1 << fd) close(fd);
    }
    const auto pipe = HxPipe::init();
    const auto descriptors = helper("show-descriptors");
    descriptors->setStandardOutput(pipe);
    descriptors->launch();
    const std::string output = stringOf(pipe->fileHandleForReading()->readDataToEndOfFile());
    descriptors->waitUntilExit();
    for (int fd = 0; fd < 3; ++fd) {
      dup2(kept[fd], fd);
      close(kept[fd]);
    }
    EXPECT_EQ(output, "0 1 2\n") << closed;
  }
}

// ---- Dropping, waiting, threads

TEST(Process, DroppedRunningChildLeavesNoZombie) {
  auto task = taskOf("/bin/sleep", {"1000"});
  const auto watcher = makeRef<Watcher>(task);
  task->launch();
  const pid_t pid = task->_procid();
  task = nullptr;
  EXPECT_FALSE(runOnce());
  EXPECT_EQ(kill(pid, SIGKILL), 0);
  while (kill(pid, 0) == 0) usleep(1000);
  EXPECT_EQ(watcher->count, 0);
}

TEST(Process, DroppedChildrenNeedNoThreadAndNoDescriptorOfTheirOwn) {
  std::vector<Ref<HxTask>> tasks;
  std::vector<pid_t> pids;
  for (int count = 0; count < 20; ++count) {
    tasks.push_back(taskOf("/bin/sleep", {"1000"}));
    tasks.back()->launch();
    pids.push_back(tasks.back()->processIdentifier());
  }
  const test::ProcessResources before = test::ProcessResources::now();
  tasks.clear();
  EXPECT_EQ(test::ProcessResources::now(), before);  // their pidfds stay until they end
  for (const pid_t pid : pids) kill(pid, SIGKILL);
  for (const pid_t pid : pids) {
    while (kill(pid, 0) == 0) usleep(1000);
  }
}

TEST(Process, DroppingARunningTaskTakesNoMemory) {
  for (const bool hasPidfd : {true, false}) {
    const test::SystemCallsKept kept;
    if (!hasPidfd) test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
    auto task = taskOf("/bin/sleep", {"1000"});
    task->launch();
    const pid_t pid = task->processIdentifier();
    const test::AllocationCounter allocations;
    task = nullptr;
    EXPECT_EQ(allocations.count(), 0u);
    kill(pid, SIGKILL);
    while (kill(pid, 0) == 0) usleep(1000);
  }
}

// Counted in calls of the system: one wait and one watch for each child that is dropped.
TEST(Process, DroppingManyRunningTasksCostsNoMoreEach) {
  constexpr int kTasks = 100;
  const test::SystemCallsKept kept;
  std::vector<Ref<HxTask>> tasks;
  std::vector<pid_t> pids;
  for (int count = 0; count < kTasks; ++count) {
    tasks.push_back(taskOf("/bin/sleep", {"1000"}));
    tasks.back()->launch();
    pids.push_back(tasks.back()->processIdentifier());
  }
  auto& waits = test::countCall<&SystemCalls::waitid>();
  tasks.clear();
  EXPECT_EQ(waits.count, kTasks);
  for (const pid_t pid : pids) kill(pid, SIGKILL);
  for (const pid_t pid : pids) {
    while (kill(pid, 0) == 0) usleep(1000);
  }
}

TEST(Process, MayBeDroppedByItsObserver) {
  auto task = helper("exit-with");
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [&] { task = nullptr; };
  task->launch();
  while (task) runOnce();
  EXPECT_EQ(watcher->count, 1);
}

TEST(Process, ObserversOfADroppedTaskDoNotHearAnotherAtItsPlace) {
  const auto watcher = makeRef<Watcher>(HxTask::init());
  EXPECT_EQ(statusOf(helper("exit-with")), 0);
  EXPECT_EQ(watcher->count, 0);
}

TEST(Process, MayBeDroppedByItsObserverWhileItWaits) {
  auto task = helper("exit-with");
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [&] { task = nullptr; };
  task->launch();
  task->waitUntilExit();
  EXPECT_TRUE(task.isNil());
}

TEST(Process, WaitRunsTheDefaultMode) {
  const auto task = shell("echo line; exit 3");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  task->launch();
  std::string order;
  HxRunLoop::currentRunLoop()->performBlock([&] { order += "call "; });
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [&] { order += "exit "; };
  task->waitUntilExit();
  EXPECT_EQ(order, "call exit ");
}

TEST(Process, WaitMayBeDoneOnAnotherThread) {
  const auto task = taskOf("/bin/sleep", {"1000"});
  const auto watcher = makeRef<Watcher>(task);
  task->launch();
  std::thread waiter([&] {
    task->waitUntilExit();
    EXPECT_FALSE(task->isRunning());
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
  });
  usleep(2000);
  task->terminate();
  waiter.join();
  EXPECT_EQ(watcher->count, 0);
  task->waitUntilExit();
  EXPECT_EQ(watcher->count, 1);
}

TEST(Process, WhatAnObserverRaisesPassesTheWait) {
  const auto task = helper("exit-with");
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [] { throw std::runtime_error("no"); };
  task->launch();
  EXPECT_THROW(task->waitUntilExit(), std::runtime_error);
  task->waitUntilExit();
  EXPECT_EQ(watcher->count, 1);
}

TEST(Process, OutputIsSeenBeforeTheExit) {
  class Reader : public HxObject {
   public:
    void arrived(const HxNotification&) { *order += 'o'; }
    std::string* order = nullptr;
  };
  std::string order;
  const auto task = shell("echo line");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  const auto reader = makeRef<Reader>();
  reader->order = &order;
  HxNotificationCenter::defaultCenter()->addObserver<&Reader::arrived>(
      reader.get(), HxFileHandleReadCompletionNotification, pipe->fileHandleForReading());
  const auto watcher = makeRef<Watcher>(task);
  watcher->reaction = [&] { order += 'e'; };
  task->launch();
  while (task->isRunning()) usleep(1000);  // both are there
  pipe->fileHandleForReading()->readInBackgroundAndNotify();
  task->waitUntilExit();
  HxNotificationCenter::defaultCenter()->removeObserver(reader.get());
  EXPECT_EQ(order, "oe");
}

TEST(Process, OutputOfManyIsSeenBeforeAnyOfTheirExits) {
  constexpr int kTasks = 100;
  class Reader : public HxObject {
   public:
    void arrived(const HxNotification&) { ++*reads; }
    int* reads = nullptr;
  };
  int reads = 0;
  int readsAtTheFirstExit = -1;
  const auto reader = makeRef<Reader>();
  reader->reads = &reads;
  std::vector<Ref<HxTask>> tasks;
  std::vector<Ref<HxPipe>> pipes;
  std::vector<Ref<Watcher>> watchers;
  for (int count = 0; count < kTasks; ++count) {
    pipes.push_back(HxPipe::init());
    tasks.push_back(shell("echo line"));
    tasks.back()->setStandardOutput(pipes.back());
    watchers.push_back(makeRef<Watcher>(tasks.back()));
    watchers.back()->reaction = [&] {
      if (readsAtTheFirstExit < 0) readsAtTheFirstExit = reads;
    };
    tasks.back()->launch();
  }
  for (const auto& task : tasks) {
    while (task->isRunning()) usleep(1000);
  }
  for (const auto& pipe : pipes) {
    HxNotificationCenter::defaultCenter()->addObserver<&Reader::arrived>(
        reader.get(), HxFileHandleReadCompletionNotification, pipe->fileHandleForReading());
    pipe->fileHandleForReading()->readInBackgroundAndNotify();
  }
  for (const auto& task : tasks) task->waitUntilExit();
  HxNotificationCenter::defaultCenter()->removeObserver(reader.get());
  EXPECT_EQ(readsAtTheFirstExit, kTasks);
}

TEST(Process, TwoHundredChildrenAtOnce) {
  std::vector<Ref<HxTask>> tasks;
  std::vector<Ref<HxPipe>> pipes;
  for (int count = 0; count < 200; ++count) {
    pipes.push_back(HxPipe::init());
    tasks.push_back(helper("exit-with", {std::to_string(count)}));
    tasks.back()->setStandardOutput(pipes.back());
    tasks.back()->launch();
  }
  for (int count = 0; count < 200; ++count) {
    tasks[static_cast<std::size_t>(count)]->waitUntilExit();
    EXPECT_EQ(tasks[static_cast<std::size_t>(count)]->terminationStatus(), count);
  }
}

TEST(Process, EachThreadRunsItsOwn) {
  std::vector<std::thread> threads;
  for (int count = 0; count < 4; ++count) {
    threads.emplace_back([] {
      for (int run = 0; run < 20; ++run) {
        const auto task = helper("exit-with", {"9"});
        const auto watcher = makeRef<Watcher>(task);
        EXPECT_EQ(statusOf(task), 9);
        EXPECT_EQ(watcher->count, 1);
        EXPECT_EQ(watcher->thread, std::this_thread::get_id());
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace rondel
