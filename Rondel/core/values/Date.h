// SPDX-License-Identifier: MIT
//
// Instants, as seconds from a fixed reference instant: 2001-01-01T00:00:00Z.
//
//   HxDate limit = HxDate::dateWithTimeIntervalSinceNow(0.5);
//   while (limit.timeIntervalSinceNow() > 0) ...
//
// On nil every operation returns 0 or nil. Dates never change and may be used on any thread. The
// clock is the system's real-time clock. Deadlines of the run loop are dates, and are measured with
// a steady clock once they are set.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

class RONDEL_EXPORT HxDate : public HxHandle {
 public:
  constexpr HxDate() noexcept = default;
  constexpr HxDate(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxDate(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::date;
  }

  static HxClass classObject() noexcept;

  static HxDate date();  // the present
  static HxDate dateWithTimeIntervalSinceNow(HxTimeInterval seconds);
  static HxDate initWithTimeIntervalSinceNow(HxTimeInterval seconds) {
    return dateWithTimeIntervalSinceNow(seconds);
  }
  static HxDate dateWithTimeIntervalSinceReferenceDate(HxTimeInterval seconds);
  // Return instants that no clock will see: the beginnings of the years 4001 and 1.
  static HxDate distantFuture();
  static HxDate distantPast();

  // Returns the present time, as seconds since the reference instant.
  static HxTimeInterval now() noexcept;
  HxTimeInterval timeIntervalSinceReferenceDate() const noexcept;
  // Returns seconds, positive for an instant in the future.
  HxTimeInterval timeIntervalSinceNow() const noexcept;
  HxTimeInterval timeIntervalSinceDate(const HxDate& other) const noexcept;
  // Returns "2026-11-21T07:20:46Z" (RFC 3339), without fractions of a second. Returns nil for nil
  // and for years outside 0 to 9999.
  HxString rfc3339String() const;
  static HxDate dateWithRFC3339String(const HxString& text);  // nil if not in that form
};

}  // namespace rondel
