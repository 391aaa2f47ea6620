// SPDX-License-Identifier: MIT
//
// HxConditionLock: a lock with a number, its condition. A thread can wait until the lock is free
// and its condition has a given value. Whoever unlocks says what the condition is from then on.
//
//   auto lock = HxConditionLock::initWithCondition(kEmpty);
//   // the producer                             // the consumer
//   lock->lock();                               lock->lockWhenCondition(kFilled);
//   queue.addObject(chunk);                     HxAny chunk = take(queue);
//   lock->unlockWithCondition(kFilled);         lock->unlockWithCondition(kEmpty);
//
// Threads: any number may use it. It is not recursive: a thread that locks it twice waits for ever.
// The thread that unlocks need not be the one that locked. An unlock wakes one thread: the one that
// has waited longest among those that can go on. A thread that locks at that moment may come first.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/values/Date.h"

namespace rondel {

class RONDEL_EXPORT HxConditionLock final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a new lock that is free and has this condition.
  static Ref<HxConditionLock> initWithCondition(HxInteger condition);
  // Returns a new lock with condition 0.
  static Ref<HxConditionLock> init() { return initWithCondition(0); }

  // Waits until the lock is free, whatever its condition, and takes it.
  void lock();
  // Waits until the lock is free and has this condition, and takes it.
  void lockWhenCondition(HxInteger condition);
  // The same, but waits at most until the date. Returns whether it took the lock. A nil date is in
  // the past.
  bool lockWhenCondition(HxInteger condition, const HxDate& limit);
  // Takes the lock if it is free. Returns whether it took it. Never waits.
  bool tryLock();
  // Takes the lock if it is free and has this condition. Returns whether it took it. Never waits.
  bool tryLockWhenCondition(HxInteger condition);

  // Releases the lock and keeps its condition. Raises HxInternalInconsistencyException if no
  // thread holds the lock.
  void unlock();
  // Sets the condition and releases the lock. Raises HxInternalInconsistencyException, and sets
  // nothing, if no thread holds the lock.
  void unlockWithCondition(HxInteger condition);

  // Returns the condition. It may change at once unless the caller holds the lock.
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
