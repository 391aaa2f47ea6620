// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/IndexSet.h"

#include <algorithm>
#include <vector>

#include "Rondel/core/collections/internal/ObjectKeys.h"
#include "Rondel/core/text/String.h"

namespace rondel {

namespace {

// The object of every index set: ascending ranges that neither touch nor overlap, none empty.
class IndexSetStorage final : public HxObject {
 public:
  explicit IndexSetStorage(bool isMutable) noexcept
      : HxObject(HxTypeID::indexSet, kBuiltIn | (isMutable ? kMutable : 0)) {}

  HxClass hxClass() const noexcept override;
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const override;

  // Returns the first range that ends after `index`.
  std::vector<HxRange>::const_iterator rangeAtOrAfter(HxUInteger index) const noexcept {
    return std::partition_point(ranges.begin(), ranges.end(),
                                [&](HxRange range) { return HxMaxRange(range) <= index; });
  }
  void add(HxRange range);
  void remove(HxRange range);

  std::vector<HxRange> ranges;
};

// Returns the indexes of a range that a set may hold.
HxRange valid(HxRange range) noexcept {
  if (range.location >= HxNotFound) return {0, 0};
  return {range.location, std::min(range.length, HxNotFound - range.location)};
}

HxUInteger countIn(HxRange a, HxRange b) noexcept {
  const HxUInteger start = std::max(a.location, b.location);
  const HxUInteger end = std::min(HxMaxRange(a), HxMaxRange(b));
  return end > start ? end - start : 0;
}

IndexSetStorage* storageOf(const HxHandle& set) noexcept {
  return static_cast<IndexSetStorage*>(set.object());
}

// The makers fill the storage before they hand out its handle: an immutable set takes nothing
// through a handle.

Ref<IndexSetStorage> makeSet(HxRange range, bool isMutable) {
  auto storage = makeRef<IndexSetStorage>(isMutable);
  const HxRange indexes = valid(range);
  if (indexes.length > 0) storage->add(indexes);
  return storage;
}

Ref<IndexSetStorage> makeSet(const IndexSetStorage& other, bool isMutable) {
  auto storage = makeRef<IndexSetStorage>(isMutable);
  storage->ranges = other.ranges;
  return storage;
}

HxClass IndexSetStorage::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableIndexSet::classObject() : HxIndexSet::classObject();
}

bool IndexSetStorage::isEqual(const HxObject& other) const {
  return other.typeID() == HxTypeID::indexSet &&
         ranges == static_cast<const IndexSetStorage&>(other).ranges;
}

HxUInteger IndexSetStorage::hash() const {
  HxUInteger hash = ranges.size();
  for (HxRange range : ranges) {
    hash = internal::spreadHash(internal::spreadHash(hash ^ range.location) ^ range.length);
  }
  return hash;
}

// "(1-3, 7)"
HxString IndexSetStorage::description() const {
  HxMutableString text = HxMutableString::stringWithString("("_hx);
  for (HxRange range : ranges) {
    if (text.length() > 1) text.appendString(", "_hx);
    text.appendFormat("%lu"_hx, range.location);
    if (range.length > 1) text.appendFormat("-%lu"_hx, HxMaxRange(range) - 1);
  }
  text.appendString(")"_hx);
  return text.copy();
}

HxAny IndexSetStorage::copy() const {
  return bits() & kMutable ? HxAny(makeSet(*this, false)) : HxAny(this);
}

HxAny IndexSetStorage::mutableCopy() const { return makeSet(*this, true); }

// Merges the new range with those that touch it. Sets are mostly filled in ascending order,
// which takes no search.
void IndexSetStorage::add(HxRange range) {
  if (ranges.empty() || HxMaxRange(ranges.back()) < range.location) {
    ranges.push_back(range);
    return;
  }
  const auto first = std::partition_point(ranges.begin(), ranges.end(), [&](HxRange other) {
    return HxMaxRange(other) < range.location;
  });
  const auto last = std::partition_point(
      first, ranges.end(), [&](HxRange other) { return other.location <= HxMaxRange(range); });
  if (first == last) {
    ranges.insert(first, range);
  } else {
    *first = HxUnionRange(range, HxUnionRange(*first, *(last - 1)));
    ranges.erase(first + 1, last);
  }
}

void IndexSetStorage::remove(HxRange range) {
  const HxUInteger end = HxMaxRange(range);
  auto first = ranges.begin() + (rangeAtOrAfter(range.location) - ranges.cbegin());
  if (first == ranges.end() || first->location >= end) return;
  const auto last = std::partition_point(first, ranges.end(),
                                         [&](HxRange other) { return other.location < end; });
  const HxRange before{first->location, range.location - std::min(first->location, range.location)};
  const HxUInteger oldEnd = HxMaxRange(*(last - 1));
  const HxRange after{end, oldEnd - std::min(oldEnd, end)};
  first = ranges.erase(first, last);
  if (after.length > 0) first = ranges.insert(first, after);
  if (before.length > 0) ranges.insert(first, before);
}

}  // namespace

