// SPDX-License-Identifier: MIT
//
// The way of a task from startTask to a run that is under way.
#include <cstdlib>

#include "Rondel/Streams/internal/TaskParts.h"
#include "Rondel/Streams/internal/TaskWriter.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/host/FileManager.h"
#include "Rondel/host/NotificationCenter.h"

namespace rondel {

using internal::anyArchitecture;
using internal::callBoth;
using internal::TaskWriter;

namespace {

// Returns whether tasks start children at all. Read once a process.
bool doLaunch() {
  static const bool decision = std::getenv("ZevMoTaskDontLaunch") == nullptr;
  return decision;
}

}  // namespace

void ZevMoTask::failToStart(const HxString& message) {
  if (!_delegate) return;
  keepAliveThisTurn();
  _delegate->taskFailureMessage(this, message);
}

void ZevMoTask::startTask() {
  MO_OPERATION("-[ZevMoTask startTask]");
  MoAssert(!_runIsUnderWay);
  if (_runIsUnderWay) return;
  const HxAny alive = keptAlive();  // a delegate may drop the task
  forgetEarlierRun();
  if (!_taskPath) {
    failToStart("Nil task path"_hx);
    return;
  }
  if (!HxFileManager::defaultManager()->fileExistsAtPath(_taskPath)) {
    failToStart(HxString::stringWithFormat("Task not found at path: %@"_hx, _taskPath));
    return;
  }
  const HxUInteger runNumber = _runNumber;
  callBoth([&] { run(_taskPath, _taskDirectory, _taskArgs, _taskEnv, _preferredArchitectures); },
           [&] {
             // Also after a launch that has failed.
             if (runNumber == _runNumber && _taskAutoStdinData) sendAutomaticInput();
           });
}

void ZevMoTask::executeTaskAtPath(const HxString& path, const HxString& directory,
                                  const HxArray& arguments, const HxDictionary& environment) {
  executeTaskAtPath(path, directory, arguments, environment, anyArchitecture());
}

void ZevMoTask::executeTaskAtPath(const HxString& path, const HxString& directory,
                                  const HxArray& arguments, const HxDictionary& environment,
                                  const HxArray& preferredArchitectures) {
  MO_OPERATION(
      "-[ZevMoTask executeTaskAtPath:inDirectory:withArguments:withEnvironment:"
      "withPreferredAchitectures:]");
  MoAssert(!_runIsUnderWay);
  if (_runIsUnderWay) return;
  const HxAny alive = keptAlive();
  forgetEarlierRun();
  run(path, directory, arguments, environment, preferredArchitectures);
}

// What the earlier run made itself. Handles that were supplied stay.
void ZevMoTask::forgetEarlierRun() {
  dropProcess();
  stopObservingOutput();
  if (_toTaskPipe && _toTaskHandle == _toTaskPipe->fileHandleForWriting()) _toTaskHandle = nullptr;
  if (_fromTaskPipe && _fromTaskHandle == _fromTaskPipe->fileHandleForReading()) {
    _fromTaskHandle = nullptr;
    _readTaskOutput = false;
  }
  _toTaskPipe = nullptr;
  _fromTaskPipe = nullptr;
  if (_writer && _wasStarted) {
    _writer->abandon();
    _writer = nullptr;
  }
  ++_runNumber;
  _wasStarted = true;
  _taskIsRunning = false;
  _terminationStatus = 0;
}

void ZevMoTask::run(const HxString& path, const HxString& directory, const HxArray& arguments,
                    const HxDictionary& environment, const HxArray& preferredArchitectures) {
  _task = HxTask::init();
  if (preferredArchitectures) _task->setPreferredArchitectures(preferredArchitectures);
  if (!prepareStandardInput() || !prepareOutput()) return;
  configure(path, directory, arguments, environment);
  if (!launch(path)) return;
  const HxUInteger runNumber = _runNumber;
  callBoth(
      [this] {
        if (!_delegate) return;
        keepAliveThisTurn();
        _delegate->taskDidStart(this);
      },
      [&] { beginRunning(runNumber); });
}

bool ZevMoTask::prepareStandardInput() {
  if (_toTaskHandle) {
    _task->setStandardInput(_toTaskHandle);
    return true;
  }
  _toTaskPipe = HxPipe::init();
  if (!_toTaskPipe) {
    HxLog("ZevMoTask: could not allocate HxPipe to task."_hx);
    failToStart("could not allocate HxPipe to task"_hx);
    return false;
  }
  _toTaskHandle = _toTaskPipe->fileHandleForWriting();
  _task->setStandardInput(_toTaskPipe);
  return true;
}

// Output and error output are one channel, whoever supplies it.
bool ZevMoTask::prepareOutput() {
  if (_fromTaskHandle) {
    _task->setStandardOutput(_fromTaskHandle);
    _task->setStandardError(_fromTaskHandle);
    return true;
  }
  _fromTaskPipe = HxPipe::init();
  if (!_fromTaskPipe) {
    HxLog("ZevMoTask: could not allocate HxPipe from task."_hx);
    failToStart("could not allocate HxPipe from task"_hx);
    return false;
  }
  _fromTaskHandle = _fromTaskPipe->fileHandleForReading();
  _readTaskOutput = true;
  _task->setStandardOutput(_fromTaskPipe);
  _task->setStandardError(_fromTaskPipe);
  return true;
}

void ZevMoTask::configure(const HxString& path, const HxString& directory, const HxArray& arguments,
                          const HxDictionary& environment) {
  const Ref<HxNotificationCenter> center = HxNotificationCenter::defaultCenter();
  _runReadsOutput = _readTaskOutput && _fromTaskHandle;
  if (_runReadsOutput) {
    center->addObserver<&Listener::outputArrived>(
        _listener.get(), HxFileHandleReadCompletionNotification, _fromTaskHandle);
  }
  _task->setLaunchPath(path);
  if (directory) _task->setCurrentDirectoryPath(directory);
  if (arguments) _task->setArguments(arguments);
  if (environment) _task->setEnvironment(environment);
  _task->setStartsNewProcessGroup(_startsNewProcessGroup);
  center->addObserver<&Listener::childExited>(_listener.get(), HxTaskDidTerminateNotification,
                                              _task);
  _stopRequested = false;
  _gotLastFileNotification = false;
  _gotTaskTerminationNotification = false;
  _didSendStop = false;
}

// Without a child no run is under way: nothing will end it.
bool ZevMoTask::launch(const HxString& path) {
  if (!doLaunch()) return true;
  try {
    if (_writesInBackground && !_writer) _writer = TaskWriter::start();
    _task->launch();
    _runIsUnderWay = true;
    return true;
  } catch (const HxException& exception) {
    const HxString message =
        HxString::stringWithFormat("Exception starting task (%@) ; name: %@, reason: %@"_hx, path,
                                   exception.name(), exception.reason());
    const HxUInteger runNumber = _runNumber;
    callBoth([&] { failToStart(message); },
             [&] {
               if (runNumber == _runNumber) dropProcess();  // else the delegate has tried again
             });
    return false;
  }
}

// After taskDidStart, so that nothing can be sent in there. By now the delegate may have cleaned up
// or started another run, terminated the child, or heard its exit.
void ZevMoTask::beginRunning(HxUInteger runNumber) {
  if (runNumber != _runNumber || !_task) return;
  _taskIsRunning = !_gotTaskTerminationNotification && !_stopRequested;
  if (_runReadsOutput) startReading();
}

void ZevMoTask::sendAutomaticInput() {
  callBoth(
      [this] {
        // Empty data would end a background writer before the close.
        if (!_taskAutoStdinData.isEmpty()) sendDataToTask(_taskAutoStdinData);
      },
      [this] { closeInputAfterWrites(); });
}

}  // namespace rondel
