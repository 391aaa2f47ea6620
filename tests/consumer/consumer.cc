// SPDX-License-Identifier: MIT

// Says which Rondel it was built with and which it runs with, and fails when they differ.

#include <cstdio>
#include <cstring>

#include "Rondel/core/object/Version.h"

int main() {
  char built[32];
  std::snprintf(built, sizeof built, "%d.%d.%d", RONDEL_VERSION_MAJOR, RONDEL_VERSION_MINOR,
                RONDEL_VERSION_PATCH);
  std::printf("built with %s, running with %s\n", built, rondel::ZevRondelVersionString);
  return std::strcmp(built, rondel::ZevRondelVersionString) == 0 ? 0 : 1;
}
