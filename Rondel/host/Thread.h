// SPDX-License-Identifier: MIT
//
// Threads that run on their own until their work is done.
//
//   HxThread::detachNewThread<&Task::writeInBackground>(this);
//   HxThread::detachNewThread([scanner] { scanner->scan(); });
//
// The target, the argument and the callable live as long as the thread. A thread whose work raises
// an exception ends the process, as everywhere in C++.
//
// Signals. The threads block all signals. So handlers of the host run on the host's own threads and
// interrupt no call of the library. Six stay open: SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP and
// SIGSYS. A thread sends them to itself, and a crash handler of the host must run there.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/host/internal/Closure.h"

namespace rondel {

class RONDEL_EXPORT HxThread {
 public:
  HxThread() = delete;

  // Starts a thread that calls `Operation` of the target and ends. The operation takes nothing or
  // one HxAny, which is the argument. Starts none if the target is null. Raises HxException if the
  // system refuses the thread.
  template <auto Operation, class T>
  static void detachNewThread(T* target, const HxHandle& argument = nullptr) {
    if (target) start(internal::makeOperationClosure<Operation>(target, argument));
  }
  // The same with any callable. The thread owns a copy of it.
  template <class F>
  static void detachNewThread(F&& body) {
    start(internal::makeClosure(std::forward<F>(body)));
  }
  // The same with the operation that the target's class registered under this name. Starts none if
  // the target is nil.
  static void detachNewThreadSelector(HxSelector selector, const HxHandle& target,
                                      const HxHandle& argument = nullptr);

  // Returns whether the calling thread is the process's first one, that of main.
  static bool isMainThread() noexcept;

 private:
  static void start(const Ref<internal::Closure>& body);
};

}  // namespace rondel
