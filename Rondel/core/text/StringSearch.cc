// SPDX-License-Identifier: MIT
//
// Searching for text and for characters.
#include <algorithm>
#include <string>

#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/ComposedText.h"
#include "Rondel/core/text/internal/LongSequence.h"
#include "Rondel/core/text/internal/TextPieces.h"
#include "Rondel/core/text/internal/TextSearch.h"
#include "Rondel/core/text/internal/UpperHalves.h"

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
  internal::clearUpperHalves();
  internal::checkRange("-[HxString rangeOfString:options:range:]", range, length());
  const Characters text(*this);
  const Characters pattern(string);
  return TextSearch(text, pattern, options).find(range);
}

namespace {

bool hasUnitsAt(const HxStringObject& text, HxUInteger start, const HxStringObject& part) {
  return internal::haveSameUnits(text, start, part, part.length());
}

}  // namespace

bool HxString::hasPrefix(const HxString& prefix) const {
  if (!_object || !prefix) return false;
  const std::string_view text = asciiView();
  const std::string_view start = prefix.asciiView();
  if (text.data() && start.data()) return text.starts_with(start);
  return prefix.length() <= length() && hasUnitsAt(*stringObject(), 0, *prefix.stringObject());
}

bool HxString::hasSuffix(const HxString& suffix) const {
  if (!_object || !suffix) return false;
  const std::string_view text = asciiView();
  const std::string_view end = suffix.asciiView();
  if (text.data() && end.data()) return text.ends_with(end);
  return suffix.length() <= length() &&
         hasUnitsAt(*stringObject(), length() - suffix.length(), *suffix.stringObject());
}

// ---- Characters -------------------------------------------------------------------------------

HxRange HxString::rangeOfCharacterFromSet(const HxCharacterSet& set,
                                          HxStringCompareOptions options) const {
  return rangeOfCharacterFromSet(set, options, {0, length()});
}

namespace {

using internal::TextPieces;
using internal::unitOf;

// Returns the index of the first member in a range; HxNotFound if there is none.
HxUInteger firstMember(TextPieces& text, const HxCharacterSetObject& set, HxRange range) {
  HxUInteger found = HxNotFound;
  internal::forEachPiece(range, [&](HxRange piece) {
    return text.visit(piece, [&](auto* units) {
      HxUInteger i = 0;
      while (i < piece.length && !set.contains(unitOf(units[i]))) ++i;
      if (i < piece.length) found = piece.location + i;
      return i == piece.length;
    });
  });
  return found;
}

HxUInteger lastMember(TextPieces& text, const HxCharacterSetObject& set, HxRange range) {
  while (range.length > 0) {
    const HxUInteger count = std::min(range.length, TextPieces::kUnits);
    const HxRange piece{HxMaxRange(range) - count, count};
    const HxUInteger end = text.visit(piece, [&](auto* units) {
      HxUInteger i = count;
      while (i > 0 && !set.contains(unitOf(units[i - 1]))) --i;
      return i;
    });
    if (end > 0) return piece.location + end - 1;
    range.length -= count;
  }
  return HxNotFound;
}

// Returns the index of the member that the options ask for.
HxUInteger indexOfMember(const HxStringObject& string, const HxCharacterSetObject& set,
                         HxStringCompareOptions options, HxRange range) {
  const bool isBackwards = (options & HxBackwardsSearch) != 0;
  if ((options & HxAnchoredSearch) != 0 && range.length > 0) {
    range = {isBackwards ? HxMaxRange(range) - 1 : range.location, 1};
  }
  TextPieces text(string);
  return isBackwards ? lastMember(text, set, range) : firstMember(text, set, range);
}

}  // namespace

HxRange HxString::rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                          HxRange range) const {
  return _object ? stringObject()->rangeOfCharacterFromSet(set, options, range) : kNotFoundRange;
}

HxRange HxStringObject::rangeOfCharacterFromSet(const HxCharacterSet& set,
                                                HxStringCompareOptions options,
                                                HxRange range) const {
  internal::checkRange("-[HxString rangeOfCharacterFromSet:options:range:]", range, length());
  if (!set) return kNotFoundRange;
  const HxUInteger at = indexOfMember(*this, *set.setObject(), options, range);
  return at == HxNotFound ? kNotFoundRange : HxRange{at, 1};
}

namespace {

// Units beside a boundary that decide whether it is one.
constexpr HxUInteger kMostContext = 2;

HxRange sequenceAt(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  const HxUInteger end = internal::nextSequenceBoundary(units, length, index);
  const HxUInteger start = internal::previousSequenceBoundary(units, length, end);
  return {start, end - start};
}

HxRange rememberingSequenceAt(const HxObject& string, const HxUniChar* units, HxUInteger length,
                              HxUInteger index) {
  const HxRange remembered = internal::rememberedSequence(string, length, index);
  if (remembered.length > 0) return remembered;
  const HxRange found = sequenceAt(units, length, index);
  if (found.length >= internal::kLongSequence) internal::rememberSequence(string, length, found);
  return found;
}

}  // namespace

HxRange HxString::rangeOfComposedCharacterSequenceAtIndex(HxUInteger index) const {
  if (!_object) return {};
  internal::checkIndex("-[HxString rangeOfComposedCharacterSequenceAtIndex:]", index, length());
  const HxUInteger count = length();
  TextPieces text(*stringObject());
  if (text.run().narrow) return {index, 1};
  if (text.run().wide) {
    const bool mayBeRemembered = isFlat() || HxMutableString::canHold(_object);
    return mayBeRemembered ? rememberingSequenceAt(*_object, text.run().wide, count, index)
                           : sequenceAt(text.run().wide, count, index);
  }
  // An open class shows a window around the index, which grows until the sequence ends inside it.
  for (HxUInteger reach = 16;; reach *= 2) {
    const HxUInteger start = index - std::min(index, reach);
    const HxUInteger end = index + std::min(count - index, reach);
    std::u16string window(end - start, u'\0');
    stringObject()->getCharacters(window.data(), {start, end - start});
    const HxRange found = sequenceAt(window.data(), window.size(), index - start);
    const bool isWhole = (start == 0 || found.location > kMostContext) &&
                         (end == count || HxMaxRange(found) + kMostContext < window.size());
    if (isWhole) return {start + found.location, found.length};
  }
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
