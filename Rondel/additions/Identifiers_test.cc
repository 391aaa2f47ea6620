// SPDX-License-Identifier: MIT
#include "Rondel/additions/Identifiers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
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

// ---- What a C identifier is -------------------------------------------------------------------

struct Candidate {
  std::u16string text;
  bool isLegal;
};

class IdentifiersLegality : public testing::TestWithParam<Candidate> {};

TEST_P(IdentifiersLegality, IsDecidedByASCIIAlone) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(isLegalCIdentifier(makeText(form, GetParam().text)), GetParam().isLegal)
        << nameOf(form);
  }
}

const Candidate kCandidates[] = {
    {u"a", true},
    {u"Z9", true},
    {u"_", true},
    {u"__x_1", true},
    {u"azAZ09_", true},
    {u"9", false},
    {u"a b", false},
    {u"a-b", false},
    {u"a.b", false},
    {u"a$", false},
    {u"@a", false},
    {u"a`", false},
    {u"a[", false},
    {u"a{", false},
    {u"a/", false},
    {u"a:", false},
    {u"\u00E9", false},
    {u"a\u0301", false},
    {u"a\u0661", false},  // a digit, and none of ASCII
    {u"\U0001F600", false},
    // U+FFFF ends the text.
    {u"a\uFFFF-", true},
    {u"a-\uFFFF", false},
    {u"\uFFFF", true},
};

INSTANTIATE_TEST_SUITE_P(All, IdentifiersLegality, testing::ValuesIn(kCandidates));

TEST(Identifiers, OneAAndTheEmptyStringAreNoIdentifiersAndUnderscoreOneIs) {
  EXPECT_FALSE(isLegalCIdentifier("1a"_hx));
  EXPECT_FALSE(isLegalCIdentifier(""_hx));
  EXPECT_TRUE(isLegalCIdentifier("_1"_hx));
  EXPECT_FALSE(isLegalCIdentifier(nullptr));
}

// ---- Mangling ---------------------------------------------------------------------------------

struct Mangling {
  std::u16string text;
  std::u16string c;
  std::u16string rfc1034;
};

class IdentifiersManglings : public testing::TestWithParam<Mangling> {};

TEST_P(IdentifiersManglings, AreMadeUnitByUnit) {
  for (const TextForm form : kTextForms) {
    const HxString text = makeText(form, GetParam().text);
    EXPECT_EQ(unitsOf(stringByManglingToLegalCIdentifier(text)), GetParam().c) << nameOf(form);
    EXPECT_EQ(unitsOf(stringByManglingToLegalRFC1034Identifier(text)), GetParam().rfc1034)
        << nameOf(form);
  }
}

const Mangling kManglings[] = {
    {u"", u"", u""},
    {u"a", u"a", u"a"},
    {u"1a", u"_a", u"-a"},
    {u"11", u"_1", u"-1"},
    {u"a1", u"a1", u"a1"},
    {u"a_b", u"a_b", u"a-b"},
    {u"a-b", u"a_b", u"a-b"},
    {u"-", u"_", u"-"},
    {u"_", u"_", u"-"},
    {u"My Tool 2.0", u"My_Tool_2_0", u"My-Tool-2-0"},
    {u"@`[{/:", u"______", u"------"},
    {u"caf\u00E9", u"cafe_", u"cafe-"},  // decomposed: a letter and its mark
    {u"\u00E9", u"e_", u"e-"},
    {u"\u00C4b", u"A_b", u"A-b"},
    {u"\u4E2D", u"_", u"-"},
    {u"\uAC00", u"__", u"--"},  // two letters of Hangul
    {u"\U0001F600", u"__", u"--"},
    {u"\u0661", u"_", u"-"},
    {std::u16string(u"a\0b", 3), u"a_b", u"a-b"},
    // U+FFFF ends the text.
    {u"a\uFFFF-b", u"a", u"a"},
    {u"\uFFFFa", u"", u""},
    {u"\u00E9\uFFFFa", u"e_", u"e-"},
};

INSTANTIATE_TEST_SUITE_P(All, IdentifiersManglings, testing::ValuesIn(kManglings));

