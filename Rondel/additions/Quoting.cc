// SPDX-License-Identifier: MIT
//
// Most words need no quotes. Those are copied 16 bytes at a time while the same vectors are tested.
// The first vector that fails the test ends the copy, and the word is written again between quotes.
// There, ordinary characters are copied 16 at a time up to the first that may need an escape.
//
// One worked trace, of the joined words "cc" and "-DN=a b":
//
//    cc         all bytes allowed: copied               cc
//    (blank)    separates the words                     cc_
//    -DN=a b    the blank is not allowed: the copy is overwritten
//    "          opens the quotes                        cc "
//    -DN=a b    no quote, backslash or control          cc "-DN=a b
//    "          closes the quotes                       cc "-DN=a b"
#include "Rondel/additions/Quoting.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "Rondel/additions/internal/TextBuffer.h"
#include "Rondel/additions/internal/Words.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

using internal::Characters;
using internal::GrowingRun;
using internal::isLetterOrDigit;
using internal::TextBuffer;
using internal::unitOf;

constexpr std::string_view kQuotedEmptyText = "\"\"";

// What the quoter reads as the end of the text.
constexpr HxUniChar kEndMark = 0xFFFF;

// ---- Writing between quotes -------------------------------------------------------------------

// How each character is written: 0 as it is, kNumbered by its number, others as that letter after a
// backslash.
constexpr char kNumbered = 'U';
constexpr HxUInteger kLongestEscape = 6;

class Escapes {
 public:
  constexpr Escapes(bool quoteTabsAndEOLs, bool quoteHighBitUnichars)
      : _above00FF(quoteHighBitUnichars ? kNumbered : '\0') {
    std::fill_n(_ascii.begin(), 0x20, kNumbered);
    _ascii['"'] = '"';
    _ascii['\\'] = '\\';
    _ascii[0x07] = 'a';
    _ascii[0x08] = 'b';
    _ascii[0x0B] = 'v';
    _ascii[0x0C] = 'f';
    _ascii['\t'] = quoteTabsAndEOLs ? 't' : '\0';
    _ascii['\n'] = quoteTabsAndEOLs ? 'n' : '\0';
    _ascii['\r'] = _ascii['\n'];  // Deliberate: both become a newline escape.
  }

  constexpr char operator[](HxUniChar unit) const noexcept {
    if (unit < 0x80) return _ascii[unit];
    return unit > 0xFF ? _above00FF : '\0';
  }

 private:
  std::array<char, 0x80> _ascii{};
  char _above00FF;
};

constexpr Escapes kArgumentEscapes(false, false);

template <class Out>
Out* writeEscape(char letter, HxUniChar unit, Out* out) noexcept {
  *out++ = '\\';
  *out++ = static_cast<Out>(letter);
  if (letter != kNumbered) return out;
  for (int shift = 12; shift >= 0; shift -= 4) {
    *out++ = static_cast<Out>(internal::kHexadecimalDigits[unit >> shift & 0xF]);
  }
  return out;
}

// Copies units up to the first that may need an escape. Both ends move on by as many.
template <class In, class Out>
void copyOrdinary(const In*&, const In*, Out*&) noexcept {}

#ifdef __SSE2__
void copyOrdinary(const char*& at, const char* end, char*& out) noexcept {
  for (; end - at >= 16; at += 16, out += 16) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), units);
    const __m128i special = _mm_or_si128(_mm_cmpgt_epi8(_mm_set1_epi8(0x20), units),
                                         _mm_or_si128(_mm_cmpeq_epi8(units, _mm_set1_epi8('"')),
                                                      _mm_cmpeq_epi8(units, _mm_set1_epi8('\\'))));
    if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special))) {
      at += std::countr_zero(mask);
      out += std::countr_zero(mask);
      return;
    }
  }
}
#endif

// `out` has room for kLongestEscape units for each one of the text.
template <class In, class Out>
Out* writeEscaped(const In* at, const In* end, Out* out, const Escapes& escapes) noexcept {
  for (;;) {
    copyOrdinary(at, end, out);
    if (at == end) return out;
    const HxUniChar unit = unitOf(*at++);
    const char letter = escapes[unit];
    if (letter) {
      out = writeEscape(letter, unit, out);
    } else {
      *out++ = static_cast<Out>(unit);
    }
  }
}

template <class In, class Out>
void appendQuoted(const In* at, const In* end, GrowingRun<Out>& out, const Escapes& escapes) {
  constexpr std::ptrdiff_t kPiece = 256;
  out.append('"');
  while (at < end) {
    const In* const pieceEnd = at + std::min(kPiece, end - at);
    const auto pieceLength = static_cast<HxUInteger>(pieceEnd - at);
    out.moveEndTo(writeEscaped(at, pieceEnd, out.room(pieceLength * kLongestEscape), escapes));
    at = pieceEnd;
  }
  out.append('"');
}

void appendQuoted(const char* units, HxUInteger length, TextBuffer& out, const Escapes& escapes) {
  if (out.isWide()) {
    appendQuoted(units, units + length, out.wide(), escapes);
  } else {
    appendQuoted(units, units + length, out.narrow(), escapes);
  }
}

