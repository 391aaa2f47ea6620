// SPDX-License-Identifier: MIT
#include "Rondel/additions/VariableExpansion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "Rondel/core/Exception.h"
#include "Rondel/core/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/ExpansionModel.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::charactersOf;
using test::ExpansionModel;
using test::FailureRecorder;
using test::forEachText;
using test::kTextForms;
using test::LogRecorder;
using test::makeText;
using test::nameOf;
using test::TextForm;
using test::Texts;
using test::textsOf;

constexpr MoExpansionOptions kKeep = MoExpansionKeepUndefinedReferences;
constexpr MoExpansionOptions kRescan = MoExpansionRescanExpansions;

HxDictionary variables() {
  return HxDictionary::dictionaryWithEntries({{"A"_hx, "x"_hx}, {"B"_hx, "$(A)y"_hx}});
}

std::string expanded(const HxString& text, const HxDictionary& values,
                     MoExpansionOptions options = 0) {
  return MO_stringByExpandingVariables(text, values, options).toStdString();
}

std::string expandedInRange(const HxString& text, HxRange range, MoExpansionOptions options = 0) {
  return MO_stringByExpandingVariables(text, variables(), range, options).toStdString();
}

struct Found {
  HxRange name;
  HxRange open;
  HxRange close;
  friend bool operator==(const Found&, const Found&) = default;
};

std::optional<Found> found(const HxString& text, HxRange range) {
  Found result;
  if (!_getVariableNameRange(text, &result.name, &result.open, &result.close, range)) return {};
  return result;
}
std::optional<Found> found(const HxString& text) { return found(text, {0, text.length()}); }

// ---- Expanding: the rules ---------------------------------------------------------------------

TEST(VariableExpansion, ReplacesReferencesByTheRules) {
  struct Case {
    HxString text;
    MoExpansionOptions options;
    std::string result;
  };
  const Case cases[] = {
      {"a$(A)b"_hx, 0, "axb"},
      {"${A}"_hx, 0, "x"},
      {"$[A]"_hx, 0, "x"},
      {"$%A%"_hx, 0, "x"},
      {"$A"_hx, 0, "x"},
      {"$Ab"_hx, 0, ""},
      {"$A$A"_hx, 0, "xx"},
      {"$(B)"_hx, 0, "$(A)y"},
      {"$(B)"_hx, kRescan, "xy"},
      {"$(C)"_hx, 0, ""},
      {"$(C)"_hx, kKeep, "$(C)"},
      {"'$(A)'"_hx, 0, "'$(A)'"},
      {"\"$(A)\""_hx, 0, "\"x\""},
      {"\\$(A)"_hx, 0, "\\$(A)"},
      {"$$(A)"_hx, 0, "$x"},
      {"$(A"_hx, 0, "$(A"},
      {"$()"_hx, 0, ""},
      {"$(A$(A))"_hx, 0, ")"},
      {"$(C) $(C) $(A)"_hx, kKeep, "$(C) $(C) $(A)"},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(expanded(test.text, variables(), test.options), test.result)
        << test.text.toStdString() << " with " << test.options;
  }
}

TEST(VariableExpansion, QuotesAndBackslashesStayAndOnlyStopTheSearch) {
  struct Case {
    HxString text;
    std::string result;
  };
  const Case cases[] = {
      {"'a' $A 'b'"_hx, "'a' x 'b'"},
      {"it's $A"_hx, "it's $A"},         // an open quote hides the rest
      {"'\\' $A' $A"_hx, "'\\' $A' x"},  // a backslash hides the quote that would close
      {"\\' $A"_hx, "\\' x"},            // and one that would open
      {"\\\\$A"_hx, "\\\\x"},            // and itself
      {"\"'\" $A"_hx, "\"'\" $A"},       // double quotes protect no single one
      {"$A\\"_hx, "x\\"},                // a backslash at the end
      {"$"_hx, "$"},                     // plain text
      {"$ $A$"_hx, "$ x$"},
      {"$)$A"_hx, "$)x"},
      {"$'$A'$A"_hx, "$'$A'x"},  // what stands behind a '$' is looked at again
      {"$\\$A $A"_hx, "$\\$A x"},
      {"${A $(A)"_hx, "${A $(A)"},  // never closed: nothing behind it is found
      {"$A ${A $(A)"_hx, "x ${A $(A)"},
      {"$%A"_hx, "$%A"},
      {"$%%"_hx, ""},
      {"$(A\\)"_hx, "$(A\\)"},  // the close delimiter is hidden
      {"$('A')"_hx, ""},        // quotes in a name are part of it
  };
  for (const Case& test : cases) {
    EXPECT_EQ(expanded(test.text, variables()), test.result) << test.text.toStdString();
  }
}

TEST(VariableExpansion, ABareNameIsARunOfIdentifierCharacters) {
  const std::u16string identifier =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz1234567890_";
  for (char16_t unit = 1; unit < 0x180; ++unit) {
    const HxString text(std::u16string(u"$") + unit + u"-");
    const bool isName = identifier.find(unit) != std::u16string::npos;
    EXPECT_EQ(namesOfExpandableVariables(text).count(), isName ? 1U : 0U) << int{unit};
  }
  EXPECT_EQ(expanded("$1"_hx, HxDictionary::dictionaryWithObject("one"_hx, "1"_hx)), "one");
}

