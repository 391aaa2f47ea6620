// SPDX-License-Identifier: MIT
#include "Rondel/additions/Quoting.h"

#include <gtest/gtest.h>

#include <string>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/StringList.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::charactersOf;
using test::Texts;
using test::textsOf;
using namespace std::string_literals;
using namespace std::string_view_literals;

std::u16string inQuotes(std::u16string_view text, bool quoteTabsAndEOLs = false,
                        bool quoteHighBitUnichars = false) {
  return charactersOf(
      stringByQuotingOnlyIfNeeded(HxString(text), false, quoteTabsAndEOLs, quoteHighBitUnichars));
}

bool isLeftAlone(const HxString& text) {
  return stringByQuotingOnlyIfNeeded(text, true, false, false).object() == text.object();
}

// ---- How each character is written ------------------------------------------------------------

struct Spelling {
  std::u16string text;
  std::u16string plain;    // all options off
  std::u16string tabs;     // quoteTabsAndEOLs
  std::u16string highBit;  // quoteHighBitUnichars
};

class QuotingSpellings : public testing::TestWithParam<Spelling> {};

TEST_P(QuotingSpellings, DependOnTheOptions) {
  const Spelling& spelling = GetParam();
  const auto between = [](const std::u16string& text) { return u"\"" + text + u"\""; };
  EXPECT_EQ(inQuotes(spelling.text), between(spelling.plain));
  EXPECT_EQ(inQuotes(spelling.text, true), between(spelling.tabs));
  EXPECT_EQ(inQuotes(spelling.text, false, true), between(spelling.highBit));
}

const Spelling kSpellings[] = {
    {u"\"", u"\\\"", u"\\\"", u"\\\""},
    {u"\\", u"\\\\", u"\\\\", u"\\\\"},
    {u"\x07", u"\\a", u"\\a", u"\\a"},
    {u"\b", u"\\b", u"\\b", u"\\b"},
    {u"\v", u"\\v", u"\\v", u"\\v"},
    {u"\f", u"\\f", u"\\f", u"\\f"},
    {u"\t", u"\t", u"\\t", u"\t"},
    {u"\n", u"\n", u"\\n", u"\n"},
    {u"\r", u"\r", u"\\n", u"\r"},
    {u"\0"s, u"\\U0000", u"\\U0000", u"\\U0000"},
    {u"\x01", u"\\U0001", u"\\U0001", u"\\U0001"},
    {u"\x0E", u"\\U000e", u"\\U000e", u"\\U000e"},
    {u"\x1F", u"\\U001f", u"\\U001f", u"\\U001f"},
    {u" ", u" ", u" ", u" "},
    {u"'", u"'", u"'", u"'"},
    {u"\x7F", u"\x7F", u"\x7F", u"\x7F"},
    {u"\u0080", u"\u0080", u"\u0080", u"\u0080"},
    {u"\u00FF", u"\u00FF", u"\u00FF", u"\u00FF"},
    {u"\u0100", u"\u0100", u"\u0100", u"\\U0100"},
    {u"\u4E2D", u"\u4E2D", u"\u4E2D", u"\\U4e2d"},
    {u"\U0001F600", u"\U0001F600", u"\U0001F600", u"\\Ud83d\\Ude00"},
    {u"\uFFFE", u"\uFFFE", u"\uFFFE", u"\\Ufffe"},
    {u"a\u4E2D\"b", u"a\u4E2D\\\"b", u"a\u4E2D\\\"b", u"a\\U4e2d\\\"b"},
};

INSTANTIATE_TEST_SUITE_P(All, QuotingSpellings, testing::ValuesIn(kSpellings));

TEST(Quoting, BothOptionsTogether) {
  EXPECT_EQ(inQuotes(u"\t\u0100\r\n", true, true), u"\"\\t\\U0100\\n\\n\"");
}

TEST(Quoting, EmptyTextReturnsTwoQuotesWhateverTheOptionsAre) {
  for (int options = 0; options < 8; ++options) {
    const HxString result = stringByQuotingOnlyIfNeeded(""_hx, (options & 1) != 0,
                                                        (options & 2) != 0, (options & 4) != 0);
    EXPECT_EQ(result, "\"\""_hx);
  }
}

