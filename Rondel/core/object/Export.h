// SPDX-License-Identifier: MIT
#pragma once

// The one export mark of the library.
//
// Everything is compiled with hidden visibility. A class or a function that users call and that has
// out-of-line code carries RONDEL_EXPORT:
//
//     class RONDEL_EXPORT HxObject { ... };
//     RONDEL_EXPORT HxString stringByQuotingIfNeeded(const HxString& text);
//
// The static library is built, and used, with RONDEL_STATIC defined (CMake and pkg-config see to
// it): its symbols stay hidden, so a shared library that embeds it does not export them again.

#if defined(RONDEL_STATIC)
#define RONDEL_EXPORT
#else
#define RONDEL_EXPORT __attribute__((visibility("default")))
#endif
