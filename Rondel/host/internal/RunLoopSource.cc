// SPDX-License-Identifier: MIT
#include "Rondel/host/internal/RunLoopSource.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/host/internal/RunLoopImpl.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel {
namespace internal {
namespace {

// Replaces the descriptor by a second one for the same file. Returns false, with errno set, if the
// system has none left.
bool duplicate(Ref<SharedDescriptor>& descriptor) {
  const auto second = makeRef<SharedDescriptor>();
  if (!second->own(systemCalls.fcntl(descriptor->fd(), F_DUPFD_CLOEXEC, 0))) return false;
  descriptor = second;
  return true;
}

}  // namespace

RunLoopSource::RunLoopSource(const Ref<HxRunLoop>& loop, const Ref<SharedDescriptor>& descriptor,
                             Order order, HxObject* target, Ready ready)
    : _loop(loop), _order(order), _ready(ready), _descriptor(descriptor), _target(target) {}

void RunLoopSource::arm(const HxArray& modes) {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  if (loop.closed || !_target) return;
  loop.insert(*this);
  loop.watch(*this);
  loop.disarm(*this);
  loop.arm(*this, modes);
  if (_alwaysReady) loop.wake();
}

bool RunLoopSource::watch(const Ref<SharedDescriptor>& descriptor) noexcept {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  if (_token == 0 || !loop.poller.isOpen()) return false;
  if (loop.poller.watch(descriptor->fd(), _token) != Poller::Watching::started) return false;
  _descriptor = descriptor;
  _watched = true;
  return true;
}

void RunLoopSource::raise() noexcept {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  loop.unwatch(*this);
  if (_alwaysReady) return;
  _alwaysReady = true;
  if (_token == 0) return;
  loop.alwaysReady.push_back(_token);  // has room since the insertion
  loop.wake();
}

void RunLoopSource::unwatch() noexcept {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  loop.unwatch(*this);
}

void RunLoopSource::disarm() {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  loop.disarm(*this);
}

void RunLoopSource::park() {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  loop.disarm(*this);
  loop.unwatch(*this);
}

void RunLoopSource::remove() {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const HxAny alive = keptAlive(this);  // outlives the lock
  Ref<SharedDescriptor> dropped;
  const MutexLock held(loop.lock);
  loop.disarm(*this);
  loop.unwatch(*this);
  loop.erase(*this);
  _target = nullptr;
  std::swap(dropped, _descriptor);
  loop.wake();  // there may be nothing left to wait for
}

bool RunLoopSource::isArmedNow() const {
  HxRunLoop::Impl& loop = *_loop->_impl;
  const MutexLock held(loop.lock);
  return _armed && loop.includes(_modes, loop.runningMode);
}

}  // namespace internal

using internal::Poller;
using internal::RunLoopSource;

// Does nothing if it is there already.
void HxRunLoop::Impl::insert(RunLoopSource& source) {
  if (source._token != 0) return;
  alwaysReady.reserve(slots.size() + 1);  // so that raise cannot fail
  if (freeSlots.empty()) {
    freeSlots.reserve(slots.size() + 1);  // so that erase cannot fail
    slots.emplace_back();
    freeSlots.push_back(static_cast<std::uint32_t>(slots.size() - 1));
  }
  const std::uint32_t place = freeSlots.back();
  Slot& slot = slots[place];
  slot.source = Ref<RunLoopSource>(&source);
  freeSlots.pop_back();
  source._token = std::uint64_t{++slot.generation} << 32 | place;
  if (source._alwaysReady) alwaysReady.push_back(source._token);
}

void HxRunLoop::Impl::erase(RunLoopSource& source) {
  if (source._token == 0) return;
  const auto place = static_cast<std::uint32_t>(source._token);
  std::erase(alwaysReady, source._token);
  std::erase(parked, source._token);
  source._token = 0;
  freeSlots.push_back(place);
  slots[place].source = nullptr;  // not the last reference: the caller has one
}

RunLoopSource* HxRunLoop::Impl::find(std::uint64_t token) const {
  const auto place = static_cast<std::uint32_t>(token);
  if (place >= slots.size() || slots[place].generation != token >> 32) return nullptr;
  return slots[place].source.get();
}

// Returns whether the token is that of a source that is armed for this mode.
bool HxRunLoop::Impl::wants(std::uint64_t token, unsigned mode) const {
  const RunLoopSource* const source = find(token);
  return source && source->_armed && includes(source->_modes, mode);
}

void HxRunLoop::Impl::arm(RunLoopSource& source, const HxArray& names) {
  source._modes.clear();
  for (const HxAny& name : names) source._modes.push_back(numberOfMode(as<HxString>(name)));
  if (source._modes.empty()) source._modes.push_back(kDefaultMode);
  for (const unsigned mode : source._modes) ++modes[mode].armedSources;
  source._armed = true;
}

void HxRunLoop::Impl::disarm(RunLoopSource& source) {
  if (!source._armed) return;
  source._armed = false;
  for (const unsigned mode : source._modes) --modes[mode].armedSources;
}

void HxRunLoop::Impl::watch(RunLoopSource& source) {
  if (source._watched || source._alwaysReady) return;
  openPoller();
  if (!source._descriptor) return;
  Poller::Watching watching = poller.watch(source._descriptor->fd(), source._token);
  if (watching == Poller::Watching::refused && errno == EEXIST &&
      internal::duplicate(source._descriptor)) {  // what another source has in hand stays there
    watching = poller.watch(source._descriptor->fd(), source._token);
  }
  switch (watching) {
    case Poller::Watching::started:
      source._watched = true;
      break;
    case Poller::Watching::notNeeded:
      source._alwaysReady = true;
      alwaysReady.push_back(source._token);
      break;
    case Poller::Watching::refused:
      HxException::raise(HxFileHandleOperationException, "cannot watch descriptor %d: %s"_hx,
                         source._descriptor->fd(), strerrordesc_np(errno));
  }
}

void HxRunLoop::Impl::unwatch(RunLoopSource& source) {
  if (!source._watched) return;
  source._watched = false;
  poller.unwatch(source._descriptor->fd());
}

}  // namespace rondel
