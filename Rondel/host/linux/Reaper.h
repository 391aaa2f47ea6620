// SPDX-License-Identifier: MIT
//
// Waits for the exits that no run loop sees. Those are of children that were dropped while they
// ran, or that cannot be watched.
//
// One thread does it. It is made before the first child is, and stays. What is handed over later
// needs no thread, no memory and no descriptor. It sleeps until the system reports the pidfd of a
// dropped child. All others it asks for every 20 ms, while there are any.
//
// A forked process has no such thread; its first launch makes one.
#pragma once

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/host/internal/SteadyClock.h"
#include "Rondel/host/linux/Child.h"
#include "Rondel/host/linux/Poller.h"

namespace rondel::internal {

// Children in a row, which keeps them alive. Each is in one list at most, so it needs no memory.
struct ChildList {
  Child* first = nullptr;

  void add(Child& child) noexcept;
  Ref<Child> remove(Child& child) noexcept;
  // Empties the list, and releases none of them.
  void forget() noexcept;
};

class Reaper {
 public:
  // Returns the one of the process. It is never destroyed, since its thread runs to the very end.
  static Reaper& shared();

  // Makes what waiting needs. Returns 0 or an errno value. Once is enough.
  int prepare();

  // Asks for the child's exit every 20 ms from now on, and makes its source ready then.
  void watch(Child& child) noexcept;
  // Waits for the child's exit, and reports it to no one.
  void adopt(Child& child) noexcept;
  // Notes that other code must have waited for the children with this pid. The system has just used
  // the pid for another child.
  void markLost(pid_t pid) noexcept;

 private:
  Reaper() = default;
  int prepareLocked() RONDEL_REQUIRES(_lock);
  static void* run(void* reaper);
  void turn() noexcept;
  void look(Child& child) noexcept;
  SteadyTime nextRound() const;
  void askAll(SteadyTime now) noexcept;
  void stayLockedWhileForking() RONDEL_NO_THREAD_SAFETY_ANALYSIS { _lock.lock(); }
  void goOnAfterFork() RONDEL_NO_THREAD_SAFETY_ANALYSIS { _lock.unlock(); }
  void startOverAfterFork() RONDEL_NO_THREAD_SAFETY_ANALYSIS;

  mutable Mutex _lock;
  bool _isPrepared RONDEL_GUARDED_BY(_lock) = false;
  bool _knowsOfForks RONDEL_GUARDED_BY(_lock) = false;
  ChildList _asked RONDEL_GUARDED_BY(_lock);    // taken out by the thread alone, as the next
  ChildList _watched RONDEL_GUARDED_BY(_lock);  // by the poller
  Poller _poller;                               // opened by prepare()
  SteadyTime _lastRound = 0;                    // of the thread
};

}  // namespace rondel::internal
