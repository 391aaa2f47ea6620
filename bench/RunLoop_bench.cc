// SPDX-License-Identifier: MIT

// What a timer costs to add, to take back and to fire. The time for each of them must not depend on
// how many there are.

#include <benchmark/benchmark.h>

#include <vector>

#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Timer.h"

namespace {

using namespace rondel;

class Target : public HxObject {
 public:
  void fired(HxTimer&) { ++count; }
  long count = 0;
};

using Timers = std::vector<Ref<HxTimer>>;

Timers makeTimers(const benchmark::State& state, const Ref<Target>& target,
                  HxTimeInterval seconds) {
  Timers timers;
  for (std::int64_t made = 0; made < state.range(0); ++made) {
    timers.push_back(
        HxTimer::timerWithTimeInterval<&Target::fired>(seconds, target.get(), nullptr, false));
  }
  return timers;
}

void add(const Timers& timers) {
  const auto loop = HxRunLoop::currentRunLoop();
  for (const auto& timer : timers) loop->addTimer(timer, HxDefaultRunLoopMode);
}

void invalidate(const Timers& timers) {
  for (const auto& timer : timers) timer->invalidate();
}

void Timers_add(benchmark::State& state) {
  const auto target = makeRef<Target>();
  for (auto _ : state) {
    state.PauseTiming();
    const Timers timers = makeTimers(state, target, 3600);
    state.ResumeTiming();
    add(timers);
    state.PauseTiming();
    invalidate(timers);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Timers_add)->Arg(1000)->Arg(4000)->Arg(16000);

void Timers_invalidate(benchmark::State& state) {
  const auto target = makeRef<Target>();
  for (auto _ : state) {
    state.PauseTiming();
    const Timers timers = makeTimers(state, target, 3600);
    add(timers);
    state.ResumeTiming();
    invalidate(timers);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Timers_invalidate)->Arg(1000)->Arg(4000)->Arg(16000);

void Timers_fire(benchmark::State& state) {
  const auto target = makeRef<Target>();
  for (auto _ : state) {
    state.PauseTiming();
    const long before = target->count;
    add(makeTimers(state, target, 0));
    state.ResumeTiming();
    while (target->count - before < state.range(0)) {
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Timers_fire)->Arg(1000)->Arg(4000)->Arg(16000);

}  // namespace
