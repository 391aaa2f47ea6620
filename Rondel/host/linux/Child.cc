// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Child.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Rondel/core/report/Log.h"
#include "Rondel/host/linux/Reaper.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

constexpr short kFlags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;

// Thrown within this file only.
struct Refused {
  int error;
};

void require(int error) {
  if (error != 0) throw Refused{error};
}

// What the child does before it executes the file. Raises Refused.
class Actions {
 public:
  Actions() { require(posix_spawn_file_actions_init(&_actions)); }
  ~Actions() { posix_spawn_file_actions_destroy(&_actions); }
  Actions(const Actions&) = delete;
  Actions& operator=(const Actions&) = delete;

  void add(const ChildPlan& plan) {
    if (plan.directory) require(posix_spawn_file_actions_addchdir_np(&_actions, plan.directory));
    std::copy_n(plan.standardFiles, kStandardFiles, _sources);
    moveLowSourcesAway();
    for (int fd = 0; fd < kStandardFiles; ++fd) connect(fd);
    require(posix_spawn_file_actions_addclosefrom_np(&_actions, kStandardFiles));
  }
  const posix_spawn_file_actions_t* get() const { return &_actions; }

 private:
  // A source that is one of 0 to 2 may be overwritten before its turn, as when two are swapped. It
  // goes to a higher fd first, which the close-from shuts again.
  void moveLowSourcesAway() {
    int free = kStandardFiles;
    for (int fd = 0; fd < kStandardFiles; ++fd) {
      const int source = _sources[fd];
      if (source < 0 || source >= kStandardFiles || source == fd) continue;
      while (std::find(_sources, _sources + kStandardFiles, free) != _sources + kStandardFiles) {
        ++free;
      }
      require(posix_spawn_file_actions_adddup2(&_actions, source, free));
      _sources[fd] = free++;
    }
  }

  void connect(int fd) {
    if (_sources[fd] >= 0) {
      // A descriptor that is already in its place loses close-on-exec by this.
      require(posix_spawn_file_actions_adddup2(&_actions, _sources[fd], fd));
    } else if (!isInherited(fd)) {
      require(posix_spawn_file_actions_addopen(&_actions, fd, "/dev/null", O_RDWR, 0));
    }
  }

  // Returns whether the child finds the host's own descriptor there.
  static bool isInherited(int fd) {
    const int flags = systemCalls.fcntl(fd, F_GETFD, 0);
    return flags >= 0 && (flags & FD_CLOEXEC) == 0;
  }

  posix_spawn_file_actions_t _actions;
  int _sources[kStandardFiles] = {};
};

// The child's process group and signals. Raises Refused.
class Attributes {
 public:
  Attributes() { require(posix_spawnattr_init(&_attributes)); }
  ~Attributes() { posix_spawnattr_destroy(&_attributes); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  void set(const ChildPlan& plan) {
    sigset_t signals;
    sigfillset(&signals);
    require(posix_spawnattr_setsigdefault(&_attributes, &signals));
    sigemptyset(&signals);
    require(posix_spawnattr_setsigmask(&_attributes, &signals));
    const int group = plan.leadsGroup ? POSIX_SPAWN_SETPGROUP : 0;
    require(posix_spawnattr_setflags(&_attributes, static_cast<short>(kFlags | group)));
  }
  const posix_spawnattr_t* get() const { return &_attributes; }

 private:
  posix_spawnattr_t _attributes;
};

// Returns 0 or an errno value.
int spawn(const ChildPlan& plan, pid_t& pid) {
  try {
    Actions actions;
    actions.add(plan);
    Attributes attributes;
    attributes.set(plan);
    require(systemCalls.posix_spawn(&pid, plan.path, actions.get(), attributes.get(),
                                    plan.arguments, plan.environment));
    return 0;
  } catch (const Refused& refused) {
    return refused.error;
  }
}

// Returns 0 or an errno value, never EINTR.
int waitRetrying(idtype_t kind, int which, siginfo_t& info, int options, rusage& used) noexcept {
  int answer;
  do {
    info.si_pid = 0;
    answer = systemCalls.waitid(kind, static_cast<id_t>(which), &info, options, &used);
  } while (answer < 0 && errno == EINTR);
  return answer < 0 ? errno : 0;
}

// Returns the status word of waitpid.
int waitStatusOf(const siginfo_t& info) noexcept {
  if (info.si_code == CLD_EXITED) return W_EXITCODE(info.si_status & 0xFF, 0);
  return info.si_status | (info.si_code == CLD_DUMPED ? WCOREFLAG : 0);
}

}  // namespace

// ---- The start --------------------------------------------------------------------------------

int Child::start(const ChildPlan& plan, const Ref<RunLoopSource>& source) {
  if (const int error = Reaper::shared().prepare()) return error;
  {
    const MutexLock held(_lock);
    _source = source;
  }
  _leadsGroup = plan.leadsGroup;
  if (const int error = spawn(plan, _pid)) return error;
  Reaper::shared().markLost(_pid);
  watchExit();
  return 0;
}

