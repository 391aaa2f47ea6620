// SPDX-License-Identifier: MIT
//
// What a task says when it cannot start its child, and what it hands to the child when it can.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "Rondel/Streams/Task.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/SystemCallFailures.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::LogCapture;
using test::runFor;
using test::runToEnd;
using test::shellTask;
using test::TaskRecorder;
using test::TemporaryDirectory;
using Events = std::vector<std::string>;

HxString text(const std::string& bytes) { return HxString(std::string_view(bytes)); }

Ref<ZevMoTask> taskAtPath(const std::string& path, TaskRecorder& recorder) {
  Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&recorder);
  task->setTaskPath(text(path));
  return task;
}

// ---- Failed starts ----------------------------------------------------------------------------

TEST(TaskFailure, NilPath) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&recorder);
  task->startTask();
  runFor(0.02);
  EXPECT_EQ(recorder.events, (Events{"failure Nil task path"}));
  EXPECT_TRUE(task->hxTask().isNil());
  EXPECT_FALSE(task->isRunning());
}

TEST(TaskFailure, NoSuchFile) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/no/such/tool", recorder);
  task->startTask();
  runFor(0.02);
  EXPECT_EQ(recorder.events, (Events{"failure Task not found at path: /no/such/tool"}));
  EXPECT_TRUE(task->hxTask().isNil());
  EXPECT_FALSE(task->isRunning());
}

TEST(TaskFailure, WithoutDelegateItIsSilent) {
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->startTask();
  EXPECT_FALSE(task->isRunning());
  runFor(0.02);
}

TEST(TaskFailure, EmptyPath) {
  TaskRecorder recorder;
  taskAtPath("", recorder)->startTask();
  EXPECT_EQ(recorder.events, (Events{"failure Task not found at path: "}));
  runFor(0.02);
}

// Everything that the system finds wrong with a file, a folder or a text.
class TaskLaunchFailure : public testing::Test {
 protected:
  void expectLaunchFailure(const std::string& path, const HxString& directory,
                           const std::string& reason) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = taskAtPath(path, recorder);
    task->setTaskCurrentDirectory(directory);
    task->setTaskAutomaticStandardInData(test::dataOf("dropped"));
    expectFailure(*task, recorder, "HxTaskLaunchException", reason);
    EXPECT_TRUE(task->taskStandardInput()->isClosed());  // as after a launch that succeeds
  }

  void expectFailure(ZevMoTask& task, TaskRecorder& recorder, const std::string& name,
                     const std::string& reason) {
    recorder.onFailure = [](ZevMoTask* failed) { EXPECT_FALSE(failed->hxTask().isNil()); };
    task.startTask();
    runFor(0.02);
    EXPECT_EQ(recorder.events,
              (Events{"failure Exception starting task (" + task.taskPath().toStdString() +
                      ") ; name: " + name + ", reason: " + reason}));
    EXPECT_TRUE(task.hxTask().isNil());
    EXPECT_FALSE(task.isRunning());
    EXPECT_EQ(task.processID(), 0);
    EXPECT_EQ(task.platformExitInformation(), -1);
  }

  TemporaryDirectory _folder;
};

TEST_F(TaskLaunchFailure, FileWithoutRunBit) {
  _folder.write("tool", "#!/bin/sh\n");
  const std::string path = _folder.path("tool");
  expectLaunchFailure(path, nullptr, "could not launch \"" + path + "\": Permission denied");
}

TEST_F(TaskLaunchFailure, FolderInPlaceOfAFile) {
  const std::string path = _folder.path();
  expectLaunchFailure(path, nullptr, "could not launch \"" + path + "\": Permission denied");
}

TEST_F(TaskLaunchFailure, MissingInterpreter) {
  _folder.write("tool", "#!/no/such/interpreter\n");
  const std::string path = _folder.path("tool");
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  expectLaunchFailure(path, nullptr,
                      "could not launch \"" + path +
                          "\" (the interpreter that it asks for): No such file or directory");
}

TEST_F(TaskLaunchFailure, FileThatIsNoProgram) {
  _folder.write("tool", std::string("\x7f"
                                    "ELF nonsense",
                                    13));
  const std::string path = _folder.path("tool");
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  expectLaunchFailure(path, nullptr, "could not launch \"" + path + "\": Exec format error");
}

TEST_F(TaskLaunchFailure, DirectoryThatDoesNotExist) {
  for (const char* name : {"/no/such/folder", ""}) {
    expectLaunchFailure(
        "/bin/true", HxString::stringWithUTF8String(name),
        "could not enter the directory \"" + std::string(name) + "\": No such file or directory");
  }
}