TEST(Quoting, LongTextIsWrittenWhole) {
  for (const std::size_t length : {255U, 256U, 257U, 1000U, 5000U}) {
    EXPECT_EQ(inQuotes(std::u16string(length, u'x')), u"\"" + std::u16string(length, u'x') + u"\"");
    std::u16string escaped;
    for (std::size_t i = 0; i < length; ++i) escaped += u"\\U0001";
    EXPECT_EQ(inQuotes(std::u16string(length, u'\x01')), u"\"" + escaped + u"\"");
    EXPECT_EQ(inQuotes(std::u16string(length, u'\u4E2D')),
              u"\"" + std::u16string(length, u'\u4E2D') + u"\"");
  }
}

TEST(Quoting, AnEscapeIsFoundAtEachPlaceOfALongText) {
  for (std::size_t place = 0; place < 40; ++place) {
    std::u16string text(40, u'x');
    std::u16string expected = text;
    text[place] = u'\\';
    expected.replace(place, 1, u"\\\\");
    EXPECT_EQ(inQuotes(text), u"\"" + expected + u"\"");
  }
}

TEST(Quoting, AnEscapeIsFoundAtEachPlaceOfALongWideText) {
  for (std::size_t place = 0; place < 40; ++place) {
    std::u16string text(40, u'\u4E2D');
    std::u16string expected = text;
    text[place] = u'\x01';
    expected.replace(place, 1, u"\\U0001");
    EXPECT_EQ(inQuotes(text), u"\"" + expected + u"\"");
  }
}

// ---- When quotes are needed -------------------------------------------------------------------

TEST(QuotingOnlyIfNeeded, ReturnsTheReceiverItselfWhenNothingNeedsQuotes) {
  EXPECT_TRUE(isLeftAlone("azAZ09./_"_hx));
  EXPECT_TRUE(isLeftAlone(HxString(std::string(100, 'x'))));
  EXPECT_TRUE(isLeftAlone("abc"_hx.mutableCopy()));
}

TEST(QuotingOnlyIfNeeded, QuotesForEveryOtherCharacter) {
  for (char16_t unit = 0; unit < 0x300; ++unit) {
    const bool isBare = unit == u'\\' || unit == u'.' || unit == u'/' || unit == u'_' ||
                        (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
                        (unit >= u'a' && unit <= u'z');
    EXPECT_EQ(isLeftAlone(HxString(std::u16string{u'x', unit})), isBare) << unsigned{unit};
  }
}

TEST(QuotingOnlyIfNeeded, ABackslashNeedsQuotesOnlyAfterAnother) {
  EXPECT_TRUE(isLeftAlone("a\\b"_hx));
  EXPECT_TRUE(isLeftAlone("\\a\\"_hx));
  EXPECT_EQ(stringByQuotingOnlyIfNeeded("a\\\\b"_hx, true, false, false), "\"a\\\\\\\\b\""_hx);
}

TEST(QuotingOnlyIfNeeded, ABackslashAfterAnotherIsFoundAtEachPlace) {
  for (std::size_t place = 0; place < 70; ++place) {
    std::string text(72, 'x');
    text[place] = '\\';
    EXPECT_TRUE(isLeftAlone(HxString(text))) << place;
    text[place + 1] = '\\';
    EXPECT_FALSE(isLeftAlone(HxString(text))) << place;
  }
}

TEST(QuotingOnlyIfNeeded, WritesWhatNeedsQuotesByTheOtherOptions) {
  const HxString text("\t\u4E2D\r");
  EXPECT_EQ(stringByQuotingOnlyIfNeeded(text, true, false, false), HxString("\"\t\u4E2D\r\""));
  EXPECT_EQ(stringByQuotingOnlyIfNeeded(text, true, true, false), HxString("\"\\t\u4E2D\\n\""));
  EXPECT_EQ(stringByQuotingOnlyIfNeeded(text, true, false, true), HxString("\"\t\\U4e2d\r\""));
  EXPECT_EQ(stringByQuotingOnlyIfNeeded(text, true, true, true), HxString("\"\\t\\U4e2d\\n\""));
}

TEST(QuotingOnlyIfNeeded, TheOtherOptionsDoNotTellWhatNeedsQuotes) {
  const HxString text = "abc"_hx;
  EXPECT_EQ(stringByQuotingOnlyIfNeeded(text, true, true, true).object(), text.object());
  const HxString open = test::openString(u"a\\b");
  EXPECT_TRUE(isLeftAlone(open));
}

TEST(QuotingOnlyIfNeeded, QuotesAMinusSignThatTheArgumentFormLeavesAlone) {
  EXPECT_EQ(stringByQuotingOnlyIfNeeded("a-b"_hx, true, false, false), "\"a-b\""_hx);
  EXPECT_EQ(stringByQuotingIfNeeded("a-b"_hx), "a-b"_hx);
}

TEST(QuotingOnlyIfNeeded, NilReturnsNil) {
  EXPECT_TRUE(stringByQuotingOnlyIfNeeded(nullptr, true, false, false).isNil());
  EXPECT_TRUE(stringByQuotingOnlyIfNeeded(nullptr, false, true, true).isNil());
  EXPECT_TRUE(stringByQuotingIfNeeded(nullptr).isNil());
  EXPECT_TRUE(stringByQuotingWhitespaceIfNeeded(nullptr).isNil());
}

// ---- U+FFFF ends the text ---------------------------------------------------------------------

TEST(QuotingEndMark, EndsTheScan) {
  EXPECT_TRUE(isLeftAlone(HxString("abc\uFFFF needs quotes")));
  EXPECT_TRUE(isLeftAlone(HxString("\uFFFF\"")));
  EXPECT_FALSE(isLeftAlone(HxString("a b\uFFFF")));
}

TEST(QuotingEndMark, EndsTheOutputWithTheClosingQuote) {
  EXPECT_EQ(inQuotes(u"a b\uFFFFc"), u"\"a b\"");
  EXPECT_EQ(inQuotes(u"\uFFFFabc"), u"\"\"");
  EXPECT_EQ(inQuotes(u"a b\uFFFFc", true, true), u"\"a b\"");
}

TEST(QuotingEndMark, EndsWhatTheWrappersWrite) {
  EXPECT_EQ(stringByQuotingIfNeeded(HxString("a\uFFFFb")), "\"a\""_hx);
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded(HxString("a\uFFFF b")), "\"a\""_hx);
  const HxString noBlank("a\uFFFFb");
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded(noBlank).object(), noBlank.object());
}

