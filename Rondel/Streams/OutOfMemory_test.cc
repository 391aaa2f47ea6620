// SPDX-License-Identifier: MIT
//
// Streams and tasks while memory is short. Each piece of work ends in std::bad_alloc or in its
// result, and no child, thread or descriptor of it stays.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Stream.h"
#include "Rondel/Streams/StreamLogger.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/testing/OutOfMemory.h"
#include "Rondel/testing/StreamRecorder.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel::test {
namespace {

class StreamsOutOfMemory : public ::testing::Test {
 protected:
  void SetUp() override { RONDEL_NEEDS_FAILING_ALLOCATIONS(); }
};

TEST_F(StreamsOutOfMemory, StreamChain) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    StreamRecorder recorder;
    const auto source = ZevMoByteStream::init();
    const auto decoder = ZevMoUTF8DecoderFilter::init();
    const auto lines = ZevMoLineBufferFilter::init();
    source->setName("source"_hx);
    source->setByteStreamConsumer(decoder);
    decoder->setCharacterStreamConsumer(lines);
    lines->setLineStreamConsumer(&recorder);
    for (const char* piece : {"one\ntw", "o\nthree gr\xC3", "\xBC\xC3\x9F\nfour"}) {
      source->sendBytes(dataOf(std::string_view(piece)));
    }
    source->sendStreamDidEnd();
    return recorder.text();
  }));
}

TEST_F(StreamsOutOfMemory, EncodingChain) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    StreamRecorder recorder;
    const auto source = ZevMoCharacterStream::init();
    const auto encoder = ZevMoUTF8EncoderFilter::init();
    const auto buffer = ZevMoUTF8BufferFilter::init();
    source->setCharacterStreamConsumer(encoder);
    encoder->setByteStreamConsumer(buffer);
    buffer->setByteStreamConsumer(&recorder);
    for (const HxString& piece : {"gr\u00FC\u00DFe "_hx, "und mehr"_hx}) {
      source->sendCharacters(piece);
    }
    source->sendStreamDidEnd();
    return recorder.text();
  }));
}

// ---- Tasks --------------------------------------------------------------------------------------

// What the delegate has heard. A start that failed for want of memory is told there.
std::string heardBy(const TaskRecorder& recorder) {
  std::string heard;
  for (const std::string& event : recorder.events) {
    if (event.starts_with("failure")) throw std::bad_alloc();
    heard += event + ", ";
  }
  return heard + recorder.output;
}

std::string runOf(const char* script, const std::function<void(ZevMoTask&)>& prepare,
                  const TaskRecorder::Hook& onStart = nullptr) {
  TaskRecorder recorder;
  const Ref<ZevMoTask> task = shellTask(script, recorder);
  struct Detach {
    const Ref<ZevMoTask>& task;
    ~Detach() { task->setDelegate(nullptr); }
  } const detach{task};
  prepare(*task);
  task->startTask();
  if (onStart) onStart(task.get());
  return runUntil([&] { return recorder.isOver(); }) ? heardBy(recorder) : "it has no end";
}

TEST_F(StreamsOutOfMemory, TaskWithoutInput) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] { return runOf("echo hello", [](ZevMoTask&) {}); });
}

TEST_F(StreamsOutOfMemory, TaskWithAutomaticInput) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    return runOf("cat", [](ZevMoTask& task) {
      task.setTaskAutomaticStandardInData(dataOf(std::string_view("automatic input")));
    });
  });
}

TEST_F(StreamsOutOfMemory, TaskWithInputInTheForeground) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    return runOf(
        "cat", [](ZevMoTask&) {},
        [](ZevMoTask* task) {
          task->sendDataToTask(dataOf(std::string_view("sent ")));
          task->sendStringAsCStringToTask("and a string"_hx);
          task->closeInputAfterWrites();
        });
  });
}

TEST_F(StreamsOutOfMemory, TaskWithInputInTheBackground) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    return runOf(
        "cat", [](ZevMoTask& task) { task.performWritesInBackground(); },
        [](ZevMoTask* task) {
          task->sendDataToTask(dataOf(std::string_view("sent ")));
          task->sendStringAsCStringToTask("and a string"_hx);
          task->closeInputAfterWrites();
        });
  });
}

TEST_F(StreamsOutOfMemory, TaskWithAutomaticInputInTheBackground) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    return runOf("cat", [](ZevMoTask& task) {
      task.performWritesInBackground();
      task.setTaskAutomaticStandardInData(dataOf(std::string_view("automatic input")));
    });
  });
}

TEST_F(StreamsOutOfMemory, TaskWhoseOutputHasAnOwner) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    struct Owner final : ZevMoTaskSynchronizedFileHandle {
      void taskDidStopForSynchronizedFileHandle() override {}
      bool didSynchronizedFileHandleReceiveLastData() override { return true; }
    } owner;
    const Ref<HxPipe> pipe = HxPipe::init();
    if (!pipe) throw std::bad_alloc();
    return runOf("echo hello", [&](ZevMoTask& task) {
      task.setTaskStdOutputFileHandleReadTaskOutput(pipe->fileHandleForWriting(), false);
      task.setSynchronizedFileHandleDelegate(&owner);
    });
  });
}

TEST_F(StreamsOutOfMemory, DroppedTask) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([]() -> std::string {
    TaskRecorder recorder;
    const Ref<ZevMoTask> task = shellTask("exec sleep 0.01", recorder);
    task->performWritesInBackground();
    task->startTask();
    task->sendDataToTask(dataOf(std::string_view("never read")));
    task->setDelegate(nullptr);
    heardBy(recorder);
    return "";
  });
}

}  // namespace
}  // namespace rondel::test
