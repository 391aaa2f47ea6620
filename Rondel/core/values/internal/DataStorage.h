// SPDX-License-Identifier: MIT
//
// The object of all data, and the hook by which a reader uses one buffer again and again.
#pragma once

#include <new>

#include "Rondel/core/values/Data.h"

namespace rondel::internal {

// Bytes after the header in the same block, or elsewhere. Elsewhere is a separate block once they
// have outgrown it, the caller's memory, or a mapping.
class RONDEL_EXPORT DataStorage final : public HxObject {
 public:
  enum class Place : std::uint8_t { inside, heap, borrowed, mapping };

  // Returns data of `length` bytes, with room for as many. The caller writes them before it shares
  // the data.
  static Ref<DataStorage> make(HxUInteger length, bool isMutable);
  // Returns immutable data over bytes that lie elsewhere. From here on the data owns them, unless
  // they are borrowed.
  static HxData makeHandle(void* bytes, HxUInteger length, Place place);

  HxClass hxClass() const noexcept override;
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  // Returns "<0fbd9a01 02>": bytes in hexadecimal, four to a group.
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const override;

  std::uint8_t* bytes() const noexcept { return _bytes; }
  HxUInteger length() const noexcept { return _length; }
  HxUInteger capacity() const noexcept { return _capacity; }
  // Leaves added bytes uninitialized.
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

// Makes `buffer` hold `length` uninitialized bytes for a reader to fill. The buffer is used again
// if there is no other reference to it, else the handle gets a new one.
RONDEL_EXPORT void prepareForReading(HxMutableData& buffer, HxUInteger length);

}  // namespace rondel::internal
