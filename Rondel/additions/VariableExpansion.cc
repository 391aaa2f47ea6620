// SPDX-License-Identifier: MIT
//
// The result is edited at one moving point: the text before it is done, the text after it unread.
// An edit moves nothing but what it puts in, so all edits together take linear time. A replacement
// that is to be searched again, and in which the search could stop, is put before the unread text.
// Every other replacement is done.
//
// One worked trace, of "a$(B)/c" with B = "x$D" and D = "y", rescanning:
//
//    done ""        unread "a$(B)/c"   the search stops at $(B); in its value it could stop again
//    done "a"       unread "x$D/c"     the search stops at $D; in "y" it would not stop
//    done "axy"     unread "/c"        the search finds no more
//    done "axy/c"   unread ""
#include "Rondel/additions/VariableExpansion.h"

#include "Rondel/additions/internal/UnreadText.h"
#include "Rondel/additions/internal/VariableScanner.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/collections/internal/DictionaryText.h"
#include "Rondel/core/collections/internal/ObjectKeys.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/core/text/internal/BufferString.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

using internal::BufferString;
using internal::Characters;
using internal::RunReader;
using internal::UnreadText;
using internal::VariableReference;

// ---- Finding ----------------------------------------------------------------------------------

// Its end may wrap around.
bool liesIn(HxRange range, HxUInteger length) noexcept {
  return range.location <= length && HxMaxRange(range) <= length;
}

bool checkSearchRange(const HxString& text, HxRange searchRange) {
  MO_ADDITION(text, internal::ScannerOperation::kName);
  const HxUInteger length = text.length();
  const bool liesInText = liesIn(searchRange, length);
  MoAssertWithMessageText(liesInText,
                          "searchRange.location <= [self length] && "
                          "searchRange.location+searchRange.length <= [self length]",
                          "searchRange=%@, self.length=%u"_hx, HxStringFromRange(searchRange),
                          length);
  return liesInText;
}

// The end of a range whose length has wrapped around is before its start.
HxUInteger lengthBetween(HxUInteger start, HxUInteger end) noexcept {
  return end > start ? end - start : 0;
}

// In a range that lies in the text.
bool findReference(const HxString& text, HxRange searchRange, VariableReference& found) {
  const auto& string = static_cast<const HxStringObject&>(*text.object());
  const HxUInteger start = searchRange.location;
  const HxUInteger length = lengthBetween(start, HxMaxRange(searchRange));
  const auto [narrow, wide] = string.contiguousCharacters();
  if (narrow) return internal::findReference(RunReader(narrow + start, length, start), found);
  if (wide) return internal::findReference(RunReader(wide + start, length, start), found);
  return internal::findReference(internal::ChunkReader(string, {start, length}), found);
}

template <class Unit>
void appendNames(const HxString& text, const Unit* units, HxUInteger length,
                 internal::ArrayBuilder& names) {
  HxRange search{0, length};
  VariableReference found;
  while (internal::findReference(RunReader(units + search.location, search.length, search.location),
                                 found)) {
    internal::assertScannedReference(text, search, found);
    names.append(internal::makeString(units + found.name.location, found.name.length));
    const HxUInteger end = HxMaxRange(found.closeDelimiter);
    search = {end, length - end};
  }
}

void store(HxRange* place, HxRange range) {
  if (place) *place = range;
}

// ---- Looking up -------------------------------------------------------------------------------

using BorrowedValue = HxBorrowed<HxAny>;

BorrowedValue valueOf(const char* name, HxUInteger length, const HxDictionary& values) {
  if (values && internal::ObjectBits::isBuiltIn(values.object())) {
    return BorrowedValue(internal::storedObjectForText(*values.object(), {name, length}));
  }
  return BorrowedValue(values.objectForKey(internal::makeString(name, length)));
}

BorrowedValue valueOf(const HxUniChar* name, HxUInteger length, const HxDictionary& values) {
  constexpr HxUInteger kMostOnStack = 64;
  if (length > kMostOnStack || !internal::isASCII(name, length)) {
    return BorrowedValue(values.objectForKey(internal::makeString(name, length)));
  }
  char narrow[kMostOnStack];
  internal::narrowUnits(name, length, narrow);
  return valueOf(narrow, length, values);
}

