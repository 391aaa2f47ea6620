// SPDX-License-Identifier: MIT
//
// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace rondel::internal {

// Closes its descriptor when it goes, and leaves errno as it was.
class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int fd) noexcept : _fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : _fd(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    Descriptor(std::move(other)).swap(*this);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    const int error = errno;
    close();
    errno = error;
  }

  void swap(Descriptor& other) noexcept { std::swap(_fd, other._fd); }
  explicit operator bool() const noexcept { return _fd >= 0; }
  int get() const noexcept { return _fd; }
  // Gives the descriptor away.
  int release() noexcept { return std::exchange(_fd, -1); }
  // False, with errno set, when the last writes were refused. The descriptor is gone in any case,
  // so this is never tried again.
  bool close() noexcept {
    const int fd = release();
    return fd < 0 || ::close(fd) == 0 || errno == EINTR;
  }

 private:
  int _fd = -1;
};

}  // namespace rondel::internal
