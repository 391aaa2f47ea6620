// SPDX-License-Identifier: MIT
//
// One entry of a table of system calls. It is called like any other function, and a test may
// exchange it.
//
//   struct FileCalls {
//     SystemCall<int(int fd)> fsync;
//   };
//   if (fileCalls.fsync(fd) != 0) ...
//
// Two tables are made of these: FileCalls.h has the calls on files that POSIX has, and
// host/linux/SystemCalls.h has what the host services ask of Linux.
#pragma once

#include <atomic>

namespace rondel::internal {

// May be exchanged while other threads call. They reach the old function, or the new one with all
// that was made for it before.
template <class Function>
class SystemCall;
template <class Result, class... Arguments>
class SystemCall<Result(Arguments...)> {
 public:
  using Function = Result (*)(Arguments...);

  constexpr SystemCall(Function real) noexcept : _function(real) {}  // NOLINT: is one
  SystemCall(const SystemCall& other) noexcept : _function(other.function()) {}
  SystemCall& operator=(const SystemCall& other) noexcept {
    _function.store(other.function(), std::memory_order_release);
    return *this;
  }
  Function function() const noexcept { return _function.load(std::memory_order_acquire); }
  Result operator()(Arguments... arguments) const { return function()(arguments...); }

 private:
  std::atomic<Function> _function;
};

}  // namespace rondel::internal
