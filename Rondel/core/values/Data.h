// SPDX-License-Identifier: MIT
//
// Counted runs of bytes.
//
//   HxData head = HxData::dataWithBytes(buffer, 64);
//   HxMutableData out = HxMutableData::data();
//   out.appendBytes(text, n);
//   for (std::byte b : head.span()) ...
//
// On nil every operation returns 0, null, nil or does nothing. A range beyond the end raises
// HxRangeException. Reading a file returns nil if it fails, and writing one returns false.
// Immutable data may be used on any thread.
#pragma once

#include <span>

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxMutableData;

class RONDEL_EXPORT HxData : public HxHandle {
 public:
  constexpr HxData() noexcept = default;
  constexpr HxData(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxData(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  // Copies the bytes.
  explicit HxData(std::span<const std::byte> bytes);
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::data;
  }

  static HxClass classObject() noexcept;

  // Returns empty data.
  static HxData data();
  // Returns a copy of the bytes. Null means no bytes, whatever the length, here and below.
  static HxData dataWithBytes(const void* bytes, HxUInteger length);
  // Returns the bytes of other data, copied unless that is immutable; empty data for nil.
  static HxData dataWithData(const HxData& data);
  static HxData initWithBytes(const void* bytes, HxUInteger length) {
    return dataWithBytes(bytes, length);
  }
  // Returns data over the caller's own bytes. With freeWhenDone they were made with malloc and are
  // freed by the data. Without it they must outlive the data and all its copies.
  static HxData initWithBytesNoCopy(void* bytes, HxUInteger length, bool freeWhenDone);
  // Returns the whole file; nil if it cannot be read. A file without a size, such as a pipe, is
  // read to its end. Nil (EFBIG) if that is more than 1 GiB.
  static HxData initWithContentsOfFile(const HxString& path);
  // Returns the same, mapped if the file is a regular one. The file must not be cut short while the
  // data lives. Changes of the file may or may not be seen.
  static HxData initWithContentsOfMappedFile(const HxString& path);

  // Returns the bytes, valid until the data goes or changes; null for nil, not null if empty.
  const std::uint8_t* bytes() const noexcept;
  HxUInteger length() const noexcept;
  bool isEmpty() const noexcept { return length() == 0; }
  std::span<const std::byte> span() const noexcept {
    return {reinterpret_cast<const std::byte*>(bytes()), length()};
  }
  // Copies the bytes of a range to `buffer`.
  void getBytes(void* buffer, HxRange range) const;
  HxData subdataWithRange(HxRange range) const;
  bool isEqualToData(const HxData& other) const { return isEqual(other); }
  // Writes the bytes, and creates or replaces the file. Atomically means through a temporary file
  // beside it and a rename. A reader sees the old contents or the new ones, after a crash too. A
  // link is followed, and the file's mode is kept. What is not a regular file, such as a device, is
  // written in place. Returns false, with errno set, if it fails or the data is nil.
  bool writeToFile(const HxString& path, bool atomically) const;

  // Returns the data itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxData copy() const;
  [[nodiscard]] HxMutableData mutableCopy() const;
};

// The mutable form. It grows by doubling, so that many small appends cost no more than one copy of
// the whole.
class RONDEL_EXPORT HxMutableData : public HxData {
 public:
  constexpr HxMutableData(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableData(Unchecked, HxAny any) noexcept : HxData(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::data, kMutable);
  }
  static HxClass classObject() noexcept;

  // Do as in HxData, but return new mutable data.
  static HxMutableData data();
  // Returns empty data with room for `capacity` bytes. The capacity is advice.
  static HxMutableData initWithCapacity(HxUInteger capacity);
  static HxMutableData dataWithBytes(const void* bytes, HxUInteger length);
  static HxMutableData initWithBytes(const void* bytes, HxUInteger length) {
    return dataWithBytes(bytes, length);
  }
  static HxMutableData dataWithData(const HxData& data);

  // Returns the bytes for writing, valid until the length changes; null for nil.
  std::uint8_t* mutableBytes();
  // Appends bytes, which may be the data's own.
  void appendBytes(const void* bytes, HxUInteger length);
  void appendData(const HxData& data);
  // Cuts the bytes at the end, or adds zeros there.
  void setLength(HxUInteger length);
  // Does the same, but leaves added bytes uninitialized: for a buffer that is read into next.
  void setLengthUninitialized(HxUInteger length);
};

}  // namespace rondel
