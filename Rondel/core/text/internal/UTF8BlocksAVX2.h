// SPDX-License-Identifier: MIT
//
// The parts of the UTF-8 kernels for AVX2. They read blocks of 64 bytes, each of
// which begins with a character.
//
// 1. Classes. Comparisons turn the block into words of 64 bits, bit i for byte i: beyond ASCII,
//    continuation bytes, leads of three or more bytes, leads of four, and leads whose second byte
//    is out of its limits (or which are never leads). Ordinary arithmetic on these words shows
//    which bytes must be continuations, and so which sequences are well-formed.
// 2. Lanes. Each byte gets a lane of 16 bits with the unit of a character that would begin there.
//    The byte and the two after it are enough for that. Of a surrogate pair the high half is in
//    the lane of the first byte, the low half in that of the second.
// 3. Squeezing. The lanes that hold a unit of the text are moved together, eight at a time, by a
//    shuffle from a table.
//
// One worked trace, of "a", U+00E9 and "b", the bytes 61 C3 A9 62. Bit 0 is written first.
//
//    continuations 0010, leads 0100; wanted = leads << 1 = 0010, the same: well-formed
//    lanes         0061, 00E9 (from C3 A9), a value without meaning (from A9 62), 0062
//    unit lanes    ~continuations = 1101
//    squeezed      0061 00E9 0062
#pragma once

#if defined(__x86_64__)

#include <immintrin.h>

#include <array>
#include <bit>

#include "Rondel/core/object/Types.h"

// Functions that carry it may use these instructions, and may be called only if canRunAVX2().
#define RONDEL_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#define RONDEL_AVX2_INLINE RONDEL_AVX2 __attribute__((always_inline)) inline

namespace rondel::internal::avx2 {

inline constexpr std::ptrdiff_t kBlock = 64;
// The classes look at the byte after the block, the lanes at two.
inline constexpr std::ptrdiff_t kReadToMeasure = kBlock + 1;
// Eight units are stored at a time, however few of them count. This many bytes after the block
// guarantee the room: three bytes make at least one unit.
inline constexpr std::ptrdiff_t kReadToConvert = kBlock + 8 * 3;

// ---- Classes --------------------------------------------------------------------------------

// Leads that are wrong by themselves or with their second byte. Each kind is a bit. A pair of bytes
// is of that kind if the bit is set for three nibbles: the high one and the low one of the first
// byte, and the high one of the second.
enum Wrong : std::uint8_t {
  kOverlong2 = 1,    // C0, C1
  kOverlong3 = 2,    // E0, then 80 to 9F
  kSurrogate = 4,    // ED, then A0 to BF
  kOverlong4 = 8,    // F0, then 80 to 8F
  kTooLarge = 16,    // F4, then 90 to BF
  kNeverALead = 32,  // F5 to FF
};

using NibbleTable = std::array<std::uint8_t, 16>;

inline constexpr NibbleTable kByHighOfLead = [] {
  NibbleTable table{};
  table[0xC] = kOverlong2;
  table[0xE] = kOverlong3 | kSurrogate;
  table[0xF] = kOverlong4 | kTooLarge | kNeverALead;
  return table;
}();
// The same for readers that take surrogates.
inline constexpr NibbleTable kByHighOfLeadWithSurrogates = [] {
  NibbleTable table = kByHighOfLead;
  table[0xE] = kOverlong3;
  return table;
}();
inline constexpr NibbleTable kByLowOfLead = [] {
  NibbleTable table{};
  table[0x0] = kOverlong2 | kOverlong3 | kOverlong4;
  table[0x1] = kOverlong2;
  table[0x4] = kTooLarge;
  for (std::size_t low = 5; low < 16; ++low) table[low] = kNeverALead;
  table[0xD] |= kSurrogate;
  return table;
}();
inline constexpr NibbleTable kByHighOfSecond = [] {
  NibbleTable table{};
  for (std::uint8_t& wrong : table) wrong = kOverlong2 | kNeverALead;
  table[0x8] |= kOverlong3 | kOverlong4;
  table[0x9] |= kOverlong3 | kTooLarge;
  table[0xA] |= kSurrogate | kTooLarge;
  table[0xB] |= kSurrogate | kTooLarge;
  return table;
}();

RONDEL_AVX2_INLINE __m256i load32(const std::uint8_t* p) noexcept {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

RONDEL_AVX2_INLINE __m256i allBytes(int byte) noexcept {
  return _mm256_set1_epi8(static_cast<char>(byte));
}

RONDEL_AVX2_INLINE std::uint64_t maskOf(__m256i low, __m256i high) noexcept {
  const auto lowBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(low));
  const auto highBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
  return static_cast<std::uint64_t>(highBits) << 32 | lowBits;
}

RONDEL_AVX2_INLINE __m256i isAtLeast(__m256i bytes, int limit) noexcept {
  return _mm256_cmpeq_epi8(_mm256_max_epu8(bytes, allBytes(limit)), bytes);
}

RONDEL_AVX2_INLINE __m256i isContinuation(__m256i bytes) noexcept {
  return _mm256_cmpgt_epi8(allBytes(0xC0), bytes);  // as signed bytes these are the least
}

RONDEL_AVX2_INLINE __m256i lookUp(const NibbleTable& table, __m256i nibbles) noexcept {
  const __m128i row = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data()));
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(row), nibbles);
}