void appendQuoted(const HxUniChar* units, HxUInteger length, TextBuffer& out,
                  const Escapes& escapes) {
  out.widen();
  appendQuoted(units, std::find(units, units + length, kEndMark), out.wide(), escapes);
}

HxString quoted(const Characters& text, const Escapes& escapes) {
  if (text.length() == 0)
    return internal::makeString(kQuotedEmptyText.data(), kQuotedEmptyText.size());
  TextBuffer out;
  text.visit(
      [&](const auto* units, HxUInteger length) { appendQuoted(units, length, out, escapes); });
  return out.string();
}

// ---- When quotes are needed -------------------------------------------------------------------

// Letters and digits of ASCII, '.', '/', '_', and a backslash that does not follow another.
template <class Unit>
bool isBareText(const Unit* units, HxUInteger length) noexcept {
  HxUniChar previous = 0;
  for (const Unit* at = units; at < units + length; ++at) {
    const HxUniChar unit = unitOf(*at);
    if (unit == kEndMark) return true;
    const bool isBare = isLetterOrDigit(unit) || unit == u'.' || unit == u'/' || unit == u'_' ||
                        (unit == u'\\' && previous != u'\\');
    if (!isBare) return false;
    previous = unit;
  }
  return true;
}

bool containsMember(const HxUniChar* units, HxUInteger length, const HxCharacterSet& set) noexcept {
  const HxCharacterSetObject& members = *set.setObject();
  return std::any_of(units, units + length, [&](HxUniChar unit) { return members.contains(unit); });
}

constexpr std::string_view kAllowedBesideAlphanumerics = "/.,+-_=";

// The ASCII half of the characters that need no quotes on a command line.
constexpr std::array<bool, 0x80> kAllowed = [] {
  std::array<bool, 0x80> allowed{};
  for (HxUniChar unit = 0; unit < 0x80; ++unit) allowed[unit] = isLetterOrDigit(unit);
  for (const char unit : kAllowedBesideAlphanumerics) allowed[unitOf(unit)] = true;
  return allowed;
}();

// Each kind of list decides which words need quotes. ASCII is decided without the sets, which have
// the same members there.
struct CommandLine {
  static bool asksForQuotes(const char* units, HxUInteger length) noexcept;
  static bool copyUnlessItAsks(const char* units, HxUInteger length, char* out) noexcept;
  static bool asksForQuotes(const HxUniChar* units, HxUInteger length) {
    return containsMember(units, length, searchedSet());
  }

  static const HxCharacterSet& searchedSet() {
    static const HxCharacterSet& set = *new HxCharacterSet(makeSearchedSet());  // never destroyed
    return set;
  }
  static HxCharacterSet makeSearchedSet() {
    HxMutableCharacterSet allowed = HxCharacterSet::alphanumericCharacterSet().mutableCopy();
    allowed.addCharactersInString(HxString(kAllowedBesideAlphanumerics));
    return allowed.invertedSet();
  }
};

struct StringList {
  static bool asksForQuotes(const char* units, HxUInteger length) noexcept;
  static bool copyUnlessItAsks(const char* units, HxUInteger length, char* out) noexcept;
  static bool asksForQuotes(const HxUniChar* units, HxUInteger length) {
    return containsMember(units, length, HxCharacterSet::whitespaceAndNewlineCharacterSet());
  }
};

#ifdef __SSE2__
// Whether all 16 bytes are allowed; in ASCII '+' to '9' lie side by side.
[[gnu::always_inline]] inline bool areAllowed(__m128i units) noexcept {
  const auto isBetween = [](__m128i bytes, char first, char last) {
    return _mm_and_si128(_mm_cmpgt_epi8(bytes, _mm_set1_epi8(static_cast<char>(first - 1))),
                         _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(last + 1)), bytes));
  };
  const __m128i letters = isBetween(_mm_or_si128(units, _mm_set1_epi8(0x20)), 'a', 'z');
  const __m128i others = _mm_or_si128(_mm_cmpeq_epi8(units, _mm_set1_epi8('=')),
                                      _mm_cmpeq_epi8(units, _mm_set1_epi8('_')));
  const __m128i allowed = _mm_or_si128(_mm_or_si128(letters, isBetween(units, '+', '9')), others);
  return _mm_movemask_epi8(allowed) == 0xFFFF;
}
#endif

// Whether all bytes are allowed. They are copied to `out`, if that is not null, as far as they are.
bool copyAllowed(const char* units, HxUInteger length, char* out) noexcept {
#ifdef __SSE2__
  HxUInteger at = 0;
  while (length >= 16) {
    at = std::min(at, length - 16);  // the last 16, some of them a second time
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + at));
    if (!areAllowed(block)) return false;
    if (out) _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), block);
    at += 16;
    if (at == length) return true;
  }
  if (length >= 8) {  // the first 8 and the last 8
    const __m128i first = _mm_loadu_si64(units);
    const __m128i last = _mm_loadu_si64(units + length - 8);
    if (!areAllowed(_mm_unpacklo_epi64(first, last))) return false;
    if (out) _mm_storeu_si64(out, first);
    if (out) _mm_storeu_si64(out + length - 8, last);
    return true;
  }
