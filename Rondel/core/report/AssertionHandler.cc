// SPDX-License-Identifier: MIT
#include "Rondel/core/report/AssertionHandler.h"

#include <utility>

#include "Rondel/core/object/Exception.h"

namespace rondel {

namespace {

Ref<HxAssertionHandler>& slotOfThread() {
  thread_local Ref<HxAssertionHandler> handler;
  return handler;
}

}  // namespace

HxClass HxAssertionHandler::classObject() noexcept {
  static const HxClassInfo info{"HxAssertionHandler", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxAssertionHandler> HxAssertionHandler::currentHandler() {
  Ref<HxAssertionHandler>& handler = slotOfThread();
  if (!handler) handler = makeRef<HxAssertionHandler>();
  return handler;
}

Ref<HxAssertionHandler> HxAssertionHandler::setCurrentHandler(
    const Ref<HxAssertionHandler>& handler) {
  Ref<HxAssertionHandler> former = currentHandler();
  slotOfThread() = handler;
  return former;
}

void HxAssertionHandler::handleFailureInMethod(HxSelector, const HxHandle&, const HxString&,
                                               HxInteger, const HxString& description,
                                               HxArguments arguments) {
  HxException::raiseWithArguments(HxInternalInconsistencyException, description, arguments);
}

}  // namespace rondel
