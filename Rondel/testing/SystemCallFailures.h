// SPDX-License-Identifier: MIT
#pragma once

// Lets calls of both tables fail that succeed on a healthy machine.
//
//     rondel::test::SystemCallsKept kept;                       // puts both tables back
//     rondel::test::failCall<&SystemCalls::pidfd_open>(1, ENOSYS);
//     rondel::test::failCall<&FileCalls::fsync>(1, EIO);
//
// One rule a call and a time. The calls are counted from the rule on, over all threads.

#include <atomic>
#include <cerrno>
#include <type_traits>

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::test {

using internal::FileCalls;
using internal::fileCalls;
using internal::SystemCalls;
using internal::systemCalls;

/// Puts the tables of calls back as they were.
class SystemCallsKept {
 public:
  SystemCallsKept() : _kept(systemCalls), _keptFileCalls(fileCalls) {}
  ~SystemCallsKept() {
    systemCalls = _kept;
    fileCalls = _keptFileCalls;
  }
  SystemCallsKept(const SystemCallsKept&) = delete;
  SystemCallsKept& operator=(const SystemCallsKept&) = delete;

 private:
  const SystemCalls _kept;
  const FileCalls _keptFileCalls;
};

/// Which calls fail, and how many calls there were.
struct CallRule {
  std::atomic<int> first = 0;  // the number of the first call that fails, from 1; 0 for none
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

inline SystemCalls& tableOf(const SystemCalls*) { return systemCalls; }
inline FileCalls& tableOf(const FileCalls*) { return fileCalls; }

template <auto Call, class Table, class Result, class... Arguments>
void replaceCall(internal::SystemCall<Result(Arguments...)> Table::*) {
  static auto& entry = tableOf(static_cast<const Table*>(nullptr)).*Call;
  static Result (*const original)(Arguments...) = entry.function();
  entry = +[](Arguments... arguments) -> Result {
    CallRule& rule = ruleOf<Call>();
    if (!rule.fails()) return original(arguments...);
    // These two return the error itself.
    if constexpr (std::is_same_v<decltype(&SystemCalls::posix_spawn), decltype(Call)> ||
                  std::is_same_v<decltype(&SystemCalls::pthread_create), decltype(Call)>) {
      return rule.error;
    } else {
      errno = rule.error;
      if constexpr (std::is_same_v<Result, char*>) {
        return nullptr;
      } else if constexpr (std::is_pointer_v<Result>) {
        return MAP_FAILED;
      } else {
        return -1;
      }
    }
  };
}

/// Counts the calls from now on. None fails.
template <auto Call>
CallRule& countCall() {
  CallRule& rule = ruleOf<Call>();
  rule.first = 0;
  rule.count = 0;
  replaceCall<Call>(Call);
  return rule;
}

/// Lets the `first`-th to the `last`-th call from now on fail with this errno.
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
