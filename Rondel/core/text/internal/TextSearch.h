// SPDX-License-Identifier: MIT
//
// A search for one pattern in one text, prepared once and run as often as wanted.
//
//   const Characters text(string), pattern(word);
//   const TextSearch search(text, pattern, options);
//   HxRange match = search.find({0, text.length()});
//
// ASCII is searched in place. Other text is searched by keys (ComposedText.h) unless the search is
// literal: a match is a run of whole composed character sequences of the text whose key is
// that of the pattern. The time grows as text and pattern do.
#pragma once

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/ComposedText.h"

namespace rondel::internal {

class TextSearch {
 public:
  // Text and pattern must outlive the search.
  TextSearch(const Characters& text, const Characters& pattern, HxStringCompareOptions options);
  TextSearch(const TextSearch&) = delete;
  TextSearch& operator=(const TextSearch&) = delete;

  // Returns the first match within a range that fits the text; the last one, or the one at its
  // start or end, if the options say so. An empty pattern is never found.
  HxRange find(HxRange range) const;

  // Returns how many units have been compared so far. A bad search makes it grow.
  HxUInteger work() const noexcept { return _work; }

  bool isBackwards() const noexcept { return (_options & HxBackwardsSearch) != 0; }
  bool isAnchored() const noexcept { return (_options & HxAnchoredSearch) != 0; }

 private:
  enum class Road : std::uint8_t {
    none,   // the pattern cannot be in the text
    bytes,  // ASCII bytes as they are
    units,  // unit by unit against the pattern's key
    keys,   // piece by piece against the pattern's key
  };

  void prepare(const Characters& pattern);
  HxRange findBytes(HxRange range) const;
  template <class Unit>
  HxRange findUnits(const Unit* units, HxRange range) const;
  template <class Unit>
  HxRange findUnitsSteadily(const Unit* units, HxRange range) const;
  template <class Unit>
  bool matchesUnitsAt(const Unit* units, HxUInteger index) const;
  HxRange findKeys(HxRange range) const;
  HxRange findKeysSteadily(HxRange range) const;
  HxUniChar patternUnit(HxUInteger index) const noexcept {
    return _bytes ? unitOf(_bytes[index]) : _key[index];
  }
  HxUInteger nextCandidate(HxUInteger from, HxUInteger end) const;
  HxUInteger endOfMatchAt(HxUInteger start, HxUInteger limit) const;
  HxUInteger startOfMatchEndingAt(HxUInteger end, HxUInteger limit) const;

  const Characters& _text;
  const HxStringCompareOptions _options;
  const Equivalence _equivalence;
  Road _road = Road::none;
  bool _startsAsItself = false;  // a match begins with the very unit that the key begins with
  const char* _bytes = nullptr;  // the pattern as bytes
  HxUInteger _length = 0;        // of the bytes, or of the key
  UnitBuffer _key;
  mutable HxUInteger _work = 0;
};

}  // namespace rondel::internal
