// SPDX-License-Identifier: MIT
//
// Deadlines on a clock that cannot be set.
#pragma once

#include <cstdint>

#include "Rondel/core/values/Date.h"

namespace rondel::internal {

// Nanoseconds on CLOCK_MONOTONIC (POSIX).
using SteadyTime = std::int64_t;

inline constexpr SteadyTime kNanosecondsASecond = 1'000'000'000;
inline constexpr SteadyTime kForever = INT64_MAX;

SteadyTime steadyNow() noexcept;
// Returns the time so many seconds from now. Negative seconds and NaN count as 0. More than a
// century is kForever.
SteadyTime steadyTimeAfter(HxTimeInterval seconds) noexcept;
// Returns the time of the date by the present setting of the system's clock. Nil is in the past.
SteadyTime steadyTimeOf(const HxDate& date) noexcept;
// Returns whole milliseconds until the deadline as poll (POSIX) takes them. Rounded up, 0 if it has
// passed, -1 for kForever.
int millisecondsUntil(SteadyTime deadline) noexcept;

}  // namespace rondel::internal
