// SPDX-License-Identifier: MIT
#include "Rondel/Streams/LineBufferFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

using test::Events;
using test::RetainedStreamRecorder;
using test::StreamRecorder;

using Chunks = std::vector<std::u16string>;

// The filter, after a source and before a recorder.
struct Chain {
  Ref<ZevMoCharacterStream> source = ZevMoCharacterStream::init();
  Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  StreamRecorder recorder;

  explicit Chain(bool coalesces = false) {
    filter->setCoalescesCompleteLines(coalesces);
    source->setCharacterStreamConsumer(filter);
    filter->setLineStreamConsumer(&recorder);
  }
  void send(std::u16string_view text) { source->sendCharacters(HxString(text)); }
  Events linesOf(const Chunks& chunks) {
    for (const std::u16string& chunk : chunks) send(chunk);
    Events lines = std::move(recorder.events);
    recorder.events.clear();
    for (std::string& line : lines) line = line.substr(5);  // without "line:"
    return lines;
  }
};

struct Case {
  const char* name;
  Chunks chunks;
  Events lines;
};

TEST(LineBufferFilter, IsAStreamOfItsClassAndOwnedByWhatFeedsIt) {
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::stream();
  EXPECT_STREQ(filter->hxClass().name(), "ZevMoLineBufferFilter");
  EXPECT_TRUE(HxAny(filter).conformsToProtocol(protocolOf<ZevMoStreamConsumerRetaining>("mark")));
  EXPECT_FALSE(filter->coalescesCompleteLines());
  filter->setCoalescesCompleteLines(true);
  EXPECT_TRUE(filter->coalescesCompleteLines());
}

TEST(LineBufferFilter, SendsEachCompleteLineWithItsTerminator) {
  const Case cases[] = {
      {"no terminator", {u"abc"}, {}},
      {"empty chunk, nothing held", {u""}, {}},
      {"one line", {u"a\n"}, {"a\n"}},
      {"a line in two chunks", {u"a\nb", u"c\n"}, {"a\n", "bc\n"}},
      {"a line in many chunks", {u"a", u"b", u"", u"c", u"\n"}, {"abc\n"}},
      {"empty lines", {u"\n\n", u"\n"}, {"\n", "\n", "\n"}},
      {"CR", {u"a\rb\r"}, {"a\r", "b\r"}},
      {"CR LF", {u"a\r\nb\r\n"}, {"a\r\n", "b\r\n"}},
      {"LF CR are two", {u"a\n\rb"}, {"a\n", "\r"}},
      {"CR CR LF", {u"a\r\r\n"}, {"a\r", "\r\n"}},
      {"CR LF between chunks is no pair", {u"x\r", u"\ny\n"}, {"x\r", "\n", "y\n"}},
      {"CR LF between chunks after a held start", {u"w", u"x\r", u"\n"}, {"wx\r", "\n"}},
      {"CR LF after a held start", {u"w", u"x\r\ny"}, {"wx\r\n"}},
      {"U+0085", {u"a\u0085b"}, {"a\u0085"}},
      {"U+2028 and U+2029", {u"a\u2028b\u2029c"}, {"a\u2028", "b\u2029"}},
      {"no other separators",
       {u"a\v\f\x1C\u200B\u2027\u202A\u0A0D\u0D0A\n"},
       {"a\v\f\x1C\u200B\u2027\u202A\u0A0D\u0D0A\n"}},
      {"wide and narrow lines together", {u"a\n\u00E9\nb\n"}, {"a\n", "\u00E9\n", "b\n"}},
      {"held narrow, then wide",
       {u"a", u"\u00E9", u"b\nc\n"},
       {"a\u00E9"
        "b\n",
        "c\n"}},
      {"a surrogate pair between chunks", {u"\xD83D", u"\xDE00\n"}, {"\U0001F600\n"}},
  };
  for (const Case& c : cases) EXPECT_EQ(Chain().linesOf(c.chunks), c.lines) << c.name;
}

TEST(LineBufferFilter, CoalescesTheCompleteLinesOfAChunk) {
  const Case cases[] = {
      {"no terminator", {u"abc", u"d"}, {}},
      {"keeps the rest", {u"a\nb\nc", u"\n"}, {"a\nb\n", "c\n"}},
      {"held start, several lines", {u"a", u"b\nc\nd", u"e\rf"}, {"ab\nc\n", "de\r"}},
      {"ends with a terminator", {u"a\nb\n", u"c\n"}, {"a\nb\n", "c\n"}},
      {"CR LF between chunks", {u"a\r", u"\nb"}, {"a\r", "\n"}},
      {"wide", {u"\u00E9\u2028\u00E8\nx", u"\u0085"}, {"\u00E9\u2028\u00E8\n", "x\u0085"}},
      {"empty", {u""}, {}},
  };
  for (const Case& c : cases) EXPECT_EQ(Chain(true).linesOf(c.chunks), c.lines) << c.name;
}

