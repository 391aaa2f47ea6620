// SPDX-License-Identifier: MIT
#include "Rondel/Streams/internal/TaskWriter.h"

#include <csignal>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/Thread.h"

namespace rondel::internal {

namespace {

// Holds the lock for a scope, and leaves the condition that was told last.
class Locked {
 public:
  explicit Locked(HxConditionLock& lock) : _lock(lock) {
    _lock.lock();
    _condition = _lock.condition();
  }
  Locked(HxConditionLock& lock, HxInteger condition) : _lock(lock), _condition(condition) {
    _lock.lockWhenCondition(condition);
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
  ~Locked() { _lock.unlockWithCondition(_condition); }

  void leaveCondition(HxInteger condition) { _condition = condition; }

 private:
  HxConditionLock& _lock;
  HxInteger _condition = 0;
};

}  // namespace

TaskWriter::TaskWriter() = default;

Ref<TaskWriter> TaskWriter::start() {
  Ref<TaskWriter> writer = makeRef<TaskWriter>();
  HxThread::detachNewThread<&TaskWriter::run>(writer.get());
  return writer;
}

// ---- The task's side --------------------------------------------------------------------------

void TaskWriter::append(Chunk chunk) {
  Locked locked(*_lock);
  if (_isFinished) return;  // nobody would take it
  _chunks.push_back(std::move(chunk));
  locked.leaveCondition(kChunksQueued);
}

void TaskWriter::queue(const Ref<HxFileHandle>& handle, const HxData& data) {
  append({data.isEmpty() ? Purpose::end : Purpose::write, handle, data});
}

void TaskWriter::queueClose(const Ref<HxFileHandle>& handle) {
  append({Purpose::close, handle, nullptr});
}

void TaskWriter::finish() {
  append({Purpose::end, nullptr, nullptr});
  const Locked locked(*_lock, kWriterFinished);
}

void TaskWriter::abandon() {
  Ref<HxFileHandle> blocked;
  Ref<HxFileHandle> failed;  // dropped outside the lock, as the chunks are
  std::deque<Chunk> forgotten;
  {
    Locked locked(*_lock);
    failed = std::exchange(_failedHandle, nullptr);
    if (_isFinished) return;
    forgotten.swap(_chunks);
    _chunks.push_back({Purpose::end, nullptr, nullptr});
    blocked = _writingTo;
    locked.leaveCondition(kChunksQueued);
  }
  if (blocked) blocked->closeFile();  // its write then fails, also when the child does not read
}

bool TaskWriter::hasFailed(const HxFileHandle* handle) const {
  const Locked locked(*_lock);
  return handle && _failedHandle.get() == handle;
}

// ---- The thread's side ------------------------------------------------------------------------

void TaskWriter::run() {
  std::signal(SIGPIPE, SIG_IGN);  // of the whole process: a write that nobody reads is refused
  for (;;) {
    const Chunk chunk = takeChunk();
    if (chunk.purpose == Purpose::end) return;
    perform(chunk);
  }
}

TaskWriter::Chunk TaskWriter::takeChunk() {
  Locked locked(*_lock, kChunksQueued);
  Chunk chunk = std::move(_chunks.front());
  _chunks.pop_front();
  if (chunk.purpose == Purpose::end) {
    _isFinished = true;
    locked.leaveCondition(kWriterFinished);
  } else {
    if (chunk.purpose == Purpose::close || _failedHandle != chunk.handle) _writingTo = chunk.handle;
    locked.leaveCondition(_chunks.empty() ? kQueueEmpty : kChunksQueued);
  }
  return chunk;
}

// Outside the lock, so that a full pipe does not stall who sends.
void TaskWriter::perform(const Chunk& chunk) {
  bool hasFailed = false;
  if (_writingTo) {  // only this thread sets it
    try {
      if (chunk.purpose == Purpose::write) {
        chunk.handle->writeData(chunk.data);
      } else {
        chunk.handle->closeFile();
      }
    } catch (const HxException&) {
      hasFailed = true;  // told to nobody: later chunks are taken and thrown away
    }
  }
  const Locked locked(*_lock);
  _writingTo = nullptr;
  if (hasFailed) _failedHandle = chunk.handle;
}

}  // namespace rondel::internal
