// SPDX-License-Identifier: MIT
//
// The kernel for every machine reads runs of ASCII by the loops of ASCII.h, and each other sequence
// by its lead: two bytes below E0, three below F0, four from there on. A sequence is well-formed if
// it is whole, its other bytes are continuations, and its value is none that a shorter form has, no
// surrogate and not beyond U+10FFFF.
//
//   "a" C3 A9 ED A0 80    "a"        run of ASCII          1 unit
//                         C3 A9      readTwo:   U+00E9     1 unit
//                         ED A0 80   readThree: U+D800, a surrogate: the walk stops at ED
#include "Rondel/core/text/internal/UTF8Kernel.h"

#include "Rondel/core/text/internal/ASCII.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/UTF8KernelAVX2.h"

namespace rondel::internal {

// ---- The kernel for every machine

namespace {

// The difference between measure and convert: one counts units, the other writes them.
struct Counter {
  HxUInteger units = 0;
  HxUInteger ascii(const std::uint8_t* p, HxUInteger length) noexcept {
    const HxUInteger count = lengthOfASCIIPrefix(p, length);
    units += count;
    return count;
  }
  void unit(std::uint32_t) noexcept { ++units; }
  void pair(std::uint32_t) noexcept { units += 2; }
};

struct Writer {
  HxUniChar* out;
  HxUInteger ascii(const std::uint8_t* p, HxUInteger length) noexcept {
    const HxUInteger count = widenASCIIPrefix(p, length, out);
    out += count;
    return count;
  }
  void unit(std::uint32_t value) noexcept { *out++ = static_cast<HxUniChar>(value); }
  void pair(std::uint32_t value) noexcept { out += splitIntoUnits(value, out); }
};

bool isContinuation(std::uint8_t byte) noexcept { return (byte & 0xC0) == 0x80; }

// Each reads the sequence at `p`, which begins with a lead of its length. Returns the byte after
// it; null if it is not well-formed. The lead shows overlong forms of two bytes. The value shows
// longer overlong forms, surrogates and what lies beyond U+10FFFF.
template <class Target>
const std::uint8_t* readTwo(const std::uint8_t* p, std::ptrdiff_t left, Target& target) noexcept {
  if (left < 2 || p[0] < 0xC2 || !isContinuation(p[1])) return nullptr;
  target.unit((p[0] & 0x1FU) << 6 | (p[1] & 0x3FU));
  return p + 2;
}

template <class Target>
const std::uint8_t* readThree(const std::uint8_t* p, std::ptrdiff_t left, Target& target) noexcept {
  if (left < 3 || !isContinuation(p[1]) || !isContinuation(p[2])) return nullptr;
  const std::uint32_t value = (p[0] & 0x0FU) << 12 | (p[1] & 0x3FU) << 6 | (p[2] & 0x3FU);
  if (value < 0x800 || isSurrogate(value)) return nullptr;
  target.unit(value);
  return p + 3;
}

template <class Target>
const std::uint8_t* readFour(const std::uint8_t* p, std::ptrdiff_t left, Target& target) noexcept {
  if (left < 4 || !isContinuation(p[1]) || !isContinuation(p[2]) || !isContinuation(p[3])) {
    return nullptr;
  }
  const std::uint32_t value =
      (p[0] & 0x0FU) << 18 | (p[1] & 0x3FU) << 12 | (p[2] & 0x3FU) << 6 | (p[3] & 0x3FU);
  if (value < 0x10000 || value > 0x10FFFF) return nullptr;
  target.pair(value);
  return p + 4;
}

template <class Target>
const std::uint8_t* walk(const std::uint8_t* p, const std::uint8_t* end, Target& target) noexcept {
  while (p != end) {
    if (*p < 0x80) {
      p += target.ascii(p, static_cast<HxUInteger>(end - p));
      continue;
    }
    const std::uint8_t* next = *p < 0xE0   ? readTwo(p, end - p, target)
                               : *p < 0xF0 ? readThree(p, end - p, target)
                                           : readFour(p, end - p, target);
    if (!next) return p;
    p = next;
  }
  return p;
}

UTF8Progress measureUTF8(const std::uint8_t* bytes, const std::uint8_t* end) noexcept {
  Counter counter;
  const std::uint8_t* stop = walk(bytes, end, counter);
  return {stop, counter.units};
}

UTF8Progress convertUTF8(const std::uint8_t* bytes, const std::uint8_t* end,
                         HxUniChar* out) noexcept {
  Writer writer{out};
  const std::uint8_t* stop = walk(bytes, end, writer);
  return {stop, static_cast<HxUInteger>(writer.out - out)};
}

}  // namespace

// ---- The choice

namespace {

#if defined(__x86_64__)
constexpr UTF8Kernel kKernels[] = {
    {"every machine", measureUTF8, convertUTF8},
    {"AVX2", measureUTF8WithAVX2, convertUTF8WithAVX2},
};
HxUInteger countOfKernels() noexcept { return canRunAVX2() ? 2 : 1; }
#else
constexpr UTF8Kernel kKernels[] = {{"every machine", measureUTF8, convertUTF8}};
constexpr HxUInteger countOfKernels() noexcept { return 1; }
#endif

}  // namespace

std::span<const UTF8Kernel> availableUTF8Kernels() noexcept {
  static const HxUInteger count = countOfKernels();
  return {kKernels, count};
}

const UTF8Kernel& bestUTF8Kernel() noexcept { return availableUTF8Kernels().back(); }

}  // namespace rondel::internal
