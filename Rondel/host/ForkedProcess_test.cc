// SPDX-License-Identifier: MIT
//
// A process that is forked and executes nothing shares descriptors with its parent, among them what
// the parent's run loop waits with. Whatever it drops or waits for there, the parent goes on.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "Rondel/host/Process.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/FileHandles.h"
#include "Rondel/testing/RunLoops.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::Reader;
using test::statusOf;
using test::taskOf;

// Returns the status of a forked process that calls the function.
template <class Function>
int statusOfFork(Function function) {
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(20);
    function();
    _exit(7);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(ForkedProcess, ClosesItsOwnHandlesAlone) {
  const Ref<HxPipe> pipe = HxPipe::init();
  Ref<HxFileHandle> handle = pipe->fileHandleForReading();
  const auto reader = makeRef<Reader>(handle);
  handle->readInBackgroundAndNotify();
  EXPECT_EQ(statusOfFork([&] { handle->closeFile(); }), 7);
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("x", 1));
  pipe->fileHandleForWriting()->closeFile();
  while (!reader->ended) test::runOnce();
  EXPECT_EQ(reader->text, "x");
}

TEST(ForkedProcess, DropsAChildOfItsParentsAlone) {
  Ref<HxTask> task = taskOf("/bin/sleep", {"0.05"});
  task->launch();
  EXPECT_EQ(statusOfFork([&] { task = nullptr; }), 7);
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 0);
}

// The first call adds the event that wakes the loop, the second one the pipe.
TEST(ForkedProcess, WaitsAfterAllIfTheSystemRefusedAtFirst) {
  const Ref<HxPipe> pipe = HxPipe::init();
  const auto reader = makeRef<Reader>(pipe->fileHandleForReading());
  pipe->fileHandleForReading()->readInBackgroundAndNotify();
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("x", 1));
  EXPECT_EQ(statusOfFork([&] {
              for (const int refused : {0, 1, 2}) {
                const test::SystemCallsKept kept;
                if (refused == 0) test::failCall<&test::SystemCalls::epoll_create1>(1, EMFILE);
                if (refused > 0) test::failCall<&test::SystemCalls::epoll_ctl>(refused, ENOMEM);
                try {
                  test::runOnce();
                  _exit(1);
                } catch (const HxException&) {
                }
              }
              while (reader->text.empty()) test::runOnce();
            }),
            7);
  pipe->fileHandleForWriting()->closeFile();
  while (!reader->ended) test::runOnce();
}

TEST(ForkedProcess, WaitsWithALoopOfItsOwn) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer ends a forked process that starts a thread";
#endif
  const Ref<HxPipe> pipe = HxPipe::init();
  const auto reader = makeRef<Reader>(pipe->fileHandleForReading());
  pipe->fileHandleForReading()->readInBackgroundAndNotify();
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("x", 1));
  EXPECT_EQ(statusOfFork([&] {
              // What the parent waits for is there in the copy of the loop, too.
              while (reader->text.empty()) test::runOnce();
              if (statusOf(taskOf("/bin/sh", {"-c", "exit 5"})) != 5) _exit(1);
              const Ref<HxPipe> own = HxPipe::init();
              const auto ownReader = makeRef<Reader>(own->fileHandleForReading());
              own->fileHandleForReading()->readInBackgroundAndNotify();
              own->fileHandleForWriting()->closeFile();
              while (!ownReader->ended) test::runOnce();
            }),
            7);
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("y", 1));
  pipe->fileHandleForWriting()->closeFile();
  while (!reader->ended) test::runOnce();
  EXPECT_EQ(reader->text, "y");
}

}  // namespace
}  // namespace rondel
