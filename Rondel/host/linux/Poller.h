// SPDX-License-Identifier: MIT
//
// Waits for descriptors to become readable, and for other threads to ask for attention. One for
// each run loop.
//
// Every descriptor is watched under a token of the caller's, and wait() returns tokens. Watching is
// level-triggered. Hang-up and error make a descriptor readable, since the read reports them.
#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <vector>

#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

class Poller {
 public:
  // The token of wake(); no descriptor is watched under it.
  static constexpr std::uint64_t kWakeUp = 0;

  enum class Watching {
    started,
    notNeeded,  // a file that is always readable, and that the system refuses to watch
    refused,    // errno says why
  };

  // Makes room for waits with this capacity, which then need no memory.
  void reserve(std::size_t capacity) { _events.reserve(capacity); }
  // Makes what waiting needs. Returns false, with errno set, if the system refuses. Once is enough.
  bool open();
  // Returns the descriptor that is readable while a token is ready; -1 if not open.
  int fd() const noexcept { return _poller ? _poller->fd() : -1; }
  bool isOpen() const noexcept { return static_cast<bool>(_poller); }
  void close() noexcept;
  // Returns whether it was opened before the process was forked. Then it is shared with the parent,
  // and taking back and waking do nothing.
  bool isInherited() const noexcept;

  Watching watch(int fd, std::uint64_t token) const noexcept;
  void unwatch(int fd) const noexcept;

  // Waits for at most so many milliseconds, or for ever if negative. Stores the tokens that are
  // ready and returns how many; -1 with errno set if waiting failed. EINTR is an ordinary failure.
  // kWakeUp means all calls of wake() up to now. Call it on one thread only.
  int wait(int milliseconds, std::uint64_t* tokens, std::size_t capacity);

  // Ends the wait that is under way, or else the next one. Any thread.
  void wake() const noexcept;

 private:
  Ref<SharedDescriptor> _poller;
  Ref<SharedDescriptor> _wakeUp;
  unsigned _forks = 0;  // of the process, when it was opened
  std::vector<epoll_event> _events;
};

}  // namespace rondel::internal