TEST(VariableExpansion, ABareReferenceLeavesTheCloseDelimiterBehindIt) {
  EXPECT_EQ(expanded("$A)"_hx, variables()), "x)");
  EXPECT_EQ(expanded("$A}$A]$A%"_hx, variables()), "x}x]x%");
}

TEST(VariableExpansion, ABackslashInANameHidesTheCloseDelimiterAndStaysInTheName) {
  const HxString text = "$(A\\)B)"_hx;
  EXPECT_EQ(textsOf(namesOfExpandableVariables(text)), (Texts{"A\\)B"}));
  EXPECT_EQ(expanded(text, HxDictionary::dictionaryWithObject("v"_hx, "A\\)B"_hx)), "v");
}

TEST(VariableExpansion, AnEmptyNameIsAName) {
  EXPECT_EQ(expanded("$()${}$[]$%%"_hx, HxDictionary::dictionaryWithObject("v"_hx, ""_hx)), "vvvv");
}

TEST(VariableExpansion, EmptyTextAndEmptyRangeGiveACopy) {
  EXPECT_FALSE(found(""_hx));
  EXPECT_FALSE(found("$A"_hx, {1, 0}));
  const HxString empty = ""_hx;
  EXPECT_EQ(MO_stringByExpandingVariables(empty, variables(), 0), ""_hx);
  const HxString text = "$A"_hx;
  HxMutableString copy = MO_stringByExpandingVariables(text, variables(), {1, 0}, 0);
  EXPECT_EQ(copy, text);
  copy.appendString("!"_hx);
  EXPECT_EQ(copy, "$A!"_hx);
  EXPECT_EQ(text, "$A"_hx);
}

TEST(VariableExpansion, TheResultIsANewMutableStringAlsoWhenNothingIsReplaced) {
  const HxMutableString text = HxMutableString::stringWithString("plain"_hx);
  HxMutableString result = MO_stringByExpandingVariables(text, variables(), 0);
  EXPECT_NE(result.object(), text.object());
  EXPECT_TRUE(HxMutableString::canHold(result.object()));
  result.appendString(" text"_hx);
  EXPECT_EQ(text, "plain"_hx);
}

TEST(VariableExpansion, TheOptionsAreTheLowestTwoBits) {
  EXPECT_EQ(MoExpansionKeepUndefinedReferences, 1U);
  EXPECT_EQ(MoExpansionRescanExpansions, 2U);
}

TEST(VariableExpansion, OptionBitsWithoutAMeaningDoNothing) {
  EXPECT_EQ(expanded("$(B)$(C)"_hx, variables(), ~(kKeep | kRescan)), "$(A)y");
}

// ---- Values -----------------------------------------------------------------------------------

// An object with a description of one's own.
class Described final : public HxObject {
 public:
  explicit Described(HxString text) : _text(std::move(text)) {}
  HxString description() const override { return _text; }

 private:
  HxString _text;
};

TEST(VariableExpansion, ANumberIsWrittenInItsDescriptionForm) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"N"_hx, HxNumber::numberWithInteger(-42)}, {"D"_hx, HxNumber::numberWithDouble(0.5)}});
  EXPECT_EQ(expanded("[$(N)|$(D)]"_hx, values), "[-42|0.5]");
}

TEST(VariableExpansion, AnObjectIsWrittenAsItsDescription) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"O"_hx, makeRef<Described>("$(A)"_hx)}, {"A"_hx, "x"_hx}});
  EXPECT_EQ(expanded("<$O>"_hx, values), "<$(A)>");
  EXPECT_EQ(expanded("<$O>"_hx, values, kRescan), "<x>");
}

TEST(VariableExpansion, AnObjectWithANilDescriptionIsNotDefined) {
  const HxDictionary values =
      HxDictionary::dictionaryWithObject(makeRef<Described>(nullptr), "O"_hx);
  EXPECT_EQ(expanded("<$O>"_hx, values), "<>");
  EXPECT_EQ(expanded("<$O>"_hx, values, kKeep), "<$O>");
}

TEST(VariableExpansion, AnEmptyValueIsDefined) {
  const HxDictionary values = HxDictionary::dictionaryWithObject(""_hx, "E"_hx);
  EXPECT_EQ(expanded("<$E>"_hx, values, kKeep), "<>");
}

TEST(VariableExpansion, ValuesAndTextMayBeStringsOfAnyKind) {
  for (const TextForm textForm : kTextForms) {
    for (const TextForm valueForm : kTextForms) {
      for (const char16_t* value : {u"x$(Z)\\$(Z)'", u"\u00e9$(Z)\u4E2D", u"", u"plain"}) {
        const std::u16string z = u"z\u00fc";
        const HxDictionary values = HxDictionary::dictionaryWithEntries(
            {{"V"_hx, makeText(valueForm, value)}, {"Z"_hx, makeText(valueForm, z)}});
        const auto lookUp = [&](const std::u16string& name) {
          return name == u"V"   ? std::optional<std::u16string>(value)
                 : name == u"Z" ? std::optional<std::u16string>(z)
                                : std::nullopt;
        };
        for (const char16_t* text : {u"a$(V)b$(Z)", u"$V\u4E2D$(V)", u"$(V)"}) {
          const std::u16string units = text;
          EXPECT_EQ(charactersOf(
                        MO_stringByExpandingVariables(makeText(textForm, units), values, kRescan)),
                    ExpansionModel::expand(units, lookUp, 0, units.size(), false, true))
              << nameOf(textForm) << " " << nameOf(valueForm);
        }
      }
    }
  }
}

