// SPDX-License-Identifier: MIT
//
// A table has a block of eight bytes for each ASCII character: what is written for it, and how long
// that is. The first pass adds the lengths, so that the second writes into a string of just the
// size. It stores whole blocks, and the next store overwrites what was too much.
//
// One worked trace, of "<a" for XML, 5 characters in all; a dot is a byte that does not count:
//
//    <   stores &lt;...   moves on by 4
//    a   stores a......   moves on by 1, over the dots: &lt;a
#include "Rondel/additions/Escaping.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/MakeString.h"

namespace rondel {

namespace {

using internal::Characters;

constexpr HxUInteger indexOf(char ascii) noexcept { return static_cast<unsigned char>(ascii); }

// What is written for a character: up to seven ASCII characters, in a block that one store copies.
struct Escape {
  char text[7];
  std::uint8_t length;
};
static_assert(sizeof(Escape) == 8);

class Escapes {
 public:
  struct Row {
    char character;
    std::string_view text;
  };
  // Every other character of ASCII is written as itself.
  constexpr Escapes(std::initializer_list<Row> rows) {
    for (HxUInteger unit = 0; unit < _escapes.size(); ++unit) {
      _escapes[unit] = {{static_cast<char>(unit)}, 1};
    }
    for (const Row& row : rows) {
      Escape& escape = _escapes[indexOf(row.character)];
      std::copy(row.text.begin(), row.text.end(), escape.text);
      escape.length = static_cast<std::uint8_t>(row.text.size());
    }
  }

  const Escape& operator[](char ascii) const noexcept { return _escapes[indexOf(ascii)]; }

  HxUInteger escapedLength(const char* units, HxUInteger length) const noexcept {
    HxUInteger sum = 0;
    for (HxUInteger i = 0; i < length; ++i) sum += (*this)[units[i]].length;
    return sum;
  }
  HxUInteger escapedLength(const HxUniChar* units, HxUInteger length) const noexcept {
    HxUInteger sum = 0;
    for (HxUInteger i = 0; i < length; ++i) {
      sum += units[i] < 0x80 ? _escapes[units[i]].length : 1;
    }
    return sum;
  }

  // Stores whole escapes while eight characters are left, since there is room for eight then.
  void write(const char* units, HxUInteger length, char* out) const noexcept {
    const char* const end = units + length;
    const char* at = units;
    for (; end - at >= std::ptrdiff_t{sizeof(Escape)}; ++at) {
      const Escape& escape = (*this)[*at];
      std::memcpy(out, &escape, sizeof(Escape));
      out += escape.length;
    }
    for (; at < end; ++at) {
      const Escape& escape = (*this)[*at];
      out = std::copy_n(escape.text, escape.length, out);
    }
  }
  template <class Out>
  void write(const HxUniChar* units, HxUInteger length, Out* out) const noexcept {
    for (const HxUniChar* at = units; at < units + length; ++at) {
      if (*at < 0x80) {
        const Escape& escape = _escapes[*at];
        out = std::copy_n(escape.text, escape.length, out);
      } else {
        *out++ = static_cast<Out>(*at);
      }
    }
  }

 private:
  std::array<Escape, 0x80> _escapes{};
};

constexpr Escapes kEscapesForXML = {
    {'<', "&lt;"}, {'>', "&gt;"}, {'&', "&amp;"}, {'"', "&quot;"}, {'\'', "&apos;"},
};
constexpr Escapes kEscapesForFormats = {{'%', "%%"}};

HxString escaped(const char* units, HxUInteger length, const Escapes& escapes) {
  const HxUInteger newLength = escapes.escapedLength(units, length);
  return internal::makeNarrowString(newLength, [&](char* out) {
    if (newLength == length) {
      std::memcpy(out, units, length);
    } else {
      escapes.write(units, length, out);
    }
  });
}

// ASCII may come in wide units as well.
HxString escaped(const HxUniChar* units, HxUInteger length, const Escapes& escapes) {
  const HxUInteger newLength = escapes.escapedLength(units, length);
  const auto write = [&](auto* out) { escapes.write(units, length, out); };
  return internal::isASCII(units, length) ? internal::makeNarrowString(newLength, write)
                                          : internal::makeWideString(newLength, write);
}

HxString escaped(const HxString& text, const Escapes& escapes) {
  if (!text) return nullptr;
  return Characters(text).visit(
      [&](const auto* units, HxUInteger length) { return escaped(units, length, escapes); });
}

}  // namespace

HxString stringByEscapingForXML(const HxString& text) { return escaped(text, kEscapesForXML); }

HxString stringByUnescapingFromXML(const HxString& text) { return text; }

HxString stringByEscapingPercents(const HxString& text) {
  return escaped(text, kEscapesForFormats);
}

}  // namespace rondel
