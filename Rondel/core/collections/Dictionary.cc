// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Dictionary.h"

#include <algorithm>
#include <new>

#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/collections/internal/Containers.h"
#include "Rondel/core/collections/internal/DictionaryText.h"
#include "Rondel/core/collections/internal/ObjectTable.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/DeferredDrop.h"
#include "Rondel/core/text/String.h"

namespace rondel {

namespace internal {

// The built-in dictionary, immutable and mutable. The immutable one is filled before its handle is
// handed out.
class DictionaryStorage final : public HxDictionaryObject, private DropLink {
 public:
  using Entry = ObjectTable::Entry;

  explicit DictionaryStorage(bool isMutable, std::uint32_t flags = 0) noexcept
      : HxDictionaryObject(kBuiltIn | flags | (isMutable ? kMutable : 0)) {}

  static HxDictionary empty() noexcept;

  HxClass hxClass() const noexcept override;
  HxUInteger count() const noexcept override { return _table.size(); }
  HxAny objectForKey(const HxHandle& key) const override { return HxAny(valueOf(key.object())); }
  HxEnumerator keyEnumerator() const override;
  HxAny copy() const override;

  // Returns the value, borrowed; null if the key is absent.
  const HxObject* valueOf(const HxObject* key) const {
    const Entry* found = _table.find(key);
    return found ? found->value.object() : nullptr;
  }
  const ObjectTable& table() const noexcept { return _table; }

  void reserve(HxUInteger count) { _table.reserve(count); }
  void set(const HxHandle& object, const HxHandle& key);
  void remove(const HxHandle& key);
  void removeAll();
  void addAll(const HxDictionaryObject& other);

  static void operator delete(DictionaryStorage* dictionary, std::destroying_delete_t) noexcept {
    dropBounded(dictionary, [](DropLink* link) noexcept {
      auto* dropped = static_cast<DictionaryStorage*>(link);
      dropped->~DictionaryStorage();
      ::operator delete(dropped);
    });
  }

 private:
  ObjectTable _table;
};

const HxObject* storedObject(const HxObject& dictionary, const HxObject& key) {
  return static_cast<const DictionaryStorage&>(dictionary).valueOf(&key);
}

const HxObject* storedObjectForText(const HxObject& dictionary, std::string_view ascii) {
  const ObjectTable::Entry* found =
      static_cast<const DictionaryStorage&>(dictionary).table().findText(ascii);
  return found ? found->value.object() : nullptr;
}

namespace {

const DictionaryStorage* builtIn(const HxDictionaryObject* dictionary) noexcept {
  return ObjectBits::isBuiltIn(dictionary) ? static_cast<const DictionaryStorage*>(dictionary)
                                           : nullptr;
}

DictionaryStorage* storageOf(const HxMutableDictionary& dictionary) noexcept {
  return static_cast<DictionaryStorage*>(dictionary.object());
}

// Walks the table itself, and keeps it alive.
class StorageEnumerator final : public HxEnumeratorObject {
 public:
  explicit StorageEnumerator(const DictionaryStorage* dictionary)
      : _owner(dictionary),
        _dictionary(dictionary),
        _next(dictionary->table().begin()),
        _generation(dictionary->table().generation()) {}

  HxAny nextObject() override {
    const ObjectTable::Entry* entry = nextEntry();
    return entry ? entry->key : HxAny();
  }
  const ObjectTable::Entry* nextEntry() {
    if (_generation != _dictionary->table().generation()) {
      HxException::raise(HxInternalInconsistencyException,
                         "-[HxEnumerator nextObject]: the dictionary was changed meanwhile"_hx);
    }
    if (_next == _dictionary->table().end()) return nullptr;
    const ObjectTable::Entry& entry = *_next;
    ++_next;
    return &entry;
  }

