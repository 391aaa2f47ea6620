// SPDX-License-Identifier: MIT
#pragma once

// Lets system calls fail that succeed on a healthy machine.
//
//     rondel::test::SystemCallsKept kept;                       // put back at the end of the test
//     rondel::test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
//
// One rule a call and a time. The calls are counted from the rule on, over all threads.

#include <atomic>
#include <cerrno>
#include <type_traits>

#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::test {

using internal::SystemCalls;
using internal::systemCalls;

/// Puts the table of system calls back as it was.
class SystemCallsKept {
 public:
  SystemCallsKept() : _kept(systemCalls) {}
  ~SystemCallsKept() { systemCalls = _kept; }
  SystemCallsKept(const SystemCallsKept&) = delete;
  SystemCallsKept& operator=(const SystemCallsKept&) = delete;

 private:
  const SystemCalls _kept;
};

/// Which calls fail, and how many there were.
struct CallRule {
  std::atomic<int> first = 0;  // the number of the first call that fails, from 1 on; 0: none
  std::atomic<int> last = 0;
  std::atomic<int> error = 0;
  std::atomic<int> count = 0;

  bool fails() {
    const int number = ++count;
    return first > 0 && number >= first && number <= last;
  }
};

template <auto Call>
CallRule& ruleOf() {
  static CallRule rule;
  return rule;
}

template <auto Call, class Result, class... Arguments>
void replaceCall(internal::SystemCall<Result(Arguments...)> SystemCalls::*) {
  static Result (*const original)(Arguments...) = (systemCalls.*Call).function();
  systemCalls.*Call = +[](Arguments... arguments) -> Result {
    CallRule& rule = ruleOf<Call>();
    if (!rule.fails()) return original(arguments...);
    // These two give the error itself.
    if constexpr (std::is_same_v<decltype(&SystemCalls::posix_spawn), decltype(Call)> ||
                  std::is_same_v<decltype(&SystemCalls::pthread_create), decltype(Call)>) {
      return rule.error;
    } else {
      errno = rule.error;
      return -1;
    }
  };
}

/// Counts the call from now on, and lets nothing fail.
template <auto Call>
CallRule& countCall() {
  CallRule& rule = ruleOf<Call>();
  rule.first = 0;
  rule.count = 0;
  replaceCall<Call>(Call);
  return rule;
}

/// Lets the `first`-th call from now on fail with this errno, and those up to the `last`-th.
template <auto Call>
CallRule& failCall(int first, int error, int last) {
  CallRule& rule = ruleOf<Call>();
  rule.count = 0;
  rule.error = error;
  rule.last = last;
  rule.first = first;
  replaceCall<Call>(Call);
  return rule;
}
template <auto Call>
CallRule& failCall(int first, int error) {
  return failCall<Call>(first, error, first);
}

}  // namespace rondel::test
