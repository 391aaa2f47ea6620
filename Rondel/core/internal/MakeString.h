// SPDX-License-Identifier: MIT
//
// New flat strings whose characters are written in place, so that text which is converted is not
// copied after it.
#pragma once

#include <memory>
#include <utility>

#include "Rondel/core/String.h"
#include "Rondel/core/internal/Transcode.h"

namespace rondel::internal {

// A string of `length` units, which `fill(units)` writes, all of them; one at least must not be
// ASCII. More than a flat string can hold goes to one of another kind, by way of a copy.
template <class Fill>
HxString makeWideString(HxUInteger length, const Fill& fill) {
  if (length > FlatString::kMaximumLength) {
    const std::unique_ptr<HxUniChar[]> units(new HxUniChar[length]);
    fill(units.get());
    return makeString(units.get(), length);
  }
  FlatString* string = FlatString::makeWide(length);
  HxAny owner = HxAny::adopt(string);
  fill(string->wide());
  return HxString(HxAny::Unchecked{}, std::move(owner));
}

// The same for text that is all ASCII.
template <class Fill>
HxString makeNarrowString(HxUInteger length, const Fill& fill) {
  if (length > FlatString::kMaximumLength) {
    const std::unique_ptr<char[]> bytes(new char[length]);
    fill(bytes.get());
    return makeString(bytes.get(), length);
  }
  FlatString* string = FlatString::makeNarrow(length);
  HxAny owner = HxAny::adopt(string);
  fill(string->narrow());
  return HxString(HxAny::Unchecked{}, std::move(owner));
}

}  // namespace rondel::internal
