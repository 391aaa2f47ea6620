// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/PropertyList.h"

#include <unicode/utf8.h>

#include <cerrno>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/system/internal/FileContents.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"

namespace rondel {
namespace internal {

std::string PropertyListFailure::description() const {
  return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": " +
         message;
}

std::string codePointName(HxUniChar unit) {
  std::string name = "U+";
  for (unsigned shift = 16; shift > 0; shift -= 4) {
    name += kUpperHexadecimalDigits[unit >> (shift - 4) & 0xFU];
  }
  return name;
}

std::string tooDeepMessage() {
  return "nested deeper than " + std::to_string(HxPropertyListDepthLimit) + " containers";
}

HxString builtInString(const HxString& text) {
  if (!text || text.asciiView().data()) return text;
  const Characters characters(text);
  return characters.visit([](auto* units, HxUInteger length) { return makeString(units, length); });
}

namespace {

HxAny copyAtDepth(const HxHandle& value, HxUInteger depth);

HxAny copyOfArray(const HxArray& array, HxUInteger depth) {
  HxMutableArray copy = HxMutableArray::array();
  for (const HxAny& element : array) {
    const HxAny value = copyAtDepth(element, depth);
    if (!value) return {};
    copy.addObject(value);
  }
  return copy.copy();
}

HxAny copyOfDictionary(const HxDictionary& dictionary, HxUInteger depth) {
  HxMutableDictionary copy = HxMutableDictionary::dictionary();
  for (const auto& [key, element] : dictionary) {
    const HxString name = builtInString(as<HxString>(key));
    const HxAny value = copyAtDepth(element, depth);
    if (!name || !value) return {};
    copy.setObject(value, name);
  }
  return copy.copy();
}

HxAny copyAtDepth(const HxHandle& value, HxUInteger depth) {
  switch (HcGetTypeID(value)) {
    case HxTypeID::string:
      return builtInString(as<HxString>(value));
    case HxTypeID::data:
      return as<HxData>(value).copy();
    case HxTypeID::number:
    case HxTypeID::date:
      return value;
    case HxTypeID::array:
      return depth < HxPropertyListDepthLimit ? copyOfArray(as<HxArray>(value), depth + 1)
                                              : HxAny();
    case HxTypeID::dictionary:
      return depth < HxPropertyListDepthLimit ? copyOfDictionary(as<HxDictionary>(value), depth + 1)
                                              : HxAny();
    case HxTypeID::object:
    case HxTypeID::set:
    case HxTypeID::indexSet:
    case HxTypeID::characterSet:
    case HxTypeID::error:
    case HxTypeID::bundle:
    case HxTypeID::enumerator:
      break;
  }
  return {};
}

}  // namespace

bool textFormKeepsTypes(const HxHandle& list) {
  switch (HcGetTypeID(list)) {
    case HxTypeID::string:
    case HxTypeID::data:
      return true;
    case HxTypeID::array:
      for (const HxAny& element : as<HxArray>(list)) {
        if (!textFormKeepsTypes(element)) return false;
      }
      return true;
    case HxTypeID::dictionary:
      for (const auto& [key, value] : as<HxDictionary>(list)) {
        if (!textFormKeepsTypes(value)) return false;
      }
      return true;
    case HxTypeID::number:
    case HxTypeID::date:
    case HxTypeID::object:
    case HxTypeID::set:
    case HxTypeID::indexSet:
    case HxTypeID::characterSet:
    case HxTypeID::error:
    case HxTypeID::bundle:
    case HxTypeID::enumerator:
      break;
  }
  return false;
}

HxAny copyOfPropertyList(const HxHandle& list) { return copyAtDepth(list, 0); }

}  // namespace internal

namespace {

using internal::Characters;
using internal::isBlank;
using internal::isHexadecimalDigit;
using internal::PropertyListFailure;
using internal::TextPlace;

constexpr HxUniChar kByteOrderMark = 0xFEFF;
constexpr std::string_view kUTF8Signature = "\xEF\xBB\xBF";
constexpr std::string_view kUTF16BigEndianMark = "\xFE\xFF";
constexpr std::string_view kUTF16LittleEndianMark = "\xFF\xFE";

bool mayFollowLessThanInXML(unsigned c) noexcept {
  return c == '?' || c == '!' || internal::isLetter(c);
}

// Returns whether a text is in the XML form; `unitAt` returns its units.
template <class UnitAt>
bool isXML(HxUInteger length, UnitAt unitAt) {
  HxUInteger i = 0;
  while (i < length && isBlank(unitAt(i))) ++i;
  if (length - i < 2 || unitAt(i) != '<' || !mayFollowLessThanInXML(unitAt(i + 1))) return false;
  do ++i;
  while (i < length && (isHexadecimalDigit(unitAt(i)) || isBlank(unitAt(i))));
  return i < length && unitAt(i) != '>';
}

bool isLoneSurrogate(const Characters& text, HxUInteger at) noexcept {
  const auto unitAt = [&](HxUInteger i) { return i < text.length() ? text[i] : HxUniChar{0}; };
  const bool beginsPair = internal::isSurrogatePair(unitAt(at), unitAt(at + 1));
  const bool endsPair = at > 0 && internal::isSurrogatePair(unitAt(at - 1), unitAt(at));
  return internal::isSurrogate(unitAt(at)) && !beginsPair && !endsPair;
}

// Returns the place of a unit of a text, or of its end.
TextPlace placeInText(const Characters& text, HxUInteger at) noexcept {
  TextPlace place;
  for (HxUInteger i = 0; i < at; ++i) {
    if (i > 0 || text[i] != kByteOrderMark) {
      internal::advance(place, i > 0 ? text[i - 1] : u'\0', text[i]);
    }
  }
  return place;
}

HxAny readXMLString(const HxString& string, const Characters& text, PropertyListFailure& failure) {
  const HxCString bytes = string.UTF8String();
  // The text is decoded already: what it declares for its bytes is ignored.
  if (!bytes.isNull()) return internal::readXMLPropertyList(bytes.view(), "UTF-8", failure);
  HxUInteger lone = 0;
  while (!isLoneSurrogate(text, lone)) ++lone;
  failure = {HxPropertyListEncodingError, "lone surrogate", placeInText(text, lone)};
  return {};
}

HxAny readString(const HxString& string, PropertyListFailure& failure) {
  if (!string) {
    failure.message = "no text";
    return {};
  }
  const Characters text(string);
  const HxUInteger start = text.length() > 0 && text[0] == kByteOrderMark ? 1 : 0;
  const auto unitAt = [&](HxUInteger i) { return unsigned{text[start + i]}; };
  return isXML(text.length() - start, unitAt) ? readXMLString(string, text, failure)
                                              : internal::readTextPropertyList(text, failure);
}

HxAny readUTF16(std::string_view bytes, PropertyListFailure& failure) {
  const HxUInteger whole = bytes.size() & ~HxUInteger{1};
  const HxString string = HxString::initWithBytes(bytes.data(), whole, HxUnicodeStringEncoding);
  if (whole == bytes.size()) return readString(string, failure);
  failure = {HxPropertyListEncodingError, "incomplete character at the end of the data",
             placeInText(Characters(string), string.length())};
  return {};
}

HxAny failAtMalformedUTF8(std::string_view bytes, PropertyListFailure& failure) {
  const auto* units = reinterpret_cast<const std::uint8_t*>(bytes.data());
  TextPlace place;
  char previous = 0;
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t start = i;
    UChar32 character;
    U8_NEXT(units, i, bytes.size(), character);
    if (character < 0) break;
    internal::advance(place, previous, bytes[start]);
    previous = bytes[start];
  }
  failure = {HxPropertyListEncodingError, "invalid UTF-8", place};
  return {};
}

HxAny readUTF8(std::string_view bytes, PropertyListFailure& failure) {
  const HxString string(bytes);
  return string ? internal::readTextPropertyList(Characters(string), failure)
                : failAtMalformedUTF8(bytes, failure);
}

HxAny readData(const HxData& data, PropertyListFailure& failure) {
  if (!data) {
    failure.message = "no data";
    return {};
  }
  std::string_view bytes(reinterpret_cast<const char*>(data.bytes()), data.length());
  if (bytes.starts_with(kUTF16BigEndianMark) || bytes.starts_with(kUTF16LittleEndianMark)) {
    return readUTF16(bytes, failure);
  }
  if (bytes.starts_with(kUTF8Signature)) bytes.remove_prefix(kUTF8Signature.size());
  const auto byteAt = [&](HxUInteger i) { return unsigned{static_cast<unsigned char>(bytes[i])}; };
  return isXML(bytes.size(), byteAt) ? internal::readXMLPropertyList(bytes, nullptr, failure)
                                     : readUTF8(bytes, failure);
}

// The path, if there is one, begins the description: "/tmp/x: line 3, column 7: ...".
HxError errorOf(HxPropertyListErrorCode code, const HxString& reason, const HxString& path) {
  HxMutableDictionary userInfo = HxMutableDictionary::dictionary();
  userInfo.setObject(path ? HxString::stringByConcatenating(path, ": "_hx, reason) : reason,
                     HxLocalizedDescriptionKey);
  userInfo.setObject(path, HxFilePathErrorKey);
  return HxError::errorWithDomain(HxPropertyListErrorDomain, code, userInfo.copy());
}

// A nil path means data that are from no file.
HxAny listOfData(const HxData& data, const HxString& path, HxError* error) {
  PropertyListFailure failure;
  HxAny list = readData(data, failure);
  if (!list && error) {
    const std::string reason = failure.description();
    *error = errorOf(failure.code, HxString(std::string_view(reason)), path);
  }
  return list;
}

// The contents are nil, with errno set, if the file could not be read.
HxAny listOfFile(const HxData& contents, const HxString& path, HxError* error) {
  if (contents) return listOfData(contents, path, error);
  if (error) *error = HxError::posixError(errno ? errno : EIO, path);
  return nullptr;
}

}  // namespace

