// SPDX-License-Identifier: MIT
//
// The readers of the two forms of property lists, and what a failed reading or writing leaves.
// PropertyList.cc chooses between them and makes the error.
#pragma once

#include <string>
#include <string_view>

#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel::internal {

// A place in a text. Both count from 1; columns are in characters.
struct TextPlace {
  HxUInteger line = 1;
  HxUInteger column = 1;
};

// Steps over one UTF-16 unit or UTF-8 byte, so that a place can be counted; `previous` is the one
// before it. LF, CR and CR LF end a line.
template <class Unit>
void advance(TextPlace& place, Unit previous, Unit unit) noexcept {
  constexpr bool isByte = sizeof(Unit) == 1;
  if (unit == '\n' && previous == '\r') return;
  if (unit == '\n' || unit == '\r') {
    place = {place.line + 1, 1};
    return;
  }
  const bool isInsideCharacter = isByte ? (unit & 0xC0) == 0x80 : isLowSurrogate(unitOf(unit));
  if (!isInsideCharacter) ++place.column;
}

struct PropertyListFailure {
  HxPropertyListErrorCode code = HxPropertyListSyntaxError;
  std::string message;
  TextPlace place;

  std::string description() const;  // "line 3, column 7: message"
};

// Returns "U+001B".
std::string codePointName(HxUniChar unit);
// Returns the message of HxPropertyListDepthError.
std::string tooDeepMessage();

// Each reader returns the list, or nil with the failure.

// Reads the text form, with the form of tables of messages.
HxAny readTextPropertyList(const Characters& text, PropertyListFailure& failure);
// Reads the text form, where only a value that is written out counts: neither a table nor an empty
// text.
HxAny readTextValue(const Characters& text, PropertyListFailure& failure);
// Reads the XML form; a null encoding means what the document declares.
HxAny readXMLPropertyList(std::string_view document, const char* encoding,
                          PropertyListFailure& failure);

// Reads a property list from a regular file. Refuses anything else without waiting for it.
HxAny propertyListOfRegularFile(const HxString& path, HxError* error);
// Returns the error of a file that holds another property list than was wanted.
HxError propertyListFileError(const HxString& path, const HxString& reason);

// Returns an independent, immutable copy of a property list, made of built-in objects only; nil if
// it is none. Runs the code of the objects that it copies, and raises what that raises.
HxAny copyOfPropertyList(const HxHandle& list);

// Returns whether the text form keeps the types: it makes numbers and dates strings.
bool textFormKeepsTypes(const HxHandle& list);

// Returns the text as a built-in, immutable string: using it runs no code of other classes.
HxString builtInString(const HxString& text);

}  // namespace rondel::internal
