// SPDX-License-Identifier: MIT
#include "Rondel/Streams/StreamSink.h"

#include <gtest/gtest.h>

#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

TEST(StreamSink, IsOneSharedInstance) {
  EXPECT_TRUE(ZevMoStreamSink::streamSink());
  EXPECT_EQ(ZevMoStreamSink::streamSink(), ZevMoStreamSink::streamSink());
  EXPECT_STREQ(ZevMoStreamSink::streamSink()->hxClass().name(), "ZevMoStreamSink");
}

TEST(StreamSink, SwallowsEveryKindOfPayload) {
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoCharacterStream> characters = ZevMoCharacterStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  bytes->setByteStreamConsumer(ZevMoStreamSink::streamSink());
  characters->setCharacterStreamConsumer(ZevMoStreamSink::streamSink());
  lines->setLineStreamConsumer(ZevMoStreamSink::streamSink());
  EXPECT_NE(bytes->byteStreamConsumer(), nullptr);
  EXPECT_NE(characters->characterStreamConsumer(), nullptr);
  EXPECT_NE(lines->lineStreamConsumer(), nullptr);
  const test::AllocationCounter allocations;
  bytes->sendBytes(nullptr);
  characters->sendCharacters("x"_hx);
  lines->sendLine("x\n"_hx);
  lines->sendStreamDidEnd();
  EXPECT_EQ(allocations.count(), 0u);
}

TEST(StreamSink, IsNoStreamAndStaysWhenTheChainGoes) {
  const Ref<ZevMoStreamSink> sink = ZevMoStreamSink::streamSink();
  Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  stream->setByteStreamConsumer(sink);
  EXPECT_EQ(dynamic_cast<ZevMoStream*>(static_cast<HxObject*>(sink.get())), nullptr);
  EXPECT_TRUE(HxAny(sink).conformsToProtocol(protocolOf<ZevMoStreamConsumerRetaining>("mark")));
  stream = nullptr;
  EXPECT_EQ(ZevMoStreamSink::streamSink(), sink);
  sink->streamDidEnd(nullptr);
}

}  // namespace
}  // namespace rondel
