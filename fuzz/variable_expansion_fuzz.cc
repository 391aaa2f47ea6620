// SPDX-License-Identifier: MIT

// References found and expanded, against a model that edits one copy in place. The input is a byte
// of options, two that choose the range, and text in UTF-8 or, when it is not that, in UTF-16: the
// first line is expanded, each other one is a variable, NAME=VALUE.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/testing/ExpansionModel.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;
using test::ExpansionModel;

namespace {

std::u16string unitsOf(const HxString& string) {
  std::u16string units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

// Values may refer to one another in circles, so nothing is defined after so many questions.
constexpr int kMostQuestions = 200;
// Values expand into values, which multiplies lengths.
constexpr std::size_t kMostUnits = 400;

struct Variables {
  std::vector<std::pair<std::u16string, std::u16string>> all;

  std::optional<std::u16string> valueOf(const std::u16string& name) const {
    for (const auto& [key, value] : all) {
      if (key == name) return value;
    }
    return std::nullopt;
  }
  HxDictionary dictionary() const {
    HxMutableDictionary result = HxMutableDictionary::dictionary();
    for (auto entry = all.rbegin(); entry != all.rend(); ++entry) {
      result.setObject(HxString(entry->second), HxString(entry->first));
    }
    return result;
  }
};

// A dictionary that tires.
class BoundedVariables final : public HxDictionaryObject {
 public:
  explicit BoundedVariables(const Variables& variables) : _values(variables.dictionary()) {}
  HxUInteger count() const override { return _values.count(); }
  HxAny objectForKey(const HxHandle& key) const override {
    return ++_questions > kMostQuestions ? HxAny() : _values.objectForKey(key);
  }
  HxEnumerator keyEnumerator() const override { return _values.keyEnumerator(); }
  bool isTired() const { return _questions > kMostQuestions; }

 private:
  const HxDictionary _values;
  mutable int _questions = 0;
};

// A string that has the three primitives alone.
class OpenString final : public HxStringObject {
 public:
  explicit OpenString(const std::u16string& text) : _text(text) {}
  HxUInteger length() const override { return _text.size(); }
  HxUniChar characterAtIndex(HxUInteger index) const override { return _text.at(index); }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    require(HxRangeFits(range, _text.size()), "only the text is read");
    _text.copy(buffer, range.length, range.location);
  }

 private:
  const std::u16string _text;
};

void checkScanner(const HxString& text, const std::u16string& units, HxRange range) {
  HxRange name;
  HxRange open;
  HxRange close;
  const auto expected = ExpansionModel::find(units, range.location, HxMaxRange(range));
  const bool isFound = _getVariableNameRange(text, &name, &open, &close, range);
  require(isFound == expected.has_value(), "a reference is found where there is one");
  if (!isFound) return;
  require(open.location == expected->start && HxMaxRange(open) == expected->nameStart,
          "the open delimiter");
  require(name.location == expected->nameStart && HxMaxRange(name) == expected->nameEnd,
          "the name");
  require(close.location == expected->nameEnd && HxMaxRange(close) == expected->end,
          "the close delimiter");
}

void checkNames(const HxString& text, const std::u16string& units) {
  std::vector<std::u16string> names;
  for (const HxAny& name : namesOfExpandableVariables(text)) {
    names.push_back(unitsOf(as<HxString>(name)));
  }
  require(names == ExpansionModel::names(units), "all names in order");
}

void checkExpansion(const HxString& text, const std::u16string& units, const Variables& variables,
                    HxRange range, HxUInteger options) {
  int questions = 0;
  const auto lookUp = [&](const std::u16string& name) -> std::optional<std::u16string> {
    if (++questions > kMostQuestions) return std::nullopt;
    return variables.valueOf(name);
  };
  const std::u16string expected =
      ExpansionModel::expand(units, lookUp, range.location, range.length,
                             (options & MoExpansionKeepUndefinedReferences) != 0,
                             (options & MoExpansionRescanExpansions) != 0);
  const Ref<BoundedVariables> bounded = makeRef<BoundedVariables>(variables);
  require(unitsOf(MO_stringByExpandingVariables(text, HxDictionary(bounded), range, options)) ==
              expected,
          "expanded from a dictionary of another class");
  if (bounded->isTired()) return;
  require(unitsOf(MO_stringByExpandingVariables(text, variables.dictionary(), range, options)) ==
              expected,
          "expanded from a built-in dictionary");
}

std::vector<std::u16string> linesOf(const std::uint8_t* data, std::size_t size) {
  const HxString text(std::string_view(reinterpret_cast<const char*>(data), size));
  std::u16string units(size / 2, u'\0');
  if (text) {
    units = unitsOf(text);
  } else {
    for (std::size_t i = 0; i < units.size(); ++i) {
      units[i] = static_cast<char16_t>(data[2 * i] << 8 | data[2 * i + 1]);
    }
  }
  std::vector<std::u16string> lines(1);
  for (const char16_t unit : units) {
    if (unit == u'\n') {
      lines.emplace_back();
    } else if (lines.back().size() < kMostUnits) {
      lines.back() += unit;
    }
  }
  return lines;
}

Variables variablesOf(const std::vector<std::u16string>& lines) {
  Variables variables;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::size_t equals = std::min(lines[i].find(u'='), lines[i].size());
    const std::size_t value = std::min(equals + 1, lines[i].size());
    variables.all.emplace_back(lines[i].substr(0, equals), lines[i].substr(value));
  }
  return variables;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*, int,
                                  const HxString&,
                                  HxArguments) { require(false, "no check fails"); });
  if (size < 3) return 0;
  const std::vector<std::u16string> lines = linesOf(data + 3, size - 3);
  const Variables variables = variablesOf(lines);
  const std::u16string& units = lines.front();
  // From a little beyond the start to a little before the end; the end may be in front of the
  // start.
  const HxUInteger start = std::min<HxUInteger>(data[1], units.size());
  const HxUInteger end = units.size() - std::min<HxUInteger>(data[2], units.size());
  const HxRange range{start, end - start};
  const HxString text(units);
  const HxString open(makeRef<OpenString>(units));
  checkScanner(text, units, range);
  checkScanner(open, units, range);
  checkNames(text, units);
  checkNames(open, units);
  for (HxUInteger options = 0; options < 4; ++options) {
    checkExpansion((data[0] & 1) != 0 ? open : text, units, variables, range, options);
  }
  return 0;
}
