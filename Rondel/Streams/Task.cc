// SPDX-License-Identifier: MIT
#include "Rondel/Streams/Task.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "Rondel/Streams/internal/TaskWriter.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/report/Check.h"
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
  internal::Mutex lock;
  std::vector<HxString> runLoopModeNames RONDEL_GUARDED_BY(lock);
  HxUInteger uniqueIdCounter RONDEL_GUARDED_BY(lock) = 0;

  static RunLoopModePool& shared() {
    static auto* pool = new RunLoopModePool;
    return *pool;
  }
};

// Returns whether tasks start children at all. Read once a process.
bool doLaunch() {
  static const bool decision = std::getenv("ZevMoTaskDontLaunch") == nullptr;
  return decision;
}

HxArray anyArchitecture() { return HxArray::arrayWithObject(HxNumber::numberWithInt(kAnyCpuType)); }

}  // namespace

// There is always room for all names that were made, so that a task's destructor allocates nothing.
HxString ZevMoTask::checkoutRunLoopMode() {
  RunLoopModePool& pool = RunLoopModePool::shared();
  const internal::MutexLock held(pool.lock);
  if (pool.runLoopModeNames.empty()) {
    pool.runLoopModeNames.reserve(
        std::max(pool.runLoopModeNames.capacity(), std::bit_ceil(pool.uniqueIdCounter + 1)));
    return HxString::stringWithFormat("ZevTaskDataCaptureRunLoopMode-0x%08lX"_hx,
                                      pool.uniqueIdCounter++);
  }
  HxString name = std::move(pool.runLoopModeNames.back());
  pool.runLoopModeNames.pop_back();
  return name;
}

void ZevMoTask::checkInRunLoopMode(const HxString& mode) {
  RunLoopModePool& pool = RunLoopModePool::shared();
  const internal::MutexLock held(pool.lock);
  if (mode) pool.runLoopModeNames.push_back(mode);
}

// ---- Life -------------------------------------------------------------------------------------

HxClass ZevMoTask::classObject() noexcept {
  static const HxClassInfo info{"ZevMoTask", HxObject::classObject().info(),
                                [] { return HxAny(init()); }};
  return HxClass(&info);
}

Ref<ZevMoTask> ZevMoTask::init() { return Ref<ZevMoTask>::adopt(new ZevMoTask); }

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

ZevMoTask::ZevMoTask()
    : _listener(makeRef<Listener>(*this)),
      _byteStream(ZevMoByteStream::stream()),
      _readModes(HxArray::arrayWithObjects({HxDefaultRunLoopMode, _dataCaptureRunLoopMode.name})),
      _preferredArchitectures(anyArchitecture()) {
  _byteStream->setName("task output stream"_hx);
}

ZevMoTask::~ZevMoTask() {
  _delegate = nullptr;
  _byteStream = nullptr;
  try {
    cleanupAfterTask();
  } catch (...) {
    HxLog("ZevMoTask: the owner of an output handle raised while its task was destroyed."_hx);
  }
  _listener->leave();
}

// The one share that a task has of itself while it calls out. So it can tell whether anybody else
// has one.
class ZevMoTask::SelfShare final : public HxObject {
 public:
  explicit SelfShare(Ref<ZevMoTask> task) : _task(std::move(task)) { _task->_selfShare = this; }

 private:
  ~SelfShare() override { _task->_selfShare = nullptr; }
  const Ref<ZevMoTask> _task;
};

// Returns the share; nil in the destructor, when the object is there until that returns. While
// memory is short it is the task itself, which then looks like anybody's.
HxAny ZevMoTask::keptAlive() noexcept {
  if (_selfShare) return HxAny(_selfShare);
  if (!retainIfAlive()) return HxAny();
  const Ref<ZevMoTask> self = Ref<ZevMoTask>::adopt(this);
  try {
    return HxAny(makeRef<SelfShare>(self));
  } catch (const std::bad_alloc&) {
    return HxAny(self);
  }
}

// Outside a pass of the run loop nothing would end the share. While memory is short the share of
// the caller has to do.
void ZevMoTask::keepAliveThisTurn() noexcept {
  try {
    const Ref<HxRunLoop> runLoop = HxRunLoop::currentRunLoop();
    if (runLoop->isInPass()) runLoop->retainUntilEndOfTurn(keptAlive());
  } catch (const std::bad_alloc&) {
  }
}

// Returns whether only the task itself keeps it. Then the receivers of its events may be gone as
// well.
bool ZevMoTask::isForsaken() const { return _selfShare && isUniquelyReferenced(); }

// ---- Configuration ----------------------------------------------------------------------------

void ZevMoTask::setDelegate(ZevMoTaskDelegate* delegate) {
  _delegate = delegate;
  if (!delegate) cleanupAfterTask();
}

