// SPDX-License-Identifier: MIT

// References to variables, replaced from a dictionary of 20. The text and the dictionary are made
// ahead of the pass.

#include "inputs.hpp"

#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace {

using namespace rondel;

// Length and units of a result, read where they lie.
std::uint64_t checkOf(const HxString& text) {
  const auto& string = static_cast<const HxStringObject&>(*text.object());
  return w04::check_of(std::string_view(string.contiguousCharacters().narrow, string.length()));
}

HxDictionary variables() {
  HxMutableDictionary all = HxMutableDictionary::dictionary();
  for (const w04::Value& variable : w04::variables()) {
    all.setObject(HxString(variable.value), HxString(variable.name));
  }
  return all.copy();
}

}  // namespace

BENCH_ROWS(w04_rondel) {
  for (const w04::Case& c : w04::cases()) {
    const HxString text(c.text->text);
    const HxDictionary values = variables();
    const auto row = [&](const char* name, MoExpansionOptions options) {
      w04::expand(c).rondel(name, w04::times(c.reps, [text, values, options] {
                              return checkOf(MO_stringByExpandingVariables(text, values, options));
                            }));
    };
    row("rondel", 0);
    row("rondel_rescanning", MoExpansionRescanExpansions);
  }
}
