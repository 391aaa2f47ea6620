// SPDX-License-Identifier: MIT
//
// The string lists that build settings repeat (architectures, build variants, compilers), split
// once for the whole process.
//
//   HxArray list = MoLookupVantorSpecificStringListInCache("i386 ppc", 8, nullptr);
//   // "i386", "ppc": the same array at every call; nil for a text that is not in the table
//
// arrayByParsingAsStringList (StringList.h) asks here first, so a tool need not.
//
// The table is compiled in: 20 texts in 94 slots, found by a perfect hash of the first byte and the
// length. Nothing is added or removed. The array of a row is made when it is first asked for. A
// text is found only if it is the same: "i386 ppc" is in the table, "ppc i386" and "i386 ppc " are
// not.
//
// Both functions may be called on any thread and take no lock. Threads that are the first to ask
// for one row may each split it; one array is kept, and all of them get that one. It is never freed
// and not counted, so threads that ask for it at once do not slow each other down.
#pragma once

#include <cstddef>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/Error.h"

namespace rondel {

// A slot of the table, in static storage.
class VantorStringListRow {
 public:
  constexpr explicit VantorStringListRow(const char* text = nullptr) noexcept : key(text) {}
  VantorStringListRow(const VantorStringListRow&) = delete;
  VantorStringListRow& operator=(const VantorStringListRow&) = delete;

  // The text of the list; null for an empty slot.
  const char* key;

  // The split list; nil until it is first asked for.
  HxArray value() const noexcept { return HxArray(HxAny::Unchecked{}, HxAny(loaded(_value))); }
  // The error that the splitter reported to the thread that came second. Always nil, since rows are
  // lists of plain words.
  HxError error() const noexcept { return HxError(HxAny::Unchecked{}, HxAny(loaded(_error))); }

  // Keeps the list for good, as an array of its own, if there is none yet. Otherwise keeps the
  // error.
  RONDEL_EXPORT void store(const HxArray& list, const HxError& error);

 private:
  static HxObject* loaded(HxObject* const& place) noexcept {
    return __atomic_load_n(&place, __ATOMIC_ACQUIRE);
  }

  HxObject* _value = nullptr;
  HxObject* _error = nullptr;
};

// Returns the row of exactly this text, null if there is none. The bytes end with a NUL at
// bytes[length] or before. Returns null for null bytes and a negative length.
RONDEL_EXPORT VantorStringListRow* _VNLookupVantorStringListValueInGlobalCache(
    const char* bytes, std::int32_t length) noexcept;

// Returns the list for a text in the table: one array that all callers share. Returns nil for any
// other text, which is no error: the caller splits it. For a length of 0 it is an empty array,
// whatever the bytes are. The first call for a row splits its key with
// MoSplitWhitespaceSeparatedComponents; all others allocate nothing.
//
// `error` may be null. It is set only for a text in the table, to the error of its row, which is
// nil.
RONDEL_EXPORT HxArray MoLookupVantorSpecificStringListInCache(const char* bytes, std::size_t length,
                                                              HxError* error);

}  // namespace rondel
