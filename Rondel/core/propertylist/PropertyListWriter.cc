// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/internal/MergeSort.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/Transcode.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/core/values/internal/Base64.h"

namespace rondel {
namespace {

using internal::Characters;
using internal::isSurrogate;
using internal::isSurrogatePair;
using internal::kHexadecimalDigits;

constexpr std::size_t kIndent = 4;

// Returns what a value is called in messages: its class.
std::string className(const HxHandle& value) {
  const char* name = value.hxClass().name();
  return name ? name : "nil";
}

// Walks a list and leaves its text in _out. The two forms differ in how each kind is written. A
// function that could not write returns false.
class Writer {
 public:
  virtual ~Writer() = default;

  // The whole document.
  virtual bool write(const HxHandle& list) = 0;

  const std::string& text() const noexcept { return _out; }
  HxPropertyListErrorCode errorCode() const noexcept { return _errorCode; }
  std::string errorMessage() const { return place() + _message; }

 protected:
  virtual bool writeString(const HxString& string) = 0;
  virtual bool writeNumber(const HxNumber& number) = 0;
  virtual bool writeDateText(const HxString& text) = 0;
  virtual bool writeData(const HxData& data) = 0;
  virtual bool writeArray(const HxArray& array) = 0;
  virtual bool writeDictionary(const HxDictionary& dictionary) = 0;

  bool writeValue(const HxHandle& value) {
    switch (HcGetTypeID(value)) {
      case HxTypeID::string:
        return writeString(as<HxString>(value));
      case HxTypeID::number:
        return writeNumber(as<HxNumber>(value));
      case HxTypeID::date:
        return writeDate(as<HxDate>(value));
      case HxTypeID::data:
        return writeData(as<HxData>(value));
      case HxTypeID::array:
        return deeper([&] { return writeArray(as<HxArray>(value)); });
      case HxTypeID::dictionary:
        return deeper([&] { return writeDictionary(as<HxDictionary>(value)); });
      case HxTypeID::object:
      case HxTypeID::set:
      case HxTypeID::indexSet:
      case HxTypeID::characterSet:
      case HxTypeID::error:
      case HxTypeID::bundle:
      case HxTypeID::enumerator:
        break;
    }
    return fail("a value of class " + className(value) + " is not a property list");
  }

  // Visit the elements of an array, or the sorted keys of a dictionary. Messages name the place of
  // each.
  template <class WriteOne>
  bool forEachElement(const HxArray& array, WriteOne writeOne) {
    const HxUInteger count = array.count();
    for (HxUInteger i = 0; i < count; ++i) {
      if (!writeOne(array.objectAtIndex(i), i + 1 == count)) {
        return failedIn("index " + std::to_string(i));
      }
    }
    return true;
  }
  template <class WriteOne>
  bool forEachEntry(const HxDictionary& dictionary, WriteOne writeOne) {
    struct Entry {
      HxString key;
      HxAny value;
    };
    std::vector<Entry> entries;
    for (const auto& [key, value] : dictionary) {
      const HxString name = as<HxString>(key);
      if (!name) return fail("a key of class " + className(key) + " is not a string");
      entries.push_back({name, value});
    }
    // Keys of open classes may compare in no order.
    internal::mergeSort(entries, [](const Entry& a, const Entry& b) { return a.key < b.key; });
    for (const auto& [key, value] : entries) {
      if (!writeOne(key, value)) return failedIn("key '" + key.toStdString() + "'");
    }
    return true;
  }

  bool fail(std::string message, HxPropertyListErrorCode code = HxPropertyListValueError) {
    _errorCode = code;
    _message = std::move(message);
    return false;
  }

  void startLine() {
    _out += '\n';
    _out.append(_depth * kIndent, ' ');
  }
  // Appends a run of well-formed units as UTF-8.
  void appendUnits(const HxUniChar* units, HxUInteger length) {
    char bytes[2 * 3];
    _out.append(bytes, internal::encodeUTF8(units, length, bytes));
  }

  std::string _out;
  std::size_t _depth = 0;  // containers that are open

 private:
  bool writeDate(const HxDate& date) {
    const HxString text = date.rfc3339String();
    return text ? writeDateText(text) : fail("date outside the years 0 to 9999");
  }

