// SPDX-License-Identifier: MIT
#include "Rondel/additions/TextDecoding.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/TolerantDecoding.h"

namespace rondel {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using test::decodeByTheRules;
using test::Decoded;
using test::unitsOf;

Decoded decode(std::string_view bytes, bool stop) {
  Decoded decoded;
  decoded.text = unitsOf(initWithPotentiallyMalformedUTF8Bytes(bytes.data(), bytes.size(), stop,
                                                               &decoded.used, &decoded.malformed));
  return decoded;
}

void expectTheRules(std::string_view bytes) {
  for (const bool stop : {true, false}) {
    ASSERT_EQ(decode(bytes, stop), decodeByTheRules(bytes, stop))
        << testing::PrintToString(std::string(bytes)) << (stop ? " with stop" : " without stop");
  }
}

std::string bytesOf(std::initializer_list<unsigned> bytes) {
  std::string text;
  for (const unsigned byte : bytes) text += static_cast<char>(byte);
  return text;
}

// ---- Sequence by sequence

struct Case {
  const char* name;
  std::string_view bytes;
  std::u16string_view text;
  HxUInteger malformed;
};

std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }

class DecodesWholeSequences : public testing::TestWithParam<Case> {};

TEST_P(DecodesWholeSequences, WithAndWithoutStop) {
  const Case& c = GetParam();
  const Decoded expected{std::u16string(c.text), c.bytes.size(), c.malformed};
  EXPECT_EQ(decode(c.bytes, true), expected);
  EXPECT_EQ(decode(c.bytes, false), expected);
}

const Case kCases[] = {
    {"ASCII", "abc", u"abc", 0},
    {"NUL", "a\0b"sv, u"a\0b"sv, 0},
    {"Delete", "\x7F", u"\x7F", 0},
    {"LeastOfTwoBytes", "\xC2\x80", u"\u0080", 0},
    {"GreatestOfTwoBytes", "\xDF\xBF", u"\u07FF", 0},
    {"LeastOfThreeBytes", "\xE0\xA0\x80", u"\u0800", 0},
    {"BeforeTheSurrogates", "\xED\x9F\xBF", u"\uD7FF", 0},
    {"BehindTheSurrogates", "\xEE\x80\x80", u"\uE000", 0},
    {"GreatestOfThreeBytes", "\xEF\xBF\xBF", u"\uFFFF", 0},
    {"Signature", "\xEF\xBB\xBF", u"\uFEFF", 0},
    {"LeastOfFourBytes", "\xF0\x90\x80\x80", u"\xD800\xDC00", 0},
    {"GreatestOfAll", "\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF", 0},
    {"LowSurrogate", "\xED\xBF\xBF", u"\xDFFF", 0},
    {"PairOfSurrogates", "\xED\xA0\xBD\xED\xB8\x80", u"\xD83D\xDE00", 0},
    {"ASCIIBehindF4", "\xF4\x41\x80\x80", u"\xDAC4\xDC00", 0},
    {"NULBehindF4", "\xF4\x00\x80\x80"sv, u"\xD9C0\xDC00", 0},
    {"LoneContinuation", "\x80", u"\\200", 1},
    {"LastContinuation", "\xBF", u"\\277", 1},
    {"RowOfContinuations", "\x80\x81\xBF", u"\\200\\201\\277", 3},
    {"OverlongOfTwo", "\xC1\xBF", u"\\301\\277", 2},
    {"OverlongOfThree", "\xE0\x9F\xBF", u"\\340\\237\\277", 3},
    {"OverlongOfFour", "\xF0\x8F\xBF\xBF", u"\\360\\217\\277\\277", 4},
    {"BeyondUnicode", "\xF4\x90\x80\x80", u"\\364\\220\\200\\200", 4},
    {"LeadThatIsNone", "\xF5\x80\x80\x80", u"\\365\\200\\200\\200", 4},
    {"LeadOfFive", "\xF8\x88\x80\x80\x80", u"\\370\\210\\200\\200\\200", 5},
    {"FE", "\xFE", u"\\376", 1},
    {"LeadBeforeASCII", "\xC3z", u"\\303z", 1},
    {"LeadBeforeLead", "\xC3\xC3\xA9", u"\\303\u00E9", 1},
    {"BrokenBehindTwo", "\xE6\x96z", u"\\346\\226z", 2},
    {"BrokenInTheMiddle", "\xE6z\x87", u"\\346z\\207", 2},
    {"BrokenBehindThree", "\xF0\x9F\x98z", u"\\360\\237\\230z", 3},
    {"BrokenByACharacter", "\xF0\x9F\xC3\xA9", u"\\360\\237\u00E9", 2},
    {"F4BrokenOff", "\xF4\x41\x80z", u"\\364A\\200z", 2},
};

