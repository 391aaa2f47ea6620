// SPDX-License-Identifier: MIT
//
// Format strings and their arguments.
//
// A format is text with conversions of the C printf family and two additions: %@ prints the
// description of an object and %C one UTF-16 code unit. Flags, width, precision and '*' work as in
// C; length modifiers are read and not needed, since every argument brings its type.
//
//   HxString::stringWithFormat("%@ took %.2f s, %3u%%"_hx, name, seconds, percent);
//
// Arguments are type-safe: integers, characters, floating-point numbers, C strings (UTF-8),
// pointers, and any object or handle. A conversion whose argument is of another kind prints that
// argument in its own natural form, a missing argument prints "(null)" for objects and strings and
// nothing else for numbers than 0, extra arguments are ignored. Nothing is ever read out of bounds.
// A nil object and a null C string print "(null)".
#pragma once

#include <type_traits>

#include "Rondel/core/Object.h"

namespace rondel {

// One argument of a format, with its type. Holds views: it lives no longer than the call that it
// was made for.
class RONDEL_EXPORT HxArgument {
 public:
  enum class Kind : std::uint8_t { signedInteger, unsignedInteger, real, cString, pointer, object };

  constexpr HxArgument() noexcept : HxArgument(0) {}
  template <class T>
  requires std::is_integral_v<T>
  constexpr HxArgument(T value) noexcept  // NOLINT: arguments convert
      : _kind(std::is_signed_v<T> ? Kind::signedInteger : Kind::unsignedInteger),
        _size(sizeof(T)),
        _bits(static_cast<std::uint64_t>(value)) {}
  template <class T>
  requires std::is_enum_v<T>
  constexpr HxArgument(T value) noexcept
      : HxArgument(static_cast<std::underlying_type_t<T>>(value)) {}                      // NOLINT
  constexpr HxArgument(double value) noexcept : _kind(Kind::real), _real(value) {}        // NOLINT
  constexpr HxArgument(float value) noexcept : HxArgument(static_cast<double>(value)) {}  // NOLINT
  constexpr HxArgument(const char* text) noexcept : _kind(Kind::cString), _text(text) {}  // NOLINT
  constexpr HxArgument(char* text) noexcept
      : HxArgument(static_cast<const char*>(text)) {}  // NOLINT
  constexpr HxArgument(const void* pointer) noexcept
      : _kind(Kind::pointer), _pointer(pointer) {}  // NOLINT
  constexpr HxArgument(std::nullptr_t) noexcept
      : _kind(Kind::object), _pointer(nullptr) {}  // NOLINT
  HxArgument(const HxAny& object) noexcept
      : _kind(Kind::object), _pointer(object.object()) {}  // NOLINT
  template <class T>
  HxArgument(const Ref<T>& object) noexcept  // NOLINT
      : _kind(Kind::object), _pointer(static_cast<const HxObject*>(object.get())) {}
  HxArgument(const HxObject& object) noexcept : _kind(Kind::object), _pointer(&object) {}  // NOLINT

  constexpr Kind kind() const noexcept { return _kind; }
  // Bytes of the integer type, for conversions to unsigned and hexadecimal form.
  constexpr unsigned size() const noexcept { return _size; }
  // The value as each kind; 0 or null when the argument is of another kind. A real is cut to an
  // integer (saturating, NaN is 0).
  std::int64_t asInteger() const noexcept;
  std::uint64_t asUnsigned() const noexcept;  // only as many bits as the argument's type has
  double asReal() const noexcept;
  const char* asCString() const noexcept { return _kind == Kind::cString ? _text : nullptr; }
  const void* asPointer() const noexcept;
  const HxObject* asObject() const noexcept {
    return _kind == Kind::object ? static_cast<const HxObject*>(_pointer) : nullptr;
  }

 private:
  Kind _kind;
  std::uint8_t _size = 8;
  union {
    std::uint64_t _bits;
    double _real;
    const char* _text;
    const void* _pointer;
  };
};

// A view of the arguments of one call. It lives no longer than that call.
class HxArguments {
 public:
  constexpr HxArguments() noexcept = default;
  constexpr HxArguments(const HxArgument* first, HxUInteger count) noexcept
      : _first(first), _count(count) {}
  constexpr HxUInteger count() const noexcept { return _count; }
  constexpr const HxArgument& operator[](HxUInteger index) const noexcept { return _first[index]; }
  constexpr const HxArgument* begin() const noexcept { return _first; }
  constexpr const HxArgument* end() const noexcept { return _first + _count; }

 private:
  const HxArgument* _first = nullptr;
  HxUInteger _count = 0;
};

// The arguments themselves, on the stack of the caller.
template <std::size_t N>
class HxArgumentArray {
 public:
  template <class... T>
  constexpr explicit HxArgumentArray(const T&... values) noexcept
      : _arguments{HxArgument(values)...} {}
  constexpr operator HxArguments() const noexcept {
    return {_arguments, N};
  }  // NOLINT: is its own view

 private:
  HxArgument _arguments[N == 0 ? 1 : N];
};
template <class... T>
constexpr HxArgumentArray<sizeof...(T)> HxArgumentPack(const T&... values) noexcept {
  return HxArgumentArray<sizeof...(T)>(values...);
}

}  // namespace rondel
