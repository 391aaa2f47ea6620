// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Number.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "Rondel/core/collections/internal/ObjectKeys.h"
#include "Rondel/core/text/String.h"

namespace rondel {

namespace {

// The operations of numbers, on the fields of Number.h.
class NumberObject final : public internal::NumberValue {
 public:
  constexpr NumberObject(Kind numberKind, std::int64_t value) noexcept
      : NumberValue(numberKind, value) {}
  static constexpr NumberObject immortal(Kind kind, std::int64_t value) noexcept {
    return NumberObject(kind, value, kImmortal);
  }
  explicit NumberObject(double value) noexcept : NumberValue(value) {}
  constexpr ~NumberObject() override {}  // NOLINT: written out for constants, as with strings

  HxClass hxClass() const noexcept override { return HxNumber::classObject(); }
  bool isEqual(const HxObject& other) const override {
    return other.typeID() == HxTypeID::number &&
           order(static_cast<const NumberObject&>(other)) == HxOrderedSame;
  }
  HxUInteger hash() const override;
  HxString description() const override;
  HxComparisonResult compare(const HxObject& other) const override {
    return other.typeID() == HxTypeID::number ? order(static_cast<const NumberObject&>(other))
                                              : HxObject::compare(other);
  }
  // Returns whether this is an integer from 0 on.
  bool isNatural() const noexcept {
    return kind != Kind::real && (kind == Kind::unsignedInteger || integer >= 0);
  }

 private:
  constexpr NumberObject(Kind numberKind, std::int64_t value, std::uint32_t flags) noexcept
      : NumberValue(numberKind, value, flags) {}
  HxComparisonResult order(const NumberObject& other) const noexcept;
};
using Kind = NumberObject::Kind;

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

template <class T>
HxComparisonResult orderOf(T a, T b) noexcept {
  return a < b ? HxOrderedAscending : b < a ? HxOrderedDescending : HxOrderedSame;
}

HxComparisonResult reversed(HxComparisonResult result) noexcept {
  return static_cast<HxComparisonResult>(-result);
}

// Returns a real as an integer of type T, cut towards zero. `limit` is the first real above T.
template <class T>
T saturated(double value, double limit) noexcept {
  if (std::isnan(value)) return 0;
  if (value >= limit) return std::numeric_limits<T>::max();
  const double least = std::numeric_limits<T>::is_signed ? -limit : 0;
  if (value <= least) return std::numeric_limits<T>::min();
  return static_cast<T>(value);
}

HxComparisonResult orderOfReals(double a, double b) noexcept {
  if (std::isnan(a) || std::isnan(b)) return orderOf(!std::isnan(a), !std::isnan(b));
  return orderOf(a, b);
}

// Compares exactly, without rounding the integer: first the whole part, then what was cut off.
HxComparisonResult orderRealAndInteger(double real, const NumberObject& number) noexcept {
  const bool isNatural = number.isNatural();
  if (std::isnan(real)) return HxOrderedAscending;
  if (real >= (isNatural ? kTwoTo64 : kTwoTo63)) return HxOrderedDescending;
  if (real < (isNatural ? 0 : -kTwoTo63)) return HxOrderedAscending;
  const HxComparisonResult whole =
      isNatural
          ? orderOf(static_cast<std::uint64_t>(real), static_cast<std::uint64_t>(number.integer))
          : orderOf(static_cast<std::int64_t>(real), number.integer);
  return whole != HxOrderedSame ? whole : orderOf(real, std::trunc(real));
}

HxComparisonResult NumberObject::order(const NumberObject& other) const noexcept {
  if (kind == Kind::real && other.kind == Kind::real) return orderOfReals(real, other.real);
  if (kind == Kind::real) return orderRealAndInteger(real, other);
  if (other.kind == Kind::real) return reversed(orderRealAndInteger(other.real, *this));
  if (isNatural() != other.isNatural()) return orderOf(isNatural(), other.isNatural());
  return orderOf(static_cast<std::uint64_t>(integer), static_cast<std::uint64_t>(other.integer));
}

// Returns the hash; of a whole real, that of the integer that is equal to it.
HxUInteger NumberObject::hash() const {
  if (kind != Kind::real) return static_cast<HxUInteger>(integer);
  if (std::isnan(real)) return 0;
  if (real == std::trunc(real) && real >= -kTwoTo63 && real < kTwoTo64) {
    return real < 0 ? static_cast<HxUInteger>(static_cast<std::int64_t>(real))
                    : static_cast<HxUInteger>(real);
  }
  return std::bit_cast<std::uint64_t>(real);
}

HxString NumberObject::description() const {
  std::array<char, 32> text;
  char* const first = text.data();
  char* const last = first + text.size();
  const std::to_chars_result end =
      kind == Kind::real ? std::to_chars(first, last, real)
      : isNatural()      ? std::to_chars(first, last, static_cast<std::uint64_t>(integer))
                         : std::to_chars(first, last, integer);
  return HxString(std::string_view(first, static_cast<std::size_t>(end.ptr - first)));
}

const NumberObject& numberOf(const HxHandle& number) noexcept {
  return *static_cast<const NumberObject*>(number.object());
}

HxNumber makeNumber(NumberObject* object) {
  return HxNumber(HxAny::Unchecked{}, HxAny::adopt(object));
}

// ---- Shared numbers ---------------------------------------------------------------------------

constexpr std::int64_t kFirstShared = -1;
constexpr std::size_t kSharedCount = 257;  // up to 255

template <std::size_t... Index>
struct SharedNumbers {
  NumberObject integers[sizeof...(Index)] = {NumberObject::immortal(
      Kind::signedInteger, kFirstShared + static_cast<std::int64_t>(Index))...};
  NumberObject no = NumberObject::immortal(Kind::boolean, 0);
  NumberObject yes = NumberObject::immortal(Kind::boolean, 1);

