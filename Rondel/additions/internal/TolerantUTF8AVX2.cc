// SPDX-License-Identifier: MIT
//
// Damaged text, by the blocks of UTF8BlocksAVX2.h. Whether a sequence is legal depends on its own
// bytes alone, and no two legal sequences overlap. So words of 64 bits tell all malformed bytes of
// a block at once, however many they are: those beyond ASCII that no legal sequence covers.
//
// A block with few malformed bytes is squeezed like a sound one, and then copied run by run with
// the escapes between the runs. A block with many is written one lane at a time and branch-free:
// four units each time, the escape or the unit of the lane, of which four, one or none count.
// Branches would mispredict, since damage has no pattern.
//
// One worked trace, of the bytes 41 E9 74 C3 A9. Bit 0 is written first.
//
//    beyond ASCII 01011, leads 01010, continuations 00001, leads of three 01000
//    legal        00010: C3 is before a continuation, E9 is not
//    covered      00011, malformed 01000, unit lanes 10110
//    squeezed     A, a unit without meaning, t, U+00E9
//    written      A, \351, t, U+00E9
#include "Rondel/additions/internal/TolerantUTF8AVX2.h"

#if defined(__x86_64__)

#include <algorithm>
#include <cstring>

#include "Rondel/additions/internal/UTF8Escapes.h"
#include "Rondel/core/text/internal/UTF8BlocksAVX2.h"

namespace rondel::internal {

using namespace avx2;

// ---- Blocks -----------------------------------------------------------------------------------

namespace {

// After so many bytes the loops for well-formed text get another try.
constexpr std::ptrdiff_t kStretch = 4096;

// The bytes of a block up to the first sequence that may go beyond it.
struct TolerantBlock {
  std::ptrdiff_t length;
  bool hasThree;  // legal sequences of three bytes or four
  bool hasFour;   // legal sequences of four bytes
  std::uint64_t malformed;
  std::uint64_t unitLanes;  // the lanes that hold a unit
  std::uint64_t oddPairs;   // leads of legal sequences F4 whose second byte is ASCII
};

// Of a block of which the first `left` bytes are text.
RONDEL_AVX2_INLINE TolerantBlock examine(const std::uint8_t* p, __m256i low, __m256i high,
                                         std::ptrdiff_t left) noexcept {
  const Classes is = classify(p, low, high, kByHighOfLeadWithSurrogates);
  const int length = static_cast<int>(std::min<std::ptrdiff_t>(
      std::countr_zero(is.unfinished() & ~is.wrong), std::min<std::ptrdiff_t>(left, kBlock)));
  const std::uint64_t kept = lowestBits(length);
  const std::uint64_t ascii = ~(is.leads | is.continuations);

  std::uint64_t oddSeconds = 0;
  if (is.four) {
    const __m256i f4 = allBytes(0xF4);
    oddSeconds = maskOf(_mm256_cmpeq_epi8(low, f4), _mm256_cmpeq_epi8(high, f4)) & ascii >> 1;
  }
  const std::uint64_t second = is.continuations >> 1 | oddSeconds;
  const std::uint64_t third = is.continuations >> 2 | ~is.three;
  const std::uint64_t fourth = is.continuations >> 3 | ~is.four;
  const std::uint64_t legal = is.leads & ~is.wrong & second & third & fourth & kept;

  const std::uint64_t three = legal & is.three;
  const std::uint64_t four = legal & is.four;
  const std::uint64_t covered = legal | legal << 1 | three << 2 | four << 3;
  return {length,
          three != 0,
          four != 0,
          ~ascii & ~covered & kept,
          ((ascii & ~covered) | legal | four << 1) & kept,
          four & oddSeconds};
}

// The last bytes of a text, or as many of them as a block holds, with zeros after them.
struct Tail {
  alignas(32) std::uint8_t bytes[kBlock + 32];
  TolerantBlock block;

