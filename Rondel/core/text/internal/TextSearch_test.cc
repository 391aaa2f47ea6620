// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/TextSearch.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Rondel/core/text/String.h"

namespace rondel::internal {
namespace {

struct Outcome {
  HxRange range;
  HxUInteger work;
};

Outcome outcomeOf(const std::u16string& text, const std::u16string& pattern,
                  HxStringCompareOptions options) {
  const HxString textString{std::u16string_view(text)};
  const HxString patternString{std::u16string_view(pattern)};
  const Characters all(textString);
  const Characters part(patternString);
  const TextSearch search(all, part, options);
  const HxRange range = search.find({0, text.size()});
  return {range, search.work()};
}

std::u16string repeated(std::u16string_view unit, std::size_t count) {
  std::u16string text;
  for (std::size_t i = 0; i < count; ++i) text += unit;
  return text;
}

// ---- Work ---------------------------------------------------------------------------------------

struct Hostile {
  const char* name;
  std::u16string_view unit;       // of which the text is made
  std::u16string_view otherwise;  // what the pattern has at its end, or at its start
};

constexpr Hostile kHostile[] = {
    {"ASCII", u"a", u"b"},
    {"ASCII in wide text", u"aaa\u4e2d", u"b"},
    {"wide", u"\u4e2d", u"\u4e2e"},
    {"composed", u"\u00e9", u"\u00e8"},
    {"decomposed", u"e\u0301", u"e\u0300"},
    {"pairs", u"\U0001F600", u"\U0001F601"},
};

constexpr HxStringCompareOptions kWays[] = {
    0,
    HxLiteralSearch,
    HxCaseInsensitiveSearch,
    HxLiteralSearch | HxCaseInsensitiveSearch,
    HxBackwardsSearch,
    HxBackwardsSearch | HxLiteralSearch,
    HxBackwardsSearch | HxCaseInsensitiveSearch,
};

TEST(TextSearch, WorkGrowsAsTheTextDoes) {
  for (const Hostile& hostile : kHostile) {
    for (const HxStringCompareOptions options : kWays) {
      for (const std::size_t count : {std::size_t{2000}, std::size_t{4000}, std::size_t{16000}}) {
        const std::u16string text = repeated(hostile.unit, count);
        const std::u16string half = repeated(hostile.unit, count / 2);
        const std::u16string other(hostile.otherwise);
        for (const std::u16string& pattern : {half + other, other + half}) {
          const Outcome outcome = outcomeOf(text, pattern, options);
          EXPECT_EQ(outcome.range, kNotFoundRange) << hostile.name << options;
          EXPECT_LT(outcome.work, 24 * (text.size() + pattern.size()) + 4096)
              << hostile.name << options << ' ' << count;
        }
      }
    }
  }
}

// A long run of marks after many candidates is not read for each of them.
TEST(TextSearch, ALongSequenceIsNotReadForEachCandidate) {
  const std::u16string text = repeated(u"a", 2000) + repeated(u"\u0301", 20000) + u"\u4e2d";
  const Outcome outcome = outcomeOf(text, repeated(u"a", 1000) + u"b\u0301", 0);
  EXPECT_EQ(outcome.range, kNotFoundRange);
  EXPECT_LT(outcome.work, 24 * text.size() + 4096);
}

// ---- Answers ------------------------------------------------------------------------------------

// By a look at each place.
HxRange searchSimply(const HxString& text, const HxString& pattern,
                     HxStringCompareOptions options) {
  const HxUInteger length = text.length();
  const bool isBackwards = (options & HxBackwardsSearch) != 0;
  const HxStringCompareOptions anchored = (options & ~HxBackwardsSearch) | HxAnchoredSearch;
  for (HxUInteger i = 0; i < length; ++i) {
    const HxUInteger at = isBackwards ? length - 1 - i : i;
    const HxRange found = text.rangeOfString(pattern, anchored, {at, length - at});
    if (found.length > 0) return found;
  }
  return kNotFoundRange;
}

TEST(TextSearch, TheSteadyWayFindsWhatTheSimpleOneDoes) {
  std::mt19937 random(7);
  constexpr std::u16string_view kUnits[] = {u"a",      u"A",      u"e\u0301",
                                            u"\u00e9", u"\u0301", u"\u0327"};
  for (int round = 0; round < 150; ++round) {
    const std::u16string period = repeated(kUnits[random() % std::size(kUnits)], 1 + random() % 3) +
                                  std::u16string(kUnits[random() % std::size(kUnits)]);
    std::u16string text = repeated(period, 120);
    const std::u16string pattern = repeated(period, 40) + std::u16string(kUnits[random() % 6]);
    text.insert(random() % text.size(), pattern);
    for (const HxStringCompareOptions options : kWays) {
      const Outcome outcome = outcomeOf(text, pattern, options);
      EXPECT_EQ(outcome.range, searchSimply(HxString(std::u16string_view(text)),
                                            HxString(std::u16string_view(pattern)), options))
          << round << ' ' << options;
    }
  }
}

}  // namespace
}  // namespace rondel::internal
