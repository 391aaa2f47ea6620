// SPDX-License-Identifier: MIT
//
// The insides of a run loop.
//
// `lock` is never held while a call is made or an object of the tool is dropped; but names of modes
// are hashed under it, also those of a string class of the tool. A timer's own lock is taken before
// it. What is not guarded belongs to passes, on the loop's own thread.
#pragma once

#include <compare>
#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/internal/SteadyClock.h"
#include "Rondel/host/linux/Poller.h"

namespace rondel {

struct HxRunLoop::Impl {
  mutable internal::Mutex lock;

  // ---- Modes, by number

  static constexpr unsigned kCommonModes = 0;  // what is in it is in every common mode
  static constexpr unsigned kDefaultMode = 1;

  // Timers in the order in which they fire. A timer that is firing, and one that is more than a
  // century away, has the deadline kForever.
  struct TimerKey {
    internal::SteadyTime deadline;
    std::uint64_t number;                               // in the order in which they were added
    auto operator<=>(const TimerKey&) const = default;  // NOLINT(modernize-use-nullptr)
  };
  struct Mode {
    bool isCommon = false;
    HxUInteger armedSources = 0;
    std::set<TimerKey> timers;
  };
  using ModeNumbers = std::vector<unsigned>;

  unsigned numberOfMode(const HxString& name) RONDEL_REQUIRES(lock);
  bool includes(const ModeNumbers& set, unsigned mode) const RONDEL_REQUIRES(lock);
  bool hasAnythingToWaitFor(unsigned mode) const RONDEL_REQUIRES(lock);
  bool hasWorkNow(unsigned mode) const RONDEL_REQUIRES(lock);

  // ---- Sources. A token is a place in the table, with the count of its uses before: the token of
  // a source that is gone finds nothing.

  struct Slot {
    std::uint32_t generation = 0;
    Ref<internal::RunLoopSource> source;
  };

  void insert(internal::RunLoopSource& source) RONDEL_REQUIRES(lock);
  void erase(internal::RunLoopSource& source) RONDEL_REQUIRES(lock);
  internal::RunLoopSource* find(std::uint64_t token) const RONDEL_REQUIRES(lock);
  bool wants(std::uint64_t token, unsigned mode) const RONDEL_REQUIRES(lock);
  void arm(internal::RunLoopSource& source, const HxArray& modes) RONDEL_REQUIRES(lock);
  void disarm(internal::RunLoopSource& source) RONDEL_REQUIRES(lock);
  void watch(internal::RunLoopSource& source) RONDEL_REQUIRES(lock);
  void unwatch(internal::RunLoopSource& source) RONDEL_REQUIRES(lock);

  // ---- Timers, by number

  struct TimerEntry {
    Ref<HxTimer> timer;
    internal::SteadyTime deadline = internal::kForever;
    ModeNumbers modes;
    const HxObject* cancelTarget = nullptr;  // of a delayed call; identity only
  };
  // The targets of delayed calls, with the numbers of their timers.
  using DelayedCalls = std::set<std::pair<std::uintptr_t, std::uint64_t>>;

  static std::uintptr_t identityOf(const HxObject* object) {
    return reinterpret_cast<std::uintptr_t>(object);
  }

  std::uint64_t addTimer(const Ref<HxTimer>& timer, std::uint64_t number, unsigned mode,
                         const HxObject* cancelTarget) RONDEL_REQUIRES(lock);
  Ref<HxTimer> dropTimer(std::uint64_t number) RONDEL_REQUIRES(lock);
  std::vector<Ref<HxTimer>> timersOfDelayedCalls(const HxObject* target) const
      RONDEL_REQUIRES(lock);
  void removeTimer(std::uint64_t number) RONDEL_EXCLUDES(lock);
  void setDeadline(std::uint64_t number, TimerEntry& entry, internal::SteadyTime deadline) noexcept
      RONDEL_REQUIRES(lock);
  const TimerKey* timerAfter(const TimerKey& key, unsigned mode) const RONDEL_REQUIRES(lock);
  internal::SteadyTime nextDeadline(unsigned mode) const RONDEL_REQUIRES(lock);
  Ref<HxTimer> takeDueTimer(unsigned mode, internal::SteadyTime now, std::uint64_t lastNumber,
                            TimerKey& key) RONDEL_EXCLUDES(lock);
  void setTimerAgain(const TimerKey& fired) noexcept RONDEL_EXCLUDES(lock);