INSTANTIATE_TEST_SUITE_P(TextDecoding, DecodesWholeSequences, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(TextDecoding, NoBytesAreTheEmptyString) {
  EXPECT_EQ(decode("", true), (Decoded{u"", 0, 0}));
  EXPECT_EQ(decode("", false), (Decoded{u"", 0, 0}));
}

TEST(TextDecoding, IncompleteTailIsLeftAloneOnlyWithStop) {
  EXPECT_EQ(decode("\xE2\x82", true), (Decoded{u"", 0, 0}));
  EXPECT_EQ(decode("\xE2\x82", false), (Decoded{u"\\342\\202", 2, 2}));
}

struct Tail {
  std::string_view bytes;
  HxUInteger used;
};

TEST(TextDecoding, TailIsReportedByItsFirstByteAlone) {
  const Tail tails[] = {
      {"a\xC3", 1},         {"a\xE6", 1},  {"a\xE6\x96", 1},     {"a\xF0", 1},     {"a\xF0\x9F", 1},
      {"a\xF0\x9F\x98", 1}, {"a\xE6z", 1}, {"a\xF0zz", 1},       {"a\xC0", 1},     {"a\xC1", 1},
      {"a\xF7\x80\x80", 1}, {"a\xF5", 1},  {"a\xE6\xE6\x96", 2}, {"a\xC3\xC3", 2}, {"a\xF8", 2},
      {"a\xFF", 2},         {"a\x80", 2},  {"a\xE6\x96\x87", 4},
  };
  for (const Tail& tail : tails) {
    EXPECT_EQ(decode(tail.bytes, true).used, tail.used) << testing::PrintToString(tail.bytes);
    EXPECT_EQ(decode(tail.bytes, false).used, tail.bytes.size());
  }
}

TEST(TextDecoding, FFAnywhereIsItsOctalDigits) {
  for (std::size_t length = 0; length < 150; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const std::string before(at, 'a');
      const std::string behind(length - at, 'z');
      const std::string text = before + "\\377" + behind;
      ASSERT_EQ(decode(before + "\xFF" + behind, true),
                (Decoded{std::u16string(text.begin(), text.end()), length + 1, 1}));
    }
  }
}

TEST(TextDecoding, Lone80IsItsOctalDigits) {
  EXPECT_EQ(decode("\x80", true), (Decoded{u"\\200", 1, 1}));
}

TEST(TextDecoding, OverlongNULIsTwoMalformedBytes) {
  EXPECT_EQ(decode("\xC0\x80", true), (Decoded{u"\\300\\200", 2, 2}));
}

TEST(TextDecoding, EncodedSurrogateIsALoneSurrogate) {
  EXPECT_EQ(decode("\xED\xA0\x80", true), (Decoded{u"\xD800", 3, 0}));
}

TEST(TextDecoding, FourBytesAreASurrogatePair) {
  EXPECT_EQ(decode("\xF0\x9F\x98\x80", true), (Decoded{u"\xD83D\xDE00", 4, 0}));
}

