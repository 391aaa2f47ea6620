// SPDX-License-Identifier: MIT
//
// HxAssertionHandler: the object that handles a failed HxParameterAssert.
//
//   class Counting final : public HxAssertionHandler {
//     void handleFailureInMethod(...) override { ++failures; }    // and let the code go on
//   };
//   Ref<HxAssertionHandler> former = HxAssertionHandler::setCurrentHandler(makeRef<Counting>());
//
// Each thread has its own handler. The default handler raises.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class RONDEL_EXPORT HxAssertionHandler : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the handler of this thread, never null.
  static Ref<HxAssertionHandler> currentHandler();
  // Installs `handler` on this thread, or the default if null. Returns the previous handler, never
  // null.
  static Ref<HxAssertionHandler> setCurrentHandler(const Ref<HxAssertionHandler>& handler);

  // Handles a failure in the operation `method` of `object`, both null in a plain function. The
  // object is lent for the call. `description` is a format. Raises HxInternalInconsistencyException
  // with the formatted description as its reason. If an override returns, the code goes on after
  // the check.
  virtual void handleFailureInMethod(HxSelector method, const HxHandle& object,
                                     const HxString& file, HxInteger lineNumber,
                                     const HxString& description, HxArguments arguments);
};

}  // namespace rondel
