// SPDX-License-Identifier: MIT
//
// What the sources of ZevMoTask share. Task.cc has its life, settings, input and questions.
// TaskStart.cc has the way to a run under way, TaskEnd.cc the way to its end.
#pragma once

#include <utility>

#include "Rondel/Streams/Task.h"
#include "Rondel/host/Architecture.h"

namespace rondel {

// Observes for its task, so that a post that is under way shares nothing of the task.
class ZevMoTask::Listener final : public HxObject {
 public:
  explicit Listener(ZevMoTask& task) : _task(&task) {}
  void leave() { _task = nullptr; }
  void outputArrived(const HxNotification& notification) {
    if (_task) _task->fileActivityNotification(notification);
  }
  void childExited(const HxNotification& notification) {
    if (_task) _task->taskDidTerminate(notification);
  }

 private:
  ~Listener() override = default;
  ZevMoTask* _task;  // null once the task goes
};

// The one share that a task has of itself while it calls out. So it can tell whether anybody else
// has one.
class ZevMoTask::SelfShare final : public HxObject {
 public:
  explicit SelfShare(Ref<ZevMoTask> task) : _task(std::move(task)) { _task->_selfShare = this; }

 private:
  ~SelfShare() override { _task->_selfShare = nullptr; }
  const Ref<ZevMoTask> _task;
};

namespace internal {

inline HxArray anyArchitecture() {
  return HxArray::arrayWithObject(HxNumber::numberWithInt(kAnyCpuType));
}

// Calls both, the second one also if the first one raises.
template <class First, class Second>
void callBoth(First first, Second second) {
  try {
    first();
  } catch (...) {
    second();
    throw;
  }
  second();
}

}  // namespace internal
}  // namespace rondel
