// SPDX-License-Identifier: MIT
//
// What a child process comes to when something refuses: the launch, the system, the host itself.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/values/Number.h"
#include "Rondel/host/Process.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/ResourceListener.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::failureOf;
using test::FileCalls;
using test::helper;
using test::runOnce;
using test::statusOf;
using test::SystemCalls;
using test::taskOf;
using test::Watcher;

// ---- Launches that fail

TEST(ProcessFailure, FailedLaunchSaysWhy) {
  const test::TemporaryDirectory directory;
  const std::string plain = directory.write("plain", "echo\n");
  const std::string noInterpreter = directory.write("script", "#!/no/such/interpreter\n");
  const std::string garbage = directory.write("garbage", "\x01\x02\x03\x04");
  for (const std::string& path : {noInterpreter, garbage}) chmod(path.c_str(), 0700);
  const std::string name = "HxTaskLaunchException: could not launch \"";

  EXPECT_EQ(failureOf(taskOf("/no/such/file")),
            name + "/no/such/file\": No such file or directory");
  EXPECT_EQ(failureOf(taskOf(plain)), name + plain + "\": Permission denied");
  EXPECT_EQ(failureOf(taskOf(directory.path())), name + directory.path() + "\": Permission denied");
  EXPECT_EQ(failureOf(taskOf(plain + "/x")), name + plain + "/x\": Not a directory");
  EXPECT_EQ(
      failureOf(taskOf(noInterpreter)),
      name + noInterpreter + "\" (the interpreter that it asks for): No such file or directory");
  EXPECT_EQ(failureOf(taskOf(garbage)), name + garbage + "\": Exec format error");
  EXPECT_EQ(failureOf(taskOf("")), name + "\": No such file or directory");
  EXPECT_EQ(failureOf(taskOf("/bin/echo", {std::string(3'000'000, 'x')})),
            name + "/bin/echo\": Argument list too long");
}

TEST(ProcessFailure, DirectoryThatCannotBeEnteredFailsTheLaunch) {
  const test::TemporaryDirectory directory;
  const std::string name = "HxTaskLaunchException: could not enter the directory \"";
  const auto missing = helper("exit-with");
  missing->setCurrentDirectoryPath("/no/such/directory"_hx);
  EXPECT_EQ(failureOf(missing), name + "/no/such/directory\": No such file or directory");
  const auto file = helper("exit-with");
  file->setCurrentDirectoryPath("/bin/sh"_hx);
  EXPECT_EQ(failureOf(file), name + "/bin/sh\": Not a directory");
}

TEST(ProcessFailure, DirectoryThatTheSystemDoesNotLetInIsNamed) {
  for (const test::FileFault& fault : test::faultsOf({"access"})) {
    const test::SystemCallsKept kept;
    const auto task = taskOf("/no/such/file");
    task->setCurrentDirectoryPath("/"_hx);
    fault.install();
    EXPECT_EQ(failureOf(task),
              std::string("HxTaskLaunchException: could not enter the directory ") +
                  "\"/\": " + strerror(fault.error));
  }
}

TEST(ProcessFailure, FailedLaunchMayBeTriedAgain) {
  const auto task = taskOf("/no/such/file");
  EXPECT_NE(failureOf(task), "");
  EXPECT_FALSE(task->isRunning());
  EXPECT_EQ(task->_procid(), 0);
  task->setLaunchPath("/bin/true"_hx);
  EXPECT_EQ(statusOf(task), 0);
}

TEST(ProcessFailure, FailedLaunchLeavesThePipesOpen) {
  const auto task = taskOf("/no/such/file");
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  EXPECT_NE(failureOf(task), "");
  EXPECT_FALSE(pipe->fileHandleForWriting()->isClosed());
}

