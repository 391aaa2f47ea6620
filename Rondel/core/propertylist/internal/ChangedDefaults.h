// SPDX-License-Identifier: MIT
#pragma once

namespace rondel::internal {

// Writes the settings that were changed since the last call. Costs one load if there are none. The
// run loop calls it after each pass, also after one that raises; at exit it happens by itself.
void writeChangedDefaults() noexcept;

}  // namespace rondel::internal
