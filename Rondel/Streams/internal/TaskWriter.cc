// SPDX-License-Identifier: MIT
#include "Rondel/Streams/internal/TaskWriter.h"

#include <exception>
#include <utility>

#include "Rondel/host/Thread.h"

namespace rondel::internal {

Ref<TaskWriter> TaskWriter::start() {
  Ref<TaskWriter> writer = makeRef<TaskWriter>();
  HxThread::detachNewThread<&TaskWriter::run>(writer.get());
  return writer;
}

// ---- The task's side --------------------------------------------------------------------------

// Returns false if no thread would take the chunk.
bool TaskWriter::append(Chunk chunk) {
  const MutexLock held(_lock);
  if (_isFinished) return false;
  _queue.push_back(std::move(chunk));
  _changed.notifyOne();
  return true;
}

void TaskWriter::queue(const Ref<HxFileHandle>& handle, const HxData& data) {
  append({data.isEmpty() ? Purpose::end : Purpose::write, handle, data});
}

void TaskWriter::queueClose(const Ref<HxFileHandle>& handle) {
  if (!append({Purpose::close, handle, nullptr})) handle->closeFile();
}

void TaskWriter::abandon() noexcept {
  Chunks forgotten;
  Ref<HxFileHandle> blocked;
  {
    const MutexLock held(_lock);
    _isAbandoned = true;
    forgotten.swap(_queue);
    blocked = _writingTo;
    for (const Chunk& chunk : forgotten) {
      if (chunk.purpose == Purpose::write) _failedHandle = chunk.handle;
    }
    if (blocked) _failedHandle = blocked;
    _changed.notifyOne();
  }
  if (blocked) blocked->closeFile();  // ends its write, also if the child does not read
  for (const Chunk& chunk : forgotten) {
    if (chunk.purpose != Purpose::end) chunk.handle->closeFile();
  }
}

bool TaskWriter::hasFailed(const HxFileHandle* handle) const {
  const MutexLock held(_lock);
  return handle && _failedHandle.get() == handle;
}

// ---- The thread's side ------------------------------------------------------------------------

void TaskWriter::run() {
  Chunks chunks;
  while (take(chunks)) {
    for (Chunk& each : chunks) {
      const Chunk chunk = std::move(each);  // lets go of the data as soon as it is written
      perform(chunk);
    }
    chunks.clear();
  }
}

// Waits for work. Returns false if there is none and none will come.
bool TaskWriter::take(Chunks& chunks) {
  const MutexLock held(_lock);
  while (_queue.empty() && !_gotEndMark && !_isAbandoned) _changed.wait(_lock);
  _isFinished = _queue.empty();
  chunks.swap(_queue);
  return !_isFinished;
}

void TaskWriter::perform(const Chunk& chunk) {
  switch (chunk.purpose) {
    case Purpose::write:
      if (beginWriting(chunk)) write(chunk);
      return;
    case Purpose::close:
      chunk.handle->closeFile();
      return;
    case Purpose::end: {
      const MutexLock held(_lock);
      _gotEndMark = true;
      return;
    }
  }
}

// Returns whether the chunk is to be written at all.
bool TaskWriter::beginWriting(const Chunk& chunk) {
  MutexLock held(_lock);
  if (_isAbandoned) {
    _failedHandle = chunk.handle;
    held.unlock();
    chunk.handle->closeFile();
    return false;
  }
  if (_gotEndMark || _failedHandle == chunk.handle) return false;
  _writingTo = chunk.handle;
  return true;
}

void TaskWriter::write(const Chunk& chunk) {
  bool isRefused = false;
  try {
    chunk.handle->writeData(chunk.data);
  } catch (const std::exception&) {  // there may be no memory to raise with
    isRefused = true;                // not reported: later chunks for it are thrown away
  }
  const MutexLock held(_lock);
  _writingTo = nullptr;
  if (isRefused) _failedHandle = chunk.handle;
}

}  // namespace rondel::internal
