// SPDX-License-Identifier: MIT
#pragma once

// Texts for tests: the strings of an array, every short text over an alphabet, and random texts.
// Includes Collections.h for strings of a user-defined class.

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {

using Texts = std::vector<std::string>;

/// Returns the descriptions of the objects in UTF-8.
inline Texts textsOf(const HxArray& array) {
  Texts texts;
  for (const HxAny& object : array) texts.push_back(object.description().toStdString());
  return texts;
}

inline std::u16string charactersOf(const HxString& string) {
  std::u16string units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

/// Returns the units of the strings unchanged.
inline std::vector<std::u16string> charactersOf(const HxArray& array) {
  std::vector<std::u16string> texts;
  for (const HxAny& object : array) texts.push_back(charactersOf(as<HxString>(object)));
  return texts;
}

/// Calls `visit` with every text of at most `longest` units of the alphabet, until it returns
/// false.
template <class Visit>
void forEachText(const std::u16string& alphabet, std::size_t longest, Visit visit) {
  std::vector<std::size_t> digits;
  std::u16string text;
  for (;;) {
    if (!visit(text)) return;
    std::size_t place = 0;
    while (place < digits.size() && ++digits[place] == alphabet.size()) digits[place++] = 0;
    if (place == digits.size()) digits.push_back(0);
    if (digits.size() > longest) return;
    text.clear();
    for (const std::size_t digit : digits) text += alphabet[digit];
  }
}

/// Returns the text with each 'a' replaced by a run that is longer than a machine vector.
inline std::u16string withLongRuns(const std::u16string& text) {
  std::u16string result;
  for (const char16_t unit : text) result.append(unit == u'a' ? 21 : 1, unit);
  return result;
}

/// Returns a random text: the same for the same seed on every machine.
inline std::u16string randomText(const std::u16string& alphabet, std::size_t length,
                                 std::uint32_t seed) {
  std::mt19937 random(seed);
  std::u16string text;
  while (text.size() < length) text += alphabet[random() % alphabet.size()];
  return text;
}

}  // namespace rondel::test
