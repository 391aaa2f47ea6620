// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/TextHash.h"

#include <unistd.h>

#include <chrono>

namespace rondel::internal {

constinit std::uint64_t keptHashSeed = 0;

// If the system has no random bytes, the time and an address are the best there is.
std::uint64_t drawHashSeed() noexcept {
  std::uint64_t drawn = 0;
  if (::getentropy(&drawn, sizeof(drawn)) != 0) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    drawn = mix(static_cast<std::uint64_t>(now), reinterpret_cast<std::uintptr_t>(&drawn));
  }
  drawn |= 1U;
  // If two threads draw at once, the first one wins.
  std::uint64_t kept = 0;
  if (__atomic_compare_exchange_n(&keptHashSeed, &kept, drawn, false, __ATOMIC_RELAXED,
                                  __ATOMIC_RELAXED)) {
    return drawn;
  }
  return kept;
}

}  // namespace rondel::internal
