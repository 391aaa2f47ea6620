// SPDX-License-Identifier: MIT
//
// HxTimer: a call that a run loop makes after a time, once or repeatedly.
//
//   _timer = HxTimer::scheduledTimerWithTimeInterval<&Cache::sweep>(5.0, this, nullptr, true);
//   ...
//   void Cache::sweep(HxTimer& timer) { ... timer.invalidate(); }
//
// The loop retains a timer while it is valid, and the timer retains its target and user info that
// long. Time is measured on a steady clock (CLOCK_MONOTONIC, POSIX), so that setting the system's
// clock moves no timer. A loop that was busy fires late, and a repeating timer then skips the times
// that it missed. It also skips those that pass during its own call. If that runs the loop, the
// timer does not fire inside it. The modes of a valid timer have something to wait for.
//
// The call may invalidate and drop the timer. What it raises passes to the caller of runMode, or of
// fire; a timer that repeats stays valid.
//
// Threads: a timer fires on the thread of its loop. Any thread may invalidate it. The call may be
// under way on the loop's thread at that moment.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/object/internal/OwnedPointer.h"

namespace rondel {

class HxRunLoop;

class RONDEL_EXPORT HxTimer final : public HxObject {
 public:
  using Fire = void (*)(HxObject* target, HxTimer& timer);

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a timer that is on the current run loop, in its default mode. It first fires after so
  // many seconds. Less than 0.0001 s, and NaN, count as that; more than a century is never. A null
  // target is not called. If the loop has ended, the timer is invalid.
  template <auto Operation, class T>
  static Ref<HxTimer> scheduledTimerWithTimeInterval(HxTimeInterval seconds, T* target,
                                                     const HxHandle& userInfo, bool repeats) {
    return schedule(timerWithTimeInterval<Operation>(seconds, target, userInfo, repeats));
  }
  // Returns a timer that is on no loop yet; see HxRunLoop::addTimer. Its time begins there.
  template <auto Operation, class T>
  static Ref<HxTimer> timerWithTimeInterval(HxTimeInterval seconds, T* target,
                                            const HxHandle& userInfo, bool repeats) {
    return make(
        seconds, target,
        [](HxObject* self, HxTimer& timer) { (static_cast<T*>(self)->*Operation)(timer); },
        userInfo, repeats);
  }

  // Takes the timer off its loop for good and releases target and user info.
  void invalidate();
  // Returns false after invalidate, and after a timer that does not repeat has fired.
  bool isValid() const noexcept;
  // Makes the call now, on this thread, and keeps the times to come. A timer that does not repeat
  // is invalid after it. Does nothing on an invalid timer.
  void fire();

  HxTimeInterval timeInterval() const noexcept { return _seconds; }
  bool repeats() const noexcept { return _repeats; }
  // Returns the user info; nil if the timer is invalid.
  HxAny userInfo() const;

 private:
  friend class HxRunLoop;
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxTimer(HxTimeInterval seconds, HxObject* target, Fire call, const HxHandle& userInfo,
          bool repeats);
  ~HxTimer() override;

  static Ref<HxTimer> make(HxTimeInterval seconds, HxObject* target, Fire call,
                           const HxHandle& userInfo, bool repeats);
  static Ref<HxTimer> schedule(const Ref<HxTimer>& timer);

  const HxTimeInterval _seconds;
  const bool _repeats;
  const Fire _fire;
  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
