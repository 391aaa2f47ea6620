// SPDX-License-Identifier: MIT
//
// A child process that this process started, and waits for alone.
//
// Nothing fails after the spawn. The caller arms a source without a descriptor before, and start()
// sees to the thread of the Reaper. Once there is a child, the source watches its pidfd. If that is
// missing or cannot be watched, the Reaper asks for the exit and raises the source. Either is a
// hint that poll() has to confirm.
//
// No signal is sent after the status was taken, so none reaches a process that got the pid since.
//
// Threads: any thread may call anything here once start() has returned.
#pragma once

#include <signal.h>
#include <sys/resource.h>
#include <sys/types.h>

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/internal/SharedDescriptor.h"
#include "Rondel/host/internal/SteadyClock.h"

namespace rondel::internal {

// How often the library asks for the exit of a child that it cannot watch: every 20 ms.
inline constexpr SteadyTime kTimeBetweenLooks = kNanosecondsASecond / 50;

// What to start. All texts belong to the caller.
struct ChildPlan {
  const char* path = nullptr;
  char* const* arguments = nullptr;    // ends with null; the first is the path
  char* const* environment = nullptr;  // ends with null
  const char* directory = nullptr;     // null for the host's
  // The host's for 0, 1 and 2 of the child; -1 for the same fd.
  int standardFiles[kStandardFiles] = {-1, -1, -1};
  bool leadsGroup = false;
};

struct ChildList;

class Child final : public HxObject {
 public:
  enum class State { running, exited, lost };

  // Starts the child and makes `source` ready at its exit. Returns 0, or an errno value if there is
  // no child. Call it once.
  int start(const ChildPlan& plan, const Ref<RunLoopSource>& source);

  pid_t pid() const noexcept { return _pid; }
  // Returns the pidfd, which stays readable from the exit on; null if there is none.
  Ref<SharedDescriptor> exitDescriptor() const;
  // Releases the pidfd, which is not needed after the exit was seen.
  void dropExitDescriptor() noexcept;

  // Asks for the exit without waiting, and takes the status if there is one. Returns the state by
  // then. Lost: other code took the status. Logs once if the system refuses to report it.
  State poll() noexcept;
  // Returns what poll() saw last.
  State state() const;
  // Returns the status as waitpid reports it; meaningful once exited.
  int waitStatus() const;
  // Returns what the child has used; all zero before it exited.
  rusage usage() const;

  // Sends a signal unless the exit was seen. Returns whether it was sent.
  bool send(int signal) noexcept;
  // Sends a signal to the group that the child leads, unless its exit was seen. Returns whether it
  // was sent; false if the child leads none.
  bool sendToGroup(int signal) noexcept;
  // Sends SIGKILL if the child still runs at that time.
  void killAt(SteadyTime deadline) noexcept;

  // Has the reaper wait for the exit if no other code does any more, so that no zombie is left.
  // Needs no memory.
  static void adopt(const Ref<Child>& child) noexcept;

 private:
  template <class T, class... Arguments>
  friend Ref<T> rondel::makeRef(Arguments&&... arguments);
  friend class Reaper;
  friend struct ChildList;
  Child() : _exitFd(makeRef<SharedDescriptor>()) {}
  ~Child() override = default;

  void watchExit() noexcept;
  State pollLocked() noexcept RONDEL_REQUIRES(_lock);
  int ask(siginfo_t& info, rusage& used, int options) const noexcept RONDEL_REQUIRES(_lock);
  void logFailure(int error) const noexcept;
  // The round of the Reaper, every 20 ms. Returns whether the child has ended.
  bool pollOrKill(SteadyTime now) noexcept;
  void markLost() noexcept;
  void reportExit() noexcept;

  pid_t _pid = 0;  // set by start(), like the next one
  bool _leadsGroup = false;

  mutable Mutex _lock;
  State _state RONDEL_GUARDED_BY(_lock) = State::running;
  int _waitStatus RONDEL_GUARDED_BY(_lock) = 0;
  rusage _usage RONDEL_GUARDED_BY(_lock) = {};
  int _askError RONDEL_GUARDED_BY(_lock) = 0;  // why the system did not tell, the last time
  bool _failureIsDue RONDEL_GUARDED_BY(_lock) = false;
  bool _failureIsLogged RONDEL_GUARDED_BY(_lock) = false;
  SteadyTime _killDeadline RONDEL_GUARDED_BY(_lock) = kForever;
  Ref<SharedDescriptor> _exitFd RONDEL_GUARDED_BY(_lock);
  Ref<RunLoopSource> _source RONDEL_GUARDED_BY(_lock);  // until adopted

  // Guarded by the lock of the Reaper.
  ChildList* _list = nullptr;
  Child* _next = nullptr;
  Child* _previous = nullptr;
};

}  // namespace rondel::internal
