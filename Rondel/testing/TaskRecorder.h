// SPDX-License-Identifier: MIT
#pragma once

// Runs tasks in tests, and writes down what their delegates hear.

#include <functional>
#include <string>
#include <vector>

#include "Rondel/Streams/Task.h"

namespace rondel::test {

/// A delegate that keeps every event in order: "start", "output", "failure TEXT", "stop 0" or "stop
/// 1". Runs of output count once. A hook is called after the note of its event.
class TaskRecorder final : public HxObject, public ZevMoTaskDelegate {
 public:
  using Hook = std::function<void(ZevMoTask*)>;

  void taskDidStart(ZevMoTask* task) override;
  void taskOutputData(ZevMoTask* task, const HxData& data) override;
  void taskFailureMessage(ZevMoTask* task, const HxString& message) override;
  void taskDidStop(ZevMoTask* task, bool stopRequested) override;

  bool isOver() const { return _isOver; }  // stopped or failed

  std::vector<std::string> events;
  std::string output;
  Hook onStart, onOutput, onFailure, onStop;

 private:
  bool _isOver = false;
};

/// A task that runs `script` with /bin/sh and tells the recorder.
Ref<ZevMoTask> shellTask(const char* script, TaskRecorder& recorder);

/// Runs the default mode until the condition holds. Returns false if it does not within 30 seconds.
bool runUntil(const std::function<bool()>& condition);

/// Starts the task and runs until the recorder has heard its end.
bool runToEnd(ZevMoTask& task, TaskRecorder& recorder);

/// Runs the default mode for so long, whatever happens.
void runFor(double seconds);

HxData dataOf(std::string_view bytes);
std::string bytesOf(const HxData& data);

/// Keeps what is logged while it lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<std::string> lines() const;
};

}  // namespace rondel::test