HxAny HxPropertyListWithData(const HxData& data, HxError* error) {
  return listOfData(data, nullptr, error);
}

HxAny HxPropertyListWithString(const HxString& text, HxError* error) {
  PropertyListFailure failure;
  HxAny list = readString(text, failure);
  if (!list && error) {
    const std::string reason = failure.description();
    *error = errorOf(failure.code, HxString(std::string_view(reason)), nullptr);
  }
  return list;
}

HxAny HxPropertyListWithContentsOfFile(const HxString& path, HxError* error) {
  return listOfFile(internal::contentsOfFile(path), path, error);
}

namespace internal {

HxAny propertyListOfRegularFile(const HxString& path, HxError* error) {
  const HxData contents = contentsOfRegularFile(path);
  if (contents || errno != ENOTSUP) return listOfFile(contents, path, error);
  if (error) *error = propertyListFileError(path, "not a regular file"_hx);
  return nullptr;
}

HxError propertyListFileError(const HxString& path, const HxString& reason) {
  return errorOf(HxPropertyListValueError, reason, path);
}

}  // namespace internal

HxDictionary HxDictionary::dictionaryWithContentsOfFile(const HxString& path) {
  return as<HxDictionary>(HxPropertyListWithContentsOfFile(path));
}

}  // namespace rondel
