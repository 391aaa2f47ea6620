// SPDX-License-Identifier: MIT
#include "Rondel/Streams/Stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::Events;
using test::OwnedRelay;
using test::Relay;
using test::RetainedStreamRecorder;
using test::StreamRecorder;

// ---- What a fresh stream is

TEST(Stream, BeginsWithoutNameConsumerAndUpstream) {
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  EXPECT_TRUE(stream->name().isNil());
  EXPECT_EQ(stream->streamConsumer(), nullptr);
  EXPECT_EQ(stream->upstreamStream(), nullptr);
}

TEST(Stream, ClassOperationsMakeStreamsOfTheirClass) {
  EXPECT_STREQ(ZevMoStream::stream()->hxClass().name(), "ZevMoStream");
  EXPECT_STREQ(ZevMoByteStream::stream()->hxClass().name(), "ZevMoByteStream");
  EXPECT_STREQ(ZevMoCharacterStream::stream()->hxClass().name(), "ZevMoCharacterStream");
  EXPECT_STREQ(ZevMoLineStream::stream()->hxClass().name(), "ZevMoLineStream");
  EXPECT_STREQ(ZevMoLineStream::init()->hxClass().name(), "ZevMoLineStream");
  EXPECT_NE(ZevMoByteStream::stream(), ZevMoByteStream::stream());
}

TEST(Stream, ClassesCanBeMadeByNameAndDeriveFromStream) {
  for (const HxClass kind : {ZevMoStream::classObject(), ZevMoByteStream::classObject(),
                             ZevMoCharacterStream::classObject(), ZevMoLineStream::classObject()}) {
    EXPECT_TRUE(kind.isSubclassOfClass(ZevMoStream::classObject())) << kind.name();
    EXPECT_TRUE(kind.make().hxClass() == kind) << kind.name();
  }
}

TEST(Stream, KeepsACopyOfItsName) {
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  HxMutableString name = HxMutableString::stringWithString("before"_hx);
  stream->setName(name);
  name.setString("after"_hx);
  EXPECT_EQ(stream->name(), "before"_hx);
  stream->setName(nullptr);
  EXPECT_TRUE(stream->name().isNil());
}

TEST(Stream, SettingItsOwnNameAgainKeepsTheObject) {
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  stream->setName(HxString(std::string_view("a name on the heap")));
  const HxObject* const object = stream->name().object();
  stream->setName(stream->name());
  EXPECT_EQ(stream->name().object(), object);
}

// ---- Sending

TEST(Stream, SendsWithoutConsumerDoNothing) {
  ZevMoByteStream::init()->sendBytes(dataOf("x"));
  ZevMoCharacterStream::init()->sendCharacters("x"_hx);
  ZevMoLineStream::init()->sendLine("x"_hx);
  ZevMoStream::init()->sendStreamDidEnd();
  ZevMoByteStream::init()->sendStreamDidEnd();
}

TEST(Stream, EachKindCallsItsOperationWithItselfAndThePayload) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoCharacterStream> characters = ZevMoCharacterStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  bytes->setByteStreamConsumer(&recorder);
  characters->setCharacterStreamConsumer(&recorder);
  lines->setLineStreamConsumer(&recorder);
  bytes->sendBytes(dataOf("b"));
  characters->sendCharacters("c"_hx);
  lines->sendLine("l\n"_hx);
  bytes->sendStreamDidEnd();
  EXPECT_EQ(recorder.events, Events({"bytes:b", "chars:c", "line:l\n", "end"}));
  EXPECT_EQ(recorder.senders,
            (std::vector<ZevMoStream*>{bytes.get(), characters.get(), lines.get(), bytes.get()}));
}

TEST(Stream, NilPayloadsPassUnexamined) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoCharacterStream> characters = ZevMoCharacterStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  bytes->setByteStreamConsumer(&recorder);
  characters->setCharacterStreamConsumer(&recorder);
  lines->setLineStreamConsumer(&recorder);
  bytes->sendBytes(nullptr);
  characters->sendCharacters(nullptr);
  lines->sendLine(nullptr);
  EXPECT_EQ(recorder.events, Events({"bytes:nil", "chars:nil", "line:nil"}));
}

