// SPDX-License-Identifier: MIT
//
// The encodings that text can be read from and written in: one row each. Another encoding is
// another row.
#pragma once

#include "Rondel/core/object/Types.h"

namespace rondel {
class HxData;
class HxString;
}  // namespace rondel

namespace rondel::internal {

class Characters;

struct TextEncoding {
  HxStringEncoding encoding;
  // Returns the text of the bytes; nil if they are not valid in the encoding.
  HxString (*decode)(const char* bytes, HxUInteger length);
  // Returns the bytes of the text; nil if it holds what the encoding has no bytes for.
  HxData (*encode)(const Characters& text);
};

// Returns the row of an encoding; null if there is none.
const TextEncoding* textEncoding(HxStringEncoding encoding) noexcept;

}  // namespace rondel::internal
