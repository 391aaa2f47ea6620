// SPDX-License-Identifier: MIT
//
// An object kept alive for the length of a call in which its owner may drop it.
//
//   const HxAny alive = keptAlive(this);
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

// Nil for null, and for an object whose destructor is at work: that one stays until the destructor
// returns, and must not be counted again.
inline HxAny keptAlive(HxObject* object) noexcept {
  return object && object->retainIfAlive() ? HxAny::adopt(object) : HxAny();
}

}  // namespace rondel::internal
