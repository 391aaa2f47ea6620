// SPDX-License-Identifier: MIT
//
// HxConditionLock: a lock that carries a number, its condition, and can be waited for until the
// condition has a given value. One thread says what the state is when it unlocks; others sleep
// until it is the one that they can work with.
//
//   auto lock = HxConditionLock::initWithCondition(kEmpty);
//   // the one who brings                       // the one who takes
//   lock->lock();                               lock->lockWhenCondition(kFilled);
//   queue.addObject(chunk);                     HxAny chunk = take(queue);
//   lock->unlockWithCondition(kFilled);         lock->unlockWithCondition(kEmpty);
//
// Threads: made for any number of them. It is not recursive. Whoever unlocks need not be the one
// who locked.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/values/Date.h"

namespace rondel {

class RONDEL_EXPORT HxConditionLock final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Unlocked, with this condition.
  static Ref<HxConditionLock> initWithCondition(HxInteger condition);
  // With condition 0.
  static Ref<HxConditionLock> init() { return initWithCondition(0); }

  // Waits until nobody holds the lock, whatever its condition, and takes it.
  void lock();
  // Waits until nobody holds the lock and its condition is this one, and takes it.
  void lockWhenCondition(HxInteger condition);
  // The same, but gives up at the date: false when it did not take the lock. A nil date is past.
  bool lockWhenCondition(HxInteger condition, const HxDate& limit);
  // Takes the lock if that needs no waiting; false when it did not.
  bool tryLock();
  bool tryLockWhenCondition(HxInteger condition);

  // Gives the lock back, its condition as it was or changed. Unlocking what nobody holds raises
  // HxInternalInconsistencyException.
  void unlock();
  void unlockWithCondition(HxInteger condition);

  // The condition at this moment; may change at once unless the caller holds the lock.
  HxInteger condition() const;

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  explicit HxConditionLock(HxInteger condition);
  ~HxConditionLock() override;

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
