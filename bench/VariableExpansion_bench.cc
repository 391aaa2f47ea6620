// SPDX-License-Identifier: MIT

// Expanding references to variables, by length of the text, share of references and length of the
// values; bytes are those of the result. Growth is linear when they stay alike from row to row.

#include <benchmark/benchmark.h>

#include <string>

#include "Rondel/additions/VariableExpansion.h"

namespace {

using namespace rondel;

// Names V0 to V19; W0 to W19 refer to them, and so do X0 to X19 twice.
HxDictionary makeVariables(std::int64_t valueLength) {
  HxMutableDictionary all = HxMutableDictionary::dictionary();
  for (int i = 0; i < 20; ++i) {
    const std::string number = std::to_string(i);
    const std::string value(static_cast<std::size_t>(valueLength), static_cast<char>('a' + i));
    all.setObject(HxString(value), HxString("V" + number));
    all.setObject(HxString("<$(V" + number + ")>"), HxString("W" + number));
    all.setObject(HxString("$(W" + number + ")/${W" + number + "}"), HxString("X" + number));
  }
  return all.copy();
}

// Text with `every` bytes to a reference to one of the variables of a letter.
std::string makeText(std::int64_t length, std::size_t every, char letter) {
  std::string text;
  for (int i = 0; text.size() < static_cast<std::size_t>(length); ++i) {
    const std::string reference = std::string("$(") + letter + std::to_string(i * 7 % 20) + ")";
    text += std::string(every - reference.size(), 'x') + reference;
  }
  return text;
}

void expandText(benchmark::State& state, const HxString& text, std::int64_t valueLength,
                MoExpansionOptions options) {
  const HxDictionary values = makeVariables(valueLength);
  HxUInteger length = 0;
  for (auto _ : state) {
    const HxMutableString result = MO_stringByExpandingVariables(text, values, options);
    length = result.length();
    benchmark::DoNotOptimize(result.object());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(length));
}

// One byte in ten in references, values of 20 bytes.
void expand(benchmark::State& state, MoExpansionOptions options) {
  expandText(state, HxString(makeText(state.range(0), 50, 'V')), 20, options);
}
// The same in text that is not ASCII.
void expandWide(benchmark::State& state, MoExpansionOptions options) {
  expandText(state, HxString("\u4E2D" + makeText(state.range(0), 50, 'V')), 20, options);
}
// Nothing but references, whose values are as long as told, down to none.
void expandDense(benchmark::State& state) {
  expandText(state, HxString(makeText(state.range(0), 6, 'V')), state.range(1), 0);
}
// References in values in values, two of them in each.
void expandDeep(benchmark::State& state) {
  expandText(state, HxString(makeText(state.range(0), 50, 'X')), state.range(1),
             MoExpansionRescanExpansions);
}
// Nothing is defined.
void expandUndefined(benchmark::State& state, MoExpansionOptions options) {
  expandText(state, HxString(makeText(state.range(0), 50, 'U')), 0, options);
}

void listNames(benchmark::State& state) {
  const HxString text(makeText(state.range(0), 50, 'V'));
  for (auto _ : state) benchmark::DoNotOptimize(namesOfExpandableVariables(text).object());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.length()));
}

void lengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("bytes")->Arg(100)->Arg(1 << 10)->Arg(100 << 10)->Arg(10 << 20);
}
void lengthsAndValues(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"bytes", "value"})
      ->ArgsProduct({{1 << 10, 100 << 10, 1 << 20}, {0, 6, 200}});
}

BENCHMARK_CAPTURE(expand, plain, 0)->Apply(lengths);
BENCHMARK_CAPTURE(expand, rescanning, MoExpansionRescanExpansions)->Apply(lengths);
BENCHMARK_CAPTURE(expandWide, plain, 0)->Apply(lengths);
BENCHMARK(expandDense)->Apply(lengthsAndValues);
BENCHMARK(expandDeep)->Apply(lengthsAndValues);
BENCHMARK_CAPTURE(expandUndefined, removed, 0)->Apply(lengths);
BENCHMARK_CAPTURE(expandUndefined, kept, MoExpansionKeepUndefinedReferences)->Apply(lengths);
BENCHMARK(listNames)->Apply(lengths);

}  // namespace
