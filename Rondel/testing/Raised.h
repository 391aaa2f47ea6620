// SPDX-License-Identifier: MIT
#pragma once

// What a call raises.
//
//     EXPECT_EQ(raisedBy([&] { text.characterAtIndex(9); }), HxRangeException);

#include "Rondel/core/object/Exception.h"

namespace rondel::test {

// The name of the HxException that the call raises; nil when it raises none.
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
