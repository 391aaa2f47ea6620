// SPDX-License-Identifier: MIT

// recycled-pid foreign|own pidfd|none: in a pid namespace of its own, has somebody else wait for a
// child, gives the child's pid to another process, and signals the child in every way. The other
// process is a foreign one, or a child of ours. "none" makes do without pidfds.
//
// Exits with 0 if the other process was not hit, with 1 and a line of output if something is wrong,
// and with 77 and a line of output if the system grants no namespace.

#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Rondel/host/Process.h"
#include "Rondel/host/linux/SystemCalls.h"

using namespace rondel;

// A leak check needs a tracer, which a process of another pid namespace cannot have.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
const char* __asan_default_options() { return "detect_leaks=0"; }

namespace {

constexpr int kWrong = 1;
constexpr int kSkipped = 77;

[[noreturn]] void endWith(int status, const char* what) {
  std::printf("%s (%s)\n", what, std::strerror(errno));
  std::fflush(stdout);
  _exit(status);
}

bool canBeNext(pid_t pid) {
  std::FILE* const file = std::fopen("/proc/sys/kernel/ns_last_pid", "w");
  if (!file) return false;
  const bool isWritten = std::fprintf(file, "%d", pid - 1) > 0;
  return std::fclose(file) == 0 && isWritten;
}

Ref<HxTask> sleeper() {
  auto task = HxTask::init();
  task->setLaunchPath("/bin/sleep"_hx);
  task->setArguments(HxArray::arrayWithObject("1000"_hx));
  task->setStartsNewProcessGroup(true);
  return task;
}

int waitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) endWith(kWrong, "could not wait");
  }
  return status;
}

// Ends the child as somebody would who waits for children that are not his. Returns 0 if the
// library has waited for it first.
pid_t steal(const Ref<HxTask>& task) {
  const pid_t pid = task->processIdentifier();
  kill(pid, SIGKILL);
  return waitpid(pid, nullptr, 0) == pid ? pid : 0;
}

void signalInEveryWay(const Ref<HxTask>& task) {
  if (task->sendSignalToProcessGroup(SIGTERM)) endWith(kWrong, "the group was signalled");
  task->terminate();
  task->interrupt();
  task->terminateWithGraceTime(0);
  if (task->sendSignal(SIGKILL)) endWith(kWrong, "the child was signalled");
  usleep(100'000);  // five times as long as a SIGKILL after the grace time would take
}

// The process with the child's pid is a child of another process, which tells how it ended.
void tryForeignProcess(const Ref<HxTask>& task, pid_t pid) {
  int ready[2];
  if (pipe(ready) < 0) endWith(kSkipped, "no pipe");
  const pid_t parent = fork();
  if (parent == 0) {
    if (!canBeNext(pid)) _exit(kSkipped);
    const pid_t other = fork();
    if (other == 0) {
      setpgid(0, 0);
      if (write(ready[1], "x", 1) != 1) _exit(kWrong);
      for (;;) pause();
    }
    if (other != pid) {
      kill(other, SIGKILL);
      waitFor(other);
      _exit(kSkipped);
    }
    _exit(WTERMSIG(waitFor(other)) == SIGKILL ? 0 : kWrong);
  }
  close(ready[1]);
  char byte = 0;
  if (read(ready[0], &byte, 1) != 1) endWith(kSkipped, "no recycled pid");
  close(ready[0]);
  // SIGKILL from here must be the first signal that reaches the other process.
  signalInEveryWay(task);
  if (kill(pid, 0) < 0) endWith(kWrong, "the foreign process was hit");
  kill(pid, SIGKILL);
  if (WEXITSTATUS(waitFor(parent)) != 0) endWith(kWrong, "the foreign process was hit");
}

void tryOwnChild(const Ref<HxTask>& task, pid_t pid) {
  const auto other = sleeper();
  if (!canBeNext(pid)) endWith(kSkipped, "no next pid");
  other->launch();
  if (other->processIdentifier() != pid) endWith(kSkipped, "no recycled pid");
  signalInEveryWay(task);
  if (!other->isRunning()) endWith(kWrong, "the other child was hit");
  other->sendSignal(SIGUSR1);
  other->waitUntilExit();
  if (other->terminationStatus() != SIGUSR1) endWith(kWrong, "the other child's status was taken");
}

void tryIt(std::string_view whose) {
  constexpr int kMostTries = 100;
  Ref<HxTask> task;
  pid_t pid = 0;
  for (int i = 0; i < kMostTries && pid == 0; ++i) {
    task = sleeper();
    task->launch();
    pid = steal(task);
  }
  if (pid == 0) endWith(kSkipped, "the library is always first");
  if (whose == "own") {
    tryOwnChild(task, pid);
  } else {
    tryForeignProcess(task, pid);
  }
  task->waitUntilExit();
  if (task->terminationReason() != HxTaskTerminationReason::lost) endWith(kWrong, "not lost");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  if (std::string_view(argv[2]) == "none") {
    internal::systemCalls.pidfd_open = +[](pid_t, unsigned) {
      errno = ENOSYS;
      return -1;
    };
  }
  if (unshare(CLONE_NEWUSER | CLONE_NEWPID) < 0) endWith(kSkipped, "no pid namespace");
  const pid_t first = fork();
  if (first == 0) {
    tryIt(argv[1]);
    _exit(0);
  }
  if (first < 0) endWith(kSkipped, "no process in the namespace");
  const int status = waitFor(first);
  return WIFEXITED(status) ? WEXITSTATUS(status) : kWrong;
}
