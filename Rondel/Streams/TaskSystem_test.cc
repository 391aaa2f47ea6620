// SPDX-License-Identifier: MIT
//
// Tasks on a system that refuses, comes up short or was set up strangely, and on many threads.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <thread>

#include "Rondel/Streams/Task.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::FileCalls;
using test::LogCapture;
using test::runFor;
using test::runToEnd;
using test::runUntil;
using test::shellTask;
using test::SystemCalls;
using test::SystemCallsKept;
using test::TaskRecorder;
using Events = std::vector<std::string>;

// ---- Calls that fail --------------------------------------------------------------------------

// What became of one run on a thread, and so a run loop, of its own.
struct Outcome {
  Events events;
  Events log;
  std::string output;
  std::string raised;  // reasons, by whatever was called here
};

// Runs to the end, whatever is raised meanwhile.
void runOn(TaskRecorder& recorder, Outcome& outcome) {
  const HxDate limit = HxDate::dateWithTimeIntervalSinceNow(30);
  while (!recorder.isOver() && limit.timeIntervalSinceNow() > 0) {
    try {
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                           HxDate::dateWithTimeIntervalSinceNow(0.05));
    } catch (const HxException& exception) {
      outcome.raised += exception.reason().toStdString() + ";";
    }
  }
  EXPECT_TRUE(recorder.isOver()) << "hangs";
}

void talk(ZevMoTask& task) {
  task.performWritesInBackground();
  task.startTask();
  task.sendDataToTask(dataOf("hello"));
  task.closeInputAfterWrites();
}

void stop(ZevMoTask& task) {
  task.startTask();
  task.stopTask();
}

Outcome outcomeOf(void (*begin)(ZevMoTask&), const char* script) {
  Outcome outcome;
  std::thread([&] {
    const LogCapture log;
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask(script, recorder);
    try {
      begin(*task);
      runOn(recorder, outcome);
    } catch (const HxException& exception) {
      outcome.raised = exception.reason().toStdString();
    }
    outcome.events = recorder.events;
    outcome.output = recorder.output;
    outcome.log = log.lines();
  }).join();
  return outcome;
}

