// SPDX-License-Identifier: MIT
//
// A 32-bit word that several threads may use: what reference counts and kept hashes need of
// <atomic>, whose header would cost every user of the library 24,000 lines.
#pragma once

#include <sys/single_threaded.h>

#include <cstdint>
#include <type_traits>

namespace rondel::internal {

// Returns whether the process has one thread only, by a load. Then counting needs no locked
// instructions, which cost as much as all the rest of a short operation.
inline bool isSingleThreaded() noexcept { return __libc_single_threaded != 0; }

class AtomicWord {
 public:
  constexpr explicit AtomicWord(std::uint32_t value) noexcept : _value(value) {}
  AtomicWord(const AtomicWord&) = delete;
  AtomicWord& operator=(const AtomicWord&) = delete;

  std::uint32_t loadRelaxed() const noexcept { return __atomic_load_n(&_value, __ATOMIC_RELAXED); }
  std::uint32_t loadAcquire() const noexcept { return __atomic_load_n(&_value, __ATOMIC_ACQUIRE); }
  void storeRelaxed(std::uint32_t value) noexcept {
    __atomic_store_n(&_value, value, __ATOMIC_RELAXED);
  }
  constexpr void increment() noexcept {
    if (std::is_constant_evaluated()) {
      ++_value;
    } else if (isSingleThreaded()) {
      storeRelaxed(loadRelaxed() + 1);
    } else {
      __atomic_fetch_add(&_value, 1U, __ATOMIC_RELAXED);
    }
  }
  // Adds one to a word that is not zero. Returns false if it is zero.
  bool incrementUnlessZero() noexcept {
    std::uint32_t value = loadRelaxed();
    if (isSingleThreaded()) {
      if (value != 0) storeRelaxed(value + 1);
      return value != 0;
    }
    while (value != 0) {
      if (__atomic_compare_exchange_n(&_value, &value, value + 1, true, __ATOMIC_ACQUIRE,
                                      __ATOMIC_RELAXED)) {
        return true;
      }
    }
    return false;
  }
  // Subtracts one, or more. Returns the new value.
  constexpr std::uint32_t decrement(std::uint32_t count = 1) noexcept {
    if (std::is_constant_evaluated()) return _value -= count;
    if (!isSingleThreaded()) return __atomic_sub_fetch(&_value, count, __ATOMIC_ACQ_REL);
    const std::uint32_t left = loadRelaxed() - count;
    storeRelaxed(left);
    return left;
  }

 private:
  std::uint32_t _value;
};

}  // namespace rondel::internal
