// SPDX-License-Identifier: MIT
//
// The splitter looks only at bytes that the grammar has to decide about. The bytes between them are
// appended in runs (Words.h).
//
// One worked trace, of  a"b c"\ d  '' e :
//
//    a       a run; the word is a view of it
//    "b c"   quotes on, a run with its blank, quotes off; the gap makes the word a copy: ab c
//    \_d     the blank after the backslash as it is, then a run: ab c d
//    (blank) outside quotes: ends the element "ab c d"
//    ''      no characters: the element is dropped
//    e       ends with the text
#include "Rondel/additions/StringList.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "Rondel/additions/StringListCache.h"
#include "Rondel/additions/internal/Words.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/StringBlock.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

using internal::ArrayBuilder;
using internal::isBlank;
using internal::Word;

// The string-list grammar, over bytes that end with a NUL.
class StringListSplitter {
 public:
  StringListSplitter(const char* bytes, HxUInteger length) : _at(bytes), _end(bytes + length) {}

  bool isAtEnd() const noexcept { return *_at == '\0'; }
  bool isAtWhitespace() const noexcept { return isBlank(internal::unitOf(*_at)); }
  bool isInsideWeakQuotes() const noexcept { return _inWeakQuotes; }

  void skipWhitespace() noexcept {
    while (isAtWhitespace()) ++_at;
  }

  void takeElement() {
    _word.clear();
    do {
      takeRun(internal::plainEnd(_at, _end));
    } while (takeSpecial());
  }
  // The bytes of the element taken last.
  std::string_view element() const noexcept { return {_word.units(), _word.length()}; }

 private:
  static constexpr HxUInteger kElementBytesOnStack = 2048;

  // One row a byte: the first that applies. Returns false if the element ends before the byte.
  bool takeSpecial() {
    if (isAtEnd()) return false;
    if (*_at == '"') {
      _inWeakQuotes = !_inWeakQuotes;
      ++_at;
    } else if (*_at == '\'' && !_inWeakQuotes) {
      takeStrongQuotes();
    } else if (*_at == '\\') {
      if (_at + 1 < _end) ++_at;  // the very last one is itself
      takeRun(_at + 1);
    } else if (isAtWhitespace() && !_inWeakQuotes) {
      return false;
    } else {
      takeRun(_at + 1);
    }
    return true;
  }

  // Takes all bytes up to the next single quote or the end as they are. Drops the quotes.
  void takeStrongQuotes() {
    ++_at;
    const char* const quote = std::find(_at, _end, '\'');
    takeRun(quote);
    if (quote < _end) ++_at;
  }

  void takeRun(const char* end) {
    _word.append(_at, static_cast<HxUInteger>(end - _at));
    _at = end;
  }

  const char* _at;
  const char* const _end;  // the place of the NUL
  bool _inWeakQuotes = false;
  Word<char, kElementBytesOnStack> _word;
};

// Returns the text of UTF-8, nil if that is not well-formed.
HxString stringOf(std::string_view utf8, internal::WordMaker& maker) {
  const bool isASCII = internal::isASCII(utf8.data(), utf8.size());
  return isASCII ? maker.make(utf8.data(), utf8.size()) : HxString(utf8);
}

// Made once, never destroyed.
const HxArray& sharedEmptyList() {
  static const HxArray& list = *new HxArray(HxArray::array());
  return list;
}

constexpr HxUInteger kTextBytesOnStack = 512;

// The text ends at its first NUL, which is at bytes[length] or before. A text that the cache finds
// in its whole length has none in it, so the end is looked for only to split.
HxArray listOfBytes(const char* bytes, std::size_t length) {
  if (HxArray list = MoLookupVantorSpecificStringListInCache(bytes, length, nullptr)) return list;
  const std::size_t end = std::strlen(bytes);
  return end < length ? listOfBytes(bytes, end)
                      : MoSplitWhitespaceSeparatedComponents(bytes, length, nullptr);
}

HxArray listOf(const HxString& text) {
  if (const std::string_view ascii = text.asciiView(); ascii.data()) {
    return listOfBytes(ascii.data(), ascii.size());
  }
  char stack[kTextBytesOnStack];
  if (text.getFileSystemRepresentation(stack, sizeof stack)) {
    return listOfBytes(stack, std::strlen(stack));
  }
  const HxCString bytes = text.fileSystemRepresentation();
  return bytes.isNull() ? HxArray() : listOfBytes(bytes, bytes.length());
}

}  // namespace

HxArray arrayByParsingAsStringList(const HxString& text) {
  if (!text) return nullptr;
  MO_ADDITION(text, "-[HxString(MoStringList) arrayByParsingAsStringList]");
  HxArray stringList = listOf(text);
  MoCheckArray(stringList);
  return stringList;
}

HxArray MoSplitWhitespaceSeparatedComponents(const char* bytes, std::size_t length,
                                             HxError* error) {
  MO_FUNCTION("HxArray *MoSplitWhitespaceSeparatedComponents(const char *, size_t, HxError **)");
  MoAssertText(bytes != nullptr || length == 0, "bytes != ((void*)0) || length == 0");
  if (length == 0) return sharedEmptyList();
  internal::clearUpperHalves();
  if (!bytes) bytes = "";
  const std::size_t textLength = std::strlen(bytes);
  StringListSplitter splitter(bytes, textLength);
  internal::WordMaker maker(textLength);
  ArrayBuilder elements(internal::likelyWordCount(textLength));
  for (splitter.skipWhitespace(); !splitter.isAtEnd(); splitter.skipWhitespace()) {
    MoAssertText(!splitter.isAtEnd() && !splitter.isAtWhitespace(), "*iptr && !isspace(*iptr)");
    splitter.takeElement();
    MoAssertText(
        splitter.isAtEnd() || (!splitter.isInsideWeakQuotes() && splitter.isAtWhitespace()),
        "*iptr == '\\0' || (isInsideWeakQuotes == (BOOL)0 && isspace(*iptr))");
    if (splitter.element().empty()) continue;
    HxString string = stringOf(splitter.element(), maker);
    MoCheckString(string);
    elements.append(std::move(string));  // nil is not appended
  }
  MoAssertText(splitter.isAtEnd(), "*iptr == '\\0'");
  if (error) *error = nullptr;
  return elements.finish();
}

}  // namespace rondel