TEST(VariableExpansion, NamesOfAnyLengthAndOfAnyCharactersAreLookedUp) {
  for (const std::size_t length : {1U, 15U, 16U, 17U, 63U, 64U, 65U, 300U}) {
    for (const char16_t unit : {u'n', u'\u00e9', u'\u4E2D'}) {
      for (const char16_t* around : {u"-", u"\u4E2D"}) {
        const std::u16string name(length, unit);
        const HxDictionary values = HxDictionary::dictionaryWithObject("v"_hx, HxString(name));
        const HxString text(around + (u"$(" + name + u")") + around);
        EXPECT_EQ(charactersOf(MO_stringByExpandingVariables(text, values, 0)),
                  around + std::u16string(u"v") + around);
        const HxString other(around + (u"$(" + name + u"n)") + around);
        EXPECT_EQ(charactersOf(MO_stringByExpandingVariables(other, values, 0)),
                  around + std::u16string(around));
      }
    }
  }
}

TEST(VariableExpansion, ADictionaryOfOnesOwnIsAskedOnceForEachReference) {
  class Asked final : public HxDictionaryObject {
   public:
    HxUInteger count() const override { return 1; }
    HxAny objectForKey(const HxAny& key) const override {
      _names.addObject(key);
      return "v"_hx;
    }
    Ref<HxEnumerator> keyEnumerator() const override { return nullptr; }
    const HxArray& names() const { return _names; }

   private:
    mutable HxMutableArray _names = HxMutableArray::array();
  };
  const Ref<Asked> asked = makeRef<Asked>();
  EXPECT_EQ(expanded("$(one)$two$(one)"_hx, HxDictionary(asked)), "vvv");
  EXPECT_EQ(textsOf(asked->names()), (Texts{"one", "two", "one"}));
}

TEST(VariableExpansion, KeysOfOnesOwnClassAreFound) {
  const HxDictionary values = HxDictionary::dictionaryWithObject("v"_hx, test::openString(u"KEY"));
  EXPECT_EQ(expanded("$(KEY)"_hx, values), "v");
}

TEST(VariableExpansion, WhatADescriptionRaisesPassesThrough) {
  class Raising final : public HxObject {
   public:
    HxString description() const override {
      HxException::raise(HxInvalidArgumentException, "no description"_hx);
    }
  };
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"R"_hx, makeRef<Raising>()}, {"B"_hx, "$(R)$(R)"_hx}});
  const std::size_t before = test::heapBytesInUse();
  for (int i = 0; i < 3; ++i) {
    EXPECT_THROW(MO_stringByExpandingVariables("some text $(B)"_hx, values, kRescan), HxException);
  }
  EXPECT_EQ(test::heapBytesInUse(), before);
}

TEST(VariableExpansion, ADescriptionMayExpandTextItself) {
  class Expanding final : public HxObject {
   public:
    HxString description() const override {
      return MO_stringByExpandingVariables("<$(B)>"_hx, variables(), kRescan);
    }
  };
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"E"_hx, makeRef<Expanding>()}, {"B"_hx, "$(E)-$E"_hx}});
  EXPECT_EQ(expanded("$(B)|$(B)"_hx, values, kRescan), "<xy>-<xy>|<xy>-<xy>");
}

TEST(VariableExpansion, TheTextMayBeChangedOnceTheExpansionHasBegun) {
  class Changing final : public HxObject {
   public:
    explicit Changing(HxMutableString& text) : _text(text) {}
    HxString description() const override {
      _text.setString(HxString(std::u16string(10000, u'\u4E2D')));
      return "v"_hx;
    }

   private:
    HxMutableString& _text;
  };
  for (const char16_t* start : {u"a", u"\u00e9"}) {
    const std::u16string units = start + std::u16string(u"$(V)b$(V)c");
    HxMutableString text = HxMutableString::stringWithString(HxString(units));
    const HxDictionary values = HxDictionary::dictionaryWithObject(makeRef<Changing>(text), "V"_hx);
    EXPECT_EQ(charactersOf(MO_stringByExpandingVariables(text, values, kRescan)),
              start + std::u16string(u"vbvc"));
  }
}

TEST(VariableExpansion, TheTextMayBeGivenUpOnceTheExpansionHasBegun) {
  class GivingUp final : public HxObject {
   public:
    explicit GivingUp(HxString& text) : _text(text) {}
    HxString description() const override {
      _text = nullptr;
      return "v"_hx;
    }

   private:
    HxString& _text;
  };
  HxString text(std::string("a text that lies on the heap: $(V)$(V)"));
  const HxDictionary values = HxDictionary::dictionaryWithObject(makeRef<GivingUp>(text), "V"_hx);
  EXPECT_EQ(expanded(text, values), "a text that lies on the heap: vv");
}

// ---- Keeping undefined references ---------------------------------------------------------------

TEST(VariableExpansion, AKeptReferenceMovesTheEndOfTheSearchByWhereTheSearchBegan) {
  struct Case {
    HxString text;
    std::string result;
  };
  const Case cases[] = {
      {"$(C)$(A)"_hx, "$(C)x"},                  // the search began at 0: the end stays
      {"ab $(C)$(A)"_hx, "ab $(C)x"},            // so it does here
      {"$A$(C)$(A)"_hx, "x$(C)$(A)"},            // it began at 1: one character too short
      {"$A$(C)$(A) "_hx, "x$(C)x "},             // and that one character is there
      {"$(C)$(C)$(A)    "_hx, "$(C)$(C)x    "},  // four characters too short
      {"$(C)$(C)$(A)   "_hx, "$(C)$(C)$(A)   "},
      {"$(C)$(C)$A "_hx, "$(C)$(C)$A "},  // the end lies in front of the name
      {"$(C)$(C)$(C)$(C)$(C)$(A)"_hx, "$(C)$(C)$(C)$(C)$(C)$(A)"},  // in front of the location
  };
  for (const Case& test : cases) {
    EXPECT_EQ(expanded(test.text, variables(), kKeep), test.result) << test.text.toStdString();
  }
}

