// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Array.h"

#include <algorithm>
#include <vector>

#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/collections/internal/Containers.h"
#include "Rondel/core/collections/internal/MergeSort.h"
#include "Rondel/core/collections/internal/ObjectKeys.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"

namespace rondel {

using internal::ArrayBuilder;
using internal::ArrayStorage;
using internal::checkIndex;
using internal::checkRange;
using internal::equalObjects;

namespace {

using Iterator = HxArray::Iterator;

ArrayStorage* storageOf(const HxMutableArray& array) noexcept {
  return static_cast<ArrayStorage*>(array.object());
}

// Returns a new array of `count` objects from an iterator on.
HxArray gather(Iterator object, HxUInteger count) {
  ArrayBuilder result(count);
  for (HxUInteger i = 0; i < count; ++i, ++object) result.append(*object);
  return result.finish();
}

// Returns the same objects in a built-in array that does not change: reading them runs none of the
// caller's code.
HxArray snapshot(const HxArray& array) {
  return internal::ObjectBits::isBuiltIn(array.object()) ? array.copy()
                                                         : HxArray::arrayWithArray(array);
}

HxMutableArray makeMutable(HxUInteger capacity) {
  return HxMutableArray(HxAny::Unchecked{}, ArrayStorage::makeHandle(capacity, true));
}

}  // namespace

// ---- Array objects ----------------------------------------------------------------------------

HxClass HxArrayObject::classObject() noexcept {
  static const HxClassInfo info{"HxArray", HxObject::classObject().info(),
                                [] { return HxAny(HxArray::array()); }};
  return HxClass(&info);
}

HxClass HxMutableArray::classObject() noexcept {
  static const HxClassInfo info{"HxMutableArray", HxArrayObject::classObject().info(),
                                [] { return HxAny(HxMutableArray::array()); }};
  return HxClass(&info);
}

bool HxArrayObject::isEqual(const HxObject& other) const {
  return this == &other ||
         (other.typeID() == HxTypeID::array && internal::areEqualContainers(*this, other));
}

HxUInteger HxArrayObject::hash() const { return internal::hashOfContainer(*this); }

HxString HxArrayObject::description() const { return internal::descriptionOfContainer(*this); }

HxAny HxArrayObject::copy() const { return gather(Iterator(this, 0), count()); }

HxAny HxArrayObject::mutableCopy() const {
  HxMutableArray result = makeMutable(count());
  result.addObjectsFromArray(HxArray(HxAny::Unchecked{}, HxAny(this)));
  return result;
}

// ---- Making arrays ----------------------------------------------------------------------------

HxArray HxArray::array() { return ArrayStorage::empty(); }

HxArray HxArray::arrayWithObject(const HxHandle& object) {
  ArrayBuilder result(1);
  result.append(object);
  return result.finish();
}

HxArray HxArray::arrayWithObjects(std::initializer_list<HxAny> objects) {
  return arrayWithObjects(objects.begin(), objects.size());
}

HxArray HxArray::arrayWithObjects(const HxAny* objects, HxUInteger count) {
  if (!objects) return array();
  ArrayBuilder result(count);
  for (HxUInteger i = 0; i < count; ++i) result.append(objects[i]);
  return result.finish();
}

HxArray HxArray::arrayWithArray(const HxArray& array) {
  return gather(array.begin(), array.count());
}

// ---- Reading ----------------------------------------------------------------------------------

HxAny HxArray::objectAtIndex(HxUInteger index) const {
  if (!_object) return nullptr;
  checkIndex("-[HxArray objectAtIndex:]", index, count());
  return arrayObject()->objectAtIndex(index);
}

HxAny HxArray::firstObject() const {
  return count() > 0 ? arrayObject()->objectAtIndex(0) : HxAny();
}

HxAny HxArray::lastObject() const {
  const HxUInteger length = count();
  return length > 0 ? arrayObject()->objectAtIndex(length - 1) : HxAny();
}

HxUInteger HxArray::indexOfObject(const HxHandle& object) const {
  if (!_object || !object) return HxNotFound;
  const HxArray array = *this;
  if (internal::isBuiltInConstant(array.object())) {
    const HxUInteger length = array.count();
    Iterator candidate = array.begin();
    for (HxUInteger i = 0; i < length; ++i, ++candidate) {
      if (equalObjects(candidate->object(), object.object())) return i;
    }
    return HxNotFound;
  }
  // The isEqual of an object may change the array.
  for (HxUInteger i = 0; i < array.count(); ++i) {
    const HxAny candidate = array.arrayObject()->objectAtIndex(i);
    if (equalObjects(candidate.object(), object.object())) return i;
  }
  return HxNotFound;
}

void HxArray::getObjects(HxAny* buffer) const { getObjects(buffer, {0, count()}); }

void HxArray::getObjects(HxAny* buffer, HxRange range) const {
  if (!_object) return;
  checkRange("-[HxArray getObjects:range:]", range, count());
  std::copy_n(Iterator(arrayObject(), range.location), range.length, buffer);
}

HxArray HxArray::subarrayWithRange(HxRange range) const {
  if (!_object) return nullptr;
  checkRange("-[HxArray subarrayWithRange:]", range, count());
  return gather(Iterator(arrayObject(), range.location), range.length);
}

HxArray HxArray::objectsAtIndexes(const HxIndexSet& indexes) const {
  if (!_object) return nullptr;
  ArrayBuilder result;
  if (indexes.isEmpty()) return result.finish();
  checkIndex("-[HxArray objectsAtIndexes:]", indexes.lastIndex(), count());
  result.reserve(indexes.count());
  for (HxUInteger index : indexes) result.append(arrayObject()->objectAtIndex(index));
  return result.finish();
}

HxArray HxArray::arrayByAddingObject(const HxHandle& object) const {
  return arrayByAddingObjectsFromArray(arrayWithObject(object));
}

HxArray HxArray::arrayByAddingObjectsFromArray(const HxArray& other) const {
  if (!_object) return nullptr;
  ArrayBuilder result(count() + other.count());
  for (const HxAny& object : *this) result.append(object);
  for (const HxAny& object : other) result.append(object);
  return result.finish();
}

HxString HxArray::componentsJoinedByString(const HxString& separator) const {
  if (!_object) return nullptr;
  const HxArray objects = snapshot(*this);  // a description may change the array
  std::vector<HxString> texts;
  texts.reserve(objects.count());
  for (const HxAny& object : objects) {
    HxString text = as<HxString>(object);
    texts.push_back(text ? std::move(text) : object.description());
  }
  std::vector<const HxString*> parts;
  parts.reserve(2 * texts.size());
  for (const HxString& text : texts) {
    if (!parts.empty()) parts.push_back(&separator);
    parts.push_back(&text);
  }
  return HxString::concatenate(parts.data(), parts.size());
}

// ---- Sorting and calling by name --------------------------------------------------------------

namespace {

// Objects whose "compare:" is known to be their virtual operation.
bool comparesDirectly(const HxObject* object) noexcept {
  const HxTypeID type = object->typeID();
  return type == HxTypeID::string || type == HxTypeID::number || type == HxTypeID::date;
}

// Returns the objects in order, still owned by the array.
std::vector<HxObject*> sortedObjects(const HxArray& array, HxSelector comparator) {
  std::vector<HxObject*> objects;
  objects.reserve(array.count());
  for (const HxAny& object : array) objects.push_back(object.object());
  const bool isPlainCompare = comparator == HxSelector("compare:");
  internal::mergeSort(objects, [&](const HxObject* a, const HxObject* b) {
    if (isPlainCompare && comparesDirectly(a)) return a->compare(*b) < 0;
    return as<HxNumber>(a->performSelector(comparator, HxAny(b))).integerValue() < 0;
  });
  return objects;
}

}  // namespace

HxArray HxArray::sortedArrayUsingSelector(HxSelector comparator) const {
  if (!_object) return nullptr;
  const HxArray unsorted = snapshot(*this);
  ArrayBuilder result(unsorted.count());
  for (HxObject* object : sortedObjects(unsorted, comparator)) result.append(HxAny(object));
  return result.finish();
}

void HxMutableArray::sortUsingSelector(HxSelector comparator) {
  if (!isForChange("-[HxMutableArray sortUsingSelector:]", HxTypeID::array)) return;
  const HxArray sorted = sortedArrayUsingSelector(comparator);
  removeAllObjects();
  addObjectsFromArray(sorted);
}

void HxArray::makeObjectsPerformSelector(HxSelector selector) const {
  makeObjectsPerformSelector(selector, nullptr);
}

void HxArray::makeObjectsPerformSelector(HxSelector selector, const HxHandle& argument) const {
  if (!_object) return;
  const HxArray objects = snapshot(*this);  // the operation may change the array
  for (const HxAny& object : objects) object.performSelector(selector, argument);
}

HxArray HxArray::copy() const { return HxArray(Unchecked{}, HxHandle::copy()); }

HxMutableArray HxArray::mutableCopy() const {
  return HxMutableArray(Unchecked{}, HxHandle::mutableCopy());
}

// ---- Changing ---------------------------------------------------------------------------------

HxMutableArray HxMutableArray::array() { return makeMutable(0); }

HxMutableArray HxMutableArray::arrayWithCapacity(HxUInteger capacity) {
  constexpr HxUInteger kMostAtOnce = HxUInteger{1} << 20;
  return makeMutable(std::min(capacity, kMostAtOnce));
}

HxMutableArray HxMutableArray::arrayWithObject(const HxHandle& object) {
  HxMutableArray result = makeMutable(1);
  result.addObject(object);
  return result;
}

HxMutableArray HxMutableArray::arrayWithObjects(std::initializer_list<HxAny> objects) {
  return arrayWithObjects(objects.begin(), objects.size());
}

HxMutableArray HxMutableArray::arrayWithObjects(const HxAny* objects, HxUInteger count) {
  if (!objects) return array();
  HxMutableArray result = makeMutable(count);
  for (HxUInteger i = 0; i < count; ++i) result.addObject(objects[i]);
  return result;
}

HxMutableArray HxMutableArray::arrayWithArray(const HxArray& array) {
  return array ? array.mutableCopy() : HxMutableArray::array();
}

void HxMutableArray::addObject(HxHandle&& object) {
  if (isForChange("-[HxMutableArray addObject:]", HxTypeID::array) && object) {
    storageOf(*this)->append(HxAny(std::move(object)));
  }
}

void HxMutableArray::addObjectsFromArray(const HxArray& other) {
  if (isForChange("-[HxMutableArray addObjectsFromArray:]", HxTypeID::array) && other) {
    storageOf(*this)->append(*static_cast<HxArrayObject*>(other.object()));
  }
}

void HxMutableArray::insertObject(const HxHandle& object, HxUInteger index) {
  if (!isForChange("-[HxMutableArray insertObject:atIndex:]", HxTypeID::array) || !object) return;
  checkIndex("-[HxMutableArray insertObject:atIndex:]", index, count() + 1);
  storageOf(*this)->insert(HxAny(object), index);
}

void HxMutableArray::insertObjects(const HxArray& objects, const HxIndexSet& indexes) {
  if (!isForChange("-[HxMutableArray insertObjects:atIndexes:]", HxTypeID::array)) return;
  const HxUInteger added = objects.count();
  if (added != indexes.count()) {
    HxException::raise(HxInvalidArgumentException,
                       "-[HxMutableArray insertObjects:atIndexes:]: %lu objects, %lu indexes"_hx,
                       added, indexes.count());
  }
  if (added == 0) return;
  checkIndex("-[HxMutableArray insertObjects:atIndexes:]", indexes.lastIndex(), count() + added);
  storageOf(*this)->insert(snapshot(objects), indexes);
}

void HxMutableArray::replaceObjectAtIndex(HxUInteger index, const HxHandle& object) {
  if (!isForChange("-[HxMutableArray replaceObjectAtIndex:withObject:]", HxTypeID::array)) return;
  checkIndex("-[HxMutableArray replaceObjectAtIndex:withObject:]", index, count());
  if (object) storageOf(*this)->replace(index, HxAny(object));
}

void HxMutableArray::removeObjectAtIndex(HxUInteger index) {
  if (!isForChange("-[HxMutableArray removeObjectAtIndex:]", HxTypeID::array)) return;
  checkIndex("-[HxMutableArray removeObjectAtIndex:]", index, count());
  storageOf(*this)->take(index);
}

void HxMutableArray::removeLastObject() {
  if (!isForChange("-[HxMutableArray removeLastObject]", HxTypeID::array)) return;
  if (!isEmpty()) storageOf(*this)->take(count() - 1);
}

void HxMutableArray::removeAllObjects() {
  if (isForChange("-[HxMutableArray removeAllObjects]", HxTypeID::array)) {
    storageOf(*this)->removeAll();
  }
}

void HxMutableArray::removeObjectsAtIndexes(const HxIndexSet& indexes) {
  if (!isForChange("-[HxMutableArray removeObjectsAtIndexes:]", HxTypeID::array) ||
      indexes.isEmpty())
    return;
  checkIndex("-[HxMutableArray removeObjectsAtIndexes:]", indexes.lastIndex(), count());
  storageOf(*this)->remove(indexes);
}

}  // namespace rondel