void ZevMoTask::setSynchronizedFileHandleDelegate(ZevMoTaskSynchronizedFileHandle* owner) {
  ZevMoTaskSynchronizedFileHandle* const former = _synchronizedFileHandleDelegate.get();
  if (former == owner) return;
  _synchronizedFileHandleDelegate = owner;
  if (former) former->synchronizedTaskWillGo(this);
}

// A pipe whose handle is replaced would stay open without a user, here and below.
void ZevMoTask::setTaskStdInputFileHandle(const Ref<HxFileHandle>& handle) {
  if (handle == _toTaskHandle) return;
  _toTaskPipe = nullptr;
  _toTaskHandle = handle;
}

void ZevMoTask::setTaskStdOutputFileHandleReadTaskOutput(const Ref<HxFileHandle>& handle,
                                                         bool readTaskOutput) {
  if (handle == _fromTaskHandle) return;
  const HxAny alive = keptAlive();
  stopObservingOutput();
  const bool wasRead = std::exchange(_readTaskOutput, readTaskOutput);
  _fromTaskPipe = nullptr;
  _fromTaskHandle = handle;
  if (_runIsUnderWay && wasRead) outputDidEnd();
}

void ZevMoTask::performWritesInBackground() {
  if (_writesInBackground) return;
  _writer = TaskWriter::start();
  _writesInBackground = true;
}

// ---- Starting ---------------------------------------------------------------------------------

namespace {

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
  if (_readTaskOutput && _fromTaskHandle) {
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
  if (_readTaskOutput) startReading();
}

void ZevMoTask::sendAutomaticInput() {
  callBoth(
      [this] {
        // Empty data would end a background writer before the close.
        if (!_taskAutoStdinData.isEmpty()) sendDataToTask(_taskAutoStdinData);
      },
      [this] { closeInputAfterWrites(); });
}

// Others may have a share of the process object or of the handle, which then have news after this
// run is over. So nothing is dropped that is still observed.
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
  // The default mode first, in which the delegate may well hear everything; then a pass for this
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
  if (_readTaskOutput) outputDidEnd();
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

// ---- Output and exit --------------------------------------------------------------------------

// A handle that cannot be watched is at its end: closing it keeps the child from waiting for a
// reader that will not come, and the run ends with the exit.
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

// A handle that was closed directly gives no notice.
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

// A write that a descendant of the child keeps waiting must not hold the run loop: the writer is
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
  if (_readTaskOutput) {
    if (hasOutputEnded()) _sendDidStop();  // else the end of output will finish the job
  } else if (_synchronizedFileHandleDelegate) {
    tellOwnerOfExit();
  } else {
    _sendDidStop();
  }
}

// If the owner says no, its report of the last data will finish the job. It may leave meanwhile.
void ZevMoTask::tellOwnerOfExit() {
  callBoth([this] { _synchronizedFileHandleDelegate->taskDidStopForSynchronizedFileHandle(); },
           [this] {
             if (_synchronizedFileHandleDelegate &&
                 _synchronizedFileHandleDelegate->didSynchronizedFileHandleReceiveLastData()) {
               _sendDidStop();
             }
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
      [&] { tellDelegateOfStop(runNumber); });
}

// A consumer may have cleaned up, and started another run, while it heard of the stream's end.
void ZevMoTask::tellDelegateOfStop(HxUInteger runNumber) {
  if (runNumber != _runNumber) return;
  _runIsUnderWay = false;
  if (!_delegate) return;
  keepAliveThisTurn();
  _delegate->taskDidStop(this, _stopRequested);
}

// ---- Input ------------------------------------------------------------------------------------

bool ZevMoTask::isWritable() const {
  return _taskIsRunning && _toTaskHandle && _task && _task->isRunning();
}

void ZevMoTask::sendDataToTask(const HxData& data) {
  // The end mark of the background writer passes also after the child has gone.
  if (!isWritable() && (!_writer || !data.isEmpty())) return;
  if (_writer) {
    _writer->queue(_toTaskHandle, data);
  } else {
    _toTaskHandle->writeData(data);
  }
}

void ZevMoTask::sendStringAsCStringToTask(const HxString& string) {
  const HxCString bytes = string.fileSystemRepresentation();
  if (string && bytes.isNull()) return;
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

HxTaskResourceUsage ZevMoTask::resourceUsage() const {
  return _task ? _task->resourceUsage() : HxTaskResourceUsage();
}

int ZevMoTask::processID() const { return _task ? _task->_procid() : 0; }

HxString ZevMoTask::description() const {
  return HxString::stringWithFormat("%@ %@"_hx, _taskPath,
                                    _taskArgs.componentsJoinedByString(" "_hx));
}

}  // namespace rondel
