// SPDX-License-Identifier: MIT
//
// Well-formed text, by the blocks of UTF8BlocksAVX2.h. A block ends at the first ill-formed
// sequence, or before a last character that goes beyond it.
//
// Almost branch-free. Three well predicted branches depend on the text: is the block all ASCII, and
// has it characters of three bytes, of four. Text of mixed length thus costs no more than text of
// one length.
#include "Rondel/core/text/internal/UTF8KernelAVX2.h"

#if defined(__x86_64__)

#include <cstring>

#include "Rondel/core/text/internal/UTF8BlocksAVX2.h"

namespace rondel::internal {

using namespace avx2;

bool canRunAVX2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

// ---- Blocks ---------------------------------------------------------------------------------

namespace {

// The well-formed bytes at the start of a block.
struct Block {
  std::ptrdiff_t length;    // how many they are; whole characters
  bool isFaulty;            // whether an ill-formed sequence follows them
  bool hasThree;            // characters of three bytes or four
  bool hasFour;             // characters of four bytes
  std::uint64_t unitLanes;  // the lanes that hold a unit
};

RONDEL_AVX2_INLINE Block examine(const std::uint8_t* p, __m256i low, __m256i high) noexcept {
  const Classes is = classify(p, low, high);
  const std::uint64_t wanted = is.wanted();
  const std::uint64_t faults = is.wrong | (wanted ^ is.continuations);
  const std::uint64_t stops = faults | is.unfinished();
  const std::uint64_t firstStop = stops & (0 - stops);

  int length = std::countr_zero(stops);  // 64 if there is none
  if (wanted & firstStop) {              // a missing byte spoils the character that it is of
    length = 63 - std::countl_zero(is.leads & (firstStop - 1));
  }
  const std::uint64_t kept = lowestBits(length);
  return {length, (faults & firstStop) != 0, (is.three & kept) != 0, (is.four & kept) != 0,
          (~is.continuations | is.four << 1) & kept};
}

}  // namespace

// ---- The end of a text ----------------------------------------------------------------------

namespace {

// The last bytes of a text, or as many of them as a block holds, with zeros after them. Zeros are
// well-formed, and a character that goes beyond the end is not.
struct Remainder {
  std::ptrdiff_t length;
  Block block;
  alignas(32) std::uint8_t bytes[kBlock + 32];

  RONDEL_AVX2 Remainder(const std::uint8_t* p, const std::uint8_t* end) noexcept
      : length(end - p < kBlock ? end - p : kBlock) {
    std::memset(bytes, 0, sizeof bytes);
    std::memcpy(bytes, p, static_cast<std::size_t>(length));
    block = examine(bytes, load32(bytes), load32(bytes + 32));
    if (block.length > length) block.length = length;
    block.unitLanes &= lowestBits(static_cast<int>(length));
  }
};

RONDEL_AVX2 UTF8Progress measureRemainder(const std::uint8_t* bytes, const std::uint8_t* end,
                                          HxUInteger units) noexcept {
  while (bytes != end) {
    const Remainder rest(bytes, end);
    bytes += rest.block.length;
    units += static_cast<HxUInteger>(std::popcount(rest.block.unitLanes));
    if (rest.block.isFaulty) break;
  }
  return {bytes, units};
}

// By way of a buffer, since there may be no room to store more units than there are.
RONDEL_AVX2 UTF8Progress convertRemainder(const std::uint8_t* bytes, const std::uint8_t* end,
                                          HxUniChar* out, HxUInteger units) noexcept {
  HxUniChar buffer[kBlock + 8];
  while (bytes != end) {
    const Remainder rest(bytes, end);
    const auto count = static_cast<HxUInteger>(putUnits(rest.bytes, rest.block, buffer) - buffer);
    std::memcpy(out + units, buffer, count * sizeof(HxUniChar));
    bytes += rest.block.length;
    units += count;
    if (rest.block.isFaulty) break;
  }
  return {bytes, units};
}

}  // namespace

// ---- The two loops --------------------------------------------------------------------------

namespace {

// Measures whole blocks up to one with a fault in it, or to the last ones. They need not begin with
// a character, so that none has to wait for the one before it; what it ends with does.
RONDEL_AVX2 UTF8Progress measureFaultlessBlocks(const std::uint8_t* bytes,
                                                const std::uint8_t* end) noexcept {
  HxUInteger units = 0;
  std::uint64_t wantedHere = 0;
  for (; end - bytes >= kReadToMeasure; bytes += kBlock) {
    const __m256i low = load32(bytes);
    const __m256i high = load32(bytes + 32);
    if (isASCII(low, high)) {
      if (wantedHere) break;
      units += static_cast<HxUInteger>(kBlock);
      continue;
    }
    const Classes is = classify(bytes, low, high);
    if (is.wrong | ((is.wanted() | wantedHere) ^ is.continuations)) break;
    units += static_cast<HxUInteger>(std::popcount(~is.continuations) + std::popcount(is.four));
    wantedHere = is.wantedBehind();
  }
  if (wantedHere) {  // back to the start of the character that the block would have begun within
    do --bytes;
    while (*bytes < 0xC0);
    units -= *bytes < 0xF0 ? 1 : 2;
  }
  return {bytes, units};
}

}  // namespace

RONDEL_AVX2 UTF8Progress measureUTF8WithAVX2(const std::uint8_t* bytes,
                                             const std::uint8_t* end) noexcept {
  HxUInteger units = 0;
  while (end - bytes >= kReadToMeasure) {
    const Block block = examine(bytes, load32(bytes), load32(bytes + 32));
    bytes += block.length;
    units += static_cast<HxUInteger>(std::popcount(block.unitLanes));
    if (block.isFaulty) return {bytes, units};
    const UTF8Progress faultless = measureFaultlessBlocks(bytes, end);
    bytes = faultless.stop;
    units += faultless.units;
  }
  return measureRemainder(bytes, end, units);
}

RONDEL_AVX2 UTF8Progress convertUTF8WithAVX2(const std::uint8_t* bytes, const std::uint8_t* end,
                                             HxUniChar* const out) noexcept {
  HxUniChar* to = out;
  while (end - bytes >= kReadToConvert) {
    const __m256i low = load32(bytes);
    const __m256i high = load32(bytes + 32);
    if (isASCII(low, high)) {
      to = putASCII(bytes, to);
      bytes += kBlock;
      continue;
    }
    const Block block = examine(bytes, low, high);
    to = putUnits(bytes, block, to);
    bytes += block.length;
    if (block.isFaulty) return {bytes, static_cast<HxUInteger>(to - out)};
  }
  return convertRemainder(bytes, end, out, static_cast<HxUInteger>(to - out));
}

}  // namespace rondel::internal

#endif
