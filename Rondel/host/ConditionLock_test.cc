// SPDX-License-Identifier: MIT
#include "Rondel/host/ConditionLock.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Rondel/core/object/Exception.h"

namespace rondel {
namespace {

enum { kEmpty, kFilled };

TEST(ConditionLock, BeginsUnlockedWithItsCondition) {
  const auto lock = HxConditionLock::initWithCondition(7);
  EXPECT_EQ(lock->condition(), 7);
  EXPECT_TRUE(lock->tryLock());
  EXPECT_FALSE(lock->tryLock());
  lock->unlock();
  EXPECT_EQ(HxConditionLock::init()->condition(), 0);
}

TEST(ConditionLock, UnlockKeepsTheConditionAndUnlockWithConditionSetsIt) {
  const auto lock = HxConditionLock::initWithCondition(1);
  lock->lock();
  lock->unlock();
  EXPECT_EQ(lock->condition(), 1);
  lock->lockWhenCondition(1);
  lock->unlockWithCondition(2);
  EXPECT_EQ(lock->condition(), 2);
}

TEST(ConditionLock, LockDoesNotCareForTheCondition) {
  const auto lock = HxConditionLock::initWithCondition(99);
  lock->lock();
  EXPECT_FALSE(lock->tryLockWhenCondition(99));
  lock->unlock();
  EXPECT_FALSE(lock->tryLockWhenCondition(98));
  EXPECT_TRUE(lock->tryLockWhenCondition(99));
  lock->unlock();
}

TEST(ConditionLock, WaitReturnsUpAtTheDate) {
  const auto lock = HxConditionLock::initWithCondition(kEmpty);
  EXPECT_FALSE(lock->lockWhenCondition(kFilled, HxDate::dateWithTimeIntervalSinceNow(0.01)));
  EXPECT_FALSE(lock->lockWhenCondition(kFilled, nullptr));
  EXPECT_TRUE(lock->lockWhenCondition(kEmpty, nullptr));
  lock->unlockWithCondition(kFilled);
  EXPECT_TRUE(lock->lockWhenCondition(kFilled, HxDate::distantFuture()));
  lock->unlock();
}

TEST(ConditionLock, UnlockingWhatNobodyHoldsRaises) {
  const auto lock = HxConditionLock::init();
  EXPECT_THROW(lock->unlock(), HxException);
  EXPECT_THROW(lock->unlockWithCondition(1), HxException);
  EXPECT_EQ(lock->condition(), 0);
}

TEST(ConditionLock, HandsWorkFromThreadToThread) {
  constexpr int kRounds = 1000;
  const auto lock = HxConditionLock::initWithCondition(kEmpty);
  int item = 0;
  int sum = 0;
  std::thread taker([&] {
    for (int round = 0; round < kRounds; ++round) {
      lock->lockWhenCondition(kFilled);
      sum += item;
      lock->unlockWithCondition(kEmpty);
    }
  });
  for (int round = 1; round <= kRounds; ++round) {
    lock->lockWhenCondition(kEmpty);
    item = round;
    lock->unlockWithCondition(kFilled);
  }
  taker.join();
  EXPECT_EQ(sum, kRounds * (kRounds + 1) / 2);
}

TEST(ConditionLock, WakesEveryoneWhoWaitsForACondition) {
  const auto lock = HxConditionLock::initWithCondition(0);
  int arrived = 0;
  std::thread first([&] {
    lock->lockWhenCondition(1);
    ++arrived;
    lock->unlock();
  });
  std::thread second([&] {
    lock->lockWhenCondition(1, HxDate::dateWithTimeIntervalSinceNow(3600));
    ++arrived;
    lock->unlock();
  });
  lock->lock();
  lock->unlockWithCondition(1);
  first.join();
  second.join();
  EXPECT_EQ(arrived, 2);
}

TEST(ConditionLock, ReleaseDoesNotWakeThoseWhoWaitForAnotherCondition) {
  constexpr int kThreads = 8;
  constexpr int kReleases = 1000;
  constexpr HxInteger kFirstOfTheirs = 100;
  const auto lock = HxConditionLock::initWithCondition(0);
  std::atomic<long> slept = 0;
  std::vector<std::thread> threads;
  for (int index = 0; index < kThreads; ++index) {
    threads.emplace_back([&, index] {
      lock->lockWhenCondition(kFirstOfTheirs + index);
      rusage usage{};
      getrusage(RUSAGE_THREAD, &usage);
      slept += usage.ru_nvcsw;
      lock->unlockWithCondition(kFirstOfTheirs + index + 1);
    });
  }
  for (int round = 0; round < kReleases; ++round) {
    lock->lock();
    lock->unlock();
    std::this_thread::yield();
  }
  lock->lock();
  lock->unlockWithCondition(kFirstOfTheirs);
  for (std::thread& thread : threads) thread.join();
  EXPECT_LT(slept, kReleases / 2);
}

TEST(ConditionLock, ThoseWhoReturnUpStandInNobodysWay) {
  const auto lock = HxConditionLock::initWithCondition(0);
  std::atomic<int> gaveUp = 0;
  std::vector<std::thread> threads;
  for (int index = 0; index < 6; ++index) {
    threads.emplace_back([&, index] {
      if (index % 2 == 0) {
        lock->lockWhenCondition(1);
        lock->unlock();
      } else if (!lock->lockWhenCondition(2, HxDate::dateWithTimeIntervalSinceNow(0.002 * index))) {
        ++gaveUp;
      }
    });
  }
  while (gaveUp < 3) std::this_thread::yield();
  lock->lock();
  lock->unlockWithCondition(1);
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(lock->tryLockWhenCondition(1));
}

}  // namespace
}  // namespace rondel