TEST_F(TaskLaunchFailure, ArgumentsThatAreNoText) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/bin/true", recorder);
  task->setTaskArguments(HxArray::arrayWithObject(HxNumber::numberWithInt(1)));
  expectFailure(*task, recorder, "HxInvalidArgumentException",
                "an argument cannot be handed to the system: 1, which is no string");
}

// Writing makes a pipe's end non-blocking, which a launch takes back before it lends the end.
TEST_F(TaskLaunchFailure, SuppliedHandleThatIsClosed) {
  for (const bool wasWritten : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = taskAtPath("/bin/true", recorder);
    const Ref<HxPipe> pipe = HxPipe::init();
    const Ref<HxFileHandle> end = pipe->fileHandleForWriting();
    if (wasWritten) end->writeData(test::dataOf("x"));
    end->closeFile();
    task->setTaskStdInputFileHandle(end);
    expectFailure(*task, recorder, "HxTaskLaunchException",
                  "standard file 0 of the child is closed");
  }
}

TEST_F(TaskLaunchFailure, NilForEveryArgumentOfTheLaunch) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&recorder);
  task->executeTaskAtPath(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(recorder.events,
            (Events{"failure Exception starting task ((null)) ; name: HxInvalidArgumentException, "
                    "reason: the launch path cannot be handed to the system: (null)"}));
  runFor(0.02);
}

TEST_F(TaskLaunchFailure, OtherExceptionsPassThrough) {
  const test::SystemCallsKept kept;
  test::systemCalls.posix_spawn =
      +[](pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
          char* const*, char* const*) -> int { throw 42; };
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/bin/true", recorder);
  EXPECT_THROW(task->startTask(), int);
  EXPECT_EQ(recorder.events, Events{});
}

TEST_F(TaskLaunchFailure, ArgumentsThatAreTooLong) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/bin/true", recorder);
  task->setTaskArguments(HxArray::arrayWithObject(text(std::string(16U << 20U, 'x'))));
  task->startTask();
  runFor(0.02);
  ASSERT_EQ(recorder.events.size(), 1U);
  EXPECT_NE(recorder.events[0].find("Argument list too long"), std::string::npos)
      << recorder.events[0];
}

TEST_F(TaskLaunchFailure, ADelegateMayTryAgainAtOnce) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath(_folder.path(), recorder);
  recorder.onFailure = [](ZevMoTask* failed) {
    failed->cleanupAfterTask();
    failed->setTaskPath("/bin/echo"_hx);
    failed->startTask();
    EXPECT_TRUE(failed->isRunning());
  };
  task->startTask();
  EXPECT_TRUE(task->isRunning());
  ASSERT_TRUE(test::runUntil([&] { return recorder.events.back() == "stop 0"; }));
  EXPECT_EQ(recorder.events.size(), 4U);
  EXPECT_EQ(recorder.output, "\n");
}

TEST_F(TaskLaunchFailure, AStartWithinTheFailureSendsTheAutomaticInputOnce) {
  for (const bool inBackground : {false, true}) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = taskAtPath(_folder.path(), recorder);
    task->setTaskAutomaticStandardInData(test::dataOf("once"));
    if (inBackground) task->performWritesInBackground();
    recorder.onFailure = [](ZevMoTask* failed) {
      failed->setTaskPath("/bin/cat"_hx);
      failed->startTask();
    };
    task->startTask();
    ASSERT_TRUE(test::runUntil([&] { return task->runIsOver(); }));
    EXPECT_EQ(recorder.output, "once");
    EXPECT_EQ(recorder.events.size(), 4U);
  }
}

TEST_F(TaskLaunchFailure, EachWriterOfAFailedStartEnds) {
  const auto before = test::ProcessResources::now();
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath(_folder.path(), recorder);
  task->performWritesInBackground();
  for (int start = 0; start < 3; ++start) task->startTask();
  EXPECT_EQ(recorder.events.size(), 3U);
  EXPECT_TRUE(test::runUntil([&] {
    return test::ProcessResources::now().threads == before.threads + 1;  // that of the last start
  }));
}

// The process objects of later tasks may lie where that of the first one was.
TEST_F(TaskLaunchFailure, ARunThatIsAbandonedBeforeAFailureIsForgotten) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exec cat", recorder);
  task->startTask();
  task->cleanupAfterTask();
  task->setTaskPath("/no/such/tool"_hx);
  task->startTask();
  EXPECT_FALSE(task->isRunning());
  EXPECT_TRUE(task->hxTask().isNil());
  for (int i = 0; i < 50; ++i) {
    TaskRecorder other;
    ASSERT_TRUE(runToEnd(*shellTask("exit 1", other), other));
  }
  EXPECT_EQ(recorder.events, (Events{"start", "failure Task not found at path: /no/such/tool"}));
  EXPECT_EQ(task->terminationStatus(), 0);
}

