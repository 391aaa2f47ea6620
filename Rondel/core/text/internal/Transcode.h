// SPDX-License-Identifier: MIT
//
// From one representation of text to another: ASCII bytes, UTF-16 units and UTF-8 (RFC 3629). The
// loops beneath are those of ASCII.h and UTF8Kernel.h. All functions are pure and may be called on
// any thread.
#pragma once

#include "Rondel/core/object/Types.h"
#include "Rondel/core/text/internal/ASCII.h"
#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel {
class HxString;
}

namespace rondel::internal {

// Return new strings: of bytes known to be ASCII; of units, stored narrow if all are ASCII.
HxString makeString(const char* ascii, HxUInteger length);
HxString makeString(const HxUniChar* units, HxUInteger length);
// Returns the text of UTF-8, nil if that is not well-formed.
HxString makeStringFromUTF8(const char* bytes, HxUInteger length);

// One well-formed sequence of UTF-8 (RFC 3629, section 4): its code point and its bytes, 0 if there
// is none at `bytes`.
struct UTF8Sequence {
  std::uint32_t value;
  HxUInteger length;
};
UTF8Sequence readUTF8Sequence(const unsigned char* bytes, HxUInteger left) noexcept;
// Returns the bytes that units need in UTF-8, HxNotFound if a lone surrogate is among them.
HxUInteger lengthInUTF8(const HxUniChar* units, HxUInteger length) noexcept;
// Writes UTF-8 and returns the end of it. A lone surrogate is written as U+FFFD, three bytes.
char* encodeUTF8(const HxUniChar* units, HxUInteger length, char* out) noexcept;

}  // namespace rondel::internal
