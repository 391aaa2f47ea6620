// SPDX-License-Identifier: MIT
//
// The background writer of a task: a queue of chunks and the thread that writes them. It shares
// nothing with the task but this object, and every chunk carries the handle that it is for, so that
// a task can be dropped in any state.
//
// The condition lock's states are those of the queue:
//
//   kChunksQueued     at least one chunk waits         set by the task, and by the writer when it
//                                                      leaves chunks behind
//   kQueueEmpty       nothing waits                    set at the start, and by the writer when it
//                                                      took the last chunk
//   kWriterFinished   the writer took the end mark     set by the writer
#pragma once

#include <deque>

#include "Rondel/core/values/Data.h"
#include "Rondel/host/ConditionLock.h"
#include "Rondel/host/FileHandle.h"

namespace rondel::internal {

class TaskWriter final : public HxObject {
 public:
  // Starts the thread, which ignores SIGPIPE for the whole process.
  static Ref<TaskWriter> start();

  // Queues data; an empty chunk is the end mark, and nothing behind it is ever written.
  void queue(const Ref<HxFileHandle>& handle, const HxData& data);
  // Queues the closing of the handle, behind all data that waits.
  void queueClose(const Ref<HxFileHandle>& handle);
  // Queues the end mark and waits until the thread has taken it: until everything queued was
  // written or refused.
  void finish();
  // Forgets what waits, closes what is being written to, so that a child that does not read cannot
  // hold the thread, and has the thread end without waiting for it.
  void abandon();
  // Whether a write to the handle has failed, so that nothing more will reach it.
  bool hasFailed(const HxFileHandle* handle) const;

 private:
  friend Ref<TaskWriter> rondel::makeRef<TaskWriter>();
  enum Condition : HxInteger { kChunksQueued = 0, kQueueEmpty = 1, kWriterFinished = 2 };
  enum class Purpose { write, close, end };
  struct Chunk {
    Purpose purpose;
    Ref<HxFileHandle> handle;
    HxData data;
  };

  TaskWriter();
  ~TaskWriter() override = default;

  void append(Chunk chunk);
  void run();
  Chunk takeChunk();
  void perform(const Chunk& chunk);

  const Ref<HxConditionLock> _lock = HxConditionLock::initWithCondition(kQueueEmpty);
  std::deque<Chunk> _chunks;        // guarded by _lock, like all below
  Ref<HxFileHandle> _writingTo;     // set while a write or a close is under way
  Ref<HxFileHandle> _failedHandle;  // a write to it was refused; what follows for it is thrown away
  bool _isFinished = false;
};

}  // namespace rondel::internal
