// SPDX-License-Identifier: MIT
#pragma once

// The same text in every way that a string can keep it.
//
//     for (TextForm form : kTextForms) EXPECT_EQ(makeText(form, u"abc").length(), 3u);
//
// Whatever a string answers must not depend on its form.

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/core/text/String.h"

namespace rondel::test {

enum class TextForm {
  flat,            // immutable; one byte a unit when all are ASCII, else two
  buffer,          // mutable, one byte a unit when all are ASCII
  widenedBuffer,   // mutable, two bytes a unit, ASCII or not
  primitives,      // a class of ours with the three operations alone
  contiguousWide,  // a class of ours that shows its units, two bytes each
  contiguous,      // a class of ours that shows its units, one byte each when all are ASCII
  view,            // a part of a flat string with ASCII around it
  wideView,        // a part of a flat string with characters around it that are not ASCII
  primitivesView,  // a part of a string of the class with the three operations alone
};

// Where the text begins in the string that rangeOfCharacterFromSet of this form answers for, and
// how many units that string has behind it.
inline constexpr HxUInteger kUnitsBeforeView = 3;
inline constexpr HxUInteger kUnitsBehindView = 2;
constexpr bool isView(TextForm form) { return form >= TextForm::view; }
constexpr HxUInteger locationOf(TextForm form) { return isView(form) ? kUnitsBeforeView : 0; }
constexpr HxUInteger unitsBehind(TextForm form) { return isView(form) ? kUnitsBehindView : 0; }

inline constexpr TextForm kTextForms[] = {
    TextForm::flat,       TextForm::buffer,         TextForm::widenedBuffer,
    TextForm::primitives, TextForm::contiguousWide, TextForm::contiguous,
    TextForm::view,       TextForm::wideView,       TextForm::primitivesView,
};

// For names of tests and messages.
const char* nameOf(TextForm form);
void PrintTo(TextForm form, std::ostream* out);

// A new string of the form.
HxString makeText(TextForm form, std::u16string_view units);
inline HxString makeText(TextForm form, const HxString& text) {
  std::u16string units(text.length(), u'\0');
  text.getCharacters(units.data());
  return makeText(form, units);
}

// All units, also those that UTF-8 has no bytes for.
std::u16string unitsOf(const HxString& string);

}  // namespace rondel::test
