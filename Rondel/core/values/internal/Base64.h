// SPDX-License-Identifier: MIT
//
// Base64 (RFC 4648, section 4) for the data of XML property lists.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace rondel::internal {

// Returns the bytes of the text, without its blanks. Returns none if it holds other characters,
// lacks its padding, or has bits set after the last byte.
std::optional<std::string> decodeBase64(std::string_view text);
// Returns the text of the bytes, with padding, on one line.
std::string encodeBase64(std::span<const std::byte> bytes);

}  // namespace rondel::internal
