// SPDX-License-Identifier: MIT
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/values/Data.h"

namespace rondel::internal {
namespace {

constexpr HxUniChar kByteOrderMark = 0xFEFF;

bool isTextBlank(HxUniChar c) noexcept { return isBlank(c) || c == 0x2028 || c == 0x2029; }

bool isWordCharacter(HxUniChar c) noexcept {
  return isLetterOrDigit(c) || c == '_' || c == '$' || c == '/' || c == ':' || c == '.' ||
         c == '-' || c == '+';
}

// Returns the character of a one-letter escape, 0 if the letter is none.
HxUniChar characterOfEscape(HxUniChar letter) noexcept {
  static constexpr char kLetters[] = "abfnrtv\"\\";
  static constexpr char kCharacters[] = "\a\b\f\n\r\t\v\"\\";
  for (std::size_t i = 0; kLetters[i] != 0; ++i) {
    if (letter == static_cast<HxUniChar>(kLetters[i])) {
      return static_cast<HxUniChar>(kCharacters[i]);
    }
  }
  return 0;
}

// Recursive descent over the grammar of PropertyList.h. Returns nil for a value that could not be
// read; the first failure counts.
class TextReader {
 public:
  TextReader(const Characters& text, PropertyListFailure& failure)
      : _text(text), _failure(failure) {
    if (_text.length() > 0 && _text[0] == kByteOrderMark) _at = 1;
  }

  HxAny readListOrTable() {
    if (!skipBlanks()) return {};
    if (atEnd()) return HxDictionary::dictionary();
    const HxUInteger start = _at;
    const HxAny first = readValue(0);
    if (!first || !skipBlanks()) return {};
    if (atEnd() || !as<HxString>(first) || (peek() != '=' && peek() != ';')) {
      return wholeText(first);
    }
    _at = start;
    const HxAny table = readEntries(1);
    return table ? wholeText(table) : HxAny();
  }

  HxAny readOnlyValue() {
    if (!skipBlanks()) return {};
    const HxAny value = readValue(0);
    return value && skipBlanks() ? wholeText(value) : HxAny();
  }

 private:
  bool atEnd() const noexcept { return _at == _text.length(); }
  HxUniChar peek() const noexcept { return _text[_at]; }
  // Returns the unit that lies `distance` ahead, 0 after the end.
  HxUniChar peek(HxUInteger distance) const noexcept {
    return distance < _text.length() - _at ? _text[_at + distance] : u'\0';
  }
  bool nextIs(char c) const noexcept { return !atEnd() && peek() == static_cast<HxUniChar>(c); }
  bool take(char c) noexcept {
    if (!nextIs(c)) return false;
    ++_at;
    return true;
  }

  HxAny fail(HxUInteger where, std::string message,
             HxPropertyListErrorCode code = HxPropertyListSyntaxError) {
    _failure = {code, std::move(message), placeOf(where)};
    return {};
  }
  HxAny failExpecting(const char* what) {
    return fail(_at, "expected " + std::string(what) + ", found " + whatIsHere());
  }

  TextPlace placeOf(HxUInteger where) const noexcept {
    TextPlace place;
    HxUniChar previous = 0;
    for (HxUInteger i = _text.length() > 0 && _text[0] == kByteOrderMark; i < where; ++i) {
      advance(place, previous, _text[i]);
      previous = _text[i];
    }
    return place;
  }

  std::string whatIsHere() const {
    if (atEnd()) return "the end of the text";
    const HxUniChar units[] = {peek(), peek(1)};
    const bool isPair = isSurrogatePair(units[0], units[1]);
    if (units[0] < ' ' || (isSurrogate(units[0]) && !isPair)) return codePointName(units[0]);
    const HxString character = HxString::stringWithCharacters(units, isPair ? 2 : 1);
    return "'" + character.toStdString() + "'";
  }

  // Skips blanks and comments. Returns false if a comment is not closed.
  bool skipBlanks() {
    while (!atEnd()) {
      if (isTextBlank(peek())) {
        ++_at;
      } else if (peek() == '/' && peek(1) == '/') {
        while (!atEnd() && peek() != '\n' && peek() != '\r') ++_at;
      } else if (peek() == '/' && peek(1) == '*') {
        if (!skipComment()) return false;
      } else {
        break;
      }
    }
    return true;
  }

  bool skipComment() {
    const HxUInteger start = _at;
    for (_at += 2; !atEnd(); ++_at) {
      if (peek() == '*' && peek(1) == '/') {
        _at += 2;
        return true;
      }
    }
    fail(start, "unterminated comment");
    return false;
  }

  HxAny wholeText(const HxHandle& list) {
    return atEnd() ? HxAny(list) : failExpecting("the end of the text");
  }

  // Reads the value here; blanks before it are skipped already.
  HxAny readValue(HxUInteger depth) {
    if (nextIs('{') || nextIs('(')) return readContainer(depth + 1);
    if (nextIs('<')) return readData();
    return readString("a value");
  }

  HxAny readContainer(HxUInteger depth) {
    if (depth > HxPropertyListDepthLimit) {
      return fail(_at, tooDeepMessage(), HxPropertyListDepthError);
    }
    if (take('(')) return readArray(depth);
    take('{');
    HxAny entries = readEntries(depth);
    if (entries && !take('}')) return failExpecting("a key or '}'");
    return entries;
  }

