// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/Event.h"

#include <sys/eventfd.h>

#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {

Ref<SharedDescriptor> makeEvent(unsigned value) {
  return ownDescriptor(systemCalls.eventfd(value, EFD_CLOEXEC | EFD_NONBLOCK));
}

}  // namespace rondel::internal
