// SPDX-License-Identifier: MIT
//
// Numbers as objects, for collections and property lists.
//
//   HxNumber type = HxNumber::numberWithInt(-1);
//
// A number keeps the kind that it was made with: signed, unsigned, real or boolean. Numbers of
// equal value are equal and hash alike, whatever their kinds. Values are compared exactly: 2^53 + 1
// is not the real 2^53. NaN is equal to NaN and comes before all others; -0.0 is 0. On nil every
// operation returns 0, false or nil. Numbers never change and may be used on any thread; small
// integers and booleans are shared and cost no allocation.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

namespace internal {

// The object of every number.
struct NumberValue : HxObject {
  enum class Kind : std::uint8_t { boolean, signedInteger, unsignedInteger, real };

  const Kind kind;
  union {
    const std::int64_t integer;  // the bits of an integer or a boolean
    const double real;
  };

 protected:
  constexpr NumberValue(Kind numberKind, std::int64_t value, std::uint32_t flags = 0) noexcept
      : HxObject(HxTypeID::number, flags), kind(numberKind), integer(value) {}
  explicit NumberValue(double value) noexcept
      : HxObject(HxTypeID::number), kind(Kind::real), real(value) {}
  constexpr ~NumberValue() override {}  // NOLINT: written out for constants
};

}  // namespace internal

class RONDEL_EXPORT HxNumber : public HxHandle {
 public:
  constexpr HxNumber() noexcept = default;
  constexpr HxNumber(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxNumber(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::number;
  }

  static HxClass classObject() noexcept;

  static HxNumber numberWithInt(int value);
  static HxNumber numberWithInteger(HxInteger value);
  static HxNumber numberWithUnsignedInteger(HxUInteger value);
  static HxNumber numberWithDouble(double value);
  static HxNumber numberWithBool(bool value);

  // Return the value as another kind. Integers wrap as in C. A real is cut towards zero and
  // saturates; NaN becomes 0 and false. Every other value but 0 is true.
  int intValue() const noexcept;
  HxInteger integerValue() const noexcept {
    if (!_object) return 0;
    return isInteger() ? number().integer : roundedTowardsZero();
  }
  HxUInteger unsignedIntegerValue() const noexcept {
    if (!_object) return 0;
    return isInteger() ? static_cast<HxUInteger>(number().integer) : roundedTowardsZeroUnsigned();
  }
  double doubleValue() const noexcept;
  bool boolValue() const noexcept;
  // Return whether the number was made with this kind.
  bool isBoolean() const noexcept;
  bool isReal() const noexcept;
  // Returns decimal text; 1 and 0 for booleans; for reals the shortest text that reads back as the
  // same value.
  HxString stringValue() const;

 private:
  using Kind = internal::NumberValue::Kind;
  // Must not be called on nil.
  const internal::NumberValue& number() const noexcept {
    return *static_cast<const internal::NumberValue*>(_object);
  }
  bool isInteger() const noexcept { return number().kind != Kind::real; }
  HxInteger roundedTowardsZero() const noexcept;
  HxUInteger roundedTowardsZeroUnsigned() const noexcept;
};

}  // namespace rondel
