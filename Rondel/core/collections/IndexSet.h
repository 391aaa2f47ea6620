// SPDX-License-Identifier: MIT
//
// Ordered sets of indexes, kept as ranges.
//
//   HxMutableIndexSet lines = HxMutableIndexSet::indexSet();
//   lines.addIndex(4);
//   for (HxUInteger index : lines) ...
//
// Indexes are from 0 to HxNotFound - 1; others are not added. On nil every operation returns 0,
// false, HxNotFound or nil, or does nothing. Immutable sets may be used on any thread.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxMutableIndexSet;

class RONDEL_EXPORT HxIndexSet : public HxHandle {
 public:
  constexpr HxIndexSet() noexcept = default;
  constexpr HxIndexSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxIndexSet(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::indexSet;
  }

  static HxClass classObject() noexcept;

  static HxIndexSet indexSet();
  static HxIndexSet indexSetWithIndex(HxUInteger index);
  static HxIndexSet indexSetWithIndexesInRange(HxRange range);

  HxUInteger count() const noexcept;
  bool isEmpty() const noexcept { return count() == 0; }
  bool containsIndex(HxUInteger index) const noexcept;
  HxUInteger countOfIndexesInRange(HxRange range) const noexcept;
  // Return the least and the greatest index, HxNotFound if the set is empty.
  HxUInteger firstIndex() const noexcept;
  HxUInteger lastIndex() const noexcept;
  // Returns the first index after this one, HxNotFound if there is none.
  HxUInteger indexGreaterThanIndex(HxUInteger index) const noexcept;
  bool isEqualToIndexSet(const HxIndexSet& other) const { return isEqual(other); }

  // Returns the set itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxIndexSet copy() const;
  [[nodiscard]] HxMutableIndexSet mutableCopy() const;

  // Iterates in ascending order. Keeps the set alive meanwhile.
  class Iterator;
  Iterator begin() const noexcept;
  Iterator end() const noexcept;
};

class HxIndexSet::Iterator {
 public:
  using value_type = HxUInteger;
  using difference_type = std::ptrdiff_t;
  Iterator() noexcept = default;
  Iterator(HxIndexSet set, HxUInteger index) noexcept : _set(std::move(set)), _index(index) {}
  HxUInteger operator*() const noexcept { return _index; }
  Iterator& operator++() noexcept {
    _index = _set.indexGreaterThanIndex(_index);
    return *this;
  }
  Iterator operator++(int) noexcept {
    Iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
    return a._index == b._index;
  }

 private:
  HxIndexSet _set;
  HxUInteger _index = HxNotFound;
};
inline HxIndexSet::Iterator HxIndexSet::begin() const noexcept { return {*this, firstIndex()}; }
inline HxIndexSet::Iterator HxIndexSet::end() const noexcept { return {}; }

class RONDEL_EXPORT HxMutableIndexSet : public HxIndexSet {
 public:
  constexpr HxMutableIndexSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableIndexSet(Unchecked, HxAny any) noexcept : HxIndexSet(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::indexSet, kMutable);
  }
  static HxClass classObject() noexcept;

  // Do as in HxIndexSet, but return a new mutable set.
  static HxMutableIndexSet indexSet();
  static HxMutableIndexSet indexSetWithIndex(HxUInteger index);
  static HxMutableIndexSet indexSetWithIndexesInRange(HxRange range);

  void addIndex(HxUInteger index) { addIndexesInRange({index, 1}); }
  void addIndexesInRange(HxRange range);
  void removeIndex(HxUInteger index) { removeIndexesInRange({index, 1}); }
  void removeIndexesInRange(HxRange range);
  void removeAllIndexes();
};

}  // namespace rondel
