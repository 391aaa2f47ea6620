// SPDX-License-Identifier: MIT

// Lists that are kept, lists that are not, and what it takes to split them.

#include <benchmark/benchmark.h>

#include <cstring>

#include "Rondel/additions/StringList.h"
#include "Rondel/additions/StringListCache.h"

namespace {

using namespace rondel;

constexpr const char* kOneWord = "i386";
constexpr const char* kThreeWords = "i386 ppc x86_64";
constexpr const char* kEightWords = "armv6 armv7 i386 ppc ppc64 ppc7400 ppc970 x86_64";
constexpr const char* kTwoLongWords =
    "com.ostrand.compilers.llvm.clang.1_0.compiler com.ostrand.compilers.llvm.clang.1_0.astbuilder";

// The table alone: hits, and the three ways to miss.
void lookUp(benchmark::State& state, const char* text) {
  const std::size_t length = std::strlen(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(
        MoLookupVantorSpecificStringListInCache(text, length, nullptr).object());
  }
}
BENCHMARK_CAPTURE(lookUp, hit_one_word, kOneWord);
BENCHMARK_CAPTURE(lookUp, hit_three_words, kThreeWords);
BENCHMARK_CAPTURE(lookUp, hit_eight_words, kEightWords);
BENCHMARK_CAPTURE(lookUp, hit_two_long_words, kTwoLongWords);
BENCHMARK_CAPTURE(lookUp, miss_on_the_length, "ab");
BENCHMARK_CAPTURE(lookUp, miss_on_the_first_byte, "-Iinclude -I../include");
BENCHMARK_CAPTURE(lookUp, miss_on_an_empty_slot, "arm64 arm");
BENCHMARK_CAPTURE(lookUp, miss_on_the_comparison, "i387");
BENCHMARK_CAPTURE(lookUp, miss_at_the_end, "armv6 armv7 i386 ppc ppc64 ppc7400 ppc970 x86_63");

// The same lists split, and asked for as a tool does.
void split(benchmark::State& state, const char* text) {
  const std::size_t length = std::strlen(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(MoSplitWhitespaceSeparatedComponents(text, length, nullptr).object());
  }
}
BENCHMARK_CAPTURE(split, one_word, kOneWord);
BENCHMARK_CAPTURE(split, three_words, kThreeWords);
BENCHMARK_CAPTURE(split, eight_words, kEightWords);
BENCHMARK_CAPTURE(split, two_long_words, kTwoLongWords);

void parse(benchmark::State& state, const char* bytes) {
  const HxString text = HxString::stringWithUTF8String(bytes);
  for (auto _ : state) benchmark::DoNotOptimize(arrayByParsingAsStringList(text).object());
}
BENCHMARK_CAPTURE(parse, one_word, kOneWord);
BENCHMARK_CAPTURE(parse, three_words, kThreeWords);
BENCHMARK_CAPTURE(parse, eight_words, kEightWords);
BENCHMARK_CAPTURE(parse, two_long_words, kTwoLongWords);
BENCHMARK_CAPTURE(parse, three_words_not_kept, "x86_64 ppc i386");

}  // namespace
