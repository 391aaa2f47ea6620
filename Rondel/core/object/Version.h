// SPDX-License-Identifier: MIT
#pragma once

#include "Rondel/core/object/Export.h"

// Which Rondel this is: for a tool's `--version` text or a bug report.
//
// The macros state the version of the headers that a tool was compiled with. The constants state
// that of the library it runs with. They differ if the shared library was replaced by a newer one:
//
//     std::printf("built with Rondel %d.%d, running with %s\n", RONDEL_VERSION_MAJOR,
//                 RONDEL_VERSION_MINOR, rondel::ZevRondelVersionString);
//
// Versions are semantic (semver.org): within one major version a newer library serves older tools.
// The constants may be read on any thread, and before `main` begins.

#define RONDEL_VERSION_MAJOR 1
#define RONDEL_VERSION_MINOR 0
#define RONDEL_VERSION_PATCH 0

namespace rondel {

/// The build number: major * 10000 + minor * 100 + patch, so that a later version compares greater.
RONDEL_EXPORT extern const double ZevRondelVersionNumber;

/// The version as text, `MAJOR.MINOR.PATCH`, NUL-terminated.
RONDEL_EXPORT extern const char ZevRondelVersionString[];

}  // namespace rondel
