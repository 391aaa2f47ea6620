// SPDX-License-Identifier: MIT
//
// The first part of the format engine: from the text of a format to its pieces, one at a time. It
// knows the grammar and no arguments; Format.h describes the grammar.
#pragma once

#include <type_traits>

#include "Rondel/core/object/Types.h"

namespace rondel::internal {

// The meaning of a conversion letter.
enum class FormatFamily : std::uint8_t {
  none,  // no conversion letter
  percent,
  nothing,
  signedInteger,
  unsignedInteger,
  real,
  byteCharacter,
  unitCharacter,
  text,
  pointer,
};

// The one table of conversion letters.
struct FormatLetter {
  char letter = 0;
  FormatFamily family = FormatFamily::none;
  std::uint8_t base = 10;
};
inline constexpr FormatLetter kFormatLetters[] = {
    {'%', FormatFamily::percent},
    {'n', FormatFamily::nothing},
    {'d', FormatFamily::signedInteger},
    {'i', FormatFamily::signedInteger},
    {'u', FormatFamily::unsignedInteger},
    {'x', FormatFamily::unsignedInteger, 16},
    {'X', FormatFamily::unsignedInteger, 16},
    {'o', FormatFamily::unsignedInteger, 8},
    {'a', FormatFamily::real},
    {'A', FormatFamily::real},
    {'e', FormatFamily::real},
    {'E', FormatFamily::real},
    {'f', FormatFamily::real},
    {'F', FormatFamily::real},
    {'g', FormatFamily::real},
    {'G', FormatFamily::real},
    {'c', FormatFamily::byteCharacter},
    {'C', FormatFamily::unitCharacter},
    {'s', FormatFamily::text},
    {'S', FormatFamily::text},
    {'@', FormatFamily::text},
    {'p', FormatFamily::pointer},
};

// Returns the row of a letter, one of family none if there is no such letter.
FormatLetter formatLetter(HxUniChar letter) noexcept;

// A width or a precision as the format states it.
struct FormatCount {
  enum class Source : std::uint8_t { absent, number, argument };
  Source source = Source::absent;
  std::uint32_t value = 0;  // the number; or the argument's position from 1 on, 0 for the next one
};

struct FormatConversion {
  FormatLetter letter;
  std::uint32_t position = 0;  // of the argument, from 1 on; 0 for the next one
  FormatCount width;
  FormatCount precision;
  bool isLeft = false;
  bool hasPlus = false;
  bool hasBlank = false;
  bool isAlternate = false;
  bool hasZero = false;
  std::uint8_t integerSize = 0;  // bytes that a length cuts integers to; 0 for none
};

template <class Unit>
class FormatParser {
 public:
  // A run of text to be taken as it is, or, if that is empty, a conversion.
  struct Piece {
    const Unit* text = nullptr;
    HxUInteger length = 0;
    FormatConversion conversion;
  };

  FormatParser(const Unit* format, HxUInteger length) noexcept
      : _at(format), _end(format + length) {}

  // Reads the next piece. Returns false if there is none left.
  bool next(Piece& piece) noexcept;

 private:
  // Numbers in a format stop growing here, far above every limit that applies to them.
  static constexpr std::uint32_t kGreatestNumber = 0x7FFFFFFF;

  HxUniChar peek() const noexcept {
    return _at == _end ? u'\0'
                       : static_cast<HxUniChar>(static_cast<std::make_unsigned_t<Unit>>(*_at));
  }
  bool accept(char unit) noexcept;
  std::uint32_t number() noexcept;
  std::uint32_t position() noexcept;
  void flags(FormatConversion& conversion) noexcept;
  FormatCount count() noexcept;
  void precision(FormatConversion& conversion) noexcept;
  FormatLetter lengthAndLetter(FormatConversion& conversion) noexcept;
  // Reads what follows a percent sign, the letter included if there is one.
  void conversion(FormatConversion& conversion) noexcept;

  const Unit* _at;
  const Unit* const _end;
};

extern template class FormatParser<char>;
extern template class FormatParser<HxUniChar>;

}  // namespace rondel::internal
