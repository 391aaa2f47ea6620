// SPDX-License-Identifier: MIT
//
// The one seam between the library and the files of the system. It is a table of the calls on files
// that POSIX has. Every layer that opens or asks for a file calls through it. Pipes, events and all
// other descriptors are read, written and closed through it as well.
//
// Tests exchange entries to make a call fail that succeeds on a healthy machine. Each entry behaves
// as its manual page says, errno included.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>

#include "Rondel/core/system/internal/SystemCall.h"

namespace rondel::internal {

struct FileCalls {
  SystemCall<int(const char* path, int flags, mode_t mode)> open;
  SystemCall<ssize_t(int fd, void* buffer, size_t length)> read;
  SystemCall<ssize_t(int fd, const void* bytes, size_t length)> write;
  SystemCall<int(int fd)> close;
  SystemCall<int(int fd, struct stat* status)> fstat;
  SystemCall<int(int fd, mode_t mode)> fchmod;
  SystemCall<int(int fd)> fsync;
  SystemCall<int(int fd, int operation)> flock;
  SystemCall<void*(void* address, size_t length, int protection, int flags, int fd, off_t offset)>
      mmap;
  SystemCall<int(void* address, size_t length)> munmap;

  SystemCall<int(const char* path, struct stat* status)> stat;
  SystemCall<int(const char* path, struct stat* status)> lstat;
  SystemCall<ssize_t(const char* path, char* target, size_t length)> readlink;
  SystemCall<int(const char* path, int mode)> access;
  SystemCall<int(int folder, const char* path, int mode, int flags)> faccessat;
  SystemCall<char*(const char* path, char* resolved)> realpath;
  SystemCall<int(const char* path, mode_t mode)> mkdir;
  SystemCall<int(const char* from, const char* to)> rename;
  SystemCall<int(const char* path)> unlink;
};

extern FileCalls fileCalls;

// Calls a system function again for as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace rondel::internal
