// SPDX-License-Identifier: MIT
//
// Splitting at, and replacing of, every occurrence.
#include <algorithm>
#include <string>
#include <vector>

#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/TextSearch.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

using internal::Characters;
using internal::TextSearch;

// ---- Splitting --------------------------------------------------------------------------------

HxArray HxString::componentsSeparatedByString(const HxString& separator) const {
  if (!_object) return nullptr;
  internal::clearUpperHalves();
  const Characters text(*this);
  const Characters pattern(separator);
  const TextSearch search(text, pattern, 0);
  HxRange match = search.find({0, text.length()});
  if (match.length == 0) return HxArray::arrayWithObject(copy());
  internal::ArrayBuilder components;
  const auto addComponent = [&](HxUInteger start, HxUInteger end) {
    components.append(text.visit(
        [&](auto* units, HxUInteger) { return internal::makeString(units + start, end - start); }));
  };
  HxUInteger start = 0;
  for (; match.length > 0; match = search.find({start, text.length() - start})) {
    addComponent(start, match.location);
    start = HxMaxRange(match);
  }
  addComponent(start, text.length());
  return components.finish();
}

// ---- Replacing --------------------------------------------------------------------------------

namespace {

// Returns all matches that do not overlap, in the order of the text. Of two overlapping ones, the
// one nearer to the end where the search begins is taken.
std::vector<HxRange> matchesOf(const TextSearch& search, HxRange range) {
  std::vector<HxRange> matches;
  for (HxRange match = search.find(range); match.length > 0; match = search.find(range)) {
    matches.push_back(match);
    if (search.isAnchored()) break;
    const HxUInteger start = search.isBackwards() ? range.location : HxMaxRange(match);
    const HxUInteger end = search.isBackwards() ? match.location : HxMaxRange(range);
    range = {start, end - start};
  }
  if (search.isBackwards()) std::reverse(matches.begin(), matches.end());
  return matches;
}

template <class Unit>
void appendPart(std::basic_string<Unit>& out, const Characters& text, HxRange part) {
  if (text.isNarrow()) {
    out.append(text.narrow() + part.location, text.narrow() + HxMaxRange(part));
  } else if constexpr (sizeof(Unit) == sizeof(HxUniChar)) {
    out.append(text.wide() + part.location, part.length);
  }
}

template <class Unit>
HxString joined(const Characters& text, HxRange range, const std::vector<HxRange>& matches,
                const Characters& replacement) {
  std::basic_string<Unit> out;
  out.reserve(range.length + matches.size() * replacement.length());
  HxUInteger start = range.location;
  for (const HxRange match : matches) {
    appendPart(out, text, {start, match.location - start});
    appendPart(out, replacement, {0, replacement.length()});
    start = HxMaxRange(match);
  }
  appendPart(out, text, {start, HxMaxRange(range) - start});
  return internal::makeString(out.data(), out.size());
}

// Returns `range` of the text with all of its matches replaced.
HxString textWithReplacements(const Characters& text, HxRange range,
                              const std::vector<HxRange>& matches, const HxString& replacement) {
  const Characters inserted(replacement);
  return text.isNarrow() && inserted.isNarrow() ? joined<char>(text, range, matches, inserted)
                                                : joined<HxUniChar>(text, range, matches, inserted);
}

}  // namespace

HxString HxString::stringByReplacingOccurrencesOfString(const HxString& target,
                                                        const HxString& replacement) const {
  return stringByReplacingOccurrencesOfString(target, replacement, 0, {0, length()});
}

HxString HxString::stringByReplacingOccurrencesOfString(const HxString& target,
                                                        const HxString& replacement,
                                                        HxStringCompareOptions options,
                                                        HxRange range) const {
  if (!_object) return nullptr;
  internal::clearUpperHalves();
  internal::checkRange("-[HxString stringByReplacingOccurrencesOfString:withString:options:range:]",
                       range, length());
  const Characters text(*this);
  const Characters pattern(target);
  const std::vector<HxRange> matches = matchesOf(TextSearch(text, pattern, options), range);
  if (matches.empty()) return copy();
  return textWithReplacements(text, {0, text.length()}, matches, replacement);
}

HxUInteger HxMutableString::replaceOccurrencesOfString(const HxString& target,
                                                       const HxString& replacement,
                                                       HxStringCompareOptions options,
                                                       HxRange range) {
  constexpr const char* kOperation =
      "-[HxMutableString replaceOccurrencesOfString:withString:options:range:]";
  if (!isForChange(kOperation, HxTypeID::string)) return 0;
  internal::clearUpperHalves();
  internal::checkRange(kOperation, range, length());
  const Characters text(*this);
  const Characters pattern(target);
  const std::vector<HxRange> matches = matchesOf(TextSearch(text, pattern, options), range);
  if (matches.empty()) return 0;
  const HxUInteger start = matches.front().location;
  const HxRange changed{start, HxMaxRange(matches.back()) - start};
  replaceCharactersInRange(changed, textWithReplacements(text, changed, matches, replacement));
  return matches.size();
}

}  // namespace rondel
