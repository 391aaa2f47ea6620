// SPDX-License-Identifier: MIT
//
// Streams and consumers that go, or change hands, in the midst of things.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Stream.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::Events;
using test::RetainedStreamRecorder;
using test::StreamRecorder;

// ---- The back link

// A filter that tells, as it goes, whether it still has an upstream stream.
class Witness final : public ZevMoByteStream,
                      public ZevMoByteStreamConsuming,
                      public ZevMoStreamConsumerRetaining {
 public:
  explicit Witness(std::vector<bool>& hadUpstream) : _hadUpstream(hadUpstream) {}
  ~Witness() override { _hadUpstream.push_back(upstreamStream() != nullptr); }
  void streamProcessBytes(ZevMoStream*, const HxData&) override {}
  void streamDidEnd(ZevMoStream*) override {}

 private:
  std::vector<bool>& _hadUpstream;
};

TEST(StreamLifetime, TheBackLinkIsCutBeforeAConsumerGoes) {
  std::vector<bool> hadUpstream;
  Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  head->setByteStreamConsumer(makeRef<Witness>(hadUpstream));
  head->setByteStreamConsumer(makeRef<Witness>(hadUpstream));
  head->setByteStreamConsumer(nullptr);
  head->setByteStreamConsumer(makeRef<Witness>(hadUpstream));
  head = nullptr;
  EXPECT_EQ(hadUpstream, std::vector<bool>(3, false));
}

TEST(StreamLifetime, UnlinkingClearsTheBackLinkThoughAnotherStreamMadeIt) {
  const Ref<ZevMoByteStream> first = ZevMoByteStream::init();
  const Ref<ZevMoByteStream> second = ZevMoByteStream::init();
  const Ref<ZevMoUTF8BufferFilter> filter = ZevMoUTF8BufferFilter::init();
  first->setByteStreamConsumer(filter);
  second->setByteStreamConsumer(filter);
  first->setByteStreamConsumer(nullptr);
  EXPECT_EQ(filter->upstreamStream(), nullptr);
  EXPECT_EQ(second->streamConsumer(), filter.get());
}

// ---- Consumers that go while they are linked

TEST(StreamLifetime, AConsumerThatGoesUnlinksItselfFromEveryStream) {
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoCharacterStream> characters = ZevMoCharacterStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  const Ref<ZevMoByteStream> relinked = ZevMoByteStream::init();
  StreamRecorder other;
  {
    StreamRecorder recorder;
    bytes->setByteStreamConsumer(&recorder);
    characters->setCharacterStreamConsumer(&recorder);
    lines->setLineStreamConsumer(&recorder);
    relinked->setByteStreamConsumer(&recorder);
    relinked->setByteStreamConsumer(&other);
    const Ref<ZevMoByteStream> shortLived = ZevMoByteStream::init();
    shortLived->setByteStreamConsumer(&recorder);
  }
  EXPECT_EQ(bytes->streamConsumer(), nullptr);
  EXPECT_EQ(bytes->byteStreamConsumer(), nullptr);
  EXPECT_EQ(characters->characterStreamConsumer(), nullptr);
  EXPECT_EQ(lines->lineStreamConsumer(), nullptr);
  EXPECT_EQ(relinked->streamConsumer(), &other);
  bytes->sendBytes(dataOf("x"));
  bytes->sendStreamDidEnd();
  characters->sendCharacters("x"_hx);
  lines->sendLine("x"_hx);
  bytes->setByteStreamConsumer(&other);
  bytes->sendBytes(dataOf("y"));
  EXPECT_EQ(other.events, Events({"bytes:y"}));
}

// A filter that its upstream does not own.
class Unmarked final : public ZevMoByteStream, public ZevMoByteStreamConsuming {
 public:
  void streamProcessBytes(ZevMoStream*, const HxData& data) override { sendBytes(data); }
  void streamDidEnd(ZevMoStream*) override { sendStreamDidEnd(); }
};

TEST(StreamLifetime, AStreamThatConsumesFromTwoUnlinksItselfFromBoth) {
  const Ref<ZevMoByteStream> first = ZevMoByteStream::init();
  const Ref<ZevMoByteStream> second = ZevMoByteStream::init();
  {
    const Ref<Unmarked> filter = makeRef<Unmarked>();
    first->setByteStreamConsumer(filter);
    second->setByteStreamConsumer(filter);
  }
  EXPECT_EQ(first->streamConsumer(), nullptr);
  EXPECT_EQ(second->streamConsumer(), nullptr);
  first->sendBytes(dataOf("x"));
  second->sendBytes(dataOf("x"));
}

