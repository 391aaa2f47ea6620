// SPDX-License-Identifier: MIT
#pragma once

// Helpers that start children in tests and observe their end.

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/RunLoops.h"

namespace rondel::test {

inline HxString text(std::string_view utf8) { return HxString(utf8); }

inline HxArray arguments(std::initializer_list<std::string_view> words) {
  HxMutableArray array = HxMutableArray::array();
  for (const std::string_view word : words) array.addObject(text(word));
  return array;
}

inline Ref<HxTask> taskOf(std::string_view path,
                          std::initializer_list<std::string_view> words = {}) {
  const auto task = HxTask::init();
  task->setLaunchPath(text(path));
  task->setArguments(arguments(words));
  return task;
}

inline Ref<HxTask> shell(std::string_view script) { return taskOf("/bin/sh", {"-c", script}); }

inline Ref<HxTask> helper(std::string_view name,
                          std::initializer_list<std::string_view> words = {}) {
  return taskOf(programPath(name), words);
}

inline std::string stringOf(const HxData& data) {
  return {reinterpret_cast<const char*>(data.bytes()), data.length()};
}

/// Counts the exits that it hears of.
class Watcher : public HxObject {
 public:
  explicit Watcher(const Ref<HxTask>& task) {
    HxNotificationCenter::defaultCenter()->addObserver<&Watcher::ended>(
        this, HxTaskDidTerminateNotification, task);
  }
  ~Watcher() override { HxNotificationCenter::defaultCenter()->removeObserver(this); }
  void ended(const HxNotification&) {
    ++count;
    thread = std::this_thread::get_id();
    if (reaction) reaction();
  }
  int count = 0;
  std::thread::id thread;
  std::function<void()> reaction;
};

/// Runs a child to its end. Returns its output.
inline std::string outputOf(const Ref<HxTask>& task) {
  const auto pipe = HxPipe::init();
  task->setStandardOutput(pipe);
  task->launch();
  const std::string output = stringOf(pipe->fileHandleForReading()->readDataToEndOfFile());
  task->waitUntilExit();
  return output;
}

inline int statusOf(const Ref<HxTask>& task) {
  task->launch();
  task->waitUntilExit();
  EXPECT_FALSE(task->isRunning());
  return task->terminationStatus();
}

/// Returns "name: reason" of what the launch raises; empty if it raises nothing.
inline std::string failureOf(const Ref<HxTask>& task) {
  try {
    task->launch();
  } catch (const HxException& exception) {
    return exception.what();
  }
  task->waitUntilExit();
  return "";
}

}  // namespace rondel::test
