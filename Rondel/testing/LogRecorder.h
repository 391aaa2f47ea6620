// SPDX-License-Identifier: MIT
#pragma once

// Records the console log in place of standard error while it lives. Any thread may log.
//
//     LogRecorder log;
//     HxLog("%d lines"_hx, 3);
//     EXPECT_EQ(log.messages(), std::vector<std::string>{"3 lines"});

#include <mutex>
#include <string>
#include <vector>

#include "Rondel/core/report/Log.h"

namespace rondel::test {

class LogRecorder {
 public:
  LogRecorder() : _outer(innermost) {
    innermost = this;
    _former = HxSetLogOutput(&note);
  }
  ~LogRecorder() {
    HxSetLogOutput(_former);
    innermost = _outer;
  }
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  std::vector<std::string> messages() const {
    const std::lock_guard<std::mutex> guard(_lock);
    return _messages;
  }
  // Returns the messages since the last call, each with a line end after it.
  std::string takeLines() {
    const std::lock_guard<std::mutex> guard(_lock);
    std::string lines;
    for (const std::string& message : _messages) lines += message + '\n';
    _messages.clear();
    return lines;
  }

 private:
  static void note(const HxString& message) {
    const std::lock_guard<std::mutex> guard(innermost->_lock);
    innermost->_messages.push_back(message.toStdString());
  }

  static inline LogRecorder* innermost = nullptr;
  LogRecorder* const _outer;
  HxLogOutput _former = nullptr;
  mutable std::mutex _lock;
  std::vector<std::string> _messages;
};

}  // namespace rondel::test