// ---- Expanding --------------------------------------------------------------------------------

class Expansion {
 public:
  template <class Unit>
  Expansion(const HxString& text, const Unit* units, HxUInteger length, const HxDictionary& values,
            HxRange range, MoExpansionOptions options)
      : _text(text),
        _values(values),
        _keepsUndefined((options & MoExpansionKeepUndefinedReferences) != 0),
        _rescans((options & MoExpansionRescanExpansions) != 0),
        _searchStart(range.location),
        _searchEnd(HxMaxRange(range)),
        _result(HxMutableString::initWithCapacity(length + length / 4 + kLeastRoom)),
        _done(static_cast<BufferString*>(_result.object())),
        _unread(units, length) {
    finish(range.location);
  }

  HxMutableString run() {
    while (_unread.visit([&](const auto* units, HxUInteger) { return expandRun(units); })) {
    }
    finish(_unread.length());
    return std::move(_result);
  }

 private:
  static constexpr HxUInteger kLeastRoom = 32;

  // Where the unread text starts in the result.
  HxUInteger position() const noexcept { return _done->length(); }
  HxRange search() const noexcept { return {_searchStart, _searchEnd - _searchStart}; }

  // Expands what the unread text holds, until something is put before it or the end of the search
  // moves. Returns false if there are no more references.
  template <class Unit>
  bool expandRun(const Unit* const units) {
    RunReader in(units, lengthBetween(position(), _searchEnd), position());
    const Unit* unread = units;
    VariableReference found;
    while (internal::findReference(in, found)) {
      internal::assertScannedReference(_text, search(), found);
      internal::assertReferenceToExpand(_text, search(), found);
      const Unit* const name = in.place() - found.name.length;
      const Unit* const start = name - found.openDelimiter.length;
      in.pass(found.closeDelimiter.length);
      const auto length = static_cast<HxUInteger>(in.place() - start);
      const BorrowedValue value = valueOf(name, found.name.length, _values);
      _done->append(unread, static_cast<HxUInteger>(start - unread));
      const std::string_view ascii = asciiToPutIn(*value);
      if (!ascii.data()) {
        _unread.drop(static_cast<HxUInteger>(start - units));
        expand({found.openDelimiter.location, length}, *value);
        return true;
      }
      _done->append(ascii.data(), ascii.size());
      moveSearch({found.openDelimiter.location, length}, ascii.size());
      in.shiftOffsets(ascii.size() - length);
      unread = in.place();
    }
    _unread.drop(static_cast<HxUInteger>(unread - units));
    return false;
  }

  // Returns the replacement if it is done at once: if the search would not stop in it. Returns null
  // if that takes a longer look.
  std::string_view asciiToPutIn(const HxHandle& value) const noexcept {
    if (!value) return _keepsUndefined ? std::string_view() : ""_hx.asciiView();
    const HxBorrowed<HxString> string(value.object());
    const std::string_view ascii = string->asciiView();
    return !_rescans || isPassedOver(ascii.data(), ascii.size()) ? ascii : std::string_view();
  }
  template <class Unit>
  static bool isPassedOver(const Unit* units, HxUInteger length) noexcept {
    return internal::firstStart(units, units, units + length) == units + length;
  }

  // The reference is where the unread text starts.
  void expand(HxRange reference, const HxHandle& value) {
    const HxBorrowed<HxString> string(value.object());
    const HxString description = string ? nullptr : value.description();
    if (!string && !description && _keepsUndefined) return keep(reference);
    _unread.drop(reference.length);
    Characters(string ? *string : description).visit([&](const auto* units, HxUInteger length) {
      putIn(reference, units, length);
    });
  }

  // Deliberate: the length of the search now counts from the start of the text. See the header.
  void keep(HxRange reference) {
    finish(reference.length);
    _searchEnd -= _searchStart;
    _searchStart = HxMaxRange(reference);
  }

  template <class Unit>
  void putIn(HxRange reference, const Unit* units, HxUInteger length) {
    if (!_rescans || isPassedOver(units, length)) {
      _done->append(units, length);
    } else {
      _unread.addFront(units, length);
    }
    moveSearch(reference, length);
  }