TEST(TextDecoding, OutPointersMayBeNull) {
  EXPECT_EQ(unitsOf(initWithPotentiallyMalformedUTF8Bytes("a\xFF", 2, true, nullptr, nullptr)),
            u"a\\377");
  EXPECT_EQ(unitsOf(initWithPotentiallyMalformedUTF8Bytes("ab", 2, true, nullptr, nullptr)), u"ab");
  for (const char* const bytes : {"ab", "a\xFF"}) {
    HxUInteger used = 7;
    HxUInteger malformed = 7;
    initWithPotentiallyMalformedUTF8Bytes(bytes, 2, true, &used, nullptr);
    initWithPotentiallyMalformedUTF8Bytes(bytes, 2, true, nullptr, &malformed);
    EXPECT_EQ(used, 2U);
    EXPECT_EQ(malformed, bytes[1] == 'b' ? 0U : 1U);
  }
}

TEST(TextDecoding, TextThatIsAllASCIIIsStoredNarrow) {
  for (const std::string_view bytes : {"abc"sv, "\xFF\x80"sv, "abc\xFFz\xC3"sv}) {
    const HxString text =
        initWithPotentiallyMalformedUTF8Bytes(bytes.data(), bytes.size(), false, nullptr, nullptr);
    EXPECT_EQ(text.asciiView().size(), text.length());
    EXPECT_NE(text.asciiView().data(), nullptr);
  }
}

TEST(TextDecoding, EveryTextIsMadeWithOneAllocation) {
  const std::string ascii(100'000, 'a');
  for (const std::string& bytes :
       {ascii, ascii + "\xC3\xA9" + ascii, ascii + "\xFF" + ascii, "\xC3\xA9"s, "\xFF"s}) {
    decode(bytes, true);
    const test::AllocationCounter counter;
    const HxString text =
        initWithPotentiallyMalformedUTF8Bytes(bytes.data(), bytes.size(), true, nullptr, nullptr);
    EXPECT_EQ(counter.count(), 1U);
  }
}

// ---- Against the rules, exhaustively

TEST(TextDecoding, EverySequenceOfOneByteAndTwoFollowsTheRules) {
  for (unsigned a = 0; a < 0x100; ++a) {
    ASSERT_NO_FATAL_FAILURE(expectTheRules(bytesOf({a})));
    for (unsigned b = 0; b < 0x100; ++b) {
      ASSERT_NO_FATAL_FAILURE(expectTheRules(bytesOf({a, b})));
    }
  }
}

// The first and the last byte of every class, and those beside them.
const std::vector<unsigned> kBorders = {0x00, 0x41, 0x7F, 0x80, 0x81, 0x8F, 0x90, 0x9F,
                                        0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xED,
                                        0xEF, 0xF0, 0xF4, 0xF5, 0xF8, 0xFF};

// A lead below E0 has no third byte: what comes there begins something else, so its class decides.
std::vector<unsigned> thirdBytesAfter(unsigned lead) {
  if (lead < 0xE0) return kBorders;
  std::vector<unsigned> all(0x100);
  std::iota(all.begin(), all.end(), 0U);
  return all;
}

// Those that begin with ASCII are that and one of two bytes. The many are put into few texts, with
// ASCII between them, which no sequence can swallow; the end of a text is another test's.
TEST(TextDecoding, EverySequenceOfThreeBytesFollowsTheRules) {
  for (unsigned a = 0x80; a < 0x100; ++a) {
    const std::vector<unsigned> thirdBytes = thirdBytesAfter(a);
    for (unsigned b = 0; b < 0x100; ++b) {
      std::string text;
      for (const unsigned c : thirdBytes) text += bytesOf({a, b, c}) + "zz";
      ASSERT_NO_FATAL_FAILURE(expectTheRules(text));
    }
  }
}

TEST(TextDecoding, SequencesOfThreeBytesAtTheEndFollowTheRules) {
  for (unsigned a = 0x80; a < 0x100; ++a) {
    for (unsigned b = 0; b < 0x100; ++b) {
      for (const unsigned c : kBorders) {
        ASSERT_NO_FATAL_FAILURE(expectTheRules(bytesOf({a, b, c})));
      }
    }
  }
}

TEST(TextDecoding, SequencesOfFourBytesFollowTheRules) {
  for (unsigned a = 0x80; a < 0x100; ++a) {
    for (unsigned b = 0; b < 0x100; ++b) {
      std::string text;
      for (const unsigned c : kBorders) {
        for (const unsigned d : {0x41U, 0x80U, 0xBFU, 0xC0U}) text += bytesOf({a, b, c, d}) + "zzz";
      }
      ASSERT_NO_FATAL_FAILURE(expectTheRules(text));
    }
  }
  for (const unsigned a : kBorders) {
    for (const unsigned b : kBorders) {
      for (const unsigned c : kBorders) {
        for (const unsigned d : kBorders) {
          ASSERT_NO_FATAL_FAILURE(expectTheRules(bytesOf({a, b, c, d})));
        }
      }
    }
  }
}

// ---- Long texts

// Sequences of every kind, legal or not, that no ASCII character follows: of each class of damage
// one at least.
const std::string_view kSequences[] = {"a",
                                       "\xC3\xA9",
                                       "\xE6\x96\x87",
                                       "\xF0\x9F\x98\x80",
                                       "\xED\xA0\x80",
                                       "\xF4\x41\x80\x80",
                                       "\x80",
                                       "\xC0\x80",
                                       "\xE0\x80\x80",
                                       "\xF0\x80\x80\x80",
                                       "\xF4\x90\x80\x80",
                                       "\xFF",
                                       "\xF8\x88\x80\x80",
                                       "\xC3",
                                       "\xE6\x96",
                                       "\xE6",
                                       "\xF0\x9F\x98",
                                       "\xF0\x9F",
                                       "\xF0"};

TEST(TextDecoding, DamageFollowsTheRulesAtEveryPlaceOfALongText) {
  for (const std::string_view neighbour :
       {"a"sv, "\xC3\xA9"sv, "\xE6\x96\x87"sv, "\xF0\x9F\x98\x80"sv}) {
    std::string neighbours;
    while (neighbours.size() < 300) neighbours += neighbour;
    for (const std::string_view damage : kSequences) {
      for (std::size_t before = 0; before < 140; before += neighbour.size()) {
        const std::string text =
            neighbours.substr(0, before) + std::string(damage) + neighbours.substr(0, 120);
        ASSERT_NO_FATAL_FAILURE(expectTheRules(text));
      }
    }
  }
}

std::string randomText(std::mt19937& random, std::size_t size) {
  std::string text;
  while (text.size() < size) {
    const std::size_t run = random() % 40;
    const std::string_view sequence = kSequences[random() % std::size(kSequences)];
    for (std::size_t i = 0; i < run; ++i) text += random() % 4 ? "b"sv : sequence;
    text += sequence;
  }
  return text;
}

TEST(TextDecoding, RandomTextFollowsTheRules) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    ASSERT_NO_FATAL_FAILURE(expectTheRules(randomText(random, random() % 2000)));
  }
}

