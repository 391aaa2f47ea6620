// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/MergeSort.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <random>
#include <stdexcept>

namespace rondel::internal {
namespace {

// Around the sizes of a run and of its multiples.
constexpr std::size_t kSizes[] = {0, 1, 2, 7, 8, 9, 15, 16, 17, 31, 33, 100, 1000};

std::vector<int> shuffled(std::size_t size) {
  std::vector<int> items(size);
  std::iota(items.begin(), items.end(), 0);
  std::mt19937 random(static_cast<unsigned>(size));
  std::shuffle(items.begin(), items.end(), random);
  return items;
}

std::vector<int> inOrder(std::size_t size) {
  std::vector<int> items(size);
  std::iota(items.begin(), items.end(), 0);
  return items;
}

TEST(MergeSort, SortsEverySize) {
  for (const std::size_t size : kSizes) {
    std::vector<int> items = shuffled(size);
    mergeSort(items, std::less<>());
    EXPECT_EQ(items, inOrder(size)) << size;
  }
}

TEST(MergeSort, KeepsTheOrderOfEqualItems) {
  for (const std::size_t size : kSizes) {
    std::vector<int> items = inOrder(size);
    mergeSort(items, [](int a, int b) { return a % 3 < b % 3; });
    std::vector<int> expected = inOrder(size);
    std::stable_sort(expected.begin(), expected.end(), [](int a, int b) { return a % 3 < b % 3; });
    EXPECT_EQ(items, expected) << size;
  }
}

TEST(MergeSort, KeepsEveryItemUnderAComparisonThatIsNoOrder) {
  std::mt19937 random(1);
  const std::function<bool(int, int)> comparisons[] = {
      [](int, int) { return true; },
      [](int, int) { return false; },
      [](int a, int b) { return a != b; },
      [](int a, int b) { return (a - b) % 3 == 1; },
      [&](int, int) { return random() % 2 == 0; },
  };
  for (const std::size_t size : kSizes) {
    for (const auto& comparison : comparisons) {
      std::vector<int> items = shuffled(size);
      mergeSort(items, comparison);
      std::sort(items.begin(), items.end());
      EXPECT_EQ(items, inOrder(size)) << size;
    }
  }
}

TEST(MergeSort, ComparesNoMoreThanNLogNTimes) {
  for (const std::size_t size : {std::size_t{1000}, std::size_t{2000}, std::size_t{64000}}) {
    std::size_t calls = 0;
    std::vector<int> items = shuffled(size);
    mergeSort(items, [&](int a, int b) {
      ++calls;
      return a < b;
    });
    EXPECT_LT(static_cast<double>(calls),
              1.3 * static_cast<double>(size) * std::log2(static_cast<double>(size)));
  }
}

TEST(MergeSort, LetsARaiseThrough) {
  std::vector<int> items = shuffled(100);
  EXPECT_THROW(mergeSort(items, [](int, int) -> bool { throw std::runtime_error("no"); }),
               std::runtime_error);
  EXPECT_EQ(items.size(), 100u);
}

}  // namespace
}  // namespace rondel::internal