  HxAny readArray(HxUInteger depth) {
    HxMutableArray array = HxMutableArray::array();
    for (;;) {
      if (!skipBlanks()) return {};
      if (take(')')) return array.copy();
      const HxAny value = readValue(depth);
      if (!value || !skipBlanks()) return {};
      array.addObject(value);
      if (!take(',') && !nextIs(')')) return failExpecting("',' or ')'");
    }
  }

  // Reads entries to the end of the text, or to what begins none.
  HxAny readEntries(HxUInteger depth) {
    HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
    for (;;) {
      if (!skipBlanks()) return {};
      if (atEnd() || nextIs('}')) return dictionary.copy();
      const HxString key = as<HxString>(readString("a key"));
      if (!key || !skipBlanks()) return {};
      const HxAny value = readEntryValue(key, depth);
      if (!value) return {};
      dictionary.setObject(value, key);
    }
  }

  HxAny readEntryValue(const HxString& key, HxUInteger depth) {
    if (take(';')) return key;
    if (!take('=')) return failExpecting("'=' or ';'");
    if (!skipBlanks()) return {};
    const HxAny value = readValue(depth);
    if (!value || !skipBlanks()) return {};
    return take(';') ? value : failExpecting("';'");
  }

  HxAny readData() {
    const HxUInteger start = _at++;
    std::string bytes;
    unsigned high = kNoHexadecimalDigit;
    for (; !nextIs('>'); ++_at) {
      if (atEnd()) return fail(start, "unterminated data");
      if (isTextBlank(peek())) continue;
      const unsigned digit = hexadecimalValue(peek());
      if (digit == kNoHexadecimalDigit) return failExpecting("a hexadecimal digit or '>'");
      if (high == kNoHexadecimalDigit) {
        high = digit;
      } else {
        bytes.push_back(static_cast<char>(high << 4 | digit));
        high = kNoHexadecimalDigit;
      }
    }
    if (high != kNoHexadecimalDigit) return fail(_at, "odd number of hexadecimal digits in data");
    ++_at;
    return HxData::dataWithBytes(bytes.data(), bytes.size());
  }

  HxAny readString(const char* expected) {
    if (nextIs('"')) return readQuotedString();
    const HxUInteger start = _at;
    while (!atEnd() && isWordCharacter(peek()) && (peek() != '/' || peek(1) != '*')) ++_at;
    return _at == start ? failExpecting(expected) : HxAny(textBetween(start, _at));
  }

  HxString textBetween(HxUInteger start, HxUInteger end) const {
    return _text.isNarrow() ? makeString(_text.narrow() + start, end - start)
                            : makeString(_text.wide() + start, end - start);
  }

  HxAny readQuotedString() {
    const HxUInteger quote = _at++;
    const HxUInteger start = _at;
    while (!atEnd() && peek() != '"' && peek() != '\\') ++_at;
    if (nextIs('"')) return textBetween(start, _at++);
    std::u16string units;
    for (HxUInteger i = start; i < _at; ++i) units.push_back(_text[i]);
    while (!atEnd()) {
      if (take('"')) return makeString(units.data(), units.size());
      if (!nextIs('\\')) {
        units.push_back(_text[_at++]);
      } else if (!readEscape(units)) {
        return {};
      }
    }
    return fail(quote, "unterminated string");
  }

  bool readEscape(std::u16string& units) {
    const HxUInteger start = _at++;
    if (nextIs('U')) return readUnitEscape(start, units);
    if (!atEnd() && hexadecimalValue(peek()) < 8) return readOctalEscape(start, units);
    const HxUniChar character = atEnd() ? u'\0' : characterOfEscape(peek());
    if (character == 0) {
      fail(start, "unknown escape sequence");
      return false;
    }
    ++_at;
    units.push_back(character);
    return true;
  }

  bool readUnitEscape(HxUInteger start, std::u16string& units) {
    unsigned unit = 0;
    ++_at;
    for (int i = 0; i < 4; ++i, ++_at) {
      const unsigned digit = atEnd() ? kNoHexadecimalDigit : hexadecimalValue(peek());
      if (digit == kNoHexadecimalDigit) {
        fail(start, "expected four hexadecimal digits after \\U");
        return false;
      }
      unit = unit << 4 | digit;
    }
    units.push_back(static_cast<HxUniChar>(unit));
    return true;
  }

  bool readOctalEscape(HxUInteger start, std::u16string& units) {
    unsigned value = 0;
    for (int i = 0; i < 3 && !atEnd() && hexadecimalValue(peek()) < 8; ++i, ++_at) {
      value = value << 3 | hexadecimalValue(peek());
    }
    if (value > 0xFF) {
      fail(start, "octal escape above \\377");
      return false;
    }
    units.push_back(static_cast<HxUniChar>(value));
    return true;
  }

  const Characters& _text;
  PropertyListFailure& _failure;
  HxUInteger _at = 0;
};

}  // namespace

HxAny readTextPropertyList(const Characters& text, PropertyListFailure& failure) {
  return TextReader(text, failure).readListOrTable();
}

HxAny readTextValue(const Characters& text, PropertyListFailure& failure) {
  return TextReader(text, failure).readOnlyValue();
}

}  // namespace rondel::internal