TEST(QuotingEndMark, EndsAWordAndNotAJoinedLine) {
  const HxArray words = HxArray::arrayWithObjects({HxString("a \uFFFFb"), HxString("c\uFFFF")});
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(words), "\"a \" \"c\""_hx);
  EXPECT_EQ(stringByConcatenatingObjectsAsStringList(words), HxString("\"a \" c\uFFFF"));
}

// ---- The wrappers -----------------------------------------------------------------------------

TEST(QuotingIfNeeded, ReturnsTheReceiverItselfForWordsOfTheAllowedCharacters) {
  const HxString words[] = {"azAZ09/.,+-_="_hx, HxString(std::string(50, '=')),
                            HxString("\u00E9\u4E2D\u0301\u0663"), ""_hx};
  for (const HxString& word : words) {
    EXPECT_EQ(stringByQuotingIfNeeded(word).object(), word.object()) << word.toStdString();
  }
}

TEST(QuotingIfNeeded, EveryASCIICharacterByItsKindAtAnyPlace) {
  for (int c = 0; c < 0x80; ++c) {
    const bool isAllowed = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                           (c >= 'a' && c <= 'z') ||
                           (c != 0 && "/.,+-_="s.find(static_cast<char>(c)) != std::string::npos);
    for (const std::size_t length : {1U, 7U, 8U, 9U, 15U, 16U, 17U, 33U}) {
      for (const std::size_t place : {std::size_t{0}, length / 2, length - 1}) {
        std::string text(length, 'x');
        text[place] = static_cast<char>(c);
        const HxString word(text);
        EXPECT_EQ(stringByQuotingIfNeeded(word).object() == word.object(), isAllowed)
            << c << " at " << place << " of " << length;
      }
    }
  }
}

TEST(QuotingIfNeeded, AlwaysQuotesWhenASingleCharacterIsNotAllowed) {
  EXPECT_EQ(stringByQuotingIfNeeded("a b"_hx), "\"a b\""_hx);
  EXPECT_EQ(stringByQuotingIfNeeded("it's"_hx), "\"it's\""_hx);
  EXPECT_EQ(stringByQuotingIfNeeded("a\\b"_hx), "\"a\\\\b\""_hx);
  EXPECT_EQ(stringByQuotingIfNeeded("tab\there"_hx), "\"tab\there\""_hx);
  EXPECT_EQ(stringByQuotingIfNeeded(HxString("\U0001F600")), HxString("\"\U0001F600\""));
  EXPECT_EQ(stringByQuotingIfNeeded(HxString("\u3000")), HxString("\"\u3000\""));
}

TEST(QuotingIfNeeded, EmptyTextStaysEmptyButNotInAJoinedLine) {
  EXPECT_EQ(stringByQuotingIfNeeded(""_hx), ""_hx);
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(HxArray::arrayWithObject(""_hx)),
            "\"\""_hx);
}

