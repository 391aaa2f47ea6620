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

// The bytes that the text stands for, blanks in it left out; none when it holds other characters,
// lacks its padding, or has bits set behind the last byte.
std::optional<std::string> decodeBase64(std::string_view text);
// With padding, on one line.
std::string encodeBase64(std::span<const std::byte> bytes);

}  // namespace rondel::internal