TEST(TextDecoding, RandomBytesFollowTheRules) {
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    std::string text(random() % 500, '\0');
    for (char& byte : text) byte = static_cast<char>(random());
    ASSERT_NO_FATAL_FAILURE(expectTheRules(text));
  }
}

// ---- In pieces

// Decodes piece by piece and puts what is left alone before the next piece.
class Pieces {
 public:
  void add(std::string_view piece) { take(piece, true); }
  Decoded end() {
    take("", false);
    return _whole;
  }

 private:
  void take(std::string_view piece, bool stop) {
    _held += piece;
    Decoded decoded = decode(_held, stop);
    ASSERT_LE(_held.size() - decoded.used, 3U);
    _held.erase(0, decoded.used);
    _whole.text += decoded.text;
    _whole.used += decoded.used;
    _whole.malformed += decoded.malformed;
  }

  std::string _held;
  Decoded _whole;
};

TEST(TextDecoding, EverySplitInTwoReturnsTheWholeText) {
  for (const std::string_view first : kSequences) {
    for (const std::string_view second : kSequences) {
      const std::string text = "x" + std::string(first) + std::string(second);
      const Decoded whole = decode(text, false);
      for (std::size_t at = 0; at <= text.size(); ++at) {
        Pieces pieces;
        pieces.add(text.substr(0, at));
        pieces.add(text.substr(at));
        ASSERT_EQ(pieces.end(), whole) << testing::PrintToString(text) << " at " << at;
      }
    }
  }
}

