// SPDX-License-Identifier: MIT
//
// The portable kernel: one sequence at a time. It gives up its stretch after some bytes without
// damage, since damage comes in clusters and the loops for well-formed text cost much to enter.
//
// One worked trace, of the bytes 41 E9 74 C3 A9, Latin-1 text before well-formed text:
//
//    41       ASCII                                          A
//    E9       a lead of three, but 74 is no continuation     \351
//    74       looked at afresh: ASCII                        t
//    C3 A9    a lead of two and its continuation             U+00E9
#include "Rondel/additions/internal/TolerantUTF8.h"

#include <algorithm>
#include <array>

#include "Rondel/additions/internal/TolerantUTF8AVX2.h"
#include "Rondel/additions/internal/UTF8Escapes.h"
#include "Rondel/core/text/internal/Transcode.h"
#include "Rondel/core/text/internal/UTF8KernelAVX2.h"

namespace rondel::internal {

// ---- The rules --------------------------------------------------------------------------------

namespace {

bool isContinuation(std::uint8_t byte) noexcept { return (byte & 0xC0) == 0x80; }

// What a lead byte asks for: a number of bytes after it, the first of them within limits. The
// limits of a lead that is never legal let nothing pass.
struct LeadRule {
  std::uint8_t trailing;
  std::uint8_t lowestSecond;
  std::uint8_t highestSecond;
};

constexpr LeadRule ruleOf(unsigned lead) {
  const std::uint8_t trailing = lead < 0xC0 || lead >= 0xF8 ? 0
                                : lead < 0xE0               ? 1
                                : lead < 0xF0               ? 2
                                                            : 3;
  if (lead < 0xC2 || lead > 0xF4) return {trailing, 1, 0};
  switch (lead) {
    case 0xE0:
      return {trailing, 0xA0, 0xBF};
    case 0xF0:
      return {trailing, 0x90, 0xBF};
    case 0xF4:
      return {trailing, 0x00, 0x8F};  // Deliberate: no lower limit, as the contract has it.
    default:
      return {trailing, 0x80, 0xBF};
  }
}

constexpr std::array<LeadRule, 256> kLeadRules = [] {
  std::array<LeadRule, 256> rules{};
  for (unsigned lead = 0; lead < 256; ++lead) rules[lead] = ruleOf(lead);
  return rules;
}();

// Branch-free: branches mispredict on damaged text. Of a short sequence the last byte is tested
// more than once.
bool isLegal(const std::uint8_t* p, LeadRule rule) noexcept {
  const std::uint8_t second = p[std::min<std::size_t>(rule.trailing, 1)];
  const int isSecondLegal = int{second >= rule.lowestSecond} & int{second <= rule.highestSecond};
  const int isThirdLegal = isContinuation(p[std::min<std::size_t>(rule.trailing, 2)]);
  return (isSecondLegal & isThirdLegal & int{isContinuation(p[rule.trailing])}) != 0;
}

// The bytes added up, each shifted to its place, less the sum of their marks.
std::uint32_t valueOf(const std::uint8_t* p, HxUInteger trailing) noexcept {
  constexpr std::uint32_t kMarks[] = {0, 0x3080, 0xE2080, 0x3C82080};
  std::uint32_t value = p[0];
  for (HxUInteger i = 1; i <= trailing; ++i) value = (value << 6) + p[i];
  return value - kMarks[trailing];
}

}  // namespace

const std::uint8_t* startOfIncompleteSequence(const std::uint8_t* bytes,
                                              const std::uint8_t* end) noexcept {
  constexpr std::ptrdiff_t kMostTrailing = 3;
  for (std::ptrdiff_t left = std::min(kMostTrailing, end - bytes); left > 0; --left) {
    if (kLeadRules[*(end - left)].trailing >= left) return end - left;
  }
  return end;
}

// ---- The kernel for every machine -------------------------------------------------------------

namespace {

// What a pass does with the text that it reads.
struct Counter {
  TextMeasure& measure;

  void ascii(std::uint8_t) noexcept { ++measure.units; }
  void legal(std::uint32_t value) noexcept {
    measure.units += value < 0x10000 ? 1 : 2;
    measure.isASCII = false;
  }
  void malformed(std::uint8_t) noexcept {
    measure.units += kEscapeLength;
    ++measure.malformed;
  }
};

template <class Unit>
struct Writer {
  Unit* out;

  void ascii(std::uint8_t byte) noexcept { *out++ = static_cast<Unit>(byte); }
  void legal(std::uint32_t value) noexcept {
    if constexpr (sizeof(Unit) > 1) out += splitIntoUnits(value, out);
  }
  void malformed(std::uint8_t byte) noexcept {
    escapeOf<Unit>(byte).writeTo(out);
    out += kEscapeLength;
  }
};

// Reads up to the first kCalm bytes in a row without damage.
template <class Pass>
const std::uint8_t* readStretch(const std::uint8_t* p, const std::uint8_t* end,
                                Pass& pass) noexcept {
  constexpr std::ptrdiff_t kCalm = 32;
  for (const std::uint8_t* calmSince = p; p < end && p - calmSince < kCalm;) {
    if (*p < 0x80) {
      pass.ascii(*p++);
      continue;
    }
    const LeadRule rule = kLeadRules[*p];
    if (end - p > rule.trailing && isLegal(p, rule)) {
      pass.legal(valueOf(p, rule.trailing));
      p += rule.trailing + 1;
    } else {
      pass.malformed(*p++);
      calmSince = p;
    }
  }
  return p;
}

const std::uint8_t* measurePlainly(const std::uint8_t* bytes, const std::uint8_t* end,
                                   TextMeasure& measure) noexcept {
  Counter counter{measure};
  return readStretch(bytes, end, counter);
}

template <class Unit>
const std::uint8_t* convertPlainly(const std::uint8_t* bytes, const std::uint8_t* end,
                                   Unit*& out) noexcept {
  Writer<Unit> writer{out};
  const std::uint8_t* const stop = readStretch(bytes, end, writer);
  out = writer.out;
  return stop;
}

}  // namespace

// ---- The choice -------------------------------------------------------------------------------

namespace {

#if defined(__x86_64__)
constexpr TolerantUTF8Kernel kKernels[] = {
    {"every machine", measurePlainly, convertPlainly<HxUniChar>, convertPlainly<char>},
    {"AVX2", measureTolerantlyWithAVX2, convertTolerantlyWithAVX2, convertToASCIIWithAVX2},
};
HxUInteger countOfKernels() noexcept { return canRunAVX2() ? 2 : 1; }
#else
constexpr TolerantUTF8Kernel kKernels[] = {
    {"every machine", measurePlainly, convertPlainly<HxUniChar>, convertPlainly<char>}};
constexpr HxUInteger countOfKernels() noexcept { return 1; }
#endif

}  // namespace

std::span<const TolerantUTF8Kernel> availableTolerantUTF8Kernels() noexcept {
  static const HxUInteger count = countOfKernels();
  return {kKernels, count};
}

const TolerantUTF8Kernel& bestTolerantUTF8Kernel() noexcept {
  return availableTolerantUTF8Kernels().back();
}

}  // namespace rondel::internal
