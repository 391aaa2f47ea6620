// SPDX-License-Identifier: MIT
#include "Rondel/testing/AllocationCounter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

namespace {

// Plain data in the program's own thread block: touching it allocates nothing.
constinit thread_local std::size_t threadCount = 0;
constinit thread_local std::size_t threadBytes = 0;

void countAllocation(std::size_t size) {
  ++threadCount;
  threadBytes += size;
}

}  // namespace

#if defined(__has_feature)
#define RONDEL_HAS_FEATURE(feature) __has_feature(feature)
#else
#define RONDEL_HAS_FEATURE(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    RONDEL_HAS_FEATURE(address_sanitizer) || RONDEL_HAS_FEATURE(thread_sanitizer)

// A sanitizer has its own heap, and tells of every allocation by a hook. Declared here because g++
// comes without <sanitizer/allocator_interface.h>.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*));
std::size_t __sanitizer_get_current_allocated_bytes();
}

namespace {

void countAllocationOfSanitizer(const volatile void*, std::size_t size) { countAllocation(size); }
void ignoreFree(const volatile void*) {}

[[maybe_unused]] const int hooked =
    __sanitizer_install_malloc_and_free_hooks(countAllocationOfSanitizer, ignoreFree);

}  // namespace

std::size_t rondel::test::heapBytesInUse() { return __sanitizer_get_current_allocated_bytes(); }

#else

// The C library lets a program define these, and then calls them itself. `new` comes here as well.
#define RONDEL_REPLACES_LIBC extern "C" __attribute__((visibility("default")))

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

constinit std::atomic<std::size_t> bytesInUse = 0;

void* begin(void* block, std::size_t size) {
  countAllocation(size);
  bytesInUse.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
  return block;
}

void end(void* block) {
  bytesInUse.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
}

}  // namespace

RONDEL_REPLACES_LIBC void* malloc(std::size_t size) noexcept {
  return begin(__libc_malloc(size), size);
}

RONDEL_REPLACES_LIBC void* calloc(std::size_t count, std::size_t size) noexcept {
  return begin(__libc_calloc(count, size), count * size);
}

RONDEL_REPLACES_LIBC void* realloc(void* old, std::size_t size) noexcept {
  const std::size_t oldSize = malloc_usable_size(old);
  void* block = __libc_realloc(old, size);
  // A failure leaves the old block as it was; size 0 gives it back.
  if (block != nullptr || size == 0) bytesInUse.fetch_sub(oldSize, std::memory_order_relaxed);
  return begin(block, size);
}

RONDEL_REPLACES_LIBC void free(void* block) noexcept {
  end(block);
  __libc_free(block);
}

RONDEL_REPLACES_LIBC void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return begin(__libc_memalign(alignment, size), size);
}

RONDEL_REPLACES_LIBC void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}

RONDEL_REPLACES_LIBC int posix_memalign(void** result, std::size_t alignment,
                                        std::size_t size) noexcept {
  void* block = memalign(alignment, size);
  if (block == nullptr) return ENOMEM;
  *result = block;
  return 0;
}

std::size_t rondel::test::heapBytesInUse() { return bytesInUse; }

#endif

namespace rondel::test {

AllocationCounter::AllocationCounter() : _countBefore(threadCount), _bytesBefore(threadBytes) {}

std::size_t AllocationCounter::count() const { return threadCount - _countBefore; }

std::size_t AllocationCounter::bytes() const { return threadBytes - _bytesBefore; }

}  // namespace rondel::test