TEST(TextDecoding, EverySplitInThreeReturnsTheWholeText) {
  for (const std::string_view first : kSequences) {
    for (const std::string_view second : kSequences) {
      const std::string text = std::string(first) + std::string(second) + "\xE6\x96\x87";
      const Decoded whole = decode(text, false);
      for (std::size_t a = 0; a <= text.size(); ++a) {
        for (std::size_t b = a; b <= text.size(); ++b) {
          Pieces pieces;
          pieces.add(text.substr(0, a));
          pieces.add(text.substr(a, b - a));
          pieces.add(text.substr(b));
          ASSERT_EQ(pieces.end(), whole)
              << testing::PrintToString(text) << " at " << a << ", " << b;
        }
      }
    }
  }
}

TEST(TextDecoding, EverySizeOfPieceReturnsTheWholeText) {
  std::mt19937 random(3);
  const std::string text = randomText(random, 3000);
  const Decoded whole = decode(text, false);
  for (std::size_t size = 1; size < 300; ++size) {
    Pieces pieces;
    for (std::size_t at = 0; at < text.size(); at += size) pieces.add(text.substr(at, size));
    ASSERT_EQ(pieces.end(), whole) << size;
  }
}

// ---- Nothing is lost

int digitAt(const std::u16string& text, std::size_t i) {
  return i < text.size() && text[i] >= u'0' && text[i] <= u'7' ? text[i] - u'0' : -1;
}

// The bytes that the text was made of, if none of them was a backslash.
std::string withEscapesUndone(const std::u16string& text) {
  std::string bytes;
  const auto put = [&](unsigned byte) { bytes += static_cast<char>(byte); };
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c == u'\\' && digitAt(text, i + 3) >= 0) {
      put(static_cast<unsigned>(digitAt(text, i + 1) * 64 + digitAt(text, i + 2) * 8 +
                                digitAt(text, i + 3)));
      i += 3;
    } else if (c < 0x80) {
      put(c);
    } else if (c < 0x800) {
      put(0xC0 | c >> 6);
      put(0x80 | (c & 63));
    } else if (c < 0xD800 || c >= 0xDC00) {
      put(0xE0 | c >> 12);
      put(0x80 | (c >> 6 & 63));
      put(0x80 | (c & 63));
    } else {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00U);
      put(0xF0 | c >> 18);
      put(0x80 | (c >> 12 & 63));
      put(0x80 | (c >> 6 & 63));
      put(0x80 | (c & 63));
    }
  }
  return bytes;
}

// Surrogates and ASCII after F4 have no place here: they are legal and have a second spelling.
TEST(TextDecoding, EscapesUndoneReturnTheBytesBack) {
  std::mt19937 random(4);
  for (int round = 0; round < 5000; ++round) {
    std::string bytes(random() % 300, '\0');
    for (char& byte : bytes) {
      do byte = static_cast<char>(random());
      while (byte == '\\' || byte == '\xED' || byte == '\xF4');
    }
    ASSERT_EQ(withEscapesUndone(decode(bytes, false).text), bytes);
  }
}

// ---- Failed checks

class TextDecodingChecks : public testing::Test {
 private:
  test::FailureRecorder _recorder;

 protected:
  const std::vector<test::FailureRecorder::Failure>& failures = _recorder.failures();
};

TEST_F(TextDecodingChecks, NullBytesFailAndCountAsNone) {
  HxUInteger used = 7;
  HxUInteger malformed = 7;
  const HxString text = initWithPotentiallyMalformedUTF8Bytes(nullptr, 3, true, &used, &malformed);
  EXPECT_FALSE(text.isNil());
  EXPECT_EQ(text.length(), 0U);
  EXPECT_EQ(used, 0U);
  EXPECT_EQ(malformed, 0U);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].function,
            "-[HxString(MoTextDecoding) initWithPotentiallyMalformedUTF8Bytes:length:"
            "stopAtTrailingIncompleteUTF8Sequence:getUsedLength:getNumberOfMalformedSequences:]");
  EXPECT_EQ(failures[0].operation,
            "initWithPotentiallyMalformedUTF8Bytes:length:stopAtTrailingIncompleteUTF8Sequence:"
            "getUsedLength:getNumberOfMalformedSequences:");
  EXPECT_EQ(failures[0].message, "Assertion failed: bytes != ((void*)0)");
  EXPECT_EQ(failures[0].arguments, std::vector<std::string>{"bytes != ((void*)0)"});
}

