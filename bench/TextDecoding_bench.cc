// SPDX-License-Identifier: MIT

// Decoding UTF-8: by the kernels alone, to strings whole, in the pieces that a pipe delivers, and a
// line at a time. The figures are bytes of UTF-8 a second; the first row of each kind of text is a
// plain copy of it.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/additions/TextDecoding.h"
#include "Rondel/core/text/internal/UTF8Kernel.h"

namespace {

using namespace rondel;

constexpr std::size_t kTextSize = std::size_t{1} << 20;
constexpr std::size_t kPieceSize = std::size_t{64} << 10;

enum Kind { ascii, nearlyASCII, latin, cjk, emoji, damaged, random };
constexpr const char* kKindNames[] = {"ascii", "nearly ascii", "latin", "cjk",
                                      "emoji", "damaged",      "random"};

// One character in so many is of the sequences of the kind; the others are letters.
struct Recipe {
  unsigned oneIn;
  std::vector<std::string_view> sequences;
};

Recipe recipeOf(Kind kind) {
  switch (kind) {
    case nearlyASCII:
      return {2000, {"\xC3\xA9", "\xE6\x96\x87", "\xE2\x80\x98"}};
    case latin:
      return {6, {"\xC3\xA9", "\xC3\xBC", "\xC5\x82"}};
    case cjk:
      return {1, {"\xE6\x96\x87", "\xE5\xAD\x97", "\xE4\xB8\xAD", "\xE6\x9C\xAC", "1"}};
    case emoji:
      return {1, {"\xF0\x9F\x98\x80", "\xF0\x9F\x9A\x80", "\xF0\x9F\x8E\x89", " "}};
    case damaged:
      return {6, {"\xC3\xA9", "\xC3\xBC", "\xC5\x82", "\xC3\xA9", "\xC3\xBC", "\xE6"}};
    default:
      return {kTextSize, {""}};
  }
}

std::string makeText(Kind kind) {
  std::mt19937 random(1);
  std::string text;
  if (kind == Kind::random) {
    while (text.size() < kTextSize) text += static_cast<char>(random());
    return text;
  }
  const Recipe recipe = recipeOf(kind);
  while (text.size() < kTextSize) {
    if (random() % recipe.oneIn == 0) {
      text += recipe.sequences[random() % recipe.sequences.size()];
    } else {
      text += static_cast<char>('a' + random() % 26);
    }
  }
  return text;
}

const std::string& textOf(benchmark::State& state) {
  static std::string texts[std::size(kKindNames)];
  const auto kind = static_cast<std::size_t>(state.range(0));
  if (texts[kind].empty()) texts[kind] = makeText(static_cast<Kind>(kind));
  state.SetLabel(kKindNames[kind]);
  return texts[kind];
}

void countBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void copyOfBytes(benchmark::State& state) {
  const std::string& text = textOf(state);
  std::vector<char> copy(text.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::ClobberMemory();
  }
  countBytes(state, text.size());
}
BENCHMARK(copyOfBytes)->DenseRange(ascii, random);

void wholeText(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) {
    const HxString decoded =
        initWithPotentiallyMalformedUTF8Bytes(text.data(), text.size(), true, nullptr, nullptr);
    benchmark::DoNotOptimize(decoded.object());
  }
  countBytes(state, text.size());
}
BENCHMARK(wholeText)->DenseRange(ascii, random);

void strictly(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) benchmark::DoNotOptimize(HxString(std::string_view(text)).object());
  countBytes(state, text.size());
}
BENCHMARK(strictly)->DenseRange(ascii, emoji);

// What the UTF-8 filter of a pipeline does.
void inPieces(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) {
    HxUInteger used = 0;
    for (std::size_t at = 0; at + kPieceSize < text.size(); at += used) {
      const HxString piece =
          initWithPotentiallyMalformedUTF8Bytes(text.data() + at, kPieceSize, true, &used, nullptr);
      benchmark::DoNotOptimize(piece.object());
    }
  }
  countBytes(state, text.size());
}
BENCHMARK(inPieces)->DenseRange(ascii, random);

void lineByLine(benchmark::State& state) {
  constexpr std::size_t kLineSize = 48;
  const std::string& text = textOf(state);
  for (auto _ : state) {
    HxUInteger used = 0;
    for (std::size_t at = 0; at + kLineSize < text.size(); at += used) {
      const HxString line =
          initWithPotentiallyMalformedUTF8Bytes(text.data() + at, kLineSize, true, &used, nullptr);
      benchmark::DoNotOptimize(line.object());
    }
  }
  countBytes(state, text.size());
}
BENCHMARK(lineByLine)->DenseRange(ascii, random);

// One row a kernel: to measure the text and convert it.
void kernelAlone(benchmark::State& state) {
  const std::string& text = textOf(state);
  const auto kernels = internal::availableUTF8Kernels();
  const auto number = static_cast<std::size_t>(state.range(1));
  if (number >= kernels.size()) return state.SkipWithError("not on this machine");
  const internal::UTF8Kernel& kernel = kernels[number];
  state.SetLabel(std::string(kKindNames[state.range(0)]) + ", " + kernel.name);
  const auto* begin = reinterpret_cast<const std::uint8_t*>(text.data());
  std::vector<HxUniChar> units(text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(kernel.measure(begin, begin + text.size()));
    benchmark::DoNotOptimize(kernel.convert(begin, begin + text.size(), units.data()));
  }
  countBytes(state, text.size());
}
BENCHMARK(kernelAlone)
    ->ArgsProduct({benchmark::CreateDenseRange(ascii, emoji, 1),
                   benchmark::CreateDenseRange(0, 1, 1)});

}  // namespace