TEST(ProcessFailure, TextsThatTheSystemCannotTakeRaise) {
  const std::string name = "HxInvalidArgumentException: ";
  const HxString nul = HxString(std::string_view("a\0b", 3));
  const HxString surrogate = HxString(std::u16string_view(u"\xD800"));
  EXPECT_EQ(failureOf(HxTask::init()),
            name + "the launch path cannot be handed to the system: (null)");
  for (const HxString& bad : {nul, surrogate}) {
    const auto argument = taskOf("/bin/true");
    argument->setArguments(HxArray::arrayWithObject(bad));
    EXPECT_TRUE(failureOf(argument).starts_with(name + "an argument cannot be handed"));
    const auto variable = taskOf("/bin/true");
    variable->setEnvironment(HxDictionary::dictionaryWithEntries({{"A"_hx, bad}}));
    EXPECT_TRUE(failureOf(variable).starts_with(name + "an environment variable cannot be"));
    const auto directory = taskOf("/bin/true");
    directory->setCurrentDirectoryPath(bad);
    EXPECT_TRUE(failureOf(directory).starts_with(name + "the directory cannot be handed"));
  }
  const auto number = taskOf("/bin/true");
  number->setArguments(HxArray::arrayWithObject(HxNumber::numberWithInt(1)));
  EXPECT_EQ(failureOf(number),
            name + "an argument cannot be handed to the system: 1, which is no string");
  const auto numbered = taskOf("/bin/true");
  numbered->setEnvironment(
      HxDictionary::dictionaryWithEntries({{"A"_hx, HxNumber::numberWithInt(1)}}));
  EXPECT_EQ(
      failureOf(numbered),
      name + "an environment variable cannot be handed to the system: A=1, which is no string");
}

TEST(ProcessFailure, NamesThatAreNoneOfAVariableRaise) {
  const std::string start =
      "HxInvalidArgumentException: the name of an environment variable cannot be handed to the "
      "system: ";
  const std::pair<HxAny, std::string> table[] = {
      {""_hx, ", which is empty"},
      {"="_hx, "=, which contains '='"},
      {"A=B"_hx, "A=B, which contains '='"},
      {"=A"_hx, "=A, which contains '='"},
      {HxNumber::numberWithInt(1), "1, which is no string"},
  };
  for (const auto& [name, end] : table) {
    const auto task = taskOf("/bin/true");
    task->setEnvironment(HxDictionary::dictionaryWithEntries({{name, "x"_hx}}));
    EXPECT_EQ(failureOf(task), start + end);
  }
  const auto canonical = taskOf("/usr/bin/env");
  canonical->setEnvironment(HxDictionary::dictionaryWithEntries({{"\u2260"_hx, "x"_hx}}));
  EXPECT_EQ(test::outputOf(canonical), "\xE2\x89\xA0=x\n");  // no "=", though it decomposes to one
}

TEST(ProcessFailure, ClosedStandardFileFailsTheLaunch) {
  const auto task = helper("exit-with");
  const auto pipe = HxPipe::init();
  pipe->fileHandleForWriting()->closeFile();
  task->setStandardOutput(pipe);
  EXPECT_EQ(failureOf(task), "HxTaskLaunchException: standard file 1 of the child is closed");
}

TEST(ProcessFailure, NullStandardFilesMeanTheHosts) {
  const auto task = helper("exit-with", {"4"});
  task->setStandardInput(Ref<HxPipe>());
  task->setStandardOutput(Ref<HxFileHandle>());
  task->setStandardError(Ref<HxPipe>());
  EXPECT_EQ(statusOf(task), 4);
}

// ---- Lost children

TEST(ProcessFailure, ChildWhoseStatusWasStolenIsLost) {
  const auto task = helper("exit-with", {"3"});
  const auto watcher = makeRef<Watcher>(task);
  task->launch();
  EXPECT_EQ(waitpid(task->_procid(), nullptr, 0), task->_procid());
  task->waitUntilExit();
  EXPECT_EQ(watcher->count, 1);
  EXPECT_EQ(task->terminationStatus(), -1);
  EXPECT_EQ(task->terminationReason(), HxTaskTerminationReason::lost);
  EXPECT_EQ(task->_platformExitInformation(), -1);
}

TEST(ProcessFailure, ChildOfAHostThatIgnoresSIGCHLDIsLost) {
  struct sigaction before;
  struct sigaction ignoring = {};
  sigaction(SIGCHLD, nullptr, &before);
  for (const int flags : {0, SA_NOCLDWAIT}) {
    ignoring.sa_handler = flags ? SIG_DFL : SIG_IGN;
    ignoring.sa_flags = flags;
    sigaction(SIGCHLD, &ignoring, nullptr);
    for (int run = 0; run < 20; ++run) {
      const auto task = helper("exit-with", {"3"});
      const auto watcher = makeRef<Watcher>(task);
      EXPECT_EQ(statusOf(task), -1);
      EXPECT_EQ(watcher->count, 1);
    }
  }
  sigaction(SIGCHLD, &before, nullptr);
}

TEST(ProcessFailure, ChildrenOfTheHostAreLeftAlone) {
  const pid_t own = fork();
  if (own == 0) _exit(77);
  EXPECT_EQ(statusOf(helper("exit-with", {"1"})), 1);
  int status = 0;
  EXPECT_EQ(waitpid(own, &status, 0), own);
  EXPECT_EQ(WEXITSTATUS(status), 77);
}

