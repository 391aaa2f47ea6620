// SPDX-License-Identifier: MIT
// Rondel's rows of UTF-8 to UTF-16.
#include "Rondel/additions/TextDecoding.h"
#include "Rondel/core/text/String.h"
#include "inputs.hpp"

using namespace w03;
using namespace rondel;
using U = std::uint64_t;

namespace {

U decodeTolerantly(const std::string& bytes) {
  const HxString text =
      initWithPotentiallyMalformedUTF8Bytes(bytes.data(), bytes.size(), true, nullptr, nullptr);
  benchmark::DoNotOptimize(text.object());
  return text.length();
}

U decodeStrictly(const std::string& bytes) {
  const HxString text{std::string_view(bytes)};
  benchmark::DoNotOptimize(text.object());
  return text.length();
}

BENCH_ROWS(w03_rondel) {
  for (const Case& c : cases()) {
    const Text* t = &text(c.kind);
    bench::Group& g = decode(c);
    if (t->damaged) {
      g.row_unchecked(
          "rondel", "rondel_tolerant", [t] { return decodeTolerantly(t->utf8); },
          "new string each time; spoilt bytes as octal escapes");
    } else {
      g.rondel(
          "rondel_tolerant", [t] { return decodeTolerantly(t->utf8); }, "new string each time");
      g.rondel(
          "rondel_strict", [t] { return decodeStrictly(t->utf8); }, "new string each time");
    }
  }
  lines().rondel("rondel_tolerant", [] {
    U n = 0;
    for (const std::string& s : short_lines()) n += decodeTolerantly(s);
    return n;
  });
}

}  // namespace
