// SPDX-License-Identifier: MIT
#include "Rondel/host/Pipe.h"

#include <fcntl.h>

#include <cerrno>

#include "Rondel/host/internal/SharedDescriptor.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel {

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
  const auto reading = makeRef<SharedDescriptor>();
  const auto writing = makeRef<SharedDescriptor>();
  int ends[2];
  if (internal::systemCalls.pipe2(ends, O_CLOEXEC) < 0) return nullptr;
  const bool ownsReading = reading->own(ends[0]);
  const int error = errno;
  const bool ownsWriting = writing->own(ends[1]);
  if (ownsReading && ownsWriting) return makeRef<HxPipe>(reading, writing);
  if (!ownsReading) errno = error;
  return nullptr;
}

}  // namespace rondel
