// SPDX-License-Identifier: MIT
//
// Bytes that are cut anywhere go through decoder and line filter, and make the text and the lines
// that they make in one piece; only a CR LF that is cut in two makes two ends of lines.
//
// The input is a byte that selects the way, then pieces, each after a byte with its length.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/UTF8Filters.h"

namespace {

using namespace rondel;

class Collector final : public HxObject,
                        public ZevMoCharacterStreamConsuming,
                        public ZevMoLineStreamConsuming {
 public:
  std::u16string text;
  std::vector<std::u16string> lines;
  int ends = 0;

  void streamProcessCharacters(ZevMoStream*, const HxString& characters) override {
    text += unitsOf(characters);
  }
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    lines.push_back(unitsOf(line));
    text += lines.back();
  }
  void streamDidEnd(ZevMoStream*) override { ++ends; }

 private:
  static std::u16string unitsOf(const HxString& string) {
    std::u16string units(string.length(), u'\0');
    string.getCharacters(units.data());
    return units;
  }
};

void require(bool condition) {
  if (!condition) std::abort();
}

using Pieces = std::vector<std::string>;

void feed(const Ref<ZevMoByteStream>& source, const Pieces& pieces) {
  for (const std::string& piece : pieces) {
    source->sendBytes(HxData::dataWithBytes(piece.data(), piece.size()));
  }
  source->sendStreamDidEnd();
}

void decode(const Pieces& pieces, Collector& out) {
  const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  source->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(&out);
  feed(source, pieces);
  require(out.ends == 1);
}

void split(const Pieces& pieces, bool coalesces, Collector& out) {
  const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  lines->setCoalescesCompleteLines(coalesces);
  source->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(lines);
  lines->setLineStreamConsumer(&out);
  feed(source, pieces);
  require(out.ends == 1);
}

bool endsLine(char16_t unit) {
  return unit == u'\n' || unit == u'\r' || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
}

// The lines of a text by the plainest of means.
std::vector<std::u16string> linesOf(const std::u16string& text) {
  std::vector<std::u16string> lines;
  std::u16string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    line += text[i];
    const bool isPair = text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n';
    if (isPair || !endsLine(text[i])) continue;
    lines.push_back(line);
    line.clear();
  }
  if (!line.empty()) lines.push_back(line + u"\n");
  return lines;
}

// Both halves of CR LF pairs that were cut, put together again.
std::vector<std::u16string> mended(const std::vector<std::u16string>& lines) {
  std::vector<std::u16string> result;
  for (const std::u16string& line : lines) {
    if (line == u"\n" && !result.empty() && result.back().back() == u'\r') {
      result.back() += line;
    } else {
      result.push_back(line);
    }
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool coalesces = (data[0] & 1) != 0;
  Pieces pieces;
  std::string bytes;
  for (std::size_t at = 1; at < size;) {
    const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
    pieces.emplace_back(reinterpret_cast<const char*>(data) + at + 1, length);
    bytes += pieces.back();
    at += length + 1;
  }
  Collector whole;
  Collector cut;
  decode({bytes}, whole);
  decode(pieces, cut);
  require(cut.text == whole.text);

  Collector lines;
  split({bytes}, false, lines);
  require(lines.lines == linesOf(whole.text));
  Collector cutLines;
  split(pieces, coalesces, cutLines);
  require(cutLines.text == lines.text);
  if (!coalesces) require(mended(cutLines.lines) == lines.lines);
  return 0;
}
