// SPDX-License-Identifier: MIT
//
// Paths of the standard library from strings, and back.
//
//   for (const auto& entry : std::filesystem::directory_iterator(toPath(folder))) {
//     names.addObject(stringWithPath(entry.path().filename()));
//   }
//
// A path keeps the bytes of its names, and so does this: text becomes UTF-8 as it stands, without
// the decomposition of fileSystemRepresentation(), so that a name that was read from a folder comes
// back as the same name.
#pragma once

#include <filesystem>
#include <string>

#include "Rondel/core/system/internal/FilePath.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the string as a path; an empty one, with errno set, for text that names no file: nil
// (EINVAL), empty text (ENOENT), and text with a NUL or a lone surrogate (EILSEQ).
inline std::filesystem::path toPath(const HxString& string) {
  return std::filesystem::path(std::string(internal::FilePath::strict(string).view()));
}

// Returns the path as a string; nil if its bytes are not UTF-8.
inline HxString stringWithPath(const std::filesystem::path& path) {
  return HxString(std::string_view(path.native()));
}

}  // namespace rondel
