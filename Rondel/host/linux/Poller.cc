// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Poller.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {

namespace {

// How often the process, or one that it comes from, was forked.
constinit std::atomic<unsigned> forks = 0;
constinit std::atomic<bool> countsForks = false;

// Returns 0 or an errno value. Two threads that race count a fork twice, which does no harm.
int countForks() {
  if (countsForks) return 0;
  const int error = pthread_atfork(nullptr, nullptr, [] { ++forks; });
  countsForks = error == 0;
  return error;
}

}  // namespace

bool Poller::open() {
  if (isOpen()) return true;
  if (const int error = countForks(); error != 0) {
    errno = error;
    return false;
  }
  const Ref<SharedDescriptor> poller = ownDescriptor(systemCalls.epoll_create1(EPOLL_CLOEXEC));
  if (!poller) return false;
  const Ref<SharedDescriptor> wakeUp = makeEvent();
  if (!wakeUp) return false;
  epoll_event event = {.events = EPOLLIN, .data = {.u64 = kWakeUp}};
  if (systemCalls.epoll_ctl(poller->fd(), EPOLL_CTL_ADD, wakeUp->fd(), &event) < 0) return false;
  _poller = poller;
  _wakeUp = wakeUp;
  _forks = forks;
  return true;
}

bool Poller::isInherited() const noexcept { return _poller && _forks != forks; }

void Poller::close() noexcept {
  _poller = nullptr;
  _wakeUp = nullptr;
}

Poller::Watching Poller::watch(int fd, std::uint64_t token) const noexcept {
  epoll_event event = {.events = EPOLLIN | EPOLLRDHUP, .data = {.u64 = token}};
  if (systemCalls.epoll_ctl(_poller->fd(), EPOLL_CTL_ADD, fd, &event) == 0) {
    return Watching::started;
  }
  return errno == EPERM ? Watching::notNeeded : Watching::refused;
}

void Poller::unwatch(int fd) const noexcept {
  if (isInherited()) return;
  epoll_event unused = {};
  systemCalls.epoll_ctl(_poller->fd(), EPOLL_CTL_DEL, fd, &unused);
}

int Poller::wait(int milliseconds, std::uint64_t* tokens, std::size_t capacity) {
  _events.resize(std::min<std::size_t>(capacity, INT_MAX));
  const int count = systemCalls.epoll_wait(_poller->fd(), _events.data(),
                                           static_cast<int>(_events.size()), milliseconds);
  for (std::size_t index = 0; count > 0 && index < static_cast<std::size_t>(count); ++index) {
    tokens[index] = _events[index].data.u64;
    if (tokens[index] == kWakeUp) {
      std::uint64_t calls = 0;
      fileCalls.read(_wakeUp->fd(), &calls, sizeof calls);
    }
  }
  return count;
}

void Poller::wake() const noexcept {
  if (isInherited()) return;
  const std::uint64_t one = 1;
  fileCalls.write(_wakeUp->fd(), &one, sizeof one);
}

}  // namespace rondel::internal
