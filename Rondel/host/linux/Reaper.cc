// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Reaper.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "Rondel/host/internal/ThreadStart.h"

namespace rondel::internal {
namespace {

constexpr std::size_t kBatch = 64;

// The child is in a list for as long as the poller knows its token.
std::uint64_t tokenOf(const Child& child) { return reinterpret_cast<std::uintptr_t>(&child); }
Child& childOf(std::uint64_t token) {
  return *reinterpret_cast<Child*>(static_cast<std::uintptr_t>(token));
}

}  // namespace

void ChildList::add(Child& child) noexcept {
  child.retain();
  child._list = this;
  child._previous = nullptr;
  child._next = std::exchange(first, &child);
  if (child._next) child._next->_previous = &child;
}

Ref<Child> ChildList::remove(Child& child) noexcept {
  Child*& link = child._previous ? child._previous->_next : first;
  link = child._next;
  if (child._next) child._next->_previous = child._previous;
  child._list = nullptr;
  return Ref<Child>::adopt(&child);
}

void ChildList::forget() noexcept {
  while (Child* const child = first) {
    first = child->_next;
    child->_list = nullptr;
  }
}

Reaper& Reaper::shared() {
  static Reaper& reaper = *new Reaper;
  return reaper;
}

// ---- The side of the launching threads --------------------------------------------------------

int Reaper::prepare() {
  const MutexLock held(_lock);
  return _isPrepared ? 0 : prepareLocked();
}

int Reaper::prepareLocked() {
  if (!_knowsOfForks) {
    const int error =
        pthread_atfork([] { shared().stayLockedWhileForking(); }, [] { shared().goOnAfterFork(); },
                       [] { shared().startOverAfterFork(); });
    if (error != 0) return error;
    _knowsOfForks = true;
  }
  _poller.reserve(kBatch);
  if (!_poller.open()) return errno;
  const int error = startDetachedThread(run, this);
  if (error != 0) _poller.close();
  _isPrepared = error == 0;
  return error;
}

// In the new process: the thread, what it waits with and the children are its parent's. Deliberate:
// they are left without a release, since another thread may have held their locks at the fork.
void Reaper::startOverAfterFork() {
  _isPrepared = false;
  _poller.close();
  _watched.forget();
  _asked.forget();
  _lock.unlock();
}

void Reaper::watch(Child& child) noexcept {
  const MutexLock held(_lock);
  if (child._list) return;
  _asked.add(child);
  if (_poller.isOpen()) _poller.wake();
}

void Reaper::adopt(Child& child) noexcept {
  if (child.poll() != Child::State::running) return;
  const Ref<SharedDescriptor> exit = child.exitDescriptor();
  const MutexLock held(_lock);
  if (child._list) return;
  const bool isWatched = exit && _poller.isOpen() &&
                         _poller.watch(exit->fd(), tokenOf(child)) == Poller::Watching::started;
  if (isWatched) {
    _watched.add(child);
  } else {
    _asked.add(child);
    if (_poller.isOpen()) _poller.wake();
  }
}

void Reaper::markLost(pid_t pid) noexcept {
  const MutexLock held(_lock);
  for (Child* child = _asked.first; child; child = child->_next) {
    if (child->pid() == pid) child->markLost();
  }
}

// ---- The thread -------------------------------------------------------------------------------

void* Reaper::run(void* reaper) {
  for (;;) static_cast<Reaper*>(reaper)->turn();
}

void Reaper::turn() noexcept {
  std::uint64_t tokens[kBatch];
  const SteadyTime deadline = nextRound();
  const int count = _poller.wait(millisecondsUntil(deadline), tokens, kBatch);
  for (int index = 0; index < count; ++index) {
    if (tokens[index] != Poller::kWakeUp) look(childOf(tokens[index]));
  }
  const SteadyTime now = steadyNow();
  if (now >= deadline) askAll(now);
  if (count < 0) {  // not without end, whatever is wrong
    const timespec pause = {.tv_sec = 0, .tv_nsec = kTimeBetweenLooks};
    nanosleep(&pause, nullptr);
  }
}

SteadyTime Reaper::nextRound() const {
  const MutexLock held(_lock);
  return _asked.first ? _lastRound + kTimeBetweenLooks : kForever;
}

// A dropped child whose pidfd is readable. If it runs nevertheless, as one that is being traced
// may, the poller would tell of it again and again.
void Reaper::look(Child& child) noexcept {
  const bool hasEnded = child.poll() != Child::State::running;
  const Ref<SharedDescriptor> exit = child.exitDescriptor();
  Ref<Child> dropped;  // outside the lock
  const MutexLock held(_lock);
  _poller.unwatch(exit->fd());
  dropped = _watched.remove(child);
  if (!hasEnded) _asked.add(child);
}

void Reaper::askAll(SteadyTime now) noexcept {
  _lastRound = now;
  _lock.lock();
  Child* child = _asked.first;
  _lock.unlock();
  while (child) {  // the lock is let go of while each is asked: others may put theirs in front
    const bool hasEnded = child->pollOrKill(now);
    Ref<Child> ended;
    _lock.lock();
    Child* const next = child->_next;
    if (hasEnded) ended = _asked.remove(*child);
    _lock.unlock();
    if (ended) ended->reportExit();
    child = next;
  }
}

}  // namespace rondel::internal