RONDEL_AVX2_INLINE __m256i highNibbles(__m256i bytes) noexcept {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), allBytes(0x0F));
}

RONDEL_AVX2_INLINE __m256i isFit(__m256i bytes, __m256i next,
                                 const NibbleTable& byHighOfLead) noexcept {
  const __m256i ofHigh = lookUp(byHighOfLead, highNibbles(bytes));
  const __m256i ofLow = lookUp(kByLowOfLead, _mm256_and_si256(bytes, allBytes(0x0F)));
  const __m256i ofNext = lookUp(kByHighOfSecond, highNibbles(next));
  return _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_and_si256(ofHigh, ofLow), ofNext),
                           _mm256_setzero_si256());
}

// The lowest bits, up to all 64; the instruction takes care of that.
RONDEL_AVX2_INLINE std::uint64_t lowestBits(int count) noexcept {
  return _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned>(count));
}

// The classes of 64 bytes, bit i for byte i.
struct Classes {
  std::uint64_t continuations;
  std::uint64_t leads;  // of two bytes or more
  std::uint64_t three;  // of three or more
  std::uint64_t four;
  std::uint64_t wrong;  // leads that are wrong by themselves or with their second byte

  // The bytes that must be continuations for the sake of a lead before them.
  std::uint64_t wanted() const noexcept { return leads << 1 | three << 2 | four << 3; }
  // The same for the block after this one.
  std::uint64_t wantedBehind() const noexcept { return leads >> 63 | three >> 62 | four >> 61; }
  // Leads of characters that go beyond the block.
  std::uint64_t unfinished() const noexcept {
    return (leads & std::uint64_t{1} << 63) | (three & std::uint64_t{3} << 62) |
           (four & std::uint64_t{7} << 61);
  }
};

RONDEL_AVX2_INLINE Classes classify(const std::uint8_t* p, __m256i low, __m256i high,
                                    const NibbleTable& byHighOfLead = kByHighOfLead) noexcept {
  const std::uint64_t continuations = maskOf(isContinuation(low), isContinuation(high));
  return {
      continuations, maskOf(low, high) & ~continuations,
      maskOf(isAtLeast(low, 0xE0), isAtLeast(high, 0xE0)),
      maskOf(isAtLeast(low, 0xF0), isAtLeast(high, 0xF0)),
      ~maskOf(isFit(low, load32(p + 1), byHighOfLead), isFit(high, load32(p + 33), byHighOfLead))};
}
// ---- Lanes ----------------------------------------------------------------------------------