TEST(StreamLifetime, AConsumerMayDropItselfInACall) {
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  Ref<StreamRecorder> recorder = makeRef<StreamRecorder>();
  lines->setLineStreamConsumer(recorder);
  bytes->setByteStreamConsumer(recorder);
  recorder->action = [&] { recorder = nullptr; };
  lines->streamProcessCharacters(nullptr, "a\nb\nc\n"_hx);
  EXPECT_TRUE(recorder.isNil());
  EXPECT_EQ(lines->streamConsumer(), nullptr);
  EXPECT_EQ(bytes->streamConsumer(), nullptr);
  bytes->sendBytes(dataOf("x"));
}

TEST(StreamLifetime, ACopyOfAConsumersInterfaceIsLinkedNowhere) {
  struct Interface final : internal::Referent {};
  struct Holder {
    internal::ZeroingReference<Interface> reference;
  } holder;
  auto* const original = new Interface;
  const Interface copy(*original);
  holder.reference = original;
  *original = copy;
  EXPECT_EQ(holder.reference.get(), original);
  delete original;
  EXPECT_EQ(holder.reference.get(), nullptr);
}

// ---- Consumers that hold what feeds them

// Owned by the stream that it owns: a ring, until somebody unlinks it.
class Holder final : public HxObject,
                     public ZevMoByteStreamConsuming,
                     public ZevMoStreamConsumerRetaining {
 public:
  Holder(const Ref<ZevMoByteStream>& stream, Events& destroyed)
      : _stream(stream), _destroyed(destroyed) {}
  ~Holder() override { _destroyed.push_back("holder"); }
  void streamProcessBytes(ZevMoStream* stream, const HxData&) override {
    stream->setStreamConsumer(nullptr);
  }
  void streamDidEnd(ZevMoStream* stream) override { stream->setStreamConsumer(nullptr); }

 private:
  Ref<ZevMoByteStream> _stream;
  Events& _destroyed;
};

class ToldStream final : public ZevMoByteStream {
 public:
  explicit ToldStream(Events& destroyed) : _destroyed(destroyed) {}
  ~ToldStream() override { _destroyed.push_back("stream"); }

 private:
  Events& _destroyed;
};

ZevMoByteStream* heldByItsConsumer(Events& destroyed) {
  const Ref<ZevMoByteStream> stream = makeRef<ToldStream>(destroyed);
  stream->setByteStreamConsumer(makeRef<Holder>(stream, destroyed));
  return stream.get();
}

TEST(StreamLifetime, UnlinkingAConsumerMayDestroyTheStream) {
  Events destroyed;
  heldByItsConsumer(destroyed)->setByteStreamConsumer(nullptr);
  EXPECT_EQ(destroyed, Events({"holder", "stream"}));
}

TEST(StreamLifetime, ReplacingAConsumerMayDestroyTheStream) {
  Events destroyed;
  const Ref<ZevMoUTF8BufferFilter> successor = ZevMoUTF8BufferFilter::init();
  heldByItsConsumer(destroyed)->setByteStreamConsumer(successor);
  EXPECT_EQ(destroyed, Events({"holder", "stream"}));
  EXPECT_TRUE(successor->isUniquelyReferenced());
  EXPECT_EQ(successor->upstreamStream(), nullptr);
}

TEST(StreamLifetime, AConsumerThatUnlinksItselfMayTakeTheStreamAlong) {
  Events destroyed;
  heldByItsConsumer(destroyed)->sendBytes(dataOf("x"));
  heldByItsConsumer(destroyed)->sendStreamDidEnd();
  EXPECT_EQ(destroyed, Events({"holder", "stream", "holder", "stream"}));
}

// ---- Destructors that send

TEST(StreamLifetime, AConsumerMayMakeItsStreamSendWhileItGoes) {
  class Last final : public HxObject,
                     public ZevMoByteStreamConsuming,
                     public ZevMoCharacterStreamConsuming,
                     public ZevMoLineStreamConsuming {
   public:
    explicit Last(Events& events) : _events(events) {
      _bytes->setByteStreamConsumer(this);
      _characters->setCharacterStreamConsumer(this);
      _lines->setLineStreamConsumer(this);
      _filter->setLineStreamConsumer(this);
    }
    ~Last() override {
      _bytes->sendBytes(nullptr);
      _characters->sendCharacters(nullptr);
      _lines->sendLine("l"_hx);
      _lines->sendStreamDidEnd();
      _filter->streamProcessCharacters(nullptr, "f\ng\nh"_hx);
      _filter->streamDidEnd(nullptr);
      _events.push_back("gone");
    }
    void streamProcessBytes(ZevMoStream*, const HxData&) override { _events.push_back("bytes"); }
    void streamProcessCharacters(ZevMoStream*, const HxString&) override {
      _events.push_back("chars");
    }
    void streamProcessLine(ZevMoStream*, const HxString& line) override {
      _events.push_back(line.toStdString());
    }
    void streamDidEnd(ZevMoStream*) override { _events.push_back("end"); }

   private:
    Events& _events;
    Ref<ZevMoByteStream> _bytes = ZevMoByteStream::init();
    Ref<ZevMoCharacterStream> _characters = ZevMoCharacterStream::init();
    Ref<ZevMoLineStream> _lines = ZevMoLineStream::init();
    Ref<ZevMoLineBufferFilter> _filter = ZevMoLineBufferFilter::init();
  };
  Events events;
  static_cast<void>(makeRef<Last>(events));
  EXPECT_EQ(events, Events({"bytes", "chars", "l", "end", "f\n", "g\n", "h\n", "end", "gone"}));
}

