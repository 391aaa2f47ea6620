// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Date.h"

#include <gtest/gtest.h>

#include <ctime>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

HxDate at(HxTimeInterval seconds) {
  return HxDate::dateWithTimeIntervalSinceReferenceDate(seconds);
}

TEST(Date, CountsSecondsFromItsReference) {
  EXPECT_EQ(at(12.5).timeIntervalSinceReferenceDate(), 12.5);
  EXPECT_EQ(at(-3).timeIntervalSinceReferenceDate(), -3);
  EXPECT_EQ(at(5).timeIntervalSinceDate(at(2)), 3);
  EXPECT_EQ(at(2).timeIntervalSinceDate(at(5)), -3);
}

// The clock itself: time() may be a tick behind it.
HxTimeInterval realTime() {
  constexpr HxTimeInterval kReference = 978307200;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) - kReference + static_cast<double>(now.tv_nsec) * 1e-9;
}

TEST(Date, TellsThePresentTime) {
  constexpr HxTimeInterval kRounding = 1e-6;
  const HxTimeInterval before = realTime();
  const HxTimeInterval now = HxDate::now();
  const HxTimeInterval date = HxDate::date().timeIntervalSinceReferenceDate();
  const HxTimeInterval after = realTime();
  EXPECT_GE(now, before - kRounding);
  EXPECT_LE(now, after + kRounding);
  EXPECT_GE(date, now);
}

TEST(Date, IsMadeFromTheDistanceToNow) {
  for (const HxTimeInterval distance : {0.0, 1000.0, -1000.0}) {
    const HxTimeInterval before = HxDate::now() + distance;
    const HxDate date = HxDate::dateWithTimeIntervalSinceNow(distance);
    const HxDate same = HxDate::initWithTimeIntervalSinceNow(distance);
    EXPECT_GE(date.timeIntervalSinceReferenceDate(), before);
    EXPECT_GE(same.timeIntervalSinceReferenceDate(), date.timeIntervalSinceReferenceDate());
    EXPECT_LE(same.timeIntervalSinceReferenceDate(), HxDate::now() + distance);
    EXPECT_LE(date.timeIntervalSinceNow(), distance);
  }
  EXPECT_GT(HxDate::dateWithTimeIntervalSinceNow(1000).timeIntervalSinceNow(), 0);
  EXPECT_LT(HxDate::dateWithTimeIntervalSinceNow(-1000).timeIntervalSinceNow(), 0);
}

TEST(Date, OrdersAndEqualsByInstant) {
  EXPECT_EQ(at(1).compare(at(2)), HxOrderedAscending);
  EXPECT_EQ(at(2).compare(at(1)), HxOrderedDescending);
  EXPECT_EQ(at(2).compare(at(2)), HxOrderedSame);
  EXPECT_TRUE(at(2).isEqual(at(2)));
  EXPECT_EQ(at(2).hash(), at(2).hash());
  EXPECT_EQ(at(0.0).hash(), at(-0.0).hash());
  EXPECT_TRUE(at(0.0).isEqual(at(-0.0)));
  EXPECT_FALSE(at(2).isEqual(at(2.5)));
  EXPECT_FALSE(at(2).isEqual("2"_hx));
  EXPECT_EQ(HxDate::distantPast().compare(HxDate::date()), HxOrderedAscending);
  EXPECT_EQ(HxDate::distantFuture().compare(HxDate::date()), HxOrderedDescending);
}

TEST(Date, AsTextAndBack) {
  struct Case {
    HxTimeInterval seconds;
    const char* text;
  };
  for (const Case& row :
       {Case{0, "2001-01-01T00:00:00Z"}, Case{-1, "2000-12-31T23:59:59Z"},
        Case{-978307200, "1970-01-01T00:00:00Z"}, Case{-26524800, "2000-02-29T00:00:00Z"},
        Case{5097600, "2001-03-01T00:00:00Z"}, Case{-3187209600, "1900-01-02T00:00:00Z"},
        Case{-63113904000, "0001-01-01T00:00:00Z"}, Case{-63145526400, "0000-01-01T00:00:00Z"},
        Case{63113904000, "4001-01-01T00:00:00Z"}, Case{252423993599, "9999-12-31T23:59:59Z"}}) {
    EXPECT_EQ(shown(at(row.seconds).rfc3339String()), row.text);
    const HxDate date = HxDate::dateWithRFC3339String(HxString(std::string_view(row.text)));
    EXPECT_EQ(date.timeIntervalSinceReferenceDate(), row.seconds) << row.text;
    EXPECT_EQ(shown(at(row.seconds)), row.text);
  }
  EXPECT_EQ(shown(HxDate::distantFuture()), "4001-01-01T00:00:00Z");
  EXPECT_EQ(shown(HxDate::distantPast()), "0001-01-01T00:00:00Z");
}

TEST(Date, FractionsOfASecondAreCut) {
  EXPECT_EQ(shown(at(0.999).rfc3339String()), "2001-01-01T00:00:00Z");
  EXPECT_EQ(shown(at(-0.001).rfc3339String()), "2000-12-31T23:59:59Z");
}

TEST(Date, BeyondTheYearsOfTheFormHasNoText) {
  EXPECT_TRUE(at(252423993600).rfc3339String().isNil());
  EXPECT_TRUE(at(-63145526401).rfc3339String().isNil());
  EXPECT_TRUE(at(1e300).rfc3339String().isNil());
  EXPECT_TRUE(at(__builtin_nan("")).rfc3339String().isNil());
  EXPECT_EQ(shown(at(1e12)), "1000000000000.000000");
}

TEST(Date, FromOtherTextIsNil) {
  for (const char* text :
       {"", "2001-01-01", "2001-01-01T00:00:00", "2001-01-01T00:00:00+", "2001-01-01 00:00:00Z",
        "2001-13-01T00:00:00Z", "2001-00-01T00:00:00Z", "2001-02-29T00:00:00Z",
        "1900-02-29T00:00:00Z", "2001-01-00T00:00:00Z", "2001-01-32T00:00:00Z",
        "2001-01-01T24:00:00Z", "2001-01-01T00:60:00Z", "2001-01-01T00:00:60Z",
        "2001-01-01T00:00:00z", "200x-01-01T00:00:00Z", "2001-01-01T00:00:00Z "}) {
    EXPECT_TRUE(HxDate::dateWithRFC3339String(HxString(std::string_view(text))).isNil()) << text;
  }
  EXPECT_TRUE(HxDate::dateWithRFC3339String(nullptr).isNil());
}

TEST(NilDate, AnswersZeroToEverything) {
  const HxDate nil;
  EXPECT_EQ(nil.timeIntervalSinceReferenceDate(), 0);
  EXPECT_EQ(nil.timeIntervalSinceNow(), 0);
  EXPECT_EQ(nil.timeIntervalSinceDate(HxDate::date()), 0);
  EXPECT_EQ(HxDate::date().timeIntervalSinceDate(nil), 0);
  EXPECT_TRUE(nil.rfc3339String().isNil());
}

}  // namespace
}  // namespace rondel::test
