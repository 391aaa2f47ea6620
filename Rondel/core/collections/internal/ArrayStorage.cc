// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/ArrayStorage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Rondel/core/collections/IndexSet.h"

namespace rondel::internal {

namespace {

// Handles may be moved as bytes: each is one pointer, and no other pointer refers to it.
void moveHandles(HxAny* to, const HxAny* from, HxUInteger count) noexcept {
  std::memmove(static_cast<void*>(to), static_cast<const void*>(from), count * sizeof(HxAny));
}

void* allocate(void* old, HxUInteger headerBytes, HxUInteger capacity) {
  constexpr HxUInteger kMaximumCapacity = HxNotFound / (2 * sizeof(HxAny));
  if (capacity > kMaximumCapacity) throw std::bad_array_new_length();
  void* block = std::realloc(old, headerBytes + capacity * sizeof(HxAny));
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

ArrayStorage::ArrayStorage(HxUInteger capacity, std::uint32_t flags) noexcept
    : HxArrayObject(kBuiltIn | flags), _objects(ownRoom()), _capacity(capacity) {}

ArrayStorage::~ArrayStorage() {
  removeAll();
  if (_objects != ownRoom()) std::free(_objects);
}

void ArrayStorage::operator delete(ArrayStorage* array, std::destroying_delete_t) noexcept {
  dropBounded(array, [](DropLink* link) noexcept {
    auto* dropped = static_cast<ArrayStorage*>(link);
    dropped->~ArrayStorage();
    std::free(dropped);
  });
}

// There is always room for one object, so that no other block begins there.
HxArray ArrayStorage::makeHandle(HxUInteger capacity, bool isMutable) {
  capacity = std::max<HxUInteger>(capacity, 1);
  void* block = allocate(nullptr, sizeof(ArrayStorage), capacity);
  return HxArray(HxAny::Unchecked{},
                 HxAny::adopt(new (block) ArrayStorage(capacity, isMutable ? kMutable : 0)));
}

HxArray ArrayStorage::empty() noexcept {
  alignas(ArrayStorage) static std::byte block[sizeof(ArrayStorage)];
  static ArrayStorage* const array = new (block) ArrayStorage(0, kImmortal);
  return HxArray(HxAny::Unchecked{}, HxAny::adopt(array));
}

ArrayStorage* ArrayStorage::makeUncounted(const HxArray& array) {
  void* block = allocate(nullptr, sizeof(ArrayStorage), array.count());
  auto* const copy = new (block) ArrayStorage(array.count(), kImmortal);
  for (const HxAny& object : array) copy->append(HxAny(object));
  return copy;
}

HxClass ArrayStorage::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableArray::classObject() : HxArrayObject::classObject();
}

HxAny ArrayStorage::copy() const { return bits() & kMutable ? HxArrayObject::copy() : HxAny(this); }

void ArrayStorage::grow(HxUInteger atLeast) {
  constexpr HxUInteger kFirstCapacity = 4;
  const HxUInteger capacity = std::max({atLeast, 2 * _capacity, kFirstCapacity});
  const bool wasOwnRoom = _objects == ownRoom();
  auto* block = static_cast<HxAny*>(allocate(wasOwnRoom ? nullptr : _objects, 0, capacity));
  if (wasOwnRoom) moveHandles(block, _objects, _count);
  _objects = block;
  _capacity = capacity;
}

void ArrayStorage::reserve(HxUInteger more) {
  if (more > _capacity - _count) grow(_count + more);
}

void ArrayStorage::append(const HxArrayObject& other) {
  const HxUInteger count = other.count();
  reserve(count);
  HxArray::Iterator object(&other, 0);
  for (HxUInteger i = 0; i < count; ++i, ++object) append(HxAny(*object));
}

void ArrayStorage::insert(HxAny&& object, HxUInteger index) {
  reserve(1);
  moveHandles(_objects + index + 1, _objects + index, _count - index);
  new (_objects + index) HxAny(std::move(object));
  ++_count;
}

// From one index to the next, the gap is filled with the objects that were there. It takes as many
// as it has places.
void ArrayStorage::insert(const HxArray& objects, const HxIndexSet& indexes) {
  const HxUInteger added = objects.count();
  reserve(added);
  HxAny* old = _objects + added;
  moveHandles(old, _objects, _count);
  HxUInteger place = 0;
  HxUInteger next = 0;
  for (HxUInteger index : indexes) {
    moveHandles(_objects + place, old, index - place);
    old += index - place;
    new (_objects + index) HxAny(objects.objectAtIndex(next++));
    place = index + 1;
  }
  _count += added;
}

HxAny ArrayStorage::replace(HxUInteger index, HxAny&& object) noexcept {
  return std::exchange(_objects[index], std::move(object));
}

HxAny ArrayStorage::take(HxUInteger index) noexcept {
  HxAny object = std::move(_objects[index]);
  moveHandles(_objects + index, _objects + index + 1, _count - index - 1);
  --_count;
  return object;
}

void ArrayStorage::remove(const HxIndexSet& indexes) {
  ArrayBuilder removed(indexes.count());  // released after all is in order again
  HxAny* end = _objects + indexes.firstIndex();
  HxUInteger next = indexes.firstIndex();
  for (HxUInteger index : indexes) {
    moveHandles(end, _objects + next, index - next);
    end += index - next;
    removed.append(std::move(_objects[index]));
    next = index + 1;
  }
  moveHandles(end, _objects + next, _count - next);
  _count -= removed.count();
}

// Backwards, so that the destructor of an object sees a whole array.
void ArrayStorage::removeAll() noexcept {
  while (_count > 0) {
    --_count;
    const HxAny last = std::move(_objects[_count]);
  }
}

}  // namespace rondel::internal