TEST(Stream, PassesThePayloadItself) {
  class Keeper final : public HxObject, public ZevMoByteStreamConsuming {
   public:
    const HxObject* seen = nullptr;
    void streamProcessBytes(ZevMoStream*, const HxData& data) override { seen = data.object(); }
    void streamDidEnd(ZevMoStream*) override {}
  } keeper;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const Ref<Relay> relay = makeRef<Relay>();
  stream->setByteStreamConsumer(relay);
  relay->setByteStreamConsumer(&keeper);
  const HxData data = dataOf("payload");
  const test::AllocationCounter allocations;
  stream->sendBytes(data);
  EXPECT_EQ(allocations.count(), 0u);
  EXPECT_EQ(keeper.seen, data.object());
}

TEST(Stream, SenderIsTheNeighbourAndSourceTheHead) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<Relay> first = makeRef<Relay>();
  const Ref<Relay> second = makeRef<Relay>();
  head->setByteStreamConsumer(first);
  first->setByteStreamConsumer(second);
  second->setByteStreamConsumer(&recorder);
  head->sendBytes(dataOf("x"));
  EXPECT_EQ(recorder.senders, std::vector<ZevMoStream*>{second.get()});
  EXPECT_EQ(recorder.senders[0]->sourceStream(), head.get());
}

TEST(Stream, ExceptionsOfAConsumerPassThroughToTheSource) {
  StreamRecorder recorder;
  recorder.action = [] { throw std::runtime_error("enough"); };
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<Relay> relay = makeRef<Relay>();
  head->setByteStreamConsumer(relay);
  relay->setByteStreamConsumer(&recorder);
  EXPECT_THROW(head->sendBytes(dataOf("x")), std::runtime_error);
  EXPECT_THROW(head->sendStreamDidEnd(), std::runtime_error);
  recorder.action = nullptr;
  head->sendBytes(dataOf("y"));
  EXPECT_EQ(recorder.events, Events({"bytes:x", "end", "bytes:y"}));
}

TEST(Stream, PlainStreamTellsOfTheEnd) {
  StreamRecorder recorder;
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  stream->setStreamConsumer(&recorder);
  stream->sendStreamDidEnd();
  EXPECT_EQ(recorder.events, Events({"end"}));
}

TEST(Stream, AnObjectThatIsNoConsumerHearsNothing) {
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const HxString text = "no consumer"_hx;
  stream->setStreamConsumer(text);
  EXPECT_EQ(stream->streamConsumer(), text.object());
  EXPECT_EQ(stream->byteStreamConsumer(), nullptr);
  stream->sendBytes(dataOf("x"));
  stream->sendStreamDidEnd();
}

// ---- Checks

TEST(Stream, SettersCheckThatTheConsumerConforms) {
  class Mute final : public HxObject {
   public:
    HxString description() const override { return "<a mute>"_hx; }
  } mute;
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoCharacterStream> characters = ZevMoCharacterStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  const test::FailureRecorder recorder;
  bytes->setByteStreamConsumer(&mute);
  characters->setCharacterStreamConsumer(&mute);
  lines->setLineStreamConsumer(&mute);
  struct {
    const ZevMoStream* stream;
    std::string function;
    std::string protocol;
  } const expected[] = {
      {bytes.get(), "-[ZevMoByteStream setByteStreamConsumer:]",
       "@protocol(ZevMoByteStreamConsuming)"},
      {characters.get(), "-[ZevMoCharacterStream setCharacterStreamConsumer:]",
       "@protocol(ZevMoCharacterStreamConsuming)"},
      {lines.get(), "-[ZevMoLineStream setLineStreamConsumer:]",
       "@protocol(ZevMoLineStreamConsuming)"},
  };
  ASSERT_EQ(recorder.failures().size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const auto& failure = recorder.failures()[i];
    EXPECT_EQ(failure.receiver, expected[i].stream);
    EXPECT_EQ(failure.function, expected[i].function);
    EXPECT_EQ(failure.message, "consumer should conform to protocol " + expected[i].protocol +
                                   ", but <a mute> doesn't");
    EXPECT_EQ(failure.condition, "(consumer) == nil || [(id)(consumer) conformsToProtocol:" +
                                     expected[i].protocol + "]");
  }
}

