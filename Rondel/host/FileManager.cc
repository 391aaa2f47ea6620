// SPDX-License-Identifier: MIT
#include "Rondel/host/FileManager.h"

#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"

namespace rondel {

HxClass HxFileManager::classObject() noexcept {
  static const HxClassInfo info{"HxFileManager", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxFileManager> HxFileManager::defaultManager() {
  static const auto& manager = *new Ref<HxFileManager>(makeRef<HxFileManager>());
  return manager;
}

bool HxFileManager::fileExistsAtPath(const HxString& path) const {
  return fileExistsAtPath(path, nullptr);
}

bool HxFileManager::fileExistsAtPath(const HxString& path, bool* isDirectory) const {
  const internal::FilePath name = internal::FilePath::strict(path);
  struct stat facts = {};
  if (!name || internal::fileCalls.stat(name.c_str(), &facts) != 0) return false;
  if (isDirectory) *isDirectory = S_ISDIR(facts.st_mode);
  return true;
}

}  // namespace rondel
