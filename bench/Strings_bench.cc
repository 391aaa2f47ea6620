// SPDX-License-Identifier: MIT

// Joining two strings and hashing one, ASCII and wide. The peer of joining is a standard string of
// UTF-16 that is built in the same way.

#include <benchmark/benchmark.h>

#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/TextHash.h"

namespace {

using namespace rondel;

void Strings_join(benchmark::State& state, const HxString& left, const HxString& right) {
  for (auto _ : state) benchmark::DoNotOptimize(left.stringByAppendingString(right).object());
}
BENCHMARK_CAPTURE(Strings_join, ascii, "left part of a text"_hx, "right part of it"_hx);
BENCHMARK_CAPTURE(Strings_join, wide, "left part \u4E2D a text"_hx, "right part \u00E9"_hx);
BENCHMARK_CAPTURE(Strings_join, ascii_and_wide, "left part of a text"_hx, "right part \u00E9"_hx);

void Strings_joinByHand(benchmark::State& state) {
  const std::u16string left = u"left part of a text";
  const std::u16string right = u"right part of it";
  for (auto _ : state) benchmark::DoNotOptimize((left + right).data());
}
BENCHMARK(Strings_joinByHand);

// A string keeps its hash, so the function that computes it is measured.
void Strings_hash(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    benchmark::DoNotOptimize(internal::hashOfBytes(text.data(), text.size()));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Strings_hash)->Arg(8)->Arg(40)->Arg(1000);

}  // namespace
