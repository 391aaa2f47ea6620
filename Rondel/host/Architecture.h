// SPDX-License-Identifier: MIT
//
// Processor architectures by name and by number.
//
//   const HnArchInfo* info = HnGetArchInfoFromName("ppc970");
//   info = HnGetArchInfoFromCpuType(info->cputype, kAnyCpuSubtype);      // "ppc"
//
// An architecture is a processor type (what code must be made for) and a subtype (which model). The
// 64-bit type of a family is its 32-bit type plus kCpuTypeIs64Bit. A type alone, with
// kAnyCpuSubtype, leads to the family's generic name: "x86_64" is not generic for "i386", but "arm"
// is for "armv7".
//
// The table is constant; any thread may read it.
#pragma once

#include "Rondel/core/object/Export.h"
#include "Rondel/core/object/Types.h"

namespace rondel {

// The flag of 64-bit processor types.
inline constexpr int kCpuTypeIs64Bit = 0x1000000;
// Stands for any processor type, and for any subtype of one.
inline constexpr int kAnyCpuType = -1;
inline constexpr int kAnyCpuSubtype = -1;

struct HnArchInfo {
  const char* name;         // "x86_64"
  int cputype;              // the family
  int cpusubtype;           // the model; kAnyCpuSubtype for a generic entry
  const char* description;  // for people
};

// The architecture that this code was made for: a generic entry. Null on a processor that is not in
// the table.
RONDEL_EXPORT const HnArchInfo* HnGetLocalArchInfo() noexcept;
// By name, case and all; null for null and for names that are not in the table. Besides the names
// of the table the system's own are known: "amd64", "i486" to "i686", "aarch64", "powerpc",
// "powerpc64", "ppc64le".
RONDEL_EXPORT const HnArchInfo* HnGetArchInfoFromName(const char* name) noexcept;
// The entry of a type and a subtype; with kAnyCpuSubtype the generic entry of the type. Null when
// there is none.
RONDEL_EXPORT const HnArchInfo* HnGetArchInfoFromCpuType(int cputype, int cpusubtype) noexcept;

}  // namespace rondel
