// SPDX-License-Identifier: MIT
#include "Rondel/additions/Escaping.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::forEachText;
using test::kTextForms;
using test::makeText;
using test::randomText;
using test::TextForm;
using test::unitsOf;

// By the rules alone.
std::u16string inXML(const std::u16string& text) {
  std::u16string result;
  for (const char16_t unit : text) {
    switch (unit) {
      case u'<':
        result += u"&lt;";
        break;
      case u'>':
        result += u"&gt;";
        break;
      case u'&':
        result += u"&amp;";
        break;
      case u'"':
        result += u"&quot;";
        break;
      case u'\'':
        result += u"&apos;";
        break;
      default:
        result += unit;
    }
  }
  return result;
}

struct Escape {
  std::u16string text;
  std::u16string forXML;
  std::u16string withPercents;
};

class EscapingTable : public testing::TestWithParam<Escape> {};

TEST_P(EscapingTable, ReplacesSingleCharacters) {
  const Escape& escape = GetParam();
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, escape.text);
    EXPECT_EQ(unitsOf(stringByEscapingForXML(text)), escape.forXML) << nameOf(form);
    EXPECT_EQ(unitsOf(stringByEscapingPercents(text)), escape.withPercents) << nameOf(form);
  }
}

const Escape kEscapes[] = {
    {u"", u"", u""},
    {u"abc", u"abc", u"abc"},
    {u"<", u"&lt;", u"<"},
    {u">", u"&gt;", u">"},
    {u"&", u"&amp;", u"&"},
    {u"\"", u"&quot;", u"\""},
    {u"'", u"&apos;", u"'"},
    {u"%", u"%", u"%%"},
    {u"<>&\"'", u"&lt;&gt;&amp;&quot;&apos;", u"<>&\"'"},
    {u"&lt;", u"&amp;lt;", u"&lt;"},  // text that is escaped already is escaped again
    {u"100%% of %d", u"100%% of %d", u"100%%%% of %%d"},
    {u"\u4E2D<\u00E9%", u"\u4E2D&lt;\u00E9%", u"\u4E2D<\u00E9%%"},
    {u"\U0001F600&", u"\U0001F600&amp;", u"\U0001F600&"},
    {std::u16string(u"\0\x01\x7F\n", 4), std::u16string(u"\0\x01\x7F\n", 4),
     std::u16string(u"\0\x01\x7F\n", 4)},
    {u"\uFFFF<", u"\uFFFF&lt;", u"\uFFFF<"},  // a character like others here
    {u"\xD800<", u"\xD800&lt;", u"\xD800<"},
};

INSTANTIATE_TEST_SUITE_P(All, EscapingTable, testing::ValuesIn(kEscapes));

TEST(Escaping, TextWithNoneOfTheFiveIsTheSameTextInANewString) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"a\u4E2D%");
    const HxString escaped = stringByEscapingForXML(text);
    EXPECT_EQ(escaped, text);
    EXPECT_NE(escaped.object(), text.object()) << nameOf(form);
  }
  const HxString text = "abc"_hx;
  EXPECT_EQ(stringByEscapingForXML(text), text);
  EXPECT_NE(stringByEscapingForXML(text).object(), text.object());
}

TEST(Escaping, EscapesEveryCombination) {
  forEachText(u"a<&\"\u4E2D", 6, [](const std::u16string& units) {
    EXPECT_EQ(unitsOf(stringByEscapingForXML(HxString(units))), inXML(units));
    return !testing::Test::HasFailure();
  });
}

TEST(Escaping, EscapesTextOfEveryLength) {
  for (const char16_t* const alphabet : {u"<>&\"'", u"abcdefgh<>&\"'", u"abcd&\u00E9"}) {
    for (std::size_t length = 0; length < 100; ++length) {
      const std::u16string units = randomText(alphabet, length, 5);
      for (const TextForm form : kTextForms) {
        ASSERT_EQ(unitsOf(stringByEscapingForXML(makeText(form, units))), inXML(units));
      }
    }
    const std::u16string units = randomText(alphabet, 5000, 6);
    EXPECT_EQ(unitsOf(stringByEscapingForXML(HxString(units))), inXML(units));
  }
}

TEST(Escaping, UnescapingFromXMLReturnsTheReceiverItself) {
  const HxString text = "&lt;&amp;"_hx;
  EXPECT_EQ(stringByUnescapingFromXML(text).object(), text.object());
}

TEST(Escaping, NilStaysNil) {
  EXPECT_TRUE(stringByEscapingForXML(nullptr).isNil());
  EXPECT_TRUE(stringByUnescapingFromXML(nullptr).isNil());
  EXPECT_TRUE(stringByEscapingPercents(nullptr).isNil());
}

}  // namespace
}  // namespace rondel
