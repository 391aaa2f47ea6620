// SPDX-License-Identifier: MIT
//
// Ordered collections of objects.
//
//   HxArray words = HxArray::arrayWithObjects({"cc"_hx, "-c"_hx});
//   for (const HxAny& word : words) HxLog("%@"_hx, word);
//   HxString first = words.objectAtIndex<HxString>(0);
//
// An array never holds nil: adding nil adds nothing. On a nil array every operation returns 0,
// false, nil or does nothing. A loop over it runs zero times. An index or a range beyond the end
// raises HxRangeException.
//
// A loop over any collection, an index set or a string keeps it alive: its body may drop the
// variable. Changing a mutable array in a loop over it is an error of the caller. Adding to it may
// move its objects. An operation that asks the objects for equality or a description takes the
// array as it is at each object.
//
// Any class derived from HxArrayObject that supplies count and objectAtIndex works as an array; see
// ArrayObject.h. Immutable arrays may be used on any thread.
#pragma once

#include <initializer_list>

#include "Rondel/core/collections/ArrayObject.h"

namespace rondel {

class HxIndexSet;
class HxMutableArray;
template <std::derived_from<HxHandle> H>
class HxEach;

class RONDEL_EXPORT HxArray : public HxHandle {
 public:
  constexpr HxArray() noexcept = default;
  constexpr HxArray(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxArray(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  // Wraps an object of your own array class; see ArrayObject.h. Nil makes nil.
  template <std::derived_from<HxArrayObject> T>
  explicit HxArray(const Ref<T>& object) noexcept : HxHandle(object) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::array;
  }
  // Returns the class of all arrays. That of HxMutableArray is derived from it.
  static HxClass classObject() noexcept { return HxArrayObject::classObject(); }

  static HxArray array();
  static HxArray arrayWithObject(const HxHandle& object);
  // Returns the objects in order, without nils.
  static HxArray arrayWithObjects(std::initializer_list<HxAny> objects);
  static HxArray initWithObjects(std::initializer_list<HxAny> objects) {
    return arrayWithObjects(objects);
  }
  // Returns `count` objects in order, without nils; an empty array for null.
  static HxArray arrayWithObjects(const HxAny* objects, HxUInteger count);
  static HxArray initWithObjects(const HxAny* objects, HxUInteger count) {
    return arrayWithObjects(objects, count);
  }
  // Returns a new array of the same objects; an empty one for nil.
  static HxArray arrayWithArray(const HxArray& array);
  static HxArray initWithArray(const HxArray& array) { return arrayWithArray(array); }

  HxUInteger count() const { return _object ? arrayObject()->count() : 0; }
  bool isEmpty() const { return count() == 0; }
  HxAny objectAtIndex(HxUInteger index) const;
  // Returns the same as a handle of type H, nil if the object is of another kind.
  template <std::derived_from<HxHandle> H>
  H objectAtIndex(HxUInteger index) const {
    return as<H>(objectAtIndex(index));
  }
  // Return the object at an end; nil if the array is empty.
  HxAny firstObject() const;
  HxAny lastObject() const;
  template <std::derived_from<HxHandle> H>
  H firstObject() const {
    return as<H>(firstObject());
  }
  template <std::derived_from<HxHandle> H>
  H lastObject() const {
    return as<H>(lastObject());
  }
  bool containsObject(const HxHandle& object) const { return indexOfObject(object) != HxNotFound; }
  // Returns the first index of an equal object, HxNotFound if there is none, also for nil.
  HxUInteger indexOfObject(const HxHandle& object) const;
  // Copies all objects, or those of a range, to `buffer`, which has room for them.
  void getObjects(HxAny* buffer) const;
  void getObjects(HxAny* buffer, HxRange range) const;
  HxArray subarrayWithRange(HxRange range) const;
  // Returns the objects at the indexes, in order of index.
  HxArray objectsAtIndexes(const HxIndexSet& indexes) const;
  [[nodiscard]] HxArray arrayByAddingObject(const HxHandle& object) const;
  [[nodiscard]] HxArray arrayByAddingObjectsFromArray(const HxArray& other) const;
  // Returns the descriptions of the objects with the separator between them; the empty string for
  // an empty array. A nil separator is an empty one.
  [[nodiscard]] HxString componentsJoinedByString(const HxString& separator) const;
  // Returns the objects sorted by an operation that compares two objects, such as "compare:". It
  // returns a number, negative if the receiver comes first. Stable. If the operation is no order,
  // the result is some order of the same objects. Raises HxInvalidArgumentException if an object
  // has no such operation.
  [[nodiscard]] HxArray sortedArrayUsingSelector(HxSelector comparator) const;
  bool isEqualToArray(const HxArray& other) const { return isEqual(other); }
  // Calls the operation on every object in order.
  void makeObjectsPerformSelector(HxSelector selector) const;
  void makeObjectsPerformSelector(HxSelector selector, const HxHandle& argument) const;

  // Returns the array itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxArray copy() const;
  [[nodiscard]] HxMutableArray mutableCopy() const;

  // Keeps the array alive while it is iterated: the body of a loop may drop it. What an iterator
  // refers to is valid until the iterator advances or goes.
  class Iterator {
   public:
    using value_type = HxAny;
    using difference_type = std::ptrdiff_t;
    Iterator() noexcept = default;
    Iterator(const HxArrayObject* array, HxUInteger index)
        : _array(array), _objects(array ? array->contiguousObjects() : nullptr), _index(index) {}
    // Makes the end: an index without an array.
    explicit Iterator(HxUInteger index) noexcept : _index(index) {}
    const HxAny& operator*() const {
      if (_objects) return _objects[_index];
      _made = array()->objectAtIndex(_index);
      return _made;
    }
    const HxAny* operator->() const { return &**this; }
    Iterator& operator++() noexcept {
      ++_index;
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++_index;
      return before;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a._index == b._index;
    }

   private:
    const HxArrayObject* array() const noexcept {
      return static_cast<const HxArrayObject*>(_array.object());
    }
    HxAny _array;
    const HxAny* _objects = nullptr;  // if they lie in one run
    HxUInteger _index = 0;
    mutable HxAny _made;  // if they do not
  };
  Iterator begin() const { return {arrayObject(), 0}; }
  Iterator end() const { return Iterator(count()); }

  // Returns the objects as handles of type H, nil for one of another kind.
  //
  //   for (const HxString& line : lines.each<HxString>()) ...
  template <std::derived_from<HxHandle> H>
  HxEach<H> each() const;

 protected:
  const HxArrayObject* arrayObject() const noexcept {
    return static_cast<const HxArrayObject*>(_object);
  }
};

// What HxArray::each returns. Keeps the array alive.
template <std::derived_from<HxHandle> H>
class HxEach {
 public:
  class Iterator {
   public:
    using value_type = H;
    using difference_type = std::ptrdiff_t;
    Iterator() noexcept = default;
    explicit Iterator(HxArray::Iterator object) noexcept : _object(std::move(object)) {}
    H operator*() const { return as<H>(*_object); }
    Iterator& operator++() noexcept {
      ++_object;
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++_object;
      return before;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a._object == b._object;
    }

