// SPDX-License-Identifier: MIT
//
// HxRunLoop: waits for what happens outside and makes the calls that it leads to.
//
//   while (!done) HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
//                                                      HxDate::distantFuture());
//   HxRunLoop::mainRunLoop()->perform<&Window::show>(window);       // from any thread
//
// Each thread has one run loop, made on first use. It waits for descriptors (background reads of
// HxFileHandle, exits of HxTask), for timers, and for calls from other threads. It never turns
// without cause: a thread that waits takes no processor time.
//
// Modes. A mode is a name for a set of things to wait for; each thing is in one mode or more, and a
// pass looks at those of its own mode only. HxDefaultRunLoopMode is the everyday one. What is put
// into HxRunLoopCommonModes is in the default mode and in every mode that was made common by
// addCommonMode.
//
// Order. One pass makes, in this order: the calls from other threads and the timers that are due;
// then reads; then exits of children. So output is seen before the exit where both are there.
// Passes may be nested: a call may run the loop again, in the same mode or another one.
//
// Threads. runMode, run, runUntilDate, retainUntilEndOfTurn and isInPass belong to the loop's own
// thread; all else may be called on any thread. When a thread ends, its loop drops what it waits
// for, calls that were not made yet included, and lets go of what it kept.
//
// What a call raises passes through the pass to the caller of runMode; nothing is lost by that.
#pragma once

#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/internal/Closure.h"

namespace rondel {

class HxTimer;

namespace internal {
class RunLoopSource;
}

inline constexpr HxString HxDefaultRunLoopMode = "HxDefaultRunLoopMode"_hx;
// Not a mode that can be run, which gives false: stands for the default mode and all modes made
// common.
inline constexpr HxString HxRunLoopCommonModes = "HxRunLoopCommonModes"_hx;

class RONDEL_EXPORT HxRunLoop final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The loop of the calling thread; never nil.
  static Ref<HxRunLoop> currentRunLoop();
  // The loop of the process's first thread; never nil, and never dropped.
  static Ref<HxRunLoop> mainRunLoop();

  // ---- Running

  // Runs one pass of the mode: waits until something of this mode happens, at most until the date,
  // and makes the calls for all that has happened by then. A date in the past, or nil, looks and
  // does not wait. True also when the date came first; false, at once, when the mode has nothing
  // to wait for. Raises HxException when the system refuses the means to wait.
  bool runMode(const HxString& mode, const HxDate& limit);
  // Runs passes of the default mode until nothing is left to wait for, or until stop().
  void run();
  // The same, at most until the date.
  void runUntilDate(const HxDate& limit);
  // Ends the innermost run or runUntilDate after its current pass; nothing when there is none. Any
  // thread.
  void stop();
  // Puts all that is in HxRunLoopCommonModes, now and later, into this mode too.
  void addCommonMode(const HxString& mode);

  // ---- Keeping

  // Keeps the object alive until the current pass ends; outside any pass, until the next one of
  // this thread ends or the thread does. In nested passes it is the innermost that counts. For an
  // object that calls out and may be dropped by whom it calls.
  void retainUntilEndOfTurn(const HxHandle& object);
  // Returns whether a pass of this loop is under way.
  bool isInPass() const noexcept;

  // ---- Calls

  // Has this loop call `Operation` of the target in its next pass of a common mode. The operation
  // takes nothing or one HxAny. Calls are made in the order in which they came, and target and
  // argument live at least until then. With waitUntilDone the caller sleeps until the call was
  // made (or dropped, because the loop's thread ended); on the loop's own thread it is made at
  // once.
  template <auto Operation, class T>
  void perform(T* target, const HxHandle& argument = nullptr, bool waitUntilDone = false) {
    enqueue(internal::makeOperationClosure<Operation>(target, argument), target, waitUntilDone);
  }
  // The same with the operation that the target's class registered under this name.
  void performSelector(HxSelector selector, const HxHandle& target,
                       const HxHandle& argument = nullptr, bool waitUntilDone = false);
  // The same with any callable.
  template <class F>
  void performBlock(F&& block, bool waitUntilDone = false) {
    enqueue(internal::makeClosure(std::forward<F>(block)), nullptr, waitUntilDone);
  }

  // Has this loop make the call in the default mode once so many seconds have passed; 0 means the
  // pass after this one.
  template <auto Operation, class T>
  void performAfterDelay(T* target, const HxHandle& argument, HxTimeInterval seconds) {
    enqueueAfterDelay(internal::makeOperationClosure<Operation>(target, argument), target, seconds);
  }
  void performSelectorAfterDelay(HxSelector selector, const HxHandle& target,
                                 const HxHandle& argument, HxTimeInterval seconds);

  // Takes back the calls to this target that were asked of this loop and not made yet, delayed or
  // not.
  void cancelPerformSelectorsWithTarget(const HxObject* target);

  // Lets the timer fire on this loop, in this mode; see HxTimer. A timer is on one loop at most,
  // and may be in several of its modes.
  void addTimer(const Ref<HxTimer>& timer, const HxString& mode);

 private:
  friend class HxTimer;
  friend class internal::RunLoopSource;
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxRunLoop();
  ~HxRunLoop() override;

  bool runMode(const HxString& mode, std::int64_t deadline);  // on the steady clock
  void runUntil(std::int64_t deadline);
  void enqueue(Ref<internal::Closure> call, const HxObject* target, bool waitUntilDone);
  void enqueueAfterDelay(const Ref<internal::Closure>& call, const HxObject* target,
                         HxTimeInterval seconds);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

// Calls on the process's first thread; see HxRunLoop::perform.
template <auto Operation, class T>
void performOnMainThread(T* target, const HxHandle& argument = nullptr,
                         bool waitUntilDone = false) {
  HxRunLoop::mainRunLoop()->perform<Operation>(target, argument, waitUntilDone);
}
inline void performSelectorOnMainThread(const HxHandle& target, HxSelector selector,
                                        const HxHandle& argument = nullptr,
                                        bool waitUntilDone = false) {
  HxRunLoop::mainRunLoop()->performSelector(selector, target, argument, waitUntilDone);
}

}  // namespace rondel
