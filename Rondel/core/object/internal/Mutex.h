// SPDX-License-Identifier: MIT
//
// A mutex whose use Clang checks (-Wthread-safety). Each guarded variable names its lock, and the
// compiler checks every access.
//
//   mutable internal::Mutex lock;
//   std::vector<Timer*> timers RONDEL_GUARDED_BY(lock);
//   void sortTimers() RONDEL_REQUIRES(lock);
//
//   const internal::MutexLock held(lock);
//
// A wait releases the mutex and holds it again when it returns:
//
//   while (timers.empty()) changed.wait(lock);
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define RONDEL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define RONDEL_THREAD_ANNOTATION(x)
#endif

#define RONDEL_CAPABILITY(name) RONDEL_THREAD_ANNOTATION(capability(name))
#define RONDEL_SCOPED_CAPABILITY RONDEL_THREAD_ANNOTATION(scoped_lockable)
#define RONDEL_GUARDED_BY(lock) RONDEL_THREAD_ANNOTATION(guarded_by(lock))
#define RONDEL_REQUIRES(...) RONDEL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define RONDEL_EXCLUDES(...) RONDEL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define RONDEL_ACQUIRE(...) RONDEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RONDEL_TRY_ACQUIRE(...) RONDEL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RONDEL_RELEASE(...) RONDEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define RONDEL_NO_THREAD_SAFETY_ANALYSIS RONDEL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace rondel::internal {

class RONDEL_CAPABILITY("mutex") Mutex {
 public:
  constexpr Mutex() noexcept = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() RONDEL_ACQUIRE() { _mutex.lock(); }
  void unlock() RONDEL_RELEASE() { _mutex.unlock(); }
  // Returns whether the mutex was free and is now held.
  [[nodiscard]] bool tryLock() RONDEL_TRY_ACQUIRE(true) { return _mutex.try_lock(); }

 private:
  friend class Condition;
  std::mutex _mutex;
};

// Holds a mutex for a scope. unlock() and lock() release it for a while in between.
class RONDEL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) RONDEL_ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() RONDEL_RELEASE() {
    if (_holds) _mutex.unlock();
  }

  void unlock() RONDEL_RELEASE() {
    _holds = false;
    _mutex.unlock();
  }
  void lock() RONDEL_ACQUIRE() {
    _mutex.lock();
    _holds = true;
  }

 private:
  Mutex& _mutex;
  bool _holds = true;
};

// What a thread that holds a mutex waits for. Wake-ups may come without cause: wait in a loop.
class Condition {
 public:
  void wait(Mutex& mutex) RONDEL_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex._mutex, std::adopt_lock);
    _condition.wait(held);
    held.release();
  }
  // Returns whether it was woken before the deadline.
  template <class TimePoint>
  bool waitUntil(Mutex& mutex, const TimePoint& deadline) RONDEL_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex._mutex, std::adopt_lock);
    const bool woken = _condition.wait_until(held, deadline) == std::cv_status::no_timeout;
    held.release();
    return woken;
  }
  void notifyOne() noexcept { _condition.notify_one(); }
  void notifyAll() noexcept { _condition.notify_all(); }

 private:
  std::condition_variable _condition;
};

}  // namespace rondel::internal
