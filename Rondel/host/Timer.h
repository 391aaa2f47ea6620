// SPDX-License-Identifier: MIT
//
// HxTimer: a call that a run loop makes when the time has come, once or again and again.
//
//   _timer = HxTimer::scheduledTimerWithTimeInterval<&Cache::sweep>(5.0, this, nullptr, true);
//   ...
//   void Cache::sweep(HxTimer& timer) { ... timer.invalidate(); }
//
// The loop owns a timer until it is invalid, and the timer owns its target and user info that long.
// Time is measured with a steady clock, so that setting the system's clock moves no timer. A loop
// that was busy fires late, and a repeating timer then leaves out the times that it missed.
//
// Threads: a timer fires on the thread of its loop. Any thread may invalidate it; on another thread
// the call may be under way at that moment.
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

  // A timer on the current run loop, in its default mode, that first fires after so many seconds.
  // Less than a tenth of a millisecond counts as that.
  template <auto Operation, class T>
  static Ref<HxTimer> scheduledTimerWithTimeInterval(HxTimeInterval seconds, T* target,
                                                     const HxHandle& userInfo, bool repeats) {
    return schedule(timerWithTimeInterval<Operation>(seconds, target, userInfo, repeats));
  }
  // The same, but on no loop yet; see HxRunLoop::addTimer.
  template <auto Operation, class T>
  static Ref<HxTimer> timerWithTimeInterval(HxTimeInterval seconds, T* target,
                                            const HxHandle& userInfo, bool repeats) {
    return make(
        seconds, target,
        [](HxObject* self, HxTimer& timer) { (static_cast<T*>(self)->*Operation)(timer); },
        userInfo, repeats);
  }

  // Takes the timer off its loop for good and drops target and user info. Once is enough.
  void invalidate();
  // False from invalidate on, and after a timer that does not repeat has fired.
  bool isValid() const noexcept;
  // Makes the call now, without changing the times to come; a timer that does not repeat is invalid
  // after it. Nothing on an invalid timer.
  void fire();

  HxTimeInterval timeInterval() const noexcept { return _seconds; }
  bool repeats() const noexcept { return _repeats; }
  // Nil for an invalid timer.
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
