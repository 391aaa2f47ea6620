// SPDX-License-Identifier: MIT
//
// An entry is in the place that its hash names, or in the first free one after it. A search starts
// at the place of the hash and ends at a free place. A removed entry leaves no mark. Later entries
// move up into the gap if their own search starts there or before it.
//
//   8 places; hashes end in a: 2, b: 2, c: 3, d: 5       place  2 3 4 5
//   after inserting a, b, c, d                                  a b c d
//   remove a: b moves to 2, c (which starts at 3) to 3          b c . d
//   d starts at its own place, after the gap: it stays
#include "Rondel/core/collections/internal/ObjectTable.h"

#include <algorithm>
#include <bit>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

ObjectTable::ObjectTable(const ObjectTable& other) {
  if (other.empty()) return;
  _places = std::make_unique<Entry[]>(other._capacity);
  _capacity = other._capacity;
  std::copy_n(other._places.get(), _capacity, _places.get());
  _count = other._count;
}

void ObjectTable::raiseChanged() {
  HxException::raise(HxInternalInconsistencyException,
                     "-[HxObject isEqual:]: an object has changed the collection that it is in"_hx);
}

bool ObjectTable::isEqualKey(const HxObject* kept, const HxObject* key) const {
  const bool isPlain = kept->typeID() == HxTypeID::number || kept->typeID() == HxTypeID::date;
  if (isPlain && kept->typeID() == key->typeID()) return kept->isEqual(*key);
  const HxAny held(kept);
  const HxUInteger before = _generation;
  const bool isEqual = kept->isEqual(*key);
  requireUnchangedSince(before);
  return isEqual;
}

bool ObjectTable::isOpenText(const HxObject* kept, std::string_view ascii) const {
  return isEqualKey(kept, makeString(ascii.data(), ascii.size()).object());
}

std::pair<ObjectTable::Entry*, bool> ObjectTable::insert(HxAny key) {
  const std::size_t hash = hashOf(key.object());
  if (_count != 0) {
    if (const Entry* found = find(key.object(), hash)) return {const_cast<Entry*>(found), false};
  }
  reserve(_count + 1);
  Entry* const entry = freePlace(hash);
  entry->key = std::move(key);
  entry->hash = hash;
  ++_count;
  ++_generation;
  return {entry, true};
}

// Entries after the gap move up if their searches start at it or before, so that none ends too
// early.
ObjectTable::Entry ObjectTable::extract(const HxObject* key) {
  const Entry* const found = find(key);
  if (!found) return {};
  auto gap = static_cast<std::size_t>(found - _places.get());
  Entry taken = std::exchange(_places[gap], Entry());
  for (std::size_t i = wrapped(gap + 1); _places[i].hash != 0; i = wrapped(i + 1)) {
    if (wrapped(i - _places[i].hash) < wrapped(i - gap)) continue;
    _places[gap] = std::exchange(_places[i], Entry());
    gap = i;
  }
  --_count;
  ++_generation;
  return taken;
}

ObjectTable::Candidates ObjectTable::candidatesFor(const HxObject* key) const {
  Candidates found;
  if (_count == 0) return found;
  const std::size_t hash = hashOf(key);  // may empty the table
  if (_count == 0) return found;
  for (std::size_t i = wrapped(hash); _places[i].hash != 0; i = wrapped(i + 1)) {
    if (_places[i].hash == hash && found.count++ == 0) found.first = &_places[i];
  }
  return found;
}

std::size_t ObjectTable::probesFor(const HxObject* key) const {
  if (_count == 0) return 0;
  const std::size_t hash = hashOf(key);
  if (_count == 0) return 0;
  const Entry* const found = find(key, hash);
  std::size_t end = wrapped(hash);
  while (found ? &_places[end] != found : _places[end].hash != 0) end = wrapped(end + 1);
  return wrapped(end - hash) + 1;
}

void ObjectTable::reserve(std::size_t count) {
  if (count * 3 <= _capacity * 2) return;
  ObjectTable larger;
  larger._capacity = std::bit_ceil(std::max(kLeastCapacity, count + count / 2 + 1));
  larger._places = std::make_unique<Entry[]>(larger._capacity);
  for (std::size_t i = 0; i < _capacity; ++i) {
    if (_places[i].hash != 0) *larger.freePlace(_places[i].hash) = std::move(_places[i]);
  }
  larger._count = std::exchange(_count, 0);
  swap(larger);
}

ObjectTable::Entry* ObjectTable::freePlace(std::size_t hash) noexcept {
  std::size_t i = wrapped(hash);
  while (_places[i].hash != 0) i = wrapped(i + 1);
  return &_places[i];
}

}  // namespace rondel::internal
