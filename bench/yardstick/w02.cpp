// SPDX-License-Identifier: MIT

// Command lines: split into new strings, and quoted and joined. The text and the words are made
// ahead of the pass.

#include <vector>

#include "inputs.hpp"

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

namespace {

using namespace rondel;

// Words and units of a result, read where the strings lie.
std::uint64_t checkOf(const HxArray& words) {
  const auto& array = static_cast<const HxArrayObject&>(*words.object());
  const HxAny* const objects = array.contiguousObjects();
  w02::Tally tally;
  const HxUInteger count = array.count();
  for (HxUInteger i = 0; i < count; ++i) {
    const auto* word = static_cast<const HxStringObject*>(objects[i].object());
    tally.add(word, word->length());
  }
  return tally.value();
}

HxArray arrayOf(const std::vector<std::string>& words) {
  HxMutableArray array = HxMutableArray::arrayWithCapacity(words.size());
  for (const std::string& word : words) array.addObject(HxString(word));
  return array.copy();
}

}  // namespace

BENCH_ROWS(w02_rondel) {
  for (const w02::Case& c : w02::cases()) {
    const HxString text(c.list->text);
    w02::split(c).rondel(
        "arguments",
        w02::times(c.reps, [text] { return checkOf(arrayByParsingAsCommandLineArguments(text)); }),
        "a new string for each word in a new array");
    const HxArray words = arrayOf(c.list->words);
    w02::join(c).row_unchecked(
        "rondel", "arguments",
        w02::times(c.reps,
                   [words] {
                     return std::uint64_t{
                         stringByConcatenatingObjectsAsCommandLineArguments(words).length()};
                   }),
        "double quotes, if needed");
  }
}
