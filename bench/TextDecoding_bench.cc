// SPDX-License-Identifier: MIT

// Decoding UTF-8, sound and damaged, and text that is not UTF-8 at all: by the kernels alone, to
// strings whole, in the pieces that a pipe delivers, and a line at a time. The figures are bytes a
// second. The limit of each kind of text is a plain copy of it; the peer is a plain loop.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/additions/TextDecoding.h"
#include "Rondel/core/text/internal/UTF8Kernel.h"

namespace {

using namespace rondel;

constexpr std::size_t kTextSize = std::size_t{1} << 20;
constexpr std::size_t kPieceSize = std::size_t{64} << 10;

enum Kind {
  ascii,
  nearlyASCII,
  latin,
  cjk,
  emoji,
  damaged,
  oneBadIn60,
  koi8Words,
  gbk,
  shiftJIS,
  germanLatin1,
  frenchLatin1,
  loneSurrogates,
  allFF,
  random
};
constexpr const char* kKindNames[] = {
    "ascii",           "nearly ascii", "latin", "cjk",       "emoji",          "damaged",
    "1 bad in 60",     "KOI8",         "GBK",   "Shift-JIS", "German Latin-1", "French Latin-1",
    "lone surrogates", "all FF",       "random"};

// One character in so many is of the sequences of the kind; the others are letters.
struct Recipe {
  unsigned oneIn;
  std::vector<std::string_view> sequences;
};

Recipe recipeOf(Kind kind) {
  switch (kind) {
    case nearlyASCII:
      return {2000, {"\xC3\xA9", "\xE6\x96\x87", "\xE2\x80\x98"}};
    case latin:
      return {6, {"\xC3\xA9", "\xC3\xBC", "\xC5\x82"}};
    case cjk:
      return {1, {"\xE6\x96\x87", "\xE5\xAD\x97", "\xE4\xB8\xAD", "\xE6\x9C\xAC", "1"}};
    case emoji:
      return {1, {"\xF0\x9F\x98\x80", "\xF0\x9F\x9A\x80", "\xF0\x9F\x8E\x89", " "}};
    case damaged:
      return {6, {"\xC3\xA9", "\xC3\xBC", "\xC5\x82", "\xC3\xA9", "\xC3\xBC", "\xE6"}};
    case oneBadIn60:
      return {60, {"\xFF"}};
    case loneSurrogates:
      return {1, {"\xED\xA0\x80", "\xED\xBF\xBF"}};
    case allFF:
      return {1, {"\xFF"}};
    default:
      return {kTextSize, {""}};
  }
}

using Random = std::mt19937;

unsigned below(unsigned limit, Random& random) { return static_cast<unsigned>(random() % limit); }

// Both limits are included.
char byteBetween(unsigned lowest, unsigned highest, Random& random) {
  return static_cast<char>(lowest + below(highest - lowest + 1, random));
}

// Words of `characters()` with blanks between them.
template <class MakeCharacter>
std::string makeWords(unsigned longest, Random& random, const MakeCharacter& character) {
  std::string text;
  while (text.size() < kTextSize) {
    for (unsigned left = 1 + below(longest, random); left > 0; --left) text += character();
    text += ' ';
  }
  return text;
}

// Text in the encodings of one country, as it reaches a tool that expects UTF-8.
std::string makeLegacyText(Kind kind, Random& random) {
  const auto lead = [&] { return byteBetween(0xB0, 0xF7, random); };
  switch (kind) {
    case koi8Words:  // capitals are E0 to FF
      return makeWords(10, random, [&] { return std::string{byteBetween(0xC0, 0xDF, random)}; });
    case gbk:
      return makeWords(20, random, [&] {
        return std::string{lead(), byteBetween(0xA1, 0xFE, random)};
      });
    case shiftJIS:  // kana, and a kanji now and then
      return makeWords(20, random, [&] {
        return random() % 3 != 0
                   ? std::string{'\x82', byteBetween(0x9F, 0xF1, random)}
                   : std::string{byteBetween(0x88, 0x9F, random), byteBetween(0x40, 0x7E, random)};
      });
    case germanLatin1:  // one letter in 16
      return makeWords(12, random, [&] {
        return std::string{random() % 16 == 0 ? "\xE4\xF6\xFC\xDF"[random() % 4]
                                              : byteBetween('a', 'z', random)};
      });
    default:  // frenchLatin1: one letter in 25
      return makeWords(10, random, [&] {
        return std::string{random() % 25 == 0 ? "\xE9\xE8\xE0\xEA"[random() % 4]
                                              : byteBetween('a', 'z', random)};
      });
  }
}

std::string makeText(Kind kind) {
  Random random(1);
  std::string text;
  if (kind == Kind::random) {
    while (text.size() < kTextSize) text += static_cast<char>(random());
    return text;
  }
  if (kind >= koi8Words && kind <= frenchLatin1) return makeLegacyText(kind, random);
  const Recipe recipe = recipeOf(kind);
  while (text.size() < kTextSize) {
    if (random() % recipe.oneIn == 0) {
      text += recipe.sequences[random() % recipe.sequences.size()];
    } else {
      text += static_cast<char>('a' + random() % 26);
    }
  }
  return text;
}

const std::string& textOf(benchmark::State& state) {
  static std::string texts[std::size(kKindNames)];
  const auto kind = static_cast<std::size_t>(state.range(0));
  if (texts[kind].empty()) texts[kind] = makeText(static_cast<Kind>(kind));
  state.SetLabel(kKindNames[kind]);
  return texts[kind];
}

void countBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void copyOfBytes(benchmark::State& state) {
  const std::string& text = textOf(state);
  std::vector<char> copy(text.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::ClobberMemory();
  }
  countBytes(state, text.size());
}
BENCHMARK(copyOfBytes)->DenseRange(ascii, random);

void wholeText(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) {
    const HxString decoded =
        initWithPotentiallyMalformedUTF8Bytes(text.data(), text.size(), true, nullptr, nullptr);
    benchmark::DoNotOptimize(decoded.object());
  }
  countBytes(state, text.size());
}
BENCHMARK(wholeText)->DenseRange(ascii, random);

