// SPDX-License-Identifier: MIT
#include "Rondel/core/text/String.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <unordered_set>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/internal/BufferString.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

// ---- In every form ----------------------------------------------------------------------------

class StringForms : public testing::TestWithParam<TextForm> {
 protected:
  HxString text(std::u16string_view units) const { return makeText(GetParam(), units); }
};
INSTANTIATE_TEST_SUITE_P(EveryForm, StringForms, testing::ValuesIn(kTextForms),
                         [](const auto& form) { return nameOf(form.param); });

// Texts that differ in what matters to storage: width, marks, pairs, halves of pairs, NULs.
const std::u16string_view kTexts[] = {
    u"",
    u"a",
    u"cc -c main.c",
    u"sixteen units to",
    u"seventeen units t",
    u"caf\u00e9",
    u"cafe\u0301",
    u"\u65e5\u672c\u8a9e",
    u"a\U0001F600b",
    std::u16string_view(u"\xD83D", 1),
    std::u16string_view(u"x\xDE00y", 3),
    std::u16string_view(u"a\0b", 3),
    std::u16string_view(u"\0", 1),
    u"\uffff",
    u"\u0080",
    u"\u007f",
};

TEST_P(StringForms, ReturnTheirUnits) {
  for (const std::u16string_view units : kTexts) {
    const HxString string = text(units);
    ASSERT_EQ(string.length(), units.size());
    EXPECT_EQ(string.isEmpty(), units.empty());
    for (HxUInteger i = 0; i < units.size(); ++i) EXPECT_EQ(string.characterAtIndex(i), units[i]);
    EXPECT_EQ(unitsOf(string), units);
  }
}

TEST_P(StringForms, ReturnTheUnitsOfARange) {
  HxUniChar units[3] = {};
  text(u"a\u00e9bcd").getCharacters(units, {1, 2});
  EXPECT_EQ(std::u16string_view(units, 3), std::u16string_view(u"\u00e9b\0", 3));
}

TEST_P(StringForms, EqualTheSameUnitsInEveryOtherForm) {
  for (const std::u16string_view units : kTexts) {
    for (const TextForm other : kTextForms) {
      const HxString same = makeText(other, units);
      EXPECT_TRUE(text(units).isEqualToString(same)) << nameOf(other);
      EXPECT_TRUE(HxAny(text(units)).isEqual(same)) << nameOf(other);
      EXPECT_EQ(text(units), same);
      EXPECT_EQ(text(units).hash(), same.hash()) << nameOf(other);
      EXPECT_EQ(HxAny(text(units)).hash(), same.hash()) << nameOf(other);
    }
  }
}

TEST_P(StringForms, DifferFromOtherUnits) {
  for (const std::u16string_view units : kTexts) {
    for (const std::u16string_view other : kTexts) {
      EXPECT_EQ(text(units).isEqualToString(makeText(TextForm::flat, other)), units == other);
    }
  }
}

TEST_P(StringForms, EqualByUnitsAndNotByEquivalence) {
  EXPECT_FALSE(text(u"caf\u00e9").isEqualToString("cafe\u0301"_hx));
}

TEST_P(StringForms, AreStringsOfTheOneTypeOfStrings) {
  const HxAny any = text(u"abc");
  EXPECT_EQ(HcGetTypeID(any), HcStringGetTypeID());
  EXPECT_TRUE(any.isKindOfClass(HxStringObject::classObject()));
  EXPECT_EQ(as<HxString>(any), "abc"_hx);
  EXPECT_EQ(any.isKindOfClass(HxMutableString::classObject()), !as<HxMutableString>(any).isNil());
}

TEST_P(StringForms, DescribeThemselvesByTheirText) {
  EXPECT_EQ(text(u"caf\u00e9").description(), "caf\u00e9"_hx);
  EXPECT_EQ(HxAny(text(u"abc")).description(), "abc"_hx);
}

