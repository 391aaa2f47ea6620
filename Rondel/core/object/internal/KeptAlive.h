// SPDX-License-Identifier: MIT
//
// Keeps an object alive during a call in which its owner may drop it.
//
//   const HxAny alive = keptAlive(this);
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

// Returns a share of the object. Returns nil for null, and for an object whose destructor is
// running. That one stays until the destructor returns, and must not be counted again.
inline HxAny keptAlive(HxObject* object) noexcept {
  return object && object->retainIfAlive() ? HxAny::adopt(object) : HxAny();
}

}  // namespace rondel::internal
