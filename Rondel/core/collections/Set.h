// SPDX-License-Identifier: MIT
//
// Unordered collections in which every object stands once, by isEqual and hash.
//
//   HxSet seen = HxSet::initWithArray(words);
//   if (seen.containsObject("-c"_hx)) ...
//
// A set holds the objects themselves: an object that takes part must not change its value
// meanwhile. Sets never hold nil. On a nil set every operation gives 0, false, nil or does nothing.
// Immutable sets may be used on any thread.
#pragma once

#include <initializer_list>

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxMutableSet;

class RONDEL_EXPORT HxSet : public HxAny {
 public:
  constexpr HxSet() noexcept = default;
  constexpr HxSet(std::nullptr_t) noexcept {}  // NOLINT: nil is written as nullptr
  HxSet(Unchecked, HxAny any) noexcept : HxAny(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::set;
  }

  static HxClass classObject() noexcept;

  static HxSet set();
  // Nil gives an empty set.
  static HxSet initWithArray(const HxArray& array);
  // The objects up to the first nil.
  static HxSet initWithObjects(std::initializer_list<HxAny> objects);

  HxUInteger count() const;
  bool isEmpty() const { return count() == 0; }
  bool containsObject(const HxAny& object) const { return !member(object).isNil(); }
  // The object of the set that is equal to this one, or nil.
  HxAny member(const HxAny& object) const;
  // In no particular order.
  HxArray allObjects() const;
  bool isEqualToSet(const HxSet& other) const { return isEqual(other); }

  // The set itself when immutable, else an immutable copy.
  HxSet copy() const;
  HxMutableSet mutableCopy() const;
};

class RONDEL_EXPORT HxMutableSet : public HxSet {
 public:
  constexpr HxMutableSet() noexcept = default;
  constexpr HxMutableSet(std::nullptr_t) noexcept {}  // NOLINT: nil is written as nullptr
  HxMutableSet(Unchecked, HxAny any) noexcept : HxSet(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return HxSet::canHold(object) && (bitsOf(object) & kMutable) != 0;
  }
  static HxClass classObject() noexcept;

  static HxMutableSet set();
  static HxMutableSet initWithArray(const HxArray& array);
  static HxMutableSet initWithObjects(std::initializer_list<HxAny> objects);

  // Nothing when an equal object is there already.
  void addObject(const HxAny& object);
  void addObjectsFromArray(const HxArray& array);
  void removeObject(const HxAny& object);
  void removeAllObjects();
};

}  // namespace rondel
