// SPDX-License-Identifier: MIT

// UTF-8 that may be damaged: all ways to cut the bytes into pieces must decode to the same text,
// with every kernel, and no byte may be lost.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/additions/TextDecoding.h"
#include "Rondel/additions/internal/TolerantUTF8.h"
#include "Rondel/core/text/internal/UTF8Kernel.h"

namespace {

using namespace rondel;

void require(bool holds) {
  if (!holds) std::abort();
}

struct Decoded {
  std::u16string text;
  HxUInteger used = 0;
  HxUInteger malformed = 0;
  friend bool operator==(const Decoded&, const Decoded&) = default;
};

Decoded decode(std::string_view bytes, bool stop) {
  Decoded decoded;
  const HxString text = initWithPotentiallyMalformedUTF8Bytes(bytes.data(), bytes.size(), stop,
                                                              &decoded.used, &decoded.malformed);
  decoded.text.resize(text.length());
  text.getCharacters(decoded.text.data());
  return decoded;
}

// What one piece leaves alone goes before the next one.
Decoded decodeInPieces(std::string_view bytes, std::size_t pieceSize) {
  Decoded whole;
  std::string held;
  for (std::size_t at = 0;; at += pieceSize) {
    const bool isLast = at >= bytes.size();
    if (!isLast) held += bytes.substr(at, pieceSize);
    const Decoded piece = decode(held, !isLast);
    require(held.size() - piece.used <= (isLast ? 0U : 3U));
    held.erase(0, piece.used);
    whole.text += piece.text;
    whole.used += piece.used;
    whole.malformed += piece.malformed;
    if (isLast) return whole;
  }
}

// Every way to cut a short text in two.
void checkEveryCut(std::string_view bytes, const Decoded& whole) {
  constexpr std::size_t kShort = 128;
  if (bytes.size() > kShort) return;
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    const Decoded first = decode(bytes.substr(0, cut), true);
    const Decoded rest = decode(bytes.substr(first.used), false);
    require(first.used <= cut && cut - first.used <= 3);
    require(first.text + rest.text == whole.text);
    require(first.malformed + rest.malformed == whole.malformed);
  }
}

void checkTolerantKernels(const std::uint8_t* data, std::size_t size, const Decoded& whole) {
  for (const internal::TolerantUTF8Kernel& kernel : internal::availableTolerantUTF8Kernels()) {
    internal::TextMeasure measure;
    for (auto* p = data; p != data + size;) p = kernel.measure(p, data + size, measure);
    require(measure.units == whole.text.size() && measure.malformed == whole.malformed);
    std::u16string text(measure.units, u'\0');
    HxUniChar* out = text.data();
    for (auto* p = data; p != data + size;) p = kernel.convert(p, data + size, out);
    require(text == whole.text);
  }
}

void checkKernels(const std::uint8_t* data, std::size_t size) {
  const auto kernels = internal::availableUTF8Kernels();
  const internal::UTF8Progress expected = kernels[0].measure(data, data + size);
  for (const internal::UTF8Kernel& kernel : kernels) {
    const internal::UTF8Progress measured = kernel.measure(data, data + size);
    require(measured.stop == expected.stop && measured.units == expected.units);
    std::vector<HxUniChar> units(size);
    const internal::UTF8Progress converted = kernel.convert(data, data + size, units.data());
    require(converted.stop == expected.stop && converted.units == expected.units);
  }
}

// Backslashes look like escapes. Surrogates and ASCII after F4 are legal, but not the one spelling
// of what they decode to.
bool hasOneSpelling(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto next = static_cast<unsigned char>(i + 1 < bytes.size() ? bytes[i + 1] : 0xFF);
    if (bytes[i] == '\\') return false;
    if (bytes[i] == '\xED' && next >= 0xA0) return false;
    if (bytes[i] == '\xF4' && next < 0x80) return false;
  }
  return true;
}

std::string withEscapesUndone(const std::u16string& text) {
  std::string bytes;
  const auto put = [&](unsigned byte) { bytes += static_cast<char>(byte); };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit == u'\\') {
      put((text.at(i + 1) - u'0') * 64U + (text.at(i + 2) - u'0') * 8U + (text.at(i + 3) - u'0'));
      i += 3;
    } else if (unit < 0x80) {
      put(unit);
    } else if (unit < 0x800) {
      put(0xC0U | unit >> 6);
      put(0x80U | (unit & 63U));
    } else if ((unit & 0xFC00) == 0xD800) {
      const unsigned value = 0x10000 + (unit - 0xD800U) * 0x400 + (text.at(++i) - 0xDC00U);
      put(0xF0U | value >> 18);
      put(0x80U | (value >> 12 & 63U));
      put(0x80U | (value >> 6 & 63U));
      put(0x80U | (value & 63U));
    } else {
      put(0xE0U | unit >> 12);
      put(0x80U | (unit >> 6 & 63U));
      put(0x80U | (unit & 63U));
    }
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::uint8_t none = 0;
  if (!data) data = &none;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Decoded whole = decode(bytes, false);
  require(whole.used == size);
  require(decode(bytes, true).used + 3 >= size);
  for (const std::size_t pieceSize : {1U, 2U, 3U, 5U, 64U, 89U}) {
    require(decodeInPieces(bytes, pieceSize) == whole);
  }
  checkEveryCut(bytes, whole);
  checkKernels(data, size);
  checkTolerantKernels(data, size, whole);
  if (hasOneSpelling(bytes)) require(withEscapesUndone(whole.text) == bytes);
  return 0;
}
