// SPDX-License-Identifier: MIT
#pragma once

// Hears of the checks that fail while it lives, in place of the failure sink, and returns, so that
// the code under test goes on behind them.
//
//     FailureRecorder failures;
//     stream->setByteStreamConsumer("no consumer"_hx);
//     EXPECT_EQ(failures.messages(), ...);

#include <string>
#include <vector>

#include "Rondel/core/Check.h"

namespace rondel::test {

class FailureRecorder {
 public:
  struct Failure {
    std::string function;
    std::string message;
    std::string condition;
    const HxObject* receiver;
    std::string operation;  // its name alone, empty in a plain function
  };

  FailureRecorder() : _outer(innermost), _former(MoSetAssertionFailureHandler(&note)) {
    innermost = this;
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

 private:
  static void note(const HxAny* self, const HxSelector* _cmd, const char* function, const char*,
                   int, const HxString& format, HxArguments arguments) {
    const HxString message = HxString::initWithFormatArguments(format, arguments);
    const char* const condition = arguments[arguments.count() - 1].asCString();
    innermost->_failures.push_back({function, message.toStdString(), condition ? condition : "",
                                    self->object(), _cmd->name() ? _cmd->name() : ""});
  }

  static inline FailureRecorder* innermost = nullptr;
  FailureRecorder* _outer;
  MoAssertionFailureSink _former;
  std::vector<Failure> _failures;
};

}  // namespace rondel::test
