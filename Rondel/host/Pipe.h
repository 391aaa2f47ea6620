// SPDX-License-Identifier: MIT
//
// HxPipe: a pipe and the handles on its two ends.
//
//   Ref<HxPipe> pipe = HxPipe::init();
//   if (!pipe) HxLog("no pipe: %s"_hx, strerror(errno));
//   task->setStandardOutput(pipe);  // the launch closes the end that it hands to the child
//   pipe->fileHandleForReading()->readInBackgroundAndNotify();
//
// Both ends are close-on-exec. Dropping a pipe closes the ends whose handles have no other owner.
// Any thread may use it; see HxFileHandle.
#pragma once

#include "Rondel/host/FileHandle.h"

namespace rondel {

class RONDEL_EXPORT HxPipe final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a new pipe; null, with errno set, if the system refuses one (EMFILE above all).
  static Ref<HxPipe> init();

  // Returns the handle on that end: the same at each call, never null.
  const Ref<HxFileHandle>& fileHandleForReading() const noexcept { return _reading; }
  const Ref<HxFileHandle>& fileHandleForWriting() const noexcept { return _writing; }

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxPipe(const Ref<internal::SharedDescriptor>& reading,
         const Ref<internal::SharedDescriptor>& writing);
  ~HxPipe() override;

  const Ref<HxFileHandle> _reading;
  const Ref<HxFileHandle> _writing;
};

}  // namespace rondel
