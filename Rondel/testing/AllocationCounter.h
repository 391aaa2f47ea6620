// SPDX-License-Identifier: MIT
#pragma once

// Counts what a piece of a test takes from the heap.
//
//     rondel::test::AllocationCounter counter;
//     HxString copy = text;
//     EXPECT_EQ(counter.count(), 0u);
//
// Every way to the heap counts once a call: `new`, `malloc`, `calloc`, `realloc` and the aligned
// kinds, from the test, the library and the libraries below. Giving back does not count. It works
// with the sanitizers as well, but the thread sanitizer does not tell of the aligned kinds.

#include <cstddef>

namespace rondel::test {

/// Counts the allocations of the thread that made it, from its making on.
class AllocationCounter {
 public:
  AllocationCounter();

  /// How many allocations there were so far.
  std::size_t count() const;

  /// How many bytes they asked for together.
  std::size_t bytes() const;

 private:
  std::size_t _countBefore;
  std::size_t _bytesBefore;
};

/// The bytes of the heap that are in use now, by all threads: exactly the same before and after
/// work that leaves nothing behind. A block counts with the size that the heap gave it.
std::size_t heapBytesInUse();

}  // namespace rondel::test
