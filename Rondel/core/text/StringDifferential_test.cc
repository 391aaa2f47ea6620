// SPDX-License-Identifier: MIT
//
// Random text against slow and plain ways to the same answers, in every form.
#include <gtest/gtest.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

// Short texts over few characters, so that matches, marks and terminators meet often.
class RandomTexts {
 public:
  explicit RandomTexts(unsigned seed) : _engine(seed) {}

  HxUInteger below(HxUInteger limit) { return static_cast<HxUInteger>(_engine()) % limit; }
  HxRange range(HxUInteger length) {
    const HxUInteger start = below(length + 1);
    return {start, below(length - start + 1)};
  }
  TextForm form() { return kTextForms[below(std::size(kTextForms))]; }

  // Half of the texts are ASCII.
  std::u16string text(HxUInteger mostPieces) {
    const bool isASCII = below(2) == 0;
    std::u16string units;
    for (HxUInteger count = below(mostPieces + 1); count > 0; --count) {
      units += isASCII ? kASCII[below(std::size(kASCII))] : kOther[below(std::size(kOther))];
    }
    return units;
  }

  // A part of a text, as it stands or in another form that counts as equal.
  std::u16string partOf(const std::u16string& text) {
    const HxRange part = range(text.size());
    const HxString units(text.substr(part.location, part.length));
    switch (below(4)) {
      case 0:
        return unitsOf(units.decomposedStringWithCanonicalMapping());
      case 1:
        return unitsOf(units.precomposedStringWithCanonicalMapping());
      case 2:
        return unitsOf(units.uppercaseString());
      default:
        return unitsOf(units);
    }
  }

 private:
  static constexpr std::u16string_view kASCII[] = {u"a", u"a", u"e", u"A",      u"K",    u"k",
                                                   u";", u"/", u".", u"\n",     u"\r\n", u"1",
                                                   u"0", u"9", u" ", {u"\0", 1}};
  static constexpr std::u16string_view kOther[] = {
      u"a",      u"e",      u"E",      u"K",      u"/",          u"\r",          u"1",
      u"\u0301", u"\u0301", u"\u0323", u"\u00e9", u"\u00c9",     u"\u212a",      u"\u00df",
      u"ss",     u"\u1100", u"\u1161", u"\u11a8", u"\uac00",     u"\uac01",      u"\u2028",
      u"\u0085", u"\u65e5", u"\u037e", u";",      u"\U0001F600", {u"\xD83D", 1}, {u"\xDE00", 1}};
  std::mt19937 _engine;
};

// The key by which text counts as equal, straight from ICU.
std::u16string keyOf(std::u16string_view text, HxStringCompareOptions options) {
  UErrorCode status = U_ZERO_ERROR;
  const auto convert = [&](std::u16string_view units, auto&& call) {
    std::u16string out(units.size() * 8 + 8, u'\0');
    const int length = call(units.data(), static_cast<int>(units.size()), out.data(),
                            static_cast<int>(out.size()));
    out.resize(static_cast<std::size_t>(length));
    return out;
  };
  const auto decompose = [&](const UChar* from, int n, UChar* to, int room) {
    return unorm2_normalize(unorm2_getNFDInstance(&status), from, n, to, room, &status);
  };
  const auto fold = [&](const UChar* from, int n, UChar* to, int room) {
    return u_strFoldCase(to, room, from, n, U_FOLD_CASE_DEFAULT, &status);
  };
  std::u16string key(text);
  if (!(options & HxLiteralSearch)) key = convert(key, decompose);
  if (options & HxCaseInsensitiveSearch) key = convert(key, fold);
  if (!(options & HxLiteralSearch)) key = convert(key, decompose);
  EXPECT_TRUE(U_SUCCESS(status));
  return key;
}

