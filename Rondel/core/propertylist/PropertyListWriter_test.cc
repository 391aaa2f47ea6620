// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Collections.h"
#include "Rondel/testing/PropertyLists.h"

namespace rondel {
namespace {

using namespace std::string_view_literals;
using test::bytesOf;
using test::entry;
using test::inXML;
using test::listOf;
using test::stringOf;

std::string written(const HxHandle& list, HxPropertyListFormat format) {
  HxError error;
  const HxData bytes = HxDataFromPropertyList(list, format, &error);
  EXPECT_TRUE(bytes) << error.localizedDescription().toStdString();
  return stringOf(bytes);
}

TEST(PropertyList, WritesTextWithSortedKeys) {
  const HxAny list = HxDictionary::dictionaryWithEntries(
      {{"b"_hx, HxArray::arrayWithObjects({"x"_hx, "y z"_hx, HxArray::array()})},
       {"a/"_hx, bytesOf("\x0F\xBD")},
       {"c"_hx, HxDictionary::dictionary()},
       {"B"_hx, entry("\u00E9"_hx, "d"_hx)}});
  EXPECT_EQ(written(list, HxPropertyListFormat::text),
            "{\n"
            "    B = {\n"
            "        d = \"\u00E9\";\n"
            "    };\n"
            "    \"a/\" = <0fbd>;\n"
            "    b = (\n"
            "        x,\n"
            "        \"y z\",\n"
            "        ()\n"
            "    );\n"
            "    c = {};\n"
            "}\n");
}

TEST(PropertyList, WritesXMLWithSortedKeys) {
  const HxAny list = HxDictionary::dictionaryWithEntries(
      {{"b"_hx, HxArray::arrayWithObjects({"x<&>\r"_hx, HxNumber::numberWithInt(-1)})},
       {"a"_hx, bytesOf("\x0F\xBD")},
       {"c"_hx, HxDictionary::dictionary()},
       {"d"_hx,
        HxArray::arrayWithObjects({HxNumber::numberWithBool(true), HxNumber::numberWithBool(false),
                                   HxNumber::numberWithDouble(0.5),
                                   HxDate::dateWithTimeIntervalSinceReferenceDate(0)})}});
  EXPECT_EQ(written(list, HxPropertyListFormat::xml),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "    <key>a</key>\n"
            "    <data>D70=</data>\n"
            "    <key>b</key>\n"
            "    <array>\n"
            "        <string>x&lt;&amp;&gt;&#13;</string>\n"
            "        <integer>-1</integer>\n"
            "    </array>\n"
            "    <key>c</key>\n"
            "    <dict/>\n"
            "    <key>d</key>\n"
            "    <array>\n"
            "        <true/>\n"
            "        <false/>\n"
            "        <real>0.5</real>\n"
            "        <date>2001-01-01T00:00:00Z</date>\n"
            "    </array>\n"
            "</dict>\n"
            "</plist>\n");
}

struct QuotingCase {
  std::u16string_view string;
  const char* text;
};

class PropertyListQuoting : public testing::TestWithParam<QuotingCase> {};

TEST_P(PropertyListQuoting, WritesAndReadsBack) {
  const HxString string(GetParam().string);
  const std::string text = written(string, HxPropertyListFormat::text);
  EXPECT_EQ(text, GetParam().text + std::string("\n"));
  EXPECT_EQ(HxPropertyListWithData(bytesOf(text)), string);
}

INSTANTIATE_TEST_SUITE_P(
    TextForm, PropertyListQuoting,
    testing::Values(QuotingCase{u"", "\"\""}, QuotingCase{u"aZ09_.-", "aZ09_.-"},
                    QuotingCase{u"a b", "\"a b\""}, QuotingCase{u"//", "\"//\""},
                    QuotingCase{u"\a\b\t\n\v\f\r\"\\", R"("\a\b\t\n\v\f\r\"\\")"},
                    QuotingCase{std::u16string_view(u"\0\x1B\x7F", 3), R"("\U0000\U001b\U007f")"},
                    QuotingCase{u"\u00E9\u4E2D\U0001F600", "\"\u00E9\u4E2D\U0001F600\""},
                    QuotingCase{u"\xFEFF", "\"\uFEFF\""}, QuotingCase{u"\xFFFF", "\"\uFFFF\""},
                    QuotingCase{u"\xD83D"
                                u"a\xDE00",
                                R"("\Ud83da\Ude00")"},
                    QuotingCase{u"a\xD83D", R"("a\Ud83d")"}));

TEST(PropertyList, TextMakesStringsOfNumbersAndDates) {
  const HxAny list = HxArray::arrayWithObjects(
      {HxNumber::numberWithInt(-5), HxNumber::numberWithDouble(1.5), HxNumber::numberWithBool(true),
       HxNumber::numberWithBool(false), HxDate::dateWithTimeIntervalSinceReferenceDate(61)});
  EXPECT_EQ(
      HxPropertyListWithData(HxDataFromPropertyList(list, HxPropertyListFormat::text)),
      HxArray::arrayWithObjects({"-5"_hx, "1.5"_hx, "1"_hx, "0"_hx, "2001-01-01T00:01:01Z"_hx}));
}

TEST(PropertyList, XMLReturnsEveryKindBack) {
  const HxArray list = HxArray::arrayWithObjects(
      {HxNumber::numberWithInteger(std::numeric_limits<HxInteger>::min()),
       HxNumber::numberWithUnsignedInteger(std::numeric_limits<HxUInteger>::max()),
       HxNumber::numberWithDouble(0.1), HxNumber::numberWithDouble(-1e300),
       HxNumber::numberWithDouble(std::numeric_limits<double>::infinity()),
       HxNumber::numberWithBool(true), HxDate::dateWithTimeIntervalSinceReferenceDate(-1e9),
       " \t\r\n\u00E9\U0001F600\x7F]]>"_hx, HxString::string(), bytesOf("\0\xFF"sv), HxData::data(),
       entry(HxArray::array(), HxString::string())});
  const HxAny read =
      HxPropertyListWithData(HxDataFromPropertyList(list, HxPropertyListFormat::xml));
  EXPECT_EQ(read, list);
  EXPECT_TRUE(as<HxArray>(read).objectAtIndex<HxNumber>(5).isBoolean());
}

TEST(PropertyList, WhatIsNoPropertyListIsNotWritten) {
  const HxAny set = HxSet::set();
  const HxDictionary badKey =
      HxDictionary::dictionaryWithObject("a"_hx, HxNumber::numberWithInt(1));
  const std::string className = set.hxClass().name();
  const struct {
    HxAny list;
    std::string description;
  } cases[] = {
      {nullptr, "a value of class nil is not a property list"},
      {set, "a value of class " + className + " is not a property list"},
      {badKey, "a key of class HxNumber is not a string"},
      {entry(HxArray::arrayWithObjects({"b"_hx, entry(set, "c"_hx)}), "a"_hx),
       "key 'a', index 1, key 'c': a value of class " + className + " is not a property list"},
      {HxArray::arrayWithObject(HxDate::dateWithTimeIntervalSinceReferenceDate(1e15)),
       "index 0: date outside the years 0 to 9999"},
  };
  for (const auto& [list, description] : cases) {
    for (const auto format : {HxPropertyListFormat::text, HxPropertyListFormat::xml}) {
      HxError error;
      EXPECT_TRUE(HxDataFromPropertyList(list, format, &error).isNil());
      EXPECT_EQ(error.domain(), HxPropertyListErrorDomain);
      EXPECT_EQ(error.code(), HxPropertyListValueError);
      EXPECT_EQ(error.localizedDescription().toStdString(), description);
    }
  }
}

TEST(PropertyList, XMLRefusesCharactersThatItDoesNotAllow) {
  const struct {
    std::u16string_view string;
    const char* name;
  } cases[] = {{u"a\x01", "U+0001"},        {u"\x1F", "U+001F"},   {u"\xD800", "U+D800"},
               {u"\xDC00\xD800", "U+DC00"}, {u"\xFFFE", "U+FFFE"}, {u"\xFFFF", "U+FFFF"}};
  for (const auto& [string, name] : cases) {
    HxError error;
    EXPECT_TRUE(
        HxDataFromPropertyList(HxString(string), HxPropertyListFormat::xml, &error).isNil());
    EXPECT_EQ(error.localizedDescription().toStdString(),
              "XML does not allow " + std::string(name) + " in a string");
  }
}

TEST(PropertyList, WritesToTheDepthLimitAndNoDeeper) {
  HxAny list = HxArray::array();
  for (HxUInteger depth = 1; depth < HxPropertyListDepthLimit; ++depth) {
    list = HxArray::arrayWithObject(list);
  }
  const HxAny deeper = HxArray::arrayWithObject(list);
  HxMutableArray endless = HxMutableArray::array();
  endless.addObject(endless);
  for (const auto format : {HxPropertyListFormat::text, HxPropertyListFormat::xml}) {
    EXPECT_EQ(HxPropertyListWithData(HxDataFromPropertyList(list, format)), list);
    for (const HxAny& tooDeep : {deeper, HxAny(endless)}) {
      HxError error;
      EXPECT_TRUE(HxDataFromPropertyList(tooDeep, format, &error).isNil());
      EXPECT_EQ(error.code(), HxPropertyListDepthError);
    }
  }
  endless.removeAllObjects();
}

TEST(PropertyList, NamesTheEndsOfALongPlace) {
  const std::string fault = "a value of class HxSet is not a property list";
  const std::string ends = "index 1, index 1, index 1, index 1";
  HxAny list = HxSet::set();
  for (int depth = 1; depth <= 20; ++depth) {
    list = HxArray::arrayWithObjects({"x"_hx, list});
    std::string whole = "index 1";
    for (int i = 1; i < depth; ++i) whole += ", index 1";
    for (const auto format : {HxPropertyListFormat::text, HxPropertyListFormat::xml}) {
      HxError error;
      HxDataFromPropertyList(list, format, &error);
      EXPECT_EQ(error.localizedDescription().toStdString(),
                (depth > 8 ? ends + ", ..., " + ends : whole) + ": " + fault);
    }
  }
  list = HxDictionary::dictionaryWithObject(HxArray::arrayWithObject(list), "k"_hx);
  HxError error;
  HxDataFromPropertyList(list, HxPropertyListFormat::text, &error);
  EXPECT_EQ(error.localizedDescription().toStdString(),
            "key 'k', index 0, index 1, index 1, ..., " + ends + ": " + fault);
}

HxAny nestedArrays(HxUInteger depth) {
  HxAny list = HxArray::array();
  while (--depth > 0) list = HxArray::arrayWithObject(list);
  return list;
}
HxAny nestedDictionaries(HxUInteger depth) {
  HxAny list = HxDictionary::dictionary();
  while (--depth > 0) list = entry(list, "a"_hx);
  return list;
}

TEST(PropertyList, ListsFarBeyondTheDepthLimitAreNeitherWrittenNorCopied) {
  constexpr HxUInteger kDepth = 100'000;
  for (const HxAny& list : {nestedArrays(kDepth), nestedDictionaries(kDepth)}) {
    for (const auto format : {HxPropertyListFormat::text, HxPropertyListFormat::xml}) {
      HxError error;
      EXPECT_TRUE(HxDataFromPropertyList(list, format, &error).isNil());
      EXPECT_EQ(error.code(), HxPropertyListDepthError);
    }
    EXPECT_TRUE(internal::copyOfPropertyList(list).isNil());
  }
}

TEST(PropertyList, ListsAreCopiedToTheDepthLimitAndNoDeeper) {
  for (const auto nested : {nestedArrays, nestedDictionaries}) {
    const HxAny deepest = nested(HxPropertyListDepthLimit);
    EXPECT_EQ(internal::copyOfPropertyList(deepest), deepest);
    EXPECT_TRUE(internal::copyOfPropertyList(nested(HxPropertyListDepthLimit + 1)).isNil());
  }
}

// A key that is another text each time that it is read.
class Restless final : public HxStringObject {
 public:
  HxUInteger length() const override { return 1; }
  HxUniChar characterAtIndex(HxUInteger) const override {
    _state = _state * 1103515245 + 12345;
    return static_cast<HxUniChar>('a' + (_state >> 16) % 26);
  }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = characterAtIndex(i);
  }

 private:
  static inline std::uint32_t _state = 1;
};

TEST(PropertyList, KeysThatCompareInNoOrderAreAllWritten) {
  constexpr std::ptrdiff_t kCount = 1000;
  test::OpenDictionary::Entries entries;
  for (std::ptrdiff_t i = 0; i < kCount; ++i) {
    entries.push_back({HxString::stringWithObject(makeRef<Restless>()), "V"_hx});
  }
  const HxDictionary list = test::openDictionary(std::move(entries));
  for (const auto format : {HxPropertyListFormat::text, HxPropertyListFormat::xml}) {
    const std::string text = written(list, format);
    EXPECT_EQ(std::ranges::count(text, 'V'), kCount) << text;
  }
}

TEST(PropertyList, WhatIsReadIsImmutable) {
  for (const std::string& input :
       {std::string("{ a = ( b ); }"), inXML("<dict><key>a</key><array><true/></array></dict>")}) {
    const HxAny list = listOf(input);
    EXPECT_FALSE(HxMutableDictionary::canHold(list.object()));
    EXPECT_FALSE(HxMutableArray::canHold(as<HxDictionary>(list).objectForKey("a"_hx).object()));
  }
}

}  // namespace
}  // namespace rondel
