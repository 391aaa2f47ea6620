// SPDX-License-Identifier: MIT
// Rondel's rows among child processes: ZevMoTask with a stream, from the start to the stop that the
// delegate hears.
#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/RunLoop.h"
#include "inputs.hpp"

using namespace rondel;

namespace {

class Ended final : public HxObject, public ZevMoTaskDelegate {
 public:
  void taskDidStart(ZevMoTask*) override {}
  void taskOutputData(ZevMoTask*, const HxData&) override {}
  void taskFailureMessage(ZevMoTask*, const HxString& message) override {
    bench::die(message.UTF8String().c_str());
  }
  void taskDidStop(ZevMoTask*, bool) override { isOver = true; }
  bool isOver = false;
};

class ByteCounter final : public HxObject, public ZevMoByteStreamConsuming {
 public:
  void streamProcessBytes(ZevMoStream*, const HxData& data) override { total += data.length(); }
  void streamDidEnd(ZevMoStream*) override {}
  std::uint64_t total = 0;
};

class LineCounter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    ++count.lines;
    const std::string_view ascii = line.asciiView();
    if (ascii.data() && ascii.size() > 1) count.first += static_cast<unsigned char>(ascii.front());
    if (!ascii.data() && line.length() > 1) count.first += line.characterAtIndex(0);
  }
  void streamDidEnd(ZevMoStream*) override {}
  w01::LineCount count;
};

void run(const HxString& path, const char* mode, const HxAny& consumer) {
  Ended ended;
  const Ref<ZevMoTask> task = ZevMoTask::init();
  task->setDelegate(&ended);
  task->setTaskPath(path);
  if (mode) task->setTaskArguments(HxArray::arrayWithObject(HxString::stringWithUTF8String(mode)));
  if (consumer) task->byteStream()->setByteStreamConsumer(consumer);
  task->startTask();
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  while (!ended.isOver) loop->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
  if (task->terminationStatus()) bench::die("child failed");
}

HxString childPath() { return HxString::stringWithUTF8String(w01::child_path().c_str()); }

std::uint64_t bulk() {
  const Ref<ByteCounter> counter = makeRef<ByteCounter>();
  run(childPath(), "bulk", counter);
  return counter->total;
}

std::uint64_t lines() {
  const Ref<LineCounter> counter = makeRef<LineCounter>();
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  filter->setLineStreamConsumer(counter);
  decoder->setCharacterStreamConsumer(filter);
  run(childPath(), "lines", decoder);
  return counter->count.value();
}

std::uint64_t spawn() {
  for (int i = 0; i < 100; ++i) run("/bin/true"_hx, nullptr, nullptr);
  return 100;
}

BENCH_ROWS(w01_rondel) {
  w01::bulk().rondel("rondel_task_stream", bulk);
  w01::bulk_one_cpu().rondel("rondel_task_stream", w01::on_one_cpu(bulk));
  w01::lines().rondel("rondel_task_decoder_line_filter", lines,
                      "a string for each line; nobody keeps one, so they share a block");
  w01::spawn().rondel("rondel_task", spawn, "with a delegate, two pipes and a run loop");
}

}  // namespace