// 16 bytes as lanes.
RONDEL_AVX2_INLINE __m256i lanesAt(const std::uint8_t* p) noexcept {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

RONDEL_AVX2_INLINE __m256i allLanes(unsigned value) noexcept {
  return _mm256_set1_epi16(static_cast<short>(value));
}

// `ifTrue` in the lanes whose byte is at least `limit`, `ifFalse` in the others.
RONDEL_AVX2_INLINE __m256i choose(__m256i bytes, unsigned limit, __m256i ifTrue,
                                  __m256i ifFalse) noexcept {
  return _mm256_blendv_epi8(ifFalse, ifTrue, _mm256_cmpgt_epi16(bytes, allLanes(limit - 1)));
}

// The bytes of a sequence are shifted into place and added with all their marks, and the sum of the
// marks is subtracted, all modulo 65536.
RONDEL_AVX2_INLINE __m256i upToTwoBytes(const std::uint8_t* p) noexcept {
  const __m256i first = lanesAt(p);
  const __m256i sum = _mm256_add_epi16(_mm256_slli_epi16(first, 6), lanesAt(p + 1));
  const __m256i two = _mm256_sub_epi16(sum, allLanes((0xC0U << 6) + 0x80));
  return choose(first, 0x80, two, first);
}

RONDEL_AVX2_INLINE __m256i threeBytes(__m256i first, __m256i second, __m256i third) noexcept {
  const __m256i sum = _mm256_add_epi16(
      _mm256_add_epi16(_mm256_slli_epi16(first, 12), _mm256_slli_epi16(second, 6)), third);
  return _mm256_sub_epi16(sum, allLanes((0xE0U << 12) + (0x80U << 6) + 0x80));
}

RONDEL_AVX2_INLINE __m256i upToThreeBytes(const std::uint8_t* p) noexcept {
  return choose(lanesAt(p), 0xE0, threeBytes(lanesAt(p), lanesAt(p + 1), lanesAt(p + 2)),
                upToTwoBytes(p));
}

// The high surrogate in the lane of the first byte; the low one in that of the second, which is
// distinguished from the others by being a continuation.
RONDEL_AVX2_INLINE __m256i upToFourBytes(const std::uint8_t* p) noexcept {
  const __m256i first = lanesAt(p);
  const __m256i second = lanesAt(p + 1);
  const __m256i third = lanesAt(p + 2);
  const __m256i upper = _mm256_add_epi16(_mm256_slli_epi16(first, 8), _mm256_slli_epi16(second, 2));
  const __m256i middle = _mm256_and_si256(_mm256_srli_epi16(third, 4), allLanes(3));
  const __m256i high = _mm256_add_epi16(_mm256_add_epi16(upper, middle),
                                        allLanes(0xD7C0U - (0xF0U << 8) - (0x80U << 2)));
  const __m256i lower = _mm256_slli_epi16(_mm256_and_si256(second, allLanes(0x0F)), 6);
  const __m256i low = _mm256_or_si256(
      _mm256_or_si256(lower, _mm256_and_si256(third, allLanes(0x3F))), allLanes(0xDC00));
  const __m256i others = upToThreeBytes(p);
  return choose(first, 0xF0, high, choose(first, 0xC0, others, choose(first, 0x80, low, first)));
}

// ---- Squeezing ------------------------------------------------------------------------------

struct alignas(16) Shuffle {
  std::uint8_t bytes[16];
};

// For each set of eight lanes, the shuffle that moves them to the front.
inline constexpr std::array<Shuffle, 256> kSqueeze = [] {
  std::array<Shuffle, 256> table{};
  for (unsigned lanes = 0; lanes < 256; ++lanes) {
    unsigned to = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if (lanes >> lane & 1) {
        table[lanes].bytes[to++] = static_cast<std::uint8_t>(2 * lane);
        table[lanes].bytes[to++] = static_cast<std::uint8_t>(2 * lane + 1);
      }
    }
  }
  return table;
}();

// Stores eight units, of which those of the set count.
RONDEL_AVX2_INLINE HxUniChar* putEight(__m128i units, unsigned lanes, HxUniChar* out) noexcept {
  const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kSqueeze[lanes].bytes));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(units, shuffle));
  return out + std::popcount(lanes);
}

RONDEL_AVX2_INLINE HxUniChar* putSixteen(__m256i units, unsigned lanes, HxUniChar* out) noexcept {
  out = putEight(_mm256_castsi256_si128(units), lanes & 0xFF, out);
  return putEight(_mm256_extracti128_si256(units, 1), lanes >> 8 & 0xFF, out);
}

using MakeUnits = __m256i (*)(const std::uint8_t*) noexcept;

template <MakeUnits unitsAt>
RONDEL_AVX2_INLINE HxUniChar* putBlock(const std::uint8_t* p, std::uint64_t lanes,
                                       HxUniChar* out) noexcept {
  for (std::ptrdiff_t i = 0; i < kBlock; i += 16) {
    out = putSixteen(unitsAt(p + i), static_cast<unsigned>(lanes >> i & 0xFFFF), out);
  }
  return out;
}

// Writes the units of a block, in the cheapest way that its characters allow. A block has
// hasThree, hasFour and unitLanes.
template <class Block>
RONDEL_AVX2_INLINE HxUniChar* putUnits(const std::uint8_t* p, const Block& block,
                                       HxUniChar* out) noexcept {
  if (block.hasFour) return putBlock<upToFourBytes>(p, block.unitLanes, out);
  if (block.hasThree) return putBlock<upToThreeBytes>(p, block.unitLanes, out);
  return putBlock<upToTwoBytes>(p, block.unitLanes, out);
}

RONDEL_AVX2_INLINE HxUniChar* putASCII(const std::uint8_t* p, HxUniChar* out) noexcept {
  for (std::ptrdiff_t i = 0; i < kBlock; i += 16) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), lanesAt(p + i));
  }
  return out + kBlock;
}

RONDEL_AVX2_INLINE bool isASCII(__m256i low, __m256i high) noexcept {
  return _mm256_movemask_epi8(_mm256_or_si256(low, high)) == 0;
}

}  // namespace rondel::internal::avx2

#endif