TEST_P(StringForms, CopyToAnImmutableString) {
  const HxString string = text(u"abc");
  const HxString copy = string.copy();
  EXPECT_EQ(copy, "abc"_hx);
  EXPECT_TRUE(as<HxMutableString>(copy).isNil());
  EXPECT_EQ(copy.object(), copy.copy().object());
}

TEST_P(StringForms, CopyToAMutableStringOfItsOwn) {
  const HxString string = text(u"abc");
  HxMutableString copy = string.mutableCopy();
  copy.appendString("d"_hx);
  EXPECT_EQ(copy, "abcd"_hx);
  EXPECT_EQ(string, "abc"_hx);
}

TEST_P(StringForms, RaiseBeyondTheirEnd) {
  const HxString string = text(u"a\u00e9c");
  HxUniChar unit;
  EXPECT_EQ(raisedBy([&] { string.characterAtIndex(3); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.getCharacters(&unit, {3, 1}); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.substringWithRange({2, 2}); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.substringWithRange({1, ~HxUInteger{0}}); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.substringFromIndex(4); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.substringToIndex(4); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { string.rangeOfComposedCharacterSequenceAtIndex(3); }), HxRangeException);
}

TEST_P(StringForms, ReturnSubstrings) {
  const HxString string = text(u"caf\u00e9 au lait");
  EXPECT_EQ(string.substringWithRange({2, 3}), "f\u00e9 "_hx);
  EXPECT_EQ(string.substringWithRange({5, 2}), "au"_hx);
  EXPECT_EQ(string.substringWithRange({0, 0}), ""_hx);
  EXPECT_EQ(string.substringFromIndex(8), "lait"_hx);
  EXPECT_EQ(string.substringToIndex(4), "caf\u00e9"_hx);
  EXPECT_EQ(string.substringWithRange({0, string.length()}), string);
}

TEST_P(StringForms, AppendToReturnANewString) {
  const HxString string = text(u"abc");
  EXPECT_EQ(string.stringByAppendingString("d\u00e9"_hx), "abcd\u00e9"_hx);
  EXPECT_EQ(string.stringByAppendingString(string), "abcabc"_hx);
  EXPECT_EQ(string.stringByAppendingString(nullptr), "abc"_hx);
  EXPECT_EQ(HxString::stringByConcatenating(string, HxString(), "-"_hx, string), "abc-abc"_hx);
  EXPECT_EQ(string, "abc"_hx);
}

TEST_P(StringForms, EncodeAsUTF8) {
  const HxString string = text(u"a\u00e9\u65e5\U0001F600");
  constexpr std::string_view kBytes = "a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80";
  EXPECT_EQ(string.UTF8String().view(), kBytes);
  EXPECT_EQ(std::strlen(string.UTF8String().c_str()), kBytes.size());
  EXPECT_EQ(string.toStdString(), kBytes);
  const HxData data = string.dataUsingEncoding(HxUTF8StringEncoding);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(data.bytes()), data.length()), kBytes);
}

TEST_P(StringForms, KeepTheirNULsInUTF8) {
  EXPECT_EQ(text(std::u16string_view(u"a\0b", 3)).UTF8String().view(), std::string_view("a\0b", 3));
}

TEST_P(StringForms, WithALoneSurrogateHaveNoUTF8) {
  const HxString string = text(std::u16string_view(u"a\xD83Dz", 3));
  EXPECT_TRUE(string.UTF8String().isNull());
  EXPECT_TRUE(string.dataUsingEncoding(HxUTF8StringEncoding).isNil());
  EXPECT_EQ(string.toStdString(), "a\xEF\xBF\xBDz");
}

