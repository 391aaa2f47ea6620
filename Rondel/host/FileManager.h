// SPDX-License-Identifier: MIT
//
// HxFileManager: the host's files.
//
//   if (!HxFileManager::defaultManager()->fileExistsAtPath(path)) ...
//
// Paths are handed to the system as the UTF-8 of the text, unit for unit: on this system two names
// are the same only if their bytes are. Any thread may use a file manager.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class RONDEL_EXPORT HxFileManager : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The one of the process; never null.
  static Ref<HxFileManager> defaultManager();

  // Whether something is there, links followed: a link to nothing does not exist. False for nil,
  // the empty path, and what may not be looked at.
  bool fileExistsAtPath(const HxString& path) const;
  // The same, and tells whether it is a directory; `isDirectory` may be null, and is set only when
  // something is there.
  bool fileExistsAtPath(const HxString& path, bool* isDirectory) const;

 protected:
  HxFileManager() = default;
  ~HxFileManager() override = default;

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
};

}  // namespace rondel
