// SPDX-License-Identifier: MIT
//
// The hash table of dictionaries and sets: open addressing with linear probing, at most two thirds
// full. The hash is in the entry, so that most searches touch one cache line of the table and one
// key.
//
//   ObjectTable table;
//   table.insert(key).first->value = value;
//   if (const ObjectTable::Entry* entry = table.find(key.object())) ...
//
// Keys are never nil. What their hash or isEqual raises passes through and leaves the table as it
// was. If their isEqual changes the table, the operation raises HxInternalInconsistencyException.
#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "Rondel/core/collections/internal/ObjectKeys.h"

namespace rondel::internal {

class ObjectTable {
 public:
  struct Entry {
    HxAny key;
    std::size_t hash = 0;  // 0 if the place is free
    HxAny value;
  };

  ObjectTable() noexcept = default;
  ObjectTable(const ObjectTable& other);
  ObjectTable& operator=(const ObjectTable& other) {
    ObjectTable(other).swap(*this);
    return *this;
  }
  ~ObjectTable() = default;
  void swap(ObjectTable& other) noexcept {
    std::swap(_places, other._places);
    std::swap(_capacity, other._capacity);
    std::swap(_count, other._count);
    ++_generation;
    ++other._generation;
  }

  std::size_t size() const noexcept { return _count; }
  bool empty() const noexcept { return _count == 0; }
  // Counts the changes of places: after each, entries may be elsewhere or gone.
  HxUInteger generation() const noexcept { return _generation; }
  // Raises HxInternalInconsistencyException if the table has another generation.
  void requireUnchangedSince(HxUInteger generation) const {
    if (_generation != generation) raiseChanged();
  }

  // Returns the entry of a key, null if there is none.
  const Entry* find(const HxObject* key) const {
    if (_count == 0) return nullptr;
    const bool isFlat = ObjectBits::isFlatString(key);
    if (const Entry* const entry = isFlat ? glimpse(*flatString(key)) : nullptr) return entry;
    return findSlowly(key);
  }
  // The entries whose key has the hash of a given key: their number, and the first of them.
  struct Candidates {
    std::size_t count = 0;
    const Entry* first = nullptr;
  };
  Candidates candidatesFor(const HxObject* key) const;
  // Returns whether one of these entries is wanted. `isWanted(key, value)` may run code of the
  // caller.
  template <class IsWanted>
  bool hasCandidate(const HxObject* key, const IsWanted& isWanted) const {
    if (_count == 0) return false;
    const std::size_t hash = hashOf(key);  // may empty the table
    if (_count == 0) return false;
    const HxUInteger before = _generation;
    for (std::size_t i = wrapped(hash); _places[i].hash != 0; i = wrapped(i + 1)) {
      if (_places[i].hash != hash) continue;
      const Entry held = _places[i];
      const bool isFound = isWanted(held.key.object(), held.value.object());
      requireUnchangedSince(before);
      if (isFound) return true;
    }
    return false;
  }
  // Returns the entry for a key that is a string of these ASCII characters.
  const Entry* findText(std::string_view ascii) const {
    if (_count == 0) return nullptr;
    const std::size_t hash = (hashOfBytes(ascii.data(), ascii.size()) >> 1) | kUsed;
    return findWith(hash, [this, ascii](const HxObject* kept) { return isText(kept, ascii); });
  }
  // Returns the entry of this key and whether it is new. A new one has a nil value.
  std::pair<Entry*, bool> insert(HxAny key);
  // Takes the entry of this key out. Returns an empty one if there is none.
  Entry extract(const HxObject* key);
  // Returns how many places a search for this key looks at. Bad hashes make it grow.
  std::size_t probesFor(const HxObject* key) const;
  // Makes room for this many entries in all.
  void reserve(std::size_t count);

  class Iterator {
   public:
    Iterator(const Entry* place, const Entry* end) noexcept : _place(place), _end(end) {
      skipFree();
    }
    const Entry& operator*() const noexcept { return *_place; }
    const Entry* operator->() const noexcept { return _place; }
    Iterator& operator++() noexcept {
      ++_place;
      skipFree();
      return *this;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return a._place == b._place;
    }