TEST_P(StringForms, EncodeAsBytesWhenTheEncodingHasThem) {
  const auto lengthIn = [&](std::u16string_view units, HxStringEncoding encoding) -> int {
    const HxData data = text(units).dataUsingEncoding(encoding);
    return data ? static_cast<int>(data.length()) : -1;
  };
  EXPECT_EQ(lengthIn(u"abc", HxASCIIStringEncoding), 3);
  EXPECT_EQ(lengthIn(u"ab\u00e9", HxASCIIStringEncoding), -1);
  EXPECT_EQ(lengthIn(u"ab\u00e9", HxHaldenOSRomanStringEncoding), 3);
  EXPECT_EQ(lengthIn(u"ab\u0100", HxHaldenOSRomanStringEncoding), -1);
  EXPECT_EQ(lengthIn(u"ab\u0100", HxUnicodeStringEncoding), 8);
  EXPECT_EQ(lengthIn(u"abc", 9999), -1);
}

TEST_P(StringForms, ComeBackFromUTF16AsTheyWere) {
  for (const std::u16string_view units : kTexts) {
    const HxData data = text(units).dataUsingEncoding(HxUnicodeStringEncoding);
    EXPECT_EQ(unitsOf(HxString::initWithData(data, HxUnicodeStringEncoding)), units);
  }
}

// ---- Constants --------------------------------------------------------------------------------

TEST(StringConstant, EqualsTheSameTextInEveryForm) {
  const HxString constants[] = {""_hx, "cc"_hx, "caf\u00e9"_hx, "a\U0001F600b"_hx, "a\0b"_hx};
  const std::u16string_view texts[] = {u"", u"cc", u"caf\u00e9", u"a\U0001F600b",
                                       std::u16string_view(u"a\0b", 3)};
  for (std::size_t i = 0; i < std::size(constants); ++i) {
    EXPECT_EQ(unitsOf(constants[i]), texts[i]);
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(constants[i], makeText(form, texts[i])) << nameOf(form);
      EXPECT_EQ(constants[i].hash(), makeText(form, texts[i]).hash()) << nameOf(form);
    }
  }
}

TEST(StringConstant, IsOneObjectForAllUsesOfTheText) {
  EXPECT_EQ("main.c"_hx.object(), "main.c"_hx.object());
  EXPECT_EQ(HxString::string().object(), ""_hx.object());
}

TEST(StringConstant, IsReadyBeforeAnythingRuns) {
  static constexpr HxString kName = "name"_hx;
  EXPECT_EQ(kName.length(), 4u);
  EXPECT_FALSE(kName.object()->isUniquelyReferenced());
}

// ---- Making strings ---------------------------------------------------------------------------

TEST(StringMaking, FromUTF8) {
  EXPECT_EQ(HxString(std::string_view("caf\xC3\xA9")), "caf\u00e9"_hx);
  EXPECT_EQ(HxString::stringWithUTF8String("\xF0\x9F\x98\x80"), "\U0001F600"_hx);
  EXPECT_EQ(HxString::stringWithUTF8String(""), ""_hx);
  EXPECT_EQ(HxString(std::string_view("a\0b", 3)).length(), 3u);
  EXPECT_EQ(HxString(std::string_view("\xEF\xBB\xBF"
                                      "a"))
                .characterAtIndex(0),
            0xFEFF);
}

