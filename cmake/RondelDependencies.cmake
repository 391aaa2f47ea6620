# SPDX-License-Identifier: MIT
# What the library stands on. The build reads this file, and so does the installed package for the static library, which
# hands its dependencies on to those who link it.
set(RONDEL_DEPENDENCIES
  "ICU 72 COMPONENTS uc"
  "EXPAT 2.5"
  "Threads")
set(RONDEL_DEPENDENCY_TARGETS ICU::uc EXPAT::EXPAT Threads::Threads)
# The same for pkg-config.
set(RONDEL_PKGCONFIG_REQUIRES "icu-uc >= 72, expat >= 2.5")