  // To the end of the replacement or to its start. The end of the search stays on the same text.
  void moveSearch(HxRange reference, HxUInteger length) noexcept {
    _searchStart = reference.location + (_rescans ? 0 : length);
    _searchEnd += length - reference.length;
  }

  // The next `count` units of the unread text are done.
  void finish(HxUInteger count) {
    _unread.visit([&](const auto* units, HxUInteger) { _done->append(units, count); });
    _unread.drop(count);
  }

  const HxString& _text;
  const HxDictionary& _values;
  const bool _keepsUndefined;
  const bool _rescans;
  // In the result. The start may be in the text that is done; the end may be before the start.
  HxUInteger _searchStart;
  HxUInteger _searchEnd;
  HxMutableString _result = nullptr;
  BufferString* const _done;  // the object of _result
  UnreadText _unread;
};

// The result is what is searched, so it is what fails the check.
HxMutableString copyThatFails(const HxString& text, HxRange range) {
  HxMutableString result = text.mutableCopy();
  checkSearchRange(result, range);
  return result;
}

}  // namespace

HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                              const HxDictionary& expansionDict, HxRange range,
                                              MoExpansionOptions options) {
  MO_ADDITION(text, internal::ExpanderOperation::kName);
  if (!text) return nullptr;
  internal::clearUpperHalves();
  MoCheckInstance(expansionDict, HxDictionary);
  const HxDictionary none;
  const HxDictionary& values = HxDictionary::canHold(expansionDict.object()) ? expansionDict : none;
  if (!liesIn(range, text.length())) return copyThatFails(text, range);
  // A description or a dictionary of the user's own may change or drop the text meanwhile.
  const HxString original = text.copy();
  const auto expand = [&](const auto* units, HxUInteger length) {
    return Expansion(original, units, length, values, range, options).run();
  };
  const std::string_view ascii = original.asciiView();
  return ascii.data() ? expand(ascii.data(), ascii.size()) : Characters(original).visit(expand);
}

HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                              const HxDictionary& expansionDict,
                                              MoExpansionOptions options) {
  return MO_stringByExpandingVariables(text, expansionDict, {0, text.length()}, options);
}

HxMutableString MO_stringByExpandingEnvironmentVariables(const HxString& text) {
  if (!text) return nullptr;
  return MO_stringByExpandingVariables(text, HxProcessInfo::processInfo()->environment(),
                                       MoExpansionRescanExpansions);
}

HxArray namesOfExpandableVariables(const HxString& text) {
  if (!text) return nullptr;
  internal::clearUpperHalves();
  internal::ArrayBuilder names;
  Characters(text).visit(
      [&](const auto* units, HxUInteger length) { appendNames(text, units, length, names); });
  return names.finish();
}

bool _getVariableNameRange(const HxString& text, HxRange* variableNameRange,
                           HxRange* openDelimiterRange, HxRange* closeDelimiterRange,
                           HxRange searchRange) {
  VariableReference found;
  if (!text || !checkSearchRange(text, searchRange)) return false;
  internal::clearUpperHalves();
  if (!findReference(text, searchRange, found)) return false;
  internal::assertScannedReference(text, searchRange, found);
  store(variableNameRange, found.name);
  store(openDelimiterRange, found.openDelimiter);
  store(closeDelimiterRange, found.closeDelimiter);
  return true;
}

void testMacroExpansion(const HxString& text) {
  if (!text) return;
  VariableReference found;
  const bool isFound = _getVariableNameRange(text, &found.name, &found.openDelimiter,
                                             &found.closeDelimiter, {0, text.length() - 1});
  HxLog("'%@' -> %lu"_hx, text, HxUInteger{isFound ? 1U : 0U});
  if (!isFound) return;
  const auto logRange = [](const HxString& format, HxRange range) {
    HxLog(format, range.location, range.length);
  };
  logRange("    variableNameRange: {%lu, %lu}"_hx, found.name);
  logRange("    openDelimRange:    {%lu, %lu}"_hx, found.openDelimiter);
  logRange("    closeDelimRange:   {%lu, %lu}"_hx, found.closeDelimiter);
  logRange("    variableRefRange:  {%lu, %lu}"_hx, found.wholeRange());
}

}  // namespace rondel
