// SPDX-License-Identifier: MIT
#include "Rondel/host/SignalSource.h"

#include <cerrno>
#include <cstring>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/linux/SignalCatcher.h"

namespace rondel {

using internal::RunLoopSource;

struct HxSignalSource::Impl {
  Impl(int signal, HxObject* object, Call operation, const Ref<internal::Closure>& callable)
      : catcher(signal), target(object), call(operation), block(callable) {}

  internal::SignalCatcher catcher;
  HxObject* const target;  // not retained; null for a block
  const Call call;
  const Ref<internal::Closure> block;
  Ref<RunLoopSource> source;  // set before the source is handed out
};

HxSignalSource::HxSignalSource(int signal, HxObject* target, Call call,
                               const Ref<internal::Closure>& block)
    : _impl(new Impl(signal, target, call, block)) {}

HxSignalSource::~HxSignalSource() { invalidate(); }

HxClass HxSignalSource::classObject() noexcept {
  static const HxClassInfo info{"HxSignalSource", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxSignalSource> HxSignalSource::make(int signal, HxObject* target, Call call,
                                         const Ref<internal::Closure>& block,
                                         const HxString& mode) {
  if (!target && !block) return nullptr;
  auto made = makeRef<HxSignalSource>(signal, target, call, block);
  Impl& impl = *made->_impl;
  if (!impl.catcher.start()) {
    HxException::raise(
        errno == EINVAL ? HxInvalidArgumentException : HxInternalInconsistencyException,
        "cannot catch signal %d: %s"_hx, signal, strerrordesc_np(errno));
  }
  impl.source = makeRef<RunLoopSource>(HxRunLoop::currentRunLoop(), impl.catcher.descriptor(),
                                       RunLoopSource::Order::read, made.get(), signalIsThere);
  impl.source->arm(HxArray::arrayWithObject(mode));
  return made;
}

void HxSignalSource::invalidate() {
  _impl->catcher.stop();
  if (_impl->source) _impl->source->remove();
}

int HxSignalSource::signalNumber() const noexcept { return _impl->catcher.signal(); }

// Takes one signal only. If the call raises or runs the loop, the others are still there.
bool HxSignalSource::signalIsThere(HxObject& object) {
  auto& source = static_cast<HxSignalSource&>(object);
  const Impl& impl = *source._impl;
  if (!source._impl->catcher.take()) return false;
  if (impl.block) {
    impl.block->call();
  } else if (const HxAny alive = internal::keptAlive(impl.target)) {
    impl.call(impl.target, source);
  }
  return true;
}

}  // namespace rondel
