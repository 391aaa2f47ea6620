// SPDX-License-Identifier: MIT
//
// Deadlines on a clock that nobody can set.
#pragma once

#include <cstdint>

#include "Rondel/core/values/Date.h"

namespace rondel::internal {

// Nanoseconds of CLOCK_MONOTONIC (POSIX).
using SteadyTime = std::int64_t;

inline constexpr SteadyTime kNanosecondsASecond = 1'000'000'000;
inline constexpr SteadyTime kForever = INT64_MAX;

SteadyTime steadyNow() noexcept;
// So many seconds from now. Negative and NaN count as 0, more than a century as for ever.
SteadyTime steadyTimeAfter(HxTimeInterval seconds) noexcept;
// The moment that the date names by the present setting of the system's clock; nil is past.
SteadyTime steadyTimeOf(const HxDate& date) noexcept;
// Whole milliseconds until then, rounded up so that waiting them is enough; -1 for ever, 0 for
// past.
int millisecondsUntil(SteadyTime deadline) noexcept;

}  // namespace rondel::internal