 private:
  HxAny _owner;
  const DictionaryStorage* _dictionary;
  ObjectTable::Iterator _next;
  HxUInteger _generation;
};

}  // namespace

const ObjectTable* tableOfDictionary(const HxObject& dictionary) noexcept {
  const auto* const storage = builtIn(static_cast<const HxDictionaryObject*>(&dictionary));
  return storage ? &storage->table() : nullptr;
}

HxDictionary DictionaryStorage::empty() noexcept {
  alignas(DictionaryStorage) static std::byte block[sizeof(DictionaryStorage)];
  static auto* const dictionary =
      new (static_cast<void*>(block)) DictionaryStorage(false, kImmortal);
  return HxDictionary(HxAny::Unchecked{}, HxAny::adopt(dictionary));
}

HxClass DictionaryStorage::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableDictionary::classObject() : HxDictionaryObject::classObject();
}

HxEnumerator DictionaryStorage::keyEnumerator() const {
  return HxEnumerator(makeRef<StorageEnumerator>(this));
}

HxAny DictionaryStorage::copy() const {
  return bits() & kMutable ? HxDictionaryObject::copy() : HxAny(this);
}

void DictionaryStorage::set(const HxHandle& object, const HxHandle& key) {
  HxAny kept = ObjectBits::isFlatString(key.object()) ? HxAny(key) : key.copy();
  if (!kept) return;  // a class of the caller's own may copy to nil
  Entry* const entry = _table.insert(std::move(kept)).first;
  // The old value is released after the table is in order again.
  const HxAny old = std::exchange(entry->value, object);
}

void DictionaryStorage::remove(const HxHandle& key) {
  // Released after the table is in order again.
  const Entry removed = _table.extract(key.object());
}

void DictionaryStorage::removeAll() {
  ObjectTable removed;
  removed.swap(_table);
}

void DictionaryStorage::addAll(const HxDictionaryObject& other) {
  if (const DictionaryStorage* storage = builtIn(&other)) {
    if (storage == this) return;
    if (_table.empty()) {
      _table = storage->_table;
      return;
    }
    reserve(count() + other.count());
    storage->_table.forEach([&](const HxObject* key, const HxObject* value) {
      set(HxAny(value), HxAny(key));
      return true;
    });
    return;
  }
  reserve(count() + other.count());
  const HxEnumerator keys = other.keyEnumerator();
  while (const HxAny key = keys.nextObject()) {
    if (const HxAny value = other.objectForKey(key)) set(value, key);
  }
}

}  // namespace internal

using internal::ArrayBuilder;
using internal::DictionaryStorage;

namespace {

const HxDictionaryObject& objectOf(const HxDictionary& dictionary) noexcept {
  return *static_cast<const HxDictionaryObject*>(dictionary.object());
}

// The makers fill the storage before they hand out its handle: an immutable dictionary takes
// nothing through a handle.

HxDictionary handleOf(const Ref<DictionaryStorage>& storage) { return HxDictionary(storage); }

HxMutableDictionary mutableHandleOf(const Ref<DictionaryStorage>& storage) {
  return HxMutableDictionary(HxAny::Unchecked{}, storage);
}

// Returns all entries of any dictionary in a new built-in one.
Ref<DictionaryStorage> gather(const HxDictionaryObject& dictionary, bool isMutable) {
  auto storage = makeRef<DictionaryStorage>(isMutable);
  storage->addAll(dictionary);
  return storage;
}

Ref<DictionaryStorage> makeWithEntries(std::initializer_list<HxDictionary::Entry> entries,
                                       bool isMutable) {
  auto storage = makeRef<DictionaryStorage>(isMutable);
  storage->reserve(entries.size());
  for (const auto& [key, value] : entries) {
    if (key && value) storage->set(value, key);
  }
  return storage;
}

Ref<DictionaryStorage> makeWithDictionary(const HxDictionary& other, bool copyItems,
                                          bool isMutable) {
  auto storage = makeRef<DictionaryStorage>(isMutable);
  if (!other) return storage;
  if (!copyItems) return gather(objectOf(other), isMutable);
  storage->reserve(other.count());
  for (const auto& [key, value] : other) {
    if (const HxAny copy = value.copy()) storage->set(copy, key);
  }
  return storage;
}

}  // namespace

// ---- Dictionary objects -----------------------------------------------------------------------

HxClass HxEnumeratorObject::classObject() noexcept {
  static const HxClassInfo info{"HxEnumerator", HxObject::classObject().info()};
  return HxClass(&info);
}

HxClass HxDictionaryObject::classObject() noexcept {
  static const HxClassInfo info{"HxDictionary", HxObject::classObject().info(),
                                [] { return HxAny(HxDictionary::dictionary()); }};
  return HxClass(&info);
}

HxClass HxMutableDictionary::classObject() noexcept {
  static const HxClassInfo info{"HxMutableDictionary", HxDictionaryObject::classObject().info(),
                                [] { return HxAny(HxMutableDictionary::dictionary()); }};
  return HxClass(&info);
}

bool HxDictionaryObject::isEqual(const HxObject& other) const {
  return this == &other ||
         (other.typeID() == HxTypeID::dictionary && internal::areEqualContainers(*this, other));
}

HxUInteger HxDictionaryObject::hash() const { return internal::hashOfContainer(*this); }

HxString HxDictionaryObject::description() const { return internal::descriptionOfContainer(*this); }

