// SPDX-License-Identifier: MIT
#include "Rondel/testing/AllocationCounter.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <new>

namespace {

// Plain data in the program's own thread block: touching it allocates nothing.
constinit thread_local std::size_t threadCount = 0;
constinit thread_local std::size_t threadBytes = 0;
constinit std::atomic<std::size_t> blocksInUse = 0;

void countAllocation(std::size_t size) {
  ++threadCount;
  threadBytes += size;
}

// ---- Failures ---------------------------------------------------------------------------------

constinit std::atomic<bool> isArmed = false;
constinit std::atomic<bool> isLasting = false;
constinit std::atomic<bool> hasFailed = false;
constinit std::atomic<std::size_t> allocationsLeft = 0;  // until the one that fails
constinit rondel::test::AllocationFailure* firstFailure = nullptr;

// The frames of this file's own functions are part of it.
void noteFailure() {
  if (hasFailed.exchange(true)) return;
  if (!firstFailure) return;
  firstFailure->frameCount =
      backtrace(firstFailure->frames, rondel::test::AllocationFailure::kMostFrames);
}

// Asked ahead of each allocation.
bool isToFail() {
  if (!isArmed.load(std::memory_order_relaxed)) [[likely]]
    return false;
  std::size_t left = allocationsLeft;
  while (left > 0 && !allocationsLeft.compare_exchange_weak(left, left - 1)) {
  }
  if (left > 1 || (left == 0 && !isLasting)) return false;
  noteFailure();
  return true;
}

[[maybe_unused]] void* refuse() {
  errno = ENOMEM;
  return nullptr;
}

}  // namespace

// The C library lets a program define these, and then calls them itself.
#define RONDEL_REPLACES_LIBC extern "C" __attribute__((visibility("default")))

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

void countAllocationOfSanitizer(const volatile void*, std::size_t size) {
  countAllocation(size);
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
}
void countFreeOfSanitizer(const volatile void*) {
  blocksInUse.fetch_sub(1, std::memory_order_relaxed);
}

[[maybe_unused]] const int hooked =
    __sanitizer_install_malloc_and_free_hooks(countAllocationOfSanitizer, countFreeOfSanitizer);

}  // namespace

std::size_t rondel::test::heapBytesInUse() { return __sanitizer_get_current_allocated_bytes(); }

#if defined(__SANITIZE_ADDRESS__)

// Only operator new fails here. The sanitizer and the loader ask malloc, and end the process if it
// refuses.
namespace {

// The next function of this name after the program's.
template <class Function>
Function* nextFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void* operator new(std::size_t size) {
  static auto* const next = nextFunction<void*(std::size_t)>("_Znwm");
  if (isToFail()) throw std::bad_alloc();
  return next(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  static auto* const next = nextFunction<void*(std::size_t)>("_Znwm");
  return isToFail() ? nullptr : next(size);
}

bool rondel::test::canFailAllocations() { return true; }

#else

bool rondel::test::canFailAllocations() { return false; }

#endif

#else

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
  if (block == nullptr) return nullptr;
  bytesInUse.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void end(void* block) {
  if (block == nullptr) return;
  bytesInUse.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
  blocksInUse.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

// `new` comes here as well.
RONDEL_REPLACES_LIBC void* malloc(std::size_t size) noexcept {
  return isToFail() ? refuse() : begin(__libc_malloc(size), size);
}

RONDEL_REPLACES_LIBC void* calloc(std::size_t count, std::size_t size) noexcept {
  return isToFail() ? refuse() : begin(__libc_calloc(count, size), count * size);
}

RONDEL_REPLACES_LIBC void* realloc(void* old, std::size_t size) noexcept {
  if (isToFail()) return refuse();
  const std::size_t oldSize = malloc_usable_size(old);
  void* block = __libc_realloc(old, size);
  // A failure leaves the old block as it was; size 0 frees it.
  if (old != nullptr && (block != nullptr || size == 0)) {
    bytesInUse.fetch_sub(oldSize, std::memory_order_relaxed);
    blocksInUse.fetch_sub(1, std::memory_order_relaxed);
  }
  return begin(block, size);
}

RONDEL_REPLACES_LIBC void free(void* block) noexcept {
  end(block);
  __libc_free(block);
}

RONDEL_REPLACES_LIBC void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return isToFail() ? refuse() : begin(__libc_memalign(alignment, size), size);
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

bool rondel::test::canFailAllocations() { return true; }

#endif

namespace rondel::test {

AllocationCounter::AllocationCounter() : _countBefore(threadCount), _bytesBefore(threadBytes) {}

std::size_t AllocationCounter::count() const { return threadCount - _countBefore; }

std::size_t AllocationCounter::bytes() const { return threadBytes - _bytesBefore; }

std::size_t heapBlocksInUse() { return ::blocksInUse; }

void failAllocation(std::size_t n, bool lasting, AllocationFailure* failure) {
  void* frame;
  backtrace(&frame, 1);  // the first call loads the unwinder, which allocates
  hasFailed = false;
  firstFailure = failure;
  isLasting = lasting;
  allocationsLeft = n;
  isArmed = true;
}

bool endAllocationFailure() {
  isArmed = false;
  return hasFailed;
}

}  // namespace rondel::test
