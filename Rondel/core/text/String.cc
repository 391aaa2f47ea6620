// SPDX-License-Identifier: MIT
//
// Making strings, reading them, and the operations of the string classes. Searching, comparing,
// line bounds, Unicode and paths are in separate files.
#include "Rondel/core/text/String.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/internal/BufferString.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/MakeString.h"
#include "Rondel/core/text/internal/StringBlock.h"
#include "Rondel/core/text/internal/TextEncoding.h"
#include "Rondel/core/text/internal/TextHash.h"
#include "Rondel/core/text/internal/TextPieces.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Number.h"

namespace rondel {

using internal::BufferString;
using internal::Characters;
using internal::FlatString;

// ---- The string classes -----------------------------------------------------------------------

namespace {

constexpr HxMethod kStringMethods[] = {
    {"caseInsensitiveCompare:",
     [](HxObject& self, const HxHandle& other) -> HxAny {
       const HxString text(HxAny::Unchecked{}, HxAny(&self));
       return HxNumber::numberWithInt(text.caseInsensitiveCompare(as<HxString>(other)));
     }},
    {"uppercaseString",
     [](HxObject& self, const HxHandle&) -> HxAny {
       return HxString(HxAny::Unchecked{}, HxAny(&self)).uppercaseString();
     }},
};

HxString handleOf(const HxObject* object) { return HxString(HxAny::Unchecked{}, HxAny(object)); }

}  // namespace

HxClass HxStringObject::classObject() noexcept {
  static const HxClassInfo info{"HxString", HxObject::classObject().info(),
                                [] { return HxAny(HxString::string()); }, kStringMethods,
                                std::size(kStringMethods)};
  return HxClass(&info);
}

HxClass FlatString::classObject() noexcept { return HxStringObject::classObject(); }

HxClass BufferString::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableString::classObject() : HxStringObject::classObject();
}

HxClass HxMutableString::classObject() noexcept {
  static const HxClassInfo info{"HxMutableString", HxStringObject::classObject().info(),
                                [] { return HxAny(HxMutableString::string()); }};
  return HxClass(&info);
}

namespace {

using internal::TextPieces;

bool isASCII(TextPieces& text, HxUInteger length) {
  bool isASCII = true;
  internal::forEachPiece({0, length}, [&](HxRange piece) {
    return isASCII = text.visit(
               piece, [&](auto* units) { return internal::isASCII(units, piece.length); });
  });
  return isASCII;
}

// hashOfBytes for text in pieces.
class PieceHash {
 public:
  explicit PieceHash(HxUInteger byteCount) : _left(byteCount), _hash(byteCount) {}

  // Each piece but the last is of a multiple of 16 bytes.
  void add(const char* bytes, HxUInteger count) {
    const char* const end = bytes + count;
    for (; bytes < end && _left > 16; bytes += 16, _left -= 16) _hash.addBlock(bytes);
    if (bytes < end) _result = _hash.finish(bytes, _left);
  }
  HxUInteger result() const { return _result; }

 private:
  HxUInteger _left;
  internal::TextHash _hash;
  HxUInteger _result = 0;
};

// For text that is not stored in the form that is hashed: wide units that may all be ASCII.
HxUInteger hashOfPieces(TextPieces& text, HxUInteger length) {
  static_assert(TextPieces::kUnits % 16 == 0);
  const bool isNarrow = isASCII(text, length);
  PieceHash hash(isNarrow ? length : length * sizeof(HxUniChar));
  internal::forEachPiece({0, length}, [&](HxRange piece) {
    text.visit(piece, [&](auto* units) {
      char narrow[TextPieces::kUnits];
      if constexpr (sizeof(*units) == 1) {
        hash.add(units, piece.length);
      } else if (isNarrow) {
        internal::narrowUnits(units, piece.length, narrow);
        hash.add(narrow, piece.length);
      } else {
        hash.add(reinterpret_cast<const char*>(units), piece.length * sizeof(HxUniChar));
      }
    });
    return true;
  });
  return hash.result();
}

}  // namespace

bool HxStringObject::isEqual(const HxObject& other) const {
  if (this == &other) return true;
  if (other.typeID() != HxTypeID::string) return false;
  const auto& string = static_cast<const HxStringObject&>(other);
  const HxUInteger count = length();
  return count == string.length() && internal::haveSameUnits(*this, 0, string, count);
}

HxUInteger HxStringObject::hash() const {
  TextPieces text(*this);
  const HxUInteger count = length();
  if (count == 0) return internal::hashOfBytes("", 0);
  if (const char* const narrow = text.run().narrow) return internal::hashOfBytes(narrow, count);
  return hashOfPieces(text, count);
}

