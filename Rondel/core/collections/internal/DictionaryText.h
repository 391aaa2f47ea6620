// SPDX-License-Identifier: MIT
//
// Look-ups in built-in dictionaries by text that is no string yet. Code that cuts keys out of a
// longer text needs them.
#pragma once

#include <string_view>

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

// Returns the value for a key of these ASCII characters, still owned by the dictionary; null if it
// is absent.
RONDEL_EXPORT const HxObject* storedObjectForText(const HxObject& dictionary,
                                                  std::string_view ascii);

}  // namespace rondel::internal
