// SPDX-License-Identifier: MIT
#include "Rondel/core/text/Format.h"

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/FormatSink.h"
#include "Rondel/core/text/internal/Formatter.h"

namespace rondel {

namespace {

// 2^63 and 2^64 are exact as doubles, the greatest integers below them are not.
constexpr double kSignedLimit = 9223372036854775808.0;

std::int64_t cut(double value) noexcept {
  if (value >= kSignedLimit) return INT64_MAX;
  if (value <= -kSignedLimit) return INT64_MIN;
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

}  // namespace

std::int64_t HxArgument::asInteger() const noexcept {
  switch (_kind) {
    case Kind::signedInteger:
    case Kind::unsignedInteger:
      return static_cast<std::int64_t>(_bits);
    case Kind::real:
      return cut(_real);
    case Kind::cString:
    case Kind::pointer:
    case Kind::object:
      break;
  }
  return 0;
}

std::uint64_t HxArgument::asUnsigned() const noexcept {
  const auto bits = static_cast<std::uint64_t>(asInteger());
  return _size < sizeof bits && _kind != Kind::real ? bits & ((std::uint64_t{1} << 8 * _size) - 1)
                                                    : bits;
}

double HxArgument::asReal() const noexcept {
  switch (_kind) {
    case Kind::real:
      return _real;
    case Kind::signedInteger:
      return static_cast<double>(static_cast<std::int64_t>(_bits));
    case Kind::unsignedInteger:
      return static_cast<double>(_bits);
    case Kind::cString:
    case Kind::pointer:
    case Kind::object:
      break;
  }
  return 0;
}

const void* HxArgument::asPointer() const noexcept {
  switch (_kind) {
    case Kind::cString:
      return _text;
    case Kind::pointer:
    case Kind::object:
      return _pointer;
    case Kind::signedInteger:
    case Kind::unsignedInteger:
    case Kind::real:
      break;
  }
  return nullptr;
}

HxString HxString::initWithFormatArguments(const HxString& format, HxArguments arguments) {
  if (!format) return nullptr;
  internal::FormatSink sink;
  internal::formatTo(sink, format, arguments);
  return sink.string();
}

void HxMutableString::appendFormatArguments(const HxString& format, HxArguments arguments) {
  if (!isForChange("-[HxMutableString appendFormat:]", HxTypeID::string) || !format) return;
  internal::FormatSink sink;
  internal::formatTo(sink, format, arguments);
  sink.appendTo(*this);
}

HxString HxStringFromRange(HxRange range) {
  return HxString::stringWithFormat("{%lu, %lu}"_hx, range.location, range.length);
}

}  // namespace rondel