bool hasPrefix(const std::string& text, std::string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

// A run that started has stopped, and one that did not was told why in the contract's words.
void expectDefined(const Outcome& outcome) {
  if (outcome.events.empty()) {
    EXPECT_FALSE(outcome.raised.empty());
  } else if (outcome.events[0] == "start") {
    EXPECT_TRUE(hasPrefix(outcome.events.back(), "stop "));
  } else {
    ASSERT_EQ(outcome.events.size(), 1U);
    EXPECT_TRUE(outcome.events[0] == "failure could not allocate HxPipe to task" ||
                outcome.events[0] == "failure could not allocate HxPipe from task" ||
                hasPrefix(outcome.events[0],
                          "failure Exception starting task (/bin/sh) ; "
                          "name: HxTaskLaunchException, reason: could not "))
        << outcome.events[0];
  }
  EXPECT_TRUE(hasPrefix("hello", outcome.output)) << outcome.output;
}

template <auto Call>
void failEachInTurn(std::initializer_list<int> errors) {
  constexpr int kEnough = 200;
  for (const int error : errors) {
    for (const bool talks : {true, false}) {
      int number = 0;
      do {
        SCOPED_TRACE(testing::Message() << "call " << number + 1 << ", errno " << error);
        const SystemCallsKept kept;
        test::failCall<Call>(++number, error);
        expectDefined(talks ? outcomeOf(talk, "cat; exit 3") : outcomeOf(stop, "exec cat"));
      } while (number <= test::ruleOf<Call>().count && number < kEnough &&
               !testing::Test::HasFailure());
    }
  }
}

TEST(TaskSystem, EveryCallMayFailInTurn) {
  const auto former = std::signal(SIGPIPE, SIG_IGN);
  failEachInTurn<&SystemCalls::pipe2>({EMFILE, ENFILE});
  failEachInTurn<&SystemCalls::posix_spawn>({E2BIG, EACCES, EAGAIN, EINVAL, EIO, ELOOP, EMFILE,
                                             ENAMETOOLONG, ENFILE, ENOENT, ENOEXEC, ENOMEM, ENOTDIR,
                                             EPERM, ETXTBSY});
  failEachInTurn<&SystemCalls::pidfd_open>({EINVAL, EMFILE, ENFILE, ENODEV, ENOMEM, ENOSYS, EPERM});
  // Not EBADF and EINVAL: a signal that is refused so is not sent, and the child runs on.
  failEachInTurn<&SystemCalls::pidfd_send_signal>({ENOSYS, EPERM});
  // Not ECHILD, which would be a lie: the status of such a child is never taken.
  failEachInTurn<&SystemCalls::waitid>({EAGAIN, EINTR, EINVAL});
  failEachInTurn<&FileCalls::read>({EAGAIN, EBADF, EINTR, EINVAL, EIO, EISDIR});
  failEachInTurn<&FileCalls::write>(
      {EAGAIN, EBADF, EDQUOT, EFBIG, EINTR, EINVAL, EIO, ENOSPC, EPERM, EPIPE});
  failEachInTurn<&SystemCalls::fcntl>({EAGAIN, EBADF, EINVAL, EMFILE, EPERM});
  failEachInTurn<&SystemCalls::poll>({EINTR, EINVAL, ENOMEM});
  failEachInTurn<&SystemCalls::epoll_create1>({EMFILE, ENFILE, ENOMEM});
  failEachInTurn<&SystemCalls::epoll_ctl>(
      {EBADF, EEXIST, EINVAL, ELOOP, ENOENT, ENOMEM, ENOSPC, EPERM});
  failEachInTurn<&SystemCalls::epoll_wait>({EBADF, EINTR, EINVAL});
  failEachInTurn<&SystemCalls::eventfd>({EMFILE, ENFILE, ENODEV, ENOMEM});
  failEachInTurn<&SystemCalls::kill>({EINVAL, EPERM, ESRCH});
  failEachInTurn<&SystemCalls::pthread_create>({EAGAIN, EINVAL, EPERM});
  std::signal(SIGPIPE, former);
}

TEST(TaskSystem, ACloseThatFailsIsACloseAllTheSame) {
  const SystemCallsKept kept;
  test::fileCalls.close = +[](int descriptor) {
    close(descriptor);
    errno = EIO;
    return -1;
  };
  const Outcome outcome = outcomeOf(talk, "cat; exit 3");
  EXPECT_EQ(outcome.output, "hello");
  EXPECT_EQ(outcome.events, (Events{"start", "output", "stop 0"}));
}

TEST(TaskSystem, RefusedPipesAreReportedAndLogged) {
  const struct {
    int number;
    const char* failure;
    const char* log;
  } rows[] = {{1, "failure could not allocate HxPipe to task",
               "ZevMoTask: could not allocate HxPipe to task."},
              {2, "failure could not allocate HxPipe from task",
               "ZevMoTask: could not allocate HxPipe from task."}};
  for (const auto& row : rows) {
    const SystemCallsKept kept;
    test::failCall<&SystemCalls::pipe2>(row.number, EMFILE);
    const Outcome outcome = outcomeOf(stop, "exec cat");
    EXPECT_EQ(outcome.events, Events{row.failure});
    EXPECT_EQ(outcome.log, Events{row.log});
  }
}

// The third registration of a new run loop, after its own wake-up and the exit.
TEST(TaskSystem, OutputThatCannotBeWatchedIsAtItsEnd) {
  const SystemCallsKept kept;
  test::failCall<&SystemCalls::epoll_ctl>(3, ENOSPC);
  const Outcome outcome = outcomeOf([](ZevMoTask& task) { task.startTask(); }, "yes; exit 3");
  EXPECT_EQ(outcome.events, (Events{"start", "stop 0"}));
  ASSERT_EQ(outcome.log.size(), 1U);
  EXPECT_TRUE(
      hasPrefix(outcome.log[0], "ZevMoTask: could not read from task: cannot watch descriptor "));
  EXPECT_EQ(outcome.raised, "");
}

// ---- Calls that come up short -----------------------------------------------------------------

std::atomic<unsigned> shortSeed = 0;
constexpr std::size_t kEventBytes = 8;  // of an eventfd, which takes no less

std::size_t shortened(std::size_t length) {
  if (length <= kEventBytes) return length;
  const unsigned seed = shortSeed;
  if (seed == 0) return 1;
  shortSeed = seed * 1664525U + 1013904223U;
  return 1 + (seed >> 16U) % std::min<std::size_t>(length, 3000);
}

TEST(TaskSystem, ShortReadsAndWritesLoseNothing) {
  const std::string text = [] {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) bytes += std::to_string(i) + '\n';
    return bytes;
  }();
  const SystemCallsKept kept;
  test::fileCalls.read = +[](int descriptor, void* buffer, size_t length) {
    return read(descriptor, buffer, shortened(length));
  };
  test::fileCalls.write = +[](int descriptor, const void* bytes, size_t length) {
    return write(descriptor, bytes, shortened(length));
  };
  for (const unsigned seed : {0U, 1U, 2U, 3U}) {
    shortSeed = seed;
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("cat", recorder);
    if (seed % 2) task->performWritesInBackground();
    task->startTask();
    task->sendDataToTask(dataOf(text));
    task->closeInputAfterWrites();
    ASSERT_TRUE(runUntil([&] { return recorder.isOver(); }));
    EXPECT_EQ(recorder.output, text);
  }
}

