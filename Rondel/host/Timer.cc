// SPDX-License-Identifier: MIT
//
// A timer on a loop has a number there, by which its entry is found. In each of its modes it has a
// key of deadline and number. The keys of a mode are sorted, so its first key is the next timer. A
// repeating timer keeps its keys while it fires, with the deadline kForever. So a nested pass finds
// it neither due nor gone. A timer that fires once leaves the loop before its call.
//
//   default mode   {5 ms, #1 every 5 ms} {9 ms, #2 once}          now is 12 ms
//   #1 fires       {9 ms, #2} {for ever, #1}                      a nested pass here fires #2 only
//   it returns     {9 ms, #2} {15 ms, #1}                         10 ms has passed and is left out
//   #2 fires       {15 ms, #1}
#include "Rondel/host/Timer.h"

#include <algorithm>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/host/internal/RunLoopImpl.h"

namespace rondel {

using internal::kForever;
using internal::MutexLock;
using internal::SteadyTime;

namespace {

constexpr HxTimeInterval kShortestInterval = 0.0001;

}  // namespace

struct HxTimer::Impl {
  Impl(HxObject* object, const HxHandle& information) : target(object), userInfo(information) {}

  mutable internal::Mutex lock;  // before the lock of a loop
  bool isValid RONDEL_GUARDED_BY(lock) = true;
  Ref<HxObject> target RONDEL_GUARDED_BY(lock);
  HxAny userInfo RONDEL_GUARDED_BY(lock);
  Ref<HxRunLoop> loop RONDEL_GUARDED_BY(lock);       // that owns the timer, once added
  std::uint64_t number RONDEL_GUARDED_BY(lock) = 0;  // on that loop
};

HxTimer::HxTimer(HxTimeInterval seconds, HxObject* target, Fire call, const HxHandle& userInfo,
                 bool repeats)
    : _seconds(seconds), _repeats(repeats), _fire(call), _impl(new Impl(target, userInfo)) {}

HxTimer::~HxTimer() = default;

HxClass HxTimer::classObject() noexcept {
  static const HxClassInfo info{"HxTimer", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxTimer> HxTimer::make(HxTimeInterval seconds, HxObject* target, Fire call,
                           const HxHandle& userInfo, bool repeats) {
  // Deliberate: written so that NaN is too short.
  const HxTimeInterval interval = seconds > kShortestInterval ? seconds : kShortestInterval;
  return makeRef<HxTimer>(interval, target, call, userInfo, repeats);
}

Ref<HxTimer> HxTimer::schedule(const Ref<HxTimer>& timer) {
  HxRunLoop::currentRunLoop()->addTimer(timer, HxDefaultRunLoopMode);
  return timer;
}

bool HxTimer::isValid() const noexcept {
  const MutexLock held(_impl->lock);
  return _impl->isValid;
}

HxAny HxTimer::userInfo() const {
  const MutexLock held(_impl->lock);
  return _impl->userInfo;
}

void HxTimer::invalidate() {
  const HxAny alive = internal::keptAlive(this);
  Ref<HxObject> target;  // these outlive the lock
  HxAny userInfo;
  Ref<HxRunLoop> loop;
  std::uint64_t number = 0;
  {
    const MutexLock held(_impl->lock);
    _impl->isValid = false;
    std::swap(target, _impl->target);
    std::swap(userInfo, _impl->userInfo);
    std::swap(loop, _impl->loop);
    number = _impl->number;
  }
  if (loop) loop->_impl->removeTimer(number);
}

void HxTimer::fire() {
  const HxAny alive = internal::keptAlive(this);
  Ref<HxObject> target;
  {
    const MutexLock held(_impl->lock);
    if (!_impl->isValid) return;
    target = _impl->target;
  }
  struct LastTime {
    HxTimer* timer;
    ~LastTime() {
      if (timer) timer->invalidate();
    }
  } const lastTime{_repeats ? nullptr : this};
  if (target) _fire(target.get(), *this);
}

// ---- On the run loop --------------------------------------------------------------------------

void HxRunLoop::addTimer(const Ref<HxTimer>& timer, const HxString& mode) {
  if (timer && mode) schedule(timer, mode, nullptr);
}

void HxRunLoop::enqueueAfterDelay(const Ref<internal::Closure>& call, const HxObject* target,
                                  HxTimeInterval seconds) {
  const HxTimer::Fire fire = [](HxObject* closure, HxTimer&) {
    static_cast<internal::Closure*>(closure)->call();
  };
  // No shortest interval here: a delay of 0 is due in the next pass.
  schedule(makeRef<HxTimer>(seconds, call.get(), fire, HxAny(), false), HxDefaultRunLoopMode,
           target);
}

// Both locks are held together: an invalidate on another thread comes before or after, not between.
// Keeps the timer: invalidating it may drop the caller's reference.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void HxRunLoop::schedule(Ref<HxTimer> timer, const HxString& mode, const HxObject* cancelTarget) {
  {
    HxTimer::Impl& added = *timer->_impl;
    const MutexLock heldTimer(added.lock);
    if (!added.isValid) return;
    if (added.loop && added.loop.get() != this) {
      HxException::raise(HxInvalidArgumentException, "a timer can be on one run loop only"_hx);
    }
    const MutexLock held(_impl->lock);
    if (!_impl->closed) {
      added.number = _impl->addTimer(timer, added.number, _impl->numberOfMode(mode), cancelTarget);
      added.loop = Ref<HxRunLoop>(this);
      return;
    }
  }
  timer->invalidate();
}

// Adds the timer to one more mode. The first time sets its deadline. Returns its number, which is a
// new one if `number` is 0.
std::uint64_t HxRunLoop::Impl::addTimer(const Ref<HxTimer>& timer, std::uint64_t number,
                                        unsigned mode, const HxObject* cancelTarget) {
  if (number == 0) number = ++timerNumber;
  const auto [place, isNew] = timers.try_emplace(number);
  TimerEntry& entry = place->second;
  if (isNew) {
    entry.timer = timer;
    entry.deadline = internal::steadyTimeAfter(timer->timeInterval());
    entry.cancelTarget = cancelTarget;
  }
  try {
    entry.modes.reserve(entry.modes.size() + 1);  // so that nothing fails after the insertion
    if (isNew && cancelTarget) delayedCalls.insert({identityOf(cancelTarget), number});
    if (modes[mode].timers.insert({entry.deadline, number}).second) entry.modes.push_back(mode);
  } catch (...) {
    if (isNew) dropTimer(number);  // not the last reference: the caller has one
    throw;
  }
  wake();
  return number;
}

// Returns the timer, which must outlive the lock; null if it is not on this loop.
Ref<HxTimer> HxRunLoop::Impl::dropTimer(std::uint64_t number) {
  const auto place = timers.find(number);
  if (place == timers.end()) return nullptr;
  TimerEntry& entry = place->second;
  for (const unsigned mode : entry.modes) modes[mode].timers.erase({entry.deadline, number});
  if (entry.cancelTarget) delayedCalls.erase({identityOf(entry.cancelTarget), number});
  Ref<HxTimer> timer = std::move(entry.timer);
  timers.erase(place);
  return timer;
}

void HxRunLoop::Impl::removeTimer(std::uint64_t number) {
  Ref<HxTimer> dropped;  // outlives the lock
  const MutexLock held(lock);
  dropped = dropTimer(number);
  if (dropped) wake();  // there may be nothing left to wait for
}

void HxRunLoop::Impl::setDeadline(std::uint64_t number, TimerEntry& entry,
                                  SteadyTime deadline) noexcept {
  for (const unsigned mode : entry.modes) {
    auto node = modes[mode].timers.extract({entry.deadline, number});
    node.value().deadline = deadline;
    modes[mode].timers.insert(std::move(node));
  }
  entry.deadline = deadline;
}

// Returns the key that follows this one when the mode runs, or null.
const HxRunLoop::Impl::TimerKey* HxRunLoop::Impl::timerAfter(const TimerKey& key,
                                                             unsigned mode) const {
  const TimerKey* first = nullptr;
  for (const unsigned one : {mode, kCommonModes}) {
    if (one == kCommonModes && !modes[mode].isCommon) continue;
    const auto place = modes[one].timers.upper_bound(key);
    if (place != modes[one].timers.end() && (!first || *place < *first)) first = &*place;
  }
  return first;
}

SteadyTime HxRunLoop::Impl::nextDeadline(unsigned mode) const {
  const TimerKey* const first = timerAfter({}, mode);
  return first ? first->deadline : kForever;
}

// Returns the first timer after `key` that is due and was added before the pass began. Moves `key`
// on to it. Returns null if there is none.
Ref<HxTimer> HxRunLoop::Impl::takeDueTimer(unsigned mode, SteadyTime now, std::uint64_t lastNumber,
                                           TimerKey& key) {
  const MutexLock held(lock);
  for (const TimerKey* next = timerAfter(key, mode); next && next->deadline <= now;
       next = timerAfter(key, mode)) {
    key = *next;
    if (key.number > lastNumber) continue;
    TimerEntry& entry = timers.find(key.number)->second;
    if (!entry.timer->repeats()) return dropTimer(key.number);
    setDeadline(key.number, entry, kForever);
    return entry.timer;
  }
  return nullptr;
}

// Sets a repeating timer that has fired for the first of its times that is still to come. Does
// nothing if it was invalidated.
void HxRunLoop::Impl::setTimerAgain(const TimerKey& fired) noexcept {
  const MutexLock held(lock);
  const auto place = timers.find(fired.number);
  if (place == timers.end()) return;
  const auto interval = static_cast<SteadyTime>(place->second.timer->timeInterval() *
                                                static_cast<double>(internal::kNanosecondsASecond));
  const SteadyTime missed = (internal::steadyNow() - fired.deadline) / interval;
  setDeadline(fired.number, place->second, fired.deadline + (missed + 1) * interval);
}

bool HxRunLoop::Impl::fireTimers(unsigned mode, std::uint64_t lastNumber) {
  struct SetAgain {
    Impl& loop;
    const TimerKey& fired;
    ~SetAgain() { loop.setTimerAgain(fired); }
  };
  const SteadyTime now = internal::steadyNow();
  bool fired = false;
  TimerKey key = {};
  while (const Ref<HxTimer> timer = takeDueTimer(mode, now, lastNumber, key)) {
    const SetAgain setAgain{*this, key};
    fired = true;
    timer->fire();
  }
  return fired;
}

}  // namespace rondel
