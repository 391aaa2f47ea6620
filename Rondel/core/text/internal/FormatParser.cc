// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/FormatParser.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "Rondel/core/text/internal/CodeUnits.h"

namespace rondel::internal {

namespace {

constexpr auto kLettersByCode = [] {
  std::array<FormatLetter, 128> letters{};
  for (const FormatLetter& letter : kFormatLetters) {
    letters[static_cast<unsigned char>(letter.letter)] = letter;
  }
  return letters;
}();

const char* findPercent(const char* at, const char* end) {
  const void* found = std::memchr(at, '%', static_cast<std::size_t>(end - at));
  return found ? static_cast<const char*>(found) : end;
}
const HxUniChar* findPercent(const HxUniChar* at, const HxUniChar* end) {
  return std::find(at, end, u'%');
}

}  // namespace

FormatLetter formatLetter(HxUniChar letter) noexcept {
  return letter < kLettersByCode.size() ? kLettersByCode[letter] : FormatLetter();
}

template <class Unit>
bool FormatParser<Unit>::next(Piece& piece) noexcept {
  if (_at == _end) return false;
  piece.text = _at;
  piece.length = 0;
  if (peek() == u'%') {
    ++_at;
    conversion(piece.conversion);
    if (piece.conversion.letter.family != FormatFamily::none) return true;
  } else {
    _at = findPercent(_at, _end);
  }
  piece.length = static_cast<HxUInteger>(_at - piece.text);
  return true;
}

template <class Unit>
bool FormatParser<Unit>::accept(char unit) noexcept {
  if (peek() != static_cast<unsigned char>(unit) || _at == _end) return false;
  ++_at;
  return true;
}

template <class Unit>
std::uint32_t FormatParser<Unit>::number() noexcept {
  std::uint64_t value = 0;
  for (; isDecimalDigit(peek()); ++_at) {
    value = std::min<std::uint64_t>(value * 10 + (peek() - u'0'), kGreatestNumber);
  }
  return static_cast<std::uint32_t>(value);
}

// Reads digits and a dollar sign. Returns 0, and reads nothing, if they are not there.
template <class Unit>
std::uint32_t FormatParser<Unit>::position() noexcept {
  const Unit* const start = _at;
  const std::uint32_t value = number();
  if (value > 0 && accept('$')) return value;
  _at = start;
  return 0;
}

template <class Unit>
void FormatParser<Unit>::flags(FormatConversion& conversion) noexcept {
  for (;; ++_at) {
    switch (peek()) {
      case u'-':
        conversion.isLeft = true;
        break;
      case u'+':
        conversion.hasPlus = true;
        break;
      case u' ':
        conversion.hasBlank = true;
        break;
      case u'#':
        conversion.isAlternate = true;
        break;
      case u'0':
        conversion.hasZero = true;
        break;
      case u'\'':
        break;
      default:
        return;
    }
  }
}

template <class Unit>
FormatCount FormatParser<Unit>::count() noexcept {
  if (accept('*')) return {FormatCount::Source::argument, position()};
  if (isDecimalDigit(peek())) return {FormatCount::Source::number, number()};
  return {};
}

// Returns the letter after the length; for a long character it is another one.
template <class Unit>
FormatLetter FormatParser<Unit>::lengthAndLetter(FormatConversion& conversion) noexcept {
  if (accept('h')) conversion.integerSize = accept('h') ? sizeof(char) : sizeof(short);
  bool isLong = false;
  while (accept('l')) isLong = true;
  for (const char unit : {'q', 'z', 't', 'j', 'L'}) accept(unit);
  return formatLetter(isLong && peek() == u'c' ? u'C' : peek());
}

template <class Unit>
void FormatParser<Unit>::conversion(FormatConversion& conversion) noexcept {
  conversion = FormatConversion();
  conversion.letter = formatLetter(peek());
  if (conversion.letter.family == FormatFamily::none) {  // mostly the letter comes at once
    conversion.position = position();
    flags(conversion);
    conversion.width = count();
    if (accept('.')) precision(conversion);
    conversion.letter = lengthAndLetter(conversion);
  }
  if (conversion.letter.family != FormatFamily::none) ++_at;
}

// A dot alone is a precision of 0.
template <class Unit>
void FormatParser<Unit>::precision(FormatConversion& conversion) noexcept {
  conversion.precision = count();
  if (conversion.precision.source == FormatCount::Source::absent) {
    conversion.precision.source = FormatCount::Source::number;
  }
}

template class FormatParser<char>;
template class FormatParser<HxUniChar>;

}  // namespace rondel::internal
