// SPDX-License-Identifier: MIT

// What a log call costs that writes nothing, beside the bare load and branch.

#include <benchmark/benchmark.h>

#include "Rondel/core/report/AspectLog.h"
#include "Rondel/core/report/Log.h"

namespace {

using namespace rondel;

constexpr HxString kTopic = "Topic7"_hx;
volatile int argument = 42;

void setUp(bool anyIsEnabled) {
  for (int i = 0; i < 20; ++i) {
    MoSetLogDetailLevelForAspect(HxString::stringWithFormat("Topic%d"_hx, i), i == 3);
  }
  // The flag stays on for good once an aspect had a level; here each benchmark sets its own.
  _MoLogSomeLoggingIsEnabled.set(anyIsEnabled);
}

void AspectLog_bareLoad(benchmark::State& state) {
  static volatile std::uint8_t flag = 0;
  for (auto _ : state) {
    if (flag != 0) [[unlikely]] {
      HxLog("value %d"_hx, argument);
    }
  }
}
BENCHMARK(AspectLog_bareLoad);

void AspectLog_allDisabled(benchmark::State& state) {
  setUp(false);
  for (auto _ : state) MO_LOG(kTopic, 2, "value %d"_hx, argument);
}
BENCHMARK(AspectLog_allDisabled);

void AspectLog_otherEnabled(benchmark::State& state) {
  setUp(true);
  for (auto _ : state) MO_LOG(kTopic, 2, "value %d"_hx, argument);
}
BENCHMARK(AspectLog_otherEnabled)->ThreadRange(1, 2);

void AspectLog_byName(benchmark::State& state) {
  setUp(true);
  const HxString name(std::string_view("Topic7"));
  for (auto _ : state) benchmark::DoNotOptimize(MoGetLogDetailLevelForAspect(name));
}
BENCHMARK(AspectLog_byName)->ThreadRange(1, 2);

void AspectLog_molog(benchmark::State& state) {
  setUp(true);
  const HxString name(std::string_view("Topic7"));
  for (auto _ : state) MoLog(name, 2, "value %d"_hx, argument);
}
BENCHMARK(AspectLog_molog);

void AspectLog_written(benchmark::State& state) {
  const HxLogOutput former = HxSetLogOutput([](const HxString&) {});
  MoSetLogIndentLevel(2);
  for (auto _ : state) _MoLog("value %d of %@"_hx, argument, kTopic);
  MoSetLogIndentLevel(0);
  HxSetLogOutput(former);
}
BENCHMARK(AspectLog_written);

}  // namespace