TEST(VariableExpansion, TheMovedEndCutsABareName) {
  // The search for the third reference ends four characters before the text does.
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"NAM"_hx, "cut"_hx}, {"NAMEXYZ"_hx, "whole"_hx}});
  EXPECT_EQ(expanded("$(C)$(C)$NAMEXYZ"_hx, values, kKeep), "$(C)$(C)cutEXYZ");
}

TEST(VariableExpansion, AKeptReferenceMovesTheEndOfTheGivenRange) {
  EXPECT_EQ(expandedInRange("$(C)$(A)"_hx, {0, 8}, kKeep), "$(C)x");
  EXPECT_EQ(expandedInRange("-$(C)$(A)"_hx, {1, 8}, kKeep), "-$(C)$(A)");
  EXPECT_EQ(expandedInRange("-$(C)$(A)-"_hx, {1, 9}, kKeep), "-$(C)x-");
}

TEST(VariableExpansion, WithBothOptionsTheSearchBeginsAtTheReplacement) {
  // Behind the replacement of the first reference the search began at 0 again, so the end stays.
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"A"_hx, "x"_hx}, {"L"_hx, "longer"_hx}});
  EXPECT_EQ(expanded("$L$(C)$(A)"_hx, values, kKeep | kRescan), "longer$(C)x");
  EXPECT_EQ(expanded("$L$(C)$(A)"_hx, values, kKeep), "longer$(C)$(A)");
}

// ---- Rescanning ---------------------------------------------------------------------------------

TEST(VariableExpansion, RescanningExpandsReferencesInValues) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"A"_hx, "1"_hx}, {"B"_hx, "[$A]"_hx}, {"C"_hx, "$(B)$(B)"_hx}, {"D"_hx, "\u00e9$(C)"_hx}});
  EXPECT_EQ(expanded("$(D)-$(C)"_hx, values, kRescan), "\u00e9[1][1]-[1][1]");
}

TEST(VariableExpansion, RescanningFindsReferencesThatValueAndTextMakeTogether) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries({{"DOLLAR"_hx, "$"_hx},
                                                                   {"OPEN"_hx, "$("_hx},
                                                                   {"PART"_hx, "$NA"_hx},
                                                                   {"NAME"_hx, "value"_hx},
                                                                   {"BACK"_hx, "\\"_hx}});
  EXPECT_EQ(expanded("$(DOLLAR)(NAME)"_hx, values, kRescan), "value");
  EXPECT_EQ(expanded("$(OPEN)NAME)"_hx, values, kRescan), "value");
  EXPECT_EQ(expanded("$(PART)ME"_hx, values, kRescan), "value");
  EXPECT_EQ(expanded("$(BACK)$NAME$NAME"_hx, values, kRescan), "\\$NAMEvalue");
  EXPECT_EQ(expanded("$(OPEN)NAME)"_hx, values), "$(NAME)");
}

TEST(VariableExpansion, ASingleQuoteInARescannedValueHidesWhatFollowsInTheText) {
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"A"_hx, "x"_hx}, {"Q"_hx, "it's"_hx}});
  EXPECT_EQ(expanded("$(Q) $(A)' $(A)"_hx, values, kRescan), "it's $(A)' x");
  EXPECT_EQ(expanded("$(Q) $(A)"_hx, values, kRescan), "it's $(A)");
  EXPECT_EQ(expanded("$(Q) $(A)"_hx, values), "it's x");
}

TEST(VariableExpansion, AnOpenReferenceInARescannedValueEndsTheSearch) {
  const HxDictionary values =
      HxDictionary::dictionaryWithEntries({{"A"_hx, "x"_hx}, {"O"_hx, "${"_hx}});
  EXPECT_EQ(expanded("$(O) $(A)"_hx, values, kRescan), "${ $(A)");
}

TEST(VariableExpansion, AnEndMarkInARescannedValueEndsTheSearch) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"A"_hx, "x"_hx}, {"E"_hx, "a\uFFFFb"_hx}, {"W"_hx, "\u4E2D"_hx}});
  EXPECT_EQ(expanded("$(A)$(E)$(A)"_hx, values, kRescan), "xa\uFFFFb$(A)");
  EXPECT_EQ(expanded("$(W)$(E)$(A)"_hx, values, kRescan), "\u4E2Da\uFFFFb$(A)");
  EXPECT_EQ(expanded("$(A)$(E)$(A)"_hx, values), "xa\uFFFFbx");
}

TEST(VariableExpansion, RescanningGoesDeep) {
  HxMutableDictionary values = HxMutableDictionary::dictionary();
  for (int i = 0; i < 10000; ++i) {
    values.setObject(HxString::stringWithFormat("$(%d)."_hx, i + 1),
                     HxString::stringWithFormat("%d"_hx, i));
  }
  EXPECT_EQ(expanded("$(0)!"_hx, values, kRescan), std::string(10000, '.') + "!");
}