TEST(LineBufferFilter, EndsAPartialLineWithLFAtTheEnd) {
  struct {
    Chunks chunks;
    Events events;
  } const cases[] = {
      {{u"a\nb"}, {"line:a\n", "line:b\n", "end"}},
      {{u"a\n"}, {"line:a\n", "end"}},
      {{u"a\r"}, {"line:a\r", "end"}},
      {{u"a", u"\u2028"}, {"line:a\u2028", "end"}},
      {{u""}, {"end"}},
      {{}, {"end"}},
  };
  for (const bool coalesces : {false, true}) {
    for (const auto& c : cases) {
      Chain chain(coalesces);
      for (const std::u16string& chunk : c.chunks) chain.send(chunk);
      chain.source->sendStreamDidEnd();
      EXPECT_EQ(chain.recorder.events, c.events);
    }
  }
}

TEST(LineBufferFilter, ThePartialLineEndsThroughItsOwnOperation) {
  class Told final : public ZevMoLineBufferFilter {
   public:
    std::vector<std::pair<ZevMoStream*, std::string>> calls;
    void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override {
      calls.emplace_back(stream, characters.toStdString());
      ZevMoLineBufferFilter::streamProcessCharacters(stream, characters);
    }
  };
  const Ref<ZevMoCharacterStream> source = ZevMoCharacterStream::init();
  const Ref<Told> filter = makeRef<Told>();
  source->setCharacterStreamConsumer(filter);
  source->sendCharacters("a"_hx);
  source->sendStreamDidEnd();
  const std::pair<ZevMoStream*, std::string> expected[] = {{source.get(), "a"},
                                                           {source.get(), "\n"}};
  EXPECT_TRUE(std::equal(filter->calls.begin(), filter->calls.end(), std::begin(expected),
                         std::end(expected)));
}

TEST(LineBufferFilter, AChangeOfCoalescingHoldsFromTheNextChunkOn) {
  Chain chain;
  chain.send(u"a\nb\nc");
  chain.filter->setCoalescesCompleteLines(true);
  chain.send(u"d\ne\n");
  chain.filter->setCoalescesCompleteLines(false);
  chain.send(u"f\ng\n");
  EXPECT_EQ(chain.recorder.events,
            Events({"line:a\n", "line:b\n", "line:cd\ne\n", "line:f\n", "line:g\n"}));
}

TEST(LineBufferFilter, NilSendsNothing) {
  Chain chain;
  chain.source->sendCharacters(nullptr);
  chain.send(u"a");
  chain.source->sendCharacters(nullptr);
  chain.send(u"\n");
  EXPECT_EQ(chain.recorder.events, Events({"line:a\n"}));
}

TEST(LineBufferFilter, WorksWithoutAConsumer) {
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  filter->streamProcessCharacters(nullptr, "a\nb"_hx);
  StreamRecorder recorder;
  filter->setLineStreamConsumer(&recorder);
  filter->streamProcessCharacters(nullptr, "c\n"_hx);
  EXPECT_EQ(recorder.events, Events({"line:bc\n"}));
}

TEST(LineBufferFilter, TheSenderOfItsLinesIsTheFilter) {
  Chain chain;
  chain.send(u"a\nb");
  chain.source->sendStreamDidEnd();
  for (const ZevMoStream* sender : chain.recorder.senders) EXPECT_EQ(sender, chain.filter.get());
}

// ---- Cuts

TEST(LineBufferFilter, EveryCutMakesTheSameLinesUnlessItPartsCRAndLF) {
  const std::u16string inputs[] = {
      u"one\ntwo\r\nthree\rfour\n\n\r\nfive",
      u"\u00E9\u0085\u2028x\u2029\U0001F600\ny",
      u"a fairly long line of plain text that spans several registers\r\nand another one\n",
  };
  for (const std::u16string& input : inputs) {
    const Events expected = Chain().linesOf({input});
    for (std::size_t first = 0; first <= input.size(); ++first) {
      for (std::size_t second = first; second <= input.size(); ++second) {
        const auto parts = [&](std::size_t at) {
          return at > 0 && at < input.size() && input[at - 1] == u'\r' && input[at] == u'\n';
        };
        if (parts(first) || parts(second)) continue;
        ASSERT_EQ(Chain().linesOf({input.substr(0, first), input.substr(first, second - first),
                                   input.substr(second)}),
                  expected)
            << first << ", " << second;
      }
    }
  }
}

