// SPDX-License-Identifier: MIT
//
// Searching for text and for characters.
#include "Rondel/core/CharacterSet.h"
#include "Rondel/core/String.h"
#include "Rondel/core/internal/Characters.h"
#include "Rondel/core/internal/RangeCheck.h"
#include "Rondel/core/internal/TextSearch.h"

namespace rondel {

using internal::Characters;
using internal::TextSearch;

// ---- Text -------------------------------------------------------------------------------------

HxRange HxString::rangeOfString(const HxString& string, HxStringCompareOptions options) const {
  return rangeOfString(string, options, {0, length()});
}

HxRange HxString::rangeOfString(const HxString& string, HxStringCompareOptions options,
                                HxRange range) const {
  if (!_object) return kNotFoundRange;
  internal::checkRange("-[HxString rangeOfString:options:range:]", range, length());
  const Characters text(*this);
  const Characters pattern(string);
  return TextSearch(text, pattern, options).find(range);
}

namespace {

bool hasAtEnd(const HxString& string, const HxString& part, HxStringCompareOptions end) {
  if (!string || !part) return false;
  return part.isEmpty() || string.rangeOfString(part, HxAnchoredSearch | end).length > 0;
}

}  // namespace

bool HxString::hasPrefix(const HxString& prefix) const {
  const std::string_view text = asciiView();
  const std::string_view start = prefix.asciiView();
  if (text.data() && start.data()) return text.starts_with(start);
  return hasAtEnd(*this, prefix, 0);
}

bool HxString::hasSuffix(const HxString& suffix) const {
  const std::string_view text = asciiView();
  const std::string_view end = suffix.asciiView();
  if (text.data() && end.data()) return text.ends_with(end);
  return hasAtEnd(*this, suffix, HxBackwardsSearch);
}

// ---- Characters -------------------------------------------------------------------------------

HxRange HxString::rangeOfCharacterFromSet(const HxCharacterSet& set,
                                          HxStringCompareOptions options) const {
  return rangeOfCharacterFromSet(set, options, {0, length()});
}

namespace {

// The index of the member that is wanted, HxNotFound when there is none.
HxUInteger indexOfMember(const Characters& text, const HxCharacterSetObject& set,
                         HxStringCompareOptions options, HxRange range) {
  const bool isBackwards = (options & HxBackwardsSearch) != 0;
  if (range.length == 0) return HxNotFound;
  if (options & HxAnchoredSearch) {
    const HxUInteger at = isBackwards ? HxMaxRange(range) - 1 : range.location;
    return set.contains(text[at]) ? at : HxNotFound;
  }
  if (isBackwards) {
    for (HxUInteger at = HxMaxRange(range); at-- > range.location;) {
      if (set.contains(text[at])) return at;
    }
    return HxNotFound;
  }
  for (HxUInteger at = range.location; at < HxMaxRange(range); ++at) {
    if (set.contains(text[at])) return at;
  }
  return HxNotFound;
}

}  // namespace

HxRange HxString::rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                          HxRange range) const {
  if (!_object) return kNotFoundRange;
  internal::checkRange("-[HxString rangeOfCharacterFromSet:options:range:]", range, length());
  if (!set) return kNotFoundRange;
  const HxUInteger at = indexOfMember(Characters(*this), *set.setObject(), options, range);
  return at == HxNotFound ? kNotFoundRange : HxRange{at, 1};
}

HxRange HxString::rangeOfComposedCharacterSequenceAtIndex(HxUInteger index) const {
  if (!_object) return {};
  internal::checkIndex("-[HxString rangeOfComposedCharacterSequenceAtIndex:]", index, length());
  return Characters(*this).visit([index](auto* units, HxUInteger length) {
    const HxUInteger end = internal::nextSequenceBoundary(units, length, index);
    const HxUInteger start = internal::previousSequenceBoundary(units, length, end);
    return HxRange{start, end - start};
  });
}

HxString HxString::stringByTrimmingCharactersInSet(const HxCharacterSet& set) const {
  if (!_object || !set) return copy();
  const Characters text(*this);
  HxUInteger start = 0;
  HxUInteger end = text.length();
  while (start < end && set.characterIsMember(text[start])) ++start;
  while (end > start && set.characterIsMember(text[end - 1])) --end;
  return start == 0 && end == text.length() ? copy() : substringWithRange({start, end - start});
}

}  // namespace rondel
