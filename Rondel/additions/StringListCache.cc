// SPDX-License-Identifier: MIT
#include "Rondel/additions/StringListCache.h"

#include <cstring>
#include <string_view>

#include "Rondel/additions/StringList.h"
#include "Rondel/additions/internal/StringListTable.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"

namespace rondel {

namespace {

using internal::ArrayStorage;
using internal::kLongestStringList;
using internal::kShortestStringList;
using internal::kStringListSlots;
using Hash = internal::_VNHashVantorStringListValueForGlobalCache;

struct Table {
  constexpr Table() {
    for (const char* const text : internal::kStringLists) {
      const auto length = static_cast<unsigned>(std::string_view(text).size());
      VantorStringListRow& row = rows[Hash::hash(text, length)];
      if (row.key) throw "two texts in one slot";  // while compiling: an error of the compiler
      row.key = text;
    }
  }
  VantorStringListRow rows[kStringListSlots];
};

constinit Table table;

VantorStringListRow* findRow(const char* bytes, std::size_t length) noexcept {
  if (!bytes || length < kShortestStringList || length > kLongestStringList) return nullptr;
  const unsigned slot = Hash::hash(bytes, static_cast<unsigned>(length));
  if (slot >= kStringListSlots) return nullptr;
  VantorStringListRow& row = table.rows[slot];
  if (!row.key || row.key[0] != bytes[0]) return nullptr;
  const bool isSame = std::strncmp(bytes + 1, row.key + 1, length - 1) == 0;
  return isSame && row.key[length] == '\0' ? &row : nullptr;
}

// Splits the key and not the caller's bytes, which may not end with the text. Otherwise one
// caller's mistake would be every later caller's list.
[[gnu::noinline]] void fill(VantorStringListRow& row) {
  HxError error;
  const HxArray list = MoSplitWhitespaceSeparatedComponents(row.key, std::strlen(row.key), &error);
  row.store(list, error);
}

}  // namespace

VantorStringListRow& internal::stringListRow(unsigned slot) noexcept { return table.rows[slot]; }

void VantorStringListRow::store(const HxArray& list, const HxError& error) {
  ArrayStorage* const array = ArrayStorage::makeUncounted(list);
  HxObject* none = nullptr;
  if (__atomic_compare_exchange_n(&_value, &none, array, false, __ATOMIC_SEQ_CST,
                                  __ATOMIC_SEQ_CST)) {
    return;
  }
  ArrayStorage::dropUncounted(array);
  // Deliberate: only the thread that came second keeps its error.
  if (error) error.object()->retain();
  __atomic_store_n(&_error, error.object(), __ATOMIC_SEQ_CST);
}

VantorStringListRow* _VNLookupVantorStringListValueInGlobalCache(const char* bytes,
                                                                 std::int32_t length) noexcept {
  return length < 0 ? nullptr : findRow(bytes, static_cast<std::size_t>(length));
}

HxArray MoLookupVantorSpecificStringListInCache(const char* bytes, std::size_t length,
                                                HxError* error) {
  if (length == 0) return HxArray::array();
  VantorStringListRow* const row = findRow(bytes, length);
  if (!row) return nullptr;
  HxArray list = row->value();
  if (!list) {
    fill(*row);
    list = row->value();
  }
  if (error) *error = row->error();
  return list;
}

}  // namespace rondel
