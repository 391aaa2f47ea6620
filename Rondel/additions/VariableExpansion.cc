// SPDX-License-Identifier: MIT
#include "Rondel/additions/VariableExpansion.h"

#include "Rondel/additions/internal/UnreadText.h"
#include "Rondel/additions/internal/VariableScanner.h"
#include "Rondel/core/Check.h"
#include "Rondel/core/Log.h"
#include "Rondel/core/ProcessInfo.h"
#include "Rondel/core/internal/ArrayStorage.h"
#include "Rondel/core/internal/BufferString.h"
#include "Rondel/core/internal/Characters.h"
#include "Rondel/core/internal/DictionaryText.h"
#include "Rondel/core/internal/ObjectKeys.h"

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

// Of a range whose end has wrapped around nothing is left.
HxUInteger lengthFrom(HxUInteger location, HxRange range) noexcept {
  const HxUInteger end = HxMaxRange(range);
  return end > location ? end - location : 0;
}

// In a range that lies in the text.
bool findReference(const HxString& text, HxRange searchRange, VariableReference& found) {
  const auto& string = static_cast<const HxStringObject&>(*text.object());
  const HxUInteger start = searchRange.location;
  const HxUInteger length = lengthFrom(start, searchRange);
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

// The result is edited where the search stands: it is the text that is done and, behind it, that
// which is unread. An edit moves nothing but what it puts in.
class Expansion {
 public:
  template <class Unit>
  Expansion(const HxString& text, const Unit* units, HxUInteger length, const HxDictionary& values,
            HxRange range, MoExpansionOptions options)
      : _text(text),
        _values(values),
        _keepsUndefined((options & MoExpansionKeepUndefinedReferences) != 0),
        _rescans((options & MoExpansionRescanExpansions) != 0),
        _search(range),
        _result(HxMutableString::initWithCapacity(length + length / 4 + kLeastRoom)),
        _done(static_cast<BufferString*>(_result.object())),
        _unread(units, length) {
    finish(range.location);
  }

  HxMutableString run() {
    VariableReference found;
    while (findNext(found)) expand(found);
    finish(_unread.length());
    return std::move(_result);
  }

 private:
  static constexpr HxUInteger kLeastRoom = 32;

  // Where the unread text starts in the result.
  HxUInteger position() const noexcept { return _done->length(); }

  bool findNext(VariableReference& found) {
    const HxUInteger length = lengthFrom(position(), _search);
    const bool isFound = _unread.visit([&](const auto* units, HxUInteger) {
      return internal::findReference(RunReader(units, length, position()), found);
    });
    if (!isFound) return false;
    internal::assertScannedReference(_text, _search, found);
    internal::assertReferenceToExpand(_text, _search, found);
    return true;
  }

  void expand(const VariableReference& found) {
    const BorrowedValue value = _unread.visit([&](const auto* units, HxUInteger) {
      return valueOf(units + (found.name.location - position()), found.name.length, _values);
    });
    const HxRange reference = found.wholeRange();
    if (const HxBorrowed<HxString> string(value->object()); string) {
      replace(reference, *string);
    } else if (const HxString description = value->description()) {
      replace(reference, description);
    } else if (_keepsUndefined) {
      keep(reference);
    } else {
      replace(reference, ""_hx);
    }
  }

  // The end of the search moves, unless the search began at 0: wanted, see the header. It may wrap
  // around.
  void keep(HxRange reference) {
    const HxUInteger end = HxMaxRange(reference);
    finish(end - position());
    _search = {end, _search.length - end};
  }

  void replace(HxRange reference, const HxString& replacement) {
    finish(reference.location - position());
    _unread.drop(reference.length);
    if (const std::string_view ascii = replacement.asciiView(); ascii.data()) {
      putIn(reference, ascii.data(), ascii.size());
    } else {
      Characters(replacement).visit([&](const auto* units, HxUInteger length) {
        putIn(reference, units, length);
      });
    }
  }

  // A replacement in which the search would find nothing to stop at is done at once. The end of the
  // search stays on the same text.
  template <class Unit>
  void putIn(HxRange reference, const Unit* units, HxUInteger length) {
    const Unit* const end = units + length;
    if (_rescans && internal::firstStart(units, units, end) != end) {
      _unread.addFront(units, length);
    } else {
      _done->append(units, length);
    }
    const HxUInteger searchEnd = HxMaxRange(_search) - reference.length + length;
    _search.location = reference.location + (_rescans ? 0 : length);
    _search.length = searchEnd - _search.location;
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
  // In the result. Where it starts may be done already.
  HxRange _search;
  HxMutableString _result;
  BufferString* const _done;  // what stands behind it
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
  MoCheckInstance(expansionDict, HxDictionary);
  if (!liesIn(range, text.length())) return copyThatFails(text, range);
  // A description or a dictionary of somebody's own may change or give up the text meanwhile.
  const HxString original = text.copy();
  const auto expand = [&](const auto* units, HxUInteger length) {
    return Expansion(original, units, length, expansionDict, range, options).run();
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