   private:
    void skipFree() noexcept {
      while (_place != _end && _place->hash == 0) ++_place;
    }
    const Entry* _place;
    const Entry* _end;
  };
  // Calls visit with each key and its value. Ends and returns false as soon as visit does. Raises
  // HxInternalInconsistencyException if visit has changed the table.
  template <class Visit>
  bool forEach(const Visit& visit) const {
    const HxUInteger before = _generation;
    for (const Entry& entry : *this) {
      const HxAny key = entry.key;
      const HxAny value = entry.value;
      const bool goesOn = visit(key.object(), value.object());
      requireUnchangedSince(before);
      if (!goesOn) return false;
    }
    return true;
  }
  Iterator begin() const noexcept { return {_places.get(), endOfPlaces()}; }
  Iterator end() const noexcept { return {endOfPlaces(), endOfPlaces()}; }

 private:
  [[noreturn]] static void raiseChanged();
  // Never 0.
  static std::size_t hashOf(const HxObject* key) { return tableHash(key) | kUsed; }
  const Entry* endOfPlaces() const noexcept { return _places.get() + _capacity; }
  // Where a search goes on, and for a hash, where it starts.
  std::size_t wrapped(std::size_t index) const noexcept { return index & (_capacity - 1); }

  // Returns the entry of a short string that was hashed before, if it is in its own place or in the
  // one after it, as most are. Null tells nothing. Deliberate: the step between the two places is
  // an addition, because a branch would be mispredicted for one key in four. There is no call, so
  // no registers are saved.
  const Entry* glimpse(const FlatString& key) const noexcept {
    const std::size_t hash = (key.keptHash() >> 1) | kUsed;
    const std::size_t own = wrapped(hash);
    const Entry& entry = _places[wrapped(own + (_places[own].hash != hash))];
    const HxObject* const kept = entry.key.object();
    if (entry.hash != hash || !ObjectBits::isFlatLike(key, kept)) return nullptr;
    const FlatString& other = *flatString(kept);
    const std::size_t bytes = key.byteLength();
    const bool isSame = key.flatLength() == other.flatLength() && bytes <= kMostBytesOfShortRun &&
                        areSameShortRuns(key.narrow(), other.narrow(), bytes);
    return isSame ? &entry : nullptr;
  }
  [[gnu::noinline]] const Entry* findSlowly(const HxObject* key) const {
    const std::size_t hash = hashOf(key);
    return _count == 0 ? nullptr : find(key, hash);  // the hash of a key may empty the table
  }
  const Entry* find(const HxObject* key, std::size_t hash) const {
    return findWith(hash, [this, key](const HxObject* kept) { return isSameKey(kept, key); });
  }
  bool isSameKey(const HxObject* kept, const HxObject* key) const {
    if (kept == key) return true;
    const bool areText = ObjectBits::isFlatString(kept) && ObjectBits::isFlatString(key);
    return areText ? equalObjects(kept, key) : isEqualKey(kept, key);
  }
  // Calls isEqual, which may run code of the caller.
  bool isEqualKey(const HxObject* kept, const HxObject* key) const;
  template <class IsKey>
  const Entry* findWith(std::size_t hash, const IsKey& isKey) const {
    for (std::size_t i = wrapped(hash);; i = wrapped(i + 1)) {
      const Entry& entry = _places[i];
      if (entry.hash == hash) {
        // The caller reads the value next: fetch it while the keys are compared.
        __builtin_prefetch(entry.value.object());
        if (isKey(entry.key.object())) return &entry;
      }
      if (entry.hash == 0) return nullptr;
    }
  }
  Entry* freePlace(std::size_t hash) noexcept;

  bool isText(const HxObject* kept, std::string_view ascii) const {
    if (!ObjectBits::isFlatString(kept)) return isOpenText(kept, ascii);
    return flatString(kept)->isNarrow() && flatString(kept)->narrowView() == ascii;
  }
  bool isOpenText(const HxObject* kept, std::string_view ascii) const;

  static constexpr std::size_t kUsed = std::size_t{1} << 63;
  static constexpr std::size_t kLeastCapacity = 4;

  std::unique_ptr<Entry[]> _places;
  std::size_t _capacity = 0;  // a power of two, or 0
  std::size_t _count = 0;
  HxUInteger _generation = 0;
};

}  // namespace rondel::internal
