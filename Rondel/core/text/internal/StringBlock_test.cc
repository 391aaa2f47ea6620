// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/StringBlock.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Rondel/testing/AllocationCounter.h"

namespace rondel::internal {
namespace {

using test::AllocationCounter;

std::string textOf(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('!' + (length + i) % 90);
  return text;
}

HxString make(WordMaker& maker, const std::string& text) {
  return maker.make(text.data(), text.size());
}

TEST(StringBlock, WordsOfEveryLengthAreStringsAsAllOthers) {
  WordMaker maker(100000);
  std::vector<HxString> words;
  for (std::size_t length = 0; length < 400; ++length) words.push_back(make(maker, textOf(length)));
  for (std::size_t length = 0; length < 400; ++length) {
    const HxString ordinary(textOf(length));
    const HxString& word = words[length];
    EXPECT_EQ(word, ordinary);
    EXPECT_EQ(word.hash(), ordinary.hash());
    EXPECT_EQ(word.asciiView(), textOf(length));
    EXPECT_EQ(word.asciiView().data()[length], '\0');
    EXPECT_EQ(word.copy().object(), word.object());
  }
}

TEST(StringBlock, UnitsThatAreNotASCIIAreKept) {
  WordMaker maker(10);
  EXPECT_EQ(maker.make(u"\u4E2Dx", 2), HxString(u"\u4E2Dx"));
  EXPECT_EQ(maker.make(u"ab", 2), "ab"_hx);
}

TEST(StringBlock, OneAllocationServesTwentyWordsOrMore) {
  constexpr std::size_t kWords = 2000;
  std::vector<HxString> words;
  words.reserve(kWords);
  const std::string text = textOf(16);
  const AllocationCounter counter;
  {
    WordMaker maker(kWords * (text.size() + 1));
    for (std::size_t i = 0; i < kWords; ++i) words.push_back(make(maker, text));
  }
  EXPECT_LE(counter.count(), kWords / 20);
  EXPECT_GT(counter.count(), kWords / 22);  // a block is full with 21 of them
}

// What the text's length tells is enough for it as one word.
TEST(StringBlock, ATextOfOneWordTakesOneAllocation) {
  for (std::size_t length = 1; length < 400; ++length) {
    const std::string text = textOf(length);
    const AllocationCounter counter;
    WordMaker maker(length);
    const HxString word = make(maker, text);
    const std::size_t allocations = counter.count();
    EXPECT_EQ(allocations, 1U) << length;
    EXPECT_EQ(word.length(), length);
  }
}

TEST(StringBlock, ShortWordsOfAShortTextTakeAsManyBlocksAsTheyNeed) {
  WordMaker maker(100);
  std::vector<HxString> words;
  for (int i = 0; i < 50; ++i) words.push_back(make(maker, "x"));
  for (const HxString& word : words) EXPECT_EQ(word, "x"_hx);
}

// The address sanitizer sees a block that goes too early; the leak check one that stays.
TEST(StringBlock, LastsAsLongAsOneOfItsWords) {
  for (std::size_t kept = 0; kept < 60; ++kept) {
    HxString last;
    {
      WordMaker maker(1000);
      std::vector<HxString> words;
      for (std::size_t i = 0; i < 60; ++i) words.push_back(make(maker, textOf(i + 1)));
      last = words[kept];
    }
    EXPECT_EQ(last.asciiView(), textOf(kept + 1));
  }
}

TEST(StringBlock, WordsMayGoBeforeTheirMaker) {
  WordMaker maker(1000);
  for (std::size_t i = 0; i < 300; ++i) make(maker, textOf(i % 100));
  EXPECT_EQ(make(maker, "after"), "after"_hx);
}

TEST(StringBlock, IsNotMoreThanAKibibyteHoweverLongTheText) {
  EXPECT_EQ(StringBlock::kMostBytes, 1024U);
  WordMaker maker(HxNotFound);
  EXPECT_EQ(make(maker, "word"), "word"_hx);
}

TEST(StringBlock, ItsWordsMayGoOnSeveralThreads) {
  for (int round = 0; round < 50; ++round) {
    constexpr std::size_t kThreads = 4;
    std::vector<HxString> shares[kThreads];
    {
      WordMaker maker(100000);
      for (std::size_t i = 0; i < 400; ++i) shares[i % kThreads].push_back(make(maker, textOf(20)));
    }
    std::vector<std::thread> threads;
    for (std::vector<HxString>& share : shares) threads.emplace_back([&] { share.clear(); });
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
}  // namespace rondel::internal
