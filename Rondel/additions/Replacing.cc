// SPDX-License-Identifier: MIT
#include "Rondel/additions/Replacing.h"

#include <algorithm>
#include <type_traits>

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/GrowingRun.h"
#include "Rondel/core/text/internal/MakeString.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::unitOf;

// The result may be narrow where the text is wide, and the other way round.
template <class Unit>
HxString replaced(const Unit* units, HxUInteger length, HxUniChar former, HxUniChar replacement) {
  const auto replace = [&](auto* out) {
    using Out = std::remove_pointer_t<decltype(out)>;
    return std::transform(units, units + length, out, [&](Unit unit) {
      return static_cast<Out>(unitOf(unit) == former ? replacement : unitOf(unit));
    });
  };
  if (sizeof(Unit) == 1 && replacement < 0x80) return internal::makeNarrowString(length, replace);
  constexpr HxUInteger kUnitsOnStack = 4096;
  internal::GrowingRun<HxUniChar, kUnitsOnStack> result;
  result.moveEndTo(replace(result.room(length)));
  return internal::makeString(result.units(), result.length());
}

}  // namespace

HxString stringByReplacingCharacter(const HxString& text, HxUniChar former, HxUniChar replacement) {
  if (text.isEmpty() || former == replacement) return text;
  return Characters(text).visit([&](const auto* units, HxUInteger length) {
    return replaced(units, length, former, replacement);
  });
}

HxMutableString stringByReplacingSubstring(const HxString& text, const HxString& target,
                                           const HxString& replacement) {
  HxMutableString result = text.mutableCopy();
  result.replaceOccurrencesOfString(target, replacement, HxLiteralSearch, {0, result.length()});
  return result;
}

HxMutableString ZEV_stringByReplacingBackslashWithSlash(const HxString& path) {
  return stringByReplacingSubstring(path, "\\"_hx, "/"_hx);
}

HxString stringByAppendingPathSeparatorIfNeeded(const HxString& path) {
  const HxUInteger length = path.length();
  if (length > 0 && path.characterAtIndex(length - 1) == u'/') return path;
  return path.stringByAppendingString("/"_hx);
}

void appendSubstringWithRange(HxMutableString text, HxRange range, const HxString& string) {
  if (text) text.appendString(string.substringWithRange(range));
}

HxString stringWithUnicodeInvisibleSeparatorCharacter() { return "\u2063"_hx; }

HxString stringWithUnicodeInvisibleTimesCharacter() { return "\u2062"_hx; }

}  // namespace rondel
