// SPDX-License-Identifier: MIT
//
// A look behind aspect logging, for its tests.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// Forgets all levels and the indent level: the next question reads the defaults again. Nobody may
// be logging meanwhile.
void resetAspectLog();

// How many indentation texts are kept.
HxUInteger indentationTableCount();

}  // namespace rondel::internal
