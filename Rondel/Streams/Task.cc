// SPDX-License-Identifier: MIT
#include "Rondel/Streams/Task.h"

#include <cstdlib>
#include <mutex>

#include "Rondel/Streams/internal/TaskWriter.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/Architecture.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/FileManager.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/RunLoop.h"

namespace rondel {

using internal::TaskWriter;

// ---- Process-wide state -----------------------------------------------------------------------

namespace {

// A stack of free run-loop modes: there are never more names than there were tasks alive at once.
struct RunLoopModePool {
  std::mutex lock;
  HxMutableArray runLoopModeNames = HxMutableArray::array();
  HxUInteger uniqueIdCounter = 0;

  static RunLoopModePool& shared() {
    static auto* pool = new RunLoopModePool;
    return *pool;
  }
};

// Whether tasks start children at all: read once a process.
bool doLaunch() {
  static const bool decision = std::getenv("ZevMoTaskDontLaunch") == nullptr;
  return decision;
}

HxArray anyArchitecture() { return HxArray::arrayWithObject(HxNumber::numberWithInt(kAnyCpuType)); }

}  // namespace

HxString ZevMoTask::checkoutRunLoopMode() {
  RunLoopModePool& pool = RunLoopModePool::shared();
  const std::scoped_lock held(pool.lock);
  if (pool.runLoopModeNames.isEmpty()) {
    return HxString::stringWithFormat("ZevTaskDataCaptureRunLoopMode-0x%08lX"_hx,
                                      pool.uniqueIdCounter++);
  }
  HxString name = as<HxString>(pool.runLoopModeNames.lastObject());
  pool.runLoopModeNames.removeLastObject();
  return name;
}

void ZevMoTask::checkInRunLoopMode(const HxString& mode) {
  RunLoopModePool& pool = RunLoopModePool::shared();
  const std::scoped_lock held(pool.lock);
  pool.runLoopModeNames.addObject(mode);
}

// ---- Life -------------------------------------------------------------------------------------

HxClass ZevMoTask::classObject() noexcept {
  static const HxClassInfo info{"ZevMoTask", HxObject::classObject().info(),
                                [] { return HxAny(init()); }};
  return HxClass(&info);
}

Ref<ZevMoTask> ZevMoTask::init() { return Ref<ZevMoTask>::adopt(new ZevMoTask); }

ZevMoTask::ZevMoTask()
    : _byteStream(ZevMoByteStream::stream()),
      _dataCaptureRunLoopMode(checkoutRunLoopMode()),
      _readModes(HxArray::arrayWithObjects({HxDefaultRunLoopMode, _dataCaptureRunLoopMode})),
      _preferredArchitectures(anyArchitecture()) {
  _byteStream->setName("task output stream"_hx);
}

ZevMoTask::~ZevMoTask() {
  _delegate = nullptr;
  _byteStream = nullptr;
  cleanupAfterTask();
  checkInRunLoopMode(_dataCaptureRunLoopMode);
}

void ZevMoTask::keepAliveThisTurn() {
  HxRunLoop::currentRunLoop()->retainUntilEndOfTurn(HxAny(this));
}

// ---- Configuration ----------------------------------------------------------------------------

void ZevMoTask::setDelegate(ZevMoTaskDelegate* delegate) {
  _delegate = delegate;
  if (!delegate) cleanupAfterTask();
}

void ZevMoTask::setTaskStdInputFileHandle(const Ref<HxFileHandle>& handle) {
  _toTaskHandle = handle;
}

void ZevMoTask::setTaskStdOutputFileHandleReadTaskOutput(const Ref<HxFileHandle>& handle,
                                                         bool readTaskOutput) {
  if (handle == _fromTaskHandle) return;
  stopObservingOutput();
  _fromTaskHandle = handle;
  _readTaskOutput = readTaskOutput;
}

void ZevMoTask::performWritesInBackground() {
  if (!_writer) _writer = TaskWriter::start();
}

// ---- Starting ---------------------------------------------------------------------------------

// Gives whether the run that failed is still the present one: the delegate may start another.
bool ZevMoTask::failToStart(const HxString& message) {
  const Ref<HxTask> failed = _task;
  if (_delegate) {
    keepAliveThisTurn();
    _delegate->taskFailureMessage(this, message);
  }
  if (_task != failed) return false;
  _taskIsRunning = false;
  return true;
}

void ZevMoTask::startTask() {
  const Ref<ZevMoTask> kept(this);  // a delegate may drop the task
  if (!_taskPath) {
    dropProcess();
    failToStart("Nil task path"_hx);
    return;
  }
  if (!HxFileManager::defaultManager()->fileExistsAtPath(_taskPath)) {
    dropProcess();
    failToStart(HxString::stringWithFormat("Task not found at path: %@"_hx, _taskPath));
    return;
  }
  executeTaskAtPath(_taskPath, _taskDirectory, _taskArgs, _taskEnv, _preferredArchitectures);
  if (_taskAutoStdinData) {
    // Also when the launch has failed; and the close does not wait for a write in the background.
    sendDataToTask(_taskAutoStdinData);
    if (const Ref<HxFileHandle> input = taskStandardInput()) input->closeFile();
  }
}

void ZevMoTask::executeTaskAtPath(const HxString& path, const HxString& directory,
                                  const HxArray& arguments, const HxDictionary& environment) {
  executeTaskAtPath(path, directory, arguments, environment, anyArchitecture());
}

void ZevMoTask::executeTaskAtPath(const HxString& path, const HxString& directory,
                                  const HxArray& arguments, const HxDictionary& environment,
                                  const HxArray& preferredArchitectures) {
  const Ref<ZevMoTask> kept(this);
  dropProcess();
  stopObservingOutput();
  _task = HxTask::init();
  if (preferredArchitectures) _task->setPreferredArchitectures(preferredArchitectures);
  if (!prepareStandardInput() || !prepareOutput()) return;
  configure(path, directory, arguments, environment);
  if (!launch(path)) return;
  if (_delegate) {
    keepAliveThisTurn();
    _delegate->taskDidStart(this);
  }
  if (_readTaskOutput) startReading();
  // Last, so that nothing can be sent or stopped during taskDidStart; the delegate may have cleaned
  // up there.
  _taskIsRunning = _task.get() != nullptr;
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
  if (_readTaskOutput && _fromTaskHandle) {
    center->addObserver<&ZevMoTask::fileActivityNotification>(
        this, HxFileHandleReadCompletionNotification, _fromTaskHandle);
  }
  _task->setLaunchPath(path);
  if (directory) _task->setCurrentDirectoryPath(directory);
  if (arguments) _task->setArguments(arguments);
  if (environment) _task->setEnvironment(environment);
  _task->setStartsNewProcessGroup(_startsNewProcessGroup);
  center->addObserver<&ZevMoTask::taskDidTerminate>(this, HxTaskDidTerminateNotification, _task);
  _stopRequested = false;
  _taskIsRunning = false;
  _gotLastFileNotification = false;
  _gotTaskTerminationNotification = false;
  _didSendStop = false;
}

// Others may have a share of the process object or of the handle, which then have news when this
// run is over. So nothing is dropped that is still observed.
void ZevMoTask::dropProcess() {
  if (!_task) return;
  HxNotificationCenter::defaultCenter()->removeObserver(this, HxTaskDidTerminateNotification,
                                                        _task);
  _task = nullptr;
}

void ZevMoTask::stopObservingOutput() {
  if (!_fromTaskHandle) return;
  HxNotificationCenter::defaultCenter()->removeObserver(
      this, HxFileHandleReadCompletionNotification, _fromTaskHandle);
}

bool ZevMoTask::launch(const HxString& path) {
  if (!doLaunch()) return true;
  try {
    _task->launch();
    return true;
  } catch (const HxException& exception) {
    const HxString message =
        HxString::stringWithFormat("Exception starting task (%@) ; name: %@, reason: %@"_hx, path,
                                   exception.name(), exception.reason());
    if (failToStart(message)) dropProcess();
    return false;
  }
}

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

void ZevMoTask::waitUntilExit() {
  if (!_task) return;
  // The default mode first, in which the delegate may well hear everything; then a pass for this
  // task's reads alone, which leaves the other sources of the default mode in peace.
  constexpr HxTimeInterval kLastOutputSeconds = 0.5;
  constexpr HxTimeInterval kMarginSeconds = 0.025;
  const Ref<ZevMoTask> kept(this);
  const Ref<HxRunLoop> runLoop = HxRunLoop::currentRunLoop();
  Ref<HxTask>(_task)->waitUntilExit();
  const HxDate deadline = HxDate::dateWithTimeIntervalSinceNow(kLastOutputSeconds);
  while (deadline.timeIntervalSinceNow() > kMarginSeconds) {
    if (!runLoop->runMode(_dataCaptureRunLoopMode, deadline)) break;
  }
}

void ZevMoTask::closeTaskHandles() {
  if (_fromTaskHandle) _fromTaskHandle->closeFile();
  if (_toTaskHandle) _toTaskHandle->closeFile();
}

void ZevMoTask::cleanupAfterTask() {
  dropProcess();
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
  // The writer stays, ended: the object serves one run.
  if (_writer) _writer->abandon();
}

// ---- Output and exit --------------------------------------------------------------------------

// A handle that cannot be watched is at its end: closing it keeps the child from waiting for a
// reader that will not come, and the run ends with the exit.
void ZevMoTask::startReading() {
  if (!_fromTaskHandle) return;  // a delegate or a consumer has cleaned up meanwhile
  try {
    _fromTaskHandle->readInBackgroundAndNotifyForModes(_readModes);
  } catch (const HxException& exception) {
    HxLog("ZevMoTask: could not read from task: %@"_hx, exception.reason());
    _fromTaskHandle->closeFile();
    outputDidEnd();
  }
}

void ZevMoTask::outputDidEnd() {
  _gotLastFileNotification = true;
  if (_gotTaskTerminationNotification) _sendDidStop();
}

void ZevMoTask::fileActivityNotification(const HxNotification& notification) {
  const Ref<ZevMoTask> kept(this);
  const HxData data =
      notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
  if (data.isEmpty()) {
    outputDidEnd();
    return;
  }
  try {
    passOn(data);
  } catch (...) {
    startReading();  // the run goes on to its end, whatever a consumer raises
    throw;
  }
  startReading();
}

void ZevMoTask::passOn(const HxData& data) {
  if (_byteStream->streamConsumer()) {
    _byteStream->sendBytes(data);
  } else if (_delegate) {
    keepAliveThisTurn();
    _delegate->taskOutputData(this, data);
  }
}

void ZevMoTask::taskDidTerminate(const HxNotification&) {
  const Ref<ZevMoTask> kept(this);
  if (_writer) _writer->finish();  // blocks until the write in progress has returned
  _taskIsRunning = false;
  _gotTaskTerminationNotification = true;
  _terminationStatus = _task->terminationStatus();
  if (_readTaskOutput) {
    if (!_gotLastFileNotification) return;  // the end of output will finish the job
  } else if (_synchronizedFileHandleDelegate) {
    _synchronizedFileHandleDelegate->taskDidStopForSynchronizedFileHandle();
    // On false its report of the last data will finish the job. The owner may have left meanwhile.
    if (!_synchronizedFileHandleDelegate ||
        !_synchronizedFileHandleDelegate->didSynchronizedFileHandleReceiveLastData()) {
      return;
    }
  }
  _sendDidStop();
}

void ZevMoTask::synchronizedFileHandleDidReceivedLastData() {
  if (_gotTaskTerminationNotification) _sendDidStop();
}

// Once a run, also when the owner of the output reports its last data while it is asked for it.
void ZevMoTask::_sendDidStop() {
  if (_didSendStop) return;
  _didSendStop = true;
  const Ref<ZevMoTask> kept(this);
  if (_byteStream->streamConsumer()) {
    keepAliveThisTurn();
    _byteStream->sendStreamDidEnd();
  }
  if (_delegate) {
    keepAliveThisTurn();
    _delegate->taskDidStop(this, _stopRequested);
  }
}

// ---- Input ------------------------------------------------------------------------------------

bool ZevMoTask::isWritable() const {
  return _taskIsRunning && _toTaskHandle && _task && _task->isRunning();
}

void ZevMoTask::sendDataToTask(const HxData& data) {
  // The end mark of the background writer passes also when the child has gone.
  if (!isWritable() && (!_writer || !data.isEmpty())) return;
  if (_writer) {
    _writer->queue(_toTaskHandle, data);
  } else {
    _toTaskHandle->writeData(data);
  }
}

void ZevMoTask::sendStringAsCStringToTask(const HxString& string) {
  const HxCString bytes = string.fileSystemRepresentation();
  sendDataToTask(HxData::dataWithBytes(bytes.c_str(), bytes.length()));
}

void ZevMoTask::closeInputAfterWrites() {
  if (!_toTaskHandle) return;
  if (_writer) {
    _writer->queueClose(_toTaskHandle);
  } else {
    _toTaskHandle->closeFile();
  }
}

void ZevMoTask::streamProcessBytes(ZevMoStream*, const HxData& data) { sendDataToTask(data); }

// ---- Questions --------------------------------------------------------------------------------

Ref<HxFileHandle> ZevMoTask::taskStandardInput() const {
  return _writer && _writer->hasFailed(_toTaskHandle.get()) ? Ref<HxFileHandle>() : _toTaskHandle;
}

std::int32_t ZevMoTask::platformExitInformation() const {
  return _task ? _task->_platformExitInformation() : -1;
}

int ZevMoTask::processID() const { return _task ? _task->_procid() : 0; }

HxString ZevMoTask::description() const {
  return HxString::stringWithFormat("%@ %@"_hx, _taskPath,
                                    _taskArgs.componentsJoinedByString(" "_hx));
}

// ---- Architectures ----------------------------------------------------------------------------

HxNumber ZevMoTask::_cpuTypeForArch(const HxString& name) {
  const HnArchInfo* info = HnGetArchInfoFromName(name.UTF8String().c_str());
  return info ? HxNumber::numberWithInt(info->cputype) : HxNumber();
}

HxString ZevMoTask::_cpuStringForCPUSubType(const HxNumber& type) {
  if (!type) return nullptr;
  const HnArchInfo* info = HnGetArchInfoFromCpuType(type.intValue(), kAnyCpuSubtype);
  if (info) info = HnGetArchInfoFromCpuType(info->cputype, kAnyCpuSubtype);
  return info ? HxString::stringWithUTF8String(info->name) : HxString();
}

HxString ZevMoTask::cpuTypeStringForArch(const HxString& name) {
  return _cpuStringForCPUSubType(_cpuTypeForArch(name));
}

HxArray ZevMoTask::cpuTypesForArchStrings(const HxArray& names) {
  HxMutableArray types = HxMutableArray::array();
  for (const HxAny& name : names) types.addObject(_cpuTypeForArch(as<HxString>(name)));
  return types;
}

HxArray ZevMoTask::architecturesForCPUTypes(const HxArray& types) {
  HxMutableArray names = HxMutableArray::array();
  for (const HxAny& type : types) names.addObject(_cpuStringForCPUSubType(as<HxNumber>(type)));
  return names;
}

}  // namespace rondel