  constexpr explicit SharedNumbers(std::index_sequence<Index...>) noexcept {}
};
constexpr SharedNumbers sharedNumbers{std::make_index_sequence<kSharedCount>()};

HxNumber share(const NumberObject& number) noexcept {
  return HxNumber(HxAny::Unchecked{}, HxAny(&number));
}

}  // namespace

// ---- Making numbers ---------------------------------------------------------------------------

HxClass HxNumber::classObject() noexcept {
  static const HxClassInfo info{"HxNumber", HxObject::classObject().info()};
  return HxClass(&info);
}

HxNumber HxNumber::numberWithInt(int value) { return numberWithInteger(value); }

HxNumber HxNumber::numberWithInteger(HxInteger value) {
  const std::size_t place =
      static_cast<std::size_t>(value) - static_cast<std::size_t>(kFirstShared);
  if (place < kSharedCount) return share(sharedNumbers.integers[place]);
  return makeNumber(new NumberObject(Kind::signedInteger, value));
}

HxNumber HxNumber::numberWithUnsignedInteger(HxUInteger value) {
  if (value <= HxNotFound) return numberWithInteger(static_cast<HxInteger>(value));
  return makeNumber(new NumberObject(Kind::unsignedInteger, static_cast<std::int64_t>(value)));
}

HxNumber HxNumber::numberWithDouble(double value) { return makeNumber(new NumberObject(value)); }

HxNumber HxNumber::numberWithBool(bool value) {
  return share(value ? sharedNumbers.yes : sharedNumbers.no);
}

// ---- Reading ----------------------------------------------------------------------------------

int HxNumber::intValue() const noexcept {
  if (!_object) return 0;
  const NumberObject& number = numberOf(*this);
  if (number.kind != Kind::real) return static_cast<int>(number.integer);
  constexpr double kTwoTo31 = 2147483648.0;
  return saturated<int>(number.real, kTwoTo31);
}

HxInteger HxNumber::roundedTowardsZero() const noexcept {
  return saturated<HxInteger>(number().real, kTwoTo63);
}

HxUInteger HxNumber::roundedTowardsZeroUnsigned() const noexcept {
  return saturated<HxUInteger>(number().real, kTwoTo64);
}

double HxNumber::doubleValue() const noexcept {
  if (!_object) return 0;
  const NumberObject& number = numberOf(*this);
  if (number.kind == Kind::real) return number.real;
  return number.isNatural() ? static_cast<double>(static_cast<HxUInteger>(number.integer))
                            : static_cast<double>(number.integer);
}

bool HxNumber::boolValue() const noexcept {
  if (!_object) return false;
  const NumberObject& number = numberOf(*this);
  return number.kind == Kind::real ? number.real < 0 || number.real > 0 : number.integer != 0;
}

bool HxNumber::isBoolean() const noexcept {
  return _object && numberOf(*this).kind == Kind::boolean;
}

bool HxNumber::isReal() const noexcept { return _object && numberOf(*this).kind == Kind::real; }

HxString HxNumber::stringValue() const { return description(); }

}  // namespace rondel