// ---- Ranges -------------------------------------------------------------------------------------

TEST(VariableExpansion, OnlyReferencesInTheRangeAreExpanded) {
  const HxString text = "$A $A $A"_hx;
  EXPECT_EQ(expandedInRange(text, {3, 2}), "$A x $A");
  EXPECT_EQ(expandedInRange(text, {1, 5}), "$A x $A");
  EXPECT_EQ(expandedInRange(text, {0, 8}), "x x x");
  EXPECT_EQ(expandedInRange(text, {8, 0}), "$A $A $A");
}

TEST(VariableExpansion, TheEndOfTheRangeStaysOnTheSameText) {
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"A"_hx, "x"_hx}, {"LONG"_hx, "a value that is longer"_hx}, {"B"_hx, "$A$A$A$A"_hx}});
  const auto inRange = [&](HxRange range, MoExpansionOptions options) {
    return MO_stringByExpandingVariables("$(LONG)$A$(B)$A"_hx, values, range, options)
        .toStdString();
  };
  EXPECT_EQ(inRange({0, 9}, 0), "a value that is longerx$(B)$A");
  EXPECT_EQ(inRange({0, 13}, 0), "a value that is longerx$A$A$A$A$A");
  EXPECT_EQ(inRange({0, 13}, kRescan), "a value that is longerxxxxx$A");
}

TEST(VariableExpansion, AReferenceThatEndsWithTheRangeIsFound) {
  EXPECT_EQ(expandedInRange("$(A)$(A)"_hx, {0, 4}), "x$(A)");
  EXPECT_EQ(expandedInRange("$AA"_hx, {0, 2}), "xA");
  EXPECT_EQ(found("-$(A)-"_hx, {1, 4}), (Found{{3, 1}, {1, 2}, {4, 1}}));
}

TEST(VariableExpansion, AReferenceThatNeedsOneCharacterMoreEndsTheSearch) {
  EXPECT_EQ(expandedInRange("$(A)$(A)"_hx, {0, 3}), "$(A)$(A)");
  EXPECT_FALSE(found("-$(A)-"_hx, {1, 3}));
  EXPECT_FALSE(found("-$(A)$A"_hx, {1, 3}));
  EXPECT_FALSE(found("$A"_hx, {0, 1}));
}

TEST(VariableExpansion, ARangeWhoseEndWrapsAroundHasNothingInIt) {
  const HxString text = "$A$A$A"_hx;
  FailureRecorder failures;
  const HxRange wrapped{4, ~HxUInteger{0} - 1};  // ends at 2
  EXPECT_FALSE(found(text, wrapped));
  EXPECT_EQ(expandedInRange(text, wrapped), "$A$A$A");
  EXPECT_EQ(failures.messages(), Texts{});
}

TEST(VariableExpansion, ARangeOutsideTheTextIsAFailedCheck) {
  const HxString text = "$A"_hx;
  for (const HxRange range : {HxRange{0, 3}, HxRange{3, 0}, HxRange{2, 1}}) {
    FailureRecorder failures;
    HxRange name{7, 7};
    EXPECT_FALSE(_getVariableNameRange(text, &name, nullptr, nullptr, range));
    EXPECT_EQ(name, HxMakeRange(7, 7));
    const HxMutableString result = MO_stringByExpandingVariables(text, variables(), range, 0);
    EXPECT_EQ(result, text);
    ASSERT_EQ(failures.failures().size(), 2U);
    EXPECT_EQ(failures.failures()[0].receiver, text.object());
    EXPECT_EQ(failures.failures()[1].receiver, result.object());  // where it would have searched
    for (const FailureRecorder::Failure& failure : failures.failures()) {
      EXPECT_EQ(failure.message,
                "searchRange=" + HxStringFromRange(range).toStdString() + ", self.length=2");
      EXPECT_EQ(failure.format, "searchRange=%@, self.length=%u");
      EXPECT_EQ(failure.condition,
                "searchRange.location <= [self length] && "
                "searchRange.location+searchRange.length <= [self length]");
      EXPECT_EQ(failure.function,
                "-[HxString(MoVariableExpansion) _getVariableNameRange:openDelimiterRange:"
                "closeDelimiterRange:ofFirstVariableReferenceInRange:]");
    }
  }
}

// ---- Nil ----------------------------------------------------------------------------------------

TEST(VariableExpansion, ANilDictionaryIsAFailedCheckAndDefinesNothing) {
  const HxString text = "a$(A)b"_hx;
  FailureRecorder failures;
  EXPECT_EQ(expanded(text, nullptr), "ab");
  EXPECT_EQ(expanded(text, nullptr, kKeep), "a$(A)b");
  ASSERT_EQ(failures.failures().size(), 2U);
  const FailureRecorder::Failure& failure = failures.failures().front();
  EXPECT_EQ(failure.message,
            "expansionDict should be an instance inheriting from HxDictionary, but it is nil");
  EXPECT_EQ(failure.condition, "(expansionDict) != nil");
  EXPECT_EQ(failure.function,
            "-[HxString(MoVariableExpansion) MO_stringByExpandingVariables:inRange:options:]");
  EXPECT_EQ(failure.receiver, text.object());
}

TEST(VariableExpansion, TheDictionaryIsCheckedBeforeTheRange) {
  FailureRecorder failures;
  EXPECT_EQ(MO_stringByExpandingVariables("$A"_hx, nullptr, {1, 2}, 0), "$A"_hx);
  EXPECT_EQ(
      failures.messages(),
      (Texts{"expansionDict should be an instance inheriting from HxDictionary, but it is nil",
             "searchRange={1, 2}, self.length=2"}));
}

