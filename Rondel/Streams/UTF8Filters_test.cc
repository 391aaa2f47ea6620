// SPDX-License-Identifier: MIT
#include "Rondel/Streams/UTF8Filters.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::Events;
using test::StreamRecorder;
using namespace std::string_literals;

using Chunks = std::vector<std::string>;

struct Case {
  const char* name;
  Chunks chunks;
  Events events;  // without the end
};

// A filter, after a source and before a recorder.
template <class Filter>
struct Chain {
  Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  Ref<Filter> filter = Filter::init();
  StreamRecorder recorder;

  Chain() {
    source->setByteStreamConsumer(filter);
    filter->setStreamConsumer(&recorder);
  }
  Events eventsOf(const Chunks& chunks) {
    for (const std::string& chunk : chunks) source->sendBytes(dataOf(chunk));
    source->sendStreamDidEnd();
    EXPECT_EQ(recorder.events.back(), "end");
    recorder.events.pop_back();
    return recorder.events;
  }
};

template <class Filter>
void expectEvents(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(Chain<Filter>().eventsOf(c.chunks), c.events) << c.name;
}

TEST(UTF8Filters, AreStreamsOfTheirClassesAndOwnedByWhatFeedsThem) {
  const HxProtocol mark = protocolOf<ZevMoStreamConsumerRetaining>("mark");
  EXPECT_TRUE(HxAny(ZevMoUTF8BufferFilter::stream()).conformsToProtocol(mark));
  EXPECT_TRUE(HxAny(ZevMoUTF8DecoderFilter::stream()).conformsToProtocol(mark));
  EXPECT_TRUE(HxAny(ZevMoUTF8EncoderFilter::stream()).conformsToProtocol(mark));
  EXPECT_STREQ(ZevMoUTF8BufferFilter::init()->hxClass().name(), "ZevMoUTF8BufferFilter");
  EXPECT_STREQ(ZevMoUTF8DecoderFilter::init()->hxClass().name(), "ZevMoUTF8DecoderFilter");
  EXPECT_STREQ(ZevMoUTF8EncoderFilter::init()->hxClass().name(), "ZevMoUTF8EncoderFilter");
}

// ---- ZevMoUTF8BufferFilter

TEST(UTF8BufferFilter, HoldsBackAnUnfinishedSequence) {
  expectEvents<ZevMoUTF8BufferFilter>({
      {"ASCII", {"abc", "d"}, {"bytes:abc", "bytes:d"}},
      {"empty chunks send nothing", {"", "a", ""}, {"bytes:a"}},
      {"two of three bytes", {"ab\xE2\x82", "\xAC!"}, {"bytes:ab", "bytes:\xE2\x82\xAC!"}},
      {"only two of three bytes", {"\xE2\x82", "\xAC"}, {"bytes:\xE2\x82\xAC"}},
      {"three bytes one by one", {"\xE2", "\x82", "\xAC"}, {"bytes:\xE2\x82\xAC"}},
      {"complete at the end", {"a\xE2\x82\xAC", "b"}, {"bytes:a\xE2\x82\xAC", "bytes:b"}},
      {"three of four bytes", {"a\xF0\x9F\x98", "\x80"}, {"bytes:a", "bytes:\xF0\x9F\x98\x80"}},
      {"two of four bytes", {"a\xF0\x9F", "\x98\x80"}, {"bytes:a", "bytes:\xF0\x9F\x98\x80"}},
      {"one of two bytes", {"\xC3", "\xA9"}, {"bytes:\xC3\xA9"}},
      {"one of two after a whole one",
       {"\xC3\xA9\xC3", "\xA9"},
       {"bytes:\xC3\xA9", "bytes:\xC3\xA9"}},
      {"an empty chunk after a held one", {"\xE2\x82", "", "\xAC"}, {"bytes:\xE2\x82\xAC"}},
      {"unfinished, then ASCII far after it",
       {"\xE2\x82", "abcd"},
       {"bytes:\xE2\x82"
        "abcd"}},
  });
}

TEST(UTF8BufferFilter, LooksAtTheLastFourBytesAndJudgesNothing) {
  expectEvents<ZevMoUTF8BufferFilter>({
      {"continuations alone", {"\x80\x80\x80"}, {"bytes:\x80\x80\x80"}},
      {"FE and FF alone", {"\xFE\xFF"}, {"bytes:\xFE\xFF"}},
      {"an overlong sequence", {"\xC0\x80"}, {"bytes:\xC0\x80"}},
      {"a surrogate", {"\xED\xA0\x80"}, {"bytes:\xED\xA0\x80"}},
      {"a lead five bytes back",
       {"\xE2"
        "abcd"},
       {"bytes:\xE2"
        "abcd"}},
      {"a lead cut short by another",
       {"\xF0\x9F\xC3", "\xA9"},
       {"bytes:\xF0\x9F", "bytes:\xC3\xA9"}},
  });
}

