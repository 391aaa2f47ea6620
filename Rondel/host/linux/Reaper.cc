// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Reaper.h"

#include <cstdint>

#include "Rondel/host/internal/ThreadStart.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

// A child that is being traced may look ready for a while before its status can be taken.
constexpr timespec kPauseAfterFalseAlarm = {.tv_sec = 0, .tv_nsec = 10'000'000};

}  // namespace

Reaper& Reaper::shared() {
  static Reaper& reaper = *new Reaper;
  return reaper;
}

void Reaper::add(const Ref<Child>& child) {
  const std::scoped_lock held(_lock);
  sweepLocked();
  _children.push_back(child);
  if (_changed) {
    const std::uint64_t one = 1;
    systemCalls.write(_changed->fd(), &one, sizeof one);
  } else if (!startThread()) {
    _changed = nullptr;
  }
}

void Reaper::sweep() {
  const std::scoped_lock held(_lock);
  if (!_changed) sweepLocked();
}

bool Reaper::startThread() {
  _changed = makeEvent();
  return _changed && startDetachedThread(run, this) == 0;
}

void* Reaper::run(void* reaper) {
  while (static_cast<Reaper*>(reaper)->waitAndSweep()) {
  }
  return nullptr;
}

// False when no child is left.
bool Reaper::waitAndSweep() {
  const Ref<SharedDescriptor> changed = waitForNews();
  std::uint64_t additions = 0;
  systemCalls.read(changed->fd(), &additions, sizeof additions);

  std::unique_lock held(_lock);
  const std::size_t before = _children.size();
  sweepLocked();
  const std::size_t after = _children.size();
  if (after == 0) {
    _changed = nullptr;
    return false;
  }
  held.unlock();
  if (additions == 0 && after == before) nanosleep(&kPauseAfterFalseAlarm, nullptr);
  return true;
}

// Sleeps until a child may have exited or another one was added. Gives what tells of the latter.
Ref<SharedDescriptor> Reaper::waitForNews() {
  std::vector<Ref<SharedDescriptor>> watched;
  {
    const std::scoped_lock held(_lock);
    watched.push_back(_changed);
    for (const Ref<Child>& child : _children) watched.push_back(child->exitDescriptor());
  }
  std::vector<pollfd> descriptors;
  descriptors.reserve(watched.size());
  for (const auto& one : watched) {
    descriptors.push_back({.fd = one->fd(), .events = POLLIN, .revents = 0});
  }
  systemCalls.poll(descriptors.data(), descriptors.size(), -1);
  return watched.front();
}

void Reaper::sweepLocked() {
  std::erase_if(_children,
                [](const Ref<Child>& child) { return child->poll() != Child::State::running; });
}

}  // namespace rondel::internal
