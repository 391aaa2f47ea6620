// SPDX-License-Identifier: MIT
//
// The built-in array, and a builder for modules that make arrays object by object.
//
//   ArrayBuilder words(5);            // room for five
//   words.append(HxString(text));
//   HxArray array = words.finish();   // one allocation beside the strings
#pragma once

#include <new>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/internal/DeferredDrop.h"

namespace rondel::internal {

// Handles in one run. They are in the block of the header until they outgrow the requested room,
// and in a separate block after that. Serves both forms; the immutable one is filled before its
// handle is handed out.
class RONDEL_EXPORT ArrayStorage final : public HxArrayObject, private DropLink {
 public:
  // Returns an empty array with room for `capacity` objects.
  static HxArray makeHandle(HxUInteger capacity, bool isMutable);
  // Returns the one immutable empty array, which is never counted.
  static HxArray empty() noexcept;
  // Returns a copy that is never counted, so that threads which share it do not write to it. It
  // lives for ever, unless its maker drops it before any other thread has seen it.
  static ArrayStorage* makeUncounted(const HxArray& array);
  static void dropUncounted(ArrayStorage* array) noexcept { delete array; }

  HxClass hxClass() const noexcept override;
  HxUInteger count() const noexcept override { return _count; }
  HxAny objectAtIndex(HxUInteger index) const noexcept override { return _objects[index]; }
  const HxAny* contiguousObjects() const noexcept override { return _objects; }
  HxAny copy() const override;

  // Indexes and ranges are in bounds, objects are not nil.
  void append(HxAny&& object) {
    if (_count == _capacity) [[unlikely]] {
      grow(_count + 1);
    }
    new (_objects + _count) HxAny(std::move(object));
    ++_count;
  }
  void append(const HxArrayObject& other);
  void insert(HxAny&& object, HxUInteger index);
  // Inserts each object at its index in the result. `objects` is a built-in array other than this
  // one.
  void insert(const HxArray& objects, const HxIndexSet& indexes);
  HxAny replace(HxUInteger index, HxAny&& object) noexcept;
  HxAny take(HxUInteger index) noexcept;
  void remove(const HxIndexSet& indexes);
  void removeAll() noexcept;

  static void operator delete(ArrayStorage* array, std::destroying_delete_t) noexcept;

 private:
  static void* operator new(std::size_t, void* block) noexcept { return block; }
  static void operator delete(void*, void*) noexcept {}
  ArrayStorage(HxUInteger capacity, std::uint32_t flags) noexcept;
  ~ArrayStorage() override;

  HxAny* ownRoom() noexcept { return reinterpret_cast<HxAny*>(this + 1); }
  void reserve(HxUInteger more);
  void grow(HxUInteger atLeast);

  HxAny* _objects;
  HxUInteger _count = 0;
  HxUInteger _capacity;
};

// Makes an immutable array object by object.
class ArrayBuilder {
 public:
  ArrayBuilder() noexcept = default;
  explicit ArrayBuilder(HxUInteger capacity) { reserve(capacity); }
  ArrayBuilder(const ArrayBuilder&) = delete;
  ArrayBuilder& operator=(const ArrayBuilder&) = delete;

  // Makes room, before the first append. Without it the room doubles as it is used up.
  void reserve(HxUInteger capacity) {
    if (!_array && capacity > 0) _array = ArrayStorage::makeHandle(capacity, false);
  }
  // Appends an object. A nil one adds nothing.
  void append(HxHandle&& object) {
    if (object.isNil()) [[unlikely]] {
      return;
    }
    if (!_array) [[unlikely]] {
      reserve(kFirstCapacity);
    }
    storage()->append(HxAny(std::move(object)));
  }
  void append(const HxHandle& object) { append(HxAny(object)); }
  HxUInteger count() const noexcept { return _array ? storage()->count() : 0; }
  // Returns the array. The builder is empty after that.
  HxArray finish() { return _array ? std::move(_array) : HxArray::array(); }

 private:
  static constexpr HxUInteger kFirstCapacity = 4;
  ArrayStorage* storage() const noexcept { return static_cast<ArrayStorage*>(_array.object()); }

  HxArray _array;  // always built-in
};

}  // namespace rondel::internal
