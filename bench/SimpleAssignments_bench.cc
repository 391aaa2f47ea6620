// SPDX-License-Identifier: MIT

// Reading and writing assignments; the figures are a line each.

#include <benchmark/benchmark.h>

#include <string>

#include "Rondel/additions/SimpleAssignments.h"

namespace {

using namespace rondel;

HxString makeText(std::int64_t lines) {
  std::string text;
  for (std::int64_t i = 0; i < lines; ++i) {
    text += "SETTING_" + std::to_string(i * 7919 % 100000) +
            " = -O2 -g -DVALUE=" + std::to_string(i) + ";\n";
  }
  return HxString(text);
}

void readAssignments(benchmark::State& state) {
  const HxString text = makeText(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, nullptr).object());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(readAssignments)->ArgName("lines")->Arg(10)->Arg(1000)->Arg(100000);

void writeAssignments(benchmark::State& state) {
  const HxDictionary entries = dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(
      makeText(state.range(0)), nullptr);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        stringByConcatenatingEntriesAsLinesOfSimpleAssignments(entries).object());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(writeAssignments)->ArgName("lines")->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