  // ---- Calls from other threads

  // Lets the thread that asked for a call go on.
  class Waiter {
   public:
    void wait();
    void finish();

   private:
    internal::Mutex _lock;
    internal::Condition _change;
    bool _isDone RONDEL_GUARDED_BY(_lock) = false;
  };
  // Lets the waiter go when it ends, made or dropped.
  struct Call {
    Ref<internal::Closure> closure;
    const HxObject* target = nullptr;  // identity only
    std::shared_ptr<Waiter> waiter;

    Call(Ref<internal::Closure> made, const HxObject* of) : closure(std::move(made)), target(of) {}
    Call(Call&&) noexcept = default;
    Call& operator=(Call&&) noexcept = default;
    ~Call() {
      if (waiter) waiter->finish();
    }
  };

  // Ends the wait of the loop's thread if the caller is another one.
  void wake() RONDEL_REQUIRES(lock);
  bool isOwnThread() const noexcept;

  // ---- Passes

  // One pass, or a nested one, from its beginning to its end.
  class Turn;

  void openPoller() RONDEL_REQUIRES(lock);
  void pass(unsigned mode, internal::SteadyTime deadline) RONDEL_EXCLUDES(lock);
  std::uint64_t lastTimerNumber() RONDEL_EXCLUDES(lock);
  bool makeCalls(unsigned mode) RONDEL_EXCLUDES(lock);
  bool fireTimers(unsigned mode, std::uint64_t lastNumber) RONDEL_EXCLUDES(lock);
  bool waitAndDispatch(unsigned mode, internal::SteadyTime deadline) RONDEL_EXCLUDES(lock);
  void noteWakeUp() RONDEL_EXCLUDES(lock);
  void watchArmedAgain(unsigned mode) RONDEL_REQUIRES(lock);
  bool dispatch(unsigned mode, std::size_t count) RONDEL_EXCLUDES(lock);
  HxAny targetOf(std::uint64_t token, internal::RunLoopSource::Order order, unsigned mode,
                 internal::RunLoopSource::Ready& ready) RONDEL_EXCLUDES(lock);
  void releaseKept(std::size_t left);
  void close() RONDEL_EXCLUDES(lock);

  internal::Poller poller;  // opened and closed under the lock; waits on the loop's thread
  bool closed RONDEL_GUARDED_BY(lock) = false;      // its thread has ended
  bool isEmbedded RONDEL_GUARDED_BY(lock) = false;  // another loop polls for this one
  bool wakeIsDue RONDEL_GUARDED_BY(lock) = false;   // asked of the poller since it last waited
  bool stopAsked RONDEL_GUARDED_BY(lock) = false;
  unsigned runs RONDEL_GUARDED_BY(lock) = 0;  // of run and runUntilDate that are under way
  std::unordered_map<HxString, unsigned> modeNumbers RONDEL_GUARDED_BY(lock);
  std::vector<Mode> modes RONDEL_GUARDED_BY(lock);
  std::vector<Slot> slots RONDEL_GUARDED_BY(lock);
  std::vector<std::uint32_t> freeSlots RONDEL_GUARDED_BY(lock);
  // Armed, but taken out while another mode ran.
  std::vector<std::uint64_t> parked RONDEL_GUARDED_BY(lock);
  std::vector<std::uint64_t> alwaysReady RONDEL_GUARDED_BY(lock);
  std::unordered_map<std::uint64_t, TimerEntry> timers RONDEL_GUARDED_BY(lock);
  DelayedCalls delayedCalls RONDEL_GUARDED_BY(lock);
  std::uint64_t timerNumber RONDEL_GUARDED_BY(lock) = 0;
  std::deque<Call> calls RONDEL_GUARDED_BY(lock);
  unsigned runningMode RONDEL_GUARDED_BY(lock) = kCommonModes;

  unsigned depth = 0;
  std::uint64_t turns = 0;           // ever begun
  std::vector<std::uint64_t> batch;  // tokens that are ready in this pass
  std::vector<HxAny> kept;           // until the end of the turn

  Impl();
};

}  // namespace rondel
