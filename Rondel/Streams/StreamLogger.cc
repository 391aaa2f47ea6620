// SPDX-License-Identifier: MIT
#include "Rondel/Streams/StreamLogger.h"

#include <atomic>

#include "Rondel/core/report/Log.h"

namespace rondel {

namespace {

std::atomic<unsigned> seqNum{0};

constexpr HxUInteger kBytesInARow = 16;

HxString hexadecimalDump(const HxData& data) {
  HxMutableString dump = HxMutableString::string();
  const std::uint8_t* const bytes = data.bytes();
  for (HxUInteger i = 0; i < data.length(); ++i) {
    if (i % kBytesInARow == 0) dump.appendFormat("%@\t%3lu: "_hx, i == 0 ? ""_hx : "\n"_hx, i);
    dump.appendFormat("0x%lx "_hx, HxUInteger{bytes[i]});
  }
  return dump;
}

void appendStream(HxMutableString& report, const HxString& format, ZevMoStream* stream) {
  report.appendFormat(format, static_cast<const void*>(stream));
  if (stream && !stream->name().isEmpty()) report.appendFormat("(%@)"_hx, stream->name());
}

}  // namespace

HxClass ZevMoStreamLogger::classObject() noexcept {
  static const HxClassInfo info{"ZevMoStreamLogger", HxObject::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

void ZevMoStreamLogger::streamDidEnd(ZevMoStream* stream) { _logMessage("EndOfStream"_hx, stream); }

void ZevMoStreamLogger::streamProcessBytes(ZevMoStream* stream, const HxData& data) {
  _logMessage(data.isEmpty() ? "empty HxData"_hx : hexadecimalDump(data), stream);
}

void ZevMoStreamLogger::streamProcessCharacters(ZevMoStream* stream, const HxString& characters) {
  _logMessage(HxString::stringWithFormat("chars->'%@'"_hx, characters), stream);
}

void ZevMoStreamLogger::streamProcessLine(ZevMoStream* stream, const HxString& line) {
  _logMessage(HxString::stringWithFormat("line->'%@'"_hx, line), stream);
}

void ZevMoStreamLogger::_logMessage(const HxString& message, ZevMoStream* stream) {
  HxMutableString report = HxMutableString::string();
  report.appendFormat("Stream Logger\n%3u: "_hx, seqNum++);
  appendStream(report, "stream:%p"_hx, stream);
  appendStream(report, "/src:%p"_hx, stream ? stream->sourceStream() : nullptr);
  report.appendFormat("\n%@\n----\n"_hx, message);
  HxLog("%@"_hx, report);
}

}  // namespace rondel
