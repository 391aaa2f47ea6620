// SPDX-License-Identifier: MIT
//
// Threads that run on their own until their work is done.
//
//   HxThread::detachNewThread<&Task::writeInBackground>(this);
//   HxThread::detachNewThread([scanner] { scanner->scan(); });
//
// What a thread works on lives as long as it does. Every thread that is made here blocks all
// signals, so that handlers of the host run on the host's own threads and cut no call of ours
// short. A thread whose work raises something ends the process, as everywhere in C++.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/host/internal/Closure.h"

namespace rondel {

class RONDEL_EXPORT HxThread {
 public:
  HxThread() = delete;

  // Starts a thread that calls `Operation` of the target and ends. The target and the argument,
  // which the operation takes or not, are kept alive until then. Raises HxException when the
  // system has no thread left.
  template <auto Operation, class T>
  static void detachNewThread(T* target, const HxAny& argument = HxAny()) {
    start(internal::makeOperationClosure<Operation>(target, argument));
  }
  // The same with any callable, of which the thread gets a copy.
  template <class F>
  static void detachNewThread(F&& body) {
    start(internal::makeClosure(std::forward<F>(body)));
  }
  // The same with the operation that the target's class registered under this name.
  static void detachNewThreadSelector(HxSelector selector, const HxAny& target,
                                      const HxAny& argument = HxAny());

  // Whether the caller is the process's first thread, that of main.
  static bool isMainThread() noexcept;

 private:
  static void start(const Ref<internal::Closure>& body);
};

}  // namespace rondel
