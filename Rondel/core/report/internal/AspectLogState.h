// SPDX-License-Identifier: MIT
//
// Access to the state of aspect logging, for its tests.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// Forgets all levels and the indent level: the next query reads the defaults again. No
// thread may be logging meanwhile.
void resetAspectLog();

// How many indentation texts are kept.
HxUInteger indentationTableCount();

}  // namespace rondel::internal
