// SPDX-License-Identifier: MIT
#include "Rondel/host/Thread.h"

#include <unistd.h>

#include <cstring>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/internal/ThreadStart.h"

namespace rondel {

using internal::Closure;

bool HxThread::isMainThread() noexcept {
  static thread_local const bool isMain = gettid() == getpid();
  return isMain;
}

void HxThread::detachNewThreadSelector(HxSelector selector, const HxHandle& target,
                                       const HxHandle& argument) {
  if (!target) return;
  detachNewThread([selector, target = HxAny(target), argument = HxAny(argument)] {
    target.performSelector(selector, argument);
  });
}

void HxThread::start(const Ref<Closure>& body) {
  const auto main = [](void* closure) -> void* {
    Ref<Closure>::adopt(static_cast<Closure*>(closure))->call();
    return nullptr;
  };
  body->retain();  // for the thread
  const int error = internal::startDetachedThread(main, body.get());
  if (error == 0) return;
  body->release();
  HxException::raise(HxInternalInconsistencyException, "cannot start a thread: %s"_hx,
                     strerrordesc_np(error));
}

}  // namespace rondel
