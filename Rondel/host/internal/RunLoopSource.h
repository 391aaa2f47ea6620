// SPDX-License-Identifier: MIT
//
// A descriptor that one run loop watches for one object.
//
// A source is armed for some modes while its target wants calls. If the descriptor is readable in a
// pass of one of those modes, the loop calls the target. The source stays armed until it is
// disarmed. A disarmed source may stay registered with the system, so that arming it again costs
// nothing. It is unregistered if the system reports it while it is disarmed.
//
// A source without a descriptor becomes ready by raise(). One that was armed before can get a
// descriptor later, without memory, by watch(). So a launch prepares everything that could fail
// before there is a child.
//
// The target is not retained. It removes its source in its destructor, at the latest. The loop
// retains the target during the call.
//
// Threads: the loop calls on its own thread. Everything here may be called on any.
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
  // Returns whether there was something to do. A pass goes on waiting after false alarms only.
  using Ready = bool (*)(HxObject& target);

  // Makes a source. A null descriptor is for watch() or raise() to replace.
  RunLoopSource(const Ref<HxRunLoop>& loop, const Ref<SharedDescriptor>& descriptor, Order order,
                HxObject* target, Ready ready);

  // Makes the loop call from now on, in these modes; nil means the default mode. Raises HxException
  // if the system refuses to watch the descriptor. Does nothing if the loop has ended.
  void arm(const HxArray& modes);
  // Watches this descriptor, for a source that is armed and has none. Returns false if the system
  // refuses, and the source stays armed. Needs no memory.
  bool watch(const Ref<SharedDescriptor>& descriptor) noexcept;
  // Makes the source ready, from now on and whenever it is armed; the system is no longer asked.
  // Needs no memory once the source is armed.
  void raise() noexcept;
  // Takes the descriptor out of the system's hands, and stays armed: raise() is to come.
  void unwatch() noexcept;
  void disarm();
  // Disarms it and unregisters it with the system.
  void park();
  // Ends the source: no call begins after it. Releases the descriptor.
  void remove();

  // Returns whether it is armed for the mode that the loop is running.
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
  std::uint64_t _token = 0;      // 0: not with the loop
  std::vector<unsigned> _modes;  // when armed
  bool _armed = false;
  bool _watched = false;      // registered with the system
  bool _alwaysReady = false;  // raised, or always readable
};

}  // namespace rondel::internal
