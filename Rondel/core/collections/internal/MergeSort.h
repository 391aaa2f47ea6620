// SPDX-License-Identifier: MIT
//
// A stable sort that is safe under any comparison, also under one that is no order. It never reads
// or writes outside the items and always ends. It never calls the comparison more than n log n
// times. The standard algorithms promise none of this.
//
// The idea: sort runs of eight by insertion, then merge pairs of runs until one is left. Each step
// moves every item exactly once, whatever the comparison says, so the result is a permutation.
//
//   with runs of two:   5 1 | 4 2 | 3      runs      1 5 | 2 4 | 3
//                                          merge 2   1 2 4 5 | 3
//                                          merge 4   1 2 3 4 5
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace rondel::internal {

template <class T, class IsLess>
void sortRunByInsertion(std::vector<T>& items, std::size_t start, std::size_t end,
                        const IsLess& isLess) {
  for (std::size_t next = start + 1; next < end; ++next) {
    T item = std::move(items[next]);
    std::size_t place = next;
    for (; place > start && isLess(item, items[place - 1]); --place) {
      items[place] = std::move(items[place - 1]);
    }
    items[place] = std::move(item);
  }
}

// Merges [start, middle) and [middle, end) into the same places of `merged`.
template <class T, class IsLess>
void mergeRuns(std::vector<T>& items, std::size_t start, std::size_t middle, std::size_t end,
               std::vector<T>& merged, const IsLess& isLess) {
  std::size_t left = start;
  std::size_t right = middle;
  for (std::size_t out = start; out < end; ++out) {
    const bool takesRight = left == middle || (right < end && isLess(items[right], items[left]));
    merged[out] = std::move(items[takesRight ? right++ : left++]);
  }
}

// Sorts by a comparison that returns whether its first argument comes first. If the comparison
// raises, the items are left in no order, and some of them are moved from.
template <class T, class IsLess>
void mergeSort(std::vector<T>& items, const IsLess& isLess) {
  constexpr std::size_t kRun = 8;
  const std::size_t count = items.size();
  for (std::size_t start = 0; start < count; start += kRun) {
    sortRunByInsertion(items, start, std::min(start + kRun, count), isLess);
  }
  std::vector<T> merged(count > kRun ? count : 0);
  for (std::size_t run = kRun; run < count; run *= 2) {
    for (std::size_t start = 0; start < count; start += 2 * run) {
      const std::size_t middle = std::min(start + run, count);
      mergeRuns(items, start, middle, std::min(start + 2 * run, count), merged, isLess);
    }
    items.swap(merged);
  }
}

}  // namespace rondel::internal
