// SPDX-License-Identifier: MIT
#include "Rondel/additions/VariableExpansion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/values/Number.h"
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
      {"$'$A'$A"_hx, "$'$A'x"},  // what follows a '$' is looked at again
      {"$\\$A $A"_hx, "$\\$A x"},
      {"${A $(A)"_hx, "${A $(A)"},  // never closed: nothing after it is found
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

TEST(VariableExpansion, ABareReferenceLeavesTheCloseDelimiterAfterIt) {
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

TEST(VariableExpansion, EmptyTextAndEmptyRangeReturnACopy) {
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
    HxAny objectForKey(const HxHandle& key) const override {
      _names.addObject(key);
      return "v"_hx;
    }
    HxEnumerator keyEnumerator() const override { return nullptr; }
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

TEST(VariableExpansion, TheTextMayBeReturnnUpOnceTheExpansionHasBegun) {
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

TEST(VariableExpansion, AKeptReferenceMovesTheEndOfTheReturnnRange) {
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
}

TEST(VariableExpansion, AReferenceThatNeedsOneCharacterMoreEndsTheSearch) {
  EXPECT_EQ(expandedInRange("$(A)$(A)"_hx, {0, 3}), "$(A)$(A)");
}

TEST(VariableExpansion, ARangeWhoseEndWrapsAroundHasNothingInIt) {
  const HxString text = "$A$A$A"_hx;
  FailureRecorder failures;
  const HxRange wrapped{4, ~HxUInteger{0} - 1};  // ends at 2
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

TEST(VariableExpansion, NilTextReturnsNilFalseOrNothing) {
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

TEST(VariableExpansion, ShortTextTakesNothingFromTheHeapButTheResult) {
  const HxDictionary values = variables();
  const HxString text = "/usr/include/$(A)/and/some/more/text/of/a/normal/length"_hx;
  const AllocationCounter counter;
  const HxMutableString result = MO_stringByExpandingVariables(text, values, kRescan);
  EXPECT_EQ(counter.count(), 1U);
}

}  // namespace
}  // namespace rondel