TEST(QuotingWhitespaceIfNeeded, QuotesForWhitespaceAlone) {
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded("a b"_hx), "\"a b\""_hx);
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded("a\nb"_hx), "\"a\nb\""_hx);
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded(HxString("a\u00A0b")), HxString("\"a\u00A0b\""));
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded("a \"b\" \\"_hx), "\"a \\\"b\\\" \\\\\""_hx);
}

TEST(QuotingWhitespaceIfNeeded, EveryUnitByItsKind) {
  const HxCharacterSet whitespace = HxCharacterSet::whitespaceAndNewlineCharacterSet();
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const HxString word(std::u16string{u'x', static_cast<char16_t>(unit)});
    ASSERT_EQ(stringByQuotingWhitespaceIfNeeded(word).object() != word.object(),
              whitespace.characterIsMember(static_cast<HxUniChar>(unit)))
        << unit;
  }
}

TEST(QuotingIfNeeded, EveryUnitByItsKind) {
  const HxCharacterSet alphanumeric = HxCharacterSet::alphanumericCharacterSet();
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const HxString word(std::u16string{u'x', static_cast<char16_t>(unit)});
    const bool isAllowed = alphanumeric.characterIsMember(static_cast<HxUniChar>(unit)) ||
                           u"/.,+-_="sv.find(static_cast<char16_t>(unit)) != std::u16string::npos;
    ASSERT_EQ(stringByQuotingIfNeeded(word).object() == word.object(), isAllowed) << unit;
  }
}

TEST(QuotingWrappers, WriteControlsAsEscapesAndTheRestAsItStands) {
  const HxString text(u" \x01\t\n\r\x07\u0100\u4E2D\\\""sv);
  const HxString expected(u"\" \\U0001\t\n\r\\a\u0100\u4E2D\\\\\\\"\""sv);
  EXPECT_EQ(stringByQuotingIfNeeded(text), expected);
  EXPECT_EQ(stringByQuotingWhitespaceIfNeeded(text), expected);
}

TEST(QuotingWhitespaceIfNeeded, ReturnsTextWithQuotesAndBackslashesBackUnchanged) {
  for (const HxString& word : {"\"a\""_hx, "it's"_hx, "a\\b"_hx, "a;b|c"_hx, ""_hx}) {
    EXPECT_EQ(stringByQuotingWhitespaceIfNeeded(word).object(), word.object());
  }
}

// ---- Joining ----------------------------------------------------------------------------------

TEST(QuotingJoin, CommandLine) {
  const HxArray words =
      HxArray::arrayWithObjects({"cc"_hx, "-DX=a b"_hx, ""_hx, "it's"_hx, "\\"_hx});
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(words),
            HxString(R"(cc "-DX=a b" "" "it's" "\\")"));
}

TEST(QuotingJoin, StringList) {
  const HxArray elements = HxArray::arrayWithObjects({"a"_hx, "b c"_hx, ""_hx, "it's"_hx, "\\"_hx});
  EXPECT_EQ(stringByConcatenatingObjectsAsStringList(elements), HxString(R"(a "b c" "" it's \)"));
}

TEST(QuotingJoin, EmptyArraysReturnTheEmptyStringAndNilReturnsNil) {
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(HxArray::array()), ""_hx);
  EXPECT_EQ(stringByConcatenatingObjectsAsStringList(HxArray::array()), ""_hx);
  EXPECT_TRUE(stringByConcatenatingObjectsAsCommandLineArguments(nullptr).isNil());
  EXPECT_TRUE(stringByConcatenatingObjectsAsStringList(nullptr).isNil());
}

TEST(QuotingJoin, OtherObjectsStandByTheirDescriptions) {
  const HxArray words = HxArray::arrayWithObjects({"-j"_hx, HxNumber::numberWithInt(-8)});
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(words), "-j -8"_hx);
}

// An object of a tool, with a description.
class Labelled final : public HxObject {
 public:
  explicit Labelled(const HxString& label) : _label(label) {}
  static HxClass classObject() noexcept { return HxObject::classObject(); }
  HxClass hxClass() const noexcept override { return classObject(); }
  HxString description() const override { return _label; }

 private:
  const HxString _label;
};

TEST(QuotingJoin, DescriptionsAreQuotedLikeWords) {
  const HxArray objects =
      HxArray::arrayWithObjects({makeRef<Labelled>(""_hx), makeRef<Labelled>("it's"_hx),
                                 makeRef<Labelled>(HxString("\u4E2D b"))});
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(objects),
            HxString("\"\" \"it's\" \"\u4E2D b\""));
  EXPECT_EQ(stringByConcatenatingObjectsAsStringList(objects), HxString("\"\" it's \"\u4E2D b\""));
}

