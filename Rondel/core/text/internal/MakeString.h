// SPDX-License-Identifier: MIT
//
// New flat strings whose characters are written in place, so that converted text is not copied
// again.
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

// Returns a string of `length` units. `fill(units)` writes all of them and raises nothing; at least
// one must not be ASCII. Text that is too long for a flat string is copied to one of another kind.
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

// Does the same for text that is all ASCII.
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
