// SPDX-License-Identifier: MIT
#include "Rondel/host/ConditionLock.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/internal/SteadyClock.h"

namespace rondel {

// Who holds the lock does not hold the mutex, which guards these fields for a moment only.
struct HxConditionLock::Impl {
  explicit Impl(HxInteger initial) : condition(initial) {}

  std::mutex mutex;
  std::condition_variable change;
  HxInteger condition;
  bool isHeld = false;

  bool isFreeWith(HxInteger wanted) const { return !isHeld && condition == wanted; }

  void giveBack(const HxInteger* newCondition) {
    const std::scoped_lock guard(mutex);
    if (!isHeld) {
      HxException::raise(HxInternalInconsistencyException,
                         "a condition lock was unlocked that nobody holds"_hx);
    }
    if (newCondition) condition = *newCondition;
    isHeld = false;
    change.notify_all();
  }
};

HxConditionLock::HxConditionLock(HxInteger condition) : _impl(new Impl(condition)) {}

HxConditionLock::~HxConditionLock() = default;

HxClass HxConditionLock::classObject() noexcept {
  static const HxClassInfo info{"HxConditionLock", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxConditionLock> HxConditionLock::initWithCondition(HxInteger condition) {
  return makeRef<HxConditionLock>(condition);
}

void HxConditionLock::lock() {
  std::unique_lock guard(_impl->mutex);
  _impl->change.wait(guard, [this] { return !_impl->isHeld; });
  _impl->isHeld = true;
}

void HxConditionLock::lockWhenCondition(HxInteger condition) {
  std::unique_lock guard(_impl->mutex);
  _impl->change.wait(guard, [&] { return _impl->isFreeWith(condition); });
  _impl->isHeld = true;
}

bool HxConditionLock::lockWhenCondition(HxInteger condition, const HxDate& limit) {
  const internal::SteadyTime deadline = internal::steadyTimeOf(limit);
  if (deadline == internal::kForever) {
    lockWhenCondition(condition);
    return true;
  }
  const std::chrono::steady_clock::time_point end{std::chrono::nanoseconds(deadline)};
  std::unique_lock guard(_impl->mutex);
  if (!_impl->change.wait_until(guard, end, [&] { return _impl->isFreeWith(condition); })) {
    return false;
  }
  _impl->isHeld = true;
  return true;
}

bool HxConditionLock::tryLock() {
  const std::scoped_lock guard(_impl->mutex);
  return !std::exchange(_impl->isHeld, true);
}

bool HxConditionLock::tryLockWhenCondition(HxInteger condition) {
  const std::scoped_lock guard(_impl->mutex);
  if (!_impl->isFreeWith(condition)) return false;
  _impl->isHeld = true;
  return true;
}

void HxConditionLock::unlock() { _impl->giveBack(nullptr); }

void HxConditionLock::unlockWithCondition(HxInteger condition) { _impl->giveBack(&condition); }

HxInteger HxConditionLock::condition() const {
  const std::scoped_lock guard(_impl->mutex);
  return _impl->condition;
}

}  // namespace rondel
