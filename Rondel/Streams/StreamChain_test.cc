// SPDX-License-Identifier: MIT
//
// The usual chain as a whole: bytes, decoder, line filter, consumer.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/StreamSink.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::Events;
using test::StreamRecorder;

// Head, decoder and line filter; whoever holds it owns all three.
Ref<ZevMoByteStream> chainTo(HxObject* consumer) {
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  head->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(lines);
  lines->setLineStreamConsumer(consumer);
  return head;
}

Events eventsOf(std::string_view bytes, std::size_t chunkSize) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> head = chainTo(&recorder);
  for (std::size_t at = 0; at < bytes.size(); at += chunkSize) {
    head->sendBytes(dataOf(bytes.substr(at, chunkSize)));
  }
  head->sendStreamDidEnd();
  return recorder.events;
}

class Counter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  std::size_t lines = 0;
  std::size_t units = 0;
  bool hasEnded = false;
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    ++lines;
    units += line.length();
  }
  void streamDidEnd(ZevMoStream*) override { hasEnded = true; }
};

TEST(StreamChain, AllThatFiltersHeldComesBeforeTheEnd) {
  EXPECT_EQ(eventsOf("one\ntwo \xE2\x82", 100),
            Events({"line:one\n", "line:two \\342\\202\n", "end"}));
}

TEST(StreamChain, AnIncompleteSequenceAtTheEndMakesALineOfItsOwnIfNeeded) {
  EXPECT_EQ(eventsOf("one\n\xC3", 100), Events({"line:one\n", "line:\\303\n", "end"}));
}

TEST(StreamChain, NothingSentMakesNoLine) { EXPECT_EQ(eventsOf("", 1), Events({"end"})); }

TEST(StreamChain, EveryChunkSizeMakesTheSameLines) {
  const std::string text =
      "plain\n\n\xE6\x96\x87\xE4\xBB\xB6\xF0\x9F\x98\x80 mixed\xC2\x85next\xE2\x80\xA8then\n"
      "bad \xFF\xC3( bytes\nand the last, unfinished \xF0\x9F";
  const Events whole = eventsOf(text, text.size());
  for (std::size_t size = 1; size < text.size(); ++size) ASSERT_EQ(eventsOf(text, size), whole);
}

TEST(StreamChain, DroppingTheHeadDropsWhatTheFiltersHold) {
  StreamRecorder recorder;
  const std::size_t before = test::heapBytesInUse();
  Ref<ZevMoByteStream> head = chainTo(&recorder);
  head->sendBytes(dataOf("held \xE2\x82"));
  head = nullptr;
  EXPECT_EQ(test::heapBytesInUse(), before);
  EXPECT_TRUE(recorder.events.empty());
}

TEST(StreamChain, AConsumerMayDropTheChainInAnyOfItsCalls) {
  for (std::size_t call = 1; call <= 4; ++call) {
    StreamRecorder recorder;
    Ref<ZevMoByteStream> head = chainTo(&recorder);
    ZevMoByteStream* const source = head.get();
    recorder.action = [&] {
      if (recorder.events.size() == call) head = nullptr;
    };
    source->sendBytes(dataOf("one\ntwo\nthree"));
    if (head) source->sendStreamDidEnd();
    const Events all = {"line:one\n", "line:two\n", "line:three\n", "end"};
    EXPECT_TRUE(head.isNil());
    ASSERT_GE(recorder.events.size(), call);
    EXPECT_TRUE(std::equal(recorder.events.begin(), recorder.events.end(), all.begin())) << call;
  }
}

TEST(StreamChain, MuchTextGoesThroughInLittleMemory) {
  constexpr std::size_t kChunks = 1024;  // 64 MiB
  std::string chunk;
  while (chunk.size() < 65536) chunk += "a line of text, and one gr\xC3\xBC\xC3\x9F now and then\n";
  chunk.resize(65536);
  const HxData data = dataOf(chunk);
  Counter counter;
  const Ref<ZevMoByteStream> head = chainTo(&counter);
  const std::size_t before = test::heapBytesInUse();
  std::size_t most = 0;
  for (std::size_t i = 0; i < kChunks; ++i) {
    head->sendBytes(data);
    most = std::max(most, test::heapBytesInUse());
  }
  head->sendStreamDidEnd();
  EXPECT_TRUE(counter.hasEnded);
  EXPECT_GT(counter.lines, kChunks * 1000);
  EXPECT_LT(most - before, std::size_t{1} << 20);
}

TEST(StreamChain, AByteAtATimeKeepsNothing) {
  Counter counter;
  const Ref<ZevMoByteStream> head = chainTo(&counter);
  const HxData letter = dataOf("x");
  const HxData end = dataOf("\n");
  head->sendBytes(letter);
  head->sendBytes(end);
  const std::size_t before = test::heapBytesInUse();
  for (int i = 0; i < 1000; ++i) {
    for (int k = 0; k < 30; ++k) head->sendBytes(letter);
    head->sendBytes(end);
  }
  EXPECT_EQ(counter.lines, 1001u);
  EXPECT_EQ(counter.units, 31'002u);
  EXPECT_LE(test::heapBytesInUse(), before);
}

TEST(StreamChain, SinkEndsAChainOfUnwantedOutput) {
  const Ref<ZevMoByteStream> head = chainTo(ZevMoStreamSink::streamSink().get());
  head->sendBytes(dataOf("a\nb"));
  head->sendStreamDidEnd();
}

TEST(StreamChain, ATaskIsOnlyReferredToAndHasNoUpstream) {
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<ZevMoTask> task = ZevMoTask::init();
  head->setByteStreamConsumer(task);
  EXPECT_TRUE(task->isUniquelyReferenced());
  EXPECT_EQ(task->byteStream()->upstreamStream(), nullptr);
  head->setByteStreamConsumer(nullptr);
}

}  // namespace
}  // namespace rondel
