// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Poller.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {

bool Poller::open() {
  if (isOpen()) return true;
  const Ref<SharedDescriptor> poller = ownDescriptor(systemCalls.epoll_create1(EPOLL_CLOEXEC));
  if (!poller) return false;
  const Ref<SharedDescriptor> wakeUp = makeEvent();
  if (!wakeUp) return false;
  epoll_event event = {.events = EPOLLIN, .data = {.u64 = kWakeUp}};
  if (systemCalls.epoll_ctl(poller->fd(), EPOLL_CTL_ADD, wakeUp->fd(), &event) < 0) return false;
  _poller = poller;
  _wakeUp = wakeUp;
  return true;
}

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
  const std::uint64_t one = 1;
  fileCalls.write(_wakeUp->fd(), &one, sizeof one);
}

}  // namespace rondel::internal
