// SPDX-License-Identifier: MIT
#pragma once

// Helpers of the tests of run loops: passes, a target of calls and timers, a descriptor to watch.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <utility>

#include "Rondel/core/collections/Array.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/RunLoopSource.h"

namespace rondel::test {

inline constexpr HxString kPrivateMode = "Private"_hx;

/// Writes down what it is called with.
class Probe : public HxObject {
 public:
  explicit Probe(std::string* diary = nullptr) : _diary(diary) {}
  ~Probe() override {
    if (_diary) *_diary += "~";
  }
  void note(const HxHandle& argument) { *_diary += as<HxString>(argument).toStdString(); }
  void call() { *_diary += "!"; }
  void fired(HxTimer& timer) {
    *_diary += "t";
    if (onFire) onFire(timer);
  }
  std::function<void(HxTimer&)> onFire;

 private:
  std::string* _diary;
};

inline bool runOnce(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantFuture());
}
inline bool look(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantPast());
}

/// A pipe whose reading end a source of the current loop watches.
class Watched : public HxObject {
 public:
  Watched(internal::RunLoopSource::Order order, std::function<bool()> action)
      : _action(std::move(action)) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    _reading = internal::ownDescriptor(ends[0]);
    _writing = internal::ownDescriptor(ends[1]);
    source = makeRef<internal::RunLoopSource>(
        HxRunLoop::currentRunLoop(), _reading, order, this,
        [](HxObject& self) { return static_cast<Watched&>(self)._action(); });
  }
  ~Watched() override { source->remove(); }
  void write() { EXPECT_EQ(::write(_writing->fd(), "x", 1), 1); }
  void read() {
    char byte;
    EXPECT_EQ(::read(_reading->fd(), &byte, 1), 1);
  }
  void hangUp() { _writing = nullptr; }

  Ref<internal::RunLoopSource> source;

 private:
  std::function<bool()> _action;
  Ref<internal::SharedDescriptor> _reading;
  Ref<internal::SharedDescriptor> _writing;
};

inline Ref<Watched> watched(
    std::function<bool()> action,
    internal::RunLoopSource::Order order = internal::RunLoopSource::Order::read) {
  return makeRef<Watched>(order, std::move(action));
}

inline HxArray modes(const HxString& first, const HxString& second = nullptr) {
  return HxArray::arrayWithObjects({first, second});
}

}  // namespace rondel::test
