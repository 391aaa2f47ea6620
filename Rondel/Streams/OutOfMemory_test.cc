// SPDX-License-Identifier: MIT
//
// Streams while memory is short: each piece of work ends in std::bad_alloc or in its result.
#include <gtest/gtest.h>

#include <string>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Stream.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/testing/OutOfMemory.h"
#include "Rondel/testing/StreamRecorder.h"

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

}  // namespace
}  // namespace rondel::test
