// SPDX-License-Identifier: MIT

// Formats into new strings, each beside snprintf into a buffer and a copy of that, which is the
// least that the work can cost.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Rondel/core/text/String.h"

namespace {

using namespace rondel;

template <class... Arguments>
char* printedCopy(const char* format, Arguments... arguments) {
  char buffer[256];
  const int length = std::snprintf(buffer, sizeof buffer, format, arguments...);
  auto* copy = static_cast<char*>(std::malloc(static_cast<std::size_t>(length) + 1));
  std::memcpy(copy, buffer, static_cast<std::size_t>(length) + 1);
  return copy;
}

void Format_line(benchmark::State& state) {
  const HxString path(std::string_view("Sources/main.c"));
  int line = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        HxString::stringWithFormat("%@:%d: error: %s"_hx, path, ++line, "unknown name"));
  }
}
BENCHMARK(Format_line);

void Format_line_printf(benchmark::State& state) {
  int line = 0;
  for (auto _ : state) {
    char* text = printedCopy("%s:%d: error: %s", "Sources/main.c", ++line, "unknown name");
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
}
BENCHMARK(Format_line_printf);

void Format_integer(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(HxString::stringWithFormat("%d"_hx, ++value));
}
BENCHMARK(Format_integer);

void Format_integer_printf(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    char* text = printedCopy("%d", ++value);
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
}
BENCHMARK(Format_integer_printf);

void Format_fields(benchmark::State& state) {
  unsigned long value = 0;
  for (auto _ : state) {
    ++value;
    benchmark::DoNotOptimize(
        HxString::stringWithFormat("%-12s|%08lX|%7.2f"_hx, "name", value, 99.25));
  }
}
BENCHMARK(Format_fields);

void Format_fields_printf(benchmark::State& state) {
  unsigned long value = 0;
  for (auto _ : state) {
    char* text = printedCopy("%-12s|%08lX|%7.2f", "name", ++value, 99.25);
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
}
BENCHMARK(Format_fields_printf);

void Format_wideText(benchmark::State& state) {
  const HxString word(std::string_view("größe"));
  for (auto _ : state) {
    benchmark::DoNotOptimize(HxString::stringWithFormat("%@ = %@"_hx, word, word));
  }
}
BENCHMARK(Format_wideText);

void Format_append(benchmark::State& state) {
  HxMutableString text = HxMutableString::initWithCapacity(1 << 16);
  for (auto _ : state) {
    if (text.length() > 60000) text.setString(""_hx);
    text.appendFormat("%@ = %d\n"_hx, "key"_hx, 12);
  }
}
BENCHMARK(Format_append);

}  // namespace
