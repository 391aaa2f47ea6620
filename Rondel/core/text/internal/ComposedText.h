// SPDX-License-Identifier: MIT
//
// Composed character sequences, and the keys by which text is compared and searched.
//
// A sequence is a base with the marks that follow it (general category M), a run of conjoining
// Hangul letters that make one syllable, or a surrogate pair. Marks do not join a control character
// or a line separator. Text may be divided between sequences without changing what it is
// canonically equivalent to (Unicode Standard, 3.11).
//
// Texts that are equal under an Equivalence have the same key: the normal form D, case-folded if
// case is ignored. Keys are made sequence by sequence.
#pragma once

#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/UnitBuffer.h"

namespace rondel::internal {

inline constexpr HxUniChar kFirstMark = 0x300;  // no unit below it joins the one before it

bool isSequenceBoundarySlow(const HxUniChar* units, HxUInteger length, HxUInteger index);

// Returns whether a sequence begins at `index`; true at both ends of the text.
inline bool isSequenceBoundary(const HxUniChar* units, HxUInteger length, HxUInteger index) {
  return index == 0 || index >= length || units[index] < kFirstMark ||
         isSequenceBoundarySlow(units, length, index);
}
inline bool isSequenceBoundary(const char*, HxUInteger, HxUInteger) { return true; }

// Returns the end of the sequence that contains `index`, which is below `length`.
template <class Unit>
HxUInteger nextSequenceBoundary(const Unit* units, HxUInteger length, HxUInteger index) {
  do ++index;
  while (!isSequenceBoundary(units, length, index));
  return index;
}

// Returns the start of the sequence that contains the unit before `index`, which is above 0.
template <class Unit>
HxUInteger previousSequenceBoundary(const Unit* units, HxUInteger length, HxUInteger index) {
  do --index;
  while (!isSequenceBoundary(units, length, index));
  return index;
}

// Which texts are equal.
struct Equivalence {
  explicit Equivalence(HxStringCompareOptions options)
      : canonical((options & HxLiteralSearch) == 0),
        foldsCase((options & HxCaseInsensitiveSearch) != 0) {}

  // Returns whether code units are compared as they are.
  bool isExact() const noexcept { return !canonical && !foldsCase; }
  // Returns the key of an ASCII unit.
  HxUniChar fold(HxUniChar ascii) const noexcept {
    return foldsCase && ascii >= u'A' && ascii <= u'Z' ? static_cast<HxUniChar>(ascii + 32) : ascii;
  }

  bool canonical;
  bool foldsCase;
};

// Keys are made of pieces: sequences, or code points if canonical equivalence is ignored.
HxUInteger nextPiece(const HxUniChar* units, HxUInteger length, HxUInteger index,
                     Equivalence equivalence);
HxUInteger previousPiece(const HxUniChar* units, HxUInteger length, HxUInteger index,
                         Equivalence equivalence);
bool isPieceBoundary(const HxUniChar* units, HxUInteger length, HxUInteger index,
                     Equivalence equivalence);
// Appends the key of a text that consists of whole pieces.
void appendKey(const HxUniChar* units, HxUInteger length, Equivalence equivalence, UnitBuffer& key);
void appendKey(const char* ascii, HxUInteger length, Equivalence equivalence, UnitBuffer& key);
bool mayBeginKeySlow(HxUniChar unit, HxUniChar first, Equivalence equivalence);
// Returns whether the key of a piece that begins with `unit` can begin with `first`. Often wrongly
// true for rare units.
inline bool mayBeginKey(HxUniChar unit, HxUniChar first, Equivalence equivalence) {
  return unit < 0x80 ? equivalence.fold(unit) == first : mayBeginKeySlow(unit, first, equivalence);
}

// Raises what the failure of an ICU function means; too little room for the result is none.
void checkICUStatus(int status);

// Runs of at least this many marks are long: ICU sorts shorter ones faster.
inline constexpr HxUInteger kLongRunOfMarks = 32;
// Returns the first run of at least twice as many units, perhaps of a shorter one, that are all
// marks with a place in the canonical order, from `from` on; kNotFoundRange if there is none.
HxRange nextLongRunOfMarks(const HxUniChar* units, HxUInteger length, HxUInteger from);

// Appends the normal form D or C. The time grows as the text does.
void appendDecomposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out);
void appendComposed(const HxUniChar* units, HxUInteger length, UnitBuffer& out);
// Return whether text is known to be in that form already.
bool isDecomposed(const HxUniChar* units, HxUInteger length);
bool isComposed(const HxUniChar* units, HxUInteger length);

}  // namespace rondel::internal
