// SPDX-License-Identifier: MIT
#include "Rondel/Streams/LineBufferFilter.h"

#include "Rondel/Streams/internal/LineEnds.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/ReusedString.h"

namespace rondel {

namespace {

// The room for an unfinished line that is kept once the line has gone out, in units.
constexpr HxUInteger kKeptRoom = 65536;

// Returns the offset after the last terminator, 0 if there is none.
template <class Unit>
HxUInteger endOfCompleteLines(const Unit* units, HxUInteger length) noexcept {
  while (length > 0 && !internal::endsLine(units[length - 1])) --length;
  return length;
}

}  // namespace

ZevMoLineBufferFilter::ZevMoLineBufferFilter() : _savedString(HxMutableString::string()) {}

HxClass ZevMoLineBufferFilter::classObject() noexcept {
  static const HxClassInfo info{"ZevMoLineBufferFilter", ZevMoLineStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

// The held line has no terminator. So only the input is searched for one, and each unit of it only
// once. The lines after the first are made straight from the input.
void ZevMoLineBufferFilter::streamProcessCharacters(ZevMoStream*, const HxString& characters) {
  const HxAny alive = internal::keptAlive(this);
  // A consumer may change a mutable string while its lines are being sent.
  HxString input = characters.copy();
  if (_savedStringHasLines) input = takeSavedString().stringByAppendingString(input);
  _savedStringHasLines = false;
  HxUInteger offset = 0;
  try {
    internal::Characters(input).visit(
        [&](const auto* units, HxUInteger) { sendCompleteLines(input, units, offset); });
  } catch (...) {
    keepRest(input, offset);
    _savedStringHasLines = true;
    throw;
  }
  keepRest(input, offset);
}

template <class Unit>
void ZevMoLineBufferFilter::sendCompleteLines(const HxString& input, const Unit* units,
                                              HxUInteger& offset) {
  if (_coalesceLines) {
    sendLinesTogether(input, units, offset);
  } else {
    sendLineByLine(input, units, offset);
  }
}

// Looks up and keeps alive the consumer itself, instead of sendLine. That takes two counts for each
// chunk, not for each line.
template <class Unit>
void ZevMoLineBufferFilter::sendLineByLine(const HxString& input, const Unit* units,
                                           HxUInteger& offset) {
  const HxUInteger length = input.length();
  internal::LineEnds<Unit> ends(units, length);
  bool isFirst = !_savedString.isEmpty();
  const HxObject* consumer = nullptr;
  HxAny alive;
  HxString first;
  internal::ReusedString other;
  for (HxUInteger at = ends.next(); at < length; at = ends.next()) {
    if (at < offset) continue;  // the LF of a CR LF
    const HxUInteger end = at + internal::lineTerminatorLength(units, at, length);
    if (isFirst) first = savedStringWith(input, end);
    const HxString& line = isFirst ? first : other.make(units + offset, end - offset);
    offset = end;
    isFirst = false;
    while (consumer != streamConsumer()) {  // a former one may link another as it goes
      consumer = streamConsumer();
      alive = keptConsumer();
    }
    if (lineStreamConsumer()) lineStreamConsumer()->streamProcessLine(this, line);
  }
}

template <class Unit>
void ZevMoLineBufferFilter::sendLinesTogether(const HxString& input, const Unit* units,
                                              HxUInteger& offset) {
  offset = endOfCompleteLines(units, input.length());
  if (offset == 0) return;
  const bool isWhole = _savedString.isEmpty();
  sendLine(isWhole ? input.substringToIndex(offset) : savedStringWith(input, offset));
}

// Returns the held line and the input up to `end`. Nothing is held then.
HxString ZevMoLineBufferFilter::savedStringWith(const HxString& input, HxUInteger end) {
  _savedString.appendString(input.substringToIndex(end));
  return takeSavedString();
}

HxString ZevMoLineBufferFilter::takeSavedString() {
  HxString text = _savedString.copy();
  if (text.length() > kKeptRoom) {
    _savedString = HxMutableString::string();
  } else {
    _savedString.deleteCharactersInRange({0, text.length()});
  }
  return text;
}

void ZevMoLineBufferFilter::keepRest(const HxString& input, HxUInteger offset) {
  if (offset < input.length()) _savedString.appendString(input.substringFromIndex(offset));
}

void ZevMoLineBufferFilter::streamDidEnd(ZevMoStream* stream) {
  const HxAny alive = internal::keptAlive(this);
  if (_savedStringHasLines) streamProcessCharacters(stream, ""_hx);
  if (!_savedString.isEmpty()) streamProcessCharacters(stream, "\n"_hx);
  sendStreamDidEnd();
}

}  // namespace rondel