TEST(Stream, AConsumerThatFailedTheCheckIsLinkedAllTheSame) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> bytes = ZevMoByteStream::init();
  const Ref<ZevMoLineStream> lines = ZevMoLineStream::init();
  const test::FailureRecorder failures;
  bytes->setByteStreamConsumer(lines);
  lines->setStreamConsumer(&recorder);
  EXPECT_EQ(failures.failures().size(), 1u);
  EXPECT_EQ(bytes->streamConsumer(), lines.get());
  EXPECT_EQ(lines->upstreamStream(), bytes.get());
  bytes->sendBytes(dataOf("x"));
  bytes->sendStreamDidEnd();
  EXPECT_TRUE(recorder.events.empty());
}

TEST(Stream, NullAndConformingConsumersPassTheCheck) {
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const test::FailureRecorder failures;
  stream->setByteStreamConsumer(&recorder);
  stream->setByteStreamConsumer(nullptr);
  stream->setByteStreamConsumer(HxAny());
  EXPECT_TRUE(failures.failures().empty());
}

// ---- Linking and owning

TEST(Stream, OwnsAConsumerThatBearsTheMark) {
  int destroyed = 0;
  Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  stream->setByteStreamConsumer(makeRef<RetainedStreamRecorder>(destroyed));
  EXPECT_EQ(destroyed, 0);
  stream = nullptr;
  EXPECT_EQ(destroyed, 1);
}

TEST(Stream, DoesNotOwnAConsumerWithoutTheMark) {
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  Ref<StreamRecorder> recorder = makeRef<StreamRecorder>();
  stream->setByteStreamConsumer(recorder);
  EXPECT_TRUE(recorder->isUniquelyReferenced());
  stream->setByteStreamConsumer(nullptr);
  EXPECT_TRUE(recorder->isUniquelyReferenced());
}

TEST(Stream, SettingTheSameConsumerAgainChangesNothing) {
  int destroyed = 0;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const Ref<ZevMoByteStream> other = ZevMoByteStream::init();
  const Ref<RetainedStreamRecorder> recorder = makeRef<RetainedStreamRecorder>(destroyed);
  const Ref<Relay> relay = makeRef<Relay>();
  stream->setByteStreamConsumer(recorder);
  stream->setByteStreamConsumer(recorder);
  stream->setByteStreamConsumer(nullptr);
  EXPECT_TRUE(recorder->isUniquelyReferenced());
  stream->setByteStreamConsumer(relay);
  relay->setUpstreamStream(other.get());
  stream->setByteStreamConsumer(relay);
  EXPECT_EQ(relay->upstreamStream(), other.get());
  relay->setUpstreamStream(stream.get());
}

TEST(Stream, UnlinkingDropsAMarkedFilterUnlessSomebodySharesIt) {
  Events destroyed;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  stream->setByteStreamConsumer(makeRef<OwnedRelay>("alone", &destroyed));
  stream->setByteStreamConsumer(nullptr);
  EXPECT_EQ(destroyed, Events({"alone"}));

  const Ref<OwnedRelay> shared = makeRef<OwnedRelay>("shared", &destroyed);
  stream->setByteStreamConsumer(shared);
  EXPECT_EQ(shared->upstreamStream(), stream.get());
  stream->setByteStreamConsumer(nullptr);
  EXPECT_EQ(destroyed, Events({"alone"}));
  EXPECT_EQ(shared->upstreamStream(), nullptr);
}

TEST(Stream, ConsumerThatIsNoStreamHasNoUpstreamButAStreamWithoutTheMarkHas) {
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const Ref<Relay> relay = makeRef<Relay>();
  stream->setByteStreamConsumer(relay);
  EXPECT_TRUE(relay->isUniquelyReferenced());
  EXPECT_EQ(relay->upstreamStream(), stream.get());
}

