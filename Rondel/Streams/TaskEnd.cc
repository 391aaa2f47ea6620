// SPDX-License-Identifier: MIT
//
// The way of a task from a run that is under way to its end.
#include <algorithm>
#include <new>

#include "Rondel/Streams/internal/TaskParts.h"
#include "Rondel/Streams/internal/TaskWriter.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/RunLoop.h"

namespace rondel {

using internal::callBoth;

// ---- Ending -----------------------------------------------------------------------------------

void ZevMoTask::stopTask() {
  if (!_taskIsRunning) return;
  _stopRequested = true;
  _taskIsRunning = false;
  if (_task) _task->terminate();
}

void ZevMoTask::interruptTask() {
  if (_task) _task->interrupt();
}

void ZevMoTask::terminateWithGraceTime(HxTimeInterval seconds) {
  if (!_task || !_task->isRunning()) return;
  _stopRequested = true;
  _taskIsRunning = false;
  _task->terminateWithGraceTime(seconds);
}

bool ZevMoTask::sendSignal(int signal) { return _task && _task->sendSignal(signal); }

bool ZevMoTask::sendSignalToProcessGroup(int signal) {
  return _task && _task->sendSignalToProcessGroup(signal);
}

void ZevMoTask::waitUntilExit() { waitUntilExitBeforeDate(HxDate::distantFuture()); }

bool ZevMoTask::waitUntilExitBeforeDate(const HxDate& limit) {
  if (!_task) return false;
  // The default mode first, in which the delegate may well hear everything. Then a pass for this
  // task's reads alone, which leaves the other sources of the default mode in peace.
  constexpr HxTimeInterval kLastOutputSeconds = 0.5;
  constexpr HxTimeInterval kMarginSeconds = 0.025;
  const HxAny alive = keptAlive();
  const Ref<HxRunLoop> runLoop = HxRunLoop::currentRunLoop();
  const bool hasExited = Ref<HxTask>(_task)->waitUntilExitBeforeDate(limit);
  const HxDate deadline = HxDate::dateWithTimeIntervalSinceNow(
      std::min(limit.timeIntervalSinceNow(), kLastOutputSeconds));
  while (deadline.timeIntervalSinceNow() > kMarginSeconds) {
    if (!runLoop->runMode(_dataCaptureRunLoopMode.name, deadline)) break;
  }
  return hasExited;
}

void ZevMoTask::closeTaskHandles() {
  const HxAny alive = keptAlive();
  if (_fromTaskHandle) _fromTaskHandle->closeFile();
  if (_toTaskHandle) _toTaskHandle->closeFile();
  if (_runReadsOutput) outputDidEnd();
}

void ZevMoTask::cleanupAfterTask() {
  const HxAny alive = keptAlive();
  dropProcess();
  _runIsUnderWay = false;
  _taskIsRunning = false;
  stopObservingOutput();
  _fromTaskPipe = nullptr;
  _fromTaskHandle = nullptr;
  _toTaskPipe = nullptr;
  _toTaskHandle = nullptr;
  _taskPath = nullptr;
  _taskDirectory = nullptr;
  _taskArgs = nullptr;
  _taskEnv = nullptr;
  _taskAutoStdinData = nullptr;
  if (_writer) _writer->abandon();
  _writer = nullptr;
  setSynchronizedFileHandleDelegate(nullptr);
}

// Others may share the process object or the handle, which then have news after this run is over.
// So nothing is dropped that is still observed.
void ZevMoTask::dropProcess() {
  if (!_task) return;
  HxNotificationCenter::defaultCenter()->removeObserver(_listener.get(),
                                                        HxTaskDidTerminateNotification, _task);
  _task = nullptr;
}

void ZevMoTask::stopObservingOutput() {
  if (!_fromTaskHandle) return;
  HxNotificationCenter::defaultCenter()->removeObserver(
      _listener.get(), HxFileHandleReadCompletionNotification, _fromTaskHandle);
}

// ---- Output and exit --------------------------------------------------------------------------

// A handle that cannot be watched is at its end. Closing it keeps the child from waiting for a
// reader that will not come. The run ends with the exit.
void ZevMoTask::startReading() {
  if (hasOutputEnded()) return;  // a delegate or a consumer has closed it or cleaned up
  try {
    _fromTaskHandle->readInBackgroundAndNotifyForModes(_readModes);
  } catch (const HxException& exception) {
    HxLog("ZevMoTask: could not read from task: %@"_hx, exception.reason());
    _fromTaskHandle->closeFile();
    outputDidEnd();
  } catch (const std::bad_alloc&) {
    _fromTaskHandle->closeFile();
    outputDidEnd();
    throw;
  }
}

void ZevMoTask::outputDidEnd() {
  _gotLastFileNotification = true;
  if (_gotTaskTerminationNotification) _sendDidStop();
}

// A handle that was closed directly posts nothing.
bool ZevMoTask::hasOutputEnded() const {
  return _gotLastFileNotification || !_fromTaskHandle || _fromTaskHandle->isClosed();
}

void ZevMoTask::fileActivityNotification(const HxNotification& notification) {
  if (isForsaken()) return;
  const HxAny alive = keptAlive();
  const HxUInteger runNumber = _runNumber;
  const HxData data =
      notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
  if (data.isEmpty()) {
    outputDidEnd();
    return;
  }
  // The run goes on to its end, whatever a consumer raises.
  callBoth([&] { passOn(data); },
           [&] {
             if (runNumber == _runNumber && !isForsaken()) startReading();
           });
}

void ZevMoTask::passOn(const HxData& data) {
  if (_byteStream->streamConsumer()) {
    _byteStream->sendBytes(data);
  } else if (_delegate) {
    keepAliveThisTurn();
    _delegate->taskOutputData(this, data);
  }
}

// A write that a descendant of the child keeps waiting must not hold the run loop. So the writer is
// not waited for. What is sent from now on is dropped, so the descendant may as well know.
void ZevMoTask::endBackgroundWrites() {
  if (!_writer) return;
  _writer->abandon();
  if (_toTaskPipe) _toTaskPipe->fileHandleForWriting()->closeFile();
}

void ZevMoTask::taskDidTerminate(const HxNotification&) {
  if (isForsaken()) return;
  const HxAny alive = keptAlive();
  endBackgroundWrites();
  _taskIsRunning = false;
  _gotTaskTerminationNotification = true;
  _terminationStatus = _task->terminationStatus();
  if (_runReadsOutput) {
    if (hasOutputEnded()) _sendDidStop();  // else the end of output will finish the job
  } else if (_synchronizedFileHandleDelegate) {
    notifyOwnerOfExit();
  } else {
    _sendDidStop();
  }
}

// If the owner says no, its report of the last data will finish the job. It may leave meanwhile, or
// clean up and start another run.
void ZevMoTask::notifyOwnerOfExit() {
  const HxUInteger runNumber = _runNumber;
  callBoth([this] { _synchronizedFileHandleDelegate->taskDidStopForSynchronizedFileHandle(); },
           [&] {
             if (runNumber != _runNumber || !_synchronizedFileHandleDelegate) return;
             const bool hasLastData =
                 _synchronizedFileHandleDelegate->didSynchronizedFileHandleReceiveLastData();
             if (hasLastData && runNumber == _runNumber) _sendDidStop();
           });
}

void ZevMoTask::synchronizedFileHandleDidReceivedLastData() {
  if (_gotTaskTerminationNotification) _sendDidStop();
}

// Once a run, also if the owner of the output reports its last data while it is asked for it.
void ZevMoTask::_sendDidStop() {
  if (!_runIsUnderWay || _didSendStop) return;
  _didSendStop = true;
  const HxAny alive = keptAlive();
  const HxUInteger runNumber = _runNumber;
  callBoth(
      [this] {
        if (!_byteStream->streamConsumer()) return;
        keepAliveThisTurn();
        _byteStream->sendStreamDidEnd();
      },
      [&] { notifyDelegateOfStop(runNumber); });
}

// While it heard of the stream's end, a consumer may have cleaned up and started another run. A
// cleanup alone does not take the stop from the delegate.
void ZevMoTask::notifyDelegateOfStop(HxUInteger runNumber) {
  if (runNumber != _runNumber) return;
  _runIsUnderWay = false;
  if (!_delegate) return;
  keepAliveThisTurn();
  _delegate->taskDidStop(this, _stopRequested);
}

}  // namespace rondel
