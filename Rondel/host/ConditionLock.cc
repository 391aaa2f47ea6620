// SPDX-License-Identifier: MIT
//
// A release wakes one thread: the one that has waited longest among those that can go on. Every
// waiting thread is in a list with the condition that it wants, and sleeps on its own wake-up. It
// leaves the list after it has taken the lock or its deadline has passed.
//
//   lock held, waiting: A wants 1, B wants 2, C wants any, D wants 1
//   unlockWithCondition(2)   wakes B; A, C and D sleep on
//   B takes the lock         waiting: A, C, D
//   unlockWithCondition(1)   wakes A
//   tryLock by E             comes first, so A finds the lock held and sleeps again
//   unlock by E              the condition is still 1: wakes A again
//
// No wake-up is lost. A thread that takes the lock, woken or not, wakes the next one when it
// releases it.
#include "Rondel/host/ConditionLock.h"

#include <chrono>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/host/internal/SteadyClock.h"

namespace rondel {

using internal::kForever;
using internal::MutexLock;
using internal::SteadyTime;

namespace {

// A place in a ring, alone in it at first.
struct Link {
  Link* previous = this;
  Link* next = this;
};

// A thread that waits. It lies on that thread's stack and is in the list while it exists.
class Waiter : public Link {
 public:
  Waiter(Link& list, const HxInteger* condition) : wanted(condition) {
    previous = list.previous;
    next = &list;
    previous->next = this;
    next->previous = this;
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() {
    previous->next = next;
    next->previous = previous;
  }

  const HxInteger* const wanted;  // null for any condition
  internal::Condition wakeUp;
};

}  // namespace

// Whoever holds the lock does not hold the mutex, which guards these fields for moments only.
struct HxConditionLock::Impl {
  explicit Impl(HxInteger initial) : condition(initial) {}

  mutable internal::Mutex mutex;
  HxInteger condition RONDEL_GUARDED_BY(mutex);
  bool isHeld RONDEL_GUARDED_BY(mutex) = false;
  Link waiters RONDEL_GUARDED_BY(mutex);  // the next one has waited longest

  bool take(const HxInteger* wanted, SteadyTime deadline);
  void release(const HxInteger* newCondition);
  bool isFreeFor(const HxInteger* wanted) const RONDEL_REQUIRES(mutex);
  bool sleep(Waiter& waiter, SteadyTime deadline) RONDEL_REQUIRES(mutex);
};

bool HxConditionLock::Impl::isFreeFor(const HxInteger* wanted) const {
  return !isHeld && (!wanted || *wanted == condition);
}

// Returns whether the deadline is still to come.
bool HxConditionLock::Impl::sleep(Waiter& waiter, SteadyTime deadline) {
  if (deadline == kForever) {
    waiter.wakeUp.wait(mutex);
    return true;
  }
  const std::chrono::steady_clock::time_point end{std::chrono::nanoseconds(deadline)};
  return waiter.wakeUp.waitUntil(mutex, end);
}

// Returns whether it took the lock before the deadline. A null `wanted` means any condition.
bool HxConditionLock::Impl::take(const HxInteger* wanted, SteadyTime deadline) {
  const MutexLock guard(mutex);
  if (!isFreeFor(wanted)) {
    Waiter waiter(waiters, wanted);
    while (sleep(waiter, deadline) && !isFreeFor(wanted)) {
    }
    if (!isFreeFor(wanted)) return false;
  }
  isHeld = true;
  return true;
}

void HxConditionLock::Impl::release(const HxInteger* newCondition) {
  const MutexLock guard(mutex);
  if (!isHeld) {
    HxException::raise(HxInternalInconsistencyException,
                       "a condition lock was unlocked that nobody holds"_hx);
  }
  if (newCondition) condition = *newCondition;
  isHeld = false;
  for (Link* link = waiters.next; link != &waiters; link = link->next) {
    Waiter& waiter = static_cast<Waiter&>(*link);
    if (isFreeFor(waiter.wanted)) return waiter.wakeUp.notifyOne();
  }
}

HxConditionLock::HxConditionLock(HxInteger condition) : _impl(new Impl(condition)) {}

HxConditionLock::~HxConditionLock() = default;

HxClass HxConditionLock::classObject() noexcept {
  static const HxClassInfo info{"HxConditionLock", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxConditionLock> HxConditionLock::initWithCondition(HxInteger condition) {
  return makeRef<HxConditionLock>(condition);
}

void HxConditionLock::lock() { _impl->take(nullptr, kForever); }

void HxConditionLock::lockWhenCondition(HxInteger condition) { _impl->take(&condition, kForever); }

bool HxConditionLock::lockWhenCondition(HxInteger condition, const HxDate& limit) {
  return _impl->take(&condition, internal::steadyTimeOf(limit));
}

bool HxConditionLock::tryLock() {
  const MutexLock guard(_impl->mutex);
  if (_impl->isHeld) return false;
  _impl->isHeld = true;
  return true;
}

bool HxConditionLock::tryLockWhenCondition(HxInteger condition) {
  const MutexLock guard(_impl->mutex);
  if (!_impl->isFreeFor(&condition)) return false;
  _impl->isHeld = true;
  return true;
}

void HxConditionLock::unlock() { _impl->release(nullptr); }

void HxConditionLock::unlockWithCondition(HxInteger condition) { _impl->release(&condition); }

HxInteger HxConditionLock::condition() const {
  const MutexLock guard(_impl->mutex);
  return _impl->condition;
}

}  // namespace rondel
