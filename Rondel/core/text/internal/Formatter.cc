// SPDX-License-Identifier: MIT
//
// Writes one piece of a format at a time: text as it is, and a conversion by its family. A
// conversion first becomes a field, with its width and precision known, taken from the arguments if
// the format says so. The family then writes its characters, and the field puts blanks or zeros
// around them.
//
//   "%-*d|" with 5 and 42    piece   %-*d      width from argument 1: 5; left
//                            field   width 5, left; argument 2: "42"
//                            writes  "42" and three blanks
//                            piece   "|"       writes "|"
#include "Rondel/core/text/internal/Formatter.h"

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

namespace {

using Kind = HxArgument::Kind;

constexpr HxUInteger kNoPrecision = ~HxUInteger{0};

// A conversion with its width and precision known.
struct Field {
  HxUInteger width = 0;
  HxUInteger precision = kNoPrecision;
  bool isLeft = false;
  bool hasPlus = false;
  bool hasBlank = false;
  bool isAlternate = false;
  bool hasZero = false;
};

// While it lives, this thread formats numbers as the "C" locale does.
class NeutralLocale {
 public:
  NeutralLocale() noexcept : _former(uselocale(neutral())) {}
  NeutralLocale(const NeutralLocale&) = delete;
  NeutralLocale& operator=(const NeutralLocale&) = delete;
  ~NeutralLocale() { uselocale(_former); }

 private:
  static locale_t neutral() noexcept {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }
  const locale_t _former;
};

class Formatter {
 public:
  Formatter(FormatSink& sink, HxArguments arguments) noexcept
      : _sink(sink), _arguments(arguments) {}

  template <class Unit>
  void run(const Unit* format, HxUInteger length);

 private:
  // Returns the argument at a position from 1 on, or the next one; null if there is none.
  const HxArgument* take(HxUInteger position) noexcept;
  Field resolve(const FormatConversion& conversion) noexcept;
  void convert(const FormatConversion& conversion);

  void putInteger(const Field& field, const HxArgument& argument, const FormatConversion& how);
  void putUnsigned(const Field& field, std::uint64_t bits, FormatLetter letter);
  void putReal(const Field& field, double value, char letter);
  void printReal(const Field& field, double value, char letter);
  void putCharacter(const Field& field, const HxArgument* argument, HxUniChar mask);
  void putText(const Field& field, const HxArgument* argument);
  void putPointer(const Field& field, const HxArgument* argument);
  void putNaturally(Field field, const HxArgument& argument);

  void putNumber(const Field& field, const char* prefix, const char* digits, HxUInteger count);
  void putRun(const Field& field, FormatRun run);
  void putObject(const Field& field, const HxObject* object);
  void putString(const Field& field, const HxStringObject* string);
  void putCString(const Field& field, const HxArgument& argument);

