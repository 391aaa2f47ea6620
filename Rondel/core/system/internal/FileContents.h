// SPDX-License-Identifier: MIT
//
// Whole files: read, mapped, written, and replaced at one stroke. What fails leaves errno.
#pragma once

#include <span>

#include "Rondel/core/values/Data.h"

namespace rondel::internal {

// Nil when the file cannot be read.
HxData contentsOfFile(const HxString& path);
HxData contentsOfMappedFile(const HxString& path);

// Writes to the file as it stands, cut to nothing before.
bool writeFile(const HxString& path, std::span<const std::byte> bytes);
// Writes a new file beside the old one and renames it. The old mode is kept, a link is followed,
// and what is no regular file is written as it stands.
bool replaceFile(const HxString& path, std::span<const std::byte> bytes);

}  // namespace rondel::internal
