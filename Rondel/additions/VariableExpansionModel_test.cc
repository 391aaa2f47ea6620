// SPDX-License-Identifier: MIT

// Variable expansion against its rules, character by character.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/testing/ExpansionModel.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::charactersOf;
using test::ExpansionModel;
using test::forEachText;

constexpr MoExpansionOptions kKeep = MoExpansionKeepUndefinedReferences;
constexpr MoExpansionOptions kRescan = MoExpansionRescanExpansions;

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

}  // namespace
}  // namespace rondel