#endif
  if (!std::all_of(units, units + length, [](char unit) { return kAllowed[unitOf(unit)]; })) {
    return false;
  }
  if (out) std::memcpy(out, units, length);
  return true;
}

bool CommandLine::asksForQuotes(const char* units, HxUInteger length) noexcept {
  return !copyAllowed(units, length, nullptr);
}

bool CommandLine::copyUnlessItAsks(const char* units, HxUInteger length, char* out) noexcept {
  return copyAllowed(units, length, out);
}

bool StringList::asksForQuotes(const char* units, HxUInteger length) noexcept {
  const char* const end = units + length;
  const char* at = internal::plainEnd(units, end);
  while (at < end && !internal::isBlank(unitOf(*at))) at = internal::plainEnd(at + 1, end);
  return at < end;
}

bool StringList::copyUnlessItAsks(const char* units, HxUInteger length, char* out) noexcept {
  if (asksForQuotes(units, length)) return false;
  std::memcpy(out, units, length);
  return true;
}

template <class Kind>
bool asksForQuotes(const Characters& text) {
  return text.visit(
      [](const auto* units, HxUInteger length) { return Kind::asksForQuotes(units, length); });
}

template <class Kind>
HxString quotedIfNeeded(const HxString& text) {
  internal::clearUpperHalves();
  const Characters characters(text);
  return asksForQuotes<Kind>(characters) ? quoted(characters, kArgumentEscapes) : text;
}

// ---- Joining ----------------------------------------------------------------------------------

template <class Kind, class Unit>
void appendWord(const Unit* units, HxUInteger length, TextBuffer& out) {
  if (length == 0) {
    out.append(kQuotedEmptyText.data(), kQuotedEmptyText.size());
  } else if (Kind::asksForQuotes(units, length)) {
    appendQuoted(units, length, out, kArgumentEscapes);
  } else {
    out.append(units, length);
  }
}

// The common case: ASCII, and nothing else so far.
template <class Kind>
void appendASCIIWord(std::string_view word, TextBuffer& out) {
  if (out.isWide() || word.empty()) return appendWord<Kind>(word.data(), word.size(), out);
  char* const room = out.narrow().room(word.size());
  if (Kind::copyUnlessItAsks(word.data(), word.size(), room)) {
    out.narrow().moveEndTo(room + word.size());
  } else {
    appendQuoted(word.data(), word.size(), out, kArgumentEscapes);
  }
}

// Reads the string that an object is without a handle of its own.
class Borrowed : private HxString {
 public:
  static std::string_view asciiView(const HxObject& object) noexcept {
    if (!(bitsOf(&object) & kFlatNarrow)) return {};
    const auto& string = static_cast<const internal::FlatString&>(object);
    return {string.narrow(), string.flatLength()};
  }
};

template <class Kind>
void appendText(const HxStringObject* string, TextBuffer& out) {
  if (const std::string_view ascii = Borrowed::asciiView(*string); ascii.data()) {
    return appendASCIIWord<Kind>(ascii, out);
  }
  Characters(string).visit(
      [&](const auto* units, HxUInteger length) { appendWord<Kind>(units, length, out); });
}

// A string is its own description.
template <class Kind>
void appendDescription(const HxHandle& object, TextBuffer& out) {
  if (HxString::canHold(object.object())) {
    appendText<Kind>(static_cast<const HxStringObject*>(object.object()), out);
  } else if (const HxString description = object.description()) {
    appendText<Kind>(static_cast<const HxStringObject*>(description.object()), out);
  }
}

template <class Kind>
HxString joined(const HxArray& words) {
  if (!words) return nullptr;
  internal::clearUpperHalves();
  TextBuffer out;
  bool isFirst = true;
  for (const HxAny& word : words.copy()) {  // a description may change the array
    if (!isFirst) out.append(' ');
    isFirst = false;
    appendDescription<Kind>(word, out);
  }
  return out.string();
}

}  // namespace

HxString stringByQuotingOnlyIfNeeded(const HxString& text, bool onlyIfNeeded, bool quoteTabsAndEOLs,
                                     bool quoteHighBitUnichars) {
  if (!text) return nullptr;
  internal::clearUpperHalves();
  const Characters characters(text);
  const bool isBare = onlyIfNeeded && characters.length() > 0 &&
                      characters.visit([](const auto* units, HxUInteger length) {
                        return isBareText(units, length);
                      });
  return isBare ? text : quoted(characters, Escapes(quoteTabsAndEOLs, quoteHighBitUnichars));
}

HxString stringByQuotingIfNeeded(const HxString& text) { return quotedIfNeeded<CommandLine>(text); }

HxString stringByQuotingWhitespaceIfNeeded(const HxString& text) {
  return quotedIfNeeded<StringList>(text);
}

HxString stringByConcatenatingObjectsAsCommandLineArguments(const HxArray& words) {
  return joined<CommandLine>(words);
}

HxString stringByConcatenatingObjectsAsStringList(const HxArray& elements) {
  return joined<StringList>(elements);
}

}  // namespace rondel
