// SPDX-License-Identifier: MIT
//
// Waits for the exits of children that nobody waits for any more, so that none stays a zombie.
//
// A thread does it, which starts with the first such child and ends with the last one. Where the
// system refuses that thread, the children are looked at whenever another child is started or
// handed over.
#pragma once

#include <mutex>
#include <vector>

#include "Rondel/host/linux/Child.h"

namespace rondel::internal {

class Reaper {
 public:
  // The one of the process. It is never destroyed, since its thread may run to the very end.
  static Reaper& shared();

  void add(const Ref<Child>& child);
  // Drops those that have exited. Costs next to nothing when there are none.
  void sweep();

 private:
  Reaper() = default;
  static void* run(void* reaper);
  bool startThread();
  bool waitAndSweep();
  Ref<SharedDescriptor> waitForNews();
  void sweepLocked();

  std::mutex _lock;
  std::vector<Ref<Child>> _children;
  Ref<SharedDescriptor> _changed;  // an eventfd; there while the thread is
};

}  // namespace rondel::internal
