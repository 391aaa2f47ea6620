// SPDX-License-Identifier: MIT
#include <expat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/core/values/internal/Base64.h"

namespace rondel::internal {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

// Returns the whole text as a number. It may begin with a plus sign.
template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// Each returns what the text of a leaf element means; nil if it means nothing.

HxAny stringOf(std::string_view text) { return HxString(text); }

HxAny dataOf(std::string_view text) {
  const std::optional<std::string> bytes = decodeBase64(text);
  return bytes ? HxAny(HxData::dataWithBytes(bytes->data(), bytes->size())) : HxAny();
}

HxAny integerOf(std::string_view text) {
  if (const auto number = parseNumber<HxInteger>(trimmed(text))) {
    return HxNumber::numberWithInteger(*number);
  }
  const auto number = parseNumber<HxUInteger>(trimmed(text));
  return number ? HxAny(HxNumber::numberWithUnsignedInteger(*number)) : HxAny();
}

HxAny realOf(std::string_view text) {
  const auto number = parseNumber<double>(trimmed(text));
  return number ? HxAny(HxNumber::numberWithDouble(*number)) : HxAny();
}

HxAny trueOf(std::string_view text) {
  return trimmed(text).empty() ? HxAny(HxNumber::numberWithBool(true)) : HxAny();
}

HxAny falseOf(std::string_view text) {
  return trimmed(text).empty() ? HxAny(HxNumber::numberWithBool(false)) : HxAny();
}

HxAny dateOf(std::string_view text) {
  return HxDate::dateWithRFC3339String(HxString(trimmed(text)));
}

struct Element {
  enum class Kind { root, dictionary, array, key, leaf };
  std::string_view name;
  Kind kind;
  HxAny (*valueOf)(std::string_view text) = nullptr;  // of a key or a leaf
};

constexpr std::array kElements = {
    Element{"plist", Element::Kind::root},
    Element{"dict", Element::Kind::dictionary},
    Element{"array", Element::Kind::array},
    Element{"key", Element::Kind::key, stringOf},
    Element{"string", Element::Kind::leaf, stringOf},
    Element{"data", Element::Kind::leaf, dataOf},
    Element{"integer", Element::Kind::leaf, integerOf},
    Element{"real", Element::Kind::leaf, realOf},
    Element{"true", Element::Kind::leaf, trueOf},
    Element{"false", Element::Kind::leaf, falseOf},
    Element{"date", Element::Kind::leaf, dateOf},
};

const Element* elementNamed(std::string_view name) {
  const auto found = std::find_if(kElements.begin(), kElements.end(),
                                  [&](const Element& element) { return element.name == name; });
  return found == kElements.end() ? nullptr : &*found;
}

std::string tag(std::string_view name) { return "<" + std::string(name) + ">"; }

// A container that is not closed yet.
struct OpenContainer {
  HxMutableArray array = nullptr;            // nil for a dictionary
  HxMutableDictionary dictionary = nullptr;  // nil for an array
  HxString key;                              // of the value that comes next in a dictionary

  void add(const HxHandle& value) {
    array.addObject(value);
    dictionary.setObject(value, key);
    key = nullptr;
  }
  HxAny closed() const { return array ? HxAny(array.copy()) : HxAny(dictionary.copy()); }
};

// Builds the list from the events of the parser. The first failure stops it.
class XMLReader {
 public:
  XMLReader(const char* encoding, PropertyListFailure& failure)
      : _failure(failure), _parser(XML_ParserCreate(encoding)) {
    if (!_parser) throw std::bad_alloc();
    XML_SetUserData(_parser.get(), this);
    XML_SetElementHandler(_parser.get(), onStart, onEnd);
    XML_SetCharacterDataHandler(_parser.get(), onText);
    XML_SetEntityDeclHandler(_parser.get(), onEntityDeclaration);
    XML_SetSkippedEntityHandler(_parser.get(), onSkippedEntity);
  }

  HxAny read(std::string_view document) {
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // the parser counts in int
    bool isLast = false;
    while (!isLast && !_hasFailed) {
      const std::string_view piece = document.substr(0, kMostAtOnce);
      document.remove_prefix(piece.size());
      isLast = document.empty();
      const auto status =
          XML_Parse(_parser.get(), piece.data(), static_cast<int>(piece.size()), isLast);
      if (_exception) std::rethrow_exception(_exception);
      if (status != XML_STATUS_OK && !_hasFailed) failAsParser();
    }
    return _hasFailed ? HxAny() : _root;
  }

 private:
  struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  void fail(std::string message, HxPropertyListErrorCode code = HxPropertyListSyntaxError) {
    _hasFailed = true;
    const XML_Parser parser = _parser.get();
    _failure = {code,
                std::move(message),
                {XML_GetCurrentLineNumber(parser), XML_GetCurrentColumnNumber(parser) + 1}};
    XML_StopParser(parser, XML_FALSE);
  }

