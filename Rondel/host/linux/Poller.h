// SPDX-License-Identifier: MIT
//
// Waits for descriptors to become readable, and for other threads to ask for attention. One for
// each run loop.
//
// Every descriptor is watched under a number of the caller's, and it is that number which comes
// back. Watching is level-triggered; hang-up and error count as readable, since the read is what
// tells of them.
#pragma once

#include <cstdint>

#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

class Poller {
 public:
  // Never the number of a watched descriptor; comes back after wake().
  static constexpr std::uint64_t kWakeUp = 0;

  enum class Watching {
    started,
    notNeeded,  // a file that is always readable, and that the system refuses to watch
    refused,    // errno tells why
  };

  // Makes what waiting needs; false, with errno set, when the system refuses. Once is enough.
  bool open();
  bool isOpen() const noexcept { return static_cast<bool>(_poller); }
  void close();

  Watching watch(int descriptor, std::uint64_t number) const;
  void unwatch(int descriptor) const;

  // Waits for at most so many milliseconds, or without end when negative. Gives how many numbers
  // were stored, and -1 with errno set when waiting failed; EINTR is an ordinary failure here. A
  // number that is kWakeUp tells of all calls of wake() up to now.
  int wait(int milliseconds, std::uint64_t* numbers, int capacity) const;

  // Lets the wait that is under way, or else the next one, end. Any thread.
  void wake() const;

 private:
  Ref<SharedDescriptor> _poller;
  Ref<SharedDescriptor> _wakeUp;
};

}  // namespace rondel::internal
