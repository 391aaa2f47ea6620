// SPDX-License-Identifier: MIT
//
// The string lists that build settings hold over and over (architectures, build variants,
// compilers), split once for the whole process.
//
//   HxArray list = MoLookupVantorSpecificStringListInCache("i386 ppc", 8, nullptr);
//   // "i386", "ppc": the same array at every call; nil for a text that is not in the table
//
// arrayByParsingAsStringList (StringList.h) asks here first, so a tool has no need to: it gets the
// shared array of a list that is here, and a new one for any other text.
//
// The table is compiled in: 20 texts in 94 slots, found by a perfect hash of the first byte and the
// length. It is never added to and nothing is removed; the array of a row is made when it is first
// asked for. A text is found only as it stands in the table: "i386 ppc" is there, "ppc i386" and
// "i386 ppc " are not.
//
// Both functions may be called on any thread and take no lock. Threads that are the first to ask
// for one row may each split it; one array is kept, and all of them get that one. It is there for
// good and is not counted, so that threads which ask for it at once do not slow each other down.
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
  // What the splitter told the thread that came second; nil in every case, since rows are lists of
  // plain words.
  HxError error() const noexcept { return HxError(HxAny::Unchecked{}, HxAny(loaded(_error))); }

  // Keeps the list for good if there is none yet, as an array of its own, and the error not at all.
  // Otherwise keeps the error, and the list not.
  RONDEL_EXPORT void store(const HxArray& list, const HxError& error);

 private:
  static HxObject* loaded(HxObject* const& place) noexcept {
    return __atomic_load_n(&place, __ATOMIC_ACQUIRE);
  }

  HxObject* _value = nullptr;
  HxObject* _error = nullptr;
};

// The row of exactly this text, null when there is none. The bytes end with a NUL at bytes[length]
// or before. Null bytes and a negative length give null.
RONDEL_EXPORT VantorStringListRow* _VNLookupVantorStringListValueInGlobalCache(
    const char* bytes, std::int32_t length) noexcept;

// The list that the text stands for: one array that is shared by everybody, for a text in the
// table, and nil for any other, which is no error and tells the caller to split the text. With a
// length of 0 it is an empty array, whatever the bytes are. The first call for a row splits it with
// MoSplitWhitespaceSeparatedComponents; all others take nothing from the heap.
//
// `error` may be null. It is written for a text in the table alone: with the error of its row, nil.
RONDEL_EXPORT HxArray MoLookupVantorSpecificStringListInCache(const char* bytes, std::size_t length,
                                                              HxError* error);

}  // namespace rondel