TEST(VariableExpansion, NilTextGivesNilFalseOrNothing) {
  FailureRecorder failures;
  LogRecorder log;
  EXPECT_TRUE(MO_stringByExpandingVariables(nullptr, variables(), 0).isNil());
  EXPECT_TRUE(MO_stringByExpandingVariables(nullptr, variables(), {5, 5}, 0).isNil());
  EXPECT_TRUE(MO_stringByExpandingEnvironmentVariables(nullptr).isNil());
  EXPECT_TRUE(namesOfExpandableVariables(nullptr).isNil());
  EXPECT_FALSE(_getVariableNameRange(nullptr, nullptr, nullptr, nullptr, {0, 0}));
  testMacroExpansion(nullptr);
  EXPECT_EQ(failures.messages(), Texts{});
  EXPECT_EQ(log.messages(), Texts{});
}

// ---- The environment ----------------------------------------------------------------------------

TEST(VariableExpansion, TheEnvironmentIsExpandedWithRescanning) {
  setenv("RONDEL_EXPANSION_TEST", "<$(RONDEL_EXPANSION_INNER)>", 1);
  setenv("RONDEL_EXPANSION_INNER", "inner", 1);
  EXPECT_EQ(
      MO_stringByExpandingEnvironmentVariables("a $(RONDEL_EXPANSION_TEST) b"_hx).toStdString(),
      "a <inner> b");
  unsetenv("RONDEL_EXPANSION_TEST");
  unsetenv("RONDEL_EXPANSION_INNER");
}

TEST(VariableExpansion, AnEnvironmentVariableThatIsNotThereBecomesEmpty) {
  EXPECT_EQ(MO_stringByExpandingEnvironmentVariables("$(NO_SUCH_VARIABLE)"_hx), ""_hx);
}

// ---- Names --------------------------------------------------------------------------------------

TEST(VariableExpansion, NamesComeInOrderAndAsOftenAsTheyOccur) {
  struct Case {
    HxString text;
    Texts names;
  };
  const Case cases[] = {
      {""_hx, {}},
      {"plain"_hx, {}},
      {"$(A)/$B/${A}"_hx, {"A", "B", "A"}},
      {"$A$B$%C%$[D]"_hx, {"A", "B", "C", "D"}},
      {"$(A$(B))"_hx, {"A$(B"}},  // names are not looked into
      {"'$(A)' \\$(B) $(C)"_hx, {"C"}},
      {"$(A) $(B"_hx, {"A"}},  // one that is never closed ends the list
      {"$(A) $(B $C"_hx, {"A"}},
      {"$()"_hx, {""}},
      {"$(a b)"_hx, {"a b"}},
      {"$(\u4E2D)$A\u4E2D"_hx, {"\u4E2D", "A"}},
  };
  for (const Case& test : cases) {
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(textsOf(namesOfExpandableVariables(makeText(form, test.text))), test.names)
          << test.text.toStdString();
    }
  }
}

// ---- Finding ------------------------------------------------------------------------------------

TEST(VariableExpansion, TheFirstReferenceIsFoundWithItsDelimiters) {
  struct Case {
    HxString text;
    std::optional<Found> reference;
  };
  const Case cases[] = {
      {"$(NAME)"_hx, Found{{2, 4}, {0, 2}, {6, 1}}},
      {"${NAME}"_hx, Found{{2, 4}, {0, 2}, {6, 1}}},
      {"$[NAME]"_hx, Found{{2, 4}, {0, 2}, {6, 1}}},
      {"$%NAME%"_hx, Found{{2, 4}, {0, 2}, {6, 1}}},
      {"$NAME"_hx, Found{{1, 4}, {0, 1}, {5, 0}}},
      {"$NAME."_hx, Found{{1, 4}, {0, 1}, {5, 0}}},
      {"ab $(C) $(D)"_hx, Found{{5, 1}, {3, 2}, {6, 1}}},
      {"$()"_hx, Found{{2, 0}, {0, 2}, {2, 1}}},
      {"$$A"_hx, Found{{2, 1}, {1, 1}, {3, 0}}},
      {"$(A\\)B)"_hx, Found{{2, 4}, {0, 2}, {6, 1}}},
      {"$(A)B)"_hx, Found{{2, 1}, {0, 2}, {3, 1}}},
      {"$"_hx, {}},
      {"$("_hx, {}},
      {"$(A"_hx, {}},
      {"'$A"_hx, {}},
      {"\\$A"_hx, {}},
      {"\\"_hx, {}},
      {"'"_hx, {}},
      {"\uFFFF$A"_hx, {}},
      {"a\uFFFF$A"_hx, {}},
      {"'\uFFFF'$A"_hx, {}},
      {"\\\uFFFF$A"_hx, {}},
      {"$(A\uFFFF)$A"_hx, {}},
      {"$(A\\\uFFFF)$A"_hx, {}},
      {"$\uFFFF$A"_hx, {}},
      {"$A\uFFFF"_hx, Found{{1, 1}, {0, 1}, {2, 0}}},
  };
  for (const Case& test : cases) {
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(found(makeText(form, test.text)), test.reference)
          << test.text.toStdString() << " " << nameOf(form);
    }
  }
}

