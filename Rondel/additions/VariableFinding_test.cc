// SPDX-License-Identifier: MIT

// References to variables: where they are found, and their names.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/testing/ExpansionModel.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::ExpansionModel;
using test::FailureRecorder;
using test::kTextForms;
using test::LogRecorder;
using test::makeText;
using test::nameOf;
using test::TextForm;
using test::Texts;
using test::textsOf;

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

// ---- Names --------------------------------------------------------------------------------------

TEST(VariableFinding, NamesComeInOrderAndAsOftenAsTheyOccur) {
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

TEST(VariableFinding, TheFirstReferenceIsFoundWithItsDelimiters) {
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

TEST(VariableFinding, PlacesForTheRangesMayBeNull) {
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

TEST(VariableFinding, NothingIsStoredWhenNothingIsFound) {
  Found ranges{{7, 7}, {8, 8}, {9, 9}};
  const Found before = ranges;
  EXPECT_FALSE(_getVariableNameRange("$(A"_hx, &ranges.name, &ranges.open, &ranges.close, {0, 3}));
  EXPECT_EQ(ranges, before);
}

TEST(VariableFinding, AStringOfOnesOwnIsReadInPiecesAndNoFartherThanNeeded) {
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
  EXPECT_EQ(found(HxString(watched), {64, 900}), (Found{{97, 23}, {95, 2}, {120, 1}}));
  EXPECT_EQ(watched->reads(), (std::vector<HxRange>{{64, 32}, {96, 32}}));
}

TEST(VariableFinding, EachFormIsFoundAtEachPlaceOfALongText) {
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

TEST(VariableFinding, NothingIsFoundInEmptyTextAndInAnEmptyRange) {
  EXPECT_FALSE(found(""_hx));
  EXPECT_FALSE(found("$A"_hx, {1, 0}));
  EXPECT_FALSE(found("$A"_hx, {2, 0}));
}

TEST(VariableFinding, AReferenceThatEndsWithTheRangeIsFound) {
  EXPECT_EQ(found("-$(A)-"_hx, {1, 4}), (Found{{3, 1}, {1, 2}, {4, 1}}));
  EXPECT_EQ(found("-$AA"_hx, {1, 2}), (Found{{2, 1}, {1, 1}, {3, 0}}));
}

TEST(VariableFinding, AReferenceThatNeedsOneCharacterMoreEndsTheSearch) {
  EXPECT_FALSE(found("-$(A)-"_hx, {1, 3}));
  EXPECT_FALSE(found("-$(A)$A"_hx, {1, 3}));
  EXPECT_FALSE(found("$A"_hx, {0, 1}));
}

TEST(VariableFinding, NothingIsFoundInARangeWhoseEndWrapsAround) {
  FailureRecorder failures;
  EXPECT_FALSE(found("$A$A$A"_hx, {4, ~HxUInteger{0} - 1}));  // ends at 2
  EXPECT_EQ(failures.messages(), Texts{});
}

// ---- The diagnostic -----------------------------------------------------------------------------

TEST(VariableFinding, TheDiagnosticLogsTheFirstReference) {
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

TEST(VariableFinding, TheDiagnosticDoesNotLookAtTheLastCharacter) {
  LogRecorder log;
  testMacroExpansion("a$(B)"_hx);
  EXPECT_EQ(log.takeLines(), "'a$(B)' -> 0\n");
}

TEST(VariableFinding, TheDiagnosticOfEmptyTextIsAFailedCheck) {
  LogRecorder log;
  FailureRecorder failures;
  testMacroExpansion(""_hx);
  EXPECT_EQ(failures.messages(), (Texts{"searchRange={0, 18446744073709551615}, self.length=0"}));
  EXPECT_EQ(log.takeLines(), "'' -> 0\n");
}

}  // namespace
}  // namespace rondel
