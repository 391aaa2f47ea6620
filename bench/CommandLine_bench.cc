// SPDX-License-Identifier: MIT

// Splitting, quoting and joining; the figures are a word each.

#include <benchmark/benchmark.h>

#include <string>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/StringList.h"

namespace {

using namespace rondel;

// Words of a compiler's command line; with quotes one in three needs them.
HxArray makeWords(std::int64_t count, bool withQuotes) {
  HxMutableArray words = HxMutableArray::arrayWithCapacity(static_cast<HxUInteger>(count));
  for (std::int64_t i = 0; i < count; ++i) {
    std::string word = "-I../include/module_" + std::to_string(i * 7919 % 100000);
    if (withQuotes && i % 3 == 0) word += i % 2 ? " with blanks" : "=\"s\"";
    words.addObject(HxString(word));
  }
  return words;
}

HxString makeLine(std::int64_t count, bool withQuotes) {
  return stringByConcatenatingObjectsAsCommandLineArguments(makeWords(count, withQuotes));
}

// The same line with one character beyond ASCII.
HxString makeWideLine(std::int64_t count, bool withQuotes) {
  return makeLine(count, withQuotes).stringByAppendingString(HxString(u" \u4E2D"));
}

void countWords(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

using Splitter = HxArray (*)(const HxString&);
void splitLine(benchmark::State& state, Splitter splitter,
               HxString (*line)(std::int64_t, bool) = makeLine) {
  const HxString text = line(state.range(0), state.range(1) != 0);
  for (auto _ : state) benchmark::DoNotOptimize(splitter(text).object());
  countWords(state);
}

using Joiner = HxString (*)(const HxArray&);
void joinWords(benchmark::State& state, Joiner joiner) {
  const HxArray words = makeWords(state.range(0), state.range(1) != 0);
  for (auto _ : state) benchmark::DoNotOptimize(joiner(words).object());
  countWords(state);
}

using Quoter = HxString (*)(const HxString&);
void quoteWords(benchmark::State& state, Quoter quoter) {
  const HxArray words = makeWords(state.range(0), state.range(1) != 0);
  for (auto _ : state) {
    for (const HxAny& word : words) benchmark::DoNotOptimize(quoter(as<HxString>(word)).object());
  }
  countWords(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"words", "quoted"})->ArgsProduct({{5, 40, 4000}, {0, 1}});
}

BENCHMARK_CAPTURE(splitLine, command_line, arrayByParsingAsCommandLineArguments)->Apply(sizes);
BENCHMARK_CAPTURE(splitLine, command_line_utf16, arrayByParsingAsCommandLineArguments, makeWideLine)
    ->Apply(sizes);
BENCHMARK_CAPTURE(splitLine, preserving_quotes, componentsSeparatedByUnquotedWhitespace)
    ->Apply(sizes);
BENCHMARK_CAPTURE(splitLine, string_list, arrayByParsingAsStringList)->Apply(sizes);
BENCHMARK_CAPTURE(joinWords, command_line, stringByConcatenatingObjectsAsCommandLineArguments)
    ->Apply(sizes);
BENCHMARK_CAPTURE(joinWords, string_list, stringByConcatenatingObjectsAsStringList)->Apply(sizes);
BENCHMARK_CAPTURE(quoteWords, if_needed, stringByQuotingIfNeeded)->Args({4000, 1});
BENCHMARK_CAPTURE(quoteWords, whitespace_if_needed, stringByQuotingWhitespaceIfNeeded)
    ->Args({4000, 1});

}  // namespace
