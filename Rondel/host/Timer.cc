// SPDX-License-Identifier: MIT
#include "Rondel/host/Timer.h"

#include <algorithm>
#include <mutex>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/internal/RunLoopImpl.h"

namespace rondel {

using internal::kForever;
using internal::SteadyTime;

namespace {

constexpr HxTimeInterval kShortestInterval = 0.0001;

}  // namespace

struct HxTimer::Impl {
  Impl(HxObject* object, const HxHandle& information) : target(object), userInfo(information) {}

  std::mutex lock;
  bool isValid = true;
  Ref<HxObject> target;
  HxAny userInfo;
  Ref<HxRunLoop> loop;  // that owns the timer, once added
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
  // Written so that NaN counts as too short.
  const HxTimeInterval interval = seconds > kShortestInterval ? seconds : kShortestInterval;
  return makeRef<HxTimer>(interval, target, call, userInfo, repeats);
}

Ref<HxTimer> HxTimer::schedule(const Ref<HxTimer>& timer) {
  HxRunLoop::currentRunLoop()->addTimer(timer, HxDefaultRunLoopMode);
  return timer;
}

bool HxTimer::isValid() const noexcept {
  const std::scoped_lock held(_impl->lock);
  return _impl->isValid;
}

HxAny HxTimer::userInfo() const {
  const std::scoped_lock held(_impl->lock);
  return _impl->userInfo;
}

void HxTimer::invalidate() {
  const Ref<HxTimer> self(this);  // the loop may hold the last reference
  Ref<HxObject> target;           // these outlive the lock
  HxAny userInfo;
  Ref<HxRunLoop> loop;
  {
    const std::scoped_lock held(_impl->lock);
    _impl->isValid = false;
    std::swap(target, _impl->target);
    std::swap(userInfo, _impl->userInfo);
    std::swap(loop, _impl->loop);
  }
  if (loop) loop->_impl->removeTimer(*this);
}

void HxTimer::fire() {
  Ref<HxObject> target;
  {
    const std::scoped_lock held(_impl->lock);
    if (!_impl->isValid) return;
    target = _impl->target;
  }
  struct LastTime {
    HxTimer* timer;
    ~LastTime() {
      if (timer) timer->invalidate();
    }
  } lastTime{_repeats ? nullptr : this};
  _fire(target.get(), *this);
}

// ---- On the run loop --------------------------------------------------------------------------

void HxRunLoop::addTimer(const Ref<HxTimer>& timer, const HxString& mode) {
  if (!timer || !mode) return;
  {
    const std::scoped_lock held(timer->_impl->lock);
    if (!timer->_impl->isValid) return;
    if (timer->_impl->loop && timer->_impl->loop.get() != this) {
      HxException::raise(HxInvalidArgumentException, "a timer can be on one run loop only"_hx);
    }
    timer->_impl->loop = Ref<HxRunLoop>(this);
  }
  const std::scoped_lock held(_impl->lock);
  _impl->addTimer(timer, _impl->numberOfMode(mode), nullptr);
}

void HxRunLoop::enqueueAfterDelay(const Ref<internal::Closure>& call, const HxObject* target,
                                  HxTimeInterval seconds) {
  const HxTimer::Fire fire = [](HxObject* closure, HxTimer&) {
    static_cast<internal::Closure*>(closure)->call();
  };
  // No shortest interval here: a delay of nothing is due in the next pass.
  const Ref<HxTimer> timer = makeRef<HxTimer>(seconds, call.get(), fire, HxAny(), false);
  timer->_impl->loop = Ref<HxRunLoop>(this);
  const std::scoped_lock held(_impl->lock);
  _impl->addTimer(timer, Impl::kDefaultMode, target);
}

// The lock is held in what follows.

void HxRunLoop::Impl::addTimer(const Ref<HxTimer>& timer, unsigned mode,
                               const HxObject* cancelTarget) {
  if (closed) return;
  const auto isIt = [&](const auto& entry) { return entry.second.timer == timer; };
  const auto known = cancelTarget ? timers.end() : std::find_if(timers.begin(), timers.end(), isIt);
  if (known != timers.end()) {
    known->second.modes.push_back(mode);
  } else {
    timers.emplace(TimerKey{internal::steadyTimeAfter(timer->timeInterval()), ++timerNumber},
                   TimerEntry{timer, {mode}, cancelTarget});
  }
  wake();
}

SteadyTime HxRunLoop::Impl::nextDeadline(unsigned mode) const {
  for (const auto& [key, entry] : timers) {
    if (includes(entry.modes, mode)) return key.deadline;
  }
  return kForever;
}

// The first timer that is due and was set before the pass began. One that repeats is set again, for
// the first of its times that is still to come.
Ref<HxTimer> HxRunLoop::Impl::takeDueTimer(unsigned mode, SteadyTime now,
                                           std::uint64_t lastNumber) {
  for (auto place = timers.begin(); place != timers.end() && place->first.deadline <= now;
       ++place) {
    if (place->first.number > lastNumber || !includes(place->second.modes, mode)) continue;
    Ref<HxTimer> timer = place->second.timer;
    auto node = timers.extract(place);
    if (timer->repeats()) {
      const auto interval = static_cast<SteadyTime>(
          timer->timeInterval() * static_cast<double>(internal::kNanosecondsASecond));
      node.key().deadline += ((now - node.key().deadline) / interval + 1) * interval;
      node.key().number = ++timerNumber;
      timers.insert(std::move(node));
    }
    return timer;
  }
  return nullptr;
}

// The lock is not held in what follows.

void HxRunLoop::Impl::removeTimer(const HxTimer& timer) {
  std::map<TimerKey, TimerEntry>::node_type dropped;  // outlives the lock
  const std::scoped_lock held(lock);
  const auto place = std::find_if(timers.begin(), timers.end(), [&](const auto& entry) {
    return entry.second.timer.get() == &timer;
  });
  if (place == timers.end()) return;
  dropped = timers.extract(place);
  wake();  // there may be nothing left to wait for
}

bool HxRunLoop::Impl::fireTimers(unsigned mode, std::uint64_t lastNumber) {
  const SteadyTime now = internal::steadyNow();
  for (bool fired = false;; fired = true) {
    Ref<HxTimer> timer;
    {
      const std::scoped_lock held(lock);
      timer = takeDueTimer(mode, now, lastNumber);
    }
    if (!timer) return fired;
    timer->fire();
  }
}

}  // namespace rondel
