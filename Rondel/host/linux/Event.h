// SPDX-License-Identifier: MIT
//
// An event that one thread raises and others wait for with poll. It is a descriptor that is
// readable from then on (eventfd).
#pragma once

#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

// Returns an event, raised already if the value is not 0. Null, with errno set, if the system
// refuses it.
Ref<SharedDescriptor> makeEvent(unsigned value = 0);

}  // namespace rondel::internal
