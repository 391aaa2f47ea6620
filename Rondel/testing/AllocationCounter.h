// SPDX-License-Identifier: MIT
#pragma once

// Counts what a piece of a test takes from the heap, and lets chosen allocations fail.
//
//     rondel::test::AllocationCounter counter;
//     HxString copy = text;
//     EXPECT_EQ(counter.count(), 0u);
//
//     rondel::test::failAllocation(3, false);  // the third from now on
//     EXPECT_THROW(text.stringByAppendingString(text), std::bad_alloc);
//     rondel::test::endAllocationFailure();
//
// Every way to the heap counts once a call: `new`, `malloc`, `calloc`, `realloc` and the aligned
// kinds, from the test, the library and the libraries below. Freeing does not count. Counting works
// under the sanitizers as well, but the thread sanitizer does not report the aligned kinds.

#include <cstddef>

namespace rondel::test {

/// Counts the allocations of the thread that made it, from its construction on.
class AllocationCounter {
 public:
  AllocationCounter();

  /// Returns the number of allocations so far.
  std::size_t count() const;

  /// Returns the bytes that they asked for together.
  std::size_t bytes() const;

 private:
  std::size_t _countBefore;
  std::size_t _bytesBefore;
};

/// Returns the bytes of the heap that all threads use now: exactly the same before and after work
/// that leaves nothing. A block counts with the size that the heap gave it.
std::size_t heapBytesInUse();

/// Returns the number of blocks that all threads use now.
std::size_t heapBlocksInUse();

/// Where an allocation failed.
struct AllocationFailure {
  static constexpr int kMostFrames = 40;
  void* frames[kMostFrames] = {};  // return addresses, innermost first
  int frameCount = 0;
};

/// Returns whether failAllocation works. False under the thread sanitizer, which ends the process
/// if it gets no memory for itself.
bool canFailAllocations();

/// Lets the `n`-th allocation from now on fail, from 1, over all threads; if `lasting`, all later
/// ones fail too. The stack of the first that fails is stored in `failure` unless that is null.
/// Under the address sanitizer only operator new without an alignment fails.
void failAllocation(std::size_t n, bool lasting, AllocationFailure* failure = nullptr);

/// Lets allocations succeed again. Returns whether one has failed since failAllocation.
bool endAllocationFailure();

}  // namespace rondel::test
