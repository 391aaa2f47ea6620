// SPDX-License-Identifier: MIT
#include "Rondel/host/ProgramPath.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"

namespace rondel {

using internal::fileCalls;
using internal::FilePath;

namespace {

// Returns 0 if the process may execute the file, or why it may not.
int obstacleTo(const std::string& path) {
  struct stat facts = {};
  if (fileCalls.stat(path.c_str(), &facts) < 0) return errno;
  if (!S_ISREG(facts.st_mode)) return EACCES;
  return fileCalls.faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) < 0 ? errno : 0;
}

std::string fileIn(std::string_view directory, std::string_view name) {
  std::string path(directory.empty() ? "." : directory);
  if (path.back() != '/') path += '/';
  return path.append(name);
}

HxString findAlong(std::string_view searchPath, std::string_view name) {
  int error = ENOENT;
  for (std::size_t start = 0; start <= searchPath.size();) {
    const std::size_t end = std::min(searchPath.find(':', start), searchPath.size());
    const std::string path = fileIn(searchPath.substr(start, end - start), name);
    const int obstacle = obstacleTo(path);
    if (obstacle == EACCES) error = EACCES;
    if (obstacle == 0) {
      HxString found = HxString::stringWithUTF8String(path.c_str());
      if (found) return found;
    }
    start = end + 1;
  }
  errno = error;
  return nullptr;
}

std::string searchPathOfSystem() {
  std::string path(confstr(_CS_PATH, nullptr, 0), '\0');
  confstr(_CS_PATH, path.data(), path.size());
  return path.substr(0, path.find('\0'));
}

template <class Search>
HxString find(const HxString& name, Search&& search) {
  const FilePath wanted = FilePath::strict(name);
  if (!wanted) return nullptr;
  return wanted.view().find('/') == std::string_view::npos ? search(wanted.view()) : name;
}

}  // namespace

HxString HxPathOfProgram(const HxString& name) {
  return find(name, [](std::string_view wanted) {
    const char* const path = std::getenv("PATH");
    return findAlong(path ? path : searchPathOfSystem(), wanted);
  });
}

HxString HxPathOfProgram(const HxString& name, const HxString& searchPath) {
  return find(name, [&](std::string_view wanted) -> HxString {
    if (searchPath) return findAlong(searchPath.toStdString(), wanted);
    errno = ENOENT;
    return nullptr;
  });
}

}  // namespace rondel
