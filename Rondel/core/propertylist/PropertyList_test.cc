// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/PropertyList.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/PropertyLists.h"

namespace rondel {
namespace {

using test::bytesOf;
using test::entry;
using test::inXML;
using test::listOf;
using test::stringOf;

HxString stringFrom(std::string_view utf8) { return HxString(utf8); }
HxString path(const std::string& utf8) { return HxString(std::string_view(utf8)); }

// The description of the error, and the same for the text as data.
std::string errorOf(std::string_view utf8) {
  HxError error;
  HxError errorOfData;
  EXPECT_TRUE(HxPropertyListWithString(stringFrom(utf8), &error).isNil()) << utf8;
  EXPECT_TRUE(HxPropertyListWithData(bytesOf(utf8), &errorOfData).isNil()) << utf8;
  EXPECT_EQ(error.domain(), HxPropertyListErrorDomain);
  EXPECT_EQ(error.localizedDescription(), errorOfData.localizedDescription());
  return error.localizedDescription().toStdString();
}

std::string repeated(std::string_view piece, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += piece;
  return result;
}

std::string nested(std::string_view open, std::string_view close, std::size_t depth) {
  return repeated(open, depth) + repeated(close, depth);
}

// ---- The text form

struct StringCase {
  const char* input;
  std::string_view expected;  // UTF-8
};

class PropertyListString : public testing::TestWithParam<StringCase> {};

TEST_P(PropertyListString, Reads) {
  const HxString string = as<HxString>(listOf(GetParam().input));
  EXPECT_EQ(string.toStdString(), GetParam().expected);
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(
    TextForm, PropertyListString,
    testing::Values(
        StringCase{"word", "word"}, StringCase{" \t\r\n\f\vword\n", "word"},
        StringCase{"/usr/bin:a_$b.c-d+1", "/usr/bin:a_$b.c-d+1"}, StringCase{"-12.5", "-12.5"},
        StringCase{"http://host/x", "http://host/x"}, StringCase{R"("")", ""},
        StringCase{R"("two words")", "two words"}, StringCase{"\"two\nlines\"", "two\nlines"},
        StringCase{R"("\a\b\f\n\r\t\v\"\\")", "\a\b\f\n\r\t\v\"\\"}, StringCase{R"("\0")", "\0"sv},
        StringCase{R"("\101\12x\1010")", "A\nxA0"}, StringCase{R"("\377\351")", "\u00FF\u00E9"},
        StringCase{R"("\U00e9\U4E2d")", "\u00E9\u4E2D"},
        StringCase{R"("\Ud83d\Ude00")", "\U0001F600"},
        StringCase{"\"\u00E9 \U0001F600\"", "\u00E9 \U0001F600"},
        StringCase{R"("// no /* comment */")", "// no /* comment */"},
        StringCase{"// before\nword // behind", "word"}, StringCase{"/* * / ** */word/**/", "word"},
        StringCase{"/**/word /* behind */", "word"}, StringCase{"//\rword", "word"},
        StringCase{"word/* behind */", "word"}, StringCase{"/usr/", "/usr/"},
        StringCase{"\uFEFFword", "word"}, StringCase{"\u2028word\u2029", "word"}));

TEST(PropertyList, LineCommentDoesNotBeginInsideABareWord) { EXPECT_EQ(listOf("a//b"), "a//b"_hx); }

TEST(PropertyList, EscapesMayLeaveASurrogateAlone) {
  const HxString lone = as<HxString>(listOf(R"("\Udc00")"));
  ASSERT_EQ(lone.length(), 1u);
  EXPECT_EQ(lone.characterAtIndex(0), 0xDC00);
}

TEST(PropertyList, ReadsArrays) {
  EXPECT_EQ(listOf("()"), HxArray::array());
  EXPECT_EQ(listOf("( a, \"b c\", )"), HxArray::arrayWithObjects({"a"_hx, "b c"_hx}));
  EXPECT_EQ(
      listOf("(a,(b,()))"),
      HxArray::arrayWithObjects({"a"_hx, HxArray::arrayWithObjects({"b"_hx, HxArray::array()})}));
}

TEST(PropertyList, ReadsDictionaries) {
  EXPECT_EQ(listOf("{}"), HxDictionary::dictionary());
  EXPECT_EQ(listOf("{ a = b; \"c d\" = ( e ); f = { g = h; }; }"),
            HxDictionary::dictionaryWithEntries({{"a"_hx, "b"_hx},
                                                 {"c d"_hx, HxArray::arrayWithObject("e"_hx)},
                                                 {"f"_hx, entry("h"_hx, "g"_hx)}}));
}

TEST(PropertyList, KeyAloneIsItsOwnValue) {
  EXPECT_EQ(listOf("{ \"a b\"; }"), entry("a b"_hx, "a b"_hx));
  EXPECT_EQ(listOf("key;"), entry("key"_hx, "key"_hx));
}

TEST(PropertyList, LastOfEqualKeysCounts) {
  EXPECT_EQ(listOf("{ a = 1; a = 2; }"), entry("2"_hx, "a"_hx));
  EXPECT_EQ(
      listOf(inXML("<dict><key>a</key><string>1</string><key>a</key><string>2</string></dict>")),
      entry("2"_hx, "a"_hx));
}

TEST(PropertyList, ReadsTablesWithoutBraces) {
  EXPECT_EQ(listOf("/* Menu */\n\"Open\" = \"\u00D6ffnen\";\nClose = ( a );\n// end"),
            HxDictionary::dictionaryWithEntries(
                {{"Open"_hx, "\u00D6ffnen"_hx}, {"Close"_hx, HxArray::arrayWithObject("a"_hx)}}));
}

TEST(PropertyList, TextOfBlanksAndCommentsIsAnEmptyTable) {
  for (const char* input : {"", " \n", "// nothing", "/* nothing */\n", "\uFEFF"}) {
    EXPECT_EQ(listOf(input), HxDictionary::dictionary()) << input;
  }
}

TEST(PropertyList, ReadsData) {
  EXPECT_EQ(listOf("<>"), HxData::data());
  EXPECT_EQ(listOf("<0fBD 77\n00>"), bytesOf("\x0F\xBD\x77\x00"sv));
  EXPECT_EQ(listOf("< da >"), bytesOf("\xDA"));
  EXPECT_EQ(listOf("{ a = <00>; }"), entry(bytesOf("\0"sv), "a"_hx));
}

struct ErrorCase {
  std::string_view input;
  const char* description;
};

class PropertyListError : public testing::TestWithParam<ErrorCase> {};

TEST_P(PropertyListError, NamesLineAndColumn) {
  EXPECT_EQ(errorOf(GetParam().input), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    TextForm, PropertyListError,
    testing::Values(
        ErrorCase{"{", "line 1, column 2: expected a key or '}', found the end of the text"},
        ErrorCase{"{ a", "line 1, column 4: expected '=' or ';', found the end of the text"},
        ErrorCase{"{ a =", "line 1, column 6: expected a value, found the end of the text"},
        ErrorCase{"{ a = b", "line 1, column 8: expected ';', found the end of the text"},
        ErrorCase{"{ a = b }", "line 1, column 9: expected ';', found '}'"},
        ErrorCase{"{ a = b;", "line 1, column 9: expected a key or '}', found the end of the text"},
        ErrorCase{"{ = b; }", "line 1, column 3: expected a key, found '='"},
        ErrorCase{"{ (a) = b; }", "line 1, column 3: expected a key, found '('"},
        ErrorCase{"{ a b; }", "line 1, column 5: expected '=' or ';', found 'b'"},
        ErrorCase{"{\n  a = b;\n  c = ;\n}", "line 3, column 7: expected a value, found ';'"},
        ErrorCase{"{\r\n\r  a = \u00E9;}", "line 3, column 7: expected a value, found '\u00E9'"},
        ErrorCase{"{ \"\u00E9\U0001F600\" = ;}", "line 1, column 10: expected a value, found ';'"},
        ErrorCase{"(\U0001F600)", "line 1, column 2: expected a value, found '\U0001F600'"},
        ErrorCase{"(", "line 1, column 2: expected a value, found the end of the text"},
        ErrorCase{"(a", "line 1, column 3: expected ',' or ')', found the end of the text"},
        ErrorCase{"(a b)", "line 1, column 4: expected ',' or ')', found 'b'"},
        ErrorCase{"(,)", "line 1, column 2: expected a value, found ','"},
        ErrorCase{"a b", "line 1, column 3: expected the end of the text, found 'b'"},
        ErrorCase{"a = b; }", "line 1, column 8: expected the end of the text, found '}'"},
        ErrorCase{"a = b", "line 1, column 6: expected ';', found the end of the text"},
        ErrorCase{"<0fb>", "line 1, column 5: odd number of hexadecimal digits in data"},
        ErrorCase{"<0f", "line 1, column 1: unterminated data"},
        ErrorCase{"<0g>", "line 1, column 3: expected a hexadecimal digit or '>', found 'g'"},
        ErrorCase{"\n \"abc", "line 2, column 2: unterminated string"},
        ErrorCase{"\"abc\\\"", "line 1, column 1: unterminated string"},
        ErrorCase{"a /* b", "line 1, column 3: unterminated comment"},
        ErrorCase{"/*/", "line 1, column 1: unterminated comment"},
        ErrorCase{R"("a\q")", "line 1, column 3: unknown escape sequence"},
        ErrorCase{R"("a\8")", "line 1, column 3: unknown escape sequence"},
        ErrorCase{"\"a\\", "line 1, column 3: unknown escape sequence"},
        ErrorCase{R"("\U12g4")", "line 1, column 2: expected four hexadecimal digits after \\U"},
        ErrorCase{R"("\U12)", "line 1, column 2: expected four hexadecimal digits after \\U"},
        ErrorCase{R"("\u1234")", "line 1, column 2: unknown escape sequence"},
        ErrorCase{R"("\400")", "line 1, column 2: octal escape above \\377"},
        ErrorCase{"a\0b"sv, "line 1, column 2: expected the end of the text, found U+0000"}));

TEST(PropertyList, EachTruncationOfATextIsAnErrorOrAWholeList) {
  const std::string whole = "{ \"a b\" = ( c, <0fbd> ); d = \"\\U00e9\"; }";
  for (std::size_t length = 1; length < whole.size(); ++length) {
    EXPECT_TRUE(HxPropertyListWithString(stringFrom(whole.substr(0, length))).isNil()) << length;
  }
}

TEST(PropertyList, NestsToTheLimitAndNoDeeper) {
  for (const auto& brackets : {std::pair{"(", ")"}, {"{a=", ";}"}}) {
    const char* open = brackets.first;
    const char* close = brackets.second;
    const std::string inner = open[0] == '(' ? "" : "b";
    const auto list = [&](std::size_t depth) {
      return repeated(open, depth) + inner + repeated(close, depth);
    };
    EXPECT_TRUE(listOf(list(HxPropertyListDepthLimit)));
    HxError error;
    EXPECT_TRUE(
        HxPropertyListWithString(stringFrom(list(HxPropertyListDepthLimit + 1)), &error).isNil());
    EXPECT_EQ(error.code(), HxPropertyListDepthError);
  }
  EXPECT_EQ(errorOf(nested("(", ")", 100'000)),
            "line 1, column 513: nested deeper than 512 containers");
  EXPECT_EQ(errorOf(inXML(nested("<array>", "</array>", 100'000))),
            "line 2, column 3606: nested deeper than 512 containers");
}

// ---- Encodings

TEST(PropertyList, DataMayBeInUTF8OrUTF16) {
  const HxAny expected = entry("\u00E9\U0001F600"_hx, "a"_hx);
  for (const std::string& list :
       {std::string("{ a = \"\u00E9\U0001F600\"; }"),
        inXML("<dict><key>a</key><string>\u00E9\U0001F600</string></dict>")}) {
    EXPECT_EQ(HxPropertyListWithData(bytesOf(list)), expected);
    EXPECT_EQ(HxPropertyListWithData(bytesOf("\xEF\xBB\xBF" + list)), expected);
    EXPECT_EQ(HxPropertyListWithString(stringFrom("\uFEFF" + list)), expected);
    std::string little("\xFF\xFE");
    std::string big("\xFE\xFF");
    const HxString units = stringFrom(list);
    for (HxUInteger i = 0; i < units.length(); ++i) {
      const HxUniChar unit = units.characterAtIndex(i);
      little += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
      big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    }
    EXPECT_EQ(HxPropertyListWithData(bytesOf(little)), expected);
    EXPECT_EQ(HxPropertyListWithData(bytesOf(big)), expected);
  }
}

TEST(PropertyList, XMLMayDeclareAnEightBitEncoding) {
  EXPECT_EQ(HxPropertyListWithData(bytesOf("<?xml version='1.0' encoding='ISO-8859-1'?>"
                                           "<plist><string>\xE9</string></plist>")),
            "\u00E9"_hx);
}

TEST(PropertyList, DeclaredEncodingDoesNotMatterInAString) {
  EXPECT_EQ(listOf("<?xml version='1.0' encoding='UTF-16'?><plist><string>\u00E9</string></plist>"),
            "\u00E9"_hx);
}

TEST(PropertyList, BytesThatAreNoTextAreAnEncodingError) {
  const struct {
    std::string_view bytes;
    const char* description;
  } cases[] = {
      {"{\n a = \"\u00E9\xFF\"; }", "line 2, column 8: invalid UTF-8"},
      {"ab\xC3", "line 1, column 3: invalid UTF-8"},
      {"\xED\xA0\x80", "line 1, column 1: invalid UTF-8"},
      {"\xEF\xBB\xBF"
       "a\x80",
       "line 1, column 2: invalid UTF-8"},
      {"\xFF\xFE"
       "a\0b"sv,
       "line 1, column 2: incomplete character at the end of the data"},
      {"\xFE\xFF\0<\0p\xD8\0\0>"sv, "line 1, column 3: lone surrogate"},
      {"\xFE\xFF\0<\0p\xDC\0\0>"sv, "line 1, column 3: lone surrogate"},
      {"<?xml version='1.0' encoding='X-NONE'?><plist/>", "line 1, column 31: unknown encoding"},
  };
  for (const auto& [bytes, description] : cases) {
    HxError error;
    EXPECT_TRUE(HxPropertyListWithData(bytesOf(bytes), &error).isNil());
    EXPECT_EQ(error.code(), HxPropertyListEncodingError);
    EXPECT_EQ(error.localizedDescription().toStdString(), description);
  }
}

// ---- The XML form

TEST(PropertyList, ReadsEveryElement) {
  const struct {
    const char* value;
    HxAny expected;
  } cases[] = {
      {"<string/>", HxString::string()},
      {"<string> a&lt;&amp;&#233;<![CDATA[<b>]]> </string>", " a<&\u00E9<b> "_hx},
      {"<integer>-12</integer>", HxNumber::numberWithInteger(-12)},
      {"<integer> +7\n</integer>", HxNumber::numberWithInteger(7)},
      {"<integer>-9223372036854775808</integer>",
       HxNumber::numberWithInteger(std::numeric_limits<HxInteger>::min())},
      {"<integer>18446744073709551615</integer>",
       HxNumber::numberWithUnsignedInteger(std::numeric_limits<HxUInteger>::max())},
      {"<real>1.5e3</real>", HxNumber::numberWithDouble(1500)},
      {"<true/>", HxNumber::numberWithBool(true)},
      {"<false></false>", HxNumber::numberWithBool(false)},
      {"<date>2001-01-01T00:01:00Z</date>", HxDate::dateWithTimeIntervalSinceReferenceDate(60)},
      {"<data>\n AP8Q \n</data>", bytesOf("\x00\xFF\x10"sv)},
      {"<data>AP8=</data>", bytesOf("\x00\xFF"sv)},
      {"<data/>", HxData::data()},
      {"<array/>", HxArray::array()},
      {"<array> <string>a</string> <array/> </array>",
       HxArray::arrayWithObjects({"a"_hx, HxArray::array()})},
      {"<dict/>", HxDictionary::dictionary()},
      {"<dict a='b'><!-- c --><key>a</key><true/></dict>",
       entry(HxNumber::numberWithBool(true), "a"_hx)},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(listOf(inXML(value)), expected) << value;
}

TEST(PropertyList, XMLKeepsTheKindsOfNumbers) {
  EXPECT_TRUE(as<HxNumber>(listOf(inXML("<true/>"))).isBoolean());
  EXPECT_TRUE(as<HxNumber>(listOf(inXML("<real>1</real>"))).isReal());
  EXPECT_FALSE(as<HxNumber>(listOf(inXML("<integer>1</integer>"))).isReal());
}

TEST(PropertyList, DocumentTypeIsReadOverAndNeverFetched) {
  EXPECT_EQ(
      listOf("<!DOCTYPE plist PUBLIC '-//A//B//EN' 'file:///etc/passwd'><plist><true/></plist>"),
      HxNumber::numberWithBool(true));
}

INSTANTIATE_TEST_SUITE_P(
    XMLForm, PropertyListError,
    testing::Values(
        ErrorCase{"<plist", "line 1, column 1: unclosed token"},
        ErrorCase{"<plist>", "line 1, column 8: no element found"},
        ErrorCase{"<plist><dict></plist>", "line 1, column 16: mismatched tag"},
        ErrorCase{"<plist>\n</plist>", "line 2, column 1: no value in <plist>"},
        ErrorCase{"<plist><true/>\n<true/></plist>",
                  "line 2, column 1: more than one value in <plist>"},
        ErrorCase{"<dict/>", "line 1, column 1: expected <plist>, found <dict>"},
        ErrorCase{"<plist><plist/></plist>", "line 1, column 8: unexpected <plist> in <plist>"},
        ErrorCase{"<plist><other/></plist>", "line 1, column 8: unknown element <other>"},
        ErrorCase{"<plist><string><true/></string></plist>",
                  "line 1, column 16: unexpected <true> in <string>"},
        ErrorCase{"<plist><key>a</key></plist>",
                  "line 1, column 8: unexpected <key> outside <dict>"},
        ErrorCase{"<plist><array><key>a</key></array></plist>",
                  "line 1, column 15: unexpected <key> outside <dict>"},
        ErrorCase{"<plist><dict><true/></dict></plist>",
                  "line 1, column 14: expected <key>, found <true>"},
        ErrorCase{"<plist><dict><key>a</key></dict></plist>",
                  "line 1, column 26: expected a value, found </dict>"},
        ErrorCase{"<plist><dict><key>a</key><key>b</key></dict></plist>",
                  "line 1, column 26: expected a value, found <key>"},
        ErrorCase{"<plist><array>a</array></plist>", "line 1, column 15: unexpected text"},
        ErrorCase{"<plist><true>a</true></plist>", "line 1, column 15: invalid text in <true>"},
        ErrorCase{"<plist><integer>1x</integer></plist>",
                  "line 1, column 19: invalid text in <integer>"},
        ErrorCase{"<plist><integer>18446744073709551616</integer></plist>",
                  "line 1, column 37: invalid text in <integer>"},
        ErrorCase{"<plist><integer/></plist>", "line 1, column 18: invalid text in <integer>"},
        ErrorCase{"<plist><real>+-1</real></plist>", "line 1, column 17: invalid text in <real>"},
        ErrorCase{"<plist><date>today</date></plist>", "line 1, column 19: invalid text in <date>"},
        ErrorCase{"<plist><data>A</data></plist>", "line 1, column 15: invalid text in <data>"},
        ErrorCase{"<plist><data>AP8</data></plist>", "line 1, column 17: invalid text in <data>"},
        ErrorCase{"<plist><data>AP9=</data></plist>", "line 1, column 18: invalid text in <data>"},
        ErrorCase{"<plist><data>A===</data></plist>", "line 1, column 18: invalid text in <data>"},
        ErrorCase{"<plist><data>=AP8</data></plist>", "line 1, column 18: invalid text in <data>"},
        ErrorCase{"<plist><string>&a;</string></plist>", "line 1, column 16: undefined entity"},
        ErrorCase{"<!DOCTYPE plist SYSTEM 'x'><plist><string>&a;</string></plist>",
                  "line 1, column 43: undeclared entity 'a'"},
        ErrorCase{"<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><string>&a;</string></plist>",
                  "line 1, column 29: entity declarations are not allowed"},
        ErrorCase{"<!DOCTYPE plist [<!ENTITY a SYSTEM "
                  "'file:///etc/passwd'>]><plist><string>&a;</string></plist>",
                  "line 1, column 56: entity declarations are not allowed"},
        ErrorCase{"<plist><true/></plist>x", "line 1, column 23: junk after document element"}));

// ---- Nil and files

TEST(PropertyList, NilIsAnError) {
  HxError error;
  EXPECT_TRUE(HxPropertyListWithString(nullptr, &error).isNil());
  EXPECT_EQ(error.localizedDescription(), "line 1, column 1: no text"_hx);
  EXPECT_TRUE(HxPropertyListWithData(nullptr, &error).isNil());
  EXPECT_EQ(error.localizedDescription(), "line 1, column 1: no data"_hx);
  EXPECT_TRUE(HxPropertyListWithContentsOfFile(nullptr, &error).isNil());
  EXPECT_EQ(error.domain(), HxPOSIXErrorDomain);
  EXPECT_EQ(error.code(), EINVAL);
}

TEST(PropertyList, ErrorMayBeLeftOut) {
  EXPECT_TRUE(HxPropertyListWithString("{"_hx).isNil());
  EXPECT_TRUE(HxPropertyListWithContentsOfFile("/none"_hx).isNil());
  EXPECT_TRUE(HxDataFromPropertyList(nullptr, HxPropertyListFormat::text).isNil());
}

TEST(PropertyList, ErrorOfAFileNamesThePath) {
  const test::TemporaryDirectory folder;
  const HxString damaged = path(folder.write("damaged.plist", "{\n"));
  HxError error;
  EXPECT_TRUE(HxPropertyListWithContentsOfFile(damaged, &error).isNil());
  EXPECT_EQ(error.userInfo().objectForKey(HxFilePathErrorKey), damaged);
  EXPECT_EQ(
      error.localizedDescription(),
      HxString::stringByConcatenating(
          damaged, ": line 2, column 1: expected a key or '}', found the end of the text"_hx));

  const HxString missing = path(folder.path("missing.plist"));
  EXPECT_TRUE(HxPropertyListWithContentsOfFile(missing, &error).isNil());
  EXPECT_EQ(error.domain(), HxPOSIXErrorDomain);
  EXPECT_EQ(error.code(), ENOENT);
  EXPECT_EQ(error.userInfo().objectForKey(HxFilePathErrorKey), missing);

  EXPECT_TRUE(HxPropertyListWithContentsOfFile(path(folder.path()), &error).isNil());
  EXPECT_EQ(error.code(), EISDIR);
}

TEST(PropertyList, DictionaryOfAFileNeedsADictionaryAtTheRoot) {
  const test::TemporaryDirectory folder;
  const auto read = [&](std::string_view contents) {
    return HxDictionary::dictionaryWithContentsOfFile(path(folder.write("list", contents)));
  };
  EXPECT_EQ(read("{ a = b; }"), entry("b"_hx, "a"_hx));
  EXPECT_EQ(read(inXML("<dict/>")), HxDictionary::dictionary());
  EXPECT_TRUE(read("( a )").isNil());
  EXPECT_TRUE(read("{ a = b; ").isNil());
  EXPECT_TRUE(HxDictionary::dictionaryWithContentsOfFile(nullptr).isNil());
  EXPECT_TRUE(HxDictionary::dictionaryWithContentsOfFile("/none"_hx).isNil());
}

}  // namespace
}  // namespace rondel