TEST_F(TaskLaunchFailure, CanBeTriedAgainWithAnotherTask) {
  for (int i = 0; i < 100; ++i) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = taskAtPath(_folder.path(), recorder);
    task->setTaskAutomaticStandardInData(test::dataOf("x"));  // sent and closed all the same
    task->startTask();
    ASSERT_EQ(recorder.events.size(), 1U);
  }
  TaskRecorder recorder;
  ASSERT_TRUE(runToEnd(*shellTask("exit 0", recorder), recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

// ---- No descriptors left ----------------------------------------------------------------------

// Leaves room for `free` more descriptors while it lives.
class DescriptorFamine {
 public:
  explicit DescriptorFamine(int free) {
    getrlimit(RLIMIT_NOFILE, &_former);
    for (int descriptor;
         (descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0 && descriptor < kCeiling;) {
      _taken.push_back(descriptor);
    }
    for (; free > 0; --free) {
      close(_taken.back());
      _taken.pop_back();
    }
    rlimit limit = _former;
    limit.rlim_cur = static_cast<rlim_t>(kCeiling);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  DescriptorFamine(const DescriptorFamine&) = delete;
  DescriptorFamine& operator=(const DescriptorFamine&) = delete;
  ~DescriptorFamine() {
    setrlimit(RLIMIT_NOFILE, &_former);
    for (const int descriptor : _taken) close(descriptor);
    close(kCeiling);
  }

 private:
  static constexpr int kCeiling = 256;
  rlimit _former{};
  std::vector<int> _taken;
};

TEST(TaskFailure, NoDescriptorsForTheInputPipe) {
  TaskRecorder warmUp;
  ASSERT_TRUE(runToEnd(*shellTask("exit 0", warmUp), warmUp));
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  {
    const LogCapture log;
    const DescriptorFamine famine(1);
    task->startTask();
    EXPECT_EQ(log.lines(), (Events{"ZevMoTask: could not allocate HxPipe to task."}));
  }
  EXPECT_EQ(recorder.events, (Events{"failure could not allocate HxPipe to task"}));
  EXPECT_FALSE(task->hxTask().isNil());
  EXPECT_FALSE(task->isRunning());
}

TEST(TaskFailure, NoDescriptorsForTheOutputPipe) {
  TaskRecorder warmUp;
  ASSERT_TRUE(runToEnd(*shellTask("exit 0", warmUp), warmUp));
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
  {
    const LogCapture log;
    const DescriptorFamine famine(3);
    task->startTask();
    EXPECT_EQ(log.lines(), (Events{"ZevMoTask: could not allocate HxPipe from task."}));
  }
  EXPECT_EQ(recorder.events, (Events{"failure could not allocate HxPipe from task"}));
  EXPECT_FALSE(task->hxTask().isNil());
  EXPECT_FALSE(task->isRunning());
}

TEST(TaskFailure, EveryLackOfDescriptorsIsReportedAndPasses) {
  TaskRecorder warmUp;
  ASSERT_TRUE(runToEnd(*shellTask("exit 0", warmUp), warmUp));
  for (int free = 0; free < 10; ++free) {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("exit 0", recorder);
    {
      const LogCapture log;
      const DescriptorFamine famine(free);
      task->startTask();
    }
    ASSERT_TRUE(test::runUntil([&] { return recorder.isOver(); })) << free;
    EXPECT_TRUE(recorder.events[0] == "start" || recorder.events.size() == 1U) << free;
  }
  TaskRecorder recorder;
  ASSERT_TRUE(runToEnd(*shellTask("exit 0", recorder), recorder));
  EXPECT_EQ(recorder.events, (Events{"start", "stop 0"}));
}

// ---- What the child is given ------------------------------------------------------------------

TEST(TaskChild, GetsArgumentsAsTheyAre) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("for a; do printf '[%s]' \"$a\"; done", recorder);
  task->setTaskArguments(
      task->taskArguments().arrayByAddingObjectsFromArray(HxArray::arrayWithObjects(
          {"sh"_hx, "two words"_hx, "a\nb"_hx, ""_hx, "\"'\\"_hx, "grün 文"_hx})));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "[two words][a\nb][][\"'\\][grün 文]");
}

TEST(TaskChild, GetsTheEnvironmentOfTheHostWhenNoneIsSet) {
  setenv("RONDEL_TASK_TEST", "inherited", 1);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo $RONDEL_TASK_TEST", recorder);
  EXPECT_TRUE(runToEnd(*task, recorder));
  unsetenv("RONDEL_TASK_TEST");
  EXPECT_EQ(recorder.output, "inherited\n");
}

TEST(TaskChild, GetsTheEnvironmentThatIsSetAndNothingElse) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/usr/bin/env", recorder);
  task->setTaskEnvironment(HxDictionary::dictionaryWithObject("v = 1"_hx, "NAME"_hx));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "NAME=v = 1\n");
}

