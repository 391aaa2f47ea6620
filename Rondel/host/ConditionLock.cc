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
struct HxConditionLock::Inside {
  explicit Inside(HxInteger initial) : condition(initial) {}

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

HxConditionLock::HxConditionLock(HxInteger condition) : _inside(new Inside(condition)) {}

HxConditionLock::~HxConditionLock() { delete _inside; }

HxClass HxConditionLock::classObject() noexcept {
  static const HxClassInfo info{"HxConditionLock", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxConditionLock> HxConditionLock::initWithCondition(HxInteger condition) {
  return makeRef<HxConditionLock>(condition);
}

void HxConditionLock::lock() {
  std::unique_lock guard(_inside->mutex);
  _inside->change.wait(guard, [this] { return !_inside->isHeld; });
  _inside->isHeld = true;
}

void HxConditionLock::lockWhenCondition(HxInteger condition) {
  std::unique_lock guard(_inside->mutex);
  _inside->change.wait(guard, [&] { return _inside->isFreeWith(condition); });
  _inside->isHeld = true;
}

bool HxConditionLock::lockWhenCondition(HxInteger condition, const HxDate& limit) {
  const internal::SteadyTime deadline = internal::steadyTimeOf(limit);
  if (deadline == internal::kForever) {
    lockWhenCondition(condition);
    return true;
  }
  const std::chrono::steady_clock::time_point end{std::chrono::nanoseconds(deadline)};
  std::unique_lock guard(_inside->mutex);
  if (!_inside->change.wait_until(guard, end, [&] { return _inside->isFreeWith(condition); })) {
    return false;
  }
  _inside->isHeld = true;
  return true;
}

bool HxConditionLock::tryLock() {
  const std::scoped_lock guard(_inside->mutex);
  return !std::exchange(_inside->isHeld, true);
}

bool HxConditionLock::tryLockWhenCondition(HxInteger condition) {
  const std::scoped_lock guard(_inside->mutex);
  if (!_inside->isFreeWith(condition)) return false;
  _inside->isHeld = true;
  return true;
}

void HxConditionLock::unlock() { _inside->giveBack(nullptr); }

void HxConditionLock::unlockWithCondition(HxInteger condition) { _inside->giveBack(&condition); }

HxInteger HxConditionLock::condition() const {
  const std::scoped_lock guard(_inside->mutex);
  return _inside->condition;
}

}  // namespace rondel
