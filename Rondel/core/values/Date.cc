// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Date.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel {

namespace {

// The object of every date.
class DateObject final : public HxObject {
 public:
  explicit DateObject(HxTimeInterval instant) noexcept
      : HxObject(HxTypeID::date), _instant(instant) {}

  HxClass hxClass() const noexcept override { return HxDate::classObject(); }
  bool isEqual(const HxObject& other) const override {
    return this == &other || (other.typeID() == HxTypeID::date &&
                              _instant == static_cast<const DateObject&>(other)._instant);
  }
  HxUInteger hash() const override {
    return std::bit_cast<std::uint64_t>(_instant + 0.0);  // -0.0 is 0
  }
  HxString description() const override;
  HxComparisonResult compare(const HxObject& other) const override;

  HxTimeInterval instant() const noexcept { return _instant; }

 private:
  HxTimeInterval _instant;
};

HxDate makeDate(HxTimeInterval instant) {
  return HxDate(HxAny::Unchecked{}, HxAny::adopt(new DateObject(instant)));
}

HxComparisonResult DateObject::compare(const HxObject& other) const {
  if (other.typeID() != HxTypeID::date) return HxObject::compare(other);
  const HxTimeInterval theirs = static_cast<const DateObject&>(other)._instant;
  return _instant < theirs   ? HxOrderedAscending
         : _instant > theirs ? HxOrderedDescending
                             : HxOrderedSame;
}

constexpr HxTimeInterval kReferenceInUnixTime = 978307200;  // 2001-01-01T00:00:00Z
constexpr HxTimeInterval kDistantFuture = 63113904000;      // 4001-01-01T00:00:00Z
constexpr HxTimeInterval kDistantPast = -63113904000;       // 0001-01-01T00:00:00Z

// ---- The calendar -----------------------------------------------------------------------------

constexpr std::int64_t kSecondsADay = 86400;
constexpr std::int64_t kLastYear = 9999;

constexpr bool isLeapYear(std::int64_t year) noexcept {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr std::int64_t daysInMonth(std::int64_t year, std::int64_t month) noexcept {
  constexpr std::array<std::int64_t, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// Days from 0000-01-01 to the first of January of a year from 0 on (Gregorian, also before 1582).
constexpr std::int64_t daysBeforeYear(std::int64_t year) noexcept {
  if (year == 0) return 0;
  const std::int64_t last = year - 1;
  return year * 365 + last / 4 - last / 100 + last / 400 + 1;
}
constexpr std::int64_t kReferenceDay = daysBeforeYear(2001);

struct Calendar {
  std::int64_t year = 0;
  std::int64_t month = 1;
  std::int64_t day = 1;
};

// `days` is counted from 0000-01-01 and lies within the years 0 to 9999.
Calendar calendarOfDay(std::int64_t days) noexcept {
  Calendar date;
  date.year = days / 366;  // never too late, and early by a few years at most
  while (daysBeforeYear(date.year + 1) <= days) ++date.year;
  days -= daysBeforeYear(date.year);
  while (days >= daysInMonth(date.year, date.month)) {
    days -= daysInMonth(date.year, date.month++);
  }
  date.day = days + 1;
  return date;
}

std::int64_t dayOfCalendar(const Calendar& date) noexcept {
  std::int64_t days = daysBeforeYear(date.year) + date.day - 1;
  for (std::int64_t month = 1; month < date.month; ++month) days += daysInMonth(date.year, month);
  return days;
}

}  // namespace

// ---- Making dates -----------------------------------------------------------------------------

HxClass HxDate::classObject() noexcept {
  static const HxClassInfo info{"HxDate", HxObject::classObject().info()};
  return HxClass(&info);
}

HxDate HxDate::date() { return makeDate(now()); }

HxDate HxDate::dateWithTimeIntervalSinceNow(HxTimeInterval seconds) {
  return makeDate(now() + seconds);
}

HxDate HxDate::dateWithTimeIntervalSinceReferenceDate(HxTimeInterval seconds) {
  return makeDate(seconds);
}

HxDate HxDate::distantFuture() { return makeDate(kDistantFuture); }

HxDate HxDate::distantPast() { return makeDate(kDistantPast); }

// ---- Reading ----------------------------------------------------------------------------------

HxTimeInterval HxDate::now() noexcept {
  constexpr double kNanosecond = 1e-9;
  timespec time;
  ::clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) - kReferenceInUnixTime +
         static_cast<double>(time.tv_nsec) * kNanosecond;
}

HxTimeInterval HxDate::timeIntervalSinceReferenceDate() const noexcept {
  return _object ? static_cast<const DateObject*>(_object)->instant() : 0;
}

HxTimeInterval HxDate::timeIntervalSinceNow() const noexcept {
  return _object ? timeIntervalSinceReferenceDate() - now() : 0;
}

HxTimeInterval HxDate::timeIntervalSinceDate(const HxDate& other) const noexcept {
  return _object && other
             ? timeIntervalSinceReferenceDate() - other.timeIntervalSinceReferenceDate()
             : 0;
}

// ---- As text ----------------------------------------------------------------------------------

HxString HxDate::rfc3339String() const {
  if (!_object) return nullptr;
  const double seconds = std::floor(timeIntervalSinceReferenceDate()) +
                         static_cast<double>(kReferenceDay * kSecondsADay);
  constexpr auto kEnd = static_cast<double>(daysBeforeYear(kLastYear + 1) * kSecondsADay);
  if (!(seconds >= 0 && seconds < kEnd)) return nullptr;
  const auto total = static_cast<std::int64_t>(seconds);
  const Calendar date = calendarOfDay(total / kSecondsADay);
  const std::int64_t time = total % kSecondsADay;
  std::array<char, 96> text;
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02dZ",
                static_cast<int>(date.year), static_cast<int>(date.month),
                static_cast<int>(date.day), static_cast<int>(time / 3600),
                static_cast<int>(time / 60 % 60), static_cast<int>(time % 60));
  return HxString::stringWithUTF8String(text.data());
}

HxDate HxDate::dateWithRFC3339String(const HxString& text) {
  // 'd' is a digit of a field; every other character ends a field.
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  if (text.length() != kForm.size()) return nullptr;
  std::array<std::int64_t, 6> fields = {};
  std::size_t field = 0;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const HxUniChar unit = text.characterAtIndex(i);
    if (kForm[i] == 'd') {
      if (!internal::isDecimalDigit(unit)) return nullptr;
      fields[field] = fields[field] * 10 + (unit - '0');
    } else {
      if (unit != static_cast<HxUniChar>(kForm[i])) return nullptr;
      ++field;
    }
  }
  const auto [year, month, day, hour, minute, second] = fields;
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return nullptr;
  if (hour > 23 || minute > 59 || second > 59) return nullptr;
  const std::int64_t days = dayOfCalendar({year, month, day}) - kReferenceDay;
  return makeDate(static_cast<double>(days * kSecondsADay + (hour * 60 + minute) * 60 + second));
}

// Returns the RFC 3339 text, or the seconds if there is none.
HxString DateObject::description() const {
  const HxString text = HxDate(HxAny::Unchecked{}, HxAny(this)).rfc3339String();
  return text ? text : HxString::stringWithFormat("%f"_hx, _instant);
}

}  // namespace rondel
