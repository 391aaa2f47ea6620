// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FilePath.h"

#include <cerrno>
#include <utility>

namespace rondel::internal {

FilePath FilePath::strict(const HxString& text) {
  FilePath path;
  HxCString bytes = text.UTF8String();
  const bool hasNUL = bytes.view().find('\0') != std::string_view::npos;
  if (text.isNil()) {
    errno = EINVAL;
  } else if (bytes.isNull() || hasNUL) {
    errno = EILSEQ;
  } else if (bytes.length() == 0) {
    errno = ENOENT;
  } else {
    path._bytes = std::move(bytes);
  }
  return path;
}

}  // namespace rondel::internal