   private:
    HxArray::Iterator _object;
  };
  explicit HxEach(HxArray array) noexcept : _array(std::move(array)) {}
  Iterator begin() const { return Iterator(_array.begin()); }
  Iterator end() const { return Iterator(_array.end()); }

 private:
  HxArray _array;
};

template <std::derived_from<HxHandle> H>
HxEach<H> HxArray::each() const {
  return HxEach<H>(*this);
}

// The mutable form.
class RONDEL_EXPORT HxMutableArray : public HxArray {
 public:
  constexpr HxMutableArray(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableArray(Unchecked, HxAny any) noexcept : HxArray(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::array, kMutable);
  }
  static HxClass classObject() noexcept;

  // Do as in HxArray, but return a new mutable array.
  static HxMutableArray array();
  // Return an empty array. The capacity is advice: an array grows beyond it. Room for very many
  // objects is not taken before it is used.
  static HxMutableArray arrayWithCapacity(HxUInteger capacity);
  static HxMutableArray initWithCapacity(HxUInteger capacity) {
    return arrayWithCapacity(capacity);
  }
  static HxMutableArray arrayWithObject(const HxHandle& object);
  static HxMutableArray arrayWithObjects(std::initializer_list<HxAny> objects);
  static HxMutableArray initWithObjects(std::initializer_list<HxAny> objects) {
    return arrayWithObjects(objects);
  }
  static HxMutableArray arrayWithObjects(const HxAny* objects, HxUInteger count);
  static HxMutableArray initWithObjects(const HxAny* objects, HxUInteger count) {
    return arrayWithObjects(objects, count);
  }
  static HxMutableArray arrayWithArray(const HxArray& array);
  static HxMutableArray initWithArray(const HxArray& array) { return arrayWithArray(array); }

  // Appends an object. A nil one adds nothing.
  void addObject(const HxHandle& object) { addObject(HxAny(object)); }
  void addObject(HxHandle&& object);
  // Appends the objects of another array, which may be this one.
  void addObjectsFromArray(const HxArray& other);
  // Inserts an object at an index from 0 to count(). A nil one adds nothing.
  void insertObject(const HxHandle& object, HxUInteger index);
  // Inserts each object at its index in the result. Raises HxRangeException if an index is beyond
  // the end of that, and HxInvalidArgumentException if the counts differ.
  void insertObjects(const HxArray& objects, const HxIndexSet& indexes);
  // Replaces the object at an index. A nil one leaves the array as it is.
  void replaceObjectAtIndex(HxUInteger index, const HxHandle& object);
  void removeObjectAtIndex(HxUInteger index);
  void removeLastObject();  // does nothing if the array is empty
  void removeAllObjects();
  // Removes objects. If an index is beyond the end, raises HxRangeException and removes nothing.
  void removeObjectsAtIndexes(const HxIndexSet& indexes);
  // Sorts as sortedArrayUsingSelector does. If the comparator raises, the array is as before.
  void sortUsingSelector(HxSelector comparator);
};

}  // namespace rondel
