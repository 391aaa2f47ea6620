// SPDX-License-Identifier: MIT
//
// HxAssertionHandler: who hears of a failed HxParameterAssert.
//
//   class Counting final : public HxAssertionHandler {
//     void handleFailureInMethod(...) override { ++failures; }    // and let the code go on
//   };
//   Ref<HxAssertionHandler> former = HxAssertionHandler::setCurrentHandler(makeRef<Counting>());
//
// Each thread has a handler of its own; at first that is one that raises.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class RONDEL_EXPORT HxAssertionHandler : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The handler of this thread, never null.
  static Ref<HxAssertionHandler> currentHandler();
  // Puts another handler in charge on this thread, null for one that raises, and gives the former.
  static Ref<HxAssertionHandler> setCurrentHandler(const Ref<HxAssertionHandler>& handler);

  // Told of a failure in the operation `method` of `object`, both null in a plain function. The
  // object is lent for the call. `description` is a format. Raises HxInternalInconsistencyException
  // with the formatted description as its reason; an override may return, and then the code goes on
  // behind the check.
  virtual void handleFailureInMethod(HxSelector method, const HxHandle& object,
                                     const HxString& file, HxInteger lineNumber,
                                     const HxString& description, HxArguments arguments);
};

}  // namespace rondel
