// SPDX-License-Identifier: MIT
//
// Instants and lengths of time of the standard library from Rondel's, and back.
//
//   using namespace std::chrono_literals;
//   runLoop->runUntilDate(dateWithTimePoint(std::chrono::system_clock::now() + 50ms));
//   HxTimer::scheduledTimerWithTimeInterval<&Tool::tick>(timeInterval(250ms), tool, nullptr, true);
//
// A Rondel interval is a double in seconds, which holds microseconds exactly for some centuries
// around the reference instant, 2001-01-01T00:00:00Z.
#pragma once

#include <chrono>

#include "Rondel/core/values/Date.h"

namespace rondel {

// Seconds from a length of time.
template <class Rep, class Period>
constexpr HxTimeInterval timeInterval(std::chrono::duration<Rep, Period> duration) {
  return std::chrono::duration<HxTimeInterval>(duration).count();
}

// A length of time from seconds; std::chrono::duration_cast makes others of it.
constexpr std::chrono::duration<HxTimeInterval> toDuration(HxTimeInterval seconds) {
  return std::chrono::duration<HxTimeInterval>(seconds);
}

// The reference instant, in seconds after the epoch of the system clock.
inline constexpr std::chrono::seconds kReferenceInstant{978307200};

// The instant as a date; never nil.
inline HxDate dateWithTimePoint(std::chrono::system_clock::time_point instant) {
  return HxDate::dateWithTimeIntervalSinceReferenceDate(
      timeInterval(instant.time_since_epoch() - kReferenceInstant));
}

// The date as an instant. Dates that the clock cannot count, in years before 1678 and after 2261,
// become its first and last instant; nil becomes the beginning of its count.
inline std::chrono::system_clock::time_point toTimePoint(const HxDate& date) {
  using Clock = std::chrono::system_clock;
  if (!date) return {};
  const auto sinceReference = toDuration(date.timeIntervalSinceReferenceDate());
  if (sinceReference >= Clock::time_point::max().time_since_epoch() - kReferenceInstant) {
    return Clock::time_point::max();
  }
  // That far back the subtraction itself would overflow the clock's count.
  if (sinceReference + kReferenceInstant <= Clock::time_point::min().time_since_epoch()) {
    return Clock::time_point::min();
  }
  return Clock::time_point(kReferenceInstant) +
         std::chrono::duration_cast<Clock::duration>(sinceReference);
}

}  // namespace rondel
