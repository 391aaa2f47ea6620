// SPDX-License-Identifier: MIT
//
// What a comparison of containers knows of the pairs that it has met. With it a comparison ends for
// containers that hold themselves, and looks at a shared one once.
//
//   a = [a], b = [b]     a and b are met: unknown, equal from now on
//                        their elements a and b are met again: equal; nothing is left
//
// A pair counts as equal once it is met, until it or a pair around it turns out to be different.
// "Different" is final. "Equal" holds only as long as for the pairs around it. So a comparison that
// fails forgets the equal pairs that it has added.
#pragma once

#include <vector>

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class ComparedPairs {
 public:
  enum class Verdict { unknown, equal, different };

  // Returns what is known of a pair in either order. One that is unknown counts as equal after
  // that. Both objects are kept alive, so that no other pair gets their addresses.
  Verdict meet(const HxObject& a, const HxObject& b);
  // Marks a pair that was met.
  void setDifferent(const HxObject& a, const HxObject& b) noexcept;
  // Returns the number of pairs that have been added, a mark for forgetSince.
  std::size_t added() const noexcept { return _pairs.size(); }
  // Makes unknown again what counts as equal since a mark.
  void forgetSince(std::size_t mark) noexcept;

 private:
  struct Pair {
    HxAny first;
    HxAny second;
    Verdict verdict;
    bool isOf(const HxObject* a, const HxObject* b) const noexcept {
      return first.object() == a && second.object() == b;
    }
  };
  // An index of _pairs, or kFree.
  using Place = std::size_t;
  static constexpr Place kFree = ~Place{0};

  // The place of a pair, or the free one where it belongs. There are places.
  Place& placeOf(const HxObject* first, const HxObject* second) noexcept;
  void makeRoomForOne();

  std::vector<Pair> _pairs;    // a pair that was forgotten and met again is in it twice
  std::vector<Place> _places;  // a hash table of a power of two, at most half full
};

}  // namespace rondel::internal
