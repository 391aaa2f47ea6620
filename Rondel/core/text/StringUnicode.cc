// SPDX-License-Identifier: MIT
//
// Case, normal forms and file names.
#include <unicode/ustring.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/ComposedText.h"

namespace rondel {

using internal::Characters;
using internal::UnitBuffer;

namespace {

HxString stringOf(const UnitBuffer& units) {
  return internal::makeString(units.units(), units.length());
}

// ---- Case -------------------------------------------------------------------------------------

// One direction of case conversion.
struct CaseMapping {
  bool (*changes)(char ascii);
  std::int32_t (*convert)(UChar*, std::int32_t, const UChar*, std::int32_t, const char*,
                          UErrorCode*);
};

constexpr CaseMapping kToUpper{[](char c) { return c >= 'a' && c <= 'z'; }, u_strToUpper};
constexpr CaseMapping kToLower{[](char c) { return c >= 'A' && c <= 'Z'; }, u_strToLower};
constexpr char kCaseBit = 0x20;  // the difference between ASCII letters of the two cases

HxString convertedASCII(std::string_view text, const CaseMapping& mapping) {
  std::string result(text);
  for (char& c : result) {
    if (mapping.changes(c)) c = static_cast<char>(c ^ kCaseBit);
  }
  return internal::makeString(result.data(), result.size());
}

HxString convertedUnits(const HxUniChar* units, HxUInteger length, const CaseMapping& mapping) {
  UnitBuffer result;
  result.room(length);
  result.appendWith([&](HxUniChar* place, std::int32_t room) {
    constexpr const char* kRootLocale = "";
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t wanted =
        mapping.convert(place, room, units, internal::icuLength(length), kRootLocale, &status);
    internal::checkICUStatus(status);
    return static_cast<HxUInteger>(wanted);
  });
  return stringOf(result);
}

HxString converted(const HxString& string, const CaseMapping& mapping) {
  if (!string) return nullptr;
  const Characters text(string);
  if (!text.isNarrow()) return convertedUnits(text.wide(), text.length(), mapping);
  const std::string_view ascii(text.narrow(), text.length());
  return std::any_of(ascii.begin(), ascii.end(), mapping.changes) ? convertedASCII(ascii, mapping)
                                                                  : string.copy();
}

}  // namespace

HxString HxString::uppercaseString() const { return converted(*this, kToUpper); }

HxString HxString::lowercaseString() const { return converted(*this, kToLower); }

// ---- Normal forms -----------------------------------------------------------------------------

HxString HxString::decomposedStringWithCanonicalMapping() const {
  const Characters text(*this);
  if (text.isNarrow() || internal::isDecomposed(text.wide(), text.length())) return copy();
  UnitBuffer result;
  internal::appendDecomposed(text.wide(), text.length(), result);
  return stringOf(result);
}

HxString HxString::precomposedStringWithCanonicalMapping() const {
  const Characters text(*this);
  if (text.isNarrow() || internal::isComposed(text.wide(), text.length())) return copy();
  UnitBuffer result;
  internal::appendComposed(text.wide(), text.length(), result);
  return stringOf(result);
}

// ---- File names -------------------------------------------------------------------------------

namespace {

// Bytes in the caller's buffer. Appending returns false if they do not fit.
class FileName {
 public:
  FileName(char* buffer, HxUInteger room) noexcept : _out(buffer), _room(room) {}

  bool append(const char* ascii, HxUInteger length) noexcept {
    if (length > _room) return false;
    std::memcpy(_out, ascii, length);
    moveBy(length);
    return true;
  }
  // Piece by piece, so that the decomposed text does not outgrow the stack.
  bool appendDecomposed(const HxUniChar* units, HxUInteger length) {
    if (internal::isDecomposed(units, length)) return append(units, length);
    constexpr HxUInteger kMostForOneUnit = 4;
    constexpr HxUInteger kPiece = UnitBuffer::kStackUnits / kMostForOneUnit;
    UnitBuffer decomposed;
    for (HxUInteger at = 0; at < length;) {
      HxUInteger end = std::min(at + kPiece, length);
      if (end < length) end = internal::nextSequenceBoundary(units, length, end - 1);
      decomposed.clear();
      internal::appendDecomposed(units + at, end - at, decomposed);
      if (!append(decomposed.units(), decomposed.length())) return false;
      at = end;
    }
    return true;
  }
  char* end() const noexcept { return _out; }

 private:
  bool append(const HxUniChar* units, HxUInteger length) noexcept {
    const HxUInteger bytes = internal::lengthInUTF8(units, length);
    if (bytes > _room) return false;  // a lone surrogate never fits
    internal::encodeUTF8(units, length, _out);
    moveBy(bytes);
    return true;
  }
  void moveBy(HxUInteger bytes) noexcept {
    _out += bytes;
    _room -= bytes;
  }

  char* _out;
  HxUInteger _room;
};

}  // namespace

HxCString HxString::fileSystemRepresentation() const {
  return decomposedStringWithCanonicalMapping().UTF8String();
}

bool HxString::getFileSystemRepresentation(char* buffer, HxUInteger maximumLength) const {
  if (!_object || maximumLength == 0) return false;
  const Characters text(*this);
  FileName name(buffer, maximumLength - 1);
  if (!(text.isNarrow() ? name.append(text.narrow(), text.length())
                        : name.appendDecomposed(text.wide(), text.length()))) {
    return false;
  }
  *name.end() = '\0';
  return true;
}

HxUInteger HxString::maximumFileSystemRepresentationLength() const {
  // A Hangul syllable of one unit decomposes into three letters of three bytes each; nothing needs
  // more for each unit.
  constexpr HxUInteger kBytesPerUnit = 9;
  if (!_object) return 0;
  return length() * (asciiView().data() ? 1 : kBytesPerUnit) + 1;
}

}  // namespace rondel