TEST_F(TextDecodingChecks, NullBytesFailAlsoWhenThereAreNone) {
  EXPECT_EQ(initWithPotentiallyMalformedUTF8Bytes(nullptr, 0, false, nullptr, nullptr), ""_hx);
  EXPECT_EQ(failures.size(), 1U);
}

TEST_F(TextDecodingChecks, NilPathOfAFileToReadFailsAndReturnsNil) {
  HxStringEncoding encoding = 99;
  EXPECT_TRUE(initWithContentsOfFile(nullptr, HxUTF8StringEncoding, &encoding).isNil());
  EXPECT_EQ(encoding, 99U);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].function,
            "-[HxString(MoTextDecoding) "
            "initWithContentsOfFile:defaultCStringEncoding:getStringEncoding:]");
  EXPECT_EQ(failures[0].operation,
            "initWithContentsOfFile:defaultCStringEncoding:getStringEncoding:");
  EXPECT_EQ(failures[0].message, "filePath should be a non-empty string, but it is nil");
  EXPECT_EQ(failures[0].arguments,
            (std::vector<std::string>{"filePath", "Assertion failed: %s", "(filePath) != nil"}));
}

TEST_F(TextDecodingChecks, EmptyPathOfAFileToReadFailsAndReturnsNil) {
  EXPECT_TRUE(initWithUnicodeOrHaldenOSRomanContentsOfFile(""_hx, nullptr).isNil());
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].message, "filePath should be a non-empty string, but it's an empty string");
  EXPECT_EQ(failures[0].arguments,
            (std::vector<std::string>{"filePath", "", "Assertion failed: %s",
                                      "![(filePath) isEqualToString:@\"\"]"}));
}

TEST_F(TextDecodingChecks, BadPathOfAFileToWriteFailsAndReturnsFalse) {
  const HxString text = "text"_hx;
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile(text, nullptr, true));
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile(text, ""_hx, false));
  ASSERT_EQ(failures.size(), 2U);
  EXPECT_EQ(failures[0].receiver, text.object());
  EXPECT_EQ(failures[0].function,
            "-[HxString(MoTextDecoding) writeUsingFileSystemEncodingToFile:atomically:]");
  EXPECT_EQ(failures[0].operation, "writeUsingFileSystemEncodingToFile:atomically:");
  EXPECT_EQ(failures[0].message, "path should be a non-empty string, but it is nil");
  EXPECT_EQ(failures[0].arguments,
            (std::vector<std::string>{"path", "Assertion failed: %s", "(path) != nil"}));
  EXPECT_EQ(failures[1].message, "path should be a non-empty string, but it's an empty string");
  EXPECT_EQ(failures[1].arguments, (std::vector<std::string>{"path", "", "Assertion failed: %s",
                                                             "![(path) isEqualToString:@\"\"]"}));
}

TEST_F(TextDecodingChecks, GoodArgumentsTellTheSinkNothing) {
  decode("\xFF", true);
  decode("", true);
  EXPECT_TRUE(initWithContentsOfFile("/nowhere"_hx, HxUTF8StringEncoding, nullptr).isNil());
  EXPECT_TRUE(failures.empty());
}

TEST_F(TextDecodingChecks, NilTextIsNotWritten) {
  const test::TemporaryDirectory folder;
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile(nullptr, nullptr, true));
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile(nullptr, HxString(folder.path("file")), true));
  EXPECT_TRUE(failures.empty());
}

}  // namespace
}  // namespace rondel
