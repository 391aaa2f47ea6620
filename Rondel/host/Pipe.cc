// SPDX-License-Identifier: MIT
#include "Rondel/host/Pipe.h"

#include <fcntl.h>

#include <cerrno>

#include "Rondel/host/internal/SharedDescriptor.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel {

using internal::ownDescriptor;
using internal::SharedDescriptor;

HxPipe::HxPipe(const Ref<SharedDescriptor>& reading, const Ref<SharedDescriptor>& writing)
    : _reading(makeRef<HxFileHandle>(reading, true)),
      _writing(makeRef<HxFileHandle>(writing, true)) {}

HxPipe::~HxPipe() = default;

HxClass HxPipe::classObject() noexcept {
  static const HxClassInfo info{"HxPipe", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxPipe> HxPipe::init() {
  int ends[2];
  if (internal::systemCalls.pipe2(ends, O_CLOEXEC) < 0) return nullptr;
  const Ref<SharedDescriptor> reading = ownDescriptor(ends[0]);
  const int error = errno;
  const Ref<SharedDescriptor> writing = ownDescriptor(ends[1]);
  if (!reading) errno = error;
  return reading && writing ? makeRef<HxPipe>(reading, writing) : nullptr;
}

}  // namespace rondel
