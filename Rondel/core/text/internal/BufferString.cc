// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/BufferString.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/LongSequence.h"

namespace rondel::internal {

namespace {

template <class Unit>
Unit* resized(Unit* units, HxUInteger capacity) {
  if (capacity > HxNotFound / sizeof(Unit)) throw std::bad_alloc();
  void* block = std::realloc(units, capacity * sizeof(Unit));
  if (!block) throw std::bad_alloc();
  return static_cast<Unit*>(block);
}

constexpr HxUInteger kLeastCapacity = 32;
// A string that outgrows its own room leaves at most this unused.
constexpr HxUInteger kMostOwnRoom = 512;

}  // namespace

BufferString::~BufferString() {
  forgetSequence(this);
  freeNarrow();
  std::free(_wide);
}

HxAny BufferString::makeMutable(HxUInteger capacity) {
  if (capacity == 0 || capacity > kMostOwnRoom) {
    Ref<BufferString> string = makeRef<BufferString>(true);
    string->reserve(capacity);
    return string;
  }
  auto* const string = new (Room{capacity}) BufferString(true);
  string->_narrow = string->ownRoom();
  string->_capacity = capacity;
  return HxAny::adopt(string);
}

void BufferString::freeNarrow() noexcept {
  if (_narrow != ownRoom()) std::free(_narrow);
}

template <class Unit>
HxString BufferString::makeLong(const Unit* units, HxUInteger length) {
  Ref<BufferString> string = makeRef<BufferString>(false);
  if constexpr (sizeof(Unit) == 1) {
    string->replaceWithBytes({0, 0}, units, length);
  } else {
    string->replaceWithUnits({0, 0}, units, length);
  }
  return HxString(string);
}
template HxString BufferString::makeLong(const char*, HxUInteger);
template HxString BufferString::makeLong(const HxUniChar*, HxUInteger);

HxUniChar BufferString::characterAtIndex(HxUInteger index) const {
  return _wide ? _wide[index] : static_cast<unsigned char>(_narrow[index]);
}

void BufferString::getCharacters(HxUniChar* buffer, HxRange range) const {
  if (range.length == 0) return;
  if (_wide) {
    std::memcpy(buffer, _wide + range.location, range.length * sizeof(HxUniChar));
  } else {
    widenBytes(_narrow + range.location, range.length, buffer);
  }
}

HxStringObject::Contiguous BufferString::contiguousCharacters() const {
  if (_wide) return {nullptr, _wide};
  return {_narrow ? _narrow : "", nullptr};
}

HxAny BufferString::copy() const {
  if (!(bits() & kMutable)) return HxAny(this);
  return _wide ? makeString(_wide, _length) : makeString(_narrow, _length);
}

void BufferString::reserve(HxUInteger capacity) {
  if (capacity <= _capacity) return;
  if (_wide) {
    _wide = resized(_wide, capacity);
  } else if (_narrow == ownRoom()) {
    char* const narrow = resized<char>(nullptr, capacity);
    std::memcpy(narrow, _narrow, _length);
    _narrow = narrow;
  } else {
    _narrow = resized(_narrow, capacity);
  }
  _capacity = capacity;
}

void BufferString::widen() {
  HxUniChar* wide = resized<HxUniChar>(nullptr, std::max(_capacity, kLeastCapacity));
  widenBytes(_narrow, _length, wide);
  freeNarrow();
  _narrow = nullptr;
  _wide = wide;
  _capacity = std::max(_capacity, kLeastCapacity);
}

// Replaces the range by room for `length` units. Returns the room.
template <class Unit>
Unit* BufferString::openGap(Unit*& units, HxRange range, HxUInteger length) {
  forgetSequence(this);
  const HxUInteger newLength = _length - range.length + length;
  if (newLength > _capacity) reserve(std::max({newLength, _capacity * 2, kLeastCapacity}));
  const HxUInteger tail = _length - HxMaxRange(range);
  if (tail > 0 && length != range.length) {
    std::memmove(units + range.location + length, units + HxMaxRange(range), tail * sizeof(Unit));
  }
  _length = newLength;
  return units + range.location;
}

void BufferString::replaceWithBytes(HxRange range, const char* bytes, HxUInteger length) {
  if (_wide) {
    widenBytes(bytes, length, openGap(_wide, range, length));
  } else if (char* place = openGap(_narrow, range, length); length > 0) {
    std::memcpy(place, bytes, length);
  }
}

void BufferString::replaceWithUnits(HxRange range, const HxUniChar* units, HxUInteger length) {
  if (!_wide && isASCII(units, length)) {
    narrowUnits(units, length, openGap(_narrow, range, length));
    return;
  }
  if (!_wide) widen();
  HxUniChar* place = openGap(_wide, range, length);
  if (length > 0) std::memcpy(place, units, length * sizeof(HxUniChar));
}

void BufferString::replace(HxRange range, const HxString& string) {
  // A mutable string is copied first: it may be this one, or a view of it.
  const HxString text = string.copy();
  const Characters characters(text);
  if (characters.isNarrow()) {
    replaceWithBytes(range, characters.narrow(), characters.length());
  } else {
    replaceWithUnits(range, characters.wide(), characters.length());
  }
}

}  // namespace rondel::internal