// Every range that holds whole sequences and whose key is that of the pattern, by trying them all.
HxRange slowSearch(const HxString& text, const std::u16string& pattern,
                   HxStringCompareOptions options, HxRange range) {
  const std::u16string units = unitsOf(text);
  const std::u16string wanted = keyOf(pattern, options);
  const bool isExact = (options & HxLiteralSearch) && !(options & HxCaseInsensitiveSearch);
  const auto mayDivide = [&](HxUInteger at) {
    if (isExact || at == 0 || at == units.size()) return true;
    if (options & HxLiteralSearch) {
      return (units[at - 1] & 0xFC00) != 0xD800 || (units[at] & 0xFC00) != 0xDC00;
    }
    return text.rangeOfComposedCharacterSequenceAtIndex(at).location == at;
  };
  std::vector<HxRange> matches;
  for (HxUInteger start = range.location; start < HxMaxRange(range); ++start) {
    for (HxUInteger end = start + 1; end <= HxMaxRange(range); ++end) {
      if (!mayDivide(start) || !mayDivide(end)) continue;
      if (keyOf(units.substr(start, end - start), options) == wanted) {
        matches.push_back({start, end - start});
      }
    }
  }
  const bool isBackwards = (options & HxBackwardsSearch) != 0;
  if (options & HxAnchoredSearch) {
    std::erase_if(matches, [&](HxRange match) {
      return isBackwards ? HxMaxRange(match) != HxMaxRange(range)
                         : match.location != range.location;
    });
  }
  if (matches.empty()) return kNotFoundRange;
  return isBackwards ? matches.back() : matches.front();
}

TEST(StringDifferential, SearchesFindWhatTryingAllRangesFinds) {
  RandomTexts random(1);
  int hits = 0;
  for (int round = 0; round < 30000; ++round) {
    const std::u16string units = random.text(8);
    const std::u16string pattern = random.below(4) ? random.partOf(units) : random.text(3);
    const HxStringCompareOptions options = random.below(16);
    const HxString text = makeText(random.form(), units);
    const HxRange range = random.range(units.size());
    const HxRange found = text.rangeOfString(makeText(random.form(), pattern), options, range);
    ASSERT_EQ(found, slowSearch(HxString(units), pattern, options, range))
        << text.toStdString() << " | " << HxString(pattern).toStdString() << " | " << options
        << " | " << range.location << ',' << range.length << " round " << round;
    hits += found.length > 0;
  }
  EXPECT_GT(hits, 1000);
}

TEST(StringDifferential, ComparisonsOrderByKey) {
  RandomTexts random(2);
  for (int round = 0; round < 30000; ++round) {
    const std::u16string left = random.text(6);
    // Often nearly the same text, so that differences come late.
    const std::u16string right = random.below(2) ? random.text(6) : left + random.text(2);
    const HxStringCompareOptions options = random.below(4);
    const std::u16string leftKey = keyOf(left, options);
    const std::u16string rightKey = keyOf(right, options);
    const int expected = leftKey < rightKey ? -1 : leftKey > rightKey ? 1 : 0;
    const HxString a = makeText(random.form(), left);
    const HxString b = makeText(random.form(), right);
    ASSERT_EQ(a.compare(b, options), expected)
        << a.toStdString() << " | " << b.toStdString() << " | " << options;
  }
}

TEST(StringDifferential, NumericComparisonIsAnOrder) {
  RandomTexts random(3);
  for (int round = 0; round < 20000; ++round) {
    const HxString a = makeText(random.form(), random.text(5));
    const HxString b = makeText(random.form(), random.text(5));
    const HxString c = makeText(random.form(), random.text(5));
    const auto order = [](const HxString& x, const HxString& y) {
      return x.compare(y, HxNumericSearch);
    };
    ASSERT_EQ(order(a, a), HxOrderedSame);
    ASSERT_EQ(order(a, b), -order(b, a)) << a.toStdString() << " | " << b.toStdString();
    if (order(a, b) <= 0 && order(b, c) <= 0) {
      ASSERT_LE(order(a, c), 0) << a.toStdString() << '|' << b.toStdString() << '|'
                                << c.toStdString();
    }
  }
}

// The lines of a text, one unit at a time.
struct SlowLines {
  explicit SlowLines(std::u16string_view units) {
    HxUInteger start = 0;
    for (HxUInteger i = 0; i < units.size(); ++i) {
      const HxUniChar unit = units[i];
      const bool ends =
          unit == 0x0A || unit == 0x0D || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
      if (!ends) continue;
      const HxUInteger contentsEnd = i;
      if (unit == 0x0D && i + 1 < units.size() && units[i + 1] == 0x0A) ++i;
      lines.push_back({start, i + 1, contentsEnd});
      start = i + 1;
    }
    lines.push_back({start, units.size(), units.size()});
  }
  struct Line {
    HxUInteger start;
    HxUInteger end;
    HxUInteger contentsEnd;
  };
  // The line of the unit at an index; after the last unit the last line.
  const Line& at(HxUInteger index) const {
    return *std::find_if(lines.begin(), lines.end() - 1,
                         [index](const Line& line) { return index < line.end; });
  }
  std::vector<Line> lines;
};

