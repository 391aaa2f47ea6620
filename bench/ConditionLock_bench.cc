// SPDX-License-Identifier: MIT

// A ring of threads, each of which waits for its own number and hands on to the next. The peer is
// written by hand: one mutex, and one condition variable for each thread.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "Rondel/host/ConditionLock.h"

namespace {

using namespace rondel;

class OurRing {
 public:
  explicit OurRing(HxInteger) {}
  void wait(HxInteger turn) { _lock->lockWhenCondition(turn); }
  void handOn(HxInteger turn) { _lock->unlockWithCondition(turn); }

 private:
  const Ref<HxConditionLock> _lock = HxConditionLock::init();
};

class RingByHand {
 public:
  explicit RingByHand(HxInteger size) : _changes(static_cast<std::size_t>(size)) {}
  void wait(HxInteger turn) {
    std::unique_lock held(_mutex);
    _changes[static_cast<std::size_t>(turn)].wait(held, [&] { return _turn == turn; });
  }
  void handOn(HxInteger turn) {
    const std::scoped_lock held(_mutex);
    _turn = turn;
    _changes[static_cast<std::size_t>(turn)].notify_one();
  }

 private:
  std::mutex _mutex;
  std::vector<std::condition_variable> _changes;
  HxInteger _turn = 0;
};

// The first member of the ring is the benchmark's own thread. One iteration is one round.
template <class Ring>
void runRing(benchmark::State& state) {
  const HxInteger size = state.range(0);
  Ring ring(size);
  bool isOver = false;  // changed by the member whose turn it is
  std::vector<std::thread> others;
  for (HxInteger turn = 1; turn < size; ++turn) {
    others.emplace_back([&, turn] {
      for (bool isLast = false; !isLast;) {
        ring.wait(turn);
        isLast = isOver;
        ring.handOn((turn + 1) % size);
      }
    });
  }
  for (auto _ : state) {
    ring.wait(0);
    ring.handOn(1);
  }
  ring.wait(0);
  isOver = true;
  ring.handOn(1);
  for (std::thread& other : others) other.join();
  state.SetItemsProcessed(state.iterations() * size);
}

void ConditionLock_ring(benchmark::State& state) { runRing<OurRing>(state); }
BENCHMARK(ConditionLock_ring)->Arg(2)->Arg(8)->Arg(64)->UseRealTime();

void ConditionLock_ringByHand(benchmark::State& state) { runRing<RingByHand>(state); }
BENCHMARK(ConditionLock_ringByHand)->Arg(2)->Arg(8)->Arg(64)->UseRealTime();

}  // namespace
