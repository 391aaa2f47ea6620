// SPDX-License-Identifier: MIT
//
// Streams: what a hop costs, and bytes to lines at the speed of memory. The text is that of a
// compiler's run: 25 characters a line, one line in 64 with letters beyond ASCII.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/StreamSink.h"
#include "Rondel/Streams/UTF8Filters.h"

namespace {

using namespace rondel;

constexpr int kLines = 100'000;
constexpr std::size_t kChunk = 65536;

std::string textOfLines(bool isASCII) {
  std::string text;
  char line[96];
  unsigned seed = 12345;
  for (int i = 0; i < kLines; ++i) {
    seed = seed * 1664525U + 1013904223U;
    const unsigned a = (seed >> 8) % 97;
    const unsigned b = (seed >> 16) % 911;
    const char* const formats[] = {
        "[1%03u/8000] cc -c file_%u.c\n",
        "src/module_%u/f.c:%u: warning: x\n",
        "  in function run_%u_%u\n",
        "note: %u %u\n",
        "ok %u - test case number %u\n",
        i % 64 == 5 && !isASCII ? "src/gr\u00F6\u00DFe_%u/\u6587\u4EF6_%u.c\n"
                                : "src/s_%u/f_%u.c\n",
        "ar rcs lib/libmodule_%u_%u.a\n",
        "done\n",
    };
    std::snprintf(line, sizeof line, formats[i % 8], a, b);
    text += line;
  }
  return text;
}

std::vector<HxData> chunksOf(const std::string& text, std::size_t size) {
  std::vector<HxData> chunks;
  for (std::size_t at = 0; at < text.size(); at += size) {
    chunks.push_back(HxData::dataWithBytes(text.data() + at, std::min(size, text.size() - at)));
  }
  return chunks;
}

// Reads the lines as a tool would that only counts them.
class Counter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  HxUInteger units = 0;
  void streamProcessLine(ZevMoStream*, const HxString& line) override { units += line.length(); }
  void streamDidEnd(ZevMoStream*) override {}
};

void bytesToLines(benchmark::State& state, bool isASCII, bool coalesces, std::size_t chunkSize) {
  const std::string text = textOfLines(isASCII);
  const std::vector<HxData> chunks = chunksOf(text, chunkSize);
  Counter counter;
  for ([[maybe_unused]] auto _ : state) {
    const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
    const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
    const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
    lines->setCoalescesCompleteLines(coalesces);
    source->setByteStreamConsumer(decoder);
    decoder->setCharacterStreamConsumer(lines);
    lines->setLineStreamConsumer(&counter);
    for (const HxData& chunk : chunks) source->sendBytes(chunk);
    source->sendStreamDidEnd();
  }
  benchmark::DoNotOptimize(counter.units);
  state.SetItemsProcessed(state.iterations() * kLines);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(bytesToLines, ascii_64K, true, false, kChunk);
BENCHMARK_CAPTURE(bytesToLines, mixed_64K, false, false, kChunk);
BENCHMARK_CAPTURE(bytesToLines, mixed_4K, false, false, 4096);
BENCHMARK_CAPTURE(bytesToLines, mixed_coalesced_64K, false, true, kChunk);
BENCHMARK_CAPTURE(bytesToLines, mixed_one_byte, false, false, 1);

void oneHop(benchmark::State& state) {
  const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  source->setByteStreamConsumer(ZevMoStreamSink::streamSink());
  const HxData data = HxData::dataWithBytes("x", 1);
  for ([[maybe_unused]] auto _ : state) source->sendBytes(data);
}
BENCHMARK(oneHop);

void longLine(benchmark::State& state) {
  const HxString chunk = HxString(std::string_view(std::string(kChunk, 'x')));
  const auto count = static_cast<std::size_t>(state.range(0));
  Counter counter;
  for ([[maybe_unused]] auto _ : state) {
    const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
    lines->setLineStreamConsumer(&counter);
    for (std::size_t i = 0; i < count; ++i) lines->streamProcessCharacters(nullptr, chunk);
    lines->streamDidEnd(nullptr);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(count * kChunk));
}
BENCHMARK(longLine)->Arg(16)->Arg(160)->Arg(1600);

}  // namespace