// ---- Strange hosts ----------------------------------------------------------------------------

// Puts the host's standard files back as they were.
class StandardFilesKept {
 public:
  StandardFilesKept() {
    fflush(stdout);
    for (int number = 0; number < 3; ++number) _kept[number] = fcntl(number, F_DUPFD_CLOEXEC, 10);
  }
  StandardFilesKept(const StandardFilesKept&) = delete;
  StandardFilesKept& operator=(const StandardFilesKept&) = delete;
  ~StandardFilesKept() {
    for (int number = 0; number < 3; ++number) {
      dup2(_kept[number], number);
      close(_kept[number]);
    }
  }

 private:
  int _kept[3];
};

TEST(TaskSystem, RunsWhereTheHostHasClosedItsStandardFiles) {
  for (int closed = 0; closed < 8; ++closed) {
    TaskRecorder recorder;
    {
      const StandardFilesKept kept;
      for (int number = 0; number < 3; ++number) {
        if (closed & 1 << number) close(number);
      }
      const Ref<ZevMoTask> task = shellTask("cat; echo error >&2", recorder);
      task->setTaskAutomaticStandardInData(dataOf("in "));
      runToEnd(*task, recorder);
      runFor(0.001);
    }
    EXPECT_EQ(recorder.output, "in error\n") << closed;
    EXPECT_EQ(recorder.events, (Events{"start", "output", "stop 0"})) << closed;
  }
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// Number 3 stands for the task's own pipe.
TEST(TaskSystem, SuppliedHandlesMayBeTheHostsStandardFilesInAnyOrder) {
  const test::TemporaryDirectory folder;
  Events faults;
  for (int plan = 0; plan < 16; ++plan) {
    const int input = plan % 4;
    const int output = plan / 4;
    std::string files[4];
    TaskRecorder recorder;
    {
      const StandardFilesKept kept;
      for (int number = 0; number < 3; ++number) {
        const std::string text = "f" + std::to_string(number) + "\n";
        const std::string path = folder.write(std::to_string(number), text);
        close(number);
        open(path.c_str(), O_RDWR | O_APPEND);
      }
      const Ref<ZevMoTask> task = shellTask("read x; echo got $x; echo error >&2", recorder);
      if (input < 3) task->setTaskStdInputFileHandle(HxFileHandle::initWithFileDescriptor(input));
      if (output < 3) {
        task->setTaskStdOutputFileHandleReadTaskOutput(HxFileHandle::initWithFileDescriptor(output),
                                                       false);
      }
      task->startTask();
      if (input == 3) task->sendDataToTask(dataOf("f3\n"));
      runUntil([&] { return recorder.isOver(); });
      runFor(0.001);
    }
    const std::string expected = "got f" + std::to_string(input) + "\nerror\n";
    for (int number = 0; number < 3; ++number) {
      const std::string own = "f" + std::to_string(number) + "\n";
      const std::string want = own + (number == output ? expected : "");
      const std::string got = contentsOf(folder.path(std::to_string(number)));
      if (got != want) faults.push_back(std::to_string(plan) + ": " + got);
    }
    if (recorder.output != (output == 3 ? expected : "")) faults.push_back(recorder.output);
  }
  EXPECT_EQ(faults, Events{});
}

void waitForAnyChild(int) {
  const int kept = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = kept;
}

TEST(TaskSystem, EndsWhateverTheHostDoesWithSIGCHLD) {
  const struct {
    const char* name;
    void (*handler)(int);
    int flags;
    bool keepsStatus;
    bool losesStatus;
  } rows[] = {{"default", SIG_DFL, 0, true, false},
              {"ignored", SIG_IGN, 0, false, true},
              {"no child waits", SIG_DFL, SA_NOCLDWAIT, false, true},
              {"waits for any", waitForAnyChild, 0, true, true},
              {"waits for any, with restart", waitForAnyChild, SA_RESTART, true, true}};
  for (const auto& row : rows) {
    struct sigaction former {};
    struct sigaction action {};
    action.sa_handler = row.handler;
    action.sa_flags = row.flags;
    sigaction(SIGCHLD, &action, &former);
    for (int i = 0; i < 30; ++i) {
      TaskRecorder recorder;
      const Ref<ZevMoTask> task = shellTask(i % 2 ? "echo x; exit 7" : "exec cat", recorder);
      if (i % 3 == 0) task->performWritesInBackground();
      task->startTask();
      if (i % 2 == 0) task->stopTask();
      EXPECT_TRUE(runUntil([&] { return recorder.isOver(); })) << row.name;
      EXPECT_EQ(recorder.events.back(), i % 2 ? "stop 0" : "stop 1") << row.name;
      const int status = task->terminationStatus();
      EXPECT_TRUE((row.losesStatus && status == -1) ||
                  (row.keepsStatus && status == (i % 2 ? 7 : SIGTERM)))
          << row.name << ": " << status;
    }
    {
      TaskRecorder recorder;
      shellTask("exec cat", recorder)->startTask();  // dropped while it runs
    }
    runFor(0.05);
    sigaction(SIGCHLD, &former, nullptr);
  }
}

// ---- Many threads -----------------------------------------------------------------------------

TEST(TaskSystem, EachThreadRunsTasksOfItsOwn) {
  constexpr int kThreads = 8;
  constexpr int kTasks = 10;
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&right, thread] {
      for (int i = 0; i < kTasks; ++i) {
        TaskRecorder recorder;
        const Ref<ZevMoTask> task = shellTask("cat; exit 3", recorder);
        if (i % 2) task->performWritesInBackground();
        const std::string text = std::to_string(thread) + " " + std::to_string(i);
        task->startTask();
        task->sendDataToTask(dataOf(text));
        task->closeInputAfterWrites();
        task->waitUntilExit();
        runUntil([&] { return recorder.isOver(); });
        if (recorder.output == text && task->terminationStatus() == 3) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, kThreads * kTasks);
}

}  // namespace
}  // namespace rondel
