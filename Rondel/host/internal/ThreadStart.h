// SPDX-License-Identifier: MIT
//
// How this library starts a thread: detached, and with every signal blocked from its first
// instruction on, so that the handlers of the host never run on it.
#pragma once

namespace rondel::internal {

// Gives 0, or an errno value when there is no thread.
int startDetachedThread(void* (*body)(void*), void* argument) noexcept;

}  // namespace rondel::internal
