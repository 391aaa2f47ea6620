// SPDX-License-Identifier: MIT
//
// A child process that this process started, and waits for alone.
//
// The exit is told by a descriptor that becomes readable: a pidfd, or where the system has none or
// forbids it, an eventfd that a waiting thread of our own writes to. Readable is a hint; poll()
// looks. No signal is sent after the status was taken, so none reaches a process that has got the
// number since.
//
// Threads: everything may be called on any thread.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <mutex>

#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

// What to start. All texts belong to the caller.
struct ChildPlan {
  const char* path = nullptr;
  char* const* arguments = nullptr;    // ends with null; the first is the path
  char* const* environment = nullptr;  // ends with null
  const char* directory = nullptr;     // null for the host's
  int standardFiles[3] = {-1, -1,
                          -1};  // of the host, for 0, 1, 2 of the child; -1: the same number
  bool leadsGroup = false;
};

class Child final : public HxObject {
 public:
  enum class State { running, exited, lost };

  // Starts one; null, with the reason in `error` as an errno value, when that fails.
  static Ref<Child> start(const ChildPlan& plan, int& error);

  int number() const noexcept { return _number; }
  // Becomes readable at the exit, and stays so.
  Ref<SharedDescriptor> exitDescriptor() const;
  // Lets go of that descriptor, which nobody needs after the exit was seen.
  void dropExitDescriptor();

  // Looks whether the child has exited, without waiting, and takes its status if so. Gives the
  // state by then. Lost: the status was taken by somebody else.
  State poll();
  // What poll() saw last.
  State state() const;
  // As waitpid tells it; meaningful once exited.
  int waitStatus() const;

  // Sends a signal unless the exit was seen.
  void send(int signal);
  // Makes an end of it: SIGKILL, and waits for the exit.
  void destroy();

  // Sees to it that the child is waited for when nobody else does: by a thread for all such
  // children, which is there only while there are any.
  static void adopt(const Ref<Child>& child);

 private:
  template <class T, class... Arguments>
  friend Ref<T> rondel::makeRef(Arguments&&... arguments);
  Child() noexcept = default;
  ~Child() override = default;

  int watchExit();
  int watchExitByThread();
  static void* waitForExit(void* child);
  State pollLocked();
  int waitWithoutWaiting(siginfo_t* info) const;

  pid_t _number = 0;
  mutable std::mutex _lock;
  State _state = State::running;
  int _waitStatus = 0;
  bool _byThread = false;
  bool _abandoned = false;
  Ref<SharedDescriptor> _exit;
};

}  // namespace rondel::internal
