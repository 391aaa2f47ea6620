// SPDX-License-Identifier: MIT
#include "Rondel/host/internal/SharedDescriptor.h"

#include <fcntl.h>

#include <cerrno>

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {

SharedDescriptor::~SharedDescriptor() {
  if (_fd >= 0 && _ownership == Ownership::owned) closeDescriptor(_fd);
}

bool SharedDescriptor::own(int fd) noexcept {
  if (fd >= 0 && fd < kStandardFiles) {
    const int low = fd;
    fd = systemCalls.fcntl(low, F_DUPFD_CLOEXEC, kStandardFiles);
    closeDescriptor(low);
  }
  _fd = fd;
  return fd >= 0;
}

Ref<SharedDescriptor> ownDescriptor(int fd) {
  if (fd < 0) return nullptr;
  try {
    Ref<SharedDescriptor> descriptor = makeRef<SharedDescriptor>();
    return descriptor->own(fd) ? descriptor : nullptr;
  } catch (...) {
    closeDescriptor(fd);
    throw;
  }
}

void closeDescriptor(int fd) noexcept {
  const int kept = errno;
  fileCalls.close(fd);
  errno = kept;
}

}  // namespace rondel::internal