TEST(VariableExpansion, PlacesForTheRangesMayBeNull) {
  const HxString text = "a$(B)"_hx;
  EXPECT_TRUE(_getVariableNameRange(text, nullptr, nullptr, nullptr, {0, 5}));
  HxRange range;
  EXPECT_TRUE(_getVariableNameRange(text, &range, nullptr, nullptr, {0, 5}));
  EXPECT_EQ(range, HxMakeRange(3, 1));
  EXPECT_TRUE(_getVariableNameRange(text, nullptr, &range, nullptr, {0, 5}));
  EXPECT_EQ(range, HxMakeRange(1, 2));
  EXPECT_TRUE(_getVariableNameRange(text, nullptr, nullptr, &range, {0, 5}));
  EXPECT_EQ(range, HxMakeRange(4, 1));
}

TEST(VariableExpansion, NothingIsStoredWhenNothingIsFound) {
  Found ranges{{7, 7}, {8, 8}, {9, 9}};
  const Found before = ranges;
  EXPECT_FALSE(_getVariableNameRange("$(A"_hx, &ranges.name, &ranges.open, &ranges.close, {0, 3}));
  EXPECT_EQ(ranges, before);
}

TEST(VariableExpansion, AStringOfOnesOwnIsReadInPiecesAndNoFartherThanNeeded) {
  class Watched final : public HxStringObject {
   public:
    HxUInteger length() const override { return 1000; }
    HxUniChar characterAtIndex(HxUInteger) const override { return u'x'; }
    void getCharacters(HxUniChar* buffer, HxRange range) const override {
      for (HxUInteger i = 0; i < range.length; ++i) {
        const HxUInteger at = range.location + i;
        buffer[i] = at == 95 ? u'$' : at == 96 ? u'(' : at == 120 ? u')' : u'x';
      }
      _reads.push_back(range);
    }
    const std::vector<HxRange>& reads() const { return _reads; }

   private:
    mutable std::vector<HxRange> _reads;
  };
  const Ref<Watched> watched = makeRef<Watched>();
  const AllocationCounter counter;
  EXPECT_EQ(found(HxString(watched), {64, 900}), (Found{{97, 23}, {95, 2}, {120, 1}}));
  EXPECT_EQ(watched->reads(), (std::vector<HxRange>{{64, 32}, {96, 32}}));
}

TEST(VariableExpansion, EachFormIsFoundAtEachPlaceOfALongText) {
  for (std::size_t place = 0; place < 70; ++place) {
    for (const char16_t* reference : {u"$(NAME)", u"$%a longer name than a vector%", u"$NAME"}) {
      const std::u16string text =
          std::u16string(place, u'x') + reference + std::u16string(70 - place, u'-');
      const std::u16string before(place, u'x');
      for (const char16_t* end : {u"", u"\u4E2D"}) {
        const std::u16string whole = text + end;
        const auto expected = ExpansionModel::find(whole, 0, whole.size());
        for (const TextForm form : kTextForms) {
          const auto actual = found(makeText(form, whole));
          ASSERT_TRUE(actual && expected);
          EXPECT_EQ(actual->open.location, place);
          EXPECT_EQ(actual->name,
                    HxMakeRange(expected->nameStart, expected->nameEnd - expected->nameStart));
          EXPECT_EQ(HxMaxRange(actual->close), expected->end);
        }
      }
    }
  }
}

// ---- The diagnostic -----------------------------------------------------------------------------

TEST(VariableExpansion, TheDiagnosticLogsTheFirstReference) {
  LogRecorder log;
  testMacroExpansion("a$(B) "_hx);
  EXPECT_EQ(log.takeLines(),
            "'a$(B) ' -> 1\n"
            "    variableNameRange: {3, 1}\n"
            "    openDelimRange:    {1, 2}\n"
            "    closeDelimRange:   {4, 1}\n"
            "    variableRefRange:  {1, 4}\n");
  testMacroExpansion("$NAME;"_hx);
  EXPECT_EQ(log.takeLines(),
            "'$NAME;' -> 1\n"
            "    variableNameRange: {1, 4}\n"
            "    openDelimRange:    {0, 1}\n"
            "    closeDelimRange:   {5, 0}\n"
            "    variableRefRange:  {0, 5}\n");
}

TEST(VariableExpansion, TheDiagnosticDoesNotLookAtTheLastCharacter) {
  LogRecorder log;
  testMacroExpansion("a$(B)"_hx);
  EXPECT_EQ(log.takeLines(), "'a$(B)' -> 0\n");
}

TEST(VariableExpansion, TheDiagnosticOfEmptyTextIsAFailedCheck) {
  LogRecorder log;
  FailureRecorder failures;
  testMacroExpansion(""_hx);
  EXPECT_EQ(failures.messages(), (Texts{"searchRange={0, 18446744073709551615}, self.length=0"}));
  EXPECT_EQ(log.takeLines(), "'' -> 0\n");
}

// ---- Against the rules, character by character
// ----------------------------------------------------

// The same values for the library and for the model.
struct Values {
  std::vector<std::pair<std::u16string, std::u16string>> all;

  HxDictionary dictionary() const {
    HxMutableDictionary result = HxMutableDictionary::dictionary();
    for (const auto& [name, value] : all) result.setObject(HxString(value), HxString(name));
    return result;
  }
  std::optional<std::u16string> operator()(const std::u16string& name) const {
    for (const auto& [key, value] : all) {
      if (key == name) return value;
    }
    return std::nullopt;
  }
};

