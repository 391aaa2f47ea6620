// SPDX-License-Identifier: MIT
//
// An owned file descriptor.
#pragma once

#include <cerrno>
#include <utility>

#include "Rondel/core/system/internal/FileCalls.h"

namespace rondel::internal {

// Closes its fd in the destructor, which leaves errno as it was.
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
  // Returns the fd, which is the caller's from here on.
  int release() noexcept { return std::exchange(_fd, -1); }
  // Returns false, with errno set, if the system refused the last writes. The fd is gone in any
  // case, so this is never tried again.
  bool close() noexcept {
    const int fd = release();
    return fd < 0 || fileCalls.close(fd) == 0 || errno == EINTR;
  }

 private:
  int _fd = -1;
};

}  // namespace rondel::internal
