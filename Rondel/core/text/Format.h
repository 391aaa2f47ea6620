// SPDX-License-Identifier: MIT
//
// Format strings and their arguments.
//
// A format is text with conversions of the C printf family and two additions: %@ prints the
// description of an object and %C one UTF-16 code unit.
//
//   HxString::stringWithFormat("%@ took %.2f s, %3u%%"_hx, name, seconds, percent);
//
// A conversion is % [position $] [flags] [width] [. precision] [length] letter. Flags (- + blank #
// 0), width, precision and '*' mean what they mean in C, and the text is what printf prints in the
// "C" locale, whatever the locale is. The flag ' groups nothing. Positions (%2$@, %*3$d) count
// from 1.
//
//   Letter       Takes                     Prints
//   d i          an integer                its value in decimal
//   u x X o      an integer                its bits as an unsigned number, as many as its type has
//   a A e E      a real or an integer      as C does
//   f F g G
//   c            an integer                its low 8 bits as one ISO 8859-1 character
//   C            an integer                its low 16 bits as one UTF-16 code unit
//   s S @        an object                 its description, which for a string is its text
//                a C string, a             its text, read as UTF-8; a byte that is none is U+FFFD
//                std::string or a
//                std::string_view
//   p            any but a real            an address, or the integer, in hexadecimal with 0x
//   %            nothing                   a percent sign
//   n            anything                  nothing; nothing is written to it either
//
// The lengths l ll q z t j L are read and not needed, since every argument brings its type; an
// argument smaller than int becomes int. The lengths h and hh cut an integer as in C; with c and
// s, l changes nothing but %lc, which is %C. Width and precision of text count units; a surrogate
// pair that the precision would cut is left out, and no more of a C string is read than is needed.
//
// Arguments are type-safe. A conversion whose argument is of a kind not in its row prints it in its
// own natural form, padded to the width: integers in decimal, reals as the shortest text that reads
// back the same, text and objects as %@, pointers as %p. A missing argument is 0 for
// numbers, nil for text and pointers, and nothing for characters. Extra arguments are
// ignored. A nil object and a null C string print "(null)", a null pointer "(nil)". What is no
// conversion (an unknown letter, an end too early) is printed as it is. Nothing is ever read out of
// bounds.
//
// Width, and the precision of numbers, are at most 65535; greater ones are cut to that.
//
// Threads: all of this may be used on any thread.
#pragma once

#include <string_view>
#include <type_traits>

#include "Rondel/core/object/Object.h"

namespace rondel {

// One argument of a format, with its type. Holds views: it must not outlive the call that it was
// made for.
class RONDEL_EXPORT HxArgument {
 public:
  enum class Kind : std::uint8_t { signedInteger, unsignedInteger, real, cString, pointer, object };

  constexpr HxArgument() noexcept : HxArgument(0) {}
  template <class T>
  requires std::is_integral_v<T>
  constexpr HxArgument(T value) noexcept  // NOLINT: arguments convert
      : _kind(std::is_signed_v<T> ? Kind::signedInteger : Kind::unsignedInteger),
        _size(sizeof(T) < sizeof(int) ? sizeof(int) : sizeof(T)),
        _bits(static_cast<std::uint64_t>(value)) {}
  template <class T>
  requires std::is_enum_v<T>
  constexpr HxArgument(T value) noexcept
      : HxArgument(static_cast<std::underlying_type_t<T>>(value)) {}                      // NOLINT
  constexpr HxArgument(double value) noexcept : _kind(Kind::real), _real(value) {}        // NOLINT
  constexpr HxArgument(float value) noexcept : HxArgument(static_cast<double>(value)) {}  // NOLINT
  constexpr HxArgument(long double value) noexcept
      : HxArgument(static_cast<double>(value)) {}                                         // NOLINT
  constexpr HxArgument(const char* text) noexcept : _kind(Kind::cString), _text(text) {}  // NOLINT
  constexpr HxArgument(char* text) noexcept
      : HxArgument(static_cast<const char*>(text)) {}  // NOLINT
  // Also a std::string. The text may hold NULs, which are printed.
  constexpr HxArgument(std::string_view text) noexcept  // NOLINT
      : _kind(Kind::cString), _length(text.size()), _text(text.data() ? text.data() : "") {}
  constexpr HxArgument(const void* pointer) noexcept
      : _kind(Kind::pointer), _pointer(pointer) {}  // NOLINT
  constexpr HxArgument(std::nullptr_t) noexcept
      : _kind(Kind::object), _pointer(nullptr) {}  // NOLINT
  HxArgument(const HxHandle& object) noexcept
      : _kind(Kind::object), _pointer(object.object()) {}  // NOLINT
  template <class T>
  HxArgument(const Ref<T>& object) noexcept  // NOLINT
      : _kind(Kind::object), _pointer(static_cast<const HxObject*>(object.get())) {}
  HxArgument(const HxObject* object) noexcept : _kind(Kind::object), _pointer(object) {}   // NOLINT
  HxArgument(const HxObject& object) noexcept : _kind(Kind::object), _pointer(&object) {}  // NOLINT

  constexpr Kind kind() const noexcept { return _kind; }
  // Returns the bytes of the integer type, at least those of int; for conversions to unsigned.
  constexpr unsigned size() const noexcept { return _size; }
  // Return the value as each kind; 0 or null if the argument is of another kind. A real is cut to
  // an integer (saturating, NaN is 0).
  std::int64_t asInteger() const noexcept;
  std::uint64_t asUnsigned() const noexcept;  // only as many bits as the argument's type has
  double asReal() const noexcept;
  // NUL-terminated if textLength is HxNotFound.
  const char* asCString() const noexcept { return _kind == Kind::cString ? _text : nullptr; }
  // Returns the bytes of a text that came with its length, else HxNotFound.
  HxUInteger textLength() const noexcept { return _length; }
  const void* asPointer() const noexcept;
  const HxObject* asObject() const noexcept {
    return _kind == Kind::object ? static_cast<const HxObject*>(_pointer) : nullptr;
  }

 private:
  Kind _kind;
  std::uint8_t _size = 8;
  HxUInteger _length = HxNotFound;
  union {
    std::uint64_t _bits;
    double _real;
    const char* _text;
    const void* _pointer;
  };
};

// A view of the arguments of one call. It must not outlive that call.
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