  RONDEL_AVX2 Tail(const std::uint8_t* p, const std::uint8_t* end) noexcept {
    const std::ptrdiff_t length = std::min(end - p, kBlock);
    std::memset(bytes, 0, sizeof bytes);
    std::memcpy(bytes, p, static_cast<std::size_t>(length));
    block = examine(bytes, load32(bytes), load32(bytes + 32), length);
  }
};

RONDEL_AVX2_INLINE TolerantBlock blockAt(const std::uint8_t* p) noexcept {
  return examine(p, load32(p), load32(p + 32), kBlock);
}

const std::uint8_t* endOfStretch(const std::uint8_t* p, const std::uint8_t* end) noexcept {
  return p + std::min(kStretch, end - p);
}

}  // namespace

// ---- Measuring --------------------------------------------------------------------------------

namespace {

RONDEL_AVX2_INLINE void count(const TolerantBlock& block, TextMeasure& measure) noexcept {
  const auto malformed = static_cast<HxUInteger>(std::popcount(block.malformed));
  const auto units = static_cast<HxUInteger>(std::popcount(block.unitLanes));
  measure.units += units + kEscapeLength * malformed;
  measure.malformed += malformed;
  // Without legal sequences each byte is a unit or malformed.
  if (units + malformed != static_cast<HxUInteger>(block.length)) measure.isASCII = false;
}

}  // namespace

RONDEL_AVX2 const std::uint8_t* measureTolerantlyWithAVX2(const std::uint8_t* p,
                                                          const std::uint8_t* end,
                                                          TextMeasure& measure) noexcept {
  const std::uint8_t* const stop = endOfStretch(p, end);
  while (p < stop && end - p >= kReadToMeasure) {
    const TolerantBlock block = blockAt(p);
    count(block, measure);
    p += block.length;
  }
  while (p < stop) {
    const Tail tail(p, end);
    count(tail.block, measure);
    p += tail.block.length;
  }
  return p;
}

// ---- Converting: few malformed bytes ----------------------------------------------------------

namespace {

// What is copied at once between two malformed bytes, and may be written over after the text.
constexpr std::ptrdiff_t kCopied = 16;
constexpr std::ptrdiff_t kReadToConvertDamage = kBlock + 3 * kCopied;

template <class Unit>
RONDEL_AVX2_INLINE Unit* copyRun(const Unit* from, const Unit* end, Unit* out) noexcept {
  Unit* const outEnd = out + (end - from);
  do {
    std::memcpy(out, from, kCopied * sizeof(Unit));
    from += kCopied;
    out += kCopied;
  } while (from < end);
  return outEnd;
}

// Copies [from, end) with the escapes of malformed bytes in place of units. Bit i of `replaced` is
// for unit i, bit i of `malformed` for byte i of `p`. Both have the same number of bits.
template <class Unit>
RONDEL_AVX2_INLINE Unit* putRuns(const Unit* from, const Unit* end, std::uint64_t replaced,
                                 const std::uint8_t* p, std::uint64_t malformed,
                                 Unit* out) noexcept {
  const Unit* const units = from;
  for (; replaced; replaced &= replaced - 1, malformed &= malformed - 1) {
    const Unit* const place = units + std::countr_zero(replaced);
    out = copyRun(from, place, out);
    escapeOf<Unit>(p[std::countr_zero(malformed)]).writeTo(out);
    out += kEscapeLength;
    from = place + 1;
  }
  return copyRun(from, end, out);
}

// Squeezes the block as if each malformed byte were a unit, then puts the escapes in their places.
RONDEL_AVX2 HxUniChar* putSparse(const std::uint8_t* p, const TolerantBlock& block,
                                 HxUniChar* out) noexcept {
  HxUniChar units[kBlock + kCopied];
  TolerantBlock squeezed = block;
  squeezed.unitLanes |= block.malformed;
  const HxUniChar* const end = putUnits(p, squeezed, units);
  const std::uint64_t replaced = _pext_u64(block.malformed, squeezed.unitLanes);
  return putRuns<HxUniChar>(units, end, replaced, p, block.malformed, out);
}

// In an ASCII text each byte is a unit already.
RONDEL_AVX2 char* putSparse(const std::uint8_t* p, const TolerantBlock& block, char* out) noexcept {
  const char* const bytes = reinterpret_cast<const char*>(p);
  return putRuns<char>(bytes, bytes + block.length, block.malformed, p, block.malformed, out);
}

}  // namespace

// ---- Converting: many malformed bytes ---------------------------------------------------------

namespace {

// Puts all 64 bytes. `Four` holds four units, of which four, one or none count.
template <class Four, class Unit, class Lane>
RONDEL_AVX2_INLINE Unit* putEachLane(const std::uint8_t* p, const Lane* lanes,
                                     const TolerantBlock& block, Unit* out) noexcept {
  std::uint64_t isUnit = block.unitLanes;
  std::uint64_t isMalformed = block.malformed;
  for (std::ptrdiff_t i = 0; i < kBlock; ++i, isUnit >>= 1, isMalformed >>= 1) {
    const Four chooseEscape = Four{0} - static_cast<Four>(isMalformed & 1);
    Four four;
    std::memcpy(&four, escapeOf<Unit>(p[i]).units, sizeof four);
    four = (four & chooseEscape) | (lanes[i] & ~chooseEscape);
    std::memcpy(out, &four, sizeof four);
    out += (isUnit & 1) + kEscapeLength * (isMalformed & 1);
  }
  return out;
}

RONDEL_AVX2 HxUniChar* putDense(const std::uint8_t* p, const TolerantBlock& block,
                                HxUniChar* out) noexcept {
  alignas(32) HxUniChar lanes[kBlock];
  for (std::ptrdiff_t i = 0; i < kBlock; i += 16) {
    const __m256i units = block.hasFour    ? upToFourBytes(p + i)
                          : block.hasThree ? upToThreeBytes(p + i)
                                           : upToTwoBytes(p + i);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes + i), units);
  }
  // A low surrogate is known by the continuation in its lane. Here that is ASCII.
  for (std::uint64_t odd = block.oddPairs; odd; odd &= odd - 1) {
    const int i = std::countr_zero(odd);
    lanes[i + 1] = static_cast<HxUniChar>(0xDC00 | (p[i + 2] & 0x0F) << 6 | (p[i + 3] & 0x3F));
  }
  return putEachLane<std::uint64_t>(p, lanes, block, out);
}

