// SPDX-License-Identifier: MIT
#pragma once

// The exception of a call.
//
//     EXPECT_EQ(raisedBy([&] { text.characterAtIndex(9); }), HxRangeException);

#include "Rondel/core/object/Exception.h"

namespace rondel::test {

// Returns the name of the HxException that the call raises; nil if it raises none.
template <class Call>
HxString raisedBy(Call&& call) {
  try {
    call();
  } catch (const HxException& exception) {
    return exception.name();
  }
  return nullptr;
}

}  // namespace rondel::test
