// SPDX-License-Identifier: MIT
// Rondel's rows among log calls that are switched off.
#include "Rondel/core/report/AspectLog.h"
#include "inputs.hpp"

using namespace w13;
using namespace rondel;

namespace {

volatile int argument = 42;

constexpr HxString kThis = "This"_hx;

void rows(bench::Group& g, bool other) {
  g.rondel("rondel", calls([](int i) {
             benchmark::DoNotOptimize(i);
             MO_LOG(kThis, 2, "value %d of %d"_hx, i, argument);
           }),
           other ? "level of the aspect, remembered at the call site" : "one flag for all aspects");
  // Once an aspect had a level the flag stays on, so the rows of one process set it as they need
  // it.
  g.rows.back().before = [other] {
    MoSetLogDetailLevelForAspect("Other"_hx, 1);
    _MoLogSomeLoggingIsEnabled.set(other);
    MO_LOG(kThis, 2, "asked ahead of the pass"_hx);
  };
}

BENCH_ROWS(w13_rondel) {
  rows(all_off(), false);
  rows(other_on(), true);
  for (int i = 0; i < 20; ++i) {
    MoSetLogDetailLevelForAspect(HxString::stringWithFormat("Topic%d"_hx, i), i == 3);
  }
  // Equal to the key, and not the same object.
  static const HxString name = HxString(std::string_view("Topic7"));
  by_name().rondel("rondel_level_by_name", calls([](int i) {
                     if (MoGetLogDetailLevelForAspect(name) > 1) _MoLog("value %d"_hx, i);
                   }));
  by_name().rondel("rondel_molog", calls([](int i) { MoLog(name, 2, "value %d"_hx, i); }));
  by_name().rondel("rondel_call_site", calls([](int i) { MO_LOG(name, 2, "value %d"_hx, i); }),
                   "the level remembered at the call site until any level changes");
}

}  // namespace