RONDEL_AVX2 char* putDense(const std::uint8_t* p, const TolerantBlock& block, char* out) noexcept {
  return putEachLane<std::uint32_t>(p, p, block, out);
}

}  // namespace

// ---- Converting -------------------------------------------------------------------------------

namespace {

constexpr int kDense = 16;
constexpr int kOnlyMalformed = kBlock;

RONDEL_AVX2_INLINE bool isSound(const TolerantBlock& block) noexcept {
  return (block.malformed | block.oddPairs) == 0;
}

// No text at all, as in an image of empty flash memory.
template <class Unit>
RONDEL_AVX2_INLINE Unit* putEscapes(const std::uint8_t* p, Unit* out) noexcept {
  for (HxUInteger i = 0; i < kBlock; ++i) escapeOf<Unit>(p[i]).writeTo(out + kEscapeLength * i);
  return out + kEscapeLength * kBlock;
}

template <class Unit>
RONDEL_AVX2_INLINE Unit* put(const std::uint8_t* p, const TolerantBlock& block,
                             Unit* out) noexcept {
  if constexpr (sizeof(Unit) > 1) {
    if (isSound(block)) return putUnits(p, block, out);
  }
  const int malformed = std::popcount(block.malformed);
  if (malformed == kOnlyMalformed) return putEscapes(p, out);
  if (malformed > kDense || block.oddPairs) return putDense(p, block, out);
  return putSparse(p, block, out);
}

template <class Unit>
RONDEL_AVX2 const std::uint8_t* convert(const std::uint8_t* p, const std::uint8_t* end,
                                        Unit*& out) noexcept {
  const std::uint8_t* const stop = endOfStretch(p, end);
  while (p < stop && end - p >= kReadToConvertDamage) {
    const TolerantBlock block = blockAt(p);
    out = put(p, block, out);
    p += block.length;
  }
  // By way of a buffer, since there may be no room to store more units than there are.
  while (p < stop) {
    const Tail tail(p, end);
    Unit buffer[kBlock * kEscapeLength + kCopied];
    const Unit* const bufferEnd = put(tail.bytes, tail.block, buffer);
    out = std::copy(static_cast<const Unit*>(buffer), bufferEnd, out);
    p += tail.block.length;
  }
  return p;
}

}  // namespace

RONDEL_AVX2 const std::uint8_t* convertTolerantlyWithAVX2(const std::uint8_t* bytes,
                                                          const std::uint8_t* end,
                                                          HxUniChar*& out) noexcept {
  return convert(bytes, end, out);
}

RONDEL_AVX2 const std::uint8_t* convertToASCIIWithAVX2(const std::uint8_t* bytes,
                                                       const std::uint8_t* end,
                                                       char*& out) noexcept {
  return convert(bytes, end, out);
}

}  // namespace rondel::internal

#endif
