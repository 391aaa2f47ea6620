// SPDX-License-Identifier: MIT
//
// The background writer of one run of a task: a queue of chunks and the thread that writes them. It
// shares nothing with the task but this object. Every chunk carries the handle that it is for, so
// that a task can be dropped in any state.
//
// The thread takes the whole queue at a time. It writes outside the lock, so that a full pipe does
// not stall the sender. It ends after it has met an end mark, or after it was abandoned.
#pragma once

#include <vector>

#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/host/FileHandle.h"

namespace rondel::internal {

class TaskWriter final : public HxObject {
 public:
  // Starts the thread, which ignores SIGPIPE for the whole process. Raises HxException if there is
  // no thread.
  static Ref<TaskWriter> start();

  // Queues data. An empty chunk is the end mark: no data after it is ever written.
  void queue(const Ref<HxFileHandle>& handle, const HxData& data);
  // Closes the handle after all data that waits was written; at once if the thread has ended.
  void queueClose(const Ref<HxFileHandle>& handle);
  // Forgets what waits and ends the thread, without waiting for it. What was not written is cut
  // off: the handles concerned are closed, which also ends a write without a reader. Allocates
  // nothing.
  void abandon() noexcept;
  // Returns whether a write to the handle was refused or cut off, so that nothing more reaches it.
  bool hasFailed(const HxFileHandle* handle) const;

 private:
  friend Ref<TaskWriter> rondel::makeRef<TaskWriter>();
  enum class Purpose { write, close, end };
  struct Chunk {
    Purpose purpose;
    Ref<HxFileHandle> handle;
    HxData data;
  };
  using Chunks = std::vector<Chunk>;

  TaskWriter() = default;
  ~TaskWriter() override = default;

  bool append(Chunk chunk);
  void run();
  bool take(Chunks& chunks);
  void perform(const Chunk& chunk);
  void write(const Chunk& chunk);
  bool beginWriting(const Chunk& chunk);

  mutable Mutex _lock;
  Condition _changed;
  Chunks _queue RONDEL_GUARDED_BY(_lock);
  Ref<HxFileHandle> _writingTo RONDEL_GUARDED_BY(_lock);     // while a write is under way
  Ref<HxFileHandle> _failedHandle RONDEL_GUARDED_BY(_lock);  // gets nothing more
  bool _gotEndMark RONDEL_GUARDED_BY(_lock) = false;
  bool _isAbandoned RONDEL_GUARDED_BY(_lock) = false;
  bool _isFinished RONDEL_GUARDED_BY(_lock) = false;  // the thread takes nothing more
};

}  // namespace rondel::internal
