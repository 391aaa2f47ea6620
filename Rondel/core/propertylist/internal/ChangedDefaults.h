// SPDX-License-Identifier: MIT
#pragma once

namespace rondel::internal {

// Writes the settings that were changed since the last call. Costs one load if there are none. The
// run loop calls it after each pass; at exit it happens by itself.
void writeChangedDefaults();

}  // namespace rondel::internal
