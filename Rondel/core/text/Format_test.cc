// SPDX-License-Identifier: MIT
#include "Rondel/core/text/Format.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

template <class... Arguments>
std::string formatted(std::string_view format, const Arguments&... arguments) {
  return HxString::stringWithFormat(HxString(format), arguments...).toStdString();
}

template <class... Arguments>
std::string printed(const char* format, const Arguments&... arguments) {
  std::string text(70000, '\0');
  const int length = std::snprintf(text.data(), text.size(), format, arguments...);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// An object that tells what it is told to tell.
class Speaker final : public HxObject {
 public:
  explicit Speaker(HxString text) : _text(std::move(text)) {}
  HxString description() const override {
    if (!_text) throw std::runtime_error("no text");
    return _text;
  }

 private:
  HxString _text;
};

// A string of a class of its own.
class Repeated final : public HxStringObject {
 public:
  Repeated(HxUniChar unit, HxUInteger count) : _unit(unit), _count(count) {}
  HxUInteger length() const override { return _count; }
  HxUniChar characterAtIndex(HxUInteger) const override { return _unit; }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = _unit;
  }

 private:
  HxUniChar _unit;
  HxUInteger _count;
};

// ---- Against the C library ----------------------------------------------------------------------

class FormatAgainstPrintf : public ::testing::Test {
 protected:
  static constexpr int kRounds = 4000;

  unsigned below(unsigned limit) { return static_cast<unsigned>(_random() % limit); }

  // Flags, width and precision by chance: "%-+08.3".
  std::string start() {
    std::string text = "%";
    for (const char flag : {'-', '+', ' ', '#', '0'}) {
      if (below(4) == 0) text += flag;
    }
    if (below(2) == 0) text += std::to_string(below(40));
    if (below(2) == 0) text += "." + (below(5) == 0 ? "" : std::to_string(below(30)));
    return text;
  }

  // Small, great and middling values alike.
  template <class Integer>
  Integer integer() {
    const auto bits = _random() >> below(64);
    return static_cast<Integer>(below(2) == 0 ? bits : 0 - bits);
  }

  double real() {
    switch (below(8)) {
      case 0:
        return static_cast<double>(integer<int>());
      case 1:
        return std::ldexp(static_cast<double>(integer<int>()), -static_cast<int>(below(30)));
      case 2: {
        constexpr double kSpecial[] = {
            0.0, -0.0,    INFINITY, -INFINITY,
            NAN, DBL_MAX, DBL_MIN,  std::numeric_limits<double>::denorm_min()};
        return kSpecial[below(std::size(kSpecial))];
      }
      default: {
        const std::uint64_t bits = _random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
      }
    }
  }

  template <class Integer>
  void compareIntegers(const char* length, const char* letters) {
    for (int i = 0; i < kRounds; ++i) {
      const std::string format =
          start() + length +
          letters[below(static_cast<unsigned>(std::char_traits<char>::length(letters)))];
      const Integer value = integer<Integer>();
      ASSERT_EQ(formatted(format, value), printed(format.c_str(), value)) << format;
    }
  }

 private:
  std::mt19937_64 _random{20261121};
};

TEST_F(FormatAgainstPrintf, SignedIntegersOfEveryLength) {
  compareIntegers<int>("", "di");
  compareIntegers<long>("l", "di");
  compareIntegers<long long>("ll", "di");
  compareIntegers<long long>("q", "di");
  compareIntegers<std::ptrdiff_t>("t", "di");
  compareIntegers<std::intmax_t>("j", "di");
}

TEST_F(FormatAgainstPrintf, UnsignedIntegersOfEveryLength) {
  compareIntegers<unsigned>("", "uxXo");
  compareIntegers<unsigned long>("l", "uxXo");
  compareIntegers<unsigned long long>("ll", "uxXo");
  compareIntegers<std::size_t>("z", "uxXo");
  compareIntegers<std::uintmax_t>("j", "uxXo");
}

TEST_F(FormatAgainstPrintf, NegativeIntegersAsUnsignedOnes) {
  compareIntegers<int>("", "uxXo");
  compareIntegers<long>("l", "uxXo");
}

TEST_F(FormatAgainstPrintf, ShortLengthsCutIntegers) {
  compareIntegers<int>("h", "diuxXo");
  compareIntegers<int>("hh", "diuxXo");
}

