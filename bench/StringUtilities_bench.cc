// SPDX-License-Identifier: MIT

// Lines, identifiers, escapes and whitespace of ASCII text. The figures are bytes a second; the
// first rows of each kind are the limit: memchr from line to line, and a plain copy.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "Rondel/additions/Escaping.h"
#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/Lines.h"
#include "Rondel/additions/Replacing.h"
#include "Rondel/additions/Whitespace.h"

namespace {

using namespace rondel;

void countBytes(benchmark::State& state, const HxString& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.length()));
}

// ---- Lines ------------------------------------------------------------------------------------

// 100 MB in lines of 40 characters, terminators included.
const HxString& linesOfText() {
  static const HxString text = [] {
    constexpr std::size_t kSize = 100'000'000;
    constexpr std::size_t kLine = 40;
    std::string bytes(kSize, 'x');
    for (std::size_t at = kLine - 1; at < kSize; at += kLine) bytes[at] = '\n';
    return HxString(std::string_view(bytes));
  }();
  return text;
}

// What finds the ends of lines and keeps nothing.
void Lines_memchr(benchmark::State& state) {
  const std::string_view text = linesOfText().asciiView();
  const char* const end = text.data() + text.size();
  for (auto _ : state) {
    std::size_t count = 0;
    for (const char* at = text.data(); at < end; ++count) {
      const void* const found = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
      at = found ? static_cast<const char*>(found) + 1 : end;
    }
    benchmark::DoNotOptimize(count);
  }
  countBytes(state, linesOfText());
}
BENCHMARK(Lines_memchr)->Unit(benchmark::kMillisecond);

void Lines_offsetArray(benchmark::State& state) {
  const HxString& text = linesOfText();
  for (auto _ : state) {
    HxUInteger* offsets = nullptr;
    HxUInteger count = 0;
    getLineStartOffsets(text, &offsets, &count);
    benchmark::DoNotOptimize(offsets[count - 1]);
    std::free(offsets);
  }
  countBytes(state, text);
}
BENCHMARK(Lines_offsetArray)->Unit(benchmark::kMillisecond);

void Lines_offsetSet(benchmark::State& state) {
  const HxString& text = linesOfText();
  for (auto _ : state) benchmark::DoNotOptimize(lineStartOffsets(text).object());
  countBytes(state, text);
}
BENCHMARK(Lines_offsetSet)->Unit(benchmark::kMillisecond);

void Lines_number(benchmark::State& state) {
  const HxString& text = linesOfText();
  for (auto _ : state) benchmark::DoNotOptimize(numberOfLines(text));
  countBytes(state, text);
}
BENCHMARK(Lines_number)->Unit(benchmark::kMillisecond);

// ---- Text that is changed ---------------------------------------------------------------------

// 1 MiB of letters; one character in ten, by chance, is one of `changed`, if there are any.
HxString makeText(std::string_view changed) {
  constexpr std::size_t kSize = std::size_t{1} << 20;
  constexpr unsigned kOneIn = 10;
  std::mt19937 random(1);
  std::string text;
  while (text.size() < kSize) {
    const auto letter = static_cast<char>('a' + random() % 26);
    const bool isChanged = random() % kOneIn == 0 && !changed.empty();
    text += isChanged ? changed[random() % changed.size()] : letter;
  }
  return HxString(std::string_view(text));
}

void Text_memcpy(benchmark::State& state) {
  const HxString text = makeText("");
  std::string copy(text.length(), '\0');
  for (auto _ : state) {
    std::memcpy(copy.data(), text.asciiView().data(), copy.size());
    benchmark::ClobberMemory();
  }
  countBytes(state, text);
}
BENCHMARK(Text_memcpy);

using Operation = HxString (*)(const HxString&);
void Text(benchmark::State& state, Operation operation, std::string_view changed) {
  const HxString text = makeText(changed);
  for (auto _ : state) benchmark::DoNotOptimize(operation(text).object());
  countBytes(state, text);
}

HxString withoutWhitespace(const HxString& text) { return stringByDeletingAllWhitespace(text); }
HxString withSlashes(const HxString& text) { return stringByReplacingCharacter(text, u':', u'/'); }

constexpr std::string_view kMarkup = "<>&\"'";
constexpr std::string_view kPunctuation = "-. ";
constexpr std::string_view kWhitespace = " \t\n";

BENCHMARK_CAPTURE(Text, xml_unchanged, stringByEscapingForXML, "");
BENCHMARK_CAPTURE(Text, xml_one_in_ten, stringByEscapingForXML, kMarkup);
BENCHMARK_CAPTURE(Text, percents_unchanged, stringByEscapingPercents, "");
BENCHMARK_CAPTURE(Text, percents_one_in_ten, stringByEscapingPercents, "%");
BENCHMARK_CAPTURE(Text, c_identifier_unchanged, stringByManglingToLegalCIdentifier, "");
BENCHMARK_CAPTURE(Text, c_identifier_one_in_ten, stringByManglingToLegalCIdentifier, kPunctuation);
BENCHMARK_CAPTURE(Text, whitespace_runs_unchanged, stringByConvertingWhitespaceRunsToSingleSpaces,
                  "");
BENCHMARK_CAPTURE(Text, whitespace_runs_one_in_ten, stringByConvertingWhitespaceRunsToSingleSpaces,
                  kWhitespace);
BENCHMARK_CAPTURE(Text, delete_whitespace_unchanged, withoutWhitespace, "");
BENCHMARK_CAPTURE(Text, delete_whitespace_one_in_ten, withoutWhitespace, kWhitespace);
BENCHMARK_CAPTURE(Text, replace_character_one_in_ten, withSlashes, ":");

}  // namespace
