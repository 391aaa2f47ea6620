// SPDX-License-Identifier: MIT
#include "Settings.h"

#include <utility>

#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/SimpleAssignments.h"
#include "Rondel/additions/TextDecoding.h"
#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/object/Exception.h"

using namespace rondel;

namespace {

// Settings for the expansion of one text, which raises once they have been asked for more than any
// command can hold. Looking for circles would not do: values and the text after them can make
// references together, which none of the values shows.
class CountedSettings final : public HxDictionaryObject {
 public:
  explicit CountedSettings(HxDictionary settings) : _settings(std::move(settings)) {}

  HxUInteger count() const override { return _settings.count(); }
  HxAny objectForKey(const HxHandle& key) const override {
    const HxString value = _settings.objectForKey<HxString>(key);
    const HxUInteger cost = value.length() + 1;
    if (cost > _left) {
      HxException::raise(HxInvalidArgumentException, "setting %@ expands without end"_hx, key);
    }
    _left -= cost;
    return value;
  }
  HxEnumerator keyEnumerator() const override { return _settings.keyEnumerator(); }

 private:
  const HxDictionary _settings;
  mutable HxUInteger _left = HxUInteger{1} << 22;
};

}  // namespace

HxString Settings::readFile(const HxString& path) {
  const HxString text =
      path.isEmpty() ? HxString() : initWithUnicodeOrHaldenOSRomanContentsOfFile(path, nullptr);
  if (!text) return HxString::stringWithFormat("cannot read %@"_hx, path);
  HxString problem;
  const HxDictionary settings =
      dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, &problem);
  if (!settings) return problem;
  _read.addEntriesFromDictionary(settings);
  _areGiven = true;
  return nullptr;
}

// The value is taken as it stands: on a command line nobody means the blanks or the semicolon that
// a line of a file may have.
HxString Settings::define(const HxString& assignment) {
  const HxRange equals = assignment.rangeOfString("="_hx);
  const HxString name =
      assignment.substringToIndex(equals.length > 0 ? equals.location : assignment.length());
  if (equals.length == 0 || !isLegalCIdentifier(name)) {
    return HxString::stringWithFormat("not NAME=VALUE: %@"_hx, assignment);
  }
  _defined.setObject(assignment.substringFromIndex(equals.location + 1), name);
  _areGiven = true;
  return nullptr;
}

HxDictionary Settings::all() const {
  HxMutableDictionary all = _read.mutableCopy();
  all.addEntriesFromDictionary(_defined);
  return all;
}

HxString Settings::expand(HxString& text) const {
  try {
    const HxDictionary values(makeRef<CountedSettings>(all()));
    text = MO_stringByExpandingVariables(text, values, MoExpansionRescanExpansions).copy();
    return nullptr;
  } catch (const HxException& exception) {
    return exception.reason();
  }
}
