// SPDX-License-Identifier: MIT
#include "Rondel/interop/chrono.h"

#include <gtest/gtest.h>

#include "Rondel/core/text/String.h"

namespace rondel::test {
namespace {

using std::chrono::system_clock;
using namespace std::chrono_literals;

TEST(ChronoInterop, DurationsBecomeSecondsAndComeBack) {
  EXPECT_DOUBLE_EQ(timeInterval(250ms), 0.25);
  EXPECT_DOUBLE_EQ(timeInterval(2h), 7200.0);
  EXPECT_DOUBLE_EQ(timeInterval(-1us), -1e-6);
  EXPECT_EQ(std::chrono::duration_cast<std::chrono::milliseconds>(toDuration(1.5)), 1500ms);
}

TEST(ChronoInterop, InstantsBecomeDates) {
  EXPECT_EQ(dateWithTimePoint(system_clock::time_point{}).rfc3339String(),
            "1970-01-01T00:00:00Z"_hx);
  EXPECT_DOUBLE_EQ(dateWithTimePoint(system_clock::time_point(kReferenceInstant))
                       .timeIntervalSinceReferenceDate(),
                   0.0);
}

TEST(ChronoInterop, InstantsComeBackToTheMicrosecond) {
  for (const auto sinceEpoch : {0s, -86400s * 365 * 200, 86400s * 365 * 200, 1763700000s}) {
    const system_clock::time_point instant(sinceEpoch + 123456us);
    const auto error = toTimePoint(dateWithTimePoint(instant)) - instant;
    EXPECT_LT(std::chrono::abs(error), 2us);
  }
}

TEST(ChronoInterop, DatesBeyondTheClockStopAtItsEnds) {
  EXPECT_EQ(toTimePoint(HxDate::distantFuture()), system_clock::time_point::max());
  EXPECT_EQ(toTimePoint(HxDate::distantPast()), system_clock::time_point::min());
}

TEST(ChronoInterop, NilIsTheBeginningOfTheClock) {
  EXPECT_EQ(toTimePoint(nullptr), system_clock::time_point{});
}

TEST(ChronoInterop, BothClocksTellTheSameTime) {
  const auto difference = toTimePoint(HxDate::date()) - system_clock::now();
  EXPECT_LT(std::chrono::abs(difference), 1min);
}

}  // namespace
}  // namespace rondel::test
