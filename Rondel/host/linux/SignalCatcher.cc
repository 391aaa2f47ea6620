// SPDX-License-Identifier: MIT
//
// The handler may interrupt any code, so it takes no lock. It walks a list of catchers whose links
// are atomic and writes to the event of each. The list changes under a lock that the handler does
// not know. Whoever takes a catcher out of the list waits until no handler is at work. One that
// began before may still look at the catcher. One that begins later does not find it.
//
//   handler on thread A                        stop() on thread B
//   handlersAtWork = 1
//   finds the catcher in the list              takes it out of the list
//   writes to its event                        waits: handlersAtWork is 1
//   handlersAtWork = 0                         goes on; the catcher may be destroyed
#include "Rondel/host/linux/SignalCatcher.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/host/internal/ThreadStart.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

// What became of a signal.
struct Disposition {
  unsigned catchers = 0;
  struct sigaction former {};
};

constinit Mutex lock;
constinit Disposition dispositions[_NSIG] RONDEL_GUARDED_BY(lock);
constinit bool knowsOfForks RONDEL_GUARDED_BY(lock) = false;

constinit std::atomic<SignalCatcher*> firstCatcher = nullptr;
constinit std::atomic<int> handlersAtWork = 0;
static_assert(std::atomic<SignalCatcher*>::is_always_lock_free);
static_assert(std::atomic<int>::is_always_lock_free);

bool isFault(int signal) {
  return std::ranges::find(kSignalsOfFaults, signal) != std::end(kSignalsOfFaults);
}

}  // namespace

void SignalCatcher::handle(int signal) noexcept {
  const int kept = errno;
  ++handlersAtWork;
  for (const SignalCatcher* catcher = firstCatcher; catcher; catcher = catcher->_next) {
    if (catcher->_signal != signal) continue;
    const std::uint64_t one = 1;
    fileCalls.write(catcher->_event->fd(), &one, sizeof one);
  }
  --handlersAtWork;
  errno = kept;
}

// Returns the link that leads to the catcher; to null, the last one.
std::atomic<SignalCatcher*>* SignalCatcher::linkTo(const SignalCatcher* catcher) noexcept {
  std::atomic<SignalCatcher*>* link = &firstCatcher;
  while (*link != catcher) link = &link->load()->_next;
  return link;
}

int SignalCatcher::prepareForForks() RONDEL_NO_THREAD_SAFETY_ANALYSIS {
  if (knowsOfForks) return 0;
  const int error =
      pthread_atfork([]() RONDEL_NO_THREAD_SAFETY_ANALYSIS { lock.lock(); },
                     []() RONDEL_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); }, startOverAfterFork);
  knowsOfForks = error == 0;
  return error;
}

// In the new process the events are those of its parent, which would hear of signals that it did
// not get. No handler is at work on another thread.
void SignalCatcher::startOverAfterFork() noexcept RONDEL_NO_THREAD_SAFETY_ANALYSIS {
  while (SignalCatcher* const catcher = firstCatcher) {
    Disposition& disposition = dispositions[catcher->_signal];
    if (disposition.catchers > 0) restore(catcher->_signal);
    disposition.catchers = 0;
    firstCatcher = catcher->_next.load();
    catcher->_isLinked = false;
  }
  handlersAtWork = 0;
  lock.unlock();
}

// Leaves a disposition that other code has set since.
void SignalCatcher::restore(int signal) noexcept RONDEL_NO_THREAD_SAFETY_ANALYSIS {
  struct sigaction current {};
  if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler == handle) {
    sigaction(signal, &dispositions[signal].former, nullptr);
  }
}

bool SignalCatcher::start() {
  if (_signal <= 0 || _signal >= _NSIG || isFault(_signal)) {
    errno = EINVAL;
    return false;
  }
  _event = ownDescriptor(systemCalls.eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE));
  if (!_event) return false;
  {
    const MutexLock held(lock);
    if (const int error = prepareForForks(); error != 0) {
      errno = error;
      return false;
    }
    *linkTo(nullptr) = this;  // first, so that a signal that is caught at once finds it
    _isLinked = true;
    Disposition& disposition = dispositions[_signal];
    struct sigaction action {};
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    if (disposition.catchers++ > 0) return true;
    if (sigaction(_signal, &action, &disposition.former) == 0) return true;
  }
  const int error = errno;
  stop();
  errno = error;
  return false;
}

void SignalCatcher::stop() noexcept {
  {
    const MutexLock held(lock);
    if (!_isLinked) return;
    if (--dispositions[_signal].catchers == 0) restore(_signal);
    *linkTo(this) = _next.load();
    _isLinked = false;
  }
  while (handlersAtWork != 0) sched_yield();
}

bool SignalCatcher::take() noexcept {
  const MutexLock held(lock);
  if (!_isLinked) return false;  // of a forked process: the event is its parent's
  std::uint64_t one = 0;
  return fileCalls.read(_event->fd(), &one, sizeof one) == sizeof one;
}

}  // namespace rondel::internal
