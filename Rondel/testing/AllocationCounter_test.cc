// SPDX-License-Identifier: MIT
#include "Rondel/testing/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace rondel::test {
namespace {

TEST(AllocationCounter, EachWayToTheHeapCountsOnce) {
  // Volatile, so that the compiler does not remove what is made and not used.
  void* volatile block = nullptr;
  AllocationCounter counter;
  block = std::malloc(10);
  EXPECT_EQ(counter.count(), 1u);
  EXPECT_EQ(counter.bytes(), 10u);
  block = std::realloc(block, 5000);
  EXPECT_EQ(counter.count(), 2u);
  EXPECT_EQ(counter.bytes(), 5010u);
  std::free(block);

  block = std::calloc(3, 4);
  EXPECT_EQ(counter.count(), 3u);
  EXPECT_EQ(counter.bytes(), 5022u);
  std::free(block);

  block = ::operator new(7);
  EXPECT_EQ(counter.count(), 4u);
  EXPECT_EQ(counter.bytes(), 5029u);
  ::operator delete(block);

#if !defined(__SANITIZE_THREAD__)
  block = std::aligned_alloc(64, 128);
  EXPECT_EQ(counter.count(), 5u);
  std::free(block);
#endif
}

TEST(AllocationCounter, CountsWhatTheStandardLibraryTakes) {
  AllocationCounter counter;
  const std::string tooLongForTheBuffer(100, 'x');
  EXPECT_EQ(counter.count(), 1u);
}

TEST(AllocationCounter, OtherThreadsDoNotCount) {
  std::size_t countOfThread = 0;
  std::thread other([&] {
    AllocationCounter ofThread;
    const std::string text(100, 'x');
    countOfThread = ofThread.count();
  });
  AllocationCounter ofThis;
  other.join();
  EXPECT_EQ(countOfThread, 1u);
  EXPECT_EQ(ofThis.count(), 0u);
}

TEST(AllocationCounter, HeapBytesComeBackWhenABlockIsReturnnBack) {
  const std::size_t before = heapBytesInUse();
  auto block = std::make_unique<char[]>(100'000);
  EXPECT_GE(heapBytesInUse(), before + 100'000);
  block.reset();
  EXPECT_EQ(heapBytesInUse(), before);

  void* volatile small = std::malloc(3);
  EXPECT_GT(heapBytesInUse(), before);
  small = std::realloc(small, 30'000);
  EXPECT_GE(heapBytesInUse(), before + 30'000);
  std::free(small);
  EXPECT_EQ(heapBytesInUse(), before);
}

}  // namespace
}  // namespace rondel::test