TEST(StringMaking, BytesThatAreNoUTF8ReturnNil) {
  for (const char* bytes : {"\x80", "a\xFF", "\xC0\x80", "\xC3", "\xE0\x80\x80", "\xED\xA0\x80",
                            "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "a\xC3(", "\xE6\x97"}) {
    EXPECT_TRUE(HxString::stringWithUTF8String(bytes).isNil());
    EXPECT_TRUE(HxString::stringWithCString(bytes, HxUTF8StringEncoding).isNil());
    EXPECT_TRUE(HxString(std::string_view(bytes)).isNil());
  }
}

TEST(StringMaking, FromNothing) {
  EXPECT_TRUE(HxString::stringWithUTF8String(nullptr).isNil());
  EXPECT_TRUE(HxString::stringWithCString(nullptr, HxUTF8StringEncoding).isNil());
  EXPECT_TRUE(HxString::initWithCString(nullptr, HxUTF8StringEncoding).isNil());
  EXPECT_TRUE(HxString::stringWithString(nullptr).isNil());
  EXPECT_TRUE(HxString::stringWithFormat(nullptr).isNil());
  EXPECT_TRUE(HxString::initWithData(nullptr, HxUTF8StringEncoding).isNil());
  EXPECT_TRUE(HxString::stringWithCharacters(nullptr, 1).isNil());
  EXPECT_EQ(HxString::stringWithCharacters(nullptr, 0), ""_hx);
  EXPECT_EQ(HxString::initWithBytes(nullptr, 0, HxUTF8StringEncoding), ""_hx);
}

TEST(StringMaking, FromUnits) {
  constexpr HxUniChar kUnits[] = {u'a', 0xE9, 0xD83D};
  EXPECT_EQ(unitsOf(HxString::stringWithCharacters(kUnits, 3)), std::u16string_view(kUnits, 3));
  EXPECT_EQ(unitsOf(HxString::initWithCharacters(kUnits, 3)), std::u16string_view(kUnits, 3));
  EXPECT_EQ(HxString::initWithCharacters(kUnits, 1), "a"_hx);
  EXPECT_EQ(HxString(std::u16string_view(kUnits, 2)), "a\u00e9"_hx);
}

TEST(StringMaking, FromACStringInAnEncoding) {
  EXPECT_EQ(HxString::stringWithCString("a\xE9", HxHaldenOSRomanStringEncoding), "a\u00e9"_hx);
  EXPECT_EQ(HxString::initWithCString("a\xC3\xA9", HxUTF8StringEncoding), "a\u00e9"_hx);
  EXPECT_EQ(HxString::initWithCString("", HxASCIIStringEncoding), ""_hx);
}

TEST(StringMaking, ALongOneIsAsImmutableAsOthers) {
  const HxString text = internal::BufferString::makeLong(u"\u65e5\u672c", 2);
  EXPECT_EQ(text, "\u65e5\u672c"_hx);
  EXPECT_EQ(text.hxClass(), HxString::classObject());
  EXPECT_TRUE(as<HxMutableString>(text).isNil());
  EXPECT_EQ(text.copy().object(), text.object());
}

TEST(StringMaking, FromBytesInAnEncoding) {
  const auto make = [](std::string_view bytes, HxStringEncoding encoding) {
    return HxString::initWithBytes(bytes.data(), bytes.size(), encoding);
  };
  EXPECT_EQ(make("abc", HxASCIIStringEncoding), "abc"_hx);
  EXPECT_TRUE(make("ab\xE9", HxASCIIStringEncoding).isNil());
  EXPECT_EQ(make("ab\xE9", HxHaldenOSRomanStringEncoding), "ab\u00e9"_hx);
  EXPECT_EQ(make("abc", HxHaldenOSRomanStringEncoding), "abc"_hx);
  EXPECT_TRUE(make("abc", 9999).isNil());
}

TEST(StringMaking, FromUTF16InEitherByteOrder) {
  const auto make = [](std::string_view bytes) {
    return HxString::initWithBytes(bytes.data(), bytes.size(), HxUnicodeStringEncoding);
  };
  EXPECT_EQ(make(std::string_view("\xFF\xFE"
                                  "a\0\xE9\0",
                                  6)),
            "a\u00e9"_hx);
  EXPECT_EQ(make(std::string_view("\xFE\xFF\0a\0\xE9", 6)), "a\u00e9"_hx);
  EXPECT_EQ(make(std::string_view("\0a\0\xE9", 4)), "a\u00e9"_hx);
  EXPECT_EQ(make(std::string_view("\xFF\xFE", 2)), ""_hx);
  EXPECT_TRUE(make("a").isNil());
}

TEST(StringMaking, FromAnEightBitEncodingEveryByteDecodes) {
  char bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<char>(i);
  const HxString text = HxString::initWithBytes(bytes, 256, HxHaldenOSRomanStringEncoding);
  for (HxUInteger i = 0; i < 256; ++i) EXPECT_EQ(text.characterAtIndex(i), i);
}

TEST(StringMaking, NoCopyFormsTakeOverTheBlock) {
  const auto block = [](std::string_view bytes) {
    void* memory = std::malloc(bytes.size());
    std::memcpy(memory, bytes.data(), bytes.size());
    return memory;
  };
  EXPECT_EQ(HxString::initWithBytesNoCopy(block("abc"), 3, HxUTF8StringEncoding, true), "abc"_hx);
  EXPECT_TRUE(HxString::initWithBytesNoCopy(block("\xFF"), 1, HxUTF8StringEncoding, true).isNil());
  auto* units = static_cast<HxUniChar*>(block(std::string_view("a\0b\0", 4)));
  EXPECT_EQ(HxString::initWithCharactersNoCopy(units, 2, true), "ab"_hx);
  HxUniChar kept[] = {u'x', u'y'};
  EXPECT_EQ(HxString::initWithCharactersNoCopy(kept, 2, false), "xy"_hx);
  EXPECT_EQ(kept[1], u'y');
}

TEST(StringMaking, FromAFormat) {
  EXPECT_EQ(HxString::stringWithFormat("%@: %d"_hx, "main.c"_hx, 12), "main.c: 12"_hx);
  EXPECT_EQ(HxString::initWithFormat("%C%%"_hx, u'x'), "x%"_hx);
  EXPECT_EQ("a"_hx.stringByAppendingFormat("-%@"_hx, "b"_hx), "a-b"_hx);
  const HxString name = "main.c"_hx;
  EXPECT_EQ(HxString::initWithFormatArguments("%@: %d"_hx, HxArgumentPack(name, 12)),
            "main.c: 12"_hx);
}

TEST(StringMaking, ARangeAsText) {
  EXPECT_EQ(HxStringFromRange({2, 3}), "{2, 3}"_hx);
  EXPECT_EQ(HxStringFromRange({0, 0}), "{0, 0}"_hx);
}

// ---- What the C++ user gets -------------------------------------------------------------------

TEST(String, IsAKeyForHashTables) {
  std::unordered_set<HxString> names{"a"_hx, "caf\u00e9"_hx, makeText(TextForm::buffer, u"a")};
  EXPECT_EQ(names.size(), 2u);
  EXPECT_EQ(names.count(makeText(TextForm::primitives, u"caf\u00e9")), 1u);
}

TEST(String, OrdersByUnitsAndNilFirst) {
  EXPECT_LT("a"_hx, "b"_hx);
  EXPECT_GT("cafe\u0301"_hx.compare("cafe"_hx), 0);
  EXPECT_LT(HxString(), ""_hx);
  EXPECT_GT(""_hx, HxString());
  EXPECT_TRUE((HxString() <=> HxString()) == 0);
}

TEST(String, ShowsItsASCIIBytesWhereTheyLie) {
  EXPECT_EQ("abc"_hx.asciiView(), "abc");
  EXPECT_NE(""_hx.asciiView().data(), nullptr);
  EXPECT_EQ("caf\u00e9"_hx.asciiView().data(), nullptr);
  EXPECT_EQ(HxString().asciiView().data(), nullptr);
}

// The bytes of a temporary are gone at the end of the statement.
static_assert(std::is_convertible_v<const HxCString&, const char*>);
static_assert(!std::is_convertible_v<HxCString, const char*>);
static_assert(!std::is_convertible_v<const HxCString, const char*>);

TEST(String, OfANullPointerIsNil) {
  const char* const none = nullptr;
  EXPECT_TRUE(HxString(none).isNil());
  EXPECT_EQ(HxString("plain"), "plain"_hx);
  EXPECT_TRUE(HxString("\xFF").isNil());
}

TEST(String, MovesItsUTF8) {
  HxCString bytes = "caf\u00e9"_hx.UTF8String();
  HxCString moved = std::move(bytes);
  EXPECT_EQ(moved.view(), "caf\xC3\xA9");
  bytes = "abc"_hx.UTF8String();
  moved = std::move(bytes);
  EXPECT_STREQ(moved, "abc");
}

TEST(String, UTF8OutlivesTheHandle) {
  HxString text(std::string_view("abc"));
  const HxCString bytes = text.UTF8String();
  text = nullptr;
  EXPECT_STREQ(bytes, "abc");
}

TEST(String, ASurrogatePairCountsAsTwoInLengthAndRanges) {
  const HxString text = "a\U0001F600b"_hx;
  EXPECT_EQ(text.length(), 4u);
  EXPECT_EQ(text.rangeOfString("b"_hx), HxMakeRange(3, 1));
  EXPECT_EQ(text.rangeOfString("\U0001F600"_hx), HxMakeRange(1, 2));
  EXPECT_EQ(text.rangeOfComposedCharacterSequenceAtIndex(2), HxMakeRange(1, 2));
}

TEST(String, SubstringFromTheVeryEndIsEmpty) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(makeText(form, u"abc").substringFromIndex(3), ""_hx);
    EXPECT_EQ(makeText(form, u"").substringFromIndex(0), ""_hx);
  }
}

