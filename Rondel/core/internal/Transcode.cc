// SPDX-License-Identifier: MIT
#include "Rondel/core/internal/Transcode.h"

#include <cstring>
#include <vector>

#include "Rondel/core/String.h"
#include "Rondel/core/internal/BufferString.h"

namespace rondel::internal {

bool isASCII(const char* bytes, HxUInteger length) noexcept {
  unsigned char all = 0;
  for (HxUInteger i = 0; i < length; ++i) all |= static_cast<unsigned char>(bytes[i]);
  return all < 0x80;
}

bool isASCII(const HxUniChar* units, HxUInteger length) noexcept {
  unsigned all = 0;
  for (HxUInteger i = 0; i < length; ++i) all |= units[i];
  return all < 0x80;
}

void narrowUnits(const HxUniChar* units, HxUInteger length, char* out) noexcept {
  for (HxUInteger i = 0; i < length; ++i) out[i] = static_cast<char>(units[i]);
}

void widenBytes(const char* bytes, HxUInteger length, HxUniChar* out) noexcept {
  for (HxUInteger i = 0; i < length; ++i) out[i] = static_cast<unsigned char>(bytes[i]);
}

namespace {

HxString handleOf(HxObject* object) { return HxString(HxAny::Unchecked{}, HxAny::adopt(object)); }

}  // namespace

HxString makeString(const char* ascii, HxUInteger length) {
  if (length == 0) return HxString::string();
  if (length > FlatString::kMaximumLength) return BufferString::makeLong(ascii, length);
  FlatString* string = FlatString::makeNarrow(length);
  std::memcpy(string->narrow(), ascii, length);
  return handleOf(string);
}

HxString makeString(const HxUniChar* units, HxUInteger length) {
  if (length == 0) return HxString::string();
  if (length > FlatString::kMaximumLength) return BufferString::makeLong(units, length);
  if (isASCII(units, length)) {
    FlatString* string = FlatString::makeNarrow(length);
    narrowUnits(units, length, string->narrow());
    return handleOf(string);
  }
  FlatString* string = FlatString::makeWide(length);
  std::memcpy(string->wide(), units, length * sizeof(HxUniChar));
  return handleOf(string);
}

namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

}  // namespace

UTF8Sequence readUTF8Sequence(const unsigned char* p, HxUInteger left) noexcept {
  const unsigned char lead = p[0];
  if (lead < 0x80) return {lead, 1};
  const HxUInteger n = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (n == 0 || left < n) return {0, 0};
  std::uint32_t value = lead & (0x7FU >> n);
  for (HxUInteger i = 1; i < n; ++i) {
    if (!isContinuation(p[i])) return {0, 0};
    value = value << 6 | (p[i] & 0x3FU);
  }
  const bool isOverlong = (n == 3 && value < 0x800) || (n == 4 && value < 0x10000);
  const bool isSurrogate = value >= 0xD800 && value < 0xE000;
  return isOverlong || isSurrogate || value > 0x10FFFF ? UTF8Sequence{0, 0}
                                                       : UTF8Sequence{value, n};
}

HxString makeStringFromUTF8(const char* bytes, HxUInteger length) {
  if (isASCII(bytes, length)) return makeString(bytes, length);
  std::vector<HxUniChar> units;
  units.reserve(length);
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  for (HxUInteger i = 0; i < length;) {
    const UTF8Sequence sequence = readUTF8Sequence(p + i, length - i);
    if (sequence.length == 0) return nullptr;
    i += sequence.length;
    HxUniChar pair[2];
    units.insert(units.end(), pair, pair + splitIntoUnits(sequence.value, pair));
  }
  return makeString(units.data(), units.size());
}

namespace {

bool isHighSurrogate(HxUniChar unit) { return (unit & 0xFC00) == 0xD800; }
bool isSurrogate(HxUniChar unit) { return (unit & 0xF800) == 0xD800; }
bool isPair(const HxUniChar* units, HxUInteger i, HxUInteger length) {
  return isHighSurrogate(units[i]) && i + 1 < length && (units[i + 1] & 0xFC00) == 0xDC00;
}

}  // namespace

HxUInteger lengthInUTF8(const HxUniChar* units, HxUInteger length) noexcept {
  HxUInteger bytes = 0;
  for (HxUInteger i = 0; i < length; ++i) {
    const HxUniChar unit = units[i];
    if (!isSurrogate(unit)) {
      bytes += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    } else if (isPair(units, i, length)) {
      bytes += 4;
      ++i;
    } else {
      return HxNotFound;
    }
  }
  return bytes;
}

char* encodeUTF8(const HxUniChar* units, HxUInteger length, char* out) noexcept {
  const auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
  for (HxUInteger i = 0; i < length; ++i) {
    std::uint32_t value = units[i];
    if (isPair(units, i, length)) {
      value = 0x10000 + ((value - 0xD800) << 10) + (units[++i] - 0xDC00U);
    } else if (isSurrogate(units[i])) {
      value = 0xFFFD;
    }
    if (value < 0x80) {
      put(value);
    } else if (value < 0x800) {
      put(0xC0 | value >> 6);
      put(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
      put(0xE0 | value >> 12);
      put(0x80 | (value >> 6 & 0x3F));
      put(0x80 | (value & 0x3F));
    } else {
      put(0xF0 | value >> 18);
      put(0x80 | (value >> 12 & 0x3F));
      put(0x80 | (value >> 6 & 0x3F));
      put(0x80 | (value & 0x3F));
    }
  }
  return out;
}

}  // namespace rondel::internal