  FormatSink& _sink;
  const HxArguments _arguments;
  HxUInteger _next = 0;
};

template <class Unit>
void Formatter::run(const Unit* format, HxUInteger length) {
  FormatParser<Unit> parser(format, length);
  typename FormatParser<Unit>::Piece piece;
  while (parser.next(piece)) {
    if (piece.length > 0) {
      _sink.append(piece.text, piece.length);
    } else {
      convert(piece.conversion);
    }
  }
}

const HxArgument* Formatter::take(HxUInteger position) noexcept {
  const HxUInteger index = position > 0 ? position - 1 : _next++;
  return index < _arguments.count() ? &_arguments[index] : nullptr;
}

Field Formatter::resolve(const FormatConversion& conversion) noexcept {
  Field field{.isLeft = conversion.isLeft,
              .hasPlus = conversion.hasPlus,
              .hasBlank = conversion.hasBlank,
              .isAlternate = conversion.isAlternate,
              .hasZero = conversion.hasZero};
  const auto valueOf = [this](FormatCount count) {
    if (count.source == FormatCount::Source::number) return static_cast<std::int64_t>(count.value);
    const HxArgument* argument = take(count.value);
    return argument ? argument->asInteger() : 0;
  };
  if (conversion.width.source != FormatCount::Source::absent) {
    const std::int64_t width = valueOf(conversion.width);
    const auto magnitude = static_cast<std::uint64_t>(width);
    if (width < 0) field.isLeft = true;
    field.width = std::min(width < 0 ? 0 - magnitude : magnitude, kGreatestFormatWidth);
  }
  if (conversion.precision.source != FormatCount::Source::absent) {
    const std::int64_t precision = valueOf(conversion.precision);
    if (precision >= 0) field.precision = static_cast<HxUInteger>(precision);
  }
  return field;
}

bool isInteger(const HxArgument& argument) {
  return argument.kind() == Kind::signedInteger || argument.kind() == Kind::unsignedInteger;
}

void Formatter::convert(const FormatConversion& conversion) {
  const FormatLetter letter = conversion.letter;
  if (letter.family == FormatFamily::percent) return _sink.append("%", 1);
  const Field field = resolve(conversion);
  const HxArgument* const argument = take(conversion.position);
  const HxArgument number = argument ? *argument : HxArgument(0);
  switch (letter.family) {
    case FormatFamily::signedInteger:
    case FormatFamily::unsignedInteger:
      return isInteger(number) ? putInteger(field, number, conversion)
                               : putNaturally(field, number);
    case FormatFamily::real:
      return isInteger(number) || number.kind() == Kind::real
                 ? putReal(field, number.asReal(), letter.letter)
                 : putNaturally(field, number);
    case FormatFamily::byteCharacter:
      return putCharacter(field, argument, 0xFF);
    case FormatFamily::unitCharacter:
      return putCharacter(field, argument, 0xFFFF);
    case FormatFamily::text:
      return putText(field, argument);
    case FormatFamily::pointer:
      return putPointer(field, argument);
    case FormatFamily::none:
    case FormatFamily::nothing:
    case FormatFamily::percent:
      return;
  }
}

// ---- Numbers ------------------------------------------------------------------------------------

void raiseCase(char* first, const char* last) {
  for (; first < last; ++first) {
    if (*first >= 'a' && *first <= 'z') *first = static_cast<char>(*first - 'a' + 'A');
  }
}

const char* signOf(const Field& field, bool isNegative) {
  return isNegative ? "-" : field.hasPlus ? "+" : field.hasBlank ? " " : "";
}

// A length cuts the value first, as the conversion to a shorter type does in C.
template <class Short, class Long>
std::uint64_t cutTo(Long value) {
  return static_cast<std::uint64_t>(static_cast<Short>(value));
}

void Formatter::putInteger(const Field& field, const HxArgument& argument,
                           const FormatConversion& how) {
  if (how.letter.family == FormatFamily::unsignedInteger) {
    std::uint64_t bits = argument.asUnsigned();
    if (how.integerSize == 1) bits = cutTo<std::uint8_t>(bits);
    if (how.integerSize == 2) bits = cutTo<std::uint16_t>(bits);
    return putUnsigned(field, bits, how.letter);
  }
  std::uint64_t bits = static_cast<std::uint64_t>(argument.asInteger());
  if (how.integerSize == 1) bits = cutTo<std::int8_t>(bits);
  if (how.integerSize == 2) bits = cutTo<std::int16_t>(bits);
  const bool isSigned = argument.kind() == Kind::signedInteger || how.integerSize > 0;
  const bool isNegative = isSigned && static_cast<std::int64_t>(bits) < 0;
  char digits[20];
  const auto end = std::to_chars(digits, std::end(digits), isNegative ? 0 - bits : bits).ptr;
  putNumber(field, signOf(field, isNegative), digits, static_cast<HxUInteger>(end - digits));
}

void Formatter::putUnsigned(const Field& field, std::uint64_t bits, FormatLetter letter) {
  char buffer[24] = {'0'};
  char* const digits = buffer + 1;
  char* const end = std::to_chars(digits, std::end(buffer), bits, letter.base).ptr;
  if (letter.letter == 'X') raiseCase(digits, end);
  const auto count = static_cast<HxUInteger>(end - digits);
  const bool isAlternate = field.isAlternate && (bits != 0 || field.precision == 0);
  if (letter.base == 8 && isAlternate) {
    // The first digit must be a zero, by the precision or by one that is added.
    const bool hasZero = bits == 0 || (field.precision != kNoPrecision && field.precision > count);
    Field full = field;
    if (bits == 0) full.precision = 1;
    return hasZero ? putNumber(full, "", digits, count) : putNumber(full, "", buffer, count + 1);
  }
  const bool hasPrefix = letter.base == 16 && isAlternate && bits != 0;
  putNumber(field, !hasPrefix ? "" : letter.letter == 'X' ? "0X" : "0x", digits, count);
}

// Blanks, prefix, zeros and digits of an integer, or digits and blanks. 0 with a precision of 0 has
// no digits.
void Formatter::putNumber(const Field& field, const char* prefix, const char* digits,
                          HxUInteger count) {
  if (field.width == 0 && field.precision == kNoPrecision) {
    _sink.append(prefix, std::strlen(prefix));
    return _sink.append(digits, count);
  }
  if (field.precision == 0 && count == 1 && *digits == '0') count = 0;
  const HxUInteger prefixLength = std::strlen(prefix);
  const bool hasPrecision = field.precision != kNoPrecision;
  const HxUInteger least = hasPrecision ? std::min(field.precision, kGreatestFormatWidth)
                           : field.hasZero && !field.isLeft
                               ? std::max(field.width, prefixLength) - prefixLength
                               : 0;
  const HxUInteger zeros = std::max(least, count) - count;
  const HxUInteger length = prefixLength + zeros + count;
  const HxUInteger blanks = std::max(field.width, length) - length;
  if (!field.isLeft) _sink.fill(' ', blanks);
  _sink.append(prefix, prefixLength);
  _sink.fill('0', zeros);
  _sink.append(digits, count);
  if (field.isLeft) _sink.fill(' ', blanks);
}

std::chars_format formatOf(char lowerLetter) {
  switch (lowerLetter) {
    case 'e':
      return std::chars_format::scientific;
    case 'f':
      return std::chars_format::fixed;
    default:
      return std::chars_format::general;
  }
}

// The standard's own conversion knows neither the flag # nor the 0x of %a, and here it has a buffer
// that is too short for the longest numbers: those go to the C library.
void Formatter::putReal(const Field& field, double value, char letter) {
  const bool isUpper = letter >= 'A' && letter <= 'Z';
  const char lower = isUpper ? static_cast<char>(letter - 'A' + 'a') : letter;
  if (field.isAlternate || lower == 'a') return printReal(field, value, letter);
  char digits[128];
  const auto precision = field.precision == kNoPrecision
                             ? 6
                             : static_cast<int>(std::min(field.precision, kGreatestFormatWidth));
  const auto [end, error] =
      std::to_chars(digits, std::end(digits), std::fabs(value), formatOf(lower), precision);
  if (error != std::errc()) return printReal(field, value, letter);
  if (isUpper) raiseCase(digits, end);
  Field plain = field;
  plain.precision = kNoPrecision;
  plain.hasZero = field.hasZero && std::isfinite(value);
  putNumber(plain, signOf(field, std::signbit(value)), digits,
            static_cast<HxUInteger>(end - digits));
}

void Formatter::printReal(const Field& field, double value, char letter) {
  char how[12];
  char* end = how;
  *end++ = '%';
  if (field.isLeft) *end++ = '-';
  if (field.hasPlus) *end++ = '+';
  if (field.hasBlank) *end++ = ' ';
  if (field.isAlternate) *end++ = '#';
  if (field.hasZero) *end++ = '0';
  for (const char c : {'*', '.', '*', letter, '\0'}) *end++ = c;

  const int width = static_cast<int>(field.width);
  const int precision = field.precision == kNoPrecision
                            ? -1
                            : static_cast<int>(std::min(field.precision, kGreatestFormatWidth));
  const NeutralLocale neutral;
  char buffer[400];
  const int length = std::snprintf(buffer, sizeof buffer, how, width, precision, value);
  if (length < 0) return;
  const auto count = static_cast<HxUInteger>(length);
  if (count < sizeof buffer) return _sink.append(buffer, count);
  const auto block = std::make_unique<char[]>(count + 1);
  std::snprintf(block.get(), count + 1, how, width, precision, value);
  _sink.append(block.get(), count);
}

// ---- Text ---------------------------------------------------------------------------------------

void Formatter::putRun(const Field& field, FormatRun run) {
  if (run.length > field.precision) {
    run.length = field.precision;
    const bool cutsPair = run.wide && run.length > 0 &&
                          isSurrogatePair(run.wide[run.length - 1], run.wide[run.length]);
    if (cutsPair) --run.length;
  }
  const HxUInteger blanks = std::max(field.width, run.length) - run.length;
  if (!field.isLeft) _sink.fill(' ', blanks);
  _sink.append(run);
  if (field.isLeft) _sink.fill(' ', blanks);
}

void Formatter::putObject(const Field& field, const HxObject* object) {
  if (!object) return putRun(field, {"(null)", nullptr, 6});
  if (object->typeID() != HcStringGetTypeID()) {
    const HxString text = object->description();
    return putString(field, static_cast<const HxStringObject*>(text.object()));
  }
  putString(field, static_cast<const HxStringObject*>(object));
}

void Formatter::putString(const Field& field, const HxStringObject* string) {
  const Characters characters(string);
  putRun(field, {characters.narrow(), characters.wide(), characters.length()});
}

void Formatter::putCString(const Field& field, const HxArgument& argument) {
  const char* const text = argument.asCString();
  if (!text) return putRun(field, {"(null)", nullptr, 6});
  const HxUInteger length = argument.textLength();
  const HxUInteger bytes =
      length == HxNotFound ? strnlen(text, field.precision) : std::min(length, field.precision);
  if (isASCII(text, bytes)) return putRun(field, {text, nullptr, bytes});
  FormatSink decoded;
  appendUTF8(decoded, text, length, field.precision);
  putRun(field, decoded.run());
}

void Formatter::putText(const Field& field, const HxArgument* argument) {
  if (!argument) return putObject(field, nullptr);
  switch (argument->kind()) {
    case Kind::object:
      return putObject(field, argument->asObject());
    case Kind::cString:
      return putCString(field, *argument);
    case Kind::signedInteger:
    case Kind::unsignedInteger:
    case Kind::real:
    case Kind::pointer:
      return putNaturally(field, *argument);
  }
}

void Formatter::putCharacter(const Field& field, const HxArgument* argument, HxUniChar mask) {
  if (argument && !isInteger(*argument)) return putNaturally(field, *argument);
  const HxUniChar unit = argument ? static_cast<HxUniChar>(argument->asUnsigned() & mask) : u'\0';
  putRun({.width = field.width, .isLeft = field.isLeft}, {nullptr, &unit, argument ? 1U : 0U});
}

void Formatter::putPointer(const Field& field, const HxArgument* argument) {
  if (argument && argument->kind() == Kind::real) return putNaturally(field, *argument);
  const std::uint64_t address =
      !argument ? 0
      : isInteger(*argument)
          ? argument->asUnsigned()
          : static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(argument->asPointer()));
  if (address == 0) {
    return putRun({.width = field.width, .isLeft = field.isLeft}, {"(nil)", nullptr, 5});
  }
  Field hexadecimal = field;
  hexadecimal.isAlternate = true;
  putUnsigned(hexadecimal, address, formatLetter(u'x'));
}

