// SPDX-License-Identifier: MIT
//
// Collections of objects by key.
//
//   HxDictionary environment = HxProcessInfo::processInfo()->environment();
//   HxString home = environment.objectForKey<HxString>("HOME"_hx);
//   for (auto [key, value] : environment) HxLog("%@=%@"_hx, key, value);
//
// Keys are compared by isEqual and hash, and are kept as copies, so that a mutable string may serve
// as one. Neither keys nor values are ever nil: setting with a nil key or value does nothing. The
// order of keys is unspecified. On a nil dictionary every operation returns 0, nil or does nothing.
//
// Any class derived from HxDictionaryObject that supplies its three operations works as a
// dictionary; see DictionaryObject.h. Immutable dictionaries may be used on any thread.
#pragma once

#include <initializer_list>

#include "Rondel/core/collections/DictionaryObject.h"

namespace rondel {

class HxMutableDictionary;
namespace internal {
// The value in a built-in dictionary, still owned by it; null if the key is absent.
RONDEL_EXPORT const HxObject* storedObject(const HxObject& dictionary, const HxObject& key);
}  // namespace internal

// A value that somebody else keeps alive, as a handle of type H to read it with.
//
//   if (const auto size = sizes.borrowObjectForKey<HxNumber>(name)) sum += size->integerValue();
template <std::derived_from<HxHandle> H>
class HxBorrowed {
 public:
  // Nil if the object is null or of another kind.
  explicit HxBorrowed(const HxObject* object) noexcept
      : _handle(HxAny::Unchecked{},
                HxAny::adopt(H::canHold(object) ? const_cast<HxObject*>(object) : nullptr)),
        _isKept(false) {}
  // One that it has to keep alive itself.
  explicit HxBorrowed(H handle) noexcept : _handle(std::move(handle)), _isKept(true) {}
  HxBorrowed(const HxBorrowed&) = delete;
  HxBorrowed& operator=(const HxBorrowed&) = delete;
  ~HxBorrowed() {
    if (_isKept) _handle.~H();
  }

  const H& operator*() const noexcept { return _handle; }
  const H* operator->() const noexcept { return &_handle; }
  explicit operator bool() const noexcept { return bool(_handle); }

 private:
  union {
    H _handle;
  };
  bool _isKept;
};

class RONDEL_EXPORT HxDictionary : public HxHandle {
 public:
  struct Entry {
    HxAny key;
    HxAny value;
  };

  constexpr HxDictionary() noexcept = default;
  constexpr HxDictionary(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxDictionary(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  // A dictionary of one's own class. Nil gives nil.
  template <std::derived_from<HxDictionaryObject> T>
  explicit HxDictionary(const Ref<T>& object) noexcept : HxHandle(object) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::dictionary;
  }
  // The class of all dictionaries; that of HxMutableDictionary is below it.
  static HxClass classObject() noexcept { return HxDictionaryObject::classObject(); }

  static HxDictionary dictionary();
  static HxDictionary dictionaryWithObject(const HxHandle& object, const HxHandle& key);
  // Of entries that are given twice the last one counts.
  static HxDictionary dictionaryWithEntries(std::initializer_list<Entry> entries);
  // A new dictionary of the same entries; nil gives an empty one. With copyItems each value is
  // replaced by its copy.
  static HxDictionary initWithDictionary(const HxDictionary& other, bool copyItems = false);
  // A property list file whose root is a dictionary; nil if it cannot be read, is damaged, or has
  // another root.
  static HxDictionary dictionaryWithContentsOfFile(const HxString& path);

  HxUInteger count() const { return _object ? dictionaryObject()->count() : 0; }
  bool isEmpty() const { return count() == 0; }
  // Nil if the key is absent or nil.
  HxAny objectForKey(const HxHandle& key) const {
    if (!_object || !key) return HxAny();
    return isBuiltIn() ? HxAny(internal::storedObject(*_object, *key.object()))
                       : dictionaryObject()->objectForKey(key);
  }
  // The same as a handle of type H, nil if the value is of another kind.
  template <std::derived_from<HxHandle> H>
  H objectForKey(const HxHandle& key) const {
    return as<H>(objectForKey(key));
  }
  // The same without counting a reference where that can be done, for look-ups in a loop: good
  // until the dictionary is changed or goes.
  template <std::derived_from<HxHandle> H = HxAny>
  HxBorrowed<H> borrowObjectForKey(const HxHandle& key) const {
    if (!_object || !key) return HxBorrowed<H>(nullptr);
    if (!isBuiltIn()) return HxBorrowed<H>(objectForKey<H>(key));
    return HxBorrowed<H>(internal::storedObject(*_object, *key.object()));
  }
  HxArray allKeys() const;
  HxArray allValues() const;
  // Nil for nil. Adding or removing keys while an enumerator is in use is an error of the caller:
  // its next nextObject raises HxInternalInconsistencyException.
  HxEnumerator keyEnumerator() const {
    return _object ? dictionaryObject()->keyEnumerator() : HxEnumerator();
  }
  bool isEqualToDictionary(const HxDictionary& other) const { return isEqual(other); }

  // The dictionary itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxDictionary copy() const;
  [[nodiscard]] HxMutableDictionary mutableCopy() const;

  // Keeps the dictionary alive. Moving on after a key was added or removed raises
  // HxInternalInconsistencyException; replacing values is allowed.
  class Iterator {
   public:
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    Iterator() noexcept = default;
    explicit Iterator(const HxDictionaryObject* dictionary);
    const Entry& operator*() const noexcept { return _entry; }
    const Entry* operator->() const noexcept { return &_entry; }
    Iterator& operator++();
    void operator++(int) { ++*this; }
    // Only the question whether the end is reached makes sense.
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a._entry.key.object() == b._entry.key.object();
    }

   private:
    HxAny _dictionary;
    HxEnumerator _keys;
    Entry _entry;
  };
  Iterator begin() const { return Iterator(dictionaryObject()); }
  Iterator end() const noexcept { return Iterator(); }

 protected:
  bool isBuiltIn() const noexcept { return (bitsOf(_object) & kBuiltIn) != 0; }
  const HxDictionaryObject* dictionaryObject() const noexcept {
    return static_cast<const HxDictionaryObject*>(_object);
  }
};

// The mutable form.
class RONDEL_EXPORT HxMutableDictionary : public HxDictionary {
 public:
  constexpr HxMutableDictionary(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableDictionary(Unchecked, HxAny any) noexcept : HxDictionary(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::dictionary, kMutable);
  }
  static HxClass classObject() noexcept;

  // The operations of the same names, with a new mutable dictionary as their result.
  static HxMutableDictionary dictionary();
  // Empty. The capacity is advice.
  static HxMutableDictionary dictionaryWithCapacity(HxUInteger capacity);
  static HxMutableDictionary dictionaryWithObject(const HxHandle& object, const HxHandle& key);
  static HxMutableDictionary dictionaryWithEntries(std::initializer_list<Entry> entries);
  static HxMutableDictionary initWithDictionary(const HxDictionary& other, bool copyItems = false);

  // Replaces the value that the key has; the stored key stays then.
  void setObject(const HxHandle& object, const HxHandle& key);
  // Nothing if the key is absent.
  void removeObjectForKey(const HxHandle& key);
  void removeAllObjects();
  void addEntriesFromDictionary(const HxDictionary& other);
};

}  // namespace rondel
