// SPDX-License-Identifier: MIT

// Looking up each word of a text, with one view and with a new string a word; the figures are a
// word each.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "Rondel/additions/ReusableSubstring.h"
#include "Rondel/core/collections/Dictionary.h"

namespace {

using namespace rondel;

constexpr int kWords = 1000;

std::string wordOf(int i) { return "keyword_" + std::to_string(i * 7919 % kWords); }

struct Scan {
  explicit Scan(bool isWide) {
    std::string line;
    for (int i = 0; i < kWords; ++i) {
      const std::string word = wordOf(i);
      words.push_back({line.size(), word.size()});
      line += word + ' ';
      if (i % 2 == 0) keywords.setObject(HxString(word), HxString(word));
    }
    if (isWide) line += "\u4E2D";
    text = HxString(line);
  }
  HxString text;
  std::vector<HxRange> words;
  HxMutableDictionary keywords = HxMutableDictionary::dictionary();
};

void lookUpWithView(benchmark::State& state, bool isWide) {
  const Scan scan(isWide);
  auto word = ZevCheapReusableSubstring::initWithRealString(scan.text, {0, 0});
  for (auto _ : state) {
    for (const HxRange range : scan.words) {
      word.setRealString(scan.text, range);
      benchmark::DoNotOptimize(bool(scan.keywords.borrowObjectForKey(word)));
    }
  }
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK_CAPTURE(lookUpWithView, ascii, false);
BENCHMARK_CAPTURE(lookUpWithView, wide, true);

void lookUpWithNewStrings(benchmark::State& state, bool isWide) {
  const Scan scan(isWide);
  for (auto _ : state) {
    for (const HxRange range : scan.words) {
      const HxString word = scan.text.substringWithRange(range);
      benchmark::DoNotOptimize(bool(scan.keywords.borrowObjectForKey(word)));
    }
  }
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK_CAPTURE(lookUpWithNewStrings, ascii, false);
BENCHMARK_CAPTURE(lookUpWithNewStrings, wide, true);

void compareWithKeyword(benchmark::State& state) {
  const HxString keyword = HxString("keyword_500");
  const HxString text = HxString("before keyword_500 behind");
  auto word = ZevCheapReusableSubstring::initWithRealString(text, {7, 11});
  for (auto _ : state) benchmark::DoNotOptimize(word.isEqualToString(keyword));
}
BENCHMARK(compareWithKeyword);

}  // namespace