  void failAsParser() {
    const XML_Error error = XML_GetErrorCode(_parser.get());
    if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    const bool isEncoding = error == XML_ERROR_UNKNOWN_ENCODING ||
                            error == XML_ERROR_INCORRECT_ENCODING ||
                            error == XML_ERROR_PARTIAL_CHAR;
    fail(XML_ErrorString(error),
         isEncoding ? HxPropertyListEncodingError : HxPropertyListSyntaxError);
  }

  // Runs an event's work. The parser is C and must not be unwound: an exception waits until it has
  // returned. A stopped parser may send the events of one more tag.
  template <class Work>
  static void handle(void* self, Work work) noexcept {
    XMLReader& reader = *static_cast<XMLReader*>(self);
    if (reader._hasFailed || reader._exception) return;
    try {
      work(reader);
    } catch (...) {
      reader._exception = std::current_exception();
      XML_StopParser(reader._parser.get(), XML_FALSE);
    }
  }

  static void XMLCALL onStart(void* self, const XML_Char* name, const XML_Char**) {
    handle(self, [&](XMLReader& reader) { reader.start(name); });
  }
  static void XMLCALL onEnd(void* self, const XML_Char* name) {
    handle(self, [&](XMLReader& reader) { reader.end(*elementNamed(name)); });
  }
  static void XMLCALL onText(void* self, const XML_Char* text, int length) {
    handle(self, [&](XMLReader& reader) {
      reader.text(std::string_view(text, static_cast<std::size_t>(length)));
    });
  }
  static void XMLCALL onEntityDeclaration(void* self, const XML_Char*, int, const XML_Char*, int,
                                          const XML_Char*, const XML_Char*, const XML_Char*,
                                          const XML_Char*) {
    handle(self, [](XMLReader& reader) { reader.fail("entity declarations are not allowed"); });
  }
  static void XMLCALL onSkippedEntity(void* self, const XML_Char* name, int) {
    handle(self, [&](XMLReader& reader) {
      reader.fail("undeclared entity '" + std::string(name) + "'");
    });
  }

  void start(std::string_view name) {
    const Element* element = elementNamed(name);
    if (!element) return fail("unknown element " + tag(name));
    if (_leaf) return fail("unexpected " + tag(name) + " in " + tag(_leaf->name));
    const bool isRoot = element->kind == Element::Kind::root;
    if (isRoot == _isInRoot) {
      return fail(isRoot ? "unexpected <plist> in <plist>"
                         : "expected <plist>, found " + tag(name));
    }
    if (isRoot) {
      _isInRoot = true;
    } else if (mayStart(*element)) {
      open(*element);
    }
  }

  bool mayStart(const Element& element) {
    const bool isKey = element.kind == Element::Kind::key;
    if (_open.empty()) {
      if (isKey)
        fail("unexpected <key> outside <dict>");
      else if (_root)
        fail("more than one value in <plist>");
    } else if (const OpenContainer& container = _open.back(); container.array) {
      if (isKey) fail("unexpected <key> outside <dict>");
    } else if (isKey != container.key.isNil()) {
      fail(std::string(isKey ? "expected a value" : "expected <key>") + ", found " +
           tag(element.name));
    }
    return !_hasFailed;
  }

  void open(const Element& element) {
    if (element.valueOf) {
      _leaf = &element;
      _text.clear();
    } else if (_open.size() == HxPropertyListDepthLimit) {
      fail(tooDeepMessage(), HxPropertyListDepthError);
    } else if (element.kind == Element::Kind::array) {
      _open.push_back({HxMutableArray::array(), nullptr, nullptr});
    } else {
      _open.push_back({nullptr, HxMutableDictionary::dictionary(), nullptr});
    }
  }

  void text(std::string_view text) {
    if (_leaf) {
      _text += text;
    } else if (!trimmed(text).empty()) {
      fail("unexpected text");
    }
  }

  void end(const Element& element) {
    if (_leaf) {
      endLeaf();
    } else if (element.kind != Element::Kind::root) {
      endContainer();
    } else if (!_root) {
      fail("no value in <plist>");
    }
  }

  void endLeaf() {
    const Element& element = *std::exchange(_leaf, nullptr);
    const HxAny value = element.valueOf(_text);
    if (!value) return fail("invalid text in " + tag(element.name));
    if (element.kind == Element::Kind::key) {
      _open.back().key = as<HxString>(value);
    } else {
      place(value);
    }
  }

  void endContainer() {
    if (_open.back().key) return fail("expected a value, found </dict>");
    const HxAny value = _open.back().closed();
    _open.pop_back();
    place(value);
  }

  void place(const HxHandle& value) {
    if (_open.empty()) {
      _root = value;
    } else {
      _open.back().add(value);
    }
  }

  PropertyListFailure& _failure;
  std::unique_ptr<XML_ParserStruct, FreeParser> _parser;
  std::exception_ptr _exception;
  bool _hasFailed = false;
  bool _isInRoot = false;
  const Element* _leaf = nullptr;  // the key or leaf element that is open
  std::string _text;               // of that element
  std::vector<OpenContainer> _open;
  HxAny _root;
};

}  // namespace

HxAny readXMLPropertyList(std::string_view document, const char* encoding,
                          PropertyListFailure& failure) {
  return XMLReader(encoding, failure).read(document);
}

}  // namespace rondel::internal
