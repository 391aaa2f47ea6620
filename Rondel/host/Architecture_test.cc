// SPDX-License-Identifier: MIT
#include "Rondel/host/Architecture.h"

#include <gtest/gtest.h>

#include <string>

namespace rondel {
namespace {

constexpr const char* kNames[] = {"i386", "x86_64", "ppc",   "ppc64", "ppc7400", "ppc970",
                                  "arm",  "armv6",  "armv7", "arm64", "riscv64"};

std::string genericNameOf(const char* name) {
  const HnArchInfo* const info = HnGetArchInfoFromName(name);
  return HnGetArchInfoFromCpuType(info->cputype, kAnyCpuSubtype)->name;
}

TEST(Architecture, NamesLeadToTheirOwnEntry) {
  for (const char* name : kNames) {
    const HnArchInfo* const info = HnGetArchInfoFromName(name);
    ASSERT_NE(info, nullptr) << name;
    EXPECT_STREQ(info->name, name);
    EXPECT_EQ(HnGetArchInfoFromCpuType(info->cputype, info->cpusubtype), info);
    EXPECT_NE(info->cputype, kAnyCpuType);
  }
}

TEST(Architecture, FlagTellsA64BitTypeFromIts32BitOne) {
  for (const auto& [narrow, wide] : {std::pair{"i386", "x86_64"}, std::pair{"ppc", "ppc64"},
                                     std::pair{"arm", "arm64"}, std::pair{"riscv32", "riscv64"}}) {
    EXPECT_EQ(HnGetArchInfoFromName(narrow)->cputype + kCpuTypeIs64Bit,
              HnGetArchInfoFromName(wide)->cputype);
  }
  EXPECT_EQ(kCpuTypeIs64Bit, 0x1000000);
}

TEST(Architecture, AnySubtypeLeadsToTheGenericName) {
  EXPECT_EQ(genericNameOf("ppc970"), "ppc");
  EXPECT_EQ(genericNameOf("ppc7400"), "ppc");
  EXPECT_EQ(genericNameOf("armv7"), "arm");
  EXPECT_EQ(genericNameOf("x86_64"), "x86_64");
  EXPECT_EQ(genericNameOf("riscv64"), "riscv64");
}

TEST(Architecture, NamesOfThisSystemAreKnown) {
  EXPECT_STREQ(HnGetArchInfoFromName("amd64")->name, "x86_64");
  EXPECT_STREQ(HnGetArchInfoFromName("aarch64")->name, "arm64");
  EXPECT_STREQ(HnGetArchInfoFromName("i686")->name, "i386");
}

TEST(Architecture, UnknownReturnsNull) {
  EXPECT_EQ(HnGetArchInfoFromName(nullptr), nullptr);
  EXPECT_EQ(HnGetArchInfoFromName(""), nullptr);
  EXPECT_EQ(HnGetArchInfoFromName("PPC"), nullptr);
  EXPECT_EQ(HnGetArchInfoFromCpuType(kAnyCpuType, kAnyCpuSubtype), nullptr);
  EXPECT_EQ(HnGetArchInfoFromCpuType(HnGetArchInfoFromName("ppc")->cputype, 9999), nullptr);
}

TEST(Architecture, LocalOneIsGeneric) {
  const HnArchInfo* const local = HnGetLocalArchInfo();
  ASSERT_NE(local, nullptr);
  EXPECT_EQ(HnGetArchInfoFromCpuType(local->cputype, kAnyCpuSubtype), local);
#if defined(__x86_64__)
  EXPECT_STREQ(local->name, "x86_64");
#endif
}

}  // namespace
}  // namespace rondel
