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

#include "Rondel/core/text/String.h"

namespace rondel {

// The string as a path; empty for nil and for text that UTF-8 has no bytes for.
inline std::filesystem::path toPath(const HxString& string) {
  return std::filesystem::path(std::string(string.UTF8String().view()));
}

// The path as a string; nil when its bytes are not UTF-8.
inline HxString stringWithPath(const std::filesystem::path& path) {
  return HxString(std::string_view(path.native()));
}

}  // namespace rondel
