// SPDX-License-Identifier: MIT
#include "Rondel/additions/internal/StringBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Rondel/testing/Texts.h"

namespace rondel::internal {
namespace {

std::u16string countingText(std::size_t length) {
  std::u16string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char16_t>(u'a' + i);
  return text;
}

// A string that notes what is read of it.
class WatchedString final : public HxStringObject {
 public:
  explicit WatchedString(std::u16string text) : _text(std::move(text)) {}
  HxUInteger length() const override { return _text.size(); }
  HxUniChar characterAtIndex(HxUInteger index) const override { return _text.at(index); }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    EXPECT_TRUE(HxRangeFits(range, _text.size()));
    _reads.push_back(range);
    _text.copy(buffer, range.length, range.location);
  }
  const std::vector<HxRange>& reads() const { return _reads; }

 private:
  std::u16string _text;
  mutable std::vector<HxRange> _reads;
};

std::u16string readOn(ZevStringBuffer& in) {
  std::u16string read;
  for (; in.current() != ZevStringBuffer::kEnd; in.advance()) read += in.current();
  return read;
}

TEST(StringBuffer, ReadsTheRangeFromItsStartToItsEnd) {
  const std::u16string text = countingText(100);
  const Ref<WatchedString> string = makeRef<WatchedString>(text);
  for (const std::size_t start : {0U, 1U, 31U, 32U, 50U}) {
    for (const std::size_t length : {1U, 2U, 31U, 32U, 33U, 50U}) {
      ZevStringBuffer in(*string, {start, length});
      EXPECT_EQ(readOn(in), text.substr(start, length));
      EXPECT_EQ(in.offset(), start + length);
    }
  }
}

TEST(StringBuffer, ReadsThirtyTwoCharactersAtATime) {
  const Ref<WatchedString> string = makeRef<WatchedString>(countingText(100));
  ZevStringBuffer in(*string, {5, 70});
  readOn(in);
  EXPECT_EQ(string->reads(), (std::vector<HxRange>{{5, 32}, {37, 32}, {69, 6}}));
}

TEST(StringBuffer, ReadsNothingOfAnEmptyRange) {
  const Ref<WatchedString> string = makeRef<WatchedString>(u"abc");
  ZevStringBuffer in(*string, {2, 0});
  EXPECT_EQ(in.current(), ZevStringBuffer::kEnd);
  EXPECT_EQ(in.offset(), 2U);
  EXPECT_TRUE(string->reads().empty());
}

TEST(StringBuffer, TellsTheOffsetOfTheCurrentCharacter) {
  const Ref<WatchedString> string = makeRef<WatchedString>(countingText(80));
  ZevStringBuffer in(*string, {3, 77});
  for (HxUInteger offset = 3; offset <= 80; ++offset, in.advance()) {
    EXPECT_EQ(in.offset(), offset);
  }
}

TEST(StringBuffer, StaysAtTheEnd) {
  const Ref<WatchedString> string = makeRef<WatchedString>(u"ab");
  ZevStringBuffer in(*string, {0, 2});
  for (int i = 0; i < 5; ++i) in.advance();
  EXPECT_EQ(in.current(), ZevStringBuffer::kEnd);
  EXPECT_EQ(in.offset(), 2U);
  in.backUp();
  EXPECT_EQ(in.current(), u'b');
}

TEST(StringBuffer, BacksUpOneCharacterAnywhere) {
  const std::u16string text = countingText(80);
  const Ref<WatchedString> string = makeRef<WatchedString>(text);
  ZevStringBuffer in(*string, {0, 80});
  for (HxUInteger offset = 1; offset <= 80; ++offset) {
    in.advance();
    in.backUp();
    EXPECT_EQ(in.current(), text[offset - 1]);
    EXPECT_EQ(in.offset(), offset - 1);
    in.advance();
    EXPECT_EQ(in.offset(), offset);
  }
}

TEST(StringBuffer, BackingUpOverTheStartOfAChunkReloadsThirtyTwoOrAllThereAre) {
  const std::u16string text = countingText(80);
  const Ref<WatchedString> string = makeRef<WatchedString>(text);
  ZevStringBuffer in(*string, {40, 40});
  in.backUp();
  EXPECT_EQ(in.current(), text[39]);
  EXPECT_EQ(string->reads().back(), HxMakeRange(8, 32));
  for (int i = 0; i < 32; ++i) in.backUp();
  EXPECT_EQ(in.current(), text[7]);
  EXPECT_EQ(string->reads().back(), HxMakeRange(0, 8));
  EXPECT_EQ(readOn(in), text.substr(7));
}

TEST(StringBuffer, BackingUpStaysOnTheFirstCharacter) {
  const Ref<WatchedString> string = makeRef<WatchedString>(u"ab");
  ZevStringBuffer in(*string, {0, 2});
  in.backUp();
  EXPECT_EQ(in.current(), u'a');
  EXPECT_EQ(in.offset(), 0U);
}

TEST(StringBuffer, ARealEndMarkIsTheEnd) {
  const Ref<WatchedString> string = makeRef<WatchedString>(u"a\uFFFFb");
  ZevStringBuffer in(*string, {0, 3});
  EXPECT_EQ(readOn(in), u"a");
  in.advance();
  EXPECT_EQ(in.current(), ZevStringBuffer::kEnd);
  EXPECT_EQ(in.offset(), 1U);
}

TEST(StringBuffer, SkipsToACharacterThatNoBackslashHides) {
  struct Case {
    std::u16string text;
    HxUInteger stop;
  };
  for (const auto& [text, stop] : std::vector<Case>{{u"ab)c", 2},
                                                    {u")", 0},
                                                    {u"a\\)b)", 4},
                                                    {u"\\\\)", 2},
                                                    {u"ab", 2},
                                                    {u"ab\\", 3},
                                                    {u"a\\)", 3},
                                                    {u"a\uFFFF)", 1},
                                                    {u"a\\\uFFFF)", 2},
                                                    {countingText(31) + u"\\))", 33}}) {
    const Ref<WatchedString> string = makeRef<WatchedString>(text);
    ZevStringBuffer in(*string, {0, text.size()});
    _ZevSkipInStringBufferUntilCharacter(in, u')');
    EXPECT_EQ(in.offset(), stop) << stop;
  }
}

}  // namespace
}  // namespace rondel::internal