TEST(LineBufferFilter, UnitsOneByOneMakeTheSameLines) {
  const std::u16string input = u"one\ntwo\rthree\u2028\u00E9\n\nfour";
  Chunks units;
  for (const char16_t unit : input) units.emplace_back(1, unit);
  EXPECT_EQ(Chain().linesOf(units), Chain().linesOf({input}));
  EXPECT_EQ(Chain(true).linesOf(units), Chain().linesOf({input}));
}

TEST(LineBufferFilter, FindsTerminatorsAtEveryOffset) {
  for (const char16_t terminator : {u'\n', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
    for (std::size_t length = 0; length < 70; ++length) {
      for (const char16_t letter : {u'x', u'\u00E9'}) {
        const std::u16string line = std::u16string(length, letter) + terminator;
        const std::string expected = HxString(std::u16string_view(line)).toStdString();
        EXPECT_EQ(Chain().linesOf({line + line + u"rest"}), Events({expected, expected}));
        EXPECT_EQ(Chain(true).linesOf({line + line + u"rest"}), Events({expected + expected}));
      }
    }
  }
}

// ---- Strings of other kinds

TEST(LineBufferFilter, TakesStringsOfAnyClass) {
  class Repeated final : public HxStringObject {
   public:
    HxUInteger length() const override { return 1000; }
    HxUniChar characterAtIndex(HxUInteger index) const override {
      return index % 10 == 9 ? u'\n' : u'z';
    }
    void getCharacters(HxUniChar* buffer, HxRange range) const override {
      for (HxUInteger i = 0; i < range.length; ++i)
        buffer[i] = characterAtIndex(range.location + i);
    }
  };
  Chain chain;
  chain.source->sendCharacters(HxString(makeRef<Repeated>()));
  EXPECT_EQ(chain.recorder.events, Events(100, "line:zzzzzzzzz\n"));
}

TEST(LineBufferFilter, AMutableChunkMayBeChangedByTheConsumer) {
  Chain chain;
  HxMutableString chunk = HxMutableString::stringWithString("a\nb\nc"_hx);
  chain.recorder.action = [&] { chunk.setString("something else, and longer than before\n"_hx); };
  chain.source->sendCharacters(chunk);
  chain.recorder.action = nullptr;
  chain.send(u"\n");
  EXPECT_EQ(chain.recorder.events, Events({"line:a\n", "line:b\n", "line:c\n"}));
}

// ---- Consumers that interfere

TEST(LineBufferFilter, AConsumerMayUnlinkItselfInTheMidstOfAChunk) {
  int destroyed = 0;
  Chain chain;
  Ref<RetainedStreamRecorder> consumer = makeRef<RetainedStreamRecorder>(destroyed);
  consumer->action = [&] {
    chain.filter->setLineStreamConsumer(nullptr);
    EXPECT_EQ(destroyed, 0) << "alive until its call returns";
  };
  chain.filter->setLineStreamConsumer(consumer);
  consumer = nullptr;
  chain.send(u"a\nb\nc");
  EXPECT_EQ(destroyed, 1);
  chain.filter->setLineStreamConsumer(&chain.recorder);
  chain.send(u"\n");
  EXPECT_EQ(chain.recorder.events, Events({"line:c\n"})) << "b was dropped, c was held";
}

TEST(LineBufferFilter, TheRestOfAChunkGoesToTheConsumerThatIsLinkedByThen) {
  int destroyed = 0;
  Chain chain;
  Ref<RetainedStreamRecorder> consumer = makeRef<RetainedStreamRecorder>(destroyed);
  consumer->action = [&] { chain.filter->setLineStreamConsumer(&chain.recorder); };
  chain.filter->setLineStreamConsumer(consumer);
  consumer = nullptr;
  chain.send(u"a\nb\nc\n");
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(chain.recorder.events, Events({"line:b\n", "line:c\n"}));
}

TEST(LineBufferFilter, AConsumerMayDropTheWholeChain) {
  for (const bool coalesces : {false, true}) {
    for (const bool atEnd : {false, true}) {
      StreamRecorder recorder;
      Ref<ZevMoCharacterStream> head = ZevMoCharacterStream::init();
      ZevMoCharacterStream* const source = head.get();
      const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
      head->setCharacterStreamConsumer(filter);
      filter->setCoalescesCompleteLines(coalesces);
      filter->setLineStreamConsumer(&recorder);
      recorder.action = [&] { head = nullptr; };
      if (atEnd) {
        source->sendCharacters("partial"_hx);
        source->sendStreamDidEnd();
        EXPECT_EQ(recorder.events, Events({"line:partial\n", "end"}));
      } else {
        source->sendCharacters("a\nb"_hx);
        EXPECT_EQ(recorder.events, Events({"line:a\n"}));
      }
      EXPECT_TRUE(filter->isUniquelyReferenced());
    }
  }
}

TEST(LineBufferFilter, AConsumerMaySendToTheFilterAgain) {
  Chain chain;
  chain.recorder.action = [&] {
    chain.recorder.action = nullptr;
    chain.send(u"nested\nrest ");
  };
  chain.send(u"a\nb\nc ");
  chain.send(u"\n");
  EXPECT_EQ(chain.recorder.events,
            Events({"line:a\n", "line:nested\n", "line:b\n", "line:rest c \n"}));
}

TEST(LineBufferFilter, AConsumerThatAnotherOneLinkedAsItWentIsKeptAliveToo) {
  class Linker final : public HxObject,
                       public ZevMoLineStreamConsuming,
                       public ZevMoStreamConsumerRetaining {
   public:
    Linker(ZevMoLineStream* stream, Ref<RetainedStreamRecorder> successor)
        : _stream(stream), _successor(std::move(successor)) {}
    ~Linker() override { _stream->setLineStreamConsumer(_successor); }
    void streamProcessLine(ZevMoStream*, const HxString&) override {
      _stream->setLineStreamConsumer(nullptr);
    }
    void streamDidEnd(ZevMoStream*) override {}

   private:
    ZevMoLineStream* _stream;
    Ref<RetainedStreamRecorder> _successor;
  };
  int destroyed = 0;
  Chain chain;
  Events heard;
  Ref<RetainedStreamRecorder> successor = makeRef<RetainedStreamRecorder>(destroyed);
  successor->action = [&, self = successor.get()] {
    chain.filter->setLineStreamConsumer(nullptr);
    EXPECT_EQ(destroyed, 0) << "alive until its call returns";
    heard = self->events;
  };
  chain.filter->setLineStreamConsumer(makeRef<Linker>(chain.filter.get(), std::move(successor)));
  chain.send(u"a\nb\nc\n");
  EXPECT_EQ(heard, Events({"line:b\n"}));
  EXPECT_EQ(destroyed, 1);
}

TEST(LineBufferFilter, WhenAConsumerThrowsTheLinesAfterItAreKept) {
  for (const char16_t* const held : {u"", u"held "}) {
    Chain chain;
    chain.send(held);
    chain.recorder.action = [&] {
      chain.recorder.action = nullptr;
      throw std::runtime_error("enough");
    };
    EXPECT_THROW(chain.send(u"a\nb\nc"), std::runtime_error);
    chain.send(u"d\n");
    const std::string first = HxString(std::u16string_view(held)).toStdString() + "a\n";
    EXPECT_EQ(chain.recorder.events,
              Events({std::string("line:") + first, "line:b\n", "line:cd\n"}));
  }
}

TEST(LineBufferFilter, TheEndAddsNoLineAfterLinesThatAThrowLeft) {
  struct {
    const char16_t* chunk;
    Events left;
  } const cases[] = {
      {u"a\nb\n", {"line:b\n", "end"}}, {u"a\nb\nc", {"line:b\n", "line:c\n", "end"}},
      {u"a\nb", {"line:b\n", "end"}},   {u"a\n", {"end"}},
      {u"a\nb\r", {"line:b\r", "end"}},
  };
  for (const auto& c : cases) {
    Chain chain;
    chain.recorder.action = [] { throw std::runtime_error("enough"); };
    EXPECT_THROW(chain.send(c.chunk), std::runtime_error);
    chain.recorder.action = nullptr;
    chain.recorder.events.clear();
    chain.source->sendStreamDidEnd();
    EXPECT_EQ(chain.recorder.events, c.left);
  }
}

TEST(LineBufferFilter, WhenAConsumerOfJoinedLinesThrowsTheRestIsKept) {
  Chain chain(true);
  chain.send(u"held ");
  chain.recorder.action = [] { throw std::runtime_error("enough"); };
  EXPECT_THROW(chain.send(u"a\nb\nc"), std::runtime_error);
  chain.recorder.action = nullptr;
  chain.send(u"d\n");
  EXPECT_EQ(chain.recorder.events, Events({"line:held a\nb\n", "line:cd\n"}));
}

TEST(LineBufferFilter, WhenAConsumerThrowsAtTheEndTheLineIsGone) {
  Chain chain;
  chain.send(u"partial");
  chain.recorder.action = [&] { throw std::runtime_error("enough"); };
  EXPECT_THROW(chain.source->sendStreamDidEnd(), std::runtime_error);
  chain.recorder.action = nullptr;
  chain.source->sendStreamDidEnd();
  EXPECT_EQ(chain.recorder.events, Events({"line:partial\n", "end"}));
}

}  // namespace
}  // namespace rondel
