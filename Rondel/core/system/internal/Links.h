// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace rondel::internal {

// The kernel follows no more links in one path.
inline constexpr int kMostLinks = 40;

// Returns the path with every link in it followed. It has no ".", ".." and empty components where
// they can be resolved. A relative path stays relative. Returns the empty string if a component is
// missing or cannot be reached, if links lead in a circle, or if the path is too long for the
// system.
std::string pathWithoutLinks(const char* path);

}  // namespace rondel::internal