  template <class Write>
  bool deeper(Write write) {
    if (_depth == HxPropertyListDepthLimit) {
      return fail(internal::tooDeepMessage(), HxPropertyListDepthError);
    }
    ++_depth;
    const bool isWritten = write();
    --_depth;
    return isWritten;
  }

  // Adds one more step to the place of a failure, on the way back up. Returns false.
  bool failedIn(std::string step) {
    _steps.push_back(std::move(step));
    return false;
  }

  // Returns "key 'a', index 2: ". Of a long place these are the first steps and the last ones.
  std::string place() const {
    constexpr std::size_t kStepsAtAnEnd = 4;
    const std::size_t count = _steps.size();
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
      if (i == kStepsAtAnEnd && count > 2 * kStepsAtAnEnd) {
        text += "..., ";
        i = count - kStepsAtAnEnd;
      }
      text += _steps[count - 1 - i] + (i + 1 < count ? ", " : ": ");
    }
    return text;
  }

  HxPropertyListErrorCode _errorCode = HxPropertyListValueError;
  std::string _message;
  std::vector<std::string> _steps;  // from the failure to the root
};

class TextWriter final : public Writer {
 public:
  bool write(const HxHandle& list) override {
    if (!writeValue(list)) return false;
    _out += '\n';
    return true;
  }

 private:
  bool writeString(const HxString& string) override {
    const Characters text(string);
    bool isBare = text.length() > 0;
    for (HxUInteger i = 0; isBare && i < text.length(); ++i) isBare = mayStandBare(text[i]);
    if (!isBare) _out += '"';
    for (HxUInteger i = 0; i < text.length(); ++i) i += appendCharacter(text, i);
    if (!isBare) _out += '"';
    return true;
  }

  // The slash is left out, so that no word looks like a comment.
  static bool mayStandBare(HxUniChar c) noexcept {
    return internal::isLetterOrDigit(c) || c == '_' || c == '.' || c == '-';
  }

  // Returns the number of units beyond the first that were written with it.
  HxUInteger appendCharacter(const Characters& text, HxUInteger at) {
    const HxUniChar units[] = {text[at], at + 1 < text.length() ? text[at + 1] : u'\0'};
    if (isSurrogatePair(units[0], units[1])) {
      appendUnits(units, 2);
      return 1;
    }
    if (const char letter = letterOfEscape(units[0])) {
      _out += '\\';
      _out += letter;
    } else if (units[0] < ' ' || units[0] == 0x7F || isSurrogate(units[0])) {
      appendUnitEscape(units[0]);
    } else {
      appendUnits(units, 1);
    }
    return 0;
  }

  // Returns 0 for a character that has no escape of one letter.
  static char letterOfEscape(HxUniChar c) noexcept {
    static constexpr char kBellToReturn[] = "abtnvfr";
    if (c >= '\a' && c <= '\r') return kBellToReturn[c - '\a'];
    return c == '"' || c == '\\' ? static_cast<char>(c) : '\0';
  }

  void appendUnitEscape(HxUniChar unit) {
    _out += "\\U";
    for (unsigned shift = 16; shift > 0; shift -= 4) {
      _out += kHexadecimalDigits[unit >> (shift - 4) & 0xFU];
    }
  }

  bool writeNumber(const HxNumber& number) override { return writeString(number.stringValue()); }
  bool writeDateText(const HxString& text) override { return writeString(text); }

  bool writeData(const HxData& data) override {
    _out += '<';
    for (const std::byte byte : data.span()) {
      const unsigned value = std::to_integer<unsigned>(byte);
      _out += kHexadecimalDigits[value >> 4];
      _out += kHexadecimalDigits[value & 0xFU];
    }
    _out += '>';
    return true;
  }

  bool writeArray(const HxArray& array) override {
    _out += '(';
    const bool isWritten = forEachElement(array, [&](const HxHandle& element, bool isLast) {
      startLine();
      if (!writeValue(element)) return false;
      if (!isLast) _out += ',';
      return true;
    });
    close(array.isEmpty(), ')');
    return isWritten;
  }

  bool writeDictionary(const HxDictionary& dictionary) override {
    _out += '{';
    const bool isWritten =
        forEachEntry(dictionary, [&](const HxString& key, const HxHandle& value) {
          startLine();
          writeString(key);
          _out += " = ";
          if (!writeValue(value)) return false;
          _out += ';';
          return true;
        });
    close(dictionary.isEmpty(), '}');
    return isWritten;
  }

