// SPDX-License-Identifier: MIT
#include "Rondel/host/internal/SharedDescriptor.h"

#include <fcntl.h>

#include <cerrno>

#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
namespace {

constexpr int kFirstFreeDescriptor = 3;

}  // namespace

SharedDescriptor::~SharedDescriptor() {
  if (_ownership == Ownership::owned) closeDescriptor(_number);
}

Ref<SharedDescriptor> ownDescriptor(int number) {
  if (number >= 0 && number < kFirstFreeDescriptor) {
    const int low = number;
    number = systemCalls.fcntl(low, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
    closeDescriptor(low);
  }
  if (number < 0) return nullptr;
  try {
    return makeRef<SharedDescriptor>(number, SharedDescriptor::Ownership::owned);
  } catch (...) {
    closeDescriptor(number);
    throw;
  }
}

void closeDescriptor(int number) noexcept {
  const int kept = errno;
  systemCalls.close(number);
  errno = kept;
}

}  // namespace rondel::internal
