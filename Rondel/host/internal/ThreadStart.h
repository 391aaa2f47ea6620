// SPDX-License-Identifier: MIT
//
// Starts the threads of this library. They are detached. From the first instruction on they block
// every signal but those of their own faults. So other handlers of the host never run on them.
#pragma once

#include <signal.h>

namespace rondel::internal {

// The signals of faults, which a thread sends to itself. A thread that blocks them ends the
// process, and a crash handler of the host never runs. A handler that returns comes to the same
// fault again.
inline constexpr int kSignalsOfFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS};

// Returns 0, or an errno value if there is no thread.
int startDetachedThread(void* (*body)(void*), void* argument) noexcept;

}  // namespace rondel::internal
