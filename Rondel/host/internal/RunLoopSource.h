// SPDX-License-Identifier: MIT
//
// A descriptor that one run loop watches for one object.
//
// A source is armed, for some modes, as long as somebody wants to know. When the descriptor is
// readable in a pass of one of those modes, the loop calls. It stays armed until it is disarmed. A
// disarmed source may stay registered with the system, so that arming it again costs nothing; it is
// taken out there when the system reports what nobody wants.
//
// The target is not retained. It removes its source in its destructor, at the latest; the loop
// takes a reference of its own for the time of the call.
//
// Threads: calls are made on the thread of the loop; everything here may be called on any.
#pragma once

#include <cstdint>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

class RunLoopSource final : public HxObject {
 public:
  // In one batch all reads come before all exits.
  enum class Order { read, exit };
  // Gives whether there was anything to it: a pass goes on waiting when all alarms were false.
  using Ready = bool (*)(HxObject& target);

  // A null descriptor makes a source that is ready whenever it is armed.
  RunLoopSource(const Ref<HxRunLoop>& loop, const Ref<SharedDescriptor>& descriptor, Order order,
                HxObject* target, Ready ready);

  // From now on the loop calls, in these modes. Raises HxException when the system refuses to watch
  // the descriptor.
  void arm(const HxArray& modes);
  void disarm();
  // Disarmed, and out of the system's hands too.
  void park();
  // For good; no call begins after it. Lets go of the descriptor.
  void remove();

  // Whether it is armed for the mode that the loop is now running.
  bool isArmedNow() const;
  const Ref<HxRunLoop>& loop() const { return _loop; }

 private:
  friend class rondel::HxRunLoop;
  ~RunLoopSource() override = default;

  const Ref<HxRunLoop> _loop;
  const Order _order;
  const Ready _ready;

  // Guarded by the lock of the loop.
  Ref<SharedDescriptor> _descriptor;
  HxObject* _target;             // not retained: removes this source before it goes
  std::uint64_t _number = 0;     // 0: not with the loop
  std::vector<unsigned> _modes;  // when armed
  bool _armed = false;
  bool _watched = false;      // registered with the system
  bool _alwaysReady = false;  // has nothing to register
};

}  // namespace rondel::internal