// The odd ones: what they do is relied on.
TEST(UTF8BufferFilter, AnASCIIByteDoesNotEndAPendingSequence) {
  expectEvents<ZevMoUTF8BufferFilter>({
      {"the A is lost and E2 comes again",
       {"x\xE2"
        "A",
        "yz12"},
       {"bytes:x\xE2", "bytes:\xE2yz12"}},
      {"only E2 A",
       {"\xE2"
        "A",
        "BCDE"},
       {"bytes:\xE2",
        "bytes:\xE2"
        "BCDE"}},
      {"ASCII between the bytes",
       {"\xE2"
        "A\x82",
        "."},
       {"bytes:\xE2", "bytes:\xE2"}},
      {"ASCII before the last byte",
       {"\xE2"
        "A\x82\xAC"},
       {"bytes:\xE2"
        "A\x82\xAC"}},
  });
}

TEST(UTF8BufferFilter, FEAfterALeadByteStartsASequenceOfItsOwn) {
  expectEvents<ZevMoUTF8BufferFilter>({
      {"held in place of the lead",
       {"ab\xE2\xFE", "1234"},
       {"bytes:ab\xE2",
        "bytes:\xFE"
        "1234"}},
      {"and finished by continuations", {"\xE2\xFE\x80\x80"}, {"bytes:\xE2\xFE\x80\x80"}},
      {"three bytes held", {"\xF0\xFF\x80\x80", "\x80"}, {"bytes:\xF0", "bytes:\xFF\x80\x80\x80"}},
  });
}

TEST(UTF8BufferFilter, DropsWhatItHoldsAtTheEnd) {
  expectEvents<ZevMoUTF8BufferFilter>({{"E2 82", {"a\xE2\x82"}, {"bytes:a"}}});
}

TEST(UTF8BufferFilter, SendsAWholeChunkWithoutCopyingIt) {
  Chain<ZevMoUTF8BufferFilter> chain;
  const HxData data = dataOf("whole");
  class Keeper final : public HxObject, public ZevMoByteStreamConsuming {
   public:
    const HxObject* seen = nullptr;
    void streamProcessBytes(ZevMoStream*, const HxData& bytes) override { seen = bytes.object(); }
    void streamDidEnd(ZevMoStream*) override {}
  } keeper;
  chain.filter->setByteStreamConsumer(&keeper);
  chain.source->sendBytes(data);
  EXPECT_EQ(keeper.seen, data.object());
}

TEST(UTF8BufferFilter, AcceptsNilData) {
  Chain<ZevMoUTF8BufferFilter> chain;
  chain.source->sendBytes(nullptr);
  EXPECT_TRUE(chain.recorder.events.empty());
  chain.source->sendBytes(dataOf("\xE2\x82"));
  chain.source->sendBytes(nullptr);
  chain.source->sendBytes(dataOf("\xAC"));
  EXPECT_EQ(chain.recorder.events, Events({"bytes:\xE2\x82\xAC"}));
}

// ---- ZevMoUTF8DecoderFilter

TEST(UTF8DecoderFilter, AnswersEachChunkWithOneString) {
  expectEvents<ZevMoUTF8DecoderFilter>({
      {"ASCII", {"abc", "d"}, {"chars:abc", "chars:d"}},
      {"empty chunks", {"", "a"}, {"chars:", "chars:a"}},
      {"all held back", {"\xE2\x82", "\xAC"}, {"chars:", "chars:\xE2\x82\xAC"}},
      {"four bytes one by one",
       {"\xF0", "\x9F", "\x98", "\x80"},
       {"chars:", "chars:", "chars:", "chars:\xF0\x9F\x98\x80"}},
      {"tail held", {"a\xC3", "\xA9z"}, {"chars:a", "chars:\xC3\xA9z"}},
      {"an empty chunk after a held one",
       {"\xC3", "", "\xA9"},
       {"chars:", "chars:", "chars:\xC3\xA9"}},
      {"NUL bytes", {"a\0b"s}, {"chars:a\0b"s}},
  });
}