HxClass HxIndexSet::classObject() noexcept {
  static const HxClassInfo info{"HxIndexSet", HxObject::classObject().info(),
                                [] { return HxAny(HxIndexSet::indexSet()); }};
  return HxClass(&info);
}

HxClass HxMutableIndexSet::classObject() noexcept {
  static const HxClassInfo info{"HxMutableIndexSet", HxIndexSet::classObject().info(),
                                [] { return HxAny(HxMutableIndexSet::indexSet()); }};
  return HxClass(&info);
}

HxIndexSet HxIndexSet::indexSet() { return indexSetWithIndexesInRange(HxRange()); }

HxIndexSet HxIndexSet::indexSetWithIndex(HxUInteger index) {
  return indexSetWithIndexesInRange({index, 1});
}

HxIndexSet HxIndexSet::indexSetWithIndexesInRange(HxRange range) {
  return HxIndexSet(Unchecked{}, makeSet(range, false));
}

HxUInteger HxIndexSet::count() const noexcept { return countOfIndexesInRange({0, HxNotFound}); }

bool HxIndexSet::containsIndex(HxUInteger index) const noexcept {
  return countOfIndexesInRange({index, 1}) > 0;
}

HxUInteger HxIndexSet::countOfIndexesInRange(HxRange range) const noexcept {
  if (!_object) return 0;
  const IndexSetStorage& storage = *storageOf(*this);
  const HxRange wanted = valid(range);
  HxUInteger count = 0;
  for (auto i = storage.rangeAtOrAfter(wanted.location);
       i != storage.ranges.end() && i->location < HxMaxRange(wanted); ++i) {
    count += countIn(*i, wanted);
  }
  return count;
}

HxUInteger HxIndexSet::firstIndex() const noexcept {
  if (!_object || storageOf(*this)->ranges.empty()) return HxNotFound;
  return storageOf(*this)->ranges.front().location;
}

HxUInteger HxIndexSet::lastIndex() const noexcept {
  if (!_object || storageOf(*this)->ranges.empty()) return HxNotFound;
  return HxMaxRange(storageOf(*this)->ranges.back()) - 1;
}

HxUInteger HxIndexSet::indexGreaterThanIndex(HxUInteger index) const noexcept {
  if (!_object || index >= HxNotFound) return HxNotFound;
  const IndexSetStorage& storage = *storageOf(*this);
  const auto range = storage.rangeAtOrAfter(index + 1);
  return range == storage.ranges.end() ? HxNotFound : std::max(range->location, index + 1);
}

HxIndexSet HxIndexSet::copy() const { return HxIndexSet(Unchecked{}, HxHandle::copy()); }

HxMutableIndexSet HxIndexSet::mutableCopy() const {
  return HxMutableIndexSet(Unchecked{}, HxHandle::mutableCopy());
}

HxMutableIndexSet HxMutableIndexSet::indexSet() { return indexSetWithIndexesInRange(HxRange()); }

HxMutableIndexSet HxMutableIndexSet::indexSetWithIndex(HxUInteger index) {
  return indexSetWithIndexesInRange({index, 1});
}

HxMutableIndexSet HxMutableIndexSet::indexSetWithIndexesInRange(HxRange range) {
  return HxMutableIndexSet(Unchecked{}, makeSet(range, true));
}

void HxMutableIndexSet::addIndexesInRange(HxRange range) {
  if (!isForChange("-[HxMutableIndexSet addIndexesInRange:]", HxTypeID::indexSet)) return;
  const HxRange added = valid(range);
  if (added.length > 0) storageOf(*this)->add(added);
}

void HxMutableIndexSet::removeIndexesInRange(HxRange range) {
  if (!isForChange("-[HxMutableIndexSet removeIndexesInRange:]", HxTypeID::indexSet)) return;
  const HxRange removed = valid(range);
  if (removed.length > 0) storageOf(*this)->remove(removed);
}

void HxMutableIndexSet::removeAllIndexes() {
  if (isForChange("-[HxMutableIndexSet removeAllIndexes]", HxTypeID::indexSet)) {
    storageOf(*this)->ranges.clear();
  }
}

}  // namespace rondel