TEST(QuotingJoin, EveryShortWordIsWrittenAsItsWrapperDoes) {
  test::forEachText(u"a \"\\\x01\n\u00A0\u4E2D\uFFFF"s, 4, [](const std::u16string& text) {
    const HxString word(text);
    const HxArray words = HxArray::arrayWithObjects({word, "-"_hx, word});
    const auto twice = [&](const HxString& quoted) {
      const std::u16string units = text.empty() ? u"\"\"" : charactersOf(quoted);
      return units + u" - " + units;
    };
    EXPECT_EQ(charactersOf(stringByConcatenatingObjectsAsCommandLineArguments(words)),
              twice(stringByQuotingIfNeeded(word)));
    EXPECT_EQ(charactersOf(stringByConcatenatingObjectsAsStringList(words)),
              twice(stringByQuotingWhitespaceIfNeeded(word)));
    return !testing::Test::HasFailure();
  });
}

TEST(QuotingJoin, AStringMayBeginNarrowAndGoOnWide) {
  const HxArray words = HxArray::arrayWithObjects(
      {"cc"_hx, "a b"_hx, HxString("\u4E2D \u6587"), "d"_hx, "e f"_hx, HxString("\u00E9")});
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(words),
            HxString("cc \"a b\" \"\u4E2D \u6587\" d \"e f\" \u00E9"));
}

TEST(QuotingJoin, AnyStringClassIsJoined) {
  const HxArray words = HxArray::arrayWithObjects(
      {test::openString(u"a b"), "c d"_hx.mutableCopy(), test::openString(u"")});
  const HxString line = stringByConcatenatingObjectsAsCommandLineArguments(words);
  EXPECT_EQ(line, "\"a b\" \"c d\" \"\""_hx);
  EXPECT_FALSE(line.asciiView().empty());
}

TEST(QuotingJoin, ManyLongWords) {
  HxMutableArray words = HxMutableArray::array();
  std::string expected;
  for (int i = 0; i < 300; ++i) {
    const std::string word(static_cast<std::size_t>(i), i % 2 ? 'x' : '\\');
    words.addObject(HxString(word));
    expected += i ? " " : "";
    expected += i % 2 ? word : "\"" + word + word + "\"";
  }
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(words).toStdString(), expected);
}

TEST(QuotingJoin, AShortLineTakesOneAllocation) {
  const HxArray words = HxArray::arrayWithObjects({"cc"_hx, "-c"_hx, "main file.c"_hx});
  const AllocationCounter counter;
  const HxString line = stringByConcatenatingObjectsAsCommandLineArguments(words);
  const std::size_t allocations = counter.count();
  EXPECT_EQ(line.length(), 19U);
  EXPECT_EQ(allocations, 1U);
}

// ---- There and back ---------------------------------------------------------------------------

TEST(QuotingRoundTrip, EveryShortTextComesBackFromACommandLine) {
  test::forEachText(u"a \"'\\\t\u00A0"s, 5, [](const std::u16string& text) {
    const HxString word(text);
    const HxArray words = HxArray::arrayWithObjects({"x"_hx, word, word});
    const HxString line = stringByConcatenatingObjectsAsCommandLineArguments(words);
    EXPECT_EQ(arrayByParsingAsCommandLineArguments(line), words) << line.toStdString();
    return !testing::Test::HasFailure();
  });
}

TEST(QuotingRoundTrip, EveryShortTextComesBackFromQuotesInAList) {
  test::forEachText(u"a \"'\\\t"s, 5, [](const std::u16string& text) {
    if (text.empty()) return true;  // no element in a list
    const HxString word(text);
    const HxString quotes = stringByQuotingOnlyIfNeeded(word, false, false, false);
    EXPECT_EQ(arrayByParsingAsStringList(quotes), HxArray::arrayWithObject(word))
        << quotes.toStdString();
    return !testing::Test::HasFailure();
  });
}

TEST(QuotingRoundTrip, OtherEscapesAreLettersToTheSplitters) {
  const HxString quotes = stringByQuotingOnlyIfNeeded("a\n\x07"_hx, false, true, false);
  EXPECT_EQ(textsOf(arrayByParsingAsCommandLineArguments(quotes)), (Texts{"ana"}));
  EXPECT_EQ(textsOf(arrayByParsingAsStringList(quotes)), (Texts{"ana"}));
}

}  // namespace
}  // namespace rondel
