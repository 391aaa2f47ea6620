// SPDX-License-Identifier: MIT
//
// Comparing and hashing objects without virtual calls for built-in strings, which is what most
// elements and nearly all keys are.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/text/internal/FlatString.h"
#include "Rondel/core/text/internal/TextHash.h"

namespace rondel::internal {

// The bits of an object that handles may read.
class ObjectBits : private HxHandle {
 public:
  static bool isFlatString(const HxObject* object) noexcept {
    return (bitsOf(object) & (kFlatNarrow | kFlatWide)) != 0;
  }
  // Returns whether an object is a flat string of the same width as this one.
  static bool isFlatLike(const FlatString& text, const HxObject* object) noexcept {
    return ((bitsOf(&text) ^ bitsOf(object)) & (kFlatNarrow | kFlatWide)) == 0;
  }
  static bool isBuiltIn(const HxObject* object) noexcept {
    return (bitsOf(object) & kBuiltIn) != 0;
  }
  static bool isMutable(const HxObject* object) noexcept {
    return (bitsOf(object) & kMutable) != 0;
  }
};

inline const FlatString* flatString(const HxObject* object) noexcept {
  return static_cast<const FlatString*>(object);
}

// Returns whether an object is one of the library's own that never changes.
inline bool isBuiltInConstant(const HxObject* object) noexcept {
  return ObjectBits::isBuiltIn(object) && !ObjectBits::isMutable(object);
}

// Most keys are short: a call would cost more than comparing them.
inline constexpr std::size_t kMostBytesOfShortRun = 32;
// Returns the bits in which two words differ.
template <class Word>
Word differentBits(const char* a, const char* b, std::size_t at) noexcept {
  Word left;
  Word right;
  std::memcpy(&left, a + at, sizeof(Word));
  std::memcpy(&right, b + at, sizeof(Word));
  return left ^ right;
}
// Returns whether two short runs are the same.
inline bool areSameShortRuns(const char* a, const char* b, std::size_t count) noexcept {
  const auto eight = [a, b](std::size_t at) { return differentBits<std::uint64_t>(a, b, at); };
  const auto four = [a, b](std::size_t at) { return differentBits<std::uint32_t>(a, b, at); };
  if (count >= 16) return (eight(0) | eight(8) | eight(count - 16) | eight(count - 8)) == 0;
  if (count >= 8) return (eight(0) | eight(count - 8)) == 0;
  if (count >= 4) return (four(0) | four(count - 4)) == 0;
  return count == 0 ||
         (a[0] == b[0] && a[count / 2] == b[count / 2] && a[count - 1] == b[count - 1]);
}

// Returns isEqual of objects that are not nil.
inline bool equalObjects(const HxObject* a, const HxObject* b) {
  if (a == b) return true;
  if (ObjectBits::isFlatString(a) && ObjectBits::isFlatString(b)) {
    return flatString(a)->hasSameUnits(*flatString(b));
  }
  return a->isEqual(*b);
}

// Returns the hash that tables use, spread over all bits. The hash of a string is spread already;
// its lowest bit is always set and carries no information.
inline std::size_t tableHash(const HxObject* object) {
  if (ObjectBits::isFlatString(object)) return flatString(object)->flatHash() >> 1;
  if (object->typeID() == HxTypeID::string) return object->hash() >> 1;
  return spreadHash(object->hash());
}

}  // namespace rondel::internal
