// SPDX-License-Identifier: MIT
//
// The hash of text and bytes, and the mix that all hashes of the library are made of.
//
// The idea: take 16 bytes at a time as two words. Mask the first with the seed and the second
// with the hash so far, multiply them to 128 bits, and fold both halves and both operands into
// 64 bits. Folding the operands in as well keeps a chosen zero from wiping out the rest.
//
//   "name", 4 bytes, seed s:  start  h = s ^ 4
//                             end    first = "name", second = "name", both 0x656D616E
//                                    h = mix(first ^ rotated s, second ^ h)
//                             result (h ^ h >> 32) | 1
//
// Each process has its own seed, so that no one can prepare texts that share a hash. Constants
// therefore compute theirs on first use, as all strings do. Text that is all ASCII is hashed as its
// characters, one byte each; other text as its UTF-16 units in the machine's order.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "Rondel/core/object/Export.h"

namespace rondel::internal {

// Folds a product into one word. Neither operand is lost if the other is zero.
constexpr std::uint64_t mix(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return a ^ b ^ static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// Returns the seed of this process, never 0. Drawn on first use and kept.
RONDEL_EXPORT std::uint64_t drawHashSeed() noexcept;
RONDEL_EXPORT extern std::uint64_t
    keptHashSeed;  // 0 until it is drawn; read and written atomically
inline std::uint64_t hashSeed() noexcept {
  const std::uint64_t kept = __atomic_load_n(&keptHashSeed, __ATOMIC_RELAXED);
  return kept != 0 ? kept : drawHashSeed();
}

// Spreads any hash over all bits.
inline std::uint64_t spreadHash(std::uint64_t hash) noexcept {
  return mix(hash ^ hashSeed(), 0x9E3779B97F4A7C15U);
}

// The steps of hashOfBytes, for text that comes in pieces: a block of 16 bytes as long as more than
// 16 are left, and the end with the 16 bytes or less that are left then.
class TextHash {
 public:
  // The number of bytes in all.
  explicit TextHash(std::size_t byteCount) noexcept
      : _key(std::rotl(hashSeed(), 32)), _state(hashSeed() ^ byteCount) {}

  void addBlock(const char* p) noexcept { add(loadEight(p), loadEight(p + 8)); }

  // Returns the hash, never 0.
  std::uint32_t finish(const char* p, std::size_t left) noexcept {
    if (left >= 8) {
      add(loadEight(p), loadEight(p + left - 8));
    } else if (left >= 4) {
      add(loadFour(p), loadFour(p + left - 4));
    } else {
      add(left > 0 ? loadFew(p, left) : 0, 0);
    }
    return static_cast<std::uint32_t>(_state ^ (_state >> 32)) | 1U;
  }

 private:
  void add(std::uint64_t first, std::uint64_t second) noexcept {
    _state = mix(first ^ _key, second ^ _state);
  }
  static std::uint64_t loadEight(const char* p) noexcept {
    std::uint64_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
  }
  static std::uint64_t loadFour(const char* p) noexcept {
    std::uint32_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
  }
  // All of one to three bytes: the first, the middle and the last.
  static std::uint64_t loadFew(const char* p, std::size_t count) noexcept {
    const auto byte = [p](std::size_t i) {
      return static_cast<std::uint64_t>(static_cast<unsigned char>(p[i]));
    };
    return byte(0) << 16 | byte(count / 2) << 8 | byte(count - 1);
  }

  const std::uint64_t _key;
  std::uint64_t _state;
};

// Returns the hash of a text, never 0; its lowest bit is always set.
inline std::uint32_t hashOfBytes(const char* p, std::size_t count) noexcept {
  TextHash hash(count);
  std::size_t left = count;
  for (; left > 16; p += 16, left -= 16) hash.addBlock(p);
  return hash.finish(p, left);
}

}  // namespace rondel::internal
