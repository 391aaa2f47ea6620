// SPDX-License-Identifier: MIT
//
// The characters of any string as one run, for algorithms: in place for built-in strings, in a
// stack buffer for short ones of other classes, on the heap beyond that. Never a copy if a view
// will do.
//
//   Characters text(string);
//   // `units` is const char* (all ASCII) or const HxUniChar*
//   text.visit([&](auto* units, HxUInteger length) { ... });
#pragma once

#include <cstdlib>
#include <new>

#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

// Raises HxRangeException if a string lacks the last unit of a range within its stated length. Call
// it before taking memory for the range, which may be absurd.
inline void checkShown(const HxStringObject& string, HxRange range) {
  constexpr HxUInteger kMostUnits = HxNotFound / sizeof(HxUniChar);
  checkRange("-[HxString getCharacters:range:]", range, kMostUnits);
  if (range.length > 0) static_cast<void>(string.characterAtIndex(HxMaxRange(range) - 1));
}

class Characters {
 public:
  static constexpr HxUInteger kStackUnits = 256;

  // Valid as long as `string` is not changed. A nil string has no characters.
  explicit Characters(const HxString& string)
      : Characters(static_cast<const HxStringObject*>(string.object())) {}
  explicit Characters(const HxStringObject* string) {
    if (!string) return;
    _length = string->length();
    const HxStringObject::Contiguous run = string->contiguousCharacters();
    _narrow = run.narrow;
    _wide = run.wide;
    if (!_narrow && !_wide) gather(*string);
  }
  Characters(const Characters&) = delete;
  Characters& operator=(const Characters&) = delete;
  ~Characters() { std::free(_heap); }

  HxUInteger length() const noexcept { return _length; }
  // ASCII, one byte a unit; wide() is null then.
  const char* narrow() const noexcept { return _narrow; }
  const HxUniChar* wide() const noexcept { return _wide; }
  bool isNarrow() const noexcept { return _narrow != nullptr; }
  HxUniChar operator[](HxUInteger index) const noexcept {
    return _narrow ? static_cast<unsigned char>(_narrow[index]) : _wide[index];
  }

  template <class Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return _narrow ? visitor(_narrow, _length) : visitor(_wide, _length);
  }

 private:
  void gather(const HxStringObject& string) {
    HxUniChar* units = _stack;
    if (_length > kStackUnits) {
      checkShown(string, {0, _length});
      _heap = static_cast<HxUniChar*>(std::malloc(_length * sizeof(HxUniChar)));
      if (!_heap) throw std::bad_alloc();
      units = _heap;
    }
    try {
      string.getCharacters(units, {0, _length});
    } catch (...) {
      std::free(_heap);
      throw;
    }
    _wide = units;
  }

  HxUInteger _length = 0;
  const char* _narrow = "";
  const HxUniChar* _wide = nullptr;
  HxUniChar* _heap = nullptr;
  HxUniChar _stack[kStackUnits];
};

}  // namespace rondel::internal
