// SPDX-License-Identifier: MIT
//
// HxProcessInfo: what the process knows about itself.
//
//   HxDictionary environment = HxProcessInfo::processInfo()->environment();
//   HxString home = environment.objectForKey<HxString>("HOME"_hx);
//
// Bytes that are not UTF-8 are decoded as ISO 8859-1, so that nothing is lost for the eye; such
// text does not encode to the same bytes again. All operations may be used on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxArray;
class HxDictionary;

class RONDEL_EXPORT HxProcessInfo : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The one object for this process; never null.
  static Ref<HxProcessInfo> processInfo();

  // The environment as it is now, a dictionary of strings: each call reads it afresh, and the
  // dictionary does not follow later changes. Of a name that stands there twice the first entry
  // counts, as with getenv; entries without '=' or without a name are left out. As with getenv, no
  // other thread may change the environment meanwhile.
  HxDictionary environment() const;
  // The words of the command line, the program's own name first. Read once from the system, so
  // that it does not depend on main; empty when the system does not tell.
  HxArray arguments() const;
  // The last component of the first word of the command line; the short name that the C library
  // keeps when there is none. Never nil.
  HxString processName() const;
  // The process's number.
  int processIdentifier() const noexcept;

 private:
  HxProcessInfo() noexcept = default;
};

}  // namespace rondel
