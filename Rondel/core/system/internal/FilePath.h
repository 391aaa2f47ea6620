// SPDX-License-Identifier: MIT
//
// The one way from text to the bytes by which the system knows a file. Whatever opens a file or
// asks for one by name goes through it.
//
//   const FilePath path = FilePath::strict(text);
//   if (!path) return false;                       // errno is set
//   const int fd = fileCalls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
//
// Names are bytes: two names that read alike are two files if their bytes differ. So the text is
// not decomposed or composed on the way.
#pragma once

#include <string_view>

#include "Rondel/core/text/String.h"

namespace rondel::internal {

class RONDEL_EXPORT FilePath {
 public:
  // Returns the UTF-8 of the text as it is. For text that names no file it returns no path and sets
  // errno: EINVAL for nil, ENOENT for empty text, EILSEQ for text with a NUL or a lone surrogate.
  static FilePath strict(const HxString& text);

  explicit operator bool() const noexcept { return !_bytes.view().empty(); }
  // NUL-terminated; "" for no path.
  const char* c_str() const noexcept { return *this ? _bytes.c_str() : ""; }
  // Empty for no path.
  std::string_view view() const noexcept { return _bytes.view(); }

 private:
  FilePath() noexcept = default;

  HxCString _bytes;  // null for no path
};

}  // namespace rondel::internal
