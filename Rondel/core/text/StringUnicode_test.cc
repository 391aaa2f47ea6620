// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

using namespace std::string_view_literals;

TEST(StringUnicode, Uppercase) {
  for (const TextForm form : kTextForms) {
    const auto upper = [&](std::u16string_view text) {
      return makeText(form, text).uppercaseString();
    };
    EXPECT_EQ(upper(u"main.c [az`{"), "MAIN.C [AZ`{"_hx) << nameOf(form);
    EXPECT_EQ(upper(u"caf\u00e9"), "CAF\u00c9"_hx);
    EXPECT_EQ(upper(u"stra\u00dfe"), "STRASSE"_hx);
    EXPECT_EQ(upper(u"\ufb01"), "FI"_hx);
    EXPECT_EQ(upper(u"i"), "I"_hx);
    EXPECT_EQ(upper(u"\U00010428"), "\U00010400"_hx);
    EXPECT_EQ(unitsOf(upper(std::u16string_view(u"a\xD83D", 2))),
              std::u16string_view(u"A\xD83D", 2));
    EXPECT_EQ(upper(u""), ""_hx);
  }
}

TEST(StringUnicode, Lowercase) {
  for (const TextForm form : kTextForms) {
    const auto lower = [&](std::u16string_view text) {
      return makeText(form, text).lowercaseString();
    };
    EXPECT_EQ(lower(u"MAIN.C @Z["), "main.c @z["_hx) << nameOf(form);
    EXPECT_EQ(lower(u"CAF\u00c9"), "caf\u00e9"_hx);
    EXPECT_EQ(lower(u"\u039f\u03a3 \u03a3"), "\u03bf\u03c2 \u03c3"_hx);
    EXPECT_EQ(lower(u"I"), "i"_hx);
    EXPECT_EQ(lower(u"\u0130"), "i\u0307"_hx);
  }
}

TEST(StringUnicode, CaseOfALongTextThatGrows) {
  const std::u16string units(1000, u'\u00df');
  EXPECT_EQ(HxString(units).uppercaseString(), HxString(std::u16string(2000, u'S')));
}

TEST(StringUnicode, NormalFormD) {
  for (const TextForm form : kTextForms) {
    const auto decomposed = [&](std::u16string_view text) {
      return makeText(form, text).decomposedStringWithCanonicalMapping();
    };
    EXPECT_EQ(decomposed(u"abc"), "abc"_hx) << nameOf(form);
    EXPECT_EQ(decomposed(u"caf\u00e9"), "cafe\u0301"_hx);
    EXPECT_EQ(decomposed(u"cafe\u0301"), "cafe\u0301"_hx);
    EXPECT_EQ(decomposed(u"a\u0307\u0323"), "a\u0323\u0307"_hx);
    EXPECT_EQ(decomposed(u"\uac01"), "\u1100\u1161\u11a8"_hx);
    EXPECT_EQ(decomposed(u"\u212b"), "A\u030a"_hx);
    EXPECT_EQ(decomposed(u"\ufb01"), "\ufb01"_hx);
    EXPECT_EQ(unitsOf(decomposed(std::u16string_view(u"\u00e9\xD83D", 2))),
              std::u16string_view(u"e\u0301\xD83D", 3));
  }
}

TEST(StringUnicode, NormalFormC) {
  for (const TextForm form : kTextForms) {
    const auto precomposed = [&](std::u16string_view text) {
      return makeText(form, text).precomposedStringWithCanonicalMapping();
    };
    EXPECT_EQ(precomposed(u"abc"), "abc"_hx) << nameOf(form);
    EXPECT_EQ(precomposed(u"cafe\u0301"), "caf\u00e9"_hx);
    EXPECT_EQ(precomposed(u"\u1100\u1161\u11a8"), "\uac01"_hx);
    EXPECT_EQ(precomposed(u"\u037e"), ";"_hx);
  }
}

