// SPDX-License-Identifier: MIT
#include "Rondel/core/values/internal/Base64.h"

#include <cstdint>

#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel::internal {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kNoDigit = -1;

int digitValue(char c) noexcept {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : kNoDigit;
}

}  // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  unsigned bitCount = 0;
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (isBlank(unitOf(c))) continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const int digit = digitValue(c);
    if (digit == kNoDigit || padding > 0) return std::nullopt;
    ++digits;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes.push_back(static_cast<char>(bits >> bitCount & 0xFF));
  }
  const bool isPadded = padding < 3 && (digits + padding) % 4 == 0;
  const bool hasStrayBits = (bits & ((1U << bitCount) - 1)) != 0;
  if (!isPadded || hasStrayBits) return std::nullopt;
  return bytes;
}

std::string encodeBase64(std::span<const std::byte> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8 | (i + k < bytes.size() ? std::to_integer<std::uint32_t>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      const bool isPadding = i + k > bytes.size();
      text.push_back(isPadding ? '=' : kDigits[bits >> (18 - 6 * k) & 0x3F]);
    }
  }
  return text;
}

}  // namespace rondel::internal
