// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Data.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FileContents.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/TextHash.h"
#include "Rondel/core/values/internal/DataStorage.h"

namespace rondel {

// ---- The object of data -----------------------------------------------------------------------

namespace internal {

namespace {

void copyBytes(void* to, const void* from, HxUInteger length) noexcept {
  if (length > 0) std::memcpy(to, from, length);
}

void* allocate(void* old, HxUInteger size) {
  void* block = size <= HxNotFound ? std::realloc(old, size) : nullptr;
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

DataStorage::DataStorage(void* bytes, HxUInteger length, Place place, bool isMutable) noexcept
    : HxObject(HxTypeID::data, kBuiltIn | (isMutable ? kMutable : 0)),
      _bytes(place == Place::inside ? inside() : static_cast<std::uint8_t*>(bytes)),
      _length(length),
      _capacity(length),
      _place(place) {}

DataStorage::~DataStorage() {
  if (_place == Place::heap) std::free(_bytes);
  if (_place == Place::mapping) fileCalls.munmap(_bytes, _length);
}

void DataStorage::operator delete(DataStorage* data, std::destroying_delete_t) noexcept {
  data->~DataStorage();
  std::free(data);
}

Ref<DataStorage> DataStorage::make(HxUInteger length, bool isMutable) {
  void* block = allocate(nullptr, sizeof(DataStorage) + std::min(length, HxNotFound));
  return Ref<DataStorage>::adopt(new (block)
                                     DataStorage(nullptr, length, Place::inside, isMutable));
}

HxData DataStorage::makeHandle(void* bytes, HxUInteger length, Place place) {
  void* block = allocate(nullptr, sizeof(DataStorage));
  return HxData(HxAny::Unchecked{},
                HxAny::adopt(new (block) DataStorage(bytes, length, place, false)));
}

HxClass DataStorage::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableData::classObject() : HxData::classObject();
}

bool DataStorage::isEqual(const HxObject& other) const {
  if (this == &other) return true;
  if (other.typeID() != HxTypeID::data) return false;
  const auto& data = static_cast<const DataStorage&>(other);
  return _length == data._length && std::memcmp(_bytes, data._bytes, _length) == 0;
}

HxUInteger DataStorage::hash() const {
  return hashOfBytes(reinterpret_cast<const char*>(_bytes), _length);
}

HxString DataStorage::description() const {
  constexpr HxUInteger kGroup = 4;
  const HxUInteger blanks = _length > 0 ? (_length - 1) / kGroup : 0;
  FlatString* text = FlatString::makeNarrow(2 + 2 * _length + blanks);
  HxString result(HxAny::Unchecked{}, HxAny::adopt(text));
  char* out = text->narrow();
  *out++ = '<';
  for (HxUInteger i = 0; i < _length; ++i) {
    if (i > 0 && i % kGroup == 0) *out++ = ' ';
    *out++ = kHexadecimalDigits[_bytes[i] >> 4];
    *out++ = kHexadecimalDigits[_bytes[i] & 0xF];
  }
  *out = '>';
  return result;
}

HxAny DataStorage::copy() const {
  return bits() & kMutable ? HxAny(HxData::dataWithBytes(_bytes, _length)) : HxAny(this);
}

HxAny DataStorage::mutableCopy() const { return HxMutableData::dataWithBytes(_bytes, _length); }

void DataStorage::setLength(HxUInteger length) {
  if (length > _capacity) {
    constexpr HxUInteger kLeastCapacity = 64;
    const HxUInteger capacity = std::max({length, 2 * _capacity, kLeastCapacity});
    const bool wasInside = _place == Place::inside;
    void* block = allocate(wasInside ? nullptr : _bytes, capacity);
    if (wasInside) copyBytes(block, _bytes, _length);
    _bytes = static_cast<std::uint8_t*>(block);
    _capacity = capacity;
    _place = Place::heap;
  }
  _length = length;
}

void prepareForReading(HxMutableData& buffer, HxUInteger length) {
  auto* storage = static_cast<DataStorage*>(buffer.object());
  if (!storage || !storage->isUniquelyReferenced() || storage->capacity() < length) {
    buffer = HxMutableData(HxAny::Unchecked{}, DataStorage::make(length, true));
  } else {
    storage->setLength(length);
  }
}

}  // namespace internal

using internal::DataStorage;

namespace {

DataStorage* storageOf(const HxHandle& data) noexcept {
  return static_cast<DataStorage*>(data.object());
}

Ref<DataStorage> makeData(const void* bytes, HxUInteger length, bool isMutable) {
  if (!bytes) length = 0;
  auto data = DataStorage::make(length, isMutable);
  internal::copyBytes(data->bytes(), bytes, length);
  return data;
}

}  // namespace

// ---- Making data ------------------------------------------------------------------------------

HxClass HxData::classObject() noexcept {
  static const HxClassInfo info{"HxData", HxObject::classObject().info(),
                                [] { return HxAny(HxData::data()); }};
  return HxClass(&info);
}

HxClass HxMutableData::classObject() noexcept {
  static const HxClassInfo info{"HxMutableData", HxData::classObject().info(),
                                [] { return HxAny(HxMutableData::data()); }};
  return HxClass(&info);
}

HxData::HxData(std::span<const std::byte> bytes)
    : HxData(dataWithBytes(bytes.data(), bytes.size())) {}

HxData HxData::data() { return dataWithBytes(nullptr, 0); }

HxData HxData::dataWithBytes(const void* bytes, HxUInteger length) {
  return HxData(Unchecked{}, makeData(bytes, length, false));
}

HxData HxData::dataWithData(const HxData& data) { return data ? data.copy() : HxData::data(); }

HxData HxData::initWithBytesNoCopy(void* bytes, HxUInteger length, bool freeWhenDone) {
  if (!bytes) return data();
  try {
    return DataStorage::makeHandle(
        bytes, length, freeWhenDone ? DataStorage::Place::heap : DataStorage::Place::borrowed);
  } catch (...) {
    if (freeWhenDone) std::free(bytes);
    throw;
  }
}

HxData HxData::initWithContentsOfFile(const HxString& path) {
  return internal::contentsOfFile(path);
}

HxData HxData::initWithContentsOfMappedFile(const HxString& path) {
  return internal::contentsOfMappedFile(path);
}

// ---- Reading ----------------------------------------------------------------------------------

const std::uint8_t* HxData::bytes() const noexcept {
  return _object ? storageOf(*this)->bytes() : nullptr;
}

HxUInteger HxData::length() const noexcept { return _object ? storageOf(*this)->length() : 0; }

void HxData::getBytes(void* buffer, HxRange range) const {
  if (!_object) return;
  internal::checkRange("-[HxData getBytes:range:]", range, length());
  internal::copyBytes(buffer, bytes() + range.location, range.length);
}

HxData HxData::subdataWithRange(HxRange range) const {
  if (!_object) return nullptr;
  internal::checkRange("-[HxData subdataWithRange:]", range, length());
  return dataWithBytes(bytes() + range.location, range.length);
}

bool HxData::writeToFile(const HxString& path, bool atomically) const {
  if (!_object) {
    errno = EINVAL;
    return false;
  }
  return atomically ? internal::replaceFile(path, span()) : internal::writeFile(path, span());
}

HxData HxData::copy() const { return HxData(Unchecked{}, HxHandle::copy()); }

HxMutableData HxData::mutableCopy() const {
  return HxMutableData(Unchecked{}, HxHandle::mutableCopy());
}

// ---- Changing ---------------------------------------------------------------------------------

HxMutableData HxMutableData::data() { return initWithCapacity(0); }

HxMutableData HxMutableData::initWithCapacity(HxUInteger capacity) {
  constexpr HxUInteger kMostAtOnce = HxUInteger{1} << 30;
  const auto data = DataStorage::make(std::min(capacity, kMostAtOnce), true);
  data->setLength(0);
  return HxMutableData(Unchecked{}, data);
}

HxMutableData HxMutableData::dataWithBytes(const void* bytes, HxUInteger length) {
  return HxMutableData(Unchecked{}, makeData(bytes, length, true));
}

HxMutableData HxMutableData::dataWithData(const HxData& data) {
  return dataWithBytes(data.bytes(), data.length());
}

std::uint8_t* HxMutableData::mutableBytes() {
  return isForChange("-[HxMutableData mutableBytes]", HxTypeID::data) ? storageOf(*this)->bytes()
                                                                      : nullptr;
}

void HxMutableData::appendBytes(const void* bytes, HxUInteger length) {
  if (!isForChange("-[HxMutableData appendBytes:length:]", HxTypeID::data) || !bytes || length == 0)
    return;
  DataStorage* storage = storageOf(*this);
  const HxUInteger end = storage->length();
  // Bytes of the data itself move with it.
  const auto offset =
      reinterpret_cast<HxUInteger>(bytes) - reinterpret_cast<HxUInteger>(storage->bytes());
  const bool isOwn = offset < end;
  storage->setLength(end + length);
  std::memcpy(storage->bytes() + end, isOwn ? storage->bytes() + offset : bytes, length);
}

void HxMutableData::appendData(const HxData& data) { appendBytes(data.bytes(), data.length()); }

void HxMutableData::setLength(HxUInteger length) {
  if (!isForChange("-[HxMutableData setLength:]", HxTypeID::data)) return;
  DataStorage* storage = storageOf(*this);
  const HxUInteger old = storage->length();
  storage->setLength(length);
  if (length > old) std::memset(storage->bytes() + old, 0, length - old);
}

void HxMutableData::setLengthUninitialized(HxUInteger length) {
  if (isForChange("-[HxMutableData setLengthUninitialized:]", HxTypeID::data)) {
    storageOf(*this)->setLength(length);
  }
}

}  // namespace rondel