TEST_F(FormatAgainstPrintf, ArgumentsSmallerThanIntCountAsInt) {
  compareIntegers<signed char>("", "diuxXo");
  compareIntegers<short>("", "diuxXo");
  compareIntegers<unsigned char>("", "diuxXo");
  compareIntegers<unsigned short>("", "diuxXo");
}

TEST_F(FormatAgainstPrintf, Reals) {
  for (int i = 0; i < 4 * kRounds; ++i) {
    const std::string format = start() + "aAeEfFgG"[below(8)];
    const double value = real();
    ASSERT_EQ(formatted(format, value), printed(format.c_str(), value)) << format;
  }
}

TEST_F(FormatAgainstPrintf, WidthAndPrecisionFromArguments) {
  for (int i = 0; i < kRounds; ++i) {
    const int width = static_cast<int>(below(60)) - 30;
    const int precision = static_cast<int>(below(60)) - 30;
    const int value = integer<int>();
    ASSERT_EQ(formatted("%*.*d|%-0*x", width, precision, value, width, value),
              printed("%*.*d|%-0*x", width, precision, value, width, value));
    ASSERT_EQ(formatted("%*.*e", width, precision, value / 7.0),
              printed("%*.*e", width, precision, value / 7.0));
    ASSERT_EQ(formatted("%*.*s", width, precision, "a few words"),
              printed("%*.*s", width, precision, "a few words"));
  }
}

TEST_F(FormatAgainstPrintf, Pointers) {
  const void* const some = this;
  const void* const none = nullptr;
  for (const char* format : {"%p", "%30p", "%-30p|", "%.20p"}) {
    EXPECT_EQ(formatted(format, some), printed(format, some)) << format;
    EXPECT_EQ(formatted(format, none), printed(format, none)) << format;
  }
}

TEST_F(FormatAgainstPrintf, TheGreatestAndTheSmallestValues) {
  EXPECT_EQ(formatted("%ld %ld", LONG_MIN, LONG_MAX), printed("%ld %ld", LONG_MIN, LONG_MAX));
  EXPECT_EQ(formatted("%lo %lx", ULONG_MAX, ULONG_MAX), printed("%lo %lx", ULONG_MAX, ULONG_MAX));
  EXPECT_EQ(formatted("%f", DBL_MAX), printed("%f", DBL_MAX));
  EXPECT_EQ(formatted("%.2000f", DBL_MIN), printed("%.2000f", DBL_MIN));
}

// ---- Text ---------------------------------------------------------------------------------------

struct TextCase {
  const char* format;
  const char* text;
  const char* expected;
};

// The same for a C string, an object, and a string of a class of one's own would be too easy: the
// pair of surrogates and the two-byte letters show that units are counted and not bytes.
TEST(FormatText, WidthAndPrecisionCountUnits) {
  const TextCase cases[] = {
      {"[%s]", "text", "[text]"},
      {"[%6s]", "text", "[  text]"},
      {"[%-6s]", "text", "[text  ]"},
      {"[%.2s]", "text", "[te]"},
      {"[%.0s]", "text", "[]"},
      {"[%.s]", "text", "[]"},
      {"[%6.2s]", "text", "[    te]"},
      {"[%2s]", "text", "[text]"},
      {"[%5s]", "größe", "[größe]"},
      {"[%6s]", "größe", "[ größe]"},
      {"[%.3s]", "größe", "[grö]"},
      {"[%4s]", "😀", "[  😀]"},
      {"[%.1s]", "😀", "[]"},
      {"[%.2s]", "a😀", "[a]"},
      {"[%.3s]", "a😀b", "[a😀]"},
      {"[%-4.2s]", "a😀b", "[a   ]"},
      {"[%s]", "", "[]"},
      {"[%3s]", "", "[   ]"},
  };
  for (const TextCase& c : cases) {
    EXPECT_EQ(formatted(c.format, c.text), c.expected) << c.format << " of a C string";
    EXPECT_EQ(formatted(c.format, HxString(std::string_view(c.text))), c.expected)
        << c.format << " of a string";
    std::string forObjects = c.format;
    forObjects.replace(forObjects.find('s'), 1, "@");
    EXPECT_EQ(formatted(forObjects, makeRef<Speaker>(HxString(std::string_view(c.text)))),
              c.expected)
        << c.format << " of an object";
  }
}

