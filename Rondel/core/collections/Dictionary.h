// SPDX-License-Identifier: MIT
//
// Collections of objects by key.
//
//   HxDictionary environment = HxProcessInfo::processInfo()->environment();
//   HxString home = environment.objectForKey<HxString>("HOME"_hx);
//   for (auto [key, value] : environment) HxLog("%@=%@"_hx, key, value);
//
// Keys are compared by isEqual and hash. They are copied, so that a mutable string may be a key. If
// the isEqual or hash of a key changes the dictionary that asks it, the operation may raise
// HxInternalInconsistencyException. They must not drop the dictionary. Neither keys nor values are
// ever nil: setting with a nil key or value does nothing. The order of keys is unspecified. On a
// nil dictionary every operation returns 0, nil or does nothing.
//
// Any class derived from HxDictionaryObject that supplies its three operations works as a
// dictionary; see DictionaryObject.h. Immutable dictionaries may be used on any thread.
#pragma once

#include <initializer_list>

#include "Rondel/core/collections/DictionaryObject.h"

namespace rondel {

class HxMutableDictionary;
namespace internal {
// Returns the value in a built-in dictionary, which owns it; null if the key is absent.
RONDEL_EXPORT const HxObject* storedObject(const HxObject& dictionary, const HxObject& key);
}  // namespace internal

// A value that its dictionary keeps alive, as a handle of type H for reading.
//
//   if (const auto size = sizes.borrowObjectForKey<HxNumber>(name)) sum += size->integerValue();
template <std::derived_from<HxHandle> H>
class HxBorrowed {
 public:
  // Makes nil if the object is null or of another kind.
  explicit HxBorrowed(const HxObject* object) noexcept
      : _handle(HxAny::Unchecked{},
                HxAny::adopt(H::canHold(object) ? const_cast<HxObject*>(object) : nullptr)),
        _isKept(false) {}
  // Takes a value that it keeps alive itself.
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
  // Wraps an object of your own class; see DictionaryObject.h. Nil makes nil.
  template <std::derived_from<HxDictionaryObject> T>
  explicit HxDictionary(const Ref<T>& object) noexcept : HxHandle(object) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::dictionary;
  }
  // Returns the class of all dictionaries. That of HxMutableDictionary is derived from it.
  static HxClass classObject() noexcept { return HxDictionaryObject::classObject(); }

  static HxDictionary dictionary();
  static HxDictionary dictionaryWithObject(const HxHandle& object, const HxHandle& key);
  // Returns the entries. If a key is given twice, the last value counts.
  static HxDictionary dictionaryWithEntries(std::initializer_list<Entry> entries);
  // Returns a new dictionary of the same entries; an empty one for nil. With copyItems each value
  // is replaced by its copy.
  static HxDictionary initWithDictionary(const HxDictionary& other, bool copyItems = false);
  // Returns the dictionary in a property list file. Returns nil if the file cannot be read, is
  // damaged, or has another root.
  static HxDictionary dictionaryWithContentsOfFile(const HxString& path);

  HxUInteger count() const { return _object ? dictionaryObject()->count() : 0; }
  bool isEmpty() const { return count() == 0; }
  // Returns the value; nil if the key is absent or nil.
  HxAny objectForKey(const HxHandle& key) const {
    if (!_object || !key) return HxAny();
    return isBuiltIn() ? HxAny(internal::storedObject(*_object, *key.object()))
                       : dictionaryObject()->objectForKey(key);
  }
  // Returns the same as a handle of type H, nil if the value is of another kind.
  template <std::derived_from<HxHandle> H>
  H objectForKey(const HxHandle& key) const {
    return as<H>(objectForKey(key));
  }
  // Returns the same, if possible without counting a reference; for look-ups in a loop. It is valid
  // until the dictionary is changed or goes.
  template <std::derived_from<HxHandle> H = HxAny>
  HxBorrowed<H> borrowObjectForKey(const HxHandle& key) const {
    if (!_object || !key) return HxBorrowed<H>(nullptr);
    if (!isBuiltIn()) return HxBorrowed<H>(objectForKey<H>(key));
    return HxBorrowed<H>(internal::storedObject(*_object, *key.object()));
  }
  HxArray allKeys() const;
  HxArray allValues() const;
  // Returns an enumerator of the keys, nil on nil. If a key is added or removed meanwhile, its next
  // nextObject raises HxInternalInconsistencyException.
  HxEnumerator keyEnumerator() const {
    return _object ? dictionaryObject()->keyEnumerator() : HxEnumerator();
  }
  bool isEqualToDictionary(const HxDictionary& other) const { return isEqual(other); }

  // Returns the dictionary itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxDictionary copy() const;
  [[nodiscard]] HxMutableDictionary mutableCopy() const;

  // Keeps the dictionary alive. Advancing after a key was added or removed raises
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
    // Compares with the end only.
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

  // Do as in HxDictionary, but return a new mutable dictionary.
  static HxMutableDictionary dictionary();
  // Returns an empty dictionary. The capacity is advice.
  static HxMutableDictionary dictionaryWithCapacity(HxUInteger capacity);
  static HxMutableDictionary dictionaryWithObject(const HxHandle& object, const HxHandle& key);
  static HxMutableDictionary dictionaryWithEntries(std::initializer_list<Entry> entries);
  static HxMutableDictionary initWithDictionary(const HxDictionary& other, bool copyItems = false);

  // Sets the value of a key. If the key is present, the stored key stays.
  void setObject(const HxHandle& object, const HxHandle& key);
  // Does nothing if the key is absent.
  void removeObjectForKey(const HxHandle& key);
  void removeAllObjects();
  void addEntriesFromDictionary(const HxDictionary& other);
};

}  // namespace rondel
