// SPDX-License-Identifier: MIT
#pragma once

// Records failed checks in place of the failure sink while it lives. It returns, so that the code
// under test goes on after the check. Checks may fail on any thread.
//
//     FailureRecorder failures;
//     stream->setByteStreamConsumer("no consumer"_hx);
//     EXPECT_EQ(failures.messages(), ...);

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Rondel/core/report/Check.h"

namespace rondel::test {

class FailureRecorder {
 public:
  struct Failure {
    std::string function;
    std::string message;
    std::string condition;
    const HxObject* receiver;
    std::string operation;  // its name only; empty in a plain function
    std::string file;
    int line;
    std::string format;
    std::vector<std::string> arguments;  // with the two after those of the format
    const HxAny* self;                   // addresses, only to be compared
    const HxSelector* _cmd;
  };

  FailureRecorder() : _outer(innermost) {
    innermost = this;
    _former = MoSetAssertionFailureHandler(&note);
  }
  ~FailureRecorder() {
    MoSetAssertionFailureHandler(_former);
    innermost = _outer;
  }
  FailureRecorder(const FailureRecorder&) = delete;
  FailureRecorder& operator=(const FailureRecorder&) = delete;

  const std::vector<Failure>& failures() const { return _failures; }
  std::vector<std::string> messages() const {
    std::vector<std::string> all;
    for (const Failure& failure : _failures) all.push_back(failure.message);
    return all;
  }
  void clear() { _failures.clear(); }

 private:
  static void note(const HxAny* self, const HxSelector* _cmd, const char* function,
                   const char* file, int line, const HxString& format, HxArguments arguments) {
    const HxString message = HxString::initWithFormatArguments(format, arguments);
    const char* const condition = arguments[arguments.count() - 1].asCString();
    Failure failure{function,
                    message.toStdString(),
                    condition ? condition : "",
                    self->object(),
                    _cmd->name() ? _cmd->name() : "",
                    file,
                    line,
                    format.toStdString(),
                    {},
                    self,
                    _cmd};
    for (const HxArgument& argument : arguments) {
      failure.arguments.push_back(HxString::stringWithFormat("%@"_hx, argument).toStdString());
    }
    const std::lock_guard<std::mutex> guard(innermost->_lock);
    innermost->_failures.push_back(std::move(failure));
  }

  static inline FailureRecorder* innermost = nullptr;
  FailureRecorder* const _outer;
  MoAssertionFailureSink _former;
  std::mutex _lock;
  std::vector<Failure> _failures;
};

}  // namespace rondel::test
