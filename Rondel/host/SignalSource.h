// SPDX-License-Identifier: MIT
//
// HxSignalSource: makes a run loop call for each signal of one kind that the process gets.
//
//   Ref<HxSignalSource> _interrupts;
//   _interrupts = HxSignalSource::scheduledSourceWithSignal<&Tool::interrupted>(SIGINT, this);
//   void Tool::interrupted(HxSignalSource&) { _task->interruptTask(); }
//
// The signal is caught while a source for it lives. It then has no other effect: it neither ends
// the process nor runs a former handler. System calls are restarted (SA_RESTART, POSIX). The calls
// are ordinary ones, in a pass of the loop, so they may do anything. Each signal that arrives leads
// to one call of each of its sources. The system itself merges signals of one kind that arrive
// faster than it delivers them.
//
// The last source of a signal restores the disposition that the first one found. It leaves a
// disposition that other code has set since. Children get default signals and an empty mask all the
// same. A forked process that goes on without exec has the former dispositions, and its parent's
// sources hear nothing there.
//
// A signal that was ignored is caught too: a tool that nohup is to protect does not watch SIGHUP.
// The signal must not be blocked on every thread. Threads of this library block it.
//
// Threads: a source belongs to the loop of the thread that makes it; drop it before that thread
// ends. Several sources and several loops may watch one signal. Any thread may invalidate or drop a
// source. The call may be under way on the loop's thread at that moment.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/internal/Closure.h"

namespace rondel {

class RONDEL_EXPORT HxSignalSource final : public HxObject {
 public:
  using Call = void (*)(HxObject* target, HxSignalSource& source);

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a source for the signals of this number. For each the current run loop calls
  // `Operation` of the target, in this mode. Hold the source as long as the signal is to be caught.
  // The target is not retained: it holds the source, or outlives it. Returns nil if the target is
  // null.
  //
  // Raises HxException (HxInvalidArgumentException) for what is no signal, and for SIGKILL and
  // SIGSTOP. Raises it also for SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP and SIGSYS, which report
  // faults of a thread. Raises HxException if the system refuses a descriptor or will not watch it.
  template <auto Operation, class T>
  [[nodiscard]] static Ref<HxSignalSource> scheduledSourceWithSignal(
      int signal, T* target, const HxString& mode = HxRunLoopCommonModes) {
    return make(
        signal, target,
        [](HxObject* self, HxSignalSource& source) { (static_cast<T*>(self)->*Operation)(source); },
        nullptr, mode);
  }
  // The same with any callable, which takes nothing. The source owns a copy of it.
  template <class F>
  [[nodiscard]] static Ref<HxSignalSource> scheduledSourceWithSignal(
      int signal, F&& block, const HxString& mode = HxRunLoopCommonModes) {
    return make(signal, nullptr, nullptr, internal::makeClosure(std::forward<F>(block)), mode);
  }

  // Ends the source before it is dropped: no call begins after it.
  void invalidate();

  // Returns the number of the signal (POSIX <signal.h>).
  int signalNumber() const noexcept;

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxSignalSource(int signal, HxObject* target, Call call, const Ref<internal::Closure>& block);
  ~HxSignalSource() override;

  static Ref<HxSignalSource> make(int signal, HxObject* target, Call call,
                                  const Ref<internal::Closure>& block, const HxString& mode);
  static bool signalIsThere(HxObject& source);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
