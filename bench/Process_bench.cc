// SPDX-License-Identifier: MIT

// What it costs to drop tasks whose children still run. The time for one must not depend on how
// many there are.

#include <benchmark/benchmark.h>
#include <signal.h>

#include <cstdint>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/host/Process.h"

namespace {

using namespace rondel;

std::vector<Ref<HxTask>> startTasks(std::int64_t count) {
  std::vector<Ref<HxTask>> tasks;
  while (count-- > 0) {
    tasks.push_back(HxTask::init());
    tasks.back()->setLaunchPath("/bin/sleep"_hx);
    tasks.back()->setArguments(HxArray::arrayWithObject("600"_hx));
    tasks.back()->launch();
  }
  return tasks;
}

// The children sleep until they are killed here, so that no pid has passed to another process.
void Tasks_dropRunning(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<Ref<HxTask>> tasks = startTasks(state.range(0));
    std::vector<int> pids;
    for (const auto& task : tasks) pids.push_back(task->processIdentifier());
    state.ResumeTiming();
    tasks.clear();
    state.PauseTiming();
    for (const int pid : pids) ::kill(pid, SIGKILL);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Tasks_dropRunning)->Arg(250)->Arg(1000)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
