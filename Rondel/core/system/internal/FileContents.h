// SPDX-License-Identifier: MIT
//
// Whole files: read, mapped, written, and replaced at one stroke. What fails sets errno.
//
// A path is the strict one of FilePath.h.
#pragma once

#include <span>

#include "Rondel/core/values/Data.h"

namespace rondel::internal {

// How much is read of a file without a size, such as a pipe or a device.
inline constexpr HxUInteger kMostWithoutSize = HxUInteger{1} << 30;

// Returns all bytes, or nil if the file cannot be read. A file without a size that goes on after
// `mostWithoutSize` bytes is refused with EFBIG. Waits for the other end of a FIFO.
HxData contentsOfFile(const HxString& path, HxUInteger mostWithoutSize = kMostWithoutSize);
HxData contentsOfMappedFile(const HxString& path, HxUInteger mostWithoutSize = kMostWithoutSize);
// Returns the same for a regular file. Refuses what is none without waiting: EISDIR for a
// directory, ENOTSUP for anything else.
HxData contentsOfRegularFile(const HxString& path);
// Returns the first bytes, at most `length` of them, or nil if the file cannot be read.
HxData firstBytesOfFile(const HxString& path, HxUInteger length);

// Cuts the file to nothing, and writes to it.
bool writeFile(const HxString& path, std::span<const std::byte> bytes);
// Writes a new file beside the old one and renames it. Keeps the old mode, and follows a link. What
// is no regular file is written in place.
bool replaceFile(const HxString& path, std::span<const std::byte> bytes);

}  // namespace rondel::internal
