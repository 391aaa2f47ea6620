// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Poller.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

constexpr int kLargestBatch = 64;

}  // namespace

bool Poller::open() {
  if (isOpen()) return true;
  const Ref<SharedDescriptor> poller = ownDescriptor(systemCalls.epoll_create1(EPOLL_CLOEXEC));
  if (!poller) return false;
  const Ref<SharedDescriptor> wakeUp = makeEvent();
  if (!wakeUp) return false;
  epoll_event event = {.events = EPOLLIN, .data = {.u64 = kWakeUp}};
  if (systemCalls.epoll_ctl(poller->number(), EPOLL_CTL_ADD, wakeUp->number(), &event) < 0) {
    return false;
  }
  _poller = poller;
  _wakeUp = wakeUp;
  return true;
}

void Poller::close() {
  _poller = nullptr;
  _wakeUp = nullptr;
}

Poller::Watching Poller::watch(int descriptor, std::uint64_t number) const {
  epoll_event event = {.events = EPOLLIN | EPOLLRDHUP, .data = {.u64 = number}};
  if (systemCalls.epoll_ctl(_poller->number(), EPOLL_CTL_ADD, descriptor, &event) == 0) {
    return Watching::started;
  }
  return errno == EPERM ? Watching::notNeeded : Watching::refused;
}

void Poller::unwatch(int descriptor) const {
  epoll_event unused = {};
  systemCalls.epoll_ctl(_poller->number(), EPOLL_CTL_DEL, descriptor, &unused);
}

int Poller::wait(int milliseconds, std::uint64_t* numbers, int capacity) const {
  std::array<epoll_event, kLargestBatch> events;
  const int count = systemCalls.epoll_wait(_poller->number(), events.data(),
                                           std::min(capacity, kLargestBatch), milliseconds);
  for (int index = 0; index < count; ++index) {
    const auto place = static_cast<std::size_t>(index);
    numbers[place] = events[place].data.u64;
    if (numbers[place] == kWakeUp) {
      std::uint64_t calls = 0;
      systemCalls.read(_wakeUp->number(), &calls, sizeof calls);
    }
  }
  return count;
}

void Poller::wake() const {
  const std::uint64_t one = 1;
  systemCalls.write(_wakeUp->number(), &one, sizeof one);
}

}  // namespace rondel::internal
