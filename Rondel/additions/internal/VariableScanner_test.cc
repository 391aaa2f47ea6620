// SPDX-License-Identifier: MIT
#include "Rondel/additions/internal/VariableScanner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Texts.h"

namespace rondel::internal {
namespace {

using test::FailureRecorder;
using test::Texts;

// Of "ab$(NAME)", searched from its second character on.
constexpr HxRange kSearch{1, 8};
constexpr VariableReference kReference{{4, 4}, {2, 2}, {8, 1}};

using Assert = void (*)(const HxString&, HxRange, const VariableReference&);

Texts conditionsThatFail(Assert assertReference, HxRange search, const VariableReference& found) {
  FailureRecorder failures;
  assertReference("ab$(NAME)"_hx, search, found);
  Texts conditions;
  for (const FailureRecorder::Failure& failure : failures.failures()) {
    EXPECT_EQ(failure.message, "Assertion failed: " + failure.condition);
    conditions.push_back(failure.condition);
  }
  return conditions;
}

VariableReference with(HxRange VariableReference::*part, HxRange range) {
  VariableReference reference = kReference;
  reference.*part = range;
  return reference;
}

struct Violation {
  VariableReference reference;
  std::string condition;
};

const std::vector<Violation> kViolationsOfDelimiters{
    {with(&VariableReference::openDelimiter, {0, 2}),
     "openDelimRange.location >= searchRange.location"},
    {with(&VariableReference::openDelimiter, {2, 0}),
     "openDelimRange.length == 1 || openDelimRange.length == 2"},
    {{{11, 0}, {10, 1}, {11, 0}},
     "openDelimRange.location+openDelimRange.length <= searchRange.location+searchRange.length"},
    {{{3, 0}, {2, 2}, {3, 0}},
     "closeDelimRange.location >= openDelimRange.location+openDelimRange.length"},
    {{{4, 2}, {2, 2}, {6, 2}}, "closeDelimRange.length == 0 || closeDelimRange.length == 1"},
    {with(&VariableReference::closeDelimiter, {9, 1}),
     "closeDelimRange.location+closeDelimRange.length <= searchRange.location+searchRange.length"},
};

TEST(VariableScanner, AssertsNothingOfAReferenceInItsRange) {
  EXPECT_EQ(conditionsThatFail(assertScannedReference, kSearch, kReference), Texts{});
  EXPECT_EQ(conditionsThatFail(assertReferenceToExpand, kSearch, kReference), Texts{});
}

void expectFirstFailures(Assert assertReference, const std::vector<Violation>& violations) {
  for (const auto& [reference, condition] : violations) {
    const Texts failed = conditionsThatFail(assertReference, kSearch, reference);
    ASSERT_FALSE(failed.empty()) << condition;
    EXPECT_EQ(failed.front(), condition);
  }
}

TEST(VariableScanner, AssertsTheDelimitersBeforeTheExpanderUsesThem) {
  expectFirstFailures(assertReferenceToExpand, kViolationsOfDelimiters);
}

TEST(VariableScanner, AssertsTheDelimitersAndThenTheName) {
  expectFirstFailures(assertScannedReference, kViolationsOfDelimiters);
  expectFirstFailures(
      assertScannedReference,
      {{with(&VariableReference::name, {2, 4}),
        "variableNameRange.location > openDelimRange.location"},
       {with(&VariableReference::name, {4, 5}),
        "variableNameRange.location+variableNameRange.length <= closeDelimRange.location"}});
}

TEST(VariableScanner, AssertsInTheOrderOfTheText) {
  // Wrong in every respect that can be wrong at once.
  const VariableReference wrong{{0, 9}, {0, 20}, {1, 20}};
  const Texts delimiters{
      "openDelimRange.location >= searchRange.location",
      "openDelimRange.length == 1 || openDelimRange.length == 2",
      "openDelimRange.location+openDelimRange.length <= searchRange.location+searchRange.length",
      "closeDelimRange.location >= openDelimRange.location+openDelimRange.length",
      "closeDelimRange.length == 0 || closeDelimRange.length == 1",
      "closeDelimRange.location+closeDelimRange.length <= "
      "searchRange.location+searchRange.length"};
  EXPECT_EQ(conditionsThatFail(assertReferenceToExpand, kSearch, wrong), delimiters);
  Texts all = delimiters;
  all.push_back("variableNameRange.location > openDelimRange.location");
  all.push_back("variableNameRange.location+variableNameRange.length <= closeDelimRange.location");
  EXPECT_EQ(conditionsThatFail(assertScannedReference, kSearch, wrong), all);
}

TEST(VariableScanner, NamesTheOperationThatAsserts) {
  const HxString text = "text"_hx;
  FailureRecorder failures;
  assertScannedReference(text, {1, 1}, {{1, 0}, {0, 1}, {1, 0}});
  assertReferenceToExpand(text, {1, 1}, {{1, 0}, {0, 1}, {1, 0}});
  ASSERT_EQ(failures.failures().size(), 2U);
  EXPECT_EQ(failures.failures()[0].function,
            "-[HxString(MoVariableExpansion) _getVariableNameRange:openDelimiterRange:"
            "closeDelimiterRange:ofFirstVariableReferenceInRange:]");
  EXPECT_EQ(failures.failures()[1].function,
            "-[HxString(MoVariableExpansion) MO_stringByExpandingVariables:inRange:options:]");
  EXPECT_EQ(failures.failures()[0].receiver, text.object());
}

TEST(VariableScanner, TheFirstStopIsFoundAtEachPlaceOfALongRun) {
  for (std::size_t length = 1; length < 50; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      for (std::size_t start = 0; start <= place; ++start) {
        std::string narrow(length, 'x');
        narrow[place] = '$';
        if (start > 0) narrow[start - 1] = '$';  // it was passed
        const char* const end = narrow.data() + length;
        EXPECT_EQ(firstStart(narrow.data(), narrow.data() + start, end), narrow.data() + place);
        const std::u16string wide(narrow.begin(), narrow.end());
        const char16_t* const wideEnd = wide.data() + length;
        EXPECT_EQ(firstStart(wide.data(), wide.data() + start, wideEnd), wide.data() + place);
      }
    }
  }
}

TEST(VariableScanner, NoStopIsFoundAfterTheEnd) {
  for (std::size_t length = 0; length < 50; ++length) {
    const std::string narrow = std::string(length, 'x') + "$";
    EXPECT_EQ(firstStart(narrow.data(), narrow.data(), narrow.data() + length),
              narrow.data() + length);
    const std::u16string wide(narrow.begin(), narrow.end());
    EXPECT_EQ(firstStart(wide.data(), wide.data(), wide.data() + length), wide.data() + length);
  }
}

}  // namespace
}  // namespace rondel::internal