// ---- Cost -------------------------------------------------------------------------------------

TEST(StringCost, HeaderIsAtMost32Bytes) {
  static_assert(sizeof(internal::FlatString) <= 32);
  static_assert(sizeof(HxString) == sizeof(void*));
  AllocationCounter counter;
  const HxString text(std::string_view("main.c"));
  EXPECT_LE(counter.bytes(), 6u + 32u);
}

TEST(StringCost, ConstantsTakeNothingFromTheHeap) {
  AllocationCounter counter;
  const HxString narrow = "a constant"_hx;
  const HxString wide = "caf\u00e9"_hx;
  EXPECT_NE(narrow.hash(), wide.hash());
  EXPECT_EQ(HxString::string().length(), 0u);
  EXPECT_EQ(counter.count(), 0u);
}

TEST(StringCost, AShortStringTakesOneBlock) {
  AllocationCounter counter;
  const HxString narrow(std::string_view("main.c"));
  EXPECT_EQ(counter.count(), 1u);
  const HxString wide(u"caf\u00e9");
  EXPECT_EQ(counter.count(), 2u);
}

TEST(StringCost, ASubstringTakesOneBlock) {
  const HxString narrow(std::string_view("cc -c main.c"));
  const HxString wide(u"caf\u00e9 au lait \u00e9");
  AllocationCounter counter;
  const HxString part = narrow.substringWithRange({6, 6});
  EXPECT_EQ(counter.count(), 1u);
  const HxString widePart = wide.substringWithRange({0, 4});
  EXPECT_EQ(counter.count(), 2u);
  const HxString narrowPart = wide.substringWithRange({5, 2});
  EXPECT_EQ(counter.count(), 3u);
}