TEST(FormatText, AnObjectPrintsItsDescription) {
  EXPECT_EQ(formatted("<%@>", makeRef<Speaker>("said"_hx)), "<said>");
  const Ref<Speaker> speaker = makeRef<Speaker>("said"_hx);
  EXPECT_EQ(formatted("<%@>", *speaker), "<said>");
  EXPECT_EQ(formatted("<%@>", speaker.get()), "<said>");
  EXPECT_EQ(formatted("<%@>", HxAny(speaker)), "<said>");
}

TEST(FormatText, StringsOfAnyClassPrintTheirText) {
  EXPECT_EQ(formatted("%@", HxString(makeRef<Repeated>(u'x', 3U))), "xxx");
  EXPECT_EQ(formatted("%@", HxString(makeRef<Repeated>(u'ß', 2U))), "ßß");
  EXPECT_EQ(HxString::stringWithFormat(HxString(makeRef<Repeated>(u'%', 600U))).length(), 300U);
}

TEST(FormatText, NilAndNullPrintAsNull) {
  EXPECT_EQ(
      formatted("%@ %s %s %@", HxString(), static_cast<const char*>(nullptr), HxAny(), nullptr),
      "(null) (null) (null) (null)");
  EXPECT_EQ(formatted("[%8@] [%.2@]", HxString(), HxString()), "[  (null)] [(n]");
}