// Writes an argument in its natural form, for a conversion of another kind.
void Formatter::putNaturally(Field field, const HxArgument& argument) {
  field = {.width = field.width, .isLeft = field.isLeft};
  char digits[32];
  const auto put = [&](auto value) {
    const char* end = std::to_chars(digits, std::end(digits), value).ptr;
    putRun(field, {digits, nullptr, static_cast<HxUInteger>(end - digits)});
  };
  switch (argument.kind()) {
    case Kind::signedInteger:
      return put(argument.asInteger());
    case Kind::unsignedInteger:
      return put(argument.asUnsigned());
    case Kind::real:
      return put(argument.asReal());
    case Kind::pointer:
      return putPointer(field, &argument);
    case Kind::cString:
    case Kind::object:
      return putText(field, &argument);
  }
}

}  // namespace

void formatTo(FormatSink& sink, const HxString& format, HxArguments arguments) {
  const Characters text(format);
  Formatter formatter(sink, arguments);
  text.visit([&](const auto* units, HxUInteger length) { formatter.run(units, length); });
}

namespace {

// Returns the bytes that may make one sequence: the first, and up to as many continuations after it
// as it needs. A NUL is none.
HxUInteger reachOfSequence(const unsigned char* bytes) noexcept {
  const unsigned char lead = bytes[0];
  const HxUInteger wanted = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  HxUInteger reach = 1;
  while (reach < wanted && (bytes[reach] & 0xC0) == 0x80) ++reach;
  return reach;
}

}  // namespace

void appendUTF8(FormatSink& sink, const char* text, HxUInteger length, HxUInteger limit) {
  const auto* at = reinterpret_cast<const unsigned char*>(text);
  const auto* const end = length == HxNotFound ? nullptr : at + length;
  while (limit > 0 && (end ? at < end : *at != 0)) {
    const auto reach = end ? static_cast<HxUInteger>(end - at) : reachOfSequence(at);
    const UTF8Sequence sequence = readUTF8Sequence(at, reach);
    HxUniChar units[2] = {0xFFFD};
    HxUInteger count = 1;
    if (sequence.length > 0) count = splitIntoUnits(sequence.value, units);
    if (count > limit) return;
    sink.append(units, count);
    limit -= count;
    at += std::max<HxUInteger>(sequence.length, 1);
  }
}

}  // namespace rondel::internal