// ---- The system refuses

TEST(ProcessFailure, WithoutPidfdTheExitIsReportedToo) {
  for (const int error : {ENOSYS, EPERM, EMFILE, ENFILE, ENOMEM, ENODEV, EINVAL}) {
    const test::SystemCallsKept kept;
    test::failCall<&SystemCalls::pidfd_open>(1, error);
    const auto task = helper("exit-with", {"6"});
    const auto watcher = makeRef<Watcher>(task);
    EXPECT_EQ(statusOf(task), 6);
    EXPECT_EQ(watcher->count, 1);
  }
}

TEST(ProcessFailure, WithoutPidfdSignalsAndDroppingWork) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS, 2);
  const auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  EXPECT_TRUE(task->isRunning());
  task->terminate();
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), SIGTERM);

  auto dropped = taskOf("/bin/sleep", {"1000"});
  dropped->launch();
  const pid_t pid = dropped->_procid();
  dropped = nullptr;
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
}

TEST(ProcessFailure, WithoutPidfdALostChildEndsTheRun) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
  auto* const before = signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(statusOf(helper("exit-with", {"3"})), -1);
  signal(SIGCHLD, before);
}

TEST(ProcessFailure, ChildThatIsGoneBeforeItCanBeWatchedIsLost) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::pidfd_open>(1, ESRCH);
  const auto task = helper("exit-with", {"3"});
  EXPECT_EQ(statusOf(task), -1);
  while (waitpid(task->_procid(), nullptr, 0) < 0 && errno == EINTR) {
  }
}

template <auto Call>
void expectFailedLaunch(int error, std::string_view words) {
  const test::SystemCallsKept kept;
  test::failCall<Call>(1, error);
  const auto task = taskOf("/bin/sleep", {"1000"});
  const std::string failure = failureOf(task);
  EXPECT_TRUE(failure.starts_with("HxTaskLaunchException: could not ")) << failure;
  EXPECT_TRUE(failure.ends_with(words)) << failure;
  EXPECT_FALSE(task->isRunning());
  task->setLaunchPath("/bin/true"_hx);
  EXPECT_EQ(statusOf(task), 0);
}

TEST(ProcessFailure, RefusedCallsFailTheLaunchAndLeaveNothing) {
  expectFailedLaunch<&SystemCalls::posix_spawn>(EAGAIN, ": Resource temporarily unavailable");
  expectFailedLaunch<&SystemCalls::posix_spawn>(ENOMEM, ": Cannot allocate memory");
}

TEST(ProcessFailure, ChildThatCannotBeWatchedIsReportedOfNevertheless) {
  for (const int error : {ENOMEM, ENOSPC, EPERM}) {
    const test::SystemCallsKept kept;
    const auto task = helper("exit-with", {"6"});
    const auto watcher = makeRef<Watcher>(task);
    test::failCall<&SystemCalls::epoll_ctl>(1, error, 1000);
    EXPECT_EQ(statusOf(task), 6);
    EXPECT_EQ(watcher->count, 1);
  }
}

TEST(ProcessFailure, NothingThatTheSystemRefusesAfterTheStartMatters) {
  const test::SystemCallsKept kept;
  constexpr int kEver = 1000;
  test::failCall<&SystemCalls::pidfd_open>(1, EMFILE, kEver);
  test::failCall<&SystemCalls::epoll_ctl>(1, ENOMEM, kEver);
  test::failCall<&SystemCalls::eventfd>(1, EMFILE, kEver);
  test::failCall<&SystemCalls::pthread_create>(1, EAGAIN, kEver);
  for (int run = 0; run < 5; ++run) {
    const auto task = helper("exit-with", {"6"});
    const auto watcher = makeRef<Watcher>(task);
    EXPECT_EQ(statusOf(task), 6);
    EXPECT_EQ(watcher->count, 1);
  }
  auto dropped = taskOf("/bin/sleep", {"1000"});
  dropped->launch();
  const pid_t pid = dropped->processIdentifier();
  dropped = nullptr;
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
}

TEST(ProcessFailure, DroppedChildThatCannotBeWatchedLeavesNoZombie) {
  const test::SystemCallsKept kept;
  auto task = taskOf("/bin/sleep", {"1000"});
  task->launch();
  const pid_t pid = task->processIdentifier();
  test::failCall<&SystemCalls::epoll_ctl>(2, ENOMEM, 1000);  // the first takes it from the loop
  task = nullptr;
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
}

// The thread sanitizer ends a forked process that starts a thread.
#if defined(__SANITIZE_THREAD__)
constexpr bool kForksMayStartThreads = false;
#else
constexpr bool kForksMayStartThreads = true;
#endif