HxString HxStringObject::description() const { return handleOf(this); }

HxAny HxStringObject::copy() const {
  const Characters text(this);
  return text.visit(
      [](auto* units, HxUInteger length) -> HxAny { return internal::makeString(units, length); });
}

HxAny HxStringObject::mutableCopy() const {
  return HxMutableString::stringWithString(handleOf(this));
}

// ---- Flat strings -----------------------------------------------------------------------------

void* FlatString::allocate(std::size_t bytes) {
  void* block = std::malloc(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

FlatString* FlatString::makeWide(HxUInteger length) {
  void* block = allocate(sizeof(FlatString) + (length + 1) * sizeof(HxUniChar));
  auto* string = new (block) FlatString(static_cast<std::uint32_t>(length), kFlatWide);
  string->wide()[length] = u'\0';
  return string;
}

void FlatString::freeBlock(void* block) noexcept { std::free(block); }

void FlatString::drop(FlatString* string) noexcept {
  if (const HxUInteger distance = string->bits() >> kDistanceShift) {
    internal::StringBlock::dropString(string, distance);
  } else {
    freeBlock(string);
  }
}

FlatString* internal::WordMaker::makeInNewBlock(HxUInteger length) {
  StringBlock* const block =
      StringBlock::make(std::max(_blockBytes, StringBlock::bytesForOne(length)));
  if (_block) _block->close();
  _block = block;
  return block->makeString(length);
}

void FlatString::getCharacters(HxUniChar* buffer, HxRange range) const {
  if (isNarrow()) {
    internal::widenBytes(narrow() + range.location, range.length, buffer);
  } else if (range.length > 0) {
    std::memcpy(buffer, wide() + range.location, range.length * sizeof(HxUniChar));
  }
}

std::uint32_t FlatString::computeHash() const noexcept {
  const std::uint32_t hash =
      internal::hashOfBytes(reinterpret_cast<const char*>(this + 1), byteLength());
  _hash.storeRelaxed(hash);
  return hash;
}

// ---- Making strings ---------------------------------------------------------------------------

HxString::HxString(std::string_view utf8)
    : HxString(internal::makeStringFromUTF8(utf8.data(), utf8.size())) {}

HxString::HxString(const char* utf8) : HxString(stringWithUTF8String(utf8)) {}

HxString::HxString(std::u16string_view units)
    : HxString(internal::makeString(units.data(), units.size())) {}

HxString HxString::string() noexcept { return ""_hx; }

HxString HxString::stringWithString(const HxString& string) { return string.copy(); }

HxString HxString::stringWithUTF8String(const char* bytes) {
  return bytes ? internal::makeStringFromUTF8(bytes, std::strlen(bytes)) : HxString();
}

HxString HxString::stringWithCString(const char* bytes, HxStringEncoding encoding) {
  return bytes ? initWithBytes(bytes, std::strlen(bytes), encoding) : HxString();
}

HxString HxString::initWithCString(const char* bytes, HxStringEncoding encoding) {
  return stringWithCString(bytes, encoding);
}

HxString HxString::stringWithCharacters(const HxUniChar* characters, HxUInteger length) {
  if (!characters && length > 0) return nullptr;
  return internal::makeString(characters, length);
}

HxString HxString::initWithCharacters(const HxUniChar* characters, HxUInteger length) {
  return stringWithCharacters(characters, length);
}

namespace {

// A block of the caller, freed if freeWhenDone says so, even if making the string fails.
class CallersBlock {
 public:
  CallersBlock(void* block, bool freeWhenDone) noexcept : _block(freeWhenDone ? block : nullptr) {}
  CallersBlock(const CallersBlock&) = delete;
  CallersBlock& operator=(const CallersBlock&) = delete;
  ~CallersBlock() { std::free(_block); }

 private:
  void* _block;
};

}  // namespace

HxString HxString::initWithCharactersNoCopy(HxUniChar* characters, HxUInteger length,
                                            bool freeWhenDone) {
  const CallersBlock block(characters, freeWhenDone);
  return stringWithCharacters(characters, length);
}

HxString HxString::initWithBytesNoCopy(void* bytes, HxUInteger length, HxStringEncoding encoding,
                                       bool freeWhenDone) {
  const CallersBlock block(bytes, freeWhenDone);
  return initWithBytes(bytes, length, encoding);
}

HxString HxString::initWithBytes(const void* bytes, HxUInteger length, HxStringEncoding encoding) {
  if (!bytes && length > 0) return nullptr;
  const internal::TextEncoding* const found = internal::textEncoding(encoding);
  return found ? found->decode(static_cast<const char*>(bytes), length) : HxString();
}

HxString HxString::initWithData(const HxData& data, HxStringEncoding encoding) {
  return data ? initWithBytes(data.bytes(), data.length(), encoding) : HxString();
}

// ---- Reading ----------------------------------------------------------------------------------

HxUniChar HxString::characterAtIndex(HxUInteger index) const {
  if (!_object) return 0;
  internal::checkIndex("-[HxString characterAtIndex:]", index, length());
  return isFlat() ? flat()->characterAtIndex(index) : stringObject()->characterAtIndex(index);
}

void HxString::getCharacters(HxUniChar* buffer) const {
  if (_object) stringObject()->getCharacters(buffer, {0, length()});
}

void HxString::getCharacters(HxUniChar* buffer, HxRange range) const {
  if (!_object) return;
  internal::checkRange("-[HxString getCharacters:range:]", range, length());
  stringObject()->getCharacters(buffer, range);
}

HxCString::HxCString(const HxHandle& owner, const char* bytes, HxUInteger length) noexcept
    : _owner(owner), _bytes(bytes), _length(length) {}

HxCString::HxCString(HxUInteger length)
    : _block(static_cast<char*>(::operator new(length + 1))), _bytes(_block), _length(length) {
  _block[length] = '\0';
}

HxCString::HxCString(HxCString&& other) noexcept
    : _owner(std::move(other._owner)),
      _block(std::exchange(other._block, nullptr)),
      _bytes(std::exchange(other._bytes, nullptr)),
      _length(std::exchange(other._length, 0)) {}

HxCString& HxCString::operator=(HxCString&& other) noexcept {
  std::swap(_owner, other._owner);
  std::swap(_block, other._block);
  std::swap(_bytes, other._bytes);
  std::swap(_length, other._length);
  return *this;
}

HxCString::~HxCString() { ::operator delete(_block); }

HxCString HxString::UTF8String() const {
  if (!_object) return {};
  if (isFlat() && flat()->isNarrow()) return {*this, flat()->narrow(), flat()->flatLength()};
  const Characters text(*this);
  if (text.isNarrow()) {
    HxCString result(text.length());
    std::memcpy(result._block, text.narrow(), text.length());
    return result;
  }
  const HxUInteger bytes = internal::lengthInUTF8(text.wide(), text.length());
  if (bytes == HxNotFound) return {};
  HxCString result(bytes);
  internal::encodeUTF8(text.wide(), text.length(), result._block);
  return result;
}

std::string HxString::toStdString() const {
  const Characters text(*this);
  if (text.isNarrow()) return std::string(text.narrow(), text.length());
  std::string bytes(text.length() * 3, '\0');
  bytes.resize(static_cast<std::size_t>(
      internal::encodeUTF8(text.wide(), text.length(), bytes.data()) - bytes.data()));
  return bytes;
}

HxData HxString::dataUsingEncoding(HxStringEncoding encoding) const {
  if (!_object) return nullptr;
  const internal::TextEncoding* const found = internal::textEncoding(encoding);
  return found ? found->encode(Characters(*this)) : HxData();
}

// ---- New strings from old ---------------------------------------------------------------------

HxString HxString::substringWithRange(HxRange range) const {
  if (!_object) return nullptr;
  internal::checkRange("-[HxString substringWithRange:]", range, length());
  if (isFlat()) {
    if (range.length == length()) return *this;
    return flat()->isNarrow()
               ? internal::makeString(flat()->narrow() + range.location, range.length)
               : internal::makeString(flat()->wide() + range.location, range.length);
  }
  const HxStringObject::Contiguous run = stringObject()->contiguousCharacters();
  if (run.narrow) return internal::makeString(run.narrow + range.location, range.length);
  if (run.wide) return internal::makeString(run.wide + range.location, range.length);
  internal::checkShown(*stringObject(), range);
  std::u16string units(range.length, u'\0');
  stringObject()->getCharacters(units.data(), range);
  return internal::makeString(units.data(), units.size());
}

HxString HxString::substringFromIndex(HxUInteger index) const {
  if (!_object) return nullptr;
  const HxUInteger end = length();
  internal::checkRange("-[HxString substringFromIndex:]", {index, 0}, end);
  return substringWithRange({index, end - index});
}

HxString HxString::substringToIndex(HxUInteger index) const {
  if (!_object) return nullptr;
  internal::checkRange("-[HxString substringToIndex:]", {0, index}, length());
  return substringWithRange({0, index});
}

HxString HxString::stringByAppendingString(const HxString& string) const {
  if (!_object) return nullptr;
  return stringByConcatenating(*this, string);
}

namespace {

// Copies the units of a built-in string. Returns the end of what it wrote.
HxUniChar* appendUnits(HxUniChar* out, const FlatString& string) {
  string.getCharacters(out, {0, string.flatLength()});
  return out + string.flatLength();
}

}  // namespace

// The result is built in place if all parts are built-in strings: they are ASCII exactly if they
// are narrow, so the width of the result is known.
HxString HxString::concatenate(const HxString* const* parts, HxUInteger count) {
  const std::span all(parts, count);
  const auto areAll = [&](auto condition) {
    return std::all_of(all.begin(), all.end(),
                       [&](const HxString* part) { return part->isNil() || condition(*part); });
  };
  HxUInteger length = 0;
  for (const HxString* part : all) length += part->length();
  if (length <= FlatString::kMaximumLength) {
    if (areAll([](const HxString& part) { return part.isFlatNarrow(); })) {
      return internal::makeNarrowString(length, [&](char* out) {
        for (const HxString* part : all) out = internal::appendBytes(out, part->asciiView());
      });
    }
    if (areAll([](const HxString& part) { return part.isFlat(); })) {
      return internal::makeWideString(length, [&](HxUniChar* out) {
        for (const HxString* part : all) {
          if (*part) out = appendUnits(out, *part->flat());
        }
      });
    }
  }
  HxMutableString text = HxMutableString::string();
  for (const HxString* part : all) text.appendString(*part);
  return text.copy();
}

HxString HxString::copy() const {
  if (!_object || isFlat()) return *this;
  return HxString(Unchecked{}, _object->copy());
}

HxMutableString HxString::mutableCopy() const {
  return _object ? HxMutableString::stringWithString(*this) : nullptr;
}

// ---- The mutable form -------------------------------------------------------------------------

namespace {

BufferString* bufferOf(const HxMutableString& string) noexcept {
  return static_cast<BufferString*>(string.object());
}

}  // namespace

HxMutableString HxMutableString::string() { return initWithCapacity(0); }

HxMutableString HxMutableString::initWithCapacity(HxUInteger capacity) {
  constexpr HxUInteger kMostAtOnce = HxUInteger{1} << 20;
  return HxMutableString(Unchecked{}, BufferString::makeMutable(std::min(capacity, kMostAtOnce)));
}

HxMutableString HxMutableString::stringWithString(const HxString& string) {
  const Characters text(string);  // a view that does not fit raises here, before room is taken
  HxMutableString result = initWithCapacity(text.length());
  text.visit([&](auto* units, HxUInteger length) { bufferOf(result)->append(units, length); });
  return result;
}

void HxMutableString::appendString(const HxString& string) {
  if (isForChange("-[HxMutableString appendString:]", HxTypeID::string) && string) {
    bufferOf(*this)->replace({length(), 0}, string);
  }
}

void HxMutableString::appendCharacters(const HxUniChar* characters, HxUInteger count) {
  if (isForChange("-[HxMutableString appendCharacters:length:]", HxTypeID::string) && characters &&
      count > 0) {
    bufferOf(*this)->replaceWithUnits({length(), 0}, characters, count);
  }
}

void HxMutableString::setString(const HxString& string) {
  if (isForChange("-[HxMutableString setString:]", HxTypeID::string)) {
    bufferOf(*this)->replace({0, length()}, string);
  }
}

void HxMutableString::insertString(const HxString& string, HxUInteger index) {
  if (!isForChange("-[HxMutableString insertString:atIndex:]", HxTypeID::string)) return;
  internal::checkRange("-[HxMutableString insertString:atIndex:]", {index, 0}, length());
  bufferOf(*this)->replace({index, 0}, string);
}

void HxMutableString::deleteCharactersInRange(HxRange range) {
  if (!isForChange("-[HxMutableString deleteCharactersInRange:]", HxTypeID::string)) return;
  internal::checkRange("-[HxMutableString deleteCharactersInRange:]", range, length());
  bufferOf(*this)->replaceWithBytes(range, "", 0);
}

void HxMutableString::replaceCharactersInRange(HxRange range, const HxString& string) {
  if (!isForChange("-[HxMutableString replaceCharactersInRange:withString:]", HxTypeID::string))
    return;
  internal::checkRange("-[HxMutableString replaceCharactersInRange:withString:]", range, length());
  bufferOf(*this)->replace(range, string);
}

}  // namespace rondel
