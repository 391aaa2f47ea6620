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

class RONDEL_EXPORT HxSet : public HxHandle {
 public:
  constexpr HxSet() noexcept = default;
  constexpr HxSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxSet(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
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
  bool containsObject(const HxHandle& object) const { return !member(object).isNil(); }
  // The object of the set that is equal to this one, or nil.
  HxAny member(const HxHandle& object) const;
  // In no particular order.
  HxArray allObjects() const;
  bool isEqualToSet(const HxSet& other) const { return isEqual(other); }

  // The set itself when immutable, else an immutable copy.
  HxSet copy() const;
  HxMutableSet mutableCopy() const;
};

class RONDEL_EXPORT HxMutableSet : public HxSet {
 public:
  constexpr HxMutableSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableSet(Unchecked, HxAny any) noexcept : HxSet(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::set, kMutable);
  }
  static HxClass classObject() noexcept;

  static HxMutableSet set();
  static HxMutableSet initWithArray(const HxArray& array);
  static HxMutableSet initWithObjects(std::initializer_list<HxAny> objects);

  // Nothing when an equal object is there already.
  void addObject(const HxHandle& object);
  void addObjectsFromArray(const HxArray& array);
  void removeObject(const HxHandle& object);
  void removeAllObjects();
};

}  // namespace rondel