TEST(Identifiers, AreMangledInLongText) {
  const std::u16string text = randomText(u"azAZ09_-. \u00E9", 5000, 4);
  std::u16string c;
  std::u16string rfc1034;
  for (const char16_t unit : text) {
    const bool isPlain = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
                         (unit >= u'0' && unit <= u'9' && !c.empty());
    const std::u16string kept = unit == 0xE9 ? u"e" : isPlain ? std::u16string(1, unit) : u"";
    c += kept;
    rfc1034 += kept;
    if (isPlain) continue;
    c += u'_';
    rfc1034 += u'-';
  }
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(unitsOf(stringByManglingToLegalCIdentifier(makeText(form, text))), c);
    EXPECT_EQ(unitsOf(stringByManglingToLegalRFC1034Identifier(makeText(form, text))), rfc1034);
  }
}

TEST(Identifiers, ManglingShortASCIITakesTheResultAloneFromTheHeap) {
  const HxString text(std::u16string(63, u'-'));
  const test::AllocationCounter allocations;
  const HxString mangled = stringByManglingToLegalCIdentifier(text);
  EXPECT_EQ(allocations.count(), 1U);
}

TEST(Identifiers, EveryASCIICharacterIsKeptOrReplaced) {
  for (char16_t unit = 0; unit < 0x80; ++unit) {
    const std::u16string text = {u'x', unit};
    const HxString mangled = stringByManglingToLegalCIdentifier(HxString(text));
    EXPECT_TRUE(isLegalCIdentifier(mangled));
    EXPECT_EQ(mangled == HxString(text), isLegalCIdentifier(HxString(text))) << int{unit};
  }
}

TEST(Identifiers, NilIsMangledToNil) {
  EXPECT_TRUE(stringByManglingToLegalCIdentifier(nullptr).isNil());
  EXPECT_TRUE(stringByManglingToLegalRFC1034Identifier(nullptr).isNil());
}

// ---- Names that are not taken -----------------------------------------------------------------

HxArray linesOf(const HxString& lines) { return lines.componentsSeparatedByString("\n"_hx); }

struct Naming {
  HxString name;
  HxString taken;  // a name a line
  HxString unique;
};

class IdentifiersUniqueNames : public testing::TestWithParam<Naming> {};

TEST_P(IdentifiersUniqueNames, AreFreeInArraysAndInSets) {
  const Naming& naming = GetParam();
  const HxArray taken = linesOf(naming.taken);
  EXPECT_EQ(uniqueStringAmongStrings(naming.name, taken), naming.unique);
  EXPECT_EQ(uniqueStringAmongStrings(naming.name, HxSet::initWithArray(taken)), naming.unique);
}

const Naming kNamings[] = {
    {"Target"_hx, "Other"_hx, "Target"_hx},
    {"Target"_hx, "Target"_hx, "Target 1"_hx},
    {"Target"_hx, "Target\nTarget 1\nTarget 2"_hx, "Target 3"_hx},
    {"Target"_hx, "Target\nTarget 2"_hx, "Target 1"_hx},
    {"Target 3"_hx, "Target 3"_hx, "Target 4"_hx},
    {"Target3"_hx, "Target3"_hx, "Target 4"_hx},
    {"Target 3"_hx, "Target"_hx, "Target 3"_hx},
    {"Target 009"_hx, "Target 009"_hx, "Target 10"_hx},
    {"Target \t 3"_hx, "Target \t 3"_hx, "Target 4"_hx},
    {" \tTarget\u00A0"_hx, "Other"_hx, "Target"_hx},
    {" Target "_hx, "Target"_hx, "Target 1"_hx},
    {" Target "_hx, " Target "_hx, "Target"_hx},
    {"a1b"_hx, "a1b"_hx, "a1b 1"_hx},
    {"\u4E2D1"_hx, "\u4E2D1"_hx, "\u4E2D 2"_hx},
    {"a\u0661"_hx, "a\u0661"_hx, "a\u0661 1"_hx},    // a digit, and none of ASCII
    {"a\u00A03"_hx, "a\u00A03"_hx, "a\u00A0 4"_hx},  // the stem loses whitespace of the four
    {"\nTarget"_hx, "Other"_hx, "\nTarget"_hx},      // line ends are kept around a name
    {"7"_hx, "7"_hx, "7 1"_hx},                      // the first character is in no run
    {"x2147483647"_hx, "x2147483647"_hx, "x 2147483648"_hx},
    {"x99999999999"_hx, "x99999999999"_hx, "x 2147483648"_hx},
};

INSTANTIATE_TEST_SUITE_P(All, IdentifiersUniqueNames, testing::ValuesIn(kNamings));