TEST(TaskChild, MayHaveAnEmptyEnvironment) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath("/usr/bin/env", recorder);
  task->setTaskEnvironment(HxDictionary::dictionary());
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "");
  EXPECT_EQ(task->terminationStatus(), 0);
}

TEST(TaskChild, RunsInItsDirectory) {
  const TemporaryDirectory folder;
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("pwd -P", recorder);
  task->setTaskCurrentDirectory(text(folder.path()));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, folder.path() + "\n");
}

TEST(TaskChild, MayHaveAPathWithSpacesAndOtherCharacters) {
  const TemporaryDirectory folder;
  const std::string path = folder.path("a tool, größer 文");
  ASSERT_EQ(symlink("/bin/echo", path.c_str()), 0);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = taskAtPath(path, recorder);
  task->setTaskArguments(HxArray::arrayWithObject("ran"_hx));
  ASSERT_TRUE(runToEnd(*task, recorder));
  EXPECT_EQ(recorder.output, "ran\n");
}

TEST(TaskChild, HasThreeDescriptorsWhateverTheHostHasOpen) {
  std::vector<int> open;
  for (int i = 0; i < 100; ++i) open.push_back(dup(0));  // not close-on-exec
  TaskRecorder recorder;
  // The listing itself holds one more, on the folder that it lists.
  const Ref<ZevMoTask> task = shellTask("ls /proc/self/fd | wc -l", recorder);
  EXPECT_TRUE(runToEnd(*task, recorder));
  for (const int descriptor : open) close(descriptor);
  EXPECT_EQ(std::stoi(recorder.output), 4);
}

TEST(TaskChild, HasDefaultSignalsWhateverTheHostIgnoresAndBlocks) {
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &former);
  std::signal(SIGUSR2, SIG_IGN);
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("grep -E '^Sig(Blk|Ign):' /proc/self/status", recorder);
  EXPECT_TRUE(runToEnd(*task, recorder));
  std::signal(SIGUSR2, SIG_DFL);
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  // Signals 32 and 33 are the C library's own, which spawns its children with them ignored.
  EXPECT_EQ(recorder.output, "SigBlk:\t0000000000000000\nSigIgn:\t0000000180000000\n");
}

// ---- ZevMoTaskDontLaunch ----------------------------------------------------------------------

// Run by the test below in a process of its own, since the decision is taken once a process.
TEST(TaskDontLaunch, DISABLED_InAProcessOfItsOwn) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask("echo started", recorder);
  task->startTask();
  EXPECT_TRUE(task->isRunning());
  EXPECT_EQ(task->processID(), 0);
  task->waitUntilExit();
  runFor(0.2);
  EXPECT_EQ(recorder.events, (Events{"start"}));  // and no stop
  EXPECT_TRUE(task->runIsOver());
}

TEST(TaskDontLaunch, GoesThroughAllTheMotionsWithoutAChild) {
  for (const char* value : {"1", ""}) {  // whatever its value
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = taskAtPath("/proc/self/exe", recorder);
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self);
    task->setTaskPath(text(std::string(self, static_cast<std::size_t>(n))));
    task->setTaskArguments(HxArray::arrayWithObjects(
        {"--gtest_also_run_disabled_tests"_hx,
         "--gtest_filter=TaskDontLaunch.DISABLED_InAProcessOfItsOwn"_hx}));
    HxMutableDictionary environment = HxProcessInfo::processInfo()->environment().mutableCopy();
    environment.setObject(HxString::stringWithUTF8String(value), "ZevMoTaskDontLaunch"_hx);
    // A shard of a larger run must not keep the other process from its test.
    environment.removeObjectForKey("GTEST_TOTAL_SHARDS"_hx);
    environment.removeObjectForKey("GTEST_SHARD_INDEX"_hx);
    task->setTaskEnvironment(environment);
    ASSERT_TRUE(runToEnd(*task, recorder));
    EXPECT_EQ(task->terminationStatus(), 0) << recorder.output;
    EXPECT_NE(recorder.output.find("[  PASSED  ] 1 test"), std::string::npos) << recorder.output;
  }
}

}  // namespace
}  // namespace rondel
