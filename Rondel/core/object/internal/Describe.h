// SPDX-License-Identifier: MIT
//
// The descriptions of collections.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel::internal {

// The description of an object whose lines behind the first are indented by one level more.
inline HxString nestedDescription(const HxHandle& object) {
  return object.description().stringByReplacingOccurrencesOfString("\n"_hx, "\n    "_hx);
}

}  // namespace rondel::internal