void expectAsTheModel(const std::u16string& units, const Values& values,
                      const HxDictionary& dictionary) {
  const HxString text(units);
  for (HxUInteger options = 0; options < 4; ++options) {
    const bool keeps = (options & kKeep) != 0;
    const bool rescans = (options & kRescan) != 0;
    ASSERT_EQ(charactersOf(MO_stringByExpandingVariables(text, dictionary, options)),
              ExpansionModel::expand(units, values, 0, units.size(), keeps, rescans))
        << text.toStdString() << " with " << options;
  }
  ASSERT_EQ(charactersOf(namesOfExpandableVariables(text)), ExpansionModel::names(units))
      << text.toStdString();
}

// No value leads back to its name, however it is put together with the text.
const Values kModelValues{{{u"A", u"b"}, {u"b", u"'"}, {u"AA", u"\\"}, {u"Ab", u"long value"}}};

TEST(VariableExpansion, IsAsTheRulesTellForEveryShortText) {
  const HxDictionary dictionary = kModelValues.dictionary();
  forEachText(u"$()'\\Ab%", 6, [&](const std::u16string& text) {
    expectAsTheModel(text, kModelValues, dictionary);
    return !testing::Test::HasFatalFailure();
  });
}

TEST(VariableExpansion, IsAsTheRulesTellForShortWideTexts) {
  const HxDictionary dictionary = kModelValues.dictionary();
  forEachText(u"${}'\\A\u4E2D\uFFFF", 5, [&](const std::u16string& text) {
    expectAsTheModel(text, kModelValues, dictionary);
    return !testing::Test::HasFatalFailure();
  });
}

// Values with references, and with parts that the text completes to some. All that C to E put in
// are A and b, so there is an end to it.
const Values kNestedValues{{{u"A", u"b"},
                            {u"C", u"$(A"},
                            {u"D", u"$"},
                            {u"E", u"'\u4E2D$A\\"},
                            {u"Ab", u"a value that is longer than its reference"}}};

void expectAsTheModelInEveryRange(const std::u16string& units, const Values& values,
                                  const HxDictionary& dictionary) {
  for (HxUInteger start = 0; start <= units.size(); ++start) {
    for (HxUInteger end = 0; end <= units.size(); ++end) {  // in front of the start too
      for (HxUInteger options = 0; options < 4; ++options) {
        ASSERT_EQ(charactersOf(MO_stringByExpandingVariables(HxString(units), dictionary,
                                                             {start, end - start}, options)),
                  ExpansionModel::expand(units, values, start, end - start, (options & kKeep) != 0,
                                         (options & kRescan) != 0))
            << HxString(units).toStdString() << " " << start << " to " << end << ", " << options;
      }
    }
  }
}

TEST(VariableExpansion, IsAsTheRulesTellForEveryRange) {
  const HxDictionary plain = kModelValues.dictionary();
  const HxDictionary nested = kNestedValues.dictionary();
  for (std::uint32_t seed = 0; seed < 300 && !HasFatalFailure(); ++seed) {
    expectAsTheModelInEveryRange(test::randomText(u"$$$()'\\Ab-", 12, seed), kModelValues, plain);
    expectAsTheModelInEveryRange(test::randomText(u"$$$$()ACDEb", 14, seed), kNestedValues, nested);
  }
}

TEST(VariableExpansion, IsAsTheRulesTellForLongTexts) {
  const Values values{{{u"A", u"$(b)$C"},
                       {u"b", u"a long value without anything to stop at"},
                       {u"C", u"\u4E2D$(D)"},
                       {u"D", u""},
                       {u"E", u"'$(A)'\\$(b)$"}}};
  const HxDictionary dictionary = values.dictionary();
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    std::u16string text = test::randomText(u"$$()ACDEb xyz/", 400, seed);
    for (std::size_t i = 0; i < text.size(); ++i) {  // a quote now and then
      if ((i * 7919 + seed) % 97 == 0) text[i] = u"'\\\u00e9"[seed % 3];
    }
    expectAsTheModel(text, values, dictionary);
  }
}

// ---- Growth -------------------------------------------------------------------------------------

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

TEST(VariableExpansion, WhatIsTakenFromTheHeapGrowsAsTextAndReplacementsDo) {
  const std::string longValue(1000, 'v');
  const HxDictionary values = HxDictionary::dictionaryWithEntries(
      {{"LONG"_hx, HxString(longValue)}, {"S"_hx, "s"_hx}, {"MIX"_hx, "$(LONG)$S"_hx}});
  const HxString text(repeated("$(LONG)$(S)$(U)$(MIX) ", 1000));
  const std::string expectedResult = repeated(longValue + "s" + longValue + "s ", 1000);
  const AllocationCounter counter;
  const HxMutableString result = MO_stringByExpandingVariables(text, values, kRescan);
  const std::size_t bytes = counter.bytes();
  EXPECT_LT(counter.count(), 30U);
  EXPECT_LT(bytes, 6 * expectedResult.size());
  EXPECT_EQ(result.toStdString(), expectedResult);
}

TEST(VariableExpansion, ShortTextTakesTwoBlocks) {
  const HxDictionary values = variables();
  const HxString text = "/usr/include/$(A)/and/some/more/text/of/a/normal/length"_hx;
  const AllocationCounter counter;
  const HxMutableString result = MO_stringByExpandingVariables(text, values, kRescan);
  EXPECT_EQ(counter.count(), 2U);
}

}  // namespace
}  // namespace rondel
