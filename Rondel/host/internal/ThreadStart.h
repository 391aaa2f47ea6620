// SPDX-License-Identifier: MIT
//
// Starts the threads of this library. They are detached. From the first instruction on they block
// every signal but those of their own faults. So other handlers of the host never run on them.
#pragma once

namespace rondel::internal {

// Returns 0, or an errno value if there is no thread.
int startDetachedThread(void* (*body)(void*), void* argument) noexcept;

}  // namespace rondel::internal
