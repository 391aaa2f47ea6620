// SPDX-License-Identifier: MIT
#include "Rondel/core/report/internal/AspectMap.h"

#include <atomic>
#include <memory>
#include <utility>

namespace rondel::internal {

struct AspectMap::Entry {
  const HxString aspect;  // immutable
  const HxUInteger hash;
  std::atomic<HxUInteger> level;
};

// A power of two of places, at most half of them taken; an entry is at its hash or after it.
struct AspectMap::Table {
  Table(HxUInteger size, Table* smaller)
      : mask(size - 1), places(new std::atomic<Entry*>[size]()), former(smaller) {}

  const HxUInteger mask;
  const std::unique_ptr<std::atomic<Entry*>[]> places;
  const std::unique_ptr<Table> former;  // kept for readers that still use it
};

namespace {
constexpr HxUInteger kFirstSize = 32;
}

HxUInteger AspectMap::levelOf(const HxString& aspect) const {
  const Entry* entry = find(__atomic_load_n(&_table, __ATOMIC_ACQUIRE), aspect);
  return entry ? entry->level.load(std::memory_order_relaxed) : 0;
}

void AspectMap::setLevel(const HxString& aspect, HxUInteger level) {
  if (!aspect) return;
  if (Entry* entry = find(_table, aspect)) {
    entry->level.store(level, std::memory_order_relaxed);
    return;
  }
  Table& table = tableWithRoom();
  insert(table, new Entry{aspect.copy(), aspect.hash(), level});
  ++_count;
}

AspectMap::Entry* AspectMap::find(const Table* table, const HxString& aspect) {
  if (!table || !aspect) return nullptr;
  const HxUInteger hash = aspect.hash();
  for (HxUInteger at = hash;; ++at) {
    Entry* entry = table->places[at & table->mask].load(std::memory_order_acquire);
    if (!entry) return nullptr;
    if (entry->aspect.object() == aspect.object()) return entry;
    if (entry->hash == hash && entry->aspect.isEqualToString(aspect)) return entry;
  }
}

void AspectMap::insert(Table& table, Entry* entry) noexcept {
  HxUInteger at = entry->hash;
  while (table.places[at & table.mask].load(std::memory_order_relaxed)) ++at;
  table.places[at & table.mask].store(entry, std::memory_order_release);
}

AspectMap::Table& AspectMap::tableWithRoom() {
  Table* const table = _table;
  if (table && 2 * _count <= table->mask) return *table;
  auto* const larger = new Table(table ? 2 * (table->mask + 1) : kFirstSize, table);
  for (HxUInteger at = 0; table && at <= table->mask; ++at) {
    Entry* entry = table->places[at].load(std::memory_order_relaxed);
    if (entry) insert(*larger, entry);
  }
  __atomic_store_n(&_table, larger, __ATOMIC_RELEASE);
  return *larger;
}

void AspectMap::clear() noexcept {
  const std::unique_ptr<Table> table(std::exchange(_table, nullptr));
  for (HxUInteger at = 0; table && at <= table->mask; ++at) delete table->places[at].load();
  _count = 0;
}

}  // namespace rondel::internal
