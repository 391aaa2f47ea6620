// SPDX-License-Identifier: MIT
//
// Catches one signal of the process by a handler that raises an event (eventfd). The handler runs
// on whatever thread the system chooses. Any number of catchers may share a signal.
#pragma once

#include <atomic>

#include "Rondel/host/internal/SharedDescriptor.h"

namespace rondel::internal {

class SignalCatcher {
 public:
  explicit SignalCatcher(int signal) noexcept : _signal(signal) {}
  SignalCatcher(const SignalCatcher&) = delete;
  SignalCatcher& operator=(const SignalCatcher&) = delete;
  ~SignalCatcher() { stop(); }

  // Catches the signal from now on. Returns false, with errno set, if the system refuses; EINVAL
  // for what is no signal, cannot be caught, or reports a fault of the thread itself. Call it
  // once.
  bool start();
  // Catches it no more. The last catcher of a signal restores the disposition that the first one
  // found. It leaves one that other code has set since. Any thread; once is enough.
  void stop() noexcept;

  // Takes one signal that was caught. Returns false if there is none.
  bool take() noexcept;
  // Returns what is readable while a signal is there to be taken.
  const Ref<SharedDescriptor>& descriptor() const noexcept { return _event; }
  int signal() const noexcept { return _signal; }

 private:
  static void handle(int signal) noexcept;
  // With the lock held; returns 0 or an errno value.
  static int prepareForForks();
  static void startOverAfterFork() noexcept;
  static void restore(int signal) noexcept;
  static std::atomic<SignalCatcher*>* linkTo(const SignalCatcher* catcher) noexcept;

  const int _signal;
  Ref<SharedDescriptor> _event;
  bool _isLinked = false;
  std::atomic<SignalCatcher*> _next = nullptr;
};

}  // namespace rondel::internal