TEST(StringDifferential, LineBoundsAreThoseOfASlowScan) {
  RandomTexts random(4);
  for (int round = 0; round < 30000; ++round) {
    const std::u16string units = random.text(40);
    const HxString text = makeText(random.form(), units);
    const HxRange range = random.range(units.size());
    const SlowLines slow(units);
    HxUInteger start;
    HxUInteger end;
    HxUInteger contentsEnd;
    text.getLineStart(&start, &end, &contentsEnd, range);
    const SlowLines::Line& last =
        slow.at(range.length > 0 ? HxMaxRange(range) - 1 : range.location);
    ASSERT_EQ(start, slow.at(range.location).start);
    ASSERT_EQ(end, last.end);
    ASSERT_EQ(contentsEnd, last.contentsEnd);
  }
}

TEST(StringDifferential, ReplacingIsSplittingAndJoining) {
  RandomTexts random(5);
  for (int round = 0; round < 10000; ++round) {
    const HxString text = makeText(random.form(), random.text(8));
    const HxString target = makeText(random.form(), random.text(2));
    const HxString replacement = makeText(random.form(), random.text(2));
    const HxString expected =
        text.componentsSeparatedByString(target).componentsJoinedByString(replacement);
    ASSERT_EQ(text.stringByReplacingOccurrencesOfString(target, replacement), expected);
    HxMutableString changed = text.mutableCopy();
    changed.replaceOccurrencesOfString(target, replacement, 0, {0, changed.length()});
    ASSERT_EQ(changed, expected);
  }
}

// Every answer that is a string or a number, in one list.
std::vector<HxAny> answersOf(TextForm form, std::u16string_view units, HxRange range,
                             const HxCharacterSet& set) {
  const HxString text = makeText(form, units);
  const auto memberRange = [&](HxStringCompareOptions options) {
    HxRange found = text.rangeOfCharacterFromSet(set, options, range);
    if (found.length > 0) found.location -= locationOf(form);
    return HxStringFromRange(found);
  };
  std::vector<HxAny> answers{
      text.substringWithRange(range),
      text.uppercaseString(),
      text.lowercaseString(),
      text.decomposedStringWithCanonicalMapping(),
      text.precomposedStringWithCanonicalMapping(),
      text.stringByTrimmingCharactersInSet(set),
      text.stringByDeletingLastPathComponent(),
      text.lastPathComponent(),
      text.pathExtension(),
      text.stringByDeletingPathExtension(),
      text.pathComponents(),
      text.stringByAppendingPathComponent("x"_hx),
      text.copy(),
      text.mutableCopy(),
      memberRange(0),
      memberRange(HxBackwardsSearch),
      HxString::stringWithFormat("%d %ld %d %lu"_hx, text.intValue(), text.integerValue(),
                                 text.boolValue(), text.hash()),
      HxString(text.UTF8String().view()),
      HxString(text.fileSystemRepresentation().view()),
  };
  for (HxUInteger i = 0; i < text.length(); ++i) {
    answers.push_back(HxStringFromRange(text.rangeOfComposedCharacterSequenceAtIndex(i)));
  }
  return answers;
}

TEST(StringDifferential, AnswersDoNotDependOnTheForm) {
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("a\u00e9 "_hx);
  RandomTexts random(6);
  for (int round = 0; round < 3000; ++round) {
    const std::u16string units = random.text(10);
    const HxRange range = random.range(units.size());
    const std::vector<HxAny> expected = answersOf(TextForm::flat, units, range, set);
    for (const TextForm form : kTextForms) {
      ASSERT_EQ(answersOf(form, units, range, set), expected)
          << HxString(units).toStdString() << ' ' << nameOf(form);
    }
  }
}

}  // namespace
}  // namespace rondel::test
