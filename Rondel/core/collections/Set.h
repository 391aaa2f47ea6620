// SPDX-License-Identifier: MIT
//
// Unordered collections in which every object occurs once, by isEqual and hash.
//
//   HxSet seen = HxSet::initWithArray(words);
//   if (seen.containsObject("-c"_hx)) ...
//
// A set holds the objects themselves, not copies: the value of a member must not change. If the
// isEqual or hash of an object changes the set that asks it, the operation may raise
// HxInternalInconsistencyException. They must not drop the set. Sets never hold nil. On a nil set
// every operation returns 0, false, nil or does nothing.
//
// Nesting. Members may be containers, nested to any depth. isEqual and the description have the
// bounds of HxArrayObject; see ArrayObject.h.
//
// Immutable sets may be used on any thread.
#pragma once

#include <initializer_list>

#include "Rondel/core/collections/Enumerator.h"

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
  // Returns the objects of an array, each once; an empty set for nil.
  static HxSet initWithArray(const HxArray& array);
  // Returns the objects, each once, without nils.
  static HxSet initWithObjects(std::initializer_list<HxAny> objects);

  HxUInteger count() const;
  bool isEmpty() const { return count() == 0; }
  bool containsObject(const HxHandle& object) const { return !member(object).isNil(); }
  // Returns the object of the set that is equal to this one, or nil.
  HxAny member(const HxHandle& object) const;
  template <std::derived_from<HxHandle> H>
  H member(const HxHandle& object) const {
    return as<H>(member(object));
  }
  // Returns the objects in no particular order.
  HxArray allObjects() const;
  // Returns an enumerator of every object once, nil on nil. It keeps the set alive. Its nextObject
  // raises HxInternalInconsistencyException if the set was changed meanwhile.
  HxEnumerator objectEnumerator() const;
  bool isEqualToSet(const HxSet& other) const { return isEqual(other); }

  // Returns the set itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxSet copy() const;
  [[nodiscard]] HxMutableSet mutableCopy() const;

  // Iterates over every object once, by an enumerator.
  class Iterator {
   public:
    using value_type = HxAny;
    using difference_type = std::ptrdiff_t;
    Iterator() noexcept = default;
    explicit Iterator(HxEnumerator objects) : _objects(std::move(objects)) { ++*this; }
    const HxAny& operator*() const noexcept { return _object; }
    const HxAny* operator->() const noexcept { return &_object; }
    Iterator& operator++() {
      _object = _objects.nextObject();
      return *this;
    }
    void operator++(int) { ++*this; }
    // Compares with the end only.
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a._object.object() == b._object.object();
    }

   private:
    HxEnumerator _objects;
    HxAny _object;
  };
  Iterator begin() const { return Iterator(objectEnumerator()); }
  Iterator end() const noexcept { return {}; }
};

class RONDEL_EXPORT HxMutableSet : public HxSet {
 public:
  constexpr HxMutableSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableSet(Unchecked, HxAny any) noexcept : HxSet(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::set, kMutable);
  }
  static HxClass classObject() noexcept;

  // Do as in HxSet, but return a new mutable set.
  static HxMutableSet set();
  static HxMutableSet initWithArray(const HxArray& array);
  static HxMutableSet initWithObjects(std::initializer_list<HxAny> objects);

  // Adds an object. Does nothing if it is nil or an equal object is a member.
  void addObject(const HxHandle& object);
  void addObjectsFromArray(const HxArray& array);
  void removeObject(const HxHandle& object);
  void removeAllObjects();
};

}  // namespace rondel
