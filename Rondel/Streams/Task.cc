// SPDX-License-Identifier: MIT
#include "Rondel/Streams/Task.h"

#include <algorithm>
#include <bit>
#include <csignal>
#include <new>
#include <utility>
#include <vector>

#include "Rondel/Streams/internal/TaskParts.h"
#include "Rondel/Streams/internal/TaskWriter.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/report/Log.h"
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

ZevMoTask::ZevMoTask()
    : _listener(makeRef<Listener>(*this)),
      _byteStream(ZevMoByteStream::stream()),
      _readModes(HxArray::arrayWithObjects({HxDefaultRunLoopMode, _dataCaptureRunLoopMode.name})),
      _preferredArchitectures(internal::anyArchitecture()) {
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
  _readTaskOutput = readTaskOutput;
  _fromTaskPipe = nullptr;
  _fromTaskHandle = handle;
  if (_runIsUnderWay && _runReadsOutput) outputDidEnd();
}

void ZevMoTask::performWritesInBackground() {
  if (_writesInBackground) return;
  _writer = TaskWriter::start();
  std::signal(SIGPIPE, SIG_IGN);  // of the whole process: a write without a reader fails
  _writesInBackground = true;
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