// What a forked process that executes nothing comes to: the result of the function is its status.
int statusOfFork(int (*function)()) {
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) _exit(function());
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProcessFailure, RefusedThreadFailsTheFirstLaunch) {
  if (!kForksMayStartThreads) GTEST_SKIP() << "no thread after a fork";
  EXPECT_EQ(statusOfFork([] {
              test::failCall<&SystemCalls::pthread_create>(1, EAGAIN);
              auto& spawned = test::countCall<&SystemCalls::posix_spawn>();
              const std::string failure = failureOf(helper("exit-with"));
              if (!failure.ends_with(": Resource temporarily unavailable")) return 1;
              if (spawned.count != 0) return 2;
              return statusOf(helper("exit-with")) == 0 ? 0 : 3;
            }),
            0);
}

TEST(ProcessFailure, RefusedPollerFailsTheFirstLaunch) {
  if (!kForksMayStartThreads) GTEST_SKIP() << "no thread after a fork";
  EXPECT_EQ(statusOfFork([] {
              test::failCall<&SystemCalls::epoll_create1>(1, EMFILE);
              if (!failureOf(helper("exit-with")).ends_with(": Too many open files")) return 1;
              return statusOf(helper("exit-with")) == 0 ? 0 : 3;
            }),
            0);
}

TEST(ProcessFailure, ForkedProcessWaitsForItsOwnChildren) {
  if (!kForksMayStartThreads) GTEST_SKIP() << "no thread after a fork";
  static Ref<HxTask> ofParent;
  ofParent = taskOf("/bin/sleep", {"1000"});
  ofParent->launch();
  EXPECT_EQ(statusOfFork([] {
              if (ofParent->isRunning()) return 1;  // not a child of this process
              test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS, 2);
              if (statusOf(helper("exit-with", {"5"})) != 5) return 2;
              auto dropped = taskOf("/bin/sleep", {"1000"});
              dropped->launch();
              const pid_t pid = dropped->processIdentifier();
              dropped = nullptr;
              kill(pid, SIGKILL);
              while (kill(pid, 0) == 0) usleep(1000);
              return 0;
            }),
            0);
  EXPECT_TRUE(ofParent->isRunning());
  ofParent->terminate();
  ofParent->waitUntilExit();
  EXPECT_EQ(ofParent->terminationStatus(), SIGTERM);
  ofParent = nullptr;
}

std::atomic<bool> isAsking = false;
std::atomic<bool> mayGoOn = false;

// At the fork the thread of the parent is asking for the exit of a child, and has that child's
// lock.
TEST(ProcessFailure, ForkedProcessTakesNoLockOfItsParentsChildren) {
  if (!kForksMayStartThreads) GTEST_SKIP() << "no thread after a fork";
  const test::SystemCallsKept kept;
  static const auto original = test::systemCalls.waitid.function();
  test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS, 2);
  auto dropped = taskOf("/bin/sleep", {"1000"});
  dropped->launch();
  const pid_t pid = dropped->processIdentifier();
  isAsking = mayGoOn = false;
  dropped = nullptr;
  test::systemCalls.waitid =
      +[](idtype_t kind, id_t which, siginfo_t* info, int options, rusage* use) {
        isAsking = true;
        while (!mayGoOn) usleep(100);
        return original(kind, which, info, options, use);
      };
  while (!isAsking) usleep(100);
  EXPECT_EQ(statusOfFork([] {
              alarm(20);
              mayGoOn = true;
              test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS, 2);
              return statusOf(helper("exit-with", {"5"}));
            }),
            5);
  mayGoOn = true;
  kill(pid, SIGKILL);
  while (kill(pid, 0) == 0) usleep(1000);
}

// A start that is told as failed has not done its work. One that has done it is told of.
TEST(ProcessFailure, FewDescriptorsFailTheLaunchBeforeTheStartOrNotAtAll) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("starts", "");
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const int inUse = test::ProcessResources::now().descriptors;
  std::string starts;
  bool worked = false;
  for (int more = 0; more < 12; ++more) {
    const rlimit tight = {static_cast<rlim_t>(inUse + more), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    std::thread([&] {  // with a run loop that is new
      const auto pipe = HxPipe::init();
      const auto task = taskOf("/bin/sh", {"-c", "ulimit -n 100; echo x >>" + path});
      if (pipe) task->setStandardInput(pipe);
      const std::string failure = failureOf(task);
      worked = failure.empty();
      if (worked) starts += "x\n";
      EXPECT_TRUE(worked || failure.ends_with("Too many open files")) << failure;
    })
        .join();
  }
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_TRUE(worked);
  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), starts);
}

