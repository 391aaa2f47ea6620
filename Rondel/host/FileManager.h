// SPDX-License-Identifier: MIT
//
// HxFileManager: the host's files.
//
//   if (!HxFileManager::defaultManager()->fileExistsAtPath(path)) ...
//
// The system gets a path as the unchanged UTF-8 of the text. So on this system two names
// are the same only if their bytes are. Text that is nil or empty, or that holds a NUL or a lone
// surrogate, names no file. Any thread may use a file manager.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class RONDEL_EXPORT HxFileManager : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the one of the process; never null.
  static Ref<HxFileManager> defaultManager();

  // Returns whether there is something at the path, and follows links: a link to nothing does not
  // exist. Returns false for text that names no file and for what may not be looked at.
  bool fileExistsAtPath(const HxString& path) const;
  // Returns the same. Sets `isDirectory`, which may be null, only if something is there.
  bool fileExistsAtPath(const HxString& path, bool* isDirectory) const;

 protected:
  HxFileManager() = default;
  ~HxFileManager() override = default;

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
};

}  // namespace rondel