// What a tool would write: one character at a time, by the rules of the decoder, into room that is
// there already.
std::size_t lengthOfSequence(const unsigned char* p, std::size_t left) {
  const auto isTail = [](unsigned char byte) { return (byte & 0xC0) == 0x80; };
  if (p[0] >= 0xC2 && p[0] <= 0xDF) return left >= 2 && isTail(p[1]) ? 2 : 0;
  if (p[0] >= 0xE0 && p[0] <= 0xEF) {
    return left >= 3 && isTail(p[1]) && isTail(p[2]) && (p[0] != 0xE0 || p[1] >= 0xA0) ? 3 : 0;
  }
  if (p[0] < 0xF0 || p[0] > 0xF4 || left < 4 || !isTail(p[2]) || !isTail(p[3])) return 0;
  if (p[0] == 0xF4) return p[1] <= 0x8F ? 4 : 0;
  return isTail(p[1]) && (p[0] != 0xF0 || p[1] >= 0x90) ? 4 : 0;
}

char16_t* decodePlainly(const std::string& text, char16_t* out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  while (p < end) {
    if (*p < 0x80) {
      *out++ = *p++;
      continue;
    }
    const std::size_t length = lengthOfSequence(p, static_cast<std::size_t>(end - p));
    if (length == 0) {
      *out++ = u'\\';
      *out++ = static_cast<char16_t>(u'0' + (*p >> 6));
      *out++ = static_cast<char16_t>(u'0' + (*p >> 3 & 7));
      *out++ = static_cast<char16_t>(u'0' + (*p & 7));
      ++p;
      continue;
    }
    std::uint32_t value = *p & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) value = value << 6 | (p[i] & 0x3FU);
    if (value < 0x10000) {
      *out++ = static_cast<char16_t>(value);
    } else {
      *out++ = static_cast<char16_t>(0xD7C0 + (value >> 10));
      *out++ = static_cast<char16_t>(0xDC00 + (value & 0x3FF));
    }
    p += length;
  }
  return out;
}

void plainLoop(benchmark::State& state) {
  const std::string& text = textOf(state);
  std::vector<char16_t> units(4 * text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(decodePlainly(text, units.data()));
    benchmark::ClobberMemory();
  }
  countBytes(state, text.size());
}
BENCHMARK(plainLoop)->DenseRange(ascii, random);

void strictly(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) benchmark::DoNotOptimize(HxString(std::string_view(text)).object());
  countBytes(state, text.size());
}
BENCHMARK(strictly)->DenseRange(ascii, emoji);

// What the UTF-8 filter of a pipeline does.
void inPieces(benchmark::State& state) {
  const std::string& text = textOf(state);
  for (auto _ : state) {
    HxUInteger used = 0;
    for (std::size_t at = 0; at + kPieceSize < text.size(); at += used) {
      const HxString piece =
          initWithPotentiallyMalformedUTF8Bytes(text.data() + at, kPieceSize, true, &used, nullptr);
      benchmark::DoNotOptimize(piece.object());
    }
  }
  countBytes(state, text.size());
}
BENCHMARK(inPieces)->DenseRange(ascii, random);

void lineByLine(benchmark::State& state) {
  constexpr std::size_t kLineSize = 48;
  const std::string& text = textOf(state);
  for (auto _ : state) {
    HxUInteger used = 0;
    for (std::size_t at = 0; at + kLineSize < text.size(); at += used) {
      const HxString line =
          initWithPotentiallyMalformedUTF8Bytes(text.data() + at, kLineSize, true, &used, nullptr);
      benchmark::DoNotOptimize(line.object());
    }
  }
  countBytes(state, text.size());
}
BENCHMARK(lineByLine)->DenseRange(ascii, random);

// One row a kernel: to measure the text and convert it.
void kernelAlone(benchmark::State& state) {
  const std::string& text = textOf(state);
  const auto kernels = internal::availableUTF8Kernels();
  const auto number = static_cast<std::size_t>(state.range(1));
  if (number >= kernels.size()) return state.SkipWithError("not on this machine");
  const internal::UTF8Kernel& kernel = kernels[number];
  state.SetLabel(std::string(kKindNames[state.range(0)]) + ", " + kernel.name);
  const auto* begin = reinterpret_cast<const std::uint8_t*>(text.data());
  std::vector<HxUniChar> units(text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(kernel.measure(begin, begin + text.size()));
    benchmark::DoNotOptimize(kernel.convert(begin, begin + text.size(), units.data()));
  }
  countBytes(state, text.size());
}
BENCHMARK(kernelAlone)
    ->ArgsProduct({benchmark::CreateDenseRange(ascii, emoji, 1),
                   benchmark::CreateDenseRange(0, 1, 1)});

}  // namespace
