// SPDX-License-Identifier: MIT
//
// Chains of streams that are taken apart, however long they are and whoever shares them.
#include <gtest/gtest.h>

#include <string>

#include "Rondel/Streams/Stream.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::Events;
using test::OwnedRelay;
using test::Relay;
using test::StreamRecorder;

TEST(Stream, DroppingTheHeadDestroysTheChainHeadFirst) {
  Events destroyed;
  StreamRecorder recorder;
  Ref<ZevMoByteStream> head = makeRef<Relay>("head", &destroyed);
  ZevMoByteStream* last = head.get();
  for (const char* name : {"one", "two", "three"}) {
    const Ref<OwnedRelay> next = makeRef<OwnedRelay>(name, &destroyed);
    last->setByteStreamConsumer(next);
    last = next.get();
  }
  last->setByteStreamConsumer(&recorder);
  head = nullptr;
  EXPECT_EQ(destroyed, Events({"head", "one", "two", "three"}));
  EXPECT_TRUE(recorder.events.empty()) << "no end is sent by teardown";
}

TEST(Stream, AConsumerThatSurvivesTheHeadHasNoUpstream) {
  Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  const Ref<Relay> borrowed = makeRef<Relay>();
  head->setByteStreamConsumer(borrowed);
  head = nullptr;
  EXPECT_EQ(borrowed->upstreamStream(), nullptr);
  head = ZevMoByteStream::init();
  const Ref<OwnedRelay> shared = makeRef<OwnedRelay>();
  head->setByteStreamConsumer(shared);
  head = nullptr;
  EXPECT_EQ(shared->upstreamStream(), nullptr);
  EXPECT_TRUE(shared->isUniquelyReferenced());
}

TEST(Stream, AStreamWithoutTheMarkUnhooksItselfFromWhatFeedsIt) {
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  Ref<Relay> borrowed = makeRef<Relay>();
  head->setByteStreamConsumer(borrowed);
  borrowed = nullptr;
  EXPECT_EQ(head->streamConsumer(), nullptr);
  EXPECT_EQ(head->byteStreamConsumer(), nullptr);
  head->sendBytes(dataOf("x"));
}

TEST(Stream, AVeryLongChainIsTakenApartWithoutRecursion) {
  Events destroyed;
  Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  ZevMoByteStream* last = head.get();
  constexpr std::size_t kFilters = 100'000;
  for (std::size_t i = 0; i < kFilters; ++i) {
    const Ref<OwnedRelay> next = makeRef<OwnedRelay>(std::to_string(i), &destroyed);
    last->setByteStreamConsumer(next);
    last = next.get();
  }
  EXPECT_EQ(last->sourceStream(), head.get());
  head = nullptr;
  ASSERT_EQ(destroyed.size(), kFilters);
  for (std::size_t i = 0; i < kFilters; ++i) ASSERT_EQ(destroyed[i], std::to_string(i));
}

TEST(Stream, ALongChainLeavesWhatIsSharedAlone) {
  Events destroyed;
  Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  ZevMoByteStream* last = head.get();
  Ref<OwnedRelay> shared;
  for (int i = 0; i < 1000; ++i) {
    const Ref<OwnedRelay> next = makeRef<OwnedRelay>(std::to_string(i), &destroyed);
    if (i == 500) shared = next;
    last->setByteStreamConsumer(next);
    last = next.get();
  }
  head = nullptr;
  EXPECT_EQ(destroyed.size(), 500u);
  EXPECT_TRUE(shared->isUniquelyReferenced());
  EXPECT_EQ(shared->upstreamStream(), nullptr);
  shared = nullptr;
  EXPECT_EQ(destroyed.size(), 1000u);
}

TEST(Stream, AChainThatAFilterOwnsBesideIsGoneWhenItsDestructorReturns) {
  class Forked final : public ZevMoByteStream,
                       public ZevMoByteStreamConsuming,
                       public ZevMoStreamConsumerRetaining {
   public:
    explicit Forked(Events& destroyed) : _destroyed(destroyed) {
      _side = ZevMoByteStream::init();
      _side->setByteStreamConsumer(makeRef<OwnedRelay>("side", &destroyed));
    }
    ~Forked() override {
      _side = nullptr;
      _destroyed.push_back("forked");
    }
    void streamProcessBytes(ZevMoStream*, const HxData& data) override { _side->sendBytes(data); }
    void streamDidEnd(ZevMoStream*) override {}

   private:
    Events& _destroyed;
    Ref<ZevMoByteStream> _side;
  };
  Events destroyed;
  Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  ZevMoByteStream* last = head.get();
  for (int i = 0; i < 200; ++i) {
    const Ref<Forked> next = makeRef<Forked>(destroyed);
    last->setByteStreamConsumer(next);
    last = next.get();
  }
  head = nullptr;
  ASSERT_EQ(destroyed.size(), 400u);
  for (std::size_t i = 0; i < destroyed.size(); ++i) {
    ASSERT_EQ(destroyed[i], i % 2 ? "forked" : "side");
  }
}

}  // namespace
}  // namespace rondel
