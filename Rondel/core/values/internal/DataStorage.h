// SPDX-License-Identifier: MIT
//
// What stands behind data, and the hook by which a reader uses one buffer again and again.
#pragma once

#include <new>

#include "Rondel/core/values/Data.h"

namespace rondel::internal {

// Bytes behind the header in the same block, or elsewhere: in a block of their own once they have
// outgrown it, with the caller, or in a mapping.
class RONDEL_EXPORT DataStorage final : public HxObject {
 public:
  enum class Place : std::uint8_t { inside, heap, borrowed, mapping };

  // Data of `length` bytes that the caller writes before anybody else sees them, with room for as
  // many.
  static Ref<DataStorage> make(HxUInteger length, bool isMutable);
  // Immutable data over bytes that lie elsewhere; from here on they belong to the data, unless they
  // are borrowed.
  static HxData makeHandle(void* bytes, HxUInteger length, Place place);

  HxClass hxClass() const noexcept override;
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  // "<0fbd9a01 02>", bytes in hexadecimal, four to a group.
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const override;

  std::uint8_t* bytes() const noexcept { return _bytes; }
  HxUInteger length() const noexcept { return _length; }
  HxUInteger capacity() const noexcept { return _capacity; }
  // Bytes that are added are whatever they are.
  void setLength(HxUInteger length);

  static void operator delete(DataStorage* data, std::destroying_delete_t) noexcept;

 private:
  static void* operator new(std::size_t, void* block) noexcept { return block; }
  static void operator delete(void*, void*) noexcept {}
  DataStorage(void* bytes, HxUInteger length, Place place, bool isMutable) noexcept;
  ~DataStorage() override;

  std::uint8_t* inside() noexcept { return reinterpret_cast<std::uint8_t*>(this + 1); }

  std::uint8_t* _bytes;
  HxUInteger _length;
  HxUInteger _capacity;
  Place _place;
};

// Makes `buffer` hold `length` bytes for a reader to fill, whatever they are now. The buffer is
// used again when nobody else refers to it, else the handle gets a new one.
RONDEL_EXPORT void prepareForReading(HxMutableData& buffer, HxUInteger length);

}  // namespace rondel::internal
