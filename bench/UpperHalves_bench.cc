// SPDX-License-Identifier: MIT

// Text operations after code that leaves the upper halves of the vector registers filled, as some
// libraries do. Each row fills them before each pass. The rows with a 0 clear them again at once,
// and are what those with a 1 are held against: at most 1.1 times as long.

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/StringList.h"
#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/collections/Dictionary.h"

#if defined(__x86_64__)

namespace {

using namespace rondel;

void fillUpperHalves() {
  asm volatile(
      "vpcmpeqd %%xmm0, %%xmm0, %%xmm0\n\t"
      "vinsertf128 $1, %%xmm0, %%ymm0, %%ymm0\n\t"
      "vmovaps %%ymm0, %%ymm1\n\tvmovaps %%ymm0, %%ymm2\n\tvmovaps %%ymm0, %%ymm3\n\t"
      "vmovaps %%ymm0, %%ymm4\n\tvmovaps %%ymm0, %%ymm5\n\tvmovaps %%ymm0, %%ymm6\n\t"
      "vmovaps %%ymm0, %%ymm7"
      :
      :
      : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
}

template <class Operation>
void run(benchmark::State& state, const Operation& operation) {
  if (!__builtin_cpu_supports("avx")) return state.SkipWithError("not on this machine");
  const bool staysFilled = state.range(0) == 1;
  for (auto _ : state) {
    fillUpperHalves();
    if (!staysFilled) asm volatile("vzeroupper");
    benchmark::DoNotOptimize(operation());
  }
  asm volatile("vzeroupper");
}

constexpr HxString kCommandLine =
    "cc -O2 -DNAME=value main.c -o main --flag \"quoted text\" and more words here"_hx;

void filledExpand100B(benchmark::State& state) {
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"NAME"_hx, "tool"_hx}, {"PRODUCT"_hx, "build"_hx}});
  const HxString text =
      "text in front of it $(NAME) and more text after it, $(PRODUCT) and a tail, 100 bytes in all"_hx;
  run(state, [&] { return MO_stringByExpandingVariables(text, values, 0).object(); });
}
BENCHMARK(filledExpand100B)->DenseRange(0, 1);

void filledSplit(benchmark::State& state) {
  run(state, [] { return arrayByParsingAsCommandLineArguments(kCommandLine).object(); });
}
BENCHMARK(filledSplit)->DenseRange(0, 1);

void filledSplitStringList(benchmark::State& state) {
  run(state, [] { return arrayByParsingAsStringList(kCommandLine).object(); });
}
BENCHMARK(filledSplitStringList)->DenseRange(0, 1);

void filledQuote(benchmark::State& state) {
  run(state, [] { return stringByQuotingIfNeeded(kCommandLine).object(); });
}
BENCHMARK(filledQuote)->DenseRange(0, 1);

void filledShortString(benchmark::State& state) {
  const std::string text(40, 'x');
  run(state, [&] { return HxString(std::string_view(text)).object(); });
}
BENCHMARK(filledShortString)->DenseRange(0, 1);

void filledConcatenation(benchmark::State& state) {
  const HxString left = "left part of a text"_hx;
  run(state, [&] { return left.stringByAppendingString("right part of it"_hx).object(); });
}
BENCHMARK(filledConcatenation)->DenseRange(0, 1);

// Text with something beyond ASCII, so that no function of the C library searches it.
void filledSearch(benchmark::State& state) {
  const HxString text(std::string(300, 'a') + "\xC3\xA9" + std::string(300, 'b') + "needle");
  run(state, [&] { return text.rangeOfString("needle"_hx).location; });
}
BENCHMARK(filledSearch)->DenseRange(0, 1);

void filledSearchIgnoringCase(benchmark::State& state) {
  const HxString text(std::string(600, 'a') + "needle");
  run(state, [&] { return text.rangeOfString("NEEDLE"_hx, HxCaseInsensitiveSearch).location; });
}
BENCHMARK(filledSearchIgnoringCase)->DenseRange(0, 1);

}  // namespace

#endif
