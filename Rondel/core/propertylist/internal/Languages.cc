// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/internal/Languages.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel::internal {
namespace {

bool isSet(const char* value) { return value && *value; }

bool isNameCharacter(char c) { return isLetterOrDigit(unitOf(c)) || c == '_' || c == '-'; }

// Returns the locale without its codeset and its modifier.
std::string_view bareName(std::string_view locale) {
  return locale.substr(0, locale.find_first_of(".@"));
}

bool isLanguage(std::string_view name) {
  return !name.empty() && name != "C" && name != "POSIX" &&
         std::all_of(name.begin(), name.end(), isNameCharacter);
}

void addLocale(std::vector<std::string>& languages, std::string_view locale) {
  std::string name(bareName(locale));
  if (!isLanguage(name)) return;
  addLanguage(languages, name);
  std::replace(name.begin(), name.end(), '_', '-');
  addLanguage(languages, name);
  addLanguage(languages, name.substr(0, name.find('-')));
}

}  // namespace

LocaleVariables LocaleVariables::ofEnvironment() {
  return {std::getenv("LANGUAGE"), std::getenv("LC_ALL"), std::getenv("LC_MESSAGES"),
          std::getenv("LANG")};
}

void addLanguage(std::vector<std::string>& languages, const std::string& name) {
  const bool isThere = std::find(languages.begin(), languages.end(), name) != languages.end();
  if (!name.empty() && !isThere) languages.push_back(name);
}

std::vector<std::string> wantedLanguages(const LocaleVariables& variables) {
  std::vector<std::string> languages;
  const char* locale = isSet(variables.all)        ? variables.all
                       : isSet(variables.messages) ? variables.messages
                                                   : variables.lang;
  if (!isSet(locale) || !isLanguage(bareName(locale))) return languages;
  std::string_view list = isSet(variables.language) ? variables.language : "";
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    addLocale(languages, list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  addLocale(languages, locale);
  return languages;
}

}  // namespace rondel::internal
