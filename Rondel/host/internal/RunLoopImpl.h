// SPDX-License-Identifier: MIT
//
// What a run loop consists of.
//
// Modes, sources, timers and calls are guarded by `lock`, which is never held while a call is made.
// What belongs to passes is touched by the loop's own thread alone.
#pragma once

#include <array>
#include <compare>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "Rondel/host/RunLoop.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/internal/SteadyClock.h"
#include "Rondel/host/linux/Poller.h"

namespace rondel {

struct HxRunLoop::Impl {
  // ---- Modes, by number

  static constexpr unsigned kCommonModes = 0;  // what is in it is in every common mode
  static constexpr unsigned kDefaultMode = 1;

  struct Mode {
    bool isCommon = false;
    HxUInteger armedSources = 0;
  };
  using ModeNumbers = std::vector<unsigned>;

  unsigned numberOfMode(const HxString& name);
  bool includes(const ModeNumbers& modes, unsigned mode) const;
  bool hasAnythingToWaitFor(unsigned mode) const;

  // ---- Sources. A token is a place in the table, with the count of its uses before: the token of
  // a source that is gone finds nothing.

  struct Slot {
    std::uint32_t generation = 0;
    Ref<internal::RunLoopSource> source;
  };

  void insert(internal::RunLoopSource& source);
  void erase(internal::RunLoopSource& source);
  internal::RunLoopSource* find(std::uint64_t token) const;
  void arm(internal::RunLoopSource& source, const HxArray& modes);
  void disarm(internal::RunLoopSource& source);
  void watch(internal::RunLoopSource& source);
  void unwatch(internal::RunLoopSource& source);

  // ---- Timers, in the order in which they fire

  struct TimerKey {
    internal::SteadyTime deadline;
    std::uint64_t number;                               // in the order in which they were set
    auto operator<=>(const TimerKey&) const = default;  // NOLINT(modernize-use-nullptr)
  };
  struct TimerEntry {
    Ref<HxTimer> timer;
    ModeNumbers modes;
    const HxObject* cancelTarget = nullptr;  // of a delayed call; identity only
  };

  void addTimer(const Ref<HxTimer>& timer, unsigned mode, const HxObject* cancelTarget);
  void removeTimer(const HxTimer& timer);
  Ref<HxTimer> takeDueTimer(unsigned mode, internal::SteadyTime now, std::uint64_t lastNumber);
  internal::SteadyTime nextDeadline(unsigned mode) const;

  // ---- Calls from other threads

  // Lets the thread that asked for a call go on.
  struct Waiter {
    std::mutex lock;
    std::condition_variable change;
    bool done = false;
    void wait();
    void finish();
  };
  // Made or dropped, its end lets the waiter go.
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

  // Gets the loop's thread out of its wait, when the caller is another one.
  void wake();
  bool isOwnThread() const noexcept;

  // ---- Passes

  // One pass, or a nested one, from its beginning to its end.
  class Turn;

  void openPoller();
  void pass(unsigned mode, internal::SteadyTime deadline);
  std::uint64_t lastTimerNumber();
  bool makeCalls(unsigned mode);
  bool fireTimers(unsigned mode, std::uint64_t lastNumber);
  bool waitAndDispatch(unsigned mode, internal::SteadyTime deadline);
  void noteWakeUp();
  void watchArmedAgain(unsigned mode);
  bool dispatch(unsigned mode, std::size_t count);
  Ref<HxObject> targetOf(std::uint64_t token, internal::RunLoopSource::Order order, unsigned mode,
                         internal::RunLoopSource::Ready& ready);
  void releaseKept(std::size_t left);
  void close();

  std::mutex lock;
  internal::Poller poller;
  bool closed = false;     // its thread has ended
  bool wakeIsDue = false;  // asked of the poller since it last waited
  bool stopAsked = false;
  unsigned runs = 0;  // of run and runUntilDate that are under way
  std::unordered_map<HxString, unsigned> modeNumbers;
  std::vector<Mode> modes;
  std::vector<Slot> slots;
  std::vector<std::uint32_t> freeSlots;
  std::vector<std::uint64_t> parked;  // armed, but taken out while another mode ran
  std::vector<std::uint64_t> alwaysReady;
  std::map<TimerKey, TimerEntry> timers;
  std::uint64_t timerNumber = 0;
  std::deque<Call> calls;

  unsigned depth = 0;
  std::uint64_t turns = 0;  // ever begun
  unsigned runningMode = kCommonModes;
  std::vector<std::uint64_t> batch;  // tokens that are ready in this pass
  std::vector<HxAny> kept;           // until the end of the turn

  Impl();
};

}  // namespace rondel
