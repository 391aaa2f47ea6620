// SPDX-License-Identifier: MIT
//
// Each function is one loop over 16 bytes at a time on machines with SSE2 (every x86-64 has it). A
// plain loop over the rest follows, which is the whole function elsewhere.
#include "Rondel/core/text/internal/ASCII.h"

#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel::internal {

namespace {

#if defined(__SSE2__)

__m128i load(const void* p) noexcept { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void store(void* p, __m128i v) noexcept { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// Returns a mask: bit i is set if byte i is not ASCII.
unsigned maskBeyondASCII(__m128i bytes) noexcept {
  return static_cast<unsigned>(_mm_movemask_epi8(bytes));
}

void widen(__m128i bytes, HxUniChar* out) noexcept {
  store(out, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
  store(out + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

void narrowEight(const HxUniChar* units, char* out) noexcept {
  const __m128i bytes = _mm_packus_epi16(load(units), _mm_setzero_si128());
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), bytes);
}

// Returns whether all the units are ASCII that were combined by or.
bool areASCII(__m128i units) noexcept {
  const __m128i beyond = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80)));
  return _mm_movemask_epi8(_mm_cmpeq_epi16(beyond, _mm_setzero_si128())) == 0xFFFF;
}

#endif

}  // namespace

namespace {

HxUInteger lengthOfShortASCIIPrefix(const std::uint8_t* bytes, HxUInteger length) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  const auto load8 = [](const std::uint8_t* p) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
  };
  if (length >= 8 && ((load8(bytes) | load8(bytes + length - 8)) & kHighBits) == 0) return length;
  HxUInteger i = 0;
  while (i < length && bytes[i] < 0x80) ++i;
  return i;
}

}  // namespace

#if defined(__SSE2__)

// The end of a text is read together with bytes before it that are known to be ASCII. Most texts
// are short, and a loop over single bytes would cost more than all else.
HxUInteger lengthOfASCIIPrefix(const std::uint8_t* bytes, HxUInteger length) noexcept {
  if (length < 16) return lengthOfShortASCIIPrefix(bytes, length);
  clearUpperHalves();
  HxUInteger i = 0;
  for (; i + 64 <= length; i += 64) {
    const std::uint8_t* p = bytes + i;
    const __m128i all =
        _mm_or_si128(_mm_or_si128(load(p), load(p + 16)), _mm_or_si128(load(p + 32), load(p + 48)));
    if (maskBeyondASCII(all)) break;
  }
  for (; i < length; i += 16) {
    if (i + 16 > length) i = length - 16;
    const unsigned mask = maskBeyondASCII(load(bytes + i));
    if (mask) return i + static_cast<HxUInteger>(std::countr_zero(mask));
  }
  return length;
}

#else

HxUInteger lengthOfASCIIPrefix(const std::uint8_t* bytes, HxUInteger length) noexcept {
  HxUInteger i = 0;
  while (i + 8 <= length && lengthOfShortASCIIPrefix(bytes + i, 8) == 8) i += 8;
  return i + lengthOfShortASCIIPrefix(bytes + i, length - i);
}

#endif

HxUInteger widenASCIIPrefix(const std::uint8_t* bytes, HxUInteger length, HxUniChar* out) noexcept {
  clearUpperHalves();
  HxUInteger i = 0;
#if defined(__SSE2__)
  for (; i + 48 <= length; i += 16) {  // 48 bytes make at least 16 units
    const __m128i v = load(bytes + i);
    widen(v, out + i);
    const unsigned mask = maskBeyondASCII(v);
    if (mask) return i + static_cast<HxUInteger>(std::countr_zero(mask));
  }
  for (; i + 16 <= length; i += 16) {
    const __m128i v = load(bytes + i);
    if (maskBeyondASCII(v)) break;
    widen(v, out + i);
  }
#endif
  for (; i < length && bytes[i] < 0x80; ++i) out[i] = bytes[i];
  return i;
}

HxUInteger narrowASCIIPrefix(const HxUniChar* units, HxUInteger length, char* out) noexcept {
  clearUpperHalves();
  HxUInteger i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= length; i += 16) {
    const __m128i low = load(units + i);
    const __m128i high = load(units + i + 8);
    if (!areASCII(_mm_or_si128(low, high))) break;
    store(out + i, _mm_packus_epi16(low, high));
  }
  // The rest is read together with some units before it.
  if (i < length && i + 16 > length && length >= 16) {
    const HxUniChar* last = units + length - 16;
    const __m128i low = load(last);
    const __m128i high = load(last + 8);
    if (areASCII(_mm_or_si128(low, high))) {
      store(out + length - 16, _mm_packus_epi16(low, high));
      return length;
    }
  }
#endif
  for (; i < length && units[i] < 0x80; ++i) out[i] = static_cast<char>(units[i]);
  return i;
}

bool isASCII(const char* bytes, HxUInteger length) noexcept {
  return lengthOfASCIIPrefix(reinterpret_cast<const std::uint8_t*>(bytes), length) == length;
}

// The two functions below read the end of at least 8 units together with some before it, so that
// short text costs no loop over single units.
bool isASCII(const HxUniChar* units, HxUInteger length) noexcept {
  clearUpperHalves();
  HxUInteger i = 0;
#if defined(__SSE2__)
  for (; i + 32 <= length; i += 32) {
    const HxUniChar* p = units + i;
    const __m128i all =
        _mm_or_si128(_mm_or_si128(load(p), load(p + 8)), _mm_or_si128(load(p + 16), load(p + 24)));
    if (!areASCII(all)) return false;
  }
  if (length >= 8) {
    __m128i rest = load(units + length - 8);
    for (; i + 8 <= length; i += 8) rest = _mm_or_si128(rest, load(units + i));
    return areASCII(rest);
  }
#endif
  unsigned all = 0;
  for (; i < length; ++i) all |= units[i];
  return all < 0x80;
}

void narrowUnits(const HxUniChar* units, HxUInteger length, char* out) noexcept {
  clearUpperHalves();
  HxUInteger i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= length; i += 16) {
    store(out + i, _mm_packus_epi16(load(units + i), load(units + i + 8)));
  }
  if (length >= 8) {
    if (i + 8 <= length) narrowEight(units + i, out + i);
    return narrowEight(units + length - 8, out + length - 8);
  }
#endif
  for (; i < length; ++i) out[i] = static_cast<char>(units[i]);
}

void widenBytes(const char* bytes, HxUInteger length, HxUniChar* out) noexcept {
  clearUpperHalves();
  HxUInteger i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= length; i += 16) widen(load(bytes + i), out + i);
#endif
  for (; i < length; ++i) out[i] = static_cast<unsigned char>(bytes[i]);
}

}  // namespace rondel::internal
