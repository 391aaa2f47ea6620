// SPDX-License-Identifier: MIT
//
// The splitter looks only at characters that the grammar has to decide about. The characters
// between them are appended in runs (Words.h).
//
// One worked trace, of  a"b c"d  "" :
//
//    a       a run; the word is a view of it
//    "       opens quotes: inside them only the same quote and backslashes are special
//    b c     a run; the gap before it makes the word a copy: ab c
//    "       closes the quotes
//    d       a run: ab cd
//    (blank) ends the word; the second one finds no word to end
//    ""      no characters, but there were quotes: a word without characters
#include "Rondel/additions/CommandLine.h"

#include <string_view>

#include "Rondel/additions/internal/Words.h"
#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/text/internal/StringBlock.h"
#include "Rondel/core/text/internal/UpperHalves.h"

namespace rondel {

namespace {

using internal::ArrayBuilder;
using internal::Characters;
using internal::Word;

// The whitespace of command lines; bytes are ASCII.
template <class Unit>
class Whitespace;
template <>
class Whitespace<char> {
 public:
  bool contains(char unit) const noexcept { return internal::isBlank(internal::unitOf(unit)); }
};
template <>
class Whitespace<HxUniChar> {
 public:
  bool contains(HxUniChar unit) const noexcept { return _set.setObject()->contains(unit); }

 private:
  const HxCharacterSet _set = HxCharacterSet::whitespaceAndNewlineCharacterSet();
};

// The command-line grammar, over bytes (all of them ASCII) or UTF-16.
template <class Unit>
class CommandLineSplitter {
 public:
  CommandLineSplitter(const Unit* text, HxUInteger length, bool preservesQuotes)
      : _at(text),
        _end(text + length),
        _preservesQuotes(preservesQuotes),
        _maker(length),
        _words(internal::likelyWordCount(length)) {}

  HxArray split() {
    while (_at < _end) {
      const Unit* const run = _at;
      _at = _quote ? internal::quotedEnd(_at, _end, _quote) : ordinaryEnd(_at);
      _word.append(run, static_cast<HxUInteger>(_at - run));
      if (_at < _end) takeSpecial(_at++);
    }
    endWord();
    return _words.finish();
  }

 private:
  static constexpr HxUInteger kWordUnitsOnStack = 256;

  // One row a character: the first that applies.
  void takeSpecial(const Unit* c) {
    if (*c == '\\') {
      takeQuoting(c);
      if (_at < _end) _word.append(_at++, 1);  // whatever it is
    } else if ((*c == '"' || *c == '\'') && (!_quote || *c == _quote)) {
      _quote = _quote ? Unit() : *c;
      _sawQuote = true;
      takeQuoting(c);
    } else if (!_quote && _whitespace.contains(*c)) {
      endWord();
    } else {
      _word.append(c, 1);
    }
  }

  void takeQuoting(const Unit* c) {
    if (_preservesQuotes) _word.append(c, 1);
  }

  // A word without characters counts if there were quotes in it.
  void endWord() {
    if (_word.isEmpty() && !_sawQuote) return;
    _words.append(_maker.make(_word.units(), _word.length()));
    _word.clear();
    _sawQuote = false;
  }

  // The first unit from `at` on, outside quotes, that takes a row of its own.
  const Unit* ordinaryEnd(const Unit* at) const noexcept {
    at = internal::plainEnd(at, _end);
    if constexpr (sizeof(Unit) > 1) {
      while (at < _end && *at >= 0x80 && !_whitespace.contains(*at)) {
        at = internal::plainEnd(at + 1, _end);
      }
    }
    return at;
  }

  const Unit* _at;
  const Unit* const _end;
  const bool _preservesQuotes;
  Unit _quote = 0;  // the one that opened the quotes we are in
  bool _sawQuote = false;
  Word<Unit, kWordUnitsOnStack> _word;
  internal::WordMaker _maker;
  ArrayBuilder _words;
  const Whitespace<Unit> _whitespace{};
};

}  // namespace

HxArray arrayByParsingAsCommandLineArguments(const HxString& text) {
  return _componentsSeparatedByUnquotedWhitespacePreservingQuotes(text, false);
}

HxArray componentsSeparatedByUnquotedWhitespace(const HxString& text) {
  return _componentsSeparatedByUnquotedWhitespacePreservingQuotes(text, true);
}

HxArray _componentsSeparatedByUnquotedWhitespacePreservingQuotes(const HxString& text,
                                                                 bool preservesQuotes) {
  if (!text) return nullptr;
  internal::clearUpperHalves();
  const auto split = [&](const auto* units, HxUInteger length) {
    return CommandLineSplitter(units, length, preservesQuotes).split();
  };
  if (const std::string_view ascii = text.asciiView(); ascii.data()) {
    return split(ascii.data(), ascii.size());
  }
  return Characters(text).visit(split);
}

HxArray arrayByExtractingCommandLineArgumentsHavingPrefix(const HxArray& arguments,
                                                          const HxString& argumentPrefix) {
  if (!arguments) return nullptr;
  MO_ADDITION(arguments,
              "-[HxArray(MoCommandLine) arrayByExtractingCommandLineArgumentsHavingPrefix:]");
  MoCheckNonEmptyString(argumentPrefix);
  const HxString prefix = as<HxString>(argumentPrefix);
  const HxUInteger count = arguments.count();
  const HxUInteger prefixLength = prefix.length();
  HxMutableArray values = HxMutableArray::arrayWithCapacity(count);
  for (HxUInteger i = 0; i < count; ++i) {
    const HxAny string = arguments.objectAtIndex(i);
    MoCheckString(string);
    const HxString argument = as<HxString>(string);
    if (!argument.hasPrefix(prefix)) continue;
    if (argument.length() > prefixLength) {
      values.addObject(argument.substringFromIndex(prefixLength));
    } else if (++i < count) {
      values.addObject(arguments.objectAtIndex(i));
    }
  }
  return values;
}

}  // namespace rondel