HxUInteger lengthOf(HxString string) { return string.length(); }

TEST(StringCost, CopyingAndPassingHandlesIsFree) {
  const HxString text(std::string_view("main.c"));
  AllocationCounter counter;
  HxString copy = text;
  HxAny any = copy;
  const HxString moved = std::move(copy);
  EXPECT_EQ(lengthOf(text) + lengthOf(moved), 12u);
  EXPECT_EQ(as<HxString>(any).object(), text.object());
  EXPECT_EQ(text.copy().object(), text.object());
  EXPECT_EQ(counter.count(), 0u);
}

TEST(StringCost, WorkOnASCIIWordsIsFree) {
  const HxString text(std::string_view("libtool: warning: main.c"));
  const HxString word(std::string_view("warning:"));
  const HxString upper(std::string_view("WARNING:"));
  AllocationCounter counter;
  EXPECT_EQ(text.compare(word), HxOrderedAscending);
  EXPECT_EQ(text.compare(word, HxLiteralSearch), HxOrderedAscending);
  EXPECT_EQ(word.caseInsensitiveCompare(upper), HxOrderedSame);
  EXPECT_EQ(word.compare(upper, HxNumericSearch), HxOrderedDescending);
  EXPECT_FALSE(text.isEqualToString(word));
  EXPECT_TRUE(text.hasPrefix("lib"_hx));
  EXPECT_TRUE(text.hasSuffix(".c"_hx));
  EXPECT_EQ(text.rangeOfString(word).location, 9u);
  EXPECT_EQ(text.rangeOfString(word, HxBackwardsSearch).location, 9u);
  EXPECT_EQ(text.rangeOfString(upper, HxCaseInsensitiveSearch).location, 9u);
  HxUInteger end;
  text.getLineStart(nullptr, &end, nullptr, {0, 0});
  EXPECT_EQ(end, text.length());
  EXPECT_EQ(upper.uppercaseString().object(), upper.object());
  EXPECT_EQ(text.decomposedStringWithCanonicalMapping().object(), text.object());
  EXPECT_EQ(text.fileSystemRepresentation().length(), text.length());
  EXPECT_NE(text.hash(), word.hash());
  EXPECT_EQ(counter.count(), 0u);
}

