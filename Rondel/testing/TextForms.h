// SPDX-License-Identifier: MIT
#pragma once

// The same text in every form in which a string can store it.
//
//     for (TextForm form : kTextForms) EXPECT_EQ(makeText(form, u"abc").length(), 3u);
//
// No result of a string may depend on its form.

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/core/text/String.h"

namespace rondel::test {

enum class TextForm {
  flat,            // immutable; one byte a unit if all are ASCII, else two
  buffer,          // mutable, one byte a unit if all are ASCII
  widenedBuffer,   // mutable, two bytes a unit, ASCII or not
  primitives,      // a user-defined class with only the three operations
  contiguousWide,  // a user-defined class that lends its units, two bytes each
  contiguous,      // a user-defined class that lends its units, one byte each if all are ASCII
  view,            // a part of a flat string with ASCII around it
  wideView,        // a part of a flat string with characters around it that are not ASCII
  primitivesView,  // a part of a string of the class with only the three operations
};

// The location of the text in the string that rangeOfCharacterFromSet of this form searches, and
// the number of units after the text there.
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

// Returns a name for tests and messages.
const char* nameOf(TextForm form);
void PrintTo(TextForm form, std::ostream* out);

// Returns a new string of the form.
HxString makeText(TextForm form, std::u16string_view units);
inline HxString makeText(TextForm form, const HxString& text) {
  std::u16string units(text.length(), u'\0');
  text.getCharacters(units.data());
  return makeText(form, units);
}

// Returns all units, lone surrogates included.
std::u16string unitsOf(const HxString& string);

}  // namespace rondel::test
