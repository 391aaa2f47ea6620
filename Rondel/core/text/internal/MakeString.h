// SPDX-License-Identifier: MIT
//
// New flat strings whose characters are written in place, so that text which is converted is not
// copied after it.
#pragma once

#include <cstdlib>
#include <new>

#include "Rondel/core/text/String.h"

namespace rondel::internal {

template <class Unit>
Unit* allocateUnits(HxUInteger length) {
  auto* units = static_cast<Unit*>(std::malloc(length * sizeof(Unit)));
  if (!units) throw std::bad_alloc();
  return units;
}

// A string of `length` units, which `fill(units)` writes, all of them, and raises nothing; one at
// least must not be ASCII. More than a flat string can hold goes to one of another kind, by way of
// a copy.
template <class Fill>
HxString makeWideString(HxUInteger length, const Fill& fill) {
  if (length > FlatString::kMaximumLength) {
    auto* units = allocateUnits<HxUniChar>(length);
    fill(units);
    return HxString::initWithCharactersNoCopy(units, length, true);
  }
  FlatString* string = FlatString::makeWide(length);
  fill(string->wide());
  return HxString(HxAny::Unchecked{}, HxAny::adopt(string));
}

// The same for text that is all ASCII.
template <class Fill>
HxString makeNarrowString(HxUInteger length, const Fill& fill) {
  if (length > FlatString::kMaximumLength) {
    auto* bytes = allocateUnits<char>(length);
    fill(bytes);
    return HxString::initWithBytesNoCopy(bytes, length, HxASCIIStringEncoding, true);
  }
  FlatString* string = FlatString::makeNarrow(length);
  fill(string->narrow());
  return HxString(HxAny::Unchecked{}, HxAny::adopt(string));
}

}  // namespace rondel::internal
