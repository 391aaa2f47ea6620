// SPDX-License-Identifier: MIT
//
// HxProcessInfo: the environment, the command line and the name of the process.
//
//   HxDictionary environment = HxProcessInfo::processInfo()->environment();
//   HxString home = environment.objectForKey<HxString>("HOME"_hx);
//
// Bytes that are not UTF-8 are decoded as ISO 8859-1, so that they stay visible. Such text does not
// encode to the same bytes again. All operations may be used on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxArray;
class HxDictionary;

class RONDEL_EXPORT HxProcessInfo : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the one object for this process; never null.
  static Ref<HxProcessInfo> processInfo();

  // Returns the present environment as a dictionary of strings. Each call reads it again; the
  // dictionary does not follow later changes. If a name occurs twice, the first entry counts, as
  // with getenv. Entries without '=' or without a name are left out. As with getenv, no other
  // thread may change the environment meanwhile.
  HxDictionary environment() const;
  // Returns the words of the command line, the program's own name first. They are read once from
  // the system, independent of main; empty if the system does not have them.
  HxArray arguments() const;
  // Returns the last component of the first word of the command line. If there is none, returns the
  // short name that the C library keeps. Never nil.
  HxString processName() const;
  // Returns the pid.
  int processIdentifier() const noexcept;

 private:
  HxProcessInfo() noexcept = default;
};

}  // namespace rondel