TEST(StreamLifetime, AStreamMaySendItsLastWhileItGoes) {
  class Source final : public ZevMoByteStream {
   public:
    ~Source() override {
      sendBytes(dataOf("last"));
      sendStreamDidEnd();
      setByteStreamConsumer(nullptr);
    }
  };
  StreamRecorder recorder;
  makeRef<Source>()->setByteStreamConsumer(&recorder);
  EXPECT_EQ(recorder.events, Events({"bytes:last", "end"}));

  int destroyed = 0;
  makeRef<Source>()->setByteStreamConsumer(makeRef<RetainedStreamRecorder>(destroyed));
  EXPECT_EQ(destroyed, 1);
}

// ---- Filters that are called by their owner, who drops them in the call

TEST(StreamLifetime, TheOwnerOfALineFilterMayDropItWhileItSends) {
  for (const bool raises : {false, true}) {
    StreamRecorder recorder;
    Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
    filter->setLineStreamConsumer(&recorder);
    recorder.action = [&] {
      filter = nullptr;
      recorder.action = nullptr;
      if (raises) throw std::runtime_error("enough");
    };
    try {
      filter->streamProcessCharacters(nullptr, "a\nb\nc"_hx);
      EXPECT_FALSE(raises);
    } catch (const std::runtime_error&) {
      EXPECT_TRUE(raises);
    }
    EXPECT_EQ(recorder.events, raises ? Events({"line:a\n"}) : Events({"line:a\n", "line:b\n"}));
  }
}

TEST(StreamLifetime, TheOwnerOfAFilterMayDropItWhileItSendsWhatItHeld) {
  StreamRecorder recorder;
  Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  lines->setLineStreamConsumer(&recorder);
  decoder->setCharacterStreamConsumer(&recorder);
  lines->streamProcessCharacters(nullptr, "held"_hx);
  decoder->streamProcessBytes(decoder.get(), dataOf("\xC3"));
  recorder.events.clear();
  recorder.action = [&] {
    lines = nullptr;
    decoder = nullptr;
  };
  lines->streamDidEnd(nullptr);
  EXPECT_EQ(recorder.events, Events({"line:held\n", "end"}));
}

TEST(StreamLifetime, TheOwnerOfADecoderMayDropItWhileItSendsWhatItHeld) {
  StreamRecorder recorder;
  Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  decoder->setCharacterStreamConsumer(&recorder);
  decoder->streamProcessBytes(decoder.get(), dataOf("\xC3"));
  recorder.action = [&] { decoder = nullptr; };
  decoder->streamDidEnd(nullptr);
  EXPECT_EQ(recorder.events, Events({"chars:", "chars:\\303", "end"}));
}

// ---- Ends and checks

TEST(StreamLifetime, FiltersEndThroughTheOperationThatASubclassMayOverride) {
  class Decoder final : public ZevMoUTF8DecoderFilter {
   public:
    void sendStreamDidEnd() override {
      sendCharacters("flushed"_hx);
      ZevMoUTF8DecoderFilter::sendStreamDidEnd();
    }
  };
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<Decoder> decoder = makeRef<Decoder>();
  head->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(&recorder);
  head->sendStreamDidEnd();
  EXPECT_EQ(recorder.events, Events({"chars:flushed", "end"}));
}

TEST(StreamLifetime, WhenTheFailureSinkRaisesTheLinkStaysAsItWas) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  stream->setByteStreamConsumer(&recorder);
  const MoAssertionFailureSink former = MoSetAssertionFailureHandler(
      [](const HxAny*, const HxSelector*, const char*, const char*, int, const HxString&,
         HxArguments) { throw std::runtime_error("check failed"); });
  EXPECT_THROW(stream->setByteStreamConsumer("no consumer"_hx), std::runtime_error);
  MoSetAssertionFailureHandler(former);
  EXPECT_EQ(stream->streamConsumer(), &recorder);
  stream->sendBytes(dataOf("x"));
  EXPECT_EQ(recorder.events, Events({"bytes:x"}));
}

}  // namespace
}  // namespace rondel