TEST(Stream, LastLinkWinsWhenTwoStreamsFeedOneConsumer) {
  StreamRecorder recorder;
  Events destroyed;
  Ref<ZevMoByteStream> first = ZevMoByteStream::init();
  Ref<ZevMoByteStream> second = ZevMoByteStream::init();
  Ref<OwnedRelay> relay = makeRef<OwnedRelay>("relay", &destroyed);
  relay->setByteStreamConsumer(&recorder);
  first->setByteStreamConsumer(relay);
  second->setByteStreamConsumer(relay);
  EXPECT_EQ(relay->upstreamStream(), second.get());
  first->sendBytes(dataOf("1"));
  second->sendBytes(dataOf("2"));
  EXPECT_EQ(recorder.events, Events({"bytes:1", "bytes:2"}));
  relay = nullptr;
  second = nullptr;
  EXPECT_TRUE(destroyed.empty());
  first = nullptr;
  EXPECT_EQ(destroyed, Events({"relay"}));
}

TEST(Stream, ReplacingTheConsumerCutsTheOldLinkAndMakesTheNewOne) {
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  const Ref<OwnedRelay> former = makeRef<OwnedRelay>();
  const Ref<OwnedRelay> latter = makeRef<OwnedRelay>();
  stream->setByteStreamConsumer(former);
  stream->setByteStreamConsumer(latter);
  EXPECT_EQ(former->upstreamStream(), nullptr);
  EXPECT_TRUE(former->isUniquelyReferenced());
  EXPECT_EQ(latter->upstreamStream(), stream.get());
  EXPECT_FALSE(latter->isUniquelyReferenced());
}

TEST(Stream, AFilterCanBeTakenOutOfTheMiddle) {
  Events destroyed;
  StreamRecorder recorder;
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  head->setByteStreamConsumer(makeRef<OwnedRelay>("middle", &destroyed));
  auto* const middle = static_cast<OwnedRelay*>(head->streamConsumer());
  middle->setByteStreamConsumer(makeRef<OwnedRelay>("tail", &destroyed));
  auto* const tail = static_cast<OwnedRelay*>(middle->streamConsumer());
  tail->setByteStreamConsumer(&recorder);
  head->setByteStreamConsumer(middle->streamConsumer());
  EXPECT_EQ(destroyed, Events({"middle"}));
  EXPECT_EQ(tail->upstreamStream(), head.get());
  head->sendBytes(dataOf("x"));
  EXPECT_EQ(recorder.events, Events({"bytes:x"}));
}

TEST(Stream, UpstreamIsAPlainStore) {
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  const Ref<ZevMoStream> other = ZevMoStream::init();
  stream->setUpstreamStream(other.get());
  EXPECT_EQ(stream->upstreamStream(), other.get());
  EXPECT_EQ(other->streamConsumer(), nullptr);
  EXPECT_EQ(stream->sourceStream(), other.get());
  stream->setUpstreamStream(nullptr);
}

TEST(Stream, SourceOfAHeadIsTheHeadAndThatOfAFilterThreeLinksDownToo) {
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  EXPECT_EQ(head->sourceStream(), head.get());
  std::vector<Ref<Relay>> relays;
  ZevMoByteStream* last = head.get();
  for (int i = 0; i < 3; ++i) {
    relays.push_back(makeRef<Relay>());
    last->setByteStreamConsumer(relays.back());
    last = relays.back().get();
  }
  EXPECT_EQ(last->sourceStream(), head.get());
}

TEST(Stream, ADestructorOfTheFormerConsumerMayUseTheStream) {
  class Meddler final : public HxObject,
                        public ZevMoByteStreamConsuming,
                        public ZevMoStreamConsumerRetaining {
   public:
    Meddler(ZevMoByteStream* stream, HxObject* successor)
        : _stream(stream), _successor(successor) {}
    ~Meddler() override {
      _stream->sendBytes(dataOf("lost"));
      _stream->setByteStreamConsumer(_successor);
    }
    void streamProcessBytes(ZevMoStream*, const HxData&) override {}
    void streamDidEnd(ZevMoStream*) override {}

   private:
    ZevMoByteStream* _stream;
    HxObject* _successor;
  };
  StreamRecorder successor;
  StreamRecorder chosen;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  stream->setByteStreamConsumer(makeRef<Meddler>(stream.get(), &successor));
  stream->setByteStreamConsumer(&chosen);
  stream->sendBytes(dataOf("x"));
  EXPECT_TRUE(successor.events.empty());
  EXPECT_EQ(chosen.events, Events({"bytes:x"}));
}

