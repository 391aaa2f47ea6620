// SPDX-License-Identifier: MIT
#include "Rondel/host/Architecture.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace rondel {
namespace {

constexpr int kX86 = 7;
constexpr int kArm = 12;
constexpr int kPowerPC = 18;
constexpr int kRiscV = 24;

// The generic entry of a type comes first.
constexpr HnArchInfo kArchitectures[] = {
    {"i386", kX86, kAnyCpuSubtype, "Intel 80x86"},
    {"x86_64", kX86 + kCpuTypeIs64Bit, kAnyCpuSubtype, "Intel x86-64"},
    {"ppc", kPowerPC, kAnyCpuSubtype, "PowerPC"},
    {"ppc750", kPowerPC, 9, "PowerPC 750"},
    {"ppc7400", kPowerPC, 10, "PowerPC 7400"},
    {"ppc7450", kPowerPC, 11, "PowerPC 7450"},
    {"ppc970", kPowerPC, 100, "PowerPC 970"},
    {"ppc64", kPowerPC + kCpuTypeIs64Bit, kAnyCpuSubtype, "PowerPC, 64 bits"},
    {"ppc970-64", kPowerPC + kCpuTypeIs64Bit, 100, "PowerPC 970, 64 bits"},
    {"arm", kArm, kAnyCpuSubtype, "ARM"},
    {"armv6", kArm, 6, "ARM version 6"},
    {"armv7", kArm, 9, "ARM version 7"},
    {"arm64", kArm + kCpuTypeIs64Bit, kAnyCpuSubtype, "ARM, 64 bits"},
    {"riscv32", kRiscV, kAnyCpuSubtype, "RISC-V, 32 bits"},
    {"riscv64", kRiscV + kCpuTypeIs64Bit, kAnyCpuSubtype, "RISC-V, 64 bits"},
};

// Names that this system has for the same.
struct Alias {
  std::string_view name;
  const char* canonical;
};
constexpr Alias kAliases[] = {
    {"amd64", "x86_64"},  {"i486", "i386"},   {"i586", "i386"},       {"i686", "i386"},
    {"aarch64", "arm64"}, {"powerpc", "ppc"}, {"powerpc64", "ppc64"}, {"ppc64le", "ppc64"},
};

template <class Matches>
const HnArchInfo* firstArchitecture(Matches matches) {
  const auto* const found =
      std::find_if(std::begin(kArchitectures), std::end(kArchitectures), matches);
  return found == std::end(kArchitectures) ? nullptr : found;
}

constexpr const char* localName() {
#if defined(__x86_64__)
  return "x86_64";
#elif defined(__i386__)
  return "i386";
#elif defined(__aarch64__)
  return "arm64";
#elif defined(__arm__)
  return "arm";
#elif defined(__powerpc64__)
  return "ppc64";
#elif defined(__powerpc__)
  return "ppc";
#elif defined(__riscv) && __riscv_xlen == 64
  return "riscv64";
#elif defined(__riscv)
  return "riscv32";
#else
  return nullptr;
#endif
}

}  // namespace

const HnArchInfo* HnGetLocalArchInfo() noexcept { return HnGetArchInfoFromName(localName()); }

const HnArchInfo* HnGetArchInfoFromName(const char* name) noexcept {
  if (!name) return nullptr;
  std::string_view wanted = name;
  for (const Alias& alias : kAliases) {
    if (alias.name == wanted) wanted = alias.canonical;
  }
  return firstArchitecture([&](const HnArchInfo& info) { return info.name == wanted; });
}

const HnArchInfo* HnGetArchInfoFromCpuType(int cputype, int cpusubtype) noexcept {
  return firstArchitecture([&](const HnArchInfo& info) {
    return info.cputype == cputype && info.cpusubtype == cpusubtype;
  });
}

}  // namespace rondel
