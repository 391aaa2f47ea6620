// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/ComparedPairs.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "Rondel/core/text/internal/TextHash.h"

namespace rondel::internal {

namespace {

// Equality is symmetric: a pair is kept in the order of its addresses.
std::pair<const HxObject*, const HxObject*> inOrder(const HxObject& a, const HxObject& b) noexcept {
  return std::less<>()(&b, &a) ? std::pair(&b, &a) : std::pair(&a, &b);
}

std::size_t hashOfPair(const HxObject* first, const HxObject* second) noexcept {
  return spreadHash(reinterpret_cast<std::uintptr_t>(first) +
                    spreadHash(reinterpret_cast<std::uintptr_t>(second)));
}

}  // namespace

ComparedPairs::Verdict ComparedPairs::meet(const HxObject& a, const HxObject& b) {
  const auto [first, second] = inOrder(a, b);
  makeRoomForOne();
  Place& place = placeOf(first, second);
  if (place != kFree && _pairs[place].verdict != Verdict::unknown) return _pairs[place].verdict;
  _pairs.push_back({HxAny(first), HxAny(second), Verdict::equal});
  place = _pairs.size() - 1;
  return Verdict::unknown;
}

void ComparedPairs::setDifferent(const HxObject& a, const HxObject& b) noexcept {
  const auto [first, second] = inOrder(a, b);
  if (_places.empty()) return;
  const Place place = placeOf(first, second);
  if (place != kFree) _pairs[place].verdict = Verdict::different;
}

void ComparedPairs::forgetSince(std::size_t mark) noexcept {
  for (std::size_t i = mark; i < _pairs.size(); ++i) {
    if (_pairs[i].verdict == Verdict::equal) _pairs[i].verdict = Verdict::unknown;
  }
}

ComparedPairs::Place& ComparedPairs::placeOf(const HxObject* first,
                                             const HxObject* second) noexcept {
  const std::size_t mask = _places.size() - 1;
  std::size_t i = hashOfPair(first, second) & mask;
  while (_places[i] != kFree && !_pairs[_places[i]].isOf(first, second)) i = (i + 1) & mask;
  return _places[i];
}

void ComparedPairs::makeRoomForOne() {
  constexpr std::size_t kFirstPlaces = 64;
  if (2 * (_pairs.size() + 1) <= _places.size()) return;
  std::vector<Place> larger(std::max(kFirstPlaces, 2 * _places.size()), kFree);
  _places.swap(larger);
  // The later of two for one pair counts.
  for (std::size_t i = 0; i < _pairs.size(); ++i) {
    placeOf(_pairs[i].first.object(), _pairs[i].second.object()) = i;
  }
}

}  // namespace rondel::internal
