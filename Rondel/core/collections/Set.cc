// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Set.h"

#include <new>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/collections/internal/Containers.h"
#include "Rondel/core/collections/internal/ObjectTable.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/DeferredDrop.h"
#include "Rondel/core/text/String.h"

namespace rondel {

namespace {

// The object of every set.
class SetStorage final : public HxObject, private internal::DropLink {
 public:
  using Member = internal::ObjectTable::Entry;

  explicit SetStorage(bool isMutable) noexcept
      : HxObject(HxTypeID::set, kBuiltIn | (isMutable ? kMutable : 0)) {}

  HxClass hxClass() const noexcept override;
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const override;

  static void operator delete(SetStorage* set, std::destroying_delete_t) noexcept {
    internal::dropBounded(set, [](internal::DropLink* link) noexcept {
      auto* dropped = static_cast<SetStorage*>(link);
      dropped->~SetStorage();
      ::operator delete(dropped);
    });
  }

  // Values are nil.
  internal::ObjectTable table;
};

// Walks the table itself, and keeps it alive.
class SetEnumerator final : public HxEnumeratorObject {
 public:
  explicit SetEnumerator(SetStorage* set)
      : _set(set), _next(set->table.begin()), _generation(set->table.generation()) {}

  HxAny nextObject() override {
    if (_generation != _set->table.generation()) {
      HxException::raise(HxInternalInconsistencyException,
                         "-[HxEnumerator nextObject]: the set was changed meanwhile"_hx);
    }
    if (_next == _set->table.end()) return nullptr;
    HxAny object = _next->key;
    ++_next;
    return object;
  }

 private:
  const Ref<SetStorage> _set;
  internal::ObjectTable::Iterator _next;
  const HxUInteger _generation;
};

SetStorage* storageOf(const HxHandle& set) noexcept {
  return static_cast<SetStorage*>(set.object());
}

// The makers fill the storage before they hand out its handle: an immutable set takes nothing
// through a handle.

HxSet handleOf(const Ref<SetStorage>& storage) { return HxSet(HxAny::Unchecked{}, storage); }

HxMutableSet mutableHandleOf(const Ref<SetStorage>& storage) {
  return HxMutableSet(HxAny::Unchecked{}, storage);
}

Ref<SetStorage> makeSet(const HxArray& array, bool isMutable) {
  auto storage = makeRef<SetStorage>(isMutable);
  // The isEqual of an object may change the array.
  for (HxUInteger i = 0; i < array.count(); ++i) storage->table.insert(array.objectAtIndex(i));
  return storage;
}

Ref<SetStorage> makeSet(const SetStorage& other, bool isMutable) {
  auto storage = makeRef<SetStorage>(isMutable);
  storage->table = other.table;
  return storage;
}

HxClass SetStorage::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableSet::classObject() : HxSet::classObject();
}

bool SetStorage::isEqual(const HxObject& other) const {
  return this == &other ||
         (other.typeID() == HxTypeID::set && internal::areEqualContainers(*this, other));
}

HxUInteger SetStorage::hash() const { return internal::hashOfContainer(*this); }

HxString SetStorage::description() const { return internal::descriptionOfContainer(*this); }

HxAny SetStorage::copy() const {
  return bits() & kMutable ? HxAny(makeSet(*this, false)) : HxAny(this);
}

HxAny SetStorage::mutableCopy() const { return makeSet(*this, true); }

}  // namespace

const internal::ObjectTable& internal::tableOfSet(const HxObject& set) noexcept {
  return static_cast<const SetStorage&>(set).table;
}

HxClass HxSet::classObject() noexcept {
  static const HxClassInfo info{"HxSet", HxObject::classObject().info(),
                                [] { return HxAny(HxSet::set()); }};
  return HxClass(&info);
}

HxClass HxMutableSet::classObject() noexcept {
  static const HxClassInfo info{"HxMutableSet", HxSet::classObject().info(),
                                [] { return HxAny(HxMutableSet::set()); }};
  return HxClass(&info);
}

HxSet HxSet::set() { return handleOf(makeRef<SetStorage>(false)); }

HxSet HxSet::initWithArray(const HxArray& array) { return handleOf(makeSet(array, false)); }

HxSet HxSet::initWithObjects(std::initializer_list<HxAny> objects) {
  return handleOf(makeSet(HxArray::arrayWithObjects(objects), false));
}

HxUInteger HxSet::count() const { return _object ? storageOf(*this)->table.size() : 0; }

HxAny HxSet::member(const HxHandle& object) const {
  if (!_object || !object) return nullptr;
  const SetStorage::Member* found = storageOf(*this)->table.find(object.object());
  return found ? found->key : HxAny();
}

HxArray HxSet::allObjects() const {
  if (!_object) return nullptr;
  internal::ArrayBuilder result(count());
  for (const auto& member : storageOf(*this)->table) result.append(member.key);
  return result.finish();
}

HxEnumerator HxSet::objectEnumerator() const {
  return _object ? HxEnumerator(makeRef<SetEnumerator>(storageOf(*this))) : HxEnumerator();
}

HxSet HxSet::copy() const { return HxSet(Unchecked{}, HxHandle::copy()); }

HxMutableSet HxSet::mutableCopy() const {
  return HxMutableSet(Unchecked{}, HxHandle::mutableCopy());
}

HxMutableSet HxMutableSet::set() { return mutableHandleOf(makeRef<SetStorage>(true)); }

HxMutableSet HxMutableSet::initWithArray(const HxArray& array) {
  return mutableHandleOf(makeSet(array, true));
}

HxMutableSet HxMutableSet::initWithObjects(std::initializer_list<HxAny> objects) {
  return mutableHandleOf(makeSet(HxArray::arrayWithObjects(objects), true));
}

void HxMutableSet::addObject(const HxHandle& object) {
  if (isForChange("-[HxMutableSet addObject:]", HxTypeID::set) && object) {
    storageOf(*this)->table.insert(object);
  }
}

void HxMutableSet::addObjectsFromArray(const HxArray& array) {
  if (!isForChange("-[HxMutableSet addObjectsFromArray:]", HxTypeID::set)) return;
  // The isEqual of an object may change the array.
  for (HxUInteger i = 0; i < array.count(); ++i) addObject(array.objectAtIndex(i));
}

void HxMutableSet::removeObject(const HxHandle& object) {
  if (!isForChange("-[HxMutableSet removeObject:]", HxTypeID::set) || !object) return;
  // Released after the table is in order again.
  const SetStorage::Member removed = storageOf(*this)->table.extract(object.object());
}

void HxMutableSet::removeAllObjects() {
  if (!isForChange("-[HxMutableSet removeAllObjects]", HxTypeID::set)) return;
  internal::ObjectTable removed;
  removed.swap(storageOf(*this)->table);
}

}  // namespace rondel