TEST(FormatText, MalformedUTF8PrintsReplacementCharacters) {
  EXPECT_EQ(formatted("%s", "a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(formatted("%s", "\xC3"), "\uFFFD");                      // truncated
  EXPECT_EQ(formatted("%s", "\xE2\x82"), "\uFFFD\uFFFD");            // truncated
  EXPECT_EQ(formatted("%s", "\xC0\xAF"), "\uFFFD\uFFFD");            // overlong
  EXPECT_EQ(formatted("%s", "\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");  // a surrogate
  EXPECT_EQ(formatted("%4s|", "\x80"), "   \uFFFD|");
}

// The end of the buffer is the end of what may be read; the address sanitizer watches.
TEST(FormatText, PrecisionBoundsWhatIsReadOfACString) {
  const auto unterminated = std::make_unique<char[]>(3);
  std::memcpy(unterminated.get(), "abc", 3);
  EXPECT_EQ(formatted("%.3s", static_cast<const char*>(unterminated.get())), "abc");
  std::memcpy(unterminated.get(), "a\xC3\xA4", 3);
  EXPECT_EQ(formatted("%.2s", static_cast<const char*>(unterminated.get())), "aä");
}

TEST(FormatText, StandardStringsAreText) {
  const std::string text = "größer";
  EXPECT_EQ(formatted("%@|%s", text, text), "größer|größer");
  EXPECT_EQ(formatted("%@|%s", std::string_view(text).substr(0, 2), std::string("b")), "gr|b");
  EXPECT_EQ(formatted("%9@|%-9s|%.3s", text, text, text), "   größer|größer   |grö");
  EXPECT_EQ(formatted("%s|%@|%d", std::string_view(), std::string(), text), "||größer");
}

TEST(FormatText, StandardStringsKeepTheirNULsAndEndWhereTheyEnd) {
  EXPECT_EQ(formatted("%@", std::string_view("a\0b", 3)), std::string("a\0b", 3));
  const auto unterminated = std::make_unique<char[]>(3);
  std::memcpy(unterminated.get(), "a\xC3\xA4", 3);
  EXPECT_EQ(formatted("%s", std::string_view(unterminated.get(), 3)), "aä");
  EXPECT_EQ(formatted("%s", std::string_view(unterminated.get(), 2)), "a\uFFFD");
}

TEST(FormatText, TextOutsideASCIIInFormatAndArguments) {
  EXPECT_EQ(formatted("größe %d µ %@", 3, "😀"_hx), "größe 3 µ 😀");
  const HxString text = HxString::stringWithFormat("%@ %@"_hx, "ä"_hx, 1.5);
  EXPECT_EQ(text, "ä 1.5"_hx);
}

TEST(FormatText, AnExceptionOfADescriptionPassesThrough) {
  EXPECT_THROW(formatted("before %@", makeRef<Speaker>(HxString())), std::runtime_error);
  HxMutableString text = HxMutableString::stringWithString("kept"_hx);
  EXPECT_THROW(text.appendFormat("before %@"_hx, makeRef<Speaker>(HxString())), std::runtime_error);
  EXPECT_EQ(text, "kept"_hx);
}

// ---- Characters ---------------------------------------------------------------------------------

TEST(FormatCharacter, OneUnitOrOneByte) {
  EXPECT_EQ(formatted("%c%C", 'a', u'b'), "ab");
  EXPECT_EQ(formatted("%C", u'\u20AC'), "€");
  EXPECT_EQ(formatted("%lc", u'\u20AC'), "€");
  EXPECT_EQ(formatted("%C%C", u'\xD83D', u'\xDE00'), "😀");
  EXPECT_EQ(formatted("%c", 0xE4), "ä");
  EXPECT_EQ(formatted("%c", static_cast<char>(0xE4)), "ä");
  EXPECT_EQ(formatted("%c", 0x20AC), "\u00AC");  // the low byte, as in C
  EXPECT_EQ(formatted("[%3c] [%-3c] [%.0c]", 'a', 'b', 'c'), "[  a] [b  ] [c]");
}

TEST(FormatCharacter, NULIsACharacter) {
  const HxString text = HxString::stringWithFormat("a%cb"_hx, 0);
  ASSERT_EQ(text.length(), 3U);
  EXPECT_EQ(text.characterAtIndex(1), 0);
}

// ---- Positions ----------------------------------------------------------------------------------

TEST(FormatPosition, ArgumentsInAnyOrder) {
  EXPECT_EQ(formatted("%2$@ before %1$@", "one"_hx, "two"_hx), "two before one");
  EXPECT_EQ(formatted("%1$d %1$x %1$o", 10), "10 a 12");
  EXPECT_EQ(formatted("%3$*1$.*2$f", 8, 2, 3.14159), "    3.14");
  EXPECT_EQ(formatted("%2$-5d|%1$05d", 1, 2), "2    |00001");
}

TEST(FormatPosition, APositionBeyondTheArgumentsIsAMissingArgument) {
  EXPECT_EQ(formatted("%9$@ %9$d %99999999999999999999$d", 1), "(null) 0 0");
}

// ---- What does not match ------------------------------------------------------------------------

TEST(FormatMismatch, PrintsTheArgumentInItsOwnForm) {
  EXPECT_EQ(formatted("%d", 2.5), "2.5");
  EXPECT_EQ(formatted("%x", 0.1), "0.1");
  EXPECT_EQ(formatted("%c", 1e300), "1e+300");
  EXPECT_EQ(formatted("%s", 42), "42");
  EXPECT_EQ(formatted("%@", -42L), "-42");
  EXPECT_EQ(formatted("%@", 42U), "42");
  EXPECT_EQ(formatted("%@", true), "1");
  EXPECT_EQ(formatted("%d", "text"), "text");
  EXPECT_EQ(formatted("%f", "text"_hx), "text");
  EXPECT_EQ(formatted("%C", "text"_hx), "text");
  EXPECT_EQ(formatted("%@", "text"), "text");
  EXPECT_EQ(formatted("%d", HxString()), "(null)");
  EXPECT_EQ(formatted("%p", 1.5), "1.5");
  EXPECT_EQ(formatted("%p", 255), "0xff");
  const void* const pointer = reinterpret_cast<const void*>(0x1234);
  EXPECT_EQ(formatted("%d %@ %f %c", pointer, pointer, pointer, pointer),
            "0x1234 0x1234 0x1234 0x1234");
}

TEST(FormatMismatch, KeepsTheWidthAndForgetsThePrecision) {
  EXPECT_EQ(formatted("[%6.1d] [%-6.1d]", "text"_hx, 2.25), "[  text] [2.25  ]");
}

TEST(FormatMismatch, RealConversionsTakeIntegers) {
  EXPECT_EQ(formatted("%.2f %g %e", 3, 4U, 5L), "3.00 4 5.000000e+00");
  EXPECT_EQ(formatted("%.0f", std::numeric_limits<std::uint64_t>::max()), "18446744073709551616");
}

TEST(FormatMismatch, LengthsAreNotNeeded) {
  EXPECT_EQ(formatted("%d %u %x", LONG_MIN, ULONG_MAX, ULONG_MAX),
            "-9223372036854775808 18446744073709551615 ffffffffffffffff");
  EXPECT_EQ(formatted("%lld %zx %Lf", 7, static_cast<unsigned char>(8), 1.5F), "7 8 1.500000");
  EXPECT_EQ(formatted("%d", 3000000000U), "3000000000");
  EXPECT_EQ(formatted("%Lf", 1.5L), "1.500000");
}

TEST(FormatMismatch, MissingArgumentsAreZeroNilOrNothing) {
  EXPECT_EQ(formatted("%d %x %.1f %@ %s %p [%c] [%2C]"), "0 0 0.0 (null) (null) (nil) [] [  ]");
  EXPECT_EQ(formatted("%*d"), "0");
}

TEST(FormatMismatch, ExtraArgumentsAreIgnored) {
  EXPECT_EQ(formatted("%d", 1, 2, "three"_hx), "1");
  EXPECT_EQ(formatted("none", 1), "none");
}

TEST(FormatMismatch, NWritesNothingAndTakesItsArgument) {
  int count = 77;
  EXPECT_EQ(formatted("ab%n%d", static_cast<const void*>(&count), 5), "ab5");
  EXPECT_EQ(count, 77);
}

TEST(FormatMismatch, WhatIsNoConversionStands) {
  for (const char* text :
       {"%", "100%", "%5", "%-", "%.", "%1$", "%ll", "%y", "%5.2y", "%!", "a%\u00E9"}) {
    EXPECT_EQ(formatted(text, 1, 2), text);
  }
  EXPECT_EQ(formatted("%y%d", 1), "%y1");
  EXPECT_EQ(formatted("%%d %5% %-%", 1), "%d % %");
  EXPECT_EQ(formatted("%0$d", 1), "%0$d");
}

TEST(FormatMismatch, NULInAFormatStands) {
  const HxString text = HxString::stringWithFormat(HxString(std::string_view("a\0%d%\0", 6)), 1);
  EXPECT_EQ(text, HxString(std::string_view("a\0001%\0", 5)));
}

TEST(FormatMismatch, GroupingFlagGroupsNothing) {
  EXPECT_EQ(formatted("%'d %'.1f", 1234567, 12345.5), "1234567 12345.5");
}

// ---- Limits -------------------------------------------------------------------------------------

TEST(FormatLimit, WidthIsBounded) {
  for (const char* format : {"%65536d", "%2147483648d", "%99999999999999999999d"}) {
    EXPECT_EQ(formatted(format, 1).size(), 65535U) << format;
  }
  EXPECT_EQ(formatted("%*d", INT_MAX, 1).size(), 65535U);
  EXPECT_EQ(formatted("%*d", INT64_MIN, 1).size(), 65535U);
  EXPECT_EQ(formatted("%*s", UINT32_MAX, "a").size(), 65535U);
  EXPECT_EQ(formatted("%*f", INT_MAX, 1.0).size(), 65535U);
  EXPECT_EQ(formatted("%*@", 1e300, "a"_hx).size(), 65535U);
}

TEST(FormatLimit, PrecisionOfNumbersIsBounded) {
  EXPECT_EQ(formatted("%.2147483648d", 1).size(), 65535U);
  EXPECT_EQ(formatted("%.*f", INT_MAX, 1.0).size(), 65537U);
}

TEST(FormatLimit, PrecisionOfTextIsNot) {
  const HxString text(makeRef<Repeated>(u'x', 100000U));
  EXPECT_EQ(HxString::stringWithFormat("%.99999@"_hx, text).length(), 99999U);
  EXPECT_EQ(HxString::stringWithFormat("%.2147483648@"_hx, text).length(), 100000U);
}

TEST(FormatLimit, LongResultsGrow) {
  HxMutableString expected = HxMutableString::string();
  HxMutableString format = HxMutableString::string();
  for (int i = 0; i < 2000; ++i) {
    format.appendString("%1$@%2$d"_hx);
    expected.appendString("word7"_hx);
  }
  EXPECT_EQ(HxString::stringWithFormat(format, "word"_hx, 7), expected);
  format.appendString("%1$@ä"_hx);  // wide from here on
  expected.appendString("wordä"_hx);
  EXPECT_EQ(HxString::stringWithFormat(format, "word"_hx, 7), expected);
}

// ---- Nil, storage, locale -----------------------------------------------------------------------

TEST(FormatString, NilFormatReturnsNil) {
  EXPECT_TRUE(HxString::stringWithFormat(HxString(), 1).isNil());
  EXPECT_TRUE(HxString::initWithFormat(nullptr).isNil());
  EXPECT_TRUE(HxString::initWithFormatArguments(nullptr, HxArguments()).isNil());
}

TEST(FormatString, AppendingToNilOrANilFormatDoesNothing) {
  HxMutableString none = nullptr;
  none.appendFormat("%d"_hx, 1);
  EXPECT_TRUE(none.isNil());
  HxMutableString text = HxMutableString::stringWithString("a"_hx);
  text.appendFormat(HxString(), 1);
  EXPECT_EQ(text, "a"_hx);
}

TEST(FormatString, AppendsToAMutableString) {
  HxMutableString text = HxMutableString::string();
  text.appendFormat("%d"_hx, 1);
  text.appendFormat("%@"_hx, "ä"_hx);
  text.appendFormat("-%@-%@"_hx, text, 2);
  EXPECT_EQ(text, "1ä-1ä-2"_hx);
  text.appendFormat(text);
  EXPECT_EQ(text, "1ä-1ä-21ä-1ä-2"_hx);
}

TEST(FormatString, EmptyFormatReturnsTheEmptyString) {
  EXPECT_EQ(HxString::stringWithFormat(""_hx), ""_hx);
  EXPECT_EQ(HxString::stringWithFormat("%@"_hx, ""_hx), ""_hx);
}

TEST(FormatString, ShortResultsTakeOneAllocation) {
  const HxString name = "name"_hx;
  formatted("%f", 1.0);  // the neutral locale is made once
  const test::AllocationCounter counter;
  const HxString text = HxString::stringWithFormat("%@: %d %5.2f%% %s"_hx, name, 42, 99.5, "all");
  EXPECT_EQ(counter.count(), 1U);
  EXPECT_EQ(text.asciiView(), "name: 42 99.50% all");
}

TEST(FormatString, ASCIIResultsAreNarrowWhateverTheFormatWas) {
  const HxString wide(makeRef<Repeated>(u'a', 3U));
  EXPECT_EQ(HxString::stringWithFormat(wide).asciiView(), "aaa");
  EXPECT_EQ(HxString::stringWithFormat("%.1@"_hx, "aä"_hx).asciiView(), "a");
}

TEST(FormatString, RangeAsText) {
  EXPECT_EQ(HxStringFromRange({2, 3}), "{2, 3}"_hx);
  EXPECT_EQ(HxStringFromRange(kNotFoundRange), "{9223372036854775807, 0}"_hx);
}

// Whatever locale the host tool has chosen: the first one here that writes a comma.
TEST(FormatString, DecimalPointIsAPointInEveryLocale) {
  const std::string former = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "C.UTF-8"}) {
    if (std::setlocale(LC_ALL, name)) break;
  }
  EXPECT_EQ(formatted("%.2f %g %d", 1234.5, 0.25, 1234567), "1234.50 0.25 1234567");
  std::setlocale(LC_ALL, former.c_str());
}

// ---- Arguments ----------------------------------------------------------------------------------

TEST(FormatArgument, ReadsAsEveryKind) {
  EXPECT_EQ(HxArgument(-1).asInteger(), -1);
  EXPECT_EQ(HxArgument(-1).asUnsigned(), 0xFFFFFFFFU);
  EXPECT_EQ(HxArgument(static_cast<short>(-1)).asUnsigned(), 0xFFFFFFFFU);
  EXPECT_EQ(HxArgument(-1L).asUnsigned(), ULONG_MAX);
  EXPECT_EQ(HxArgument(-1).asReal(), -1.0);
  EXPECT_EQ(HxArgument(ULONG_MAX).asReal(), 18446744073709551615.0);
  EXPECT_EQ(HxArgument(2.75).asInteger(), 2);
  EXPECT_EQ(HxArgument(-2.75).asInteger(), -2);
  EXPECT_EQ(HxArgument(1e300).asInteger(), INT64_MAX);
  EXPECT_EQ(HxArgument(-1e300).asInteger(), INT64_MIN);
  EXPECT_EQ(HxArgument(NAN).asInteger(), 0);
  EXPECT_EQ(HxArgument("text").asInteger(), 0);
  EXPECT_EQ(HxArgument("text").asReal(), 0.0);
  EXPECT_EQ(HxArgument(1).asPointer(), nullptr);
  EXPECT_EQ(HxArgument(1).asCString(), nullptr);
  EXPECT_EQ(HxArgument(1).asObject(), nullptr);
  EXPECT_STREQ(HxArgument("text").asCString(), "text");
  EXPECT_EQ(HxArgument(this).asPointer(), this);
}

enum class Colour : unsigned char { red = 3 };

TEST(FormatArgument, EnumerationsAreTheirNumbers) {
  EXPECT_EQ(formatted("%d", Colour::red), "3");
  EXPECT_EQ(formatted("%d", HxOrderedAscending), "-1");
}

}  // namespace
}  // namespace rondel
