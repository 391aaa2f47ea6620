// SPDX-License-Identifier: MIT
#include "Rondel/testing/TaskRecorder.h"

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/RunLoop.h"

namespace rondel::test {

namespace {

void call(const TaskRecorder::Hook& hook, ZevMoTask* task) {
  if (hook) hook(task);
}

}  // namespace

void TaskRecorder::taskDidStart(ZevMoTask* task) {
  events.emplace_back("start");
  call(onStart, task);
}

void TaskRecorder::taskOutputData(ZevMoTask* task, const HxData& data) {
  output += bytesOf(data);
  if (events.empty() || events.back() != "output") events.emplace_back("output");
  call(onOutput, task);
}

void TaskRecorder::taskFailureMessage(ZevMoTask* task, const HxString& message) {
  events.push_back("failure " + message.toStdString());
  _isOver = true;
  call(onFailure, task);
}

void TaskRecorder::taskDidStop(ZevMoTask* task, bool stopRequested) {
  events.emplace_back(stopRequested ? "stop 1" : "stop 0");
  _isOver = true;
  call(onStop, task);
}

Ref<ZevMoTask> shellTask(const char* script, TaskRecorder& recorder) {
  Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&recorder);
  task->setTaskPath("/bin/sh"_hx);
  task->setTaskArguments(
      HxArray::arrayWithObjects({"-c"_hx, HxString::stringWithUTF8String(script)}));
  return task;
}

bool runUntil(const std::function<bool()>& condition) {
  constexpr double kMostSeconds = 30;
  const HxDate limit = HxDate::dateWithTimeIntervalSinceNow(kMostSeconds);
  while (!condition()) {
    if (limit.timeIntervalSinceNow() <= 0) return false;
    HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                         HxDate::dateWithTimeIntervalSinceNow(0.05));
  }
  return true;
}

bool runToEnd(ZevMoTask& task, TaskRecorder& recorder) {
  task.startTask();
  return runUntil([&] { return recorder.isOver(); });
}

void runFor(double seconds) {
  const HxDate limit = HxDate::dateWithTimeIntervalSinceNow(seconds);
  runUntil([&] { return limit.timeIntervalSinceNow() <= 0; });
}

HxData dataOf(std::string_view bytes) { return HxData::dataWithBytes(bytes.data(), bytes.size()); }

std::string bytesOf(const HxData& data) {
  return std::string(reinterpret_cast<const char*>(data.bytes()), data.length());
}

namespace {

internal::Mutex captureLock;
std::vector<std::string> captured RONDEL_GUARDED_BY(captureLock);
HxLogOutput formerOutput = nullptr;

void keepLine(const HxString& message) {
  const internal::MutexLock held(captureLock);
  captured.push_back(message.toStdString());
}

}  // namespace

LogCapture::LogCapture() {
  {
    const internal::MutexLock held(captureLock);
    captured.clear();
  }
  formerOutput = HxSetLogOutput(keepLine);
}

LogCapture::~LogCapture() { HxSetLogOutput(formerOutput); }

std::vector<std::string> LogCapture::lines() const {
  const internal::MutexLock held(captureLock);
  return captured;
}

}  // namespace rondel::test
