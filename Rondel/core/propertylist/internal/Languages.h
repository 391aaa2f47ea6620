// SPDX-License-Identifier: MIT
//
// The languages that the user wants, from the locale variables.
#pragma once

#include <string>
#include <vector>

namespace rondel::internal {

// The variables of POSIX (XBD, 8.2) and the list of the GNU C library; null if not set.
struct LocaleVariables {
  const char* language = nullptr;  // LANGUAGE
  const char* all = nullptr;       // LC_ALL
  const char* messages = nullptr;  // LC_MESSAGES
  const char* lang = nullptr;      // LANG

  static LocaleVariables ofEnvironment();
};

// Returns the names of language folders without their suffix, the one wanted most first, each once:
// "de_AT.UTF-8" yields de_AT, de-AT, de. Names that could lead out of their folder are left out.
std::vector<std::string> wantedLanguages(const LocaleVariables& variables);

// Adds a name unless it is there.
void addLanguage(std::vector<std::string>& languages, const std::string& name);

}  // namespace rondel::internal