TEST(StringUnicode, WhatDoesNotChangeIsTheSameObject) {
  const HxString upper = "MAIN.C"_hx;
  const HxString decomposed = "cafe\u0301"_hx;
  const HxString composed = "caf\u00e9"_hx;
  EXPECT_EQ(upper.uppercaseString().object(), upper.object());
  EXPECT_EQ("main.c"_hx.lowercaseString().object(), "main.c"_hx.object());
  EXPECT_EQ(upper.decomposedStringWithCanonicalMapping().object(), upper.object());
  EXPECT_EQ(decomposed.decomposedStringWithCanonicalMapping().object(), decomposed.object());
  EXPECT_EQ(composed.precomposedStringWithCanonicalMapping().object(), composed.object());
}

TEST(StringUnicode, WhatDoesNotChangeOfAMutableStringIsACopy) {
  HxMutableString text = HxMutableString::stringWithString("ABC"_hx);
  const HxString upper = text.uppercaseString();
  const HxString decomposed = text.decomposedStringWithCanonicalMapping();
  text.setString("x"_hx);
  EXPECT_EQ(upper, "ABC"_hx);
  EXPECT_EQ(decomposed, "ABC"_hx);
}

TEST(StringUnicode, FileNamesAreDecomposedUTF8) {
  for (const TextForm form : kTextForms) {
    EXPECT_STREQ(makeText(form, u"caf\u00e9").fileSystemRepresentation().c_str(), "cafe\xCC\x81");
    EXPECT_STREQ(makeText(form, u"/usr/bin").fileSystemRepresentation().c_str(), "/usr/bin");
    EXPECT_STREQ(makeText(form, u"").fileSystemRepresentation().c_str(), "");
    EXPECT_TRUE(
        makeText(form, std::u16string_view(u"\xD83D", 1)).fileSystemRepresentation().isNull());
  }
}

// Every kind of text, in every room up to one byte more than it needs.
TEST(StringUnicode, FileNamesAreWrittenIntoABufferThatHoldsThem) {
  std::u16string longText;
  for (int i = 0; i < 40; ++i) longText += u"\u1F82a\u0323\u0307\uAC01\u00E9\U0001D160\u0301";
  const std::u16string_view texts[] = {u"", u"/usr/bin", u"\u4E2D\u6587", u"caf\u00e9\u0323",
                                       longText};
  for (const std::u16string_view units : texts) {
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, units);
      const HxCString expected = text.fileSystemRepresentation();
      const HxUInteger needed = expected.length() + 1;
      for (HxUInteger room : {HxUInteger{0}, needed / 2, needed - 1, needed, needed + 1}) {
        std::string buffer(room + 1, '#');
        ASSERT_EQ(text.getFileSystemRepresentation(buffer.data(), room), room >= needed);
        EXPECT_EQ(buffer[room], '#');
        if (room >= needed) {
          EXPECT_STREQ(buffer.c_str(), expected.c_str());
        }
      }
    }
  }
}

TEST(StringUnicode, TextWithoutAFileNameDoesNotFitIntoAnyBuffer) {
  char buffer[100];
  EXPECT_FALSE(HxString().getFileSystemRepresentation(buffer, sizeof buffer));
  for (const std::u16string_view units : {u"a\xD83D"sv, u"\u00E9\xDC00"sv}) {
    EXPECT_FALSE(HxString(units).getFileSystemRepresentation(buffer, sizeof buffer));
  }
}

TEST(StringUnicode, NoFileNameIsLongerThanTheMaximum) {
  EXPECT_EQ("/usr/bin"_hx.maximumFileSystemRepresentationLength(), 9u);
  EXPECT_EQ(""_hx.maximumFileSystemRepresentationLength(), 1u);
  for (char32_t c = 0x80; c < 0x30000; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    std::u16string units;
    if (c < 0x10000) {
      units += static_cast<HxUniChar>(c);
    } else {
      units += static_cast<HxUniChar>(0xD7C0 + (c >> 10));
      units += static_cast<HxUniChar>(0xDC00 + (c & 0x3FF));
    }
    const HxString text(units);
    ASSERT_LT(text.fileSystemRepresentation().length(),
              text.maximumFileSystemRepresentationLength())
        << std::hex << static_cast<std::uint32_t>(c);
  }
}

}  // namespace
}  // namespace rondel::test