TEST(StringCost, ConcatenationOfASCIITakesOneBlock) {
  const HxString directory(std::string_view("/usr/bin"));
  AllocationCounter counter;
  const HxString path = HxString::stringByConcatenating(directory, "/"_hx, "cc"_hx);
  EXPECT_EQ(counter.count(), 1u);
  const HxString appended = directory.stringByAppendingString("/cc"_hx);
  EXPECT_EQ(counter.count(), 2u);
  EXPECT_EQ(path, appended);
}

// ---- nil --------------------------------------------------------------------------------------

TEST(NilString, ReadsAsNothing) {
  const HxString nil;
  HxUniChar untouched = u'x';
  EXPECT_EQ(nil.length(), 0u);
  EXPECT_TRUE(nil.isEmpty());
  for (HxUInteger i = 0; i < nil.length(); ++i) ADD_FAILURE() << "a nil string has a character";
  EXPECT_EQ(nil.characterAtIndex(7), 0);
  nil.getCharacters(&untouched);
  nil.getCharacters(&untouched, {3, 4});
  EXPECT_EQ(untouched, u'x');
  EXPECT_TRUE(nil.UTF8String().isNull());
  EXPECT_EQ(nil.UTF8String().length(), 0u);
  EXPECT_TRUE(nil.fileSystemRepresentation().isNull());
  EXPECT_EQ(nil.maximumFileSystemRepresentationLength(), 0u);
  EXPECT_EQ(nil.toStdString(), "");
  EXPECT_TRUE(nil.dataUsingEncoding(HxUTF8StringEncoding).isNil());
  EXPECT_EQ(nil.intValue(), 0);
  EXPECT_EQ(nil.integerValue(), 0);
  EXPECT_FALSE(nil.boolValue());
}

TEST(NilString, ComparesAsNothing) {
  const HxString nil;
  EXPECT_FALSE(nil.isEqualToString("a"_hx));
  EXPECT_FALSE(nil.isEqualToString(nullptr));
  EXPECT_FALSE("a"_hx.isEqualToString(nullptr));
  EXPECT_FALSE(nil.isEqual("a"_hx));
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_TRUE(nil == HxString());
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_EQ(nil.compare("a"_hx), HxOrderedSame);
  EXPECT_EQ(nil.compare("a"_hx, HxNumericSearch), HxOrderedSame);
  EXPECT_EQ(nil.compare("a"_hx, 0, {4, 4}), HxOrderedSame);
  EXPECT_EQ(nil.caseInsensitiveCompare("a"_hx), HxOrderedSame);
  EXPECT_EQ("a"_hx.compare(nullptr), HxOrderedDescending);
  EXPECT_FALSE(nil.hasPrefix("a"_hx));
  EXPECT_FALSE(nil.hasPrefix(""_hx));
  EXPECT_FALSE(nil.hasSuffix("a"_hx));
  EXPECT_FALSE("a"_hx.hasPrefix(nullptr));
  EXPECT_FALSE("a"_hx.hasSuffix(nullptr));
}

