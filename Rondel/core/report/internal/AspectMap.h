// SPDX-License-Identifier: MIT
//
// The levels of aspects by name. One thread at a time changes it. Any number of threads read it
// meanwhile, without a lock.
//
// Entries are never removed: a change of level is a store into the entry, a new aspect is one more.
// So all that a reader may still look at when the table grows is the old table itself. Old tables
// are kept; together they are smaller than the one in use. What is kept is bounded by the number of
// different aspects and not by the number of changes.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel::internal {

class AspectMap {
 public:
  constexpr AspectMap() noexcept = default;
  AspectMap(const AspectMap&) = delete;
  AspectMap& operator=(const AspectMap&) = delete;

  // Returns the level; 0 if it was not set, and for nil.
  HxUInteger levelOf(const HxString& aspect) const;
  // Does nothing for nil. The caller makes sure that one thread at a time is here.
  void setLevel(const HxString& aspect, HxUInteger level);
  // Forgets everything. No thread may be reading.
  void clear() noexcept;

 private:
  struct Entry;
  struct Table;

  static Entry* find(const Table* table, const HxString& aspect);
  // Puts an entry into the first free place.
  static void insert(Table& table, Entry* entry) noexcept;
  Table& tableWithRoom();

  Table* _table = nullptr;  // read and written as an atomic
  HxUInteger _count = 0;
};

}  // namespace rondel::internal
