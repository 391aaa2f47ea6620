// SPDX-License-Identifier: MIT
#include "Rondel/host/internal/SteadyClock.h"

#include <time.h>

#include <algorithm>
#include <climits>

namespace rondel::internal {
namespace {

constexpr HxTimeInterval kSecondsForEver = 100.0 * 365 * 86400;
constexpr SteadyTime kNanosecondsAMillisecond = 1'000'000;

}  // namespace

SteadyTime steadyNow() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNanosecondsASecond + now.tv_nsec;
}

SteadyTime steadyTimeAfter(HxTimeInterval seconds) noexcept {
  if (seconds > kSecondsForEver) return kForever;
  if (!(seconds > 0)) return steadyNow();
  return steadyNow() + static_cast<SteadyTime>(seconds * static_cast<double>(kNanosecondsASecond));
}

SteadyTime steadyTimeOf(const HxDate& date) noexcept {
  return date ? steadyTimeAfter(date.timeIntervalSinceNow()) : 0;
}

int millisecondsUntil(SteadyTime deadline) noexcept {
  if (deadline == kForever) return -1;
  const SteadyTime left = deadline - steadyNow();
  if (left <= 0) return 0;
  return static_cast<int>(std::min<SteadyTime>((left - 1) / kNanosecondsAMillisecond + 1, INT_MAX));
}

}  // namespace rondel::internal