HxAny HxDictionaryObject::copy() const { return gather(*this, false); }

HxAny HxDictionaryObject::mutableCopy() const { return gather(*this, true); }

// ---- Making dictionaries ----------------------------------------------------------------------

HxDictionary HxDictionary::dictionary() { return DictionaryStorage::empty(); }

HxDictionary HxDictionary::dictionaryWithObject(const HxHandle& object, const HxHandle& key) {
  return dictionaryWithEntries({{key, object}});
}

HxDictionary HxDictionary::dictionaryWithEntries(std::initializer_list<Entry> entries) {
  return handleOf(makeWithEntries(entries, false));
}

HxDictionary HxDictionary::initWithDictionary(const HxDictionary& other, bool copyItems) {
  return handleOf(makeWithDictionary(other, copyItems, false));
}

HxMutableDictionary HxMutableDictionary::dictionary() {
  return mutableHandleOf(makeRef<DictionaryStorage>(true));
}

HxMutableDictionary HxMutableDictionary::dictionaryWithCapacity(HxUInteger capacity) {
  constexpr HxUInteger kMostAtOnce = HxUInteger{1} << 20;
  HxMutableDictionary result = dictionary();
  internal::storageOf(result)->reserve(std::min(capacity, kMostAtOnce));
  return result;
}

HxMutableDictionary HxMutableDictionary::dictionaryWithObject(const HxHandle& object,
                                                              const HxHandle& key) {
  return dictionaryWithEntries({{key, object}});
}

HxMutableDictionary HxMutableDictionary::dictionaryWithEntries(
    std::initializer_list<Entry> entries) {
  return mutableHandleOf(makeWithEntries(entries, true));
}

HxMutableDictionary HxMutableDictionary::initWithDictionary(const HxDictionary& other,
                                                            bool copyItems) {
  return mutableHandleOf(makeWithDictionary(other, copyItems, true));
}

// ---- Reading ----------------------------------------------------------------------------------

HxArray HxDictionary::allKeys() const {
  if (!_object) return nullptr;
  ArrayBuilder keys(count());
  const HxEnumerator enumerator = keyEnumerator();
  while (HxAny key = enumerator.nextObject()) keys.append(std::move(key));
  return keys.finish();
}

HxArray HxDictionary::allValues() const {
  if (!_object) return nullptr;
  ArrayBuilder values(count());
  for (const auto& [key, value] : *this) values.append(value);
  return values.finish();
}

HxDictionary HxDictionary::copy() const { return HxDictionary(Unchecked{}, HxHandle::copy()); }

HxMutableDictionary HxDictionary::mutableCopy() const {
  return HxMutableDictionary(Unchecked{}, HxHandle::mutableCopy());
}

HxDictionary::Iterator::Iterator(const HxDictionaryObject* dictionary) : _dictionary(dictionary) {
  if (!dictionary) return;
  _keys = dictionary->keyEnumerator();
  ++*this;
}

HxDictionary::Iterator& HxDictionary::Iterator::operator++() {
  const auto* dictionary = static_cast<const HxDictionaryObject*>(_dictionary.object());
  if (internal::builtIn(dictionary)) {
    const auto* entry = static_cast<internal::StorageEnumerator*>(_keys.object())->nextEntry();
    _entry = entry ? Entry{entry->key, entry->value} : Entry{};
  } else {
    _entry.key = _keys.nextObject();
    _entry.value = _entry.key ? dictionary->objectForKey(_entry.key) : HxAny();
  }
  return *this;
}

// ---- Changing ---------------------------------------------------------------------------------

void HxMutableDictionary::setObject(const HxHandle& object, const HxHandle& key) {
  if (isForChange("-[HxMutableDictionary setObject:forKey:]", HxTypeID::dictionary) && object &&
      key) {
    internal::storageOf(*this)->set(object, key);
  }
}

void HxMutableDictionary::removeObjectForKey(const HxHandle& key) {
  if (isForChange("-[HxMutableDictionary removeObjectForKey:]", HxTypeID::dictionary) && key) {
    internal::storageOf(*this)->remove(key);
  }
}

void HxMutableDictionary::removeAllObjects() {
  if (isForChange("-[HxMutableDictionary removeAllObjects]", HxTypeID::dictionary)) {
    internal::storageOf(*this)->removeAll();
  }
}

void HxMutableDictionary::addEntriesFromDictionary(const HxDictionary& other) {
  if (isForChange("-[HxMutableDictionary addEntriesFromDictionary:]", HxTypeID::dictionary) &&
      other) {
    internal::storageOf(*this)->addAll(objectOf(other));
  }
}

}  // namespace rondel
