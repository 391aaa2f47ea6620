// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/UTF8Kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Rondel/core/text/internal/ASCII.h"

namespace rondel::internal {
namespace {

// RFC 3629, section 4, table of well-formed sequences, read one byte at a time.
struct Reading {
  std::size_t stop = 0;
  std::u16string units;
};

Reading readSlowly(std::string_view text) {
  const auto byteAt = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const auto isIn = [](unsigned byte, unsigned low, unsigned high) {
    return byte >= low && byte <= high;
  };
  Reading reading;
  std::size_t& i = reading.stop;
  while (i < text.size()) {
    const unsigned a = byteAt(i);
    const unsigned b = byteAt(i + 1);
    const unsigned c = byteAt(i + 2);
    const unsigned d = byteAt(i + 3);
    const bool tailC = isIn(c, 0x80, 0xBF);
    const bool tailD = isIn(d, 0x80, 0xBF);
    if (a < 0x80) {
      reading.units += static_cast<char16_t>(a);
      i += 1;
    } else if (isIn(a, 0xC2, 0xDF) && isIn(b, 0x80, 0xBF)) {
      reading.units += static_cast<char16_t>((a - 0xC0) * 64 + (b - 0x80));
      i += 2;
    } else if (isIn(a, 0xE0, 0xEF) && tailC &&
               isIn(b, a == 0xE0 ? 0xA0 : 0x80, a == 0xED ? 0x9F : 0xBF)) {
      reading.units += static_cast<char16_t>((a - 0xE0) * 4096 + (b - 0x80) * 64 + (c - 0x80));
      i += 3;
    } else if (isIn(a, 0xF0, 0xF4) && tailC && tailD &&
               isIn(b, a == 0xF0 ? 0x90 : 0x80, a == 0xF4 ? 0x8F : 0xBF)) {
      const unsigned value =
          (a - 0xF0) * 262144 + (b - 0x80) * 4096 + (c - 0x80) * 64 + (d - 0x80) - 0x10000;
      reading.units += static_cast<char16_t>(0xD800 + value / 1024);
      reading.units += static_cast<char16_t>(0xDC00 + value % 1024);
      i += 4;
    } else {
      break;
    }
  }
  return reading;
}

// Runs both loops of a kernel on a copy of just the text's size, so that a sanitizer sees a read
// after it, into room of just the size that is asked for, with a mark after it.
void expectAgreement(const UTF8Kernel& kernel, std::string_view text) {
  const Reading expected = readSlowly(text);
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  const std::uint8_t* end = bytes.data() + bytes.size();

  const UTF8Progress measured = kernel.measure(bytes.data(), end);
  ASSERT_EQ(static_cast<std::size_t>(measured.stop - bytes.data()), expected.stop) << kernel.name;
  ASSERT_EQ(measured.units, expected.units.size()) << kernel.name;

  // Whatever becomes of the bytes after the stop, three of them make at least one unit.
  constexpr char16_t kMark = 0xFEED;
  const std::size_t room = expected.units.size() + (bytes.size() - expected.stop + 2) / 3;
  std::vector<char16_t> units(room + 1, kMark);
  const UTF8Progress converted = kernel.convert(bytes.data(), end, units.data());
  ASSERT_EQ(static_cast<std::size_t>(converted.stop - bytes.data()), expected.stop) << kernel.name;
  ASSERT_EQ(std::u16string(units.data(), converted.units), expected.units) << kernel.name;
  ASSERT_EQ(units.back(), kMark) << kernel.name;
}

void expectAgreementOfAll(std::string_view text) {
  for (const UTF8Kernel& kernel : availableUTF8Kernels()) {
    ASSERT_NO_FATAL_FAILURE(expectAgreement(kernel, text)) << testing::PrintToString(text);
  }
}

// One of each kind: the least and the greatest of each length and around the surrogates.
const std::vector<std::string>& wellFormedSequences() {
  static const std::vector<std::string> sequences = {std::string(1, '\0'), "\x7F",
                                                     "\xC2\x80",           "\xDF\xBF",
                                                     "\xE0\xA0\x80",       "\xE0\xBF\xBF",
                                                     "\xE1\x80\x80",       "\xED\x80\x80",
                                                     "\xED\x9F\xBF",       "\xEE\x80\x80",
                                                     "\xEF\xBF\xBF",       "\xE6\x96\x87",
                                                     "\xC3\xA9",           "\xF0\x90\x80\x80",
                                                     "\xF0\x9F\x98\x80",   "\xF1\x80\x80\x80",
                                                     "\xF3\xBF\xBF\xBF",   "\xF4\x80\x80\x80",
                                                     "\xF4\x8F\xBF\xBF"};
  return sequences;
}

// One of each kind of fault: lonely continuations, leads that are none, overlong forms, surrogates,
// values that are too large, and sequences that break off.
const std::vector<std::string>& illFormedSequences() {
  static const std::vector<std::string> sequences = {"\x80",
                                                     "\xBF",
                                                     "\x80\x80\x80\x80",
                                                     "\xC0\x80",
                                                     "\xC1\xBF",
                                                     "\xF5\x80\x80\x80",
                                                     "\xF8\x88\x80\x80\x80",
                                                     "\xFE",
                                                     "\xFF",
                                                     "\xE0\x80\x80",
                                                     "\xE0\x9F\xBF",
                                                     "\xF0\x80\x80\x80",
                                                     "\xF0\x8F\xBF\xBF",
                                                     "\xED\xA0\x80",
                                                     "\xED\xBF\xBF",
                                                     "\xF4\x90\x80\x80",
                                                     "\xF4\xBF\xBF\xBF",
                                                     "\xF4\x41\x80\x80",
                                                     "\xC3",
                                                     "\xC3\x41",
                                                     "\xC3\xC3",
                                                     "\xE6",
                                                     "\xE6\x96",
                                                     "\xE6\x41\x87",
                                                     "\xE6\x96\x41",
                                                     "\xE6\x96\xE6",
                                                     "\xF0",
                                                     "\xF0\x9F",
                                                     "\xF0\x9F\x98",
                                                     "\xF0\x41\x98\x80",
                                                     "\xF0\x9F\x41\x80",
                                                     "\xF0\x9F\x98\x41",
                                                     "\xF0\x9F\x98\xF0"};
  return sequences;
}

TEST(UTF8Kernel, TheOneForEveryMachineIsFirst) {
  const std::span<const UTF8Kernel> kernels = availableUTF8Kernels();
  ASSERT_FALSE(kernels.empty());
  EXPECT_STREQ(kernels.front().name, "every machine");
  EXPECT_STREQ(bestUTF8Kernel().name, kernels.back().name);
}

TEST(UTF8Kernel, EmptyTextIsWellFormed) { expectAgreementOfAll(""); }

TEST(UTF8Kernel, EveryCharacterIsReadAlone) {
  for (char32_t c = 0; c < 0x110000; ++c) {
    std::string text;
    const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
    if (c < 0x80) {
      put(c);
    } else if (c < 0x800) {
      put(0xC0 | c >> 6);
    } else if (c < 0x10000) {
      put(0xE0 | c >> 12);
    } else {
      put(0xF0 | c >> 18);
      put(0x80 | (c >> 12 & 63));
    }
    if (c >= 0x800) put(0x80 | (c >> 6 & 63));
    if (c >= 0x80) put(0x80 | (c & 63));
    const auto* p = reinterpret_cast<const std::uint8_t*>(text.data());
    char16_t units[2] = {};
    const UTF8Progress read = bestUTF8Kernel().convert(p, p + text.size(), units);
    if (c >= 0xD800 && c < 0xE000) {
      ASSERT_EQ(read.stop, p) << static_cast<unsigned>(c);
    } else {
      ASSERT_EQ(read.stop, p + text.size()) << static_cast<unsigned>(c);
      const char32_t value =
          read.units == 1 ? units[0] : 0x10000 + (units[0] - 0xD800U) * 1024 + (units[1] - 0xDC00U);
      ASSERT_TRUE(value == c) << static_cast<unsigned>(c);
    }
  }
}

TEST(UTF8Kernel, EverySequenceIsReadAtEveryPlaceOfABlock) {
  for (const std::vector<std::string>* sequences :
       {&wellFormedSequences(), &illFormedSequences()}) {
    for (const std::string& sequence : *sequences) {
      for (std::size_t before = 0; before <= 130; ++before) {
        for (const std::size_t behind : {0U, 1U, 2U, 3U, 30U, 100U}) {
          const std::string text = std::string(before, 'a') + sequence + std::string(behind, 'z');
          ASSERT_NO_FATAL_FAILURE(expectAgreementOfAll(text));
        }
      }
    }
  }
}

TEST(UTF8Kernel, EverySequenceIsReadAmongCharactersOfEveryLength) {
  for (const std::string neighbour : {"\xC3\xA9", "\xE6\x96\x87", "\xF0\x9F\x98\x80"}) {
    std::string neighbours;
    for (int i = 0; i < 60; ++i) neighbours += neighbour;
    for (const std::string& sequence : illFormedSequences()) {
      for (std::size_t before = 0; before <= 40; ++before) {
        for (std::size_t offset = 0; offset < 4; ++offset) {
          const std::string text = std::string(offset, 'a') +
                                   neighbours.substr(0, before * neighbour.size()) + sequence +
                                   neighbours;
          ASSERT_NO_FATAL_FAILURE(expectAgreementOfAll(text));
        }
      }
    }
  }
}

TEST(UTF8Kernel, AllSequencesOfTwoAndThreeBytesAreJudgedAlike) {
  const std::string rest(100, 'z');
  for (unsigned a = 0x80; a < 0x100; ++a) {
    for (unsigned b = 0; b < 0x100; ++b) {
      for (const unsigned c : {0x00U, 0x41U, 0x7FU, 0x80U, 0x9FU, 0xA0U, 0xBFU, 0xC0U, 0xFFU}) {
        const std::string text = {static_cast<char>(a), static_cast<char>(b), static_cast<char>(c)};
        ASSERT_NO_FATAL_FAILURE(expectAgreementOfAll(text + rest));
      }
    }
  }
}

TEST(UTF8Kernel, MixedTextIsReadWhole) {
  std::mt19937 random(20);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const std::size_t size = random() % 700;
    const std::size_t oneIn = 1 + random() % 20;
    while (text.size() < size) {
      text +=
          random() % oneIn ? "a" : wellFormedSequences()[random() % wellFormedSequences().size()];
    }
    ASSERT_NO_FATAL_FAILURE(expectAgreementOfAll(text));
  }
}

TEST(UTF8Kernel, DamagedTextStopsAtTheSamePlace) {
  std::mt19937 random(21);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    while (text.size() < 300)
      text += wellFormedSequences()[random() % wellFormedSequences().size()];
    text[random() % text.size()] = static_cast<char>(random());
    ASSERT_NO_FATAL_FAILURE(expectAgreementOfAll(text));
  }
}