void Child::watchExit() noexcept {
  MutexLock held(_lock);
  if (_exitFd->own(systemCalls.pidfd_open(_pid, 0))) {
    if (_source->watch(_exitFd)) return;
  } else {
    const bool isGone = errno == ESRCH;  // because the host ignores SIGCHLD
    _exitFd = nullptr;
    if (isGone) {
      _state = State::lost;
      _source->raise();
      return;
    }
  }
  held.unlock();
  Reaper::shared().watch(*this);
}

Ref<SharedDescriptor> Child::exitDescriptor() const {
  const MutexLock held(_lock);
  return _exitFd;
}

void Child::dropExitDescriptor() noexcept {
  Ref<SharedDescriptor> dropped;  // closed outside the lock
  const MutexLock held(_lock);
  dropped = std::move(_exitFd);
}

// ---- The exit ---------------------------------------------------------------------------------

Child::State Child::poll() noexcept {
  MutexLock held(_lock);
  const State state = pollLocked();
  const int error = _askError;
  const bool mustLog = std::exchange(_failureIsDue, false);
  held.unlock();
  if (mustLog) logFailure(error);
  return state;
}

Child::State Child::pollLocked() noexcept {
  if (_state != State::running) return _state;
  siginfo_t info = {};
  rusage used = {};
  _askError = ask(info, used, WEXITED | WNOHANG);
  if (_askError == ECHILD) {
    _state = State::lost;
  } else if (_askError != 0) {
    _failureIsDue = !std::exchange(_failureIsLogged, true);
  } else if (info.si_pid != 0) {
    _waitStatus = waitStatusOf(info);
    _usage = used;
    _state = State::exited;
  }
  return _state;
}

// By the pidfd if there is one. Other code may have taken the status, and the pid may by now be
// that of another child of ours. Linux 5.3 has pidfds, but cannot wait by them: EINVAL.
int Child::ask(siginfo_t& info, rusage& used, int options) const noexcept {
  if (_exitFd) {
    const int error = waitRetrying(P_PIDFD, _exitFd->fd(), info, options, used);
    if (error != EINVAL) return error;
  }
  return waitRetrying(P_PID, _pid, info, options, used);
}

void Child::logFailure(int error) const noexcept {
  try {
    HxLog("HxTask: could not ask for the exit of process %d: %s"_hx, _pid, strerrordesc_np(error));
  } catch (...) {  // the asking goes on, whatever becomes of the message
  }
}

bool Child::pollOrKill(SteadyTime now) noexcept {
  if (poll() != State::running) return true;
  bool isDue;
  {
    const MutexLock held(_lock);
    isDue = now >= _killDeadline;
    if (isDue) _killDeadline = kForever;
  }
  if (isDue) send(SIGKILL);
  return false;
}

void Child::markLost() noexcept {
  const MutexLock held(_lock);
  if (_state == State::running && !_exitFd) _state = State::lost;
}

void Child::reportExit() noexcept {
  Ref<RunLoopSource> source;
  {
    const MutexLock held(_lock);
    source = _source;
  }
  if (source) source->raise();
}

Child::State Child::state() const {
  const MutexLock held(_lock);
  return _state;
}

int Child::waitStatus() const {
  const MutexLock held(_lock);
  return _waitStatus;
}

rusage Child::usage() const {
  const MutexLock held(_lock);
  return _usage;
}

// ---- Signals ----------------------------------------------------------------------------------

// By the pid only if a filter forbids signals by pidfd, or there is none. The system must also have
// just reported that the child was not waited for. Then the pid is still its own.
bool Child::send(int signal) noexcept {
  const MutexLock held(_lock);
  if (pollLocked() != State::running) return false;
  if (_exitFd) {
    if (systemCalls.pidfd_send_signal(_exitFd->fd(), signal, nullptr, 0) == 0) return true;
    if (errno != ENOSYS && errno != EPERM) return false;
  }
  return _askError == 0 && systemCalls.kill(_pid, signal) == 0;
}

// The pid names the group for as long as the status was not taken: so this only looks.
bool Child::sendToGroup(int signal) noexcept {
  const MutexLock held(_lock);
  if (!_leadsGroup || _state != State::running) return false;
  siginfo_t info = {};
  rusage used = {};
  if (ask(info, used, WEXITED | WNOHANG | WNOWAIT) != 0) return false;
  return systemCalls.kill(-_pid, signal) == 0;
}

void Child::killAt(SteadyTime deadline) noexcept {
  {
    const MutexLock held(_lock);
    _killDeadline = std::min(_killDeadline, deadline);
  }
  Reaper::shared().watch(*this);
}

void Child::adopt(const Ref<Child>& child) noexcept {
  Ref<RunLoopSource> unused;  // let go of outside the lock
  {
    const MutexLock held(child->_lock);
    unused = std::move(child->_source);
  }
  Reaper::shared().adopt(*child);
}

}  // namespace rondel::internal