TEST(Identifiers, FortyTwoIsTakenAsAStemAndADigit) {
  EXPECT_EQ(uniqueStringAmongStrings("42"_hx, linesOf("42"_hx)), "4 3"_hx);
}

TEST(Identifiers, ANameWithoutBlanksThatIsFreeIsTheReceiverItself) {
  const HxString name{std::string_view("Target")};
  EXPECT_EQ(uniqueStringAmongStrings(name, HxArray::array()).object(), name.object());
}

TEST(Identifiers, AnEmptyNameIsReturnnBackEvenIfItIsTaken) {
  EXPECT_EQ(uniqueStringAmongStrings(""_hx, linesOf(""_hx)), ""_hx);
  EXPECT_EQ(uniqueStringAmongStrings("  "_hx, linesOf(""_hx)), ""_hx);
}

TEST(Identifiers, ANameMayBeLongAndTheCollectionHoldOtherObjects) {
  const HxArray taken =
      HxArray::arrayWithObjects({HxAny(HxNumber::numberWithInt(1)), HxAny("x"_hx)});
  EXPECT_EQ(uniqueStringAmongStrings("x"_hx, taken), "x 1"_hx);
}

TEST(Identifiers, NilHasNoUniqueNameAndNilHoldsNoNames) {
  EXPECT_TRUE(uniqueStringAmongStrings(nullptr, HxArray::array()).isNil());
  EXPECT_TRUE(uniqueStringAmongStrings(nullptr, HxSet()).isNil());
  EXPECT_EQ(uniqueStringAmongStrings("x"_hx, HxArray()), "x"_hx);
  EXPECT_EQ(uniqueStringAmongStrings("x"_hx, HxSet()), "x"_hx);
}

// ---- Version numbers --------------------------------------------------------------------------

struct Versions {
  HxString a;
  HxString b;
  HxComparisonResult result;
};

class IdentifiersVersions : public testing::TestWithParam<Versions> {};

TEST_P(IdentifiersVersions, AreOrderedBothWays) {
  const Versions& versions = GetParam();
  EXPECT_EQ(versionNumberComparison(versions.a, versions.b), versions.result);
  EXPECT_EQ(int{versionNumberComparison(versions.b, versions.a)}, -int{versions.result});
}

const Versions kVersions[] = {
    {"1"_hx, "1.0.0"_hx, HxOrderedSame},
    {"1.0"_hx, "1.0.1"_hx, HxOrderedAscending},
    {"1.2"_hx, "1.2.0"_hx, HxOrderedSame},
    {"1.10"_hx, "1.9"_hx, HxOrderedDescending},
    {"1.2.3"_hx, "1.2.3"_hx, HxOrderedSame},
    {"1.2.3"_hx, "1.3"_hx, HxOrderedAscending},
    {"2"_hx, "1.9.9"_hx, HxOrderedDescending},
    {"1.a"_hx, "1.b"_hx, HxOrderedAscending},
    {"1.2b3"_hx, "1.2b10"_hx, HxOrderedAscending},
    {"1.0a"_hx, "1"_hx, HxOrderedDescending},
    {"0"_hx, "0.0"_hx, HxOrderedSame},
    {""_hx, ""_hx, HxOrderedSame},
    {""_hx, "1"_hx, HxOrderedAscending},
    {"1..2"_hx, "1.1.2"_hx, HxOrderedAscending},
    {"1."_hx, "1"_hx, HxOrderedAscending},  // an empty part is there, and is below "0"
    {"1.02"_hx, "1.2.0"_hx, HxOrderedSame},
    {"18446744073709551617"_hx, "18446744073709551616"_hx, HxOrderedDescending},
};

INSTANTIATE_TEST_SUITE_P(All, IdentifiersVersions, testing::ValuesIn(kVersions));

TEST(Identifiers, ANilVersionHasNoPartsOfItsOwn) {
  EXPECT_EQ(versionNumberComparison("1"_hx, nullptr), HxOrderedDescending);
  EXPECT_EQ(versionNumberComparison("0.0"_hx, nullptr), HxOrderedSame);
  EXPECT_EQ(versionNumberComparison(nullptr, "1"_hx), HxOrderedSame);
}

TEST(Identifiers, ANullCollectionContainsNothing) {
  EXPECT_EQ(uniqueStringAmongStrings("Target"_hx, nullptr), "Target"_hx);
}

}  // namespace
}  // namespace rondel
