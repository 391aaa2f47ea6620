// SPDX-License-Identifier: MIT
//
// What lines cost: allocations, blocks that are used again, and time that grows with the text
// alone.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

// Looks at its lines and keeps nothing.
class LineCounter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  std::size_t lines = 0;
  HxUInteger units = 0;
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    ++lines;
    units += line.length();
  }
  void streamDidEnd(ZevMoStream*) override {}
};

// Keeps them all, in room that is there.
class LineKeeper final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  explicit LineKeeper(std::size_t room) { lines.reserve(room); }
  std::vector<HxString> lines;
  void streamProcessLine(ZevMoStream*, const HxString& line) override { lines.push_back(line); }
  void streamDidEnd(ZevMoStream*) override {}
};

std::u16string thousandLines() {
  std::u16string chunk;
  for (int i = 0; i < 1000; ++i) chunk += u"a line of some twenty-five\n";
  return chunk;
}

TEST(LineBufferFilter, ALineThatIsKeptCostsOneAllocation) {
  for (const char16_t* const tail : {u"", u"\u00E9"}) {
    const HxString text = HxString(std::u16string_view(thousandLines() + tail));
    const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
    LineKeeper keeper(1000);
    filter->setLineStreamConsumer(&keeper);
    const test::AllocationCounter allocations;
    filter->streamProcessCharacters(nullptr, text);
    EXPECT_EQ(keeper.lines.size(), 1000u);
    EXPECT_GE(allocations.count(), 1000u);
    EXPECT_LE(allocations.count(), 1008u);
  }
}

TEST(LineBufferFilter, LinesThatNobodyKeepsShareABlock) {
  for (const char16_t* const tail : {u"", u"\u00E9"}) {
    const HxString text = HxString(std::u16string_view(thousandLines() + tail));
    const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
    LineCounter counter;
    filter->setLineStreamConsumer(&counter);
    const test::AllocationCounter allocations;
    filter->streamProcessCharacters(nullptr, text);
    EXPECT_EQ(counter.lines, 1000u);
    EXPECT_LE(allocations.count(), 8u);
  }
}

TEST(LineBufferFilter, LinesThatAreKeptStayAsTheyAre) {
  // Now and then a line is kept, among others that are let go.
  class Chooser final : public HxObject, public ZevMoLineStreamConsuming {
   public:
    std::vector<HxString> kept;
    std::vector<std::string> texts;
    void streamProcessLine(ZevMoStream*, const HxString& line) override {
      if (++_number % 3 != 0) return;
      kept.push_back(line);
      texts.push_back(line.toStdString());
    }
    void streamDidEnd(ZevMoStream*) override {}

   private:
    int _number = 0;
  } chooser;
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  filter->setLineStreamConsumer(&chooser);
  for (int i = 0; i < 1000; ++i) {
    const std::string length(static_cast<std::size_t>(i % 170), 'x');
    const std::string text = std::to_string(i) + length + (i % 7 ? "\n" : "\u00E9\n");
    filter->streamProcessCharacters(nullptr, HxString(text + text + text + text));
  }
  ASSERT_EQ(chooser.kept.size(), 1333u);
  for (std::size_t i = 0; i < chooser.kept.size(); ++i) {
    EXPECT_EQ(chooser.kept[i].toStdString(), chooser.texts[i]);
    EXPECT_EQ(chooser.kept[i].hash(), HxString(chooser.texts[i]).hash());
  }
}

TEST(LineBufferFilter, ALineStaysAsItIsWhileOthersAreSentFromWithin) {
  class Nester final : public HxObject, public ZevMoLineStreamConsuming {
   public:
    ZevMoLineBufferFilter* filter = nullptr;
    std::vector<std::string> after;
    void streamProcessLine(ZevMoStream*, const HxString& line) override {
      if (line.hasPrefix("outer"_hx)) filter->streamProcessCharacters(nullptr, "in 1\nin 2\n"_hx);
      after.push_back(line.toStdString());
    }
    void streamDidEnd(ZevMoStream*) override {}
  } nester;
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  nester.filter = filter.get();
  filter->setLineStreamConsumer(&nester);
  filter->streamProcessCharacters(nullptr, "outer 1\nouter 2\n"_hx);
  EXPECT_EQ(nester.after, std::vector<std::string>(
                              {"in 1\n", "in 2\n", "outer 1\n", "in 1\n", "in 2\n", "outer 2\n"}));
}