TEST(NilString, HoldsNothingToFind) {
  const HxString nil;
  const HxCharacterSet set = HxCharacterSet::characterSetWithCharactersInString("a"_hx);
  EXPECT_EQ(nil.rangeOfString("a"_hx), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfString("a"_hx, HxBackwardsSearch), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfString("a"_hx, 0, {3, 4}), kNotFoundRange);
  EXPECT_EQ("a"_hx.rangeOfString(nullptr), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfCharacterFromSet(set), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfCharacterFromSet(set, HxBackwardsSearch), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfCharacterFromSet(set, 0, {3, 4}), kNotFoundRange);
  EXPECT_EQ("a"_hx.rangeOfCharacterFromSet(nullptr), kNotFoundRange);
  EXPECT_EQ(nil.rangeOfComposedCharacterSequenceAtIndex(5), HxRange{});
  HxUInteger start = 1;
  HxUInteger end = 1;
  HxUInteger contentsEnd = 1;
  nil.getLineStart(&start, &end, &contentsEnd, {5, 5});
  EXPECT_EQ(start + end + contentsEnd, 0u);
  EXPECT_TRUE(nil.componentsSeparatedByString(","_hx).isNil());
}

TEST(NilString, BecomesNothing) {
  const HxString nil;
  EXPECT_TRUE(nil.substringWithRange({3, 4}).isNil());
  EXPECT_TRUE(nil.substringFromIndex(3).isNil());
  EXPECT_TRUE(nil.substringToIndex(3).isNil());
  EXPECT_TRUE(nil.stringByAppendingString("a"_hx).isNil());
  EXPECT_TRUE(nil.stringByAppendingFormat("%d"_hx, 1).isNil());
  EXPECT_TRUE(nil.stringByReplacingOccurrencesOfString("a"_hx, "b"_hx).isNil());
  EXPECT_TRUE(nil.stringByReplacingOccurrencesOfString("a"_hx, "b"_hx, 0, {3, 4}).isNil());
  EXPECT_TRUE(nil.uppercaseString().isNil());
  EXPECT_TRUE(nil.lowercaseString().isNil());
  EXPECT_TRUE(nil.decomposedStringWithCanonicalMapping().isNil());
  EXPECT_TRUE(nil.precomposedStringWithCanonicalMapping().isNil());
  EXPECT_TRUE(nil.stringByTrimmingCharactersInSet(nullptr).isNil());
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
  EXPECT_TRUE(nil.description().isNil());
}

TEST(NilString, IsNoPath) {
  const HxString nil;
  EXPECT_TRUE(nil.stringByAppendingPathComponent("a"_hx).isNil());
  EXPECT_TRUE(nil.stringByDeletingLastPathComponent().isNil());
  EXPECT_TRUE(nil.lastPathComponent().isNil());
  EXPECT_TRUE(nil.pathExtension().isNil());
  EXPECT_TRUE(nil.stringByDeletingPathExtension().isNil());
  EXPECT_TRUE(nil.pathComponents().isNil());
  EXPECT_EQ(HxString::pathWithComponents(nullptr), ""_hx);
  EXPECT_FALSE(nil.isAbsolutePath());
  EXPECT_TRUE(nil.stringByStandardizingPath().isNil());
  EXPECT_TRUE(nil.stringByResolvingSymlinksInPath().isNil());
}

}  // namespace
}  // namespace rondel::test
