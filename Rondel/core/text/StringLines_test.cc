// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vector>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/LineScan.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

struct Bounds {
  HxUInteger start = 0;
  HxUInteger end = 0;
  HxUInteger contentsEnd = 0;
  friend bool operator==(const Bounds&, const Bounds&) = default;
};

Bounds boundsOf(const HxString& text, HxRange range) {
  Bounds bounds;
  text.getLineStart(&bounds.start, &bounds.end, &bounds.contentsEnd, range);
  return bounds;
}

// All lines of a text, as a caller walks it.
std::vector<HxString> linesOf(const HxString& text) {
  std::vector<HxString> lines;
  for (HxUInteger at = 0; at < text.length();) {
    HxUInteger end;
    HxUInteger contentsEnd;
    text.getLineStart(nullptr, &end, &contentsEnd, {at, 0});
    lines.push_back(text.substringWithRange({at, contentsEnd - at}));
    at = end;
  }
  return lines;
}

TEST(StringLines, EachTerminatorEndsALine) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"lf\ncr\rcrlf\r\nnel\u0085ls\u2028ps\u2029\n\rend");
    EXPECT_EQ(linesOf(text), (std::vector{"lf"_hx, "cr"_hx, "crlf"_hx, "nel"_hx, "ls"_hx, "ps"_hx,
                                          ""_hx, ""_hx, "end"_hx}))
        << nameOf(form);
  }
}

TEST(StringLines, OtherControlCharactersDoNot) {
  const std::u16string_view units = u"a\v\f\x1c\u0084\u2027\u202a\u0a0d\u0d0a";
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(boundsOf(makeText(form, units), {0, 0}), (Bounds{0, units.size(), units.size()}));
  }
}

TEST(StringLines, AnyIndexOfALineReturnsItsBounds) {
  for (const TextForm form : kTextForms) {
    for (const std::u16string_view units : {u"ab\r\ncd\ne", u"\u00e9b\r\nc\u00e9\ne"}) {
      const HxString text = makeText(form, units);
      for (HxUInteger i = 0; i < 4; ++i) EXPECT_EQ(boundsOf(text, {i, 0}), (Bounds{0, 4, 2})) << i;
      for (HxUInteger i = 4; i < 7; ++i) EXPECT_EQ(boundsOf(text, {i, 0}), (Bounds{4, 7, 6})) << i;
      EXPECT_EQ(boundsOf(text, {7, 0}), (Bounds{7, 8, 8}));
      EXPECT_EQ(boundsOf(text, {8, 0}), (Bounds{7, 8, 8}));
    }
  }
}

TEST(StringLines, ARangeReturnsTheBoundsOfAllLinesItTouches) {
  const HxString text = "ab\ncd\nef\n"_hx;
  EXPECT_EQ(boundsOf(text, {1, 3}), (Bounds{0, 6, 5}));
  EXPECT_EQ(boundsOf(text, {0, 9}), (Bounds{0, 9, 8}));
  EXPECT_EQ(boundsOf(text, {3, 3}), (Bounds{3, 6, 5}));
  EXPECT_EQ(boundsOf(text, {2, 1}), (Bounds{0, 3, 2}));
}

TEST(StringLines, AfterTheLastTerminatorIsAnEmptyLine) {
  EXPECT_EQ(boundsOf("ab\n"_hx, {3, 0}), (Bounds{3, 3, 3}));
  EXPECT_EQ(boundsOf(""_hx, {0, 0}), (Bounds{0, 0, 0}));
  EXPECT_EQ(boundsOf("\r\n"_hx, {2, 0}), (Bounds{2, 2, 2}));
}

TEST(StringLines, TheHalvesOfACRLFAreOneTerminator) {
  EXPECT_EQ(boundsOf("a\r\nb"_hx, {2, 0}), (Bounds{0, 3, 1}));
  EXPECT_EQ(boundsOf("a\r\nb"_hx, {2, 1}), (Bounds{0, 3, 1}));
  EXPECT_EQ(boundsOf("a\r\nb"_hx, {1, 1}), (Bounds{0, 3, 1}));
  EXPECT_EQ(boundsOf("\r\r\n"_hx, {0, 0}), (Bounds{0, 1, 0}));
  EXPECT_EQ(boundsOf("\n\r"_hx, {0, 0}), (Bounds{0, 1, 0}));
}