TEST(LineBufferFilter, ALineInSmallPiecesCostsNoMoreThanItsPieces) {
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  LineCounter counter;
  filter->setLineStreamConsumer(&counter);
  filter->streamProcessCharacters(nullptr, "warm up, so that there is room\n"_hx);
  filter->streamProcessCharacters(nullptr, "warm up, so that there is room"_hx);
  filter->streamProcessCharacters(nullptr, "\n"_hx);
  const test::AllocationCounter allocations;
  for (int i = 0; i < 100; ++i) {
    filter->streamProcessCharacters(nullptr, "one "_hx);
    filter->streamProcessCharacters(nullptr, "line\n"_hx);
  }
  EXPECT_EQ(counter.lines, 102u);
  EXPECT_LE(allocations.count(), 300u);
}

TEST(LineBufferFilter, LinesAreFlatAndNarrowWhenTheyAreASCII) {
  class Inspector final : public HxObject, public ZevMoLineStreamConsuming {
   public:
    std::size_t narrow = 0;
    void streamProcessLine(ZevMoStream*, const HxString& line) override {
      narrow += line.asciiView().size() == line.length();
    }
    void streamDidEnd(ZevMoStream*) override {}
  } inspector;
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  filter->setLineStreamConsumer(&inspector);
  filter->streamProcessCharacters(nullptr, "a\n\u00E9\nb\nc"_hx);
  filter->streamProcessCharacters(nullptr, "d\n"_hx);
  EXPECT_EQ(inspector.narrow, 3u);
}

TEST(LineBufferFilter, AVeryLongLineInManyChunksIsPutTogetherInLinearTime) {
  constexpr std::size_t kChunks = 1600;  // 100 MiB
  const HxString chunk = HxString(std::string_view(std::string(65536, 'x')));
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  LineCounter counter;
  filter->setLineStreamConsumer(&counter);
  const std::size_t before = test::heapBytesInUse();
  const test::AllocationCounter allocations;
  for (std::size_t i = 0; i < kChunks; ++i) filter->streamProcessCharacters(nullptr, chunk);
  EXPECT_EQ(counter.lines, 0u);
  // Bytes asked for over all tell of work that grows with the square of the length.
  EXPECT_LE(allocations.bytes(), 5 * kChunks * 65536);
  filter->streamProcessCharacters(nullptr, "\n"_hx);
  EXPECT_EQ(counter.lines, 1u);
  EXPECT_EQ(counter.units, kChunks * 65536 + 1);
  EXPECT_LE(test::heapBytesInUse(), before + 65536) << "the room of the long line is given back";
}

TEST(LineBufferFilter, ALongLineInTinyPiecesIsPutTogetherInLinearTime) {
  constexpr std::size_t kPieces = 1U << 20U;
  for (const bool coalesces : {false, true}) {
    for (const char16_t* const piece : {u"x", u"\u00E9"}) {
      const HxString text = HxString(std::u16string_view(piece));
      const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
      filter->setCoalescesCompleteLines(coalesces);
      LineCounter counter;
      filter->setLineStreamConsumer(&counter);
      const test::AllocationCounter allocations;
      for (std::size_t i = 0; i < kPieces; ++i) filter->streamProcessCharacters(nullptr, text);
      filter->streamProcessCharacters(nullptr, "\n"_hx);
      EXPECT_EQ(counter.units, kPieces + 1);
      EXPECT_LE(allocations.count(), 100u);
      EXPECT_LE(allocations.bytes(), 16 * kPieces);
    }
  }
}

TEST(LineBufferFilter, ALineIsNarrowAgainAfterAHeldOneThatWasNot) {
  class Inspector final : public HxObject, public ZevMoLineStreamConsuming {
   public:
    std::vector<bool> isNarrow;
    void streamProcessLine(ZevMoStream*, const HxString& line) override {
      isNarrow.push_back(line.asciiView().size() == line.length());
    }
    void streamDidEnd(ZevMoStream*) override {}
  } inspector;
  const Ref<ZevMoLineBufferFilter> filter = ZevMoLineBufferFilter::init();
  filter->setLineStreamConsumer(&inspector);
  for (const HxString& chunk : {"\u00E9"_hx, "\na"_hx, "b\nc"_hx, "\n"_hx}) {
    filter->streamProcessCharacters(nullptr, chunk);
  }
  EXPECT_EQ(inspector.isNarrow, std::vector<bool>({false, true, true}));
}

}  // namespace
}  // namespace rondel
