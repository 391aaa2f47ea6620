// SPDX-License-Identifier: MIT
#include "Rondel/host/Timer.h"

#include <algorithm>
#include <mutex>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/internal/RunLoopInside.h"

namespace rondel {

using internal::kForever;
using internal::SteadyTime;

namespace {

constexpr HxTimeInterval kShortestInterval = 0.0001;

}  // namespace

struct HxTimer::Inside {
  Inside(HxObject* object, const HxAny& information) : target(object), userInfo(information) {}

  std::mutex lock;
  bool isValid = true;
  Ref<HxObject> target;
  HxAny userInfo;
  Ref<HxRunLoop> loop;  // that owns the timer, once added
};

HxTimer::HxTimer(HxTimeInterval seconds, HxObject* target, Fire call, const HxAny& userInfo,
                 bool repeats)
    : _seconds(seconds), _repeats(repeats), _fire(call), _inside(new Inside(target, userInfo)) {}

HxTimer::~HxTimer() { delete _inside; }

HxClass HxTimer::classObject() noexcept {
  static const HxClassInfo info{"HxTimer", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxTimer> HxTimer::make(HxTimeInterval seconds, HxObject* target, Fire call,
                           const HxAny& userInfo, bool repeats) {
  // Written so that NaN counts as too short.
  const HxTimeInterval interval = seconds > kShortestInterval ? seconds : kShortestInterval;
  return makeRef<HxTimer>(interval, target, call, userInfo, repeats);
}

Ref<HxTimer> HxTimer::schedule(const Ref<HxTimer>& timer) {
  HxRunLoop::currentRunLoop()->addTimer(timer, HxDefaultRunLoopMode);
  return timer;
}

bool HxTimer::isValid() const noexcept {
  const std::scoped_lock held(_inside->lock);
  return _inside->isValid;
}

HxAny HxTimer::userInfo() const {
  const std::scoped_lock held(_inside->lock);
  return _inside->userInfo;
}

void HxTimer::invalidate() {
  const Ref<HxTimer> self(this);  // the loop may hold the last reference
  Ref<HxObject> target;           // these outlive the lock
  HxAny userInfo;
  Ref<HxRunLoop> loop;
  {
    const std::scoped_lock held(_inside->lock);
    _inside->isValid = false;
    std::swap(target, _inside->target);
    userInfo.swap(_inside->userInfo);
    std::swap(loop, _inside->loop);
  }
  if (loop) loop->_inside->removeTimer(*this);
}

void HxTimer::fire() {
  Ref<HxObject> target;
  {
    const std::scoped_lock held(_inside->lock);
    if (!_inside->isValid) return;
    target = _inside->target;
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
    const std::scoped_lock held(timer->_inside->lock);
    if (!timer->_inside->isValid) return;
    if (timer->_inside->loop && timer->_inside->loop.get() != this) {
      HxException::raise(HxInvalidArgumentException, "a timer can be on one run loop only"_hx);
    }
    timer->_inside->loop = Ref<HxRunLoop>(this);
  }
  const std::scoped_lock held(_inside->lock);
  _inside->addTimer(timer, _inside->numberOfMode(mode), nullptr);
}

void HxRunLoop::enqueueAfterDelay(const Ref<internal::Closure>& call, const HxObject* target,
                                  HxTimeInterval seconds) {
  const HxTimer::Fire fire = [](HxObject* closure, HxTimer&) {
    static_cast<internal::Closure*>(closure)->call();
  };
  // No shortest interval here: a delay of nothing is due in the next pass.
  const Ref<HxTimer> timer = makeRef<HxTimer>(seconds, call.get(), fire, HxAny(), false);
  timer->_inside->loop = Ref<HxRunLoop>(this);
  const std::scoped_lock held(_inside->lock);
  _inside->addTimer(timer, Inside::kDefaultMode, target);
}

// The lock is held in what follows.

void HxRunLoop::Inside::addTimer(const Ref<HxTimer>& timer, unsigned mode,
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

SteadyTime HxRunLoop::Inside::nextDeadline(unsigned mode) const {
  for (const auto& [key, entry] : timers) {
    if (includes(entry.modes, mode)) return key.deadline;
  }
  return kForever;
}

// The first timer that is due and was set before the pass began. One that repeats is set again, for
// the first of its times that is still to come.
Ref<HxTimer> HxRunLoop::Inside::takeDueTimer(unsigned mode, SteadyTime now,
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

void HxRunLoop::Inside::removeTimer(const HxTimer& timer) {
  std::map<TimerKey, TimerEntry>::node_type dropped;  // outlives the lock
  const std::scoped_lock held(lock);
  const auto place = std::find_if(timers.begin(), timers.end(), [&](const auto& entry) {
    return entry.second.timer.get() == &timer;
  });
  if (place == timers.end()) return;
  dropped = timers.extract(place);
  wake();  // there may be nothing left to wait for
}

bool HxRunLoop::Inside::fireTimers(unsigned mode, std::uint64_t lastNumber) {
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