TEST(UTF8DecoderFilter, ShowsMalformedBytesInOctal) {
  expectEvents<ZevMoUTF8DecoderFilter>({
      {"FF", {"a\xFFz"}, {"chars:a\\377z"}},
      {"a sequence that breaks off", {"\xE2\x82", "A"}, {"chars:", "chars:\\342\\202A"}},
      {"a lone continuation at a seam", {"a", "\x80"}, {"chars:a", "chars:\\200"}},
  });
}

TEST(UTF8DecoderFilter, SendsWhatItHoldsAsMalformedAtTheEnd) {
  expectEvents<ZevMoUTF8DecoderFilter>({
      {"one byte", {"a\xC3"}, {"chars:a", "chars:\\303"}},
      {"two bytes", {"a\xE2\x82"}, {"chars:a", "chars:\\342\\202"}},
      {"three bytes", {"\xF0\x9F\x98"}, {"chars:", "chars:\\360\\237\\230"}},
      {"nothing", {"a"}, {"chars:a"}},
  });
}

// The count of what is held is left alone there: nothing is meant to follow.
TEST(UTF8DecoderFilter, ASecondEndSendsWhatIsHeldAgain) {
  Chain<ZevMoUTF8DecoderFilter> chain;
  chain.source->sendBytes(dataOf("\xC3"));
  chain.source->sendStreamDidEnd();
  chain.source->sendStreamDidEnd();
  EXPECT_EQ(chain.recorder.events, Events({"chars:", "chars:\\303", "end", "chars:\\303", "end"}));
}

TEST(UTF8DecoderFilter, EveryCutMakesTheTextOfOnePiece) {
  const std::string inputs[] = {
      "plain",
      "gr\xC3\xB6\xC3\x9F"
      "e \xE6\x96\x87\xE4\xBB\xB6 \xF0\x9F\x98\x80!",
      "\xFF\xC3\x28\xE2\x28\xA1\xE2\x82\x28\xF0\x28\x8C\xBC\xF0\x90\x28\xBC",
      "\xC0\x80\xED\xB8\x80\xED\xA0\xBD\xF4\x90\x80\x80\xF8\x88\x80\x80\x80",
      "a\0b\xE2\x82"s,
      "\xF0\x9F\x98",
  };
  for (const std::string& input : inputs) {
    Chain<ZevMoUTF8DecoderFilter> whole;
    whole.eventsOf({input});
    for (std::size_t first = 0; first <= input.size(); ++first) {
      for (std::size_t second = first; second <= input.size(); ++second) {
        Chain<ZevMoUTF8DecoderFilter> cut;
        cut.eventsOf(
            {input.substr(0, first), input.substr(first, second - first), input.substr(second)});
        ASSERT_EQ(cut.recorder.text(), whole.recorder.text()) << first << ", " << second;
      }
    }
    Chunks bytes;
    for (const char byte : input) bytes.emplace_back(1, byte);
    Chain<ZevMoUTF8DecoderFilter> single;
    single.eventsOf(bytes);
    EXPECT_EQ(single.recorder.text(), whole.recorder.text());
  }
}

TEST(UTF8DecoderFilter, NilDataFailsItsCheckAndCountsAsEmpty) {
  Chain<ZevMoUTF8DecoderFilter> chain;
  const test::FailureRecorder recorder;
  chain.source->sendBytes(nullptr);
  // The decoder's own check hears of the bytes that are not there.
  ASSERT_EQ(recorder.failures().size(), 2u);
  EXPECT_EQ(recorder.failures()[1].message, "Assertion failed: bytes != ((void*)0)");
  const auto& failure = recorder.failures()[0];
  EXPECT_EQ(failure.receiver, chain.filter.get());
  EXPECT_EQ(failure.function, "-[ZevMoUTF8DecoderFilter stream:processBytes:]");
  EXPECT_EQ(failure.message,
            "utf8Data should be an instance inheriting from HxData, but it is nil");
  EXPECT_EQ(failure.condition, "(utf8Data) != nil");
  EXPECT_EQ(chain.recorder.events, Events({"chars:"}));
}

TEST(UTF8DecoderFilter, EmptyDataPassesEveryCheck) {
  const test::FailureRecorder recorder;
  Chain<ZevMoUTF8DecoderFilter> chain;
  chain.source->sendBytes(HxData::data());
  chain.source->sendBytes(dataOf("\xC3"));
  chain.source->sendBytes(HxMutableData::data());
  chain.source->sendStreamDidEnd();
  EXPECT_TRUE(recorder.failures().empty());
}