  void close(bool isEmpty, char bracket) {
    if (!isEmpty) {
      --_depth;
      startLine();
      ++_depth;
    }
    _out += bracket;
  }
};

class XMLWriter final : public Writer {
 public:
  bool write(const HxHandle& list) override {
    _out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
    if (!writeValue(list)) return false;
    _out += "\n</plist>\n";
    return true;
  }

 private:
  bool writeString(const HxString& string) override { return writeText("string", string); }
  bool writeDateText(const HxString& text) override { return writeText("date", text); }

  bool writeNumber(const HxNumber& number) override {
    if (number.isBoolean()) {
      _out += number.boolValue() ? "<true/>" : "<false/>";
      return true;
    }
    return writeText(number.isReal() ? "real" : "integer", number.stringValue());
  }

  bool writeData(const HxData& data) override {
    _out += "<data>" + internal::encodeBase64(data.span()) + "</data>";
    return true;
  }

  bool writeArray(const HxArray& array) override {
    return writeContainer("array", array.isEmpty(), [&] {
      return forEachElement(array, [&](const HxHandle& element, bool) {
        startLine();
        return writeValue(element);
      });
    });
  }

  bool writeDictionary(const HxDictionary& dictionary) override {
    return writeContainer("dict", dictionary.isEmpty(), [&] {
      return forEachEntry(dictionary, [&](const HxString& key, const HxHandle& value) {
        startLine();
        if (!writeText("key", key)) return false;
        startLine();
        return writeValue(value);
      });
    });
  }

  template <class WriteContents>
  bool writeContainer(const std::string& name, bool isEmpty, WriteContents writeContents) {
    if (isEmpty) {
      _out += "<" + name + "/>";
      return true;
    }
    _out += "<" + name + ">";
    if (!writeContents()) return false;
    --_depth;
    startLine();
    ++_depth;
    _out += "</" + name + ">";
    return true;
  }

  bool writeText(const std::string& name, const HxString& string) {
    const Characters text(string);
    _out += "<" + name + ">";
    for (HxUInteger i = 0; i < text.length(); ++i) {
      const HxUniChar units[] = {text[i], i + 1 < text.length() ? text[i + 1] : u'\0'};
      const bool isPair = isSurrogatePair(units[0], units[1]);
      if (!isPair && !isAllowed(units[0])) {
        return fail("XML does not allow " + internal::codePointName(units[0]) + " in a string");
      }
      appendCharacter(units, isPair ? 2 : 1);
      i += isPair;
    }
    _out += "</" + name + ">";
    return true;
  }

  // XML 1.0, production 2, but for pairs of surrogates.
  static bool isAllowed(HxUniChar unit) noexcept {
    if (unit < ' ') return unit == '\t' || unit == '\n' || unit == '\r';
    return !isSurrogate(unit) && unit < 0xFFFE;
  }

  void appendCharacter(const HxUniChar* units, HxUInteger length) {
    switch (units[0]) {
      case '&':
        _out += "&amp;";
        break;
      case '<':
        _out += "&lt;";
        break;
      case '>':
        _out += "&gt;";
        break;
      case '\r':  // a parser would make a line feed of it
        _out += "&#13;";
        break;
      default:
        appendUnits(units, length);
    }
  }
};

HxData dataFromPropertyList(Writer&& writer, const HxHandle& list, HxError* error) {
  if (writer.write(list)) {
    return HxData::dataWithBytes(writer.text().data(), writer.text().size());
  }
  if (error) {
    const HxString description = HxString(std::string_view(writer.errorMessage()));
    *error = HxError::errorWithDomain(
        HxPropertyListErrorDomain, writer.errorCode(),
        HxDictionary::dictionaryWithObject(description, HxLocalizedDescriptionKey));
  }
  return nullptr;
}

}  // namespace

HxData HxDataFromPropertyList(const HxHandle& list, HxPropertyListFormat format, HxError* error) {
  return format == HxPropertyListFormat::text ? dataFromPropertyList(TextWriter(), list, error)
                                              : dataFromPropertyList(XMLWriter(), list, error);
}

}  // namespace rondel
