// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Child.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "Rondel/host/internal/ThreadStart.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/Reaper.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

constexpr int kStandardFiles = 3;
constexpr short kFlags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;

// Thrown inside this file only.
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
    for (int number = 0; number < kStandardFiles; ++number) connect(number);
    require(posix_spawn_file_actions_addclosefrom_np(&_actions, kStandardFiles));
  }
  const posix_spawn_file_actions_t* get() const { return &_actions; }

 private:
  // A source that is itself one of 0 to 2 may be overwritten before its turn, as when two of them
  // are swapped. It goes to a higher number first, which the close-from shuts again.
  void moveLowSourcesAway() {
    int free = kStandardFiles;
    for (int number = 0; number < kStandardFiles; ++number) {
      const int source = _sources[number];
      if (source < 0 || source >= kStandardFiles || source == number) continue;
      while (std::find(_sources, _sources + kStandardFiles, free) != _sources + kStandardFiles) {
        ++free;
      }
      require(posix_spawn_file_actions_adddup2(&_actions, source, free));
      _sources[number] = free++;
    }
  }

  void connect(int number) {
    if (_sources[number] >= 0) {
      // A descriptor that already has its number loses close-on-exec by this.
      require(posix_spawn_file_actions_adddup2(&_actions, _sources[number], number));
    } else if (!isInherited(number)) {
      require(posix_spawn_file_actions_addopen(&_actions, number, "/dev/null", O_RDWR, 0));
    }
  }

  // Whether the child finds the host's own descriptor of this number.
  static bool isInherited(int number) {
    const int flags = systemCalls.fcntl(number, F_GETFD, 0);
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

pid_t spawn(const ChildPlan& plan) {
  Actions actions;
  actions.add(plan);
  Attributes attributes;
  attributes.set(plan);
  pid_t number = 0;
  require(systemCalls.posix_spawn(&number, plan.path, actions.get(), attributes.get(),
                                  plan.arguments, plan.environment));
  return number;
}

int waitRetrying(idtype_t kind, id_t which, siginfo_t* result, int options) {
  int answer;
  do {
    result->si_pid = 0;
    answer = systemCalls.waitid(kind, which, result, options);
  } while (answer < 0 && errno == EINTR);
  return answer;
}

// The status word that waitpid would have given.
int waitStatusOf(const siginfo_t& info) {
  if (info.si_code == CLD_EXITED) return W_EXITCODE(info.si_status & 0xFF, 0);
  return info.si_status | (info.si_code == CLD_DUMPED ? WCOREFLAG : 0);
}

}  // namespace

Ref<Child> Child::start(const ChildPlan& plan, int& error) {
  Reaper::shared().sweep();
  Ref<Child> child = makeRef<Child>();
  try {
    child->_number = spawn(plan);
    require(child->watchExit());
    return child;
  } catch (const Refused& refused) {
    error = refused.error;
  } catch (...) {
    child->destroy();
    throw;
  }
  child->destroy();
  return nullptr;
}

// Gives 0 or an errno value.
int Child::watchExit() {
  _exit = ownDescriptor(systemCalls.pidfd_open(_number, 0));
  if (_exit) return 0;
  if (errno == ESRCH) {  // gone already, because the host ignores SIGCHLD
    _state = State::lost;
  }
  return watchExitByThread();
}

int Child::watchExitByThread() {
  _exit = makeEvent(_state == State::lost ? 1 : 0);
  if (!_exit) return errno;
  if (_state == State::lost) return 0;
  _byThread = true;
  retain();  // for the thread
  const int error = startDetachedThread(waitForExit, this);
  if (error != 0) release();
  return error;
}

void* Child::waitForExit(void* argument) {
  const Ref<Child> child = Ref<Child>::adopt(static_cast<Child*>(argument));
  const Ref<SharedDescriptor> exit = child->exitDescriptor();
  siginfo_t unused;
  waitRetrying(P_PID, static_cast<id_t>(child->_number), &unused, WEXITED | WNOWAIT);
  if (exit) {
    const std::uint64_t one = 1;
    systemCalls.write(exit->fd(), &one, sizeof one);
  }
  const std::scoped_lock held(child->_lock);
  if (child->_abandoned) child->pollLocked();
  return nullptr;
}

Ref<SharedDescriptor> Child::exitDescriptor() const {
  const std::scoped_lock held(_lock);
  return _exit;
}

void Child::dropExitDescriptor() {
  const std::scoped_lock held(_lock);
  _exit = nullptr;
}

Child::State Child::poll() {
  const std::scoped_lock held(_lock);
  return pollLocked();
}

Child::State Child::pollLocked() {
  if (_state != State::running) return _state;
  siginfo_t info;
  if (waitWithoutWaiting(&info) < 0) {
    _state = State::lost;
  } else if (info.si_pid != 0) {
    _waitStatus = waitStatusOf(info);
    _state = State::exited;
  }
  return _state;
}

// By the pidfd where there is one: a thief may have taken the status, and the number may by now be
// that of another child of ours.
int Child::waitWithoutWaiting(siginfo_t* info) const {
  const bool byNumber = _byThread || !_exit;
  const int which = byNumber ? _number : _exit->fd();
  return waitRetrying(byNumber ? P_PID : P_PIDFD, static_cast<id_t>(which), info,
                      WEXITED | WNOHANG);
}

Child::State Child::state() const {
  const std::scoped_lock held(_lock);
  return _state;
}

int Child::waitStatus() const {
  const std::scoped_lock held(_lock);
  return _waitStatus;
}

void Child::send(int signal) {
  const std::scoped_lock held(_lock);
  if (pollLocked() != State::running) return;
  if (!_byThread && _exit) {
    if (systemCalls.pidfd_send_signal(_exit->fd(), signal, nullptr, 0) == 0) return;
    if (errno == ESRCH) return;  // somebody else has taken its status
  }
  systemCalls.kill(_number, signal);  // not waited for yet, so the number is still its own
}

void Child::destroy() {
  const std::scoped_lock held(_lock);
  if (_number == 0 || _state != State::running) return;
  systemCalls.kill(_number, SIGKILL);
  siginfo_t unused;
  waitRetrying(P_PID, static_cast<id_t>(_number), &unused, WEXITED);
  _state = State::lost;
}

void Child::adopt(const Ref<Child>& child) {
  {
    const std::scoped_lock held(child->_lock);
    child->_abandoned = true;
    if (child->pollLocked() != State::running || child->_byThread) return;
  }
  Reaper::shared().add(child);
}

}  // namespace rondel::internal
