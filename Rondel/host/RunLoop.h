// SPDX-License-Identifier: MIT
//
// HxRunLoop: waits for events of one thread and calls whoever is to hear of them.
//
//   while (!done) HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
//                                                      HxDate::distantFuture());
//   HxRunLoop::mainRunLoop()->perform<&Window::show>(window);       // from any thread
//
// Each thread has one run loop, made on first use. It waits for descriptors (background reads of
// HxFileHandle, exits of HxTask) and for signals (HxSignalSource). It also waits for timers
// (HxTimer) and for calls from other threads. A thread that waits takes no processor time.
//
// Modes. A mode is a name for a set of things to wait for. Each thing is in one mode or more, and a
// pass handles those of its own mode only. HxDefaultRunLoopMode is the usual one. What is put into
// HxRunLoopCommonModes is in the default mode and in every mode that addCommonMode was called for.
//
// Order. One pass makes the calls from other threads and fires the timers that are due. Then it
// handles reads, and after them exits of children. So output is seen before the exit if both are
// there. Passes may be nested: a call may run the loop again, in the same mode or in another one.
//
// Threads. runMode, run, runUntilDate, retainUntilEndOfTurn, isInPass, fileDescriptor and
// pollTimeout belong to the loop's own thread. Everything else may be called on any thread. When a
// thread ends, its loop drops what it waits for and releases what it retains. Calls that were not
// made yet are dropped. From then on it takes nothing: calls are dropped, timers are invalidated,
// and no mode has anything to wait for. The destructor of a thread-local object may call
// currentRunLoop even later. It gets such a loop, too.
//
// Forks. A process that was forked, and executes nothing, may go on with the loops that it has. It
// waits for itself: what it takes back or closes there stays with its parent.
//
// An exception that a call raises passes through the pass to the caller of runMode. Nothing else is
// lost by that.
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
// Stands for the default mode and all modes that were made common. It cannot be run itself.
inline constexpr HxString HxRunLoopCommonModes = "HxRunLoopCommonModes"_hx;

class RONDEL_EXPORT HxRunLoop final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the loop of the calling thread. Never nil.
  static Ref<HxRunLoop> currentRunLoop();
  // Returns the loop of the process's first thread. Never nil, and never destroyed.
  static Ref<HxRunLoop> mainRunLoop();

  // ---- Running

  // Runs one pass of the mode. Waits until something of this mode happens, at most until the date.
  // Makes the calls for all that has happened by then. A date in the past, or nil, looks and does
  // not wait. Returns true, also if the date came first. Returns false at once if the mode has
  // nothing to wait for. Raises HxException if the system refuses the means to wait, or if the
  // thread is not the loop's own.
  bool runMode(const HxString& mode, const HxDate& limit);
  // Runs passes of the default mode until nothing is left to wait for, or until stop().
  void run();
  // Runs passes of the default mode until nothing is left to wait for, until stop(), or until the
  // date.
  void runUntilDate(const HxDate& limit);
  // Ends the innermost run or runUntilDate after its current pass. Does nothing if there is none.
  void stop();
  // Adds all that is in HxRunLoopCommonModes, now and later, to this mode. Nil does nothing.
  void addCommonMode(const HxString& mode);

  // ---- Keeping

  // Retains the object until the current pass ends, the innermost one if they are nested. Outside
  // any pass, retains it until the next pass of this thread ends, or the thread does. For an object
  // that calls others, which may drop it.
  void retainUntilEndOfTurn(const HxHandle& object);
  // Returns whether a pass of this loop is under way.
  bool isInPass() const noexcept;

  // ---- Calls

  // Makes this loop call `Operation` of the target in its next pass of a common mode. The operation
  // takes nothing or one HxAny. Calls are made in the order in which they were asked for. The loop
  // retains target and argument until then. A null target does nothing.
  //
  // With waitUntilDone, waits until the call was made, or dropped because the loop's thread ended.
  // On the loop's own thread it is then made at once.
  template <auto Operation, class T>
  void perform(T* target, const HxHandle& argument = nullptr, bool waitUntilDone = false) {
    if (!target) return;
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

  // Makes this loop call `Operation` of the target in the default mode after so many seconds. 0
  // means the pass after this one. A null target does nothing.
  template <auto Operation, class T>
  void performAfterDelay(T* target, const HxHandle& argument, HxTimeInterval seconds) {
    if (!target) return;
    enqueueAfterDelay(internal::makeOperationClosure<Operation>(target, argument), target, seconds);
  }
  // The same with the operation that the target's class registered under this name.
  void performSelectorAfterDelay(HxSelector selector, const HxHandle& target,
                                 const HxHandle& argument, HxTimeInterval seconds);

  // Takes back the calls to this target that were asked of this loop and not made yet, delayed or
  // not. Nil does nothing. Delayed calls to other targets cost nothing. The calls that are due in
  // the next pass are looked at one by one.
  void cancelPerformSelectorsWithTarget(const HxObject* target);

  // Adds the timer to this mode of this loop; see HxTimer. A timer may be in several modes of one
  // loop. Raises HxException (HxInvalidArgumentException) if it is on another loop. Invalidates the
  // timer if the loop's thread has ended. Nil, and an invalid timer, do nothing.
  void addTimer(const Ref<HxTimer>& timer, const HxString& mode);

  // ---- Inside another loop
  //
  // A tool with its own loop around poll (POSIX) or epoll (Linux) serves this loop from there:
  //
  //   pollfd ready[] = {{loop->fileDescriptor(), POLLIN, 0}, ...};
  //   poll(ready, 2, loop->pollTimeout());
  //   loop->runMode(HxDefaultRunLoopMode, nullptr);      // handles what is due, never waits

  // Returns a descriptor that is readable once a pass may have something to do. It may be so
  // without cause, until the next runMode. The loop owns it: do not read or close it. Returns -1 if
  // the loop's thread has ended. Raises HxException if the system refuses the means to wait.
  int fileDescriptor();
  // Returns how many milliseconds may pass until runMode must be called, even if the descriptor is
  // not readable. 0 if the mode has something to do now, -1 for no limit. Ask right before each
  // poll.
  int pollTimeout(const HxString& mode = HxDefaultRunLoopMode) const;

 private:
  friend class HxTimer;
  friend class internal::RunLoopSource;
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxRunLoop();
  ~HxRunLoop() override;

  static Ref<HxRunLoop> endedRunLoop();
  bool runMode(const HxString& mode, std::int64_t deadline);  // on the steady clock
  void runUntil(std::int64_t deadline);
  void enqueue(Ref<internal::Closure> call, const HxObject* target, bool waitUntilDone);
  void enqueueAfterDelay(const Ref<internal::Closure>& call, const HxObject* target,
                         HxTimeInterval seconds);
  void schedule(Ref<HxTimer> timer, const HxString& mode, const HxObject* cancelTarget);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

// Calls `Operation` of the target on the process's first thread; see HxRunLoop::perform.
template <auto Operation, class T>
void performOnMainThread(T* target, const HxHandle& argument = nullptr,
                         bool waitUntilDone = false) {
  HxRunLoop::mainRunLoop()->perform<Operation>(target, argument, waitUntilDone);
}
// Calls the named operation on the process's first thread; see HxRunLoop::performSelector.
inline void performSelectorOnMainThread(const HxHandle& target, HxSelector selector,
                                        const HxHandle& argument = nullptr,
                                        bool waitUntilDone = false) {
  HxRunLoop::mainRunLoop()->performSelector(selector, target, argument, waitUntilDone);
}

}  // namespace rondel
