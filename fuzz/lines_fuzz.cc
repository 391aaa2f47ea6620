// SPDX-License-Identifier: MIT

// Line offsets, line numbers and line ranges of one text agree with each other and with the walk
// from line to line. The input is two bytes that choose places, then the text, in UTF-8 or, when it
// is not that, in UTF-16.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Rondel/additions/Lines.h"
#include "fuzz/support.h"

using namespace rondel;
using fuzz::require;
using fuzz::textFrom;

namespace {

// The starts of lines and, last, the length.
std::vector<HxUInteger> offsetsOf(const HxString& text) {
  HxUInteger* array = nullptr;
  HxUInteger count = 0;
  getLineStartOffsets(text, &array, &count);
  std::vector<HxUInteger> offsets(array, array + count);
  std::free(array);
  return offsets;
}

void checkOffsets(const HxString& text, const std::vector<HxUInteger>& offsets) {
  require(offsets.size() >= 2 && offsets.front() == 0 && offsets.back() == text.length(),
          "offsets go from 0 to the length");
  std::vector<HxUInteger> starts;
  for (const HxUInteger start : lineStartOffsets(text)) starts.push_back(start);
  starts.push_back(text.length());
  require(starts == offsets, "set and array hold the same offsets");
  for (std::size_t line = 0; line + 1 < offsets.size(); ++line) {
    HxUInteger start = 0;
    HxUInteger end = 0;
    text.getLineStart(&start, &end, nullptr, {offsets[line], 0});
    require(start == offsets[line] && end == offsets[line + 1], "a line lies between two offsets");
  }
}

// A terminator at the end of a text makes one more offset, but no further line.
void checkNumbers(const HxString& text, const std::vector<HxUInteger>& offsets) {
  const HxUInteger count = numberOfLines(text);
  const bool isTerminated = text.length() > 0 && offsets[offsets.size() - 2] == text.length();
  require(count == offsets.size() - 1 - (isTerminated ? 1 : 0), "as many lines as offsets");
  require(characterRangeForLineRange(text, {count, 1}) == kNotFoundRange, "no line after the last");
  require(characterRangeForLineRange(text, {0, count}) == HxRange{0, text.length()},
          "all lines are all of the text");
  constexpr HxUInteger kMostLines = 64;  // each question reads from the start
  for (HxUInteger line = 0; line < std::min(count, kMostLines); ++line) {
    const HxRange characters{offsets[line], offsets[line + 1] - offsets[line]};
    require(characterRangeForLineRange(text, {line, 1}) == characters, "characters of a line");
    require(lineRangeForCharacterRange(text, characters) == HxRange{line, 1}, "and back");
  }
}

void checkRange(const HxString& text, const std::vector<HxUInteger>& offsets, HxRange range) {
  const HxRange lines = lineRangeForCharacterRange(text, range);
  const HxRange characters = characterRangeForLineRange(text, lines);
  require(characters.location <= range.location && HxMaxRange(characters) >= HxMaxRange(range),
          "lines cover the characters that they were asked for");
  require(characters.location == offsets[lines.location], "lines start at an offset");
}

void checkInsertion(const HxString& text, HxUInteger line) {
  HxMutableString changed = text.mutableCopy();
  insertStringAtLine(changed, "x\n"_hx, line);
  const HxUInteger count = numberOfLines(text);
  require(numberOfLines(changed) == (text.isEmpty() ? count : count + 1), "one line more");
  const HxRange inserted = characterRangeForLineRange(changed, {line, 1});
  require(changed.substringWithRange(inserted).isEqualToString("x\n"_hx), "it is that line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const HxString text = textFrom(data + 2, size - 2);
  const std::vector<HxUInteger> offsets = offsetsOf(text);
  checkOffsets(text, offsets);
  checkNumbers(text, offsets);
  const HxUInteger from = data[0] * text.length() / 255;
  const HxUInteger to = data[1] * text.length() / 255;
  checkRange(text, offsets, {std::min(from, to), std::max(from, to) - std::min(from, to)});
  checkInsertion(text, data[0] % numberOfLines(text));
  return 0;
}
