// SPDX-License-Identifier: MIT
//
// Rondel's values on standard streams.
//
//   std::cout << "main.c"_hx << ' ' << names << '\n';
//
// Text is written as UTF-8, with U+FFFD in place of a lone surrogate. Width, fill and adjustment of
// the stream hold; they count bytes. nil is written as "(null)", as %@ prints it.
#pragma once

#include <ostream>
#include <string>

#include "Rondel/core/text/String.h"

namespace rondel {

// The text.
inline std::ostream& operator<<(std::ostream& stream, const HxString& string) {
  if (const std::string_view ascii = string.asciiView(); ascii.data()) return stream << ascii;
  return stream << (string ? string.toStdString() : std::string("(null)"));
}

// The description of any object, of arrays and the other value types too.
inline std::ostream& operator<<(std::ostream& stream, const HxHandle& object) {
  return stream << object.description();
}

}  // namespace rondel