// Every call of the system that a whole run makes fails in turn, with several errors. Whatever
// comes of it, the run ends, and the test program sees that nothing is left of it.
class WholeRun : public HxObject {
 public:
  void run() {
    const auto in = HxPipe::init();
    _output = HxPipe::init();
    if (!in || !_output) return;
    task->setStandardInput(in);
    task->setStandardOutput(_output);
    task->setStandardError(_output);
    task->launch();
    handle = _output->fileHandleForReading();
    _output = nullptr;
    HxNotificationCenter::defaultCenter()->addObserver<&WholeRun::arrived>(
        this, HxFileHandleReadCompletionNotification, handle);
    handle->readInBackgroundAndNotify();
    task->waitUntilExit();
    while (!ended && runOnce()) {
    }
  }
  ~WholeRun() override { HxNotificationCenter::defaultCenter()->removeObserver(this); }
  void arrived(const HxNotification& news) {
    const auto data = news.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
    length += data.length();
    ended = data.isEmpty();
    ended ? handle->closeFile() : handle->readInBackgroundAndNotify();
  }

  const Ref<HxTask> task = helper("write-bytes", {"300000"});
  Ref<HxFileHandle> handle;
  HxUInteger length = 0;
  bool ended = false;

 private:
  Ref<HxPipe> _output;
};

template <auto Call>
void failEachInTurn(std::initializer_list<int> errors) {
  constexpr int kEnough = 200;
  const test::LogRecorder log;  // of reads that fail
  for (const int error : errors) {
    int call = 0;
    int made = 0;
    do {
      const test::SystemCallsKept kept;
      test::failCall<Call>(++call, error);
      std::thread([] {  // with a run loop that is new
        try {
          makeRef<WholeRun>()->run();
        } catch (const HxException& exception) {
          EXPECT_FALSE(exception.reason().isEmpty());
        }
      })
          .join();
      made = test::ruleOf<Call>().count;
    } while (call <= made && call < kEnough);
    EXPECT_GT(call, 1);
  }
}

TEST(ProcessFailure, EveryCallMayFailInTurn) {
  failEachInTurn<&SystemCalls::pipe2>({EMFILE, ENFILE});
  failEachInTurn<&SystemCalls::posix_spawn>({EAGAIN, ENOMEM, E2BIG});
  failEachInTurn<&SystemCalls::pidfd_open>({EMFILE, ENOSYS, EPERM});
  failEachInTurn<&SystemCalls::waitid>({EINTR});
  failEachInTurn<&FileCalls::read>({EINTR, EAGAIN, EIO});
  failEachInTurn<&SystemCalls::fcntl>({EINVAL, EPERM});
  failEachInTurn<&SystemCalls::epoll_create1>({EMFILE, ENFILE, ENOMEM});
  failEachInTurn<&SystemCalls::epoll_ctl>({ENOMEM, ENOSPC});
  failEachInTurn<&SystemCalls::epoll_wait>({EINTR, EINVAL});
  failEachInTurn<&SystemCalls::eventfd>({EMFILE, ENFILE});
}

TEST(ProcessFailure, RunSurvivesAStormOfSignals) {
  struct sigaction before;
  struct sigaction counting = {};
  static std::atomic<int> alarms = 0;
  counting.sa_handler = [](int) { ++alarms; };  // without SA_RESTART
  sigaction(SIGALRM, &counting, &before);
  const itimerval storm = {{0, 200}, {0, 200}};
  const itimerval calm = {};
  setitimer(ITIMER_REAL, &storm, nullptr);
  int failures = 0;
  for (int round = 0; round < 20 || alarms < 20; ++round) {
    const auto run = makeRef<WholeRun>();
    run->run();
    if (run->length != 300'000 || run->task->terminationStatus() != 0) ++failures;
  }
  setitimer(ITIMER_REAL, &calm, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(failures, 0);
}

TEST(ProcessFailure, HighDescriptorNumbersWork) {
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit high = {before.rlim_max, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &high);
  std::vector<int> fill;
  while (fill.size() < 2000) {
    const int next = fcntl(0, F_DUPFD_CLOEXEC, 3);
    if (next < 0) break;
    fill.push_back(next);
  }
  const auto run = makeRef<WholeRun>();
  run->run();
  EXPECT_EQ(run->length, 300'000u);
  EXPECT_EQ(run->task->terminationStatus(), 0);
  for (const int descriptor : fill) close(descriptor);
  setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace rondel