// ---- Changes during a send

TEST(Stream, AConsumerMayUnlinkItselfDuringASend) {
  int destroyed = 0;
  const Ref<ZevMoByteStream> stream = ZevMoByteStream::init();
  Ref<RetainedStreamRecorder> recorder = makeRef<RetainedStreamRecorder>(destroyed);
  std::string heard;
  recorder->action = [&, self = recorder.get()] {
    stream->setByteStreamConsumer(nullptr);
    EXPECT_EQ(destroyed, 0) << "alive until its call returns";
    heard = self->events.back();
  };
  stream->setByteStreamConsumer(recorder);
  recorder = nullptr;
  stream->sendBytes(dataOf("x"));
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(heard, "bytes:x");
  stream->sendBytes(dataOf("y"));
}

TEST(Stream, AConsumerMayUnlinkItselfWhenItHearsOfTheEnd) {
  int destroyed = 0;
  const Ref<ZevMoStream> stream = ZevMoStream::init();
  Ref<RetainedStreamRecorder> recorder = makeRef<RetainedStreamRecorder>(destroyed);
  recorder->action = [&] { stream->setStreamConsumer(nullptr); };
  stream->setStreamConsumer(recorder);
  recorder = nullptr;
  stream->sendStreamDidEnd();
  EXPECT_EQ(destroyed, 1);
}

TEST(Stream, AConsumerMayDropTheWholeChainDuringASend) {
  for (const bool atEnd : {false, true}) {
    Events destroyed;
    StreamRecorder recorder;
    auto head = std::make_unique<Ref<Relay>>(makeRef<Relay>("head", &destroyed));
    const Ref<OwnedRelay> relay = makeRef<OwnedRelay>("relay", &destroyed);
    (*head)->setByteStreamConsumer(relay);
    relay->setByteStreamConsumer(&recorder);
    recorder.action = [&] { head.reset(); };
    Relay* const source = head->get();
    atEnd ? source->sendStreamDidEnd() : source->sendBytes(dataOf("x"));
    EXPECT_EQ(destroyed, Events({"head"}));
    EXPECT_EQ(recorder.events.size(), 1u);
  }
}

TEST(Stream, AConsumerMayBeReplacedDuringASend) {
  int destroyed = 0;
  StreamRecorder successor;
  const Ref<ZevMoLineStream> stream = ZevMoLineStream::init();
  Ref<RetainedStreamRecorder> recorder = makeRef<RetainedStreamRecorder>(destroyed);
  recorder->action = [&] { stream->setLineStreamConsumer(&successor); };
  stream->setLineStreamConsumer(recorder);
  recorder = nullptr;
  stream->sendLine("1"_hx);
  stream->sendLine("2"_hx);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(successor.events, Events({"line:2"}));
}

// ---- Classes of one's own

class WordFilter final : public StreamOf<WordFilter, ZevMoLineStream>,
                         public ZevMoLineStreamConsuming {
 public:
  explicit WordFilter(const HxString& given = "none"_hx) : word(given) {}
  void streamProcessLine(ZevMoStream*, const HxString&) override {}
  void streamDidEnd(ZevMoStream*) override {}
  const HxString word;
};

TEST(StreamOf, SuppliesStreamsOfTheClassOnWhichItIsCalled) {
  const Ref<WordFilter> plain = WordFilter::stream();
  const Ref<WordFilter> named = WordFilter::init("error"_hx);
  const Ref<WordFilter> made = makeStream<WordFilter>("made"_hx);
  EXPECT_EQ(plain->word, "none"_hx);
  EXPECT_EQ(named->word, "error"_hx);
  EXPECT_EQ(made->word, "made"_hx);
}

}  // namespace
}  // namespace rondel
