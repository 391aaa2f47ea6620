// SPDX-License-Identifier: MIT
//
// The table of the string-list cache is generated from this by the compiler: the texts, and the
// hash in which each has a slot of its own. If two texts fall into one slot the table does not
// compile; then choose other values.
#pragma once

#include <array>

#include "Rondel/additions/StringListCache.h"

namespace rondel::internal {

inline constexpr unsigned kStringListSlots = 94;
inline constexpr unsigned kShortestStringList = 3;
inline constexpr unsigned kLongestStringList = 93;

inline constexpr const char* kStringLists[] = {
    "ppc",
    "i386",
    "debug",
    "normal",
    "i386 ppc",
    "i386 x86_64",
    "normal debug",
    "i386 ppc x86_64",
    "x86_64",
    "x86_64 i386",
    "x86_64 i386 ppc",
    "haldenos",
    "headers build",
    "armv6 armv7 i386 ppc ppc64 ppc7400 ppc970 x86_64",
    "com.ostrand.compilers.llvmgcc42",
    "com.ostrand.compilers.llvm.clang.1_0",
    "com.ostrand.compilers.llvm.clang.1_0.astbuilder",
    "com.ostrand.compilers.llvmgcc42 com.ostrand.compilers.llvm.clang.1_0",
    "com.ostrand.compilers.llvmgcc42 com.ostrand.compilers.llvm.clang.1_0.astbuilder",
    ("com.ostrand.compilers.llvm.clang.1_0.compiler "
     "com.ostrand.compilers.llvm.clang.1_0.astbuilder"),
};

// The hash: a value for the first byte, plus the length.
struct _VNHashVantorStringListValueForGlobalCache {
  static constexpr std::uint8_t kNoRow = kStringListSlots;  // beyond the table with any length

  static constexpr std::array<std::uint8_t, 256> asso_values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoRow);
    for (const char first : {'a', 'c', 'd', 'i', 'n', 'p'})
      values[static_cast<unsigned char>(first)] = 0;
    values['x'] = 10;
    values['h'] = 20;
    return values;
  }();

  static constexpr unsigned hash(const char* bytes, unsigned length) noexcept {
    return asso_values[static_cast<unsigned char>(bytes[0])] + length;
  }
};

// The row of a slot below kStringListSlots.
RONDEL_EXPORT VantorStringListRow& stringListRow(unsigned slot) noexcept;

}  // namespace rondel::internal