TEST(UTF8DecoderFilter, NilDataAfterAHeldTailLeavesTheTailHeld) {
  Chain<ZevMoUTF8DecoderFilter> chain;
  const test::FailureRecorder recorder;
  chain.source->sendBytes(dataOf("\xC3"));
  chain.source->sendBytes(nullptr);
  chain.source->sendBytes(dataOf("\xA9"));
  EXPECT_EQ(recorder.failures().size(), 1u);
  EXPECT_EQ(chain.recorder.events, Events({"chars:", "chars:", "chars:\xC3\xA9"}));
}

TEST(UTF8DecoderFilter, ANullStreamFailsItsCheckAndTheDataIsDecoded) {
  Chain<ZevMoUTF8DecoderFilter> chain;
  const test::FailureRecorder recorder;
  chain.filter->streamProcessBytes(nullptr, dataOf("x"));
  ASSERT_EQ(recorder.failures().size(), 1u);
  EXPECT_EQ(recorder.failures()[0].message,
            "stream should be an instance inheriting from ZevMoStream, but it is nil");
  EXPECT_EQ(recorder.failures()[0].condition, "(stream) != nil");
  EXPECT_EQ(chain.recorder.events, Events({"chars:x"}));
}

// ---- Consumers that interfere

template <class Filter>
Events eventsWhenTheFirstCall(const std::function<void(Chain<Filter>&)>& interferes) {
  Chain<Filter> chain;
  chain.recorder.action = [&] {
    chain.recorder.action = nullptr;
    interferes(chain);
  };
  try {
    chain.source->sendBytes(dataOf("a\xE2\x82"));
  } catch (const std::runtime_error&) {
    chain.recorder.events.push_back("raised");
  }
  chain.source->sendBytes(dataOf("\xAC."));
  return chain.recorder.events;
}

TEST(UTF8Filters, WhatIsHeldOutlivesAConsumerThatThrows) {
  const auto throws = [](auto&) { throw std::runtime_error("enough"); };
  EXPECT_EQ(eventsWhenTheFirstCall<ZevMoUTF8DecoderFilter>(throws),
            Events({"chars:a", "raised", "chars:\xE2\x82\xAC."}));
  EXPECT_EQ(eventsWhenTheFirstCall<ZevMoUTF8BufferFilter>(throws),
            Events({"bytes:a", "raised", "bytes:\xE2\x82\xAC."}));
}

TEST(UTF8Filters, WhatIsHeldComesBeforeWhatAConsumerSends) {
  const auto sends = [](auto& chain) { chain.source->sendBytes(dataOf("\xAC!")); };
  EXPECT_EQ(eventsWhenTheFirstCall<ZevMoUTF8DecoderFilter>(sends),
            Events({"chars:a", "chars:\xE2\x82\xAC!", "chars:\\254."}));
  EXPECT_EQ(eventsWhenTheFirstCall<ZevMoUTF8BufferFilter>(sends),
            Events({"bytes:a", "bytes:\xE2\x82\xAC!", "bytes:\xAC."}));
}

// ---- ZevMoUTF8EncoderFilter

TEST(UTF8EncoderFilter, SendsTheBytesOfEachChunk) {
  const Ref<ZevMoCharacterStream> source = ZevMoCharacterStream::init();
  const Ref<ZevMoUTF8EncoderFilter> filter = ZevMoUTF8EncoderFilter::init();
  StreamRecorder recorder;
  source->setCharacterStreamConsumer(filter);
  filter->setByteStreamConsumer(&recorder);
  source->sendCharacters("gr\u00F6\u00DFe \U0001F600"_hx);
  source->sendCharacters(""_hx);
  source->sendCharacters(nullptr);
  source->sendCharacters(HxString(std::u16string_view(u"a\xD800")));
  source->sendStreamDidEnd();
  EXPECT_EQ(recorder.events, Events({"bytes:gr\xC3\xB6\xC3\x9F"
                                     "e \xF0\x9F\x98\x80",
                                     "bytes:", "bytes:nil", "bytes:nil", "end"}));
}

TEST(UTF8EncoderFilter, UndoesTheDecoder) {
  const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoUTF8EncoderFilter> encoder = ZevMoUTF8EncoderFilter::init();
  StreamRecorder recorder;
  source->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(encoder);
  encoder->setByteStreamConsumer(&recorder);
  const std::string text = "z\xE2\x82\xAC\xF0\x9F\x98\x80\xC3\xA9";
  for (const char byte : text) source->sendBytes(dataOf({&byte, 1}));
  source->sendStreamDidEnd();
  EXPECT_EQ(recorder.events.back(), "end");
  recorder.events.pop_back();
  EXPECT_EQ(recorder.text(), text);
}

}  // namespace
}  // namespace rondel
