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