TEST(ASCII, PrefixEndsAtTheFirstOtherByte) {
  for (std::size_t length = 0; length < 200; ++length) {
    std::vector<std::uint8_t> bytes(length, 'a');
    std::vector<HxUniChar> units(length);
    EXPECT_EQ(lengthOfASCIIPrefix(bytes.data(), length), length);
    EXPECT_EQ(widenASCIIPrefix(bytes.data(), length, units.data()), length);
    EXPECT_EQ(std::ranges::count(units, u'a'), static_cast<std::ptrdiff_t>(length));
    for (std::size_t at = 0; at < length; ++at) {
      bytes[at] = 0x80;
      ASSERT_EQ(lengthOfASCIIPrefix(bytes.data(), length), at);
      ASSERT_EQ(widenASCIIPrefix(bytes.data(), length, units.data()), at);
      ASSERT_FALSE(isASCII(reinterpret_cast<const char*>(bytes.data()), length));
      bytes[at] = 'a';
    }
  }
}

TEST(ASCII, UnitsAreNarrowedUpToTheFirstOtherOne) {
  for (const HxUniChar other : {u'\x80', u'\xFF', u'\x100', u'\x4E00', u'\x8000', u'\xFFFF'}) {
    for (std::size_t length = 0; length < 100; ++length) {
      std::vector<HxUniChar> units(length, u'b');
      std::vector<char> bytes(length);
      EXPECT_TRUE(isASCII(units.data(), length));
      EXPECT_EQ(narrowASCIIPrefix(units.data(), length, bytes.data()), length);
      EXPECT_EQ(std::ranges::count(bytes, 'b'), static_cast<std::ptrdiff_t>(length));
      for (std::size_t at = 0; at < length; ++at) {
        units[at] = other;
        ASSERT_FALSE(isASCII(units.data(), length));
        ASSERT_EQ(narrowASCIIPrefix(units.data(), length, bytes.data()), at);
        units[at] = u'b';
      }
    }
  }
}

TEST(ASCII, BytesAreWidenedAndUnitsNarrowed) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) bytes += static_cast<char>(i);
  std::vector<HxUniChar> units(bytes.size());
  widenBytes(bytes.data(), bytes.size(), units.data());
  for (std::size_t i = 0; i < units.size(); ++i) EXPECT_EQ(units[i], i % 256);

  std::string narrow(128, '\0');
  narrowUnits(units.data(), 128, narrow.data());
  EXPECT_EQ(narrow, bytes.substr(0, 128));
}

}  // namespace
}  // namespace rondel::internal