TEST(StringLines, EachPointerMayBeNull) {
  const HxString text = "ab\ncd"_hx;
  HxUInteger value = 99;
  text.getLineStart(nullptr, nullptr, nullptr, {4, 0});
  text.getLineStart(&value, nullptr, nullptr, {4, 0});
  EXPECT_EQ(value, 3u);
  text.getLineStart(nullptr, nullptr, &value, {0, 0});
  EXPECT_EQ(value, 2u);
}

TEST(StringLines, ARangeBeyondTheEndRaises) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, u"abc");
    EXPECT_EQ(raisedBy([&] { boundsOf(text, {4, 0}); }), HxRangeException);
    EXPECT_EQ(raisedBy([&] { boundsOf(text, {2, 2}); }), HxRangeException);
  }
}

// Lines around the sizes at which scanners change their step.
TEST(StringLines, OfEveryLength) {
  for (const HxUniChar filler : {u'x', u'\u00e9'}) {
    std::u16string units;
    std::vector<HxUInteger> ends;
    for (HxUInteger length = 0; length < 80; ++length) {
      units.append(length, filler);
      ends.push_back(units.size());
      units += length % 3 == 0 ? u"\r\n" : length % 3 == 1 ? u"\n" : u"\r";
    }
    for (const TextForm form : kTextForms) {
      const HxString text = makeText(form, units);
      HxUInteger at = 0;
      for (const HxUInteger end : ends) {
        const Bounds bounds = boundsOf(text, {at, 0});
        ASSERT_EQ(bounds.start, at) << nameOf(form);
        ASSERT_EQ(bounds.contentsEnd, end) << nameOf(form);
        at = bounds.end;
      }
      EXPECT_EQ(at, units.size());
    }
  }
}

TEST(StringLines, AreReadFromTheirMiddleInLongLines) {
  const std::u16string units =
      std::u16string(5000, u'a') + u"\r\n" + std::u16string(5000, u'b') + u"\n";
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, units);
    EXPECT_EQ(boundsOf(text, {4000, 0}), (Bounds{0, 5002, 5000})) << nameOf(form);
    EXPECT_EQ(boundsOf(text, {5001, 0}), (Bounds{0, 5002, 5000})) << nameOf(form);
    EXPECT_EQ(boundsOf(text, {9999, 2}), (Bounds{5002, 10003, 10002})) << nameOf(form);
    EXPECT_EQ(boundsOf(text, {10, 9990}), (Bounds{0, 10003, 10002})) << nameOf(form);
  }
}

TEST(LineScan, FindsATerminatorAtEveryPlaceOfASpan) {
  for (HxUInteger length = 1; length < 40; ++length) {
    for (HxUInteger at = 0; at < length; ++at) {
      std::string bytes(length, 'x');
      bytes[at] = '\n';
      EXPECT_EQ(internal::findLineTerminator(bytes.data(), 0, length), at);
      EXPECT_EQ(internal::findLineTerminator(bytes.data(), 0, at), at);
      EXPECT_EQ(internal::findLineTerminator(bytes.data(), at + 1, length), length);
      for (const HxUniChar unit : {u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
        std::u16string units(length, u'x');
        units[at] = unit;
        EXPECT_EQ(internal::findLineTerminator(units.data(), 0, length), at);
      }
    }
  }
}

TEST(LineScan, NoOtherUnitEndsALine) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const std::u16string units(8, static_cast<HxUniChar>(unit));
    const bool ends =
        unit == 0x0A || unit == 0x0D || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
    ASSERT_EQ(internal::findLineTerminator(units.data(), 0, 8), ends ? 0u : 8u) << unit;
  }
}

TEST(LineScan, KnowsHowLongATerminatorIs) {
  EXPECT_EQ(internal::lineTerminatorLength("\r\n", 0, 2), 2u);
  EXPECT_EQ(internal::lineTerminatorLength("\r\n", 0, 1), 1u);
  EXPECT_EQ(internal::lineTerminatorLength("\r\n", 1, 2), 1u);
  EXPECT_EQ(internal::lineTerminatorLength("\n\r", 0, 2), 1u);
  EXPECT_EQ(internal::lineTerminatorLength(u"\u2028\n", 0, 2), 1u);
  EXPECT_EQ(internal::lineTerminatorLength(u"", 0, 0), 0u);
}

}  // namespace
}  // namespace rondel::test
