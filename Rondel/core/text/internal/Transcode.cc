// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/Transcode.h"

#include <cstring>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/BufferString.h"
#include "Rondel/core/text/internal/MakeString.h"
#include "Rondel/core/text/internal/UTF8Kernel.h"

namespace rondel::internal {

namespace {

HxString handleOf(HxObject* object) { return HxString(HxAny::Unchecked{}, HxAny::adopt(object)); }

}  // namespace

namespace {

inline HxString makeNarrowString(const char* ascii, HxUInteger length) {
  if (length == 0) return HxString::string();
  if (length > FlatString::kMaximumLength) return BufferString::makeLong(ascii, length);
  FlatString* string = FlatString::makeNarrow(length);
  std::memcpy(string->narrow(), ascii, length);
  return handleOf(string);
}

}  // namespace

HxString makeString(const char* ascii, HxUInteger length) {
  return makeNarrowString(ascii, length);
}

namespace {

// Text that is not ASCII mostly shows it at once, at one of these places.
bool looksASCII(const HxUniChar* units, HxUInteger length) noexcept {
  return (units[0] | units[length / 2] | units[length - 1]) < 0x80;
}

}  // namespace

// Narrows on trial: nearly all words and lines are ASCII, and one pass over them is enough.
HxString makeString(const HxUniChar* units, HxUInteger length) {
  if (length == 0) return HxString::string();
  if (length > FlatString::kMaximumLength) return BufferString::makeLong(units, length);
  if (looksASCII(units, length)) {
    FlatString* string = FlatString::makeNarrow(length);
    if (narrowASCIIPrefix(units, length, string->narrow()) == length) return handleOf(string);
    FlatString::freeBlock(string);
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
  return isOverlong || isSurrogate(value) || value > 0x10FFFF ? UTF8Sequence{0, 0}
                                                              : UTF8Sequence{value, n};
}

HxString makeStringFromUTF8(const char* bytes, HxUInteger length) {
  if (isASCII(bytes, length)) return makeNarrowString(bytes, length);
  const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
  const std::uint8_t* end = begin + length;
  const UTF8Kernel& kernel = bestUTF8Kernel();
  const UTF8Progress all = kernel.measure(begin, end);
  if (all.stop != end) return nullptr;
  return makeWideString(all.units, [&](HxUniChar* units) { kernel.convert(begin, end, units); });
}

HxUInteger lengthInUTF8(const HxUniChar* units, HxUInteger length) noexcept {
  HxUInteger bytes = 0;
  for (HxUInteger i = 0; i < length; ++i) {
    const HxUniChar unit = units[i];
    if (!isSurrogate(unit)) {
      bytes += 1U + (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
    } else if (isPairAt(units, length, i)) {
      bytes += 4;
      ++i;
    } else {
      return HxNotFound;
    }
  }
  return bytes;
}

namespace {

char* putBeyondASCII(std::uint32_t value, char* out) noexcept {
  const auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
  if (value < 0x800) {
    put(0xC0 | value >> 6);
  } else if (value < 0x10000) {
    put(0xE0 | value >> 12);
    put(0x80 | (value >> 6 & 0x3F));
  } else {
    put(0xF0 | value >> 18);
    put(0x80 | (value >> 12 & 0x3F));
    put(0x80 | (value >> 6 & 0x3F));
  }
  put(0x80 | (value & 0x3F));
  return out;
}

}  // namespace

char* encodeUTF8(const HxUniChar* units, HxUInteger length, char* out) noexcept {
  for (HxUInteger i = 0; i < length; ++i) {
    std::uint32_t value = units[i];
    if (value < 0x80) {
      const HxUInteger run = narrowASCIIPrefix(units + i, length - i, out);
      out += run;
      i += run - 1;
      continue;
    }
    if (isPairAt(units, length, i)) {
      value = codePointOfPair(units[i], units[i + 1]);
      ++i;
    } else if (isSurrogate(units[i])) {
      value = 0xFFFD;
    }
    out = putBeyondASCII(value, out);
  }
  return out;
}

}  // namespace rondel::internal
