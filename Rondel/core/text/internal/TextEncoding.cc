// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/TextEncoding.h"

#include <cstring>
#include <string>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/MakeString.h"
#include "Rondel/core/text/internal/Transcode.h"
#include "Rondel/core/values/Data.h"

namespace rondel::internal {

namespace {

// ---- Bytes to text ------------------------------------------------------------------------------

HxString stringFromASCII(const char* bytes, HxUInteger length) {
  return isASCII(bytes, length) ? makeString(bytes, length) : HxString();
}

HxString stringFromLatin1(const char* bytes, HxUInteger length) {
  if (isASCII(bytes, length)) return makeString(bytes, length);
  return makeWideString(length, [&](HxUniChar* units) { widenBytes(bytes, length, units); });
}

// UTF-16 with or without a byte order mark (RFC 2781, section 4.3). Lone surrogates are kept.
HxString stringFromUTF16(const char* text, HxUInteger length) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
  if (length % 2 != 0) return nullptr;
  const bool isLittle = length >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
  const bool hasMark = isLittle || (length >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF);
  const HxUInteger start = hasMark ? 2 : 0;
  std::u16string units;
  units.reserve((length - start) / 2);
  for (HxUInteger i = start; i < length; i += 2) {
    const unsigned high = bytes[isLittle ? i + 1 : i];
    const unsigned low = bytes[isLittle ? i : i + 1];
    units.push_back(static_cast<HxUniChar>(high << 8 | low));
  }
  return makeString(units.data(), units.size());
}

// ---- Text to bytes ------------------------------------------------------------------------------

// Returns one byte for each unit, for encodings whose bytes are the first code points; nil if a
// unit is above `last`.
HxData dataOfBytes(const Characters& text, HxUniChar last) {
  HxMutableData data = HxMutableData::data();
  data.setLengthUninitialized(text.length());
  std::uint8_t* out = data.mutableBytes();
  for (HxUInteger i = 0; i < text.length(); ++i) {
    const HxUniChar unit = text[i];
    if (unit > last) return nullptr;
    out[i] = static_cast<std::uint8_t>(unit);
  }
  return data;
}

HxData dataOfUTF16(const Characters& text) {
  HxMutableData data = HxMutableData::data();
  data.setLengthUninitialized((text.length() + 1) * sizeof(HxUniChar));
  auto* units = reinterpret_cast<HxUniChar*>(data.mutableBytes());
  units[0] = 0xFEFF;
  if (text.isNarrow()) {
    widenBytes(text.narrow(), text.length(), units + 1);
  } else {
    std::memcpy(units + 1, text.wide(), text.length() * sizeof(HxUniChar));
  }
  return data;
}

HxData dataOfUTF8(const Characters& text) {
  if (text.isNarrow()) return HxData::dataWithBytes(text.narrow(), text.length());
  const HxUInteger bytes = lengthInUTF8(text.wide(), text.length());
  if (bytes == HxNotFound) return nullptr;
  HxMutableData data = HxMutableData::data();
  data.setLengthUninitialized(bytes);
  encodeUTF8(text.wide(), text.length(), reinterpret_cast<char*>(data.mutableBytes()));
  return data;
}

HxData dataOfASCII(const Characters& text) { return dataOfBytes(text, 0x7F); }
HxData dataOfLatin1(const Characters& text) { return dataOfBytes(text, 0xFF); }

constexpr TextEncoding kEncodings[] = {
    {HxASCIIStringEncoding, stringFromASCII, dataOfASCII},
    {HxUTF8StringEncoding, makeStringFromUTF8, dataOfUTF8},
    {HxUnicodeStringEncoding, stringFromUTF16, dataOfUTF16},
    {HxHaldenOSRomanStringEncoding, stringFromLatin1, dataOfLatin1},
};

}  // namespace

const TextEncoding* textEncoding(HxStringEncoding encoding) noexcept {
  for (const TextEncoding& row : kEncodings) {
    if (row.encoding == encoding) return &row;
  }
  return nullptr;
}

}  // namespace rondel::internal
