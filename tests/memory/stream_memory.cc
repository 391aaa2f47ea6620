// SPDX-License-Identifier: MIT
//
// How much memory a long run takes: pushes 4 GiB of text through decoder and line filter in blocks
// of 64 KiB, and fails when the process was ever larger than 64 MiB, or when a line or a character
// was lost. It is a program of its own because the kernel tells the peak of a whole process.
//
//   stream_memory [GIB]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/UTF8Filters.h"

namespace {

using namespace rondel;

constexpr std::size_t kBlockBytes = 65536;
constexpr std::size_t kBlocksInAGiB = (std::size_t{1} << 30U) / kBlockBytes;
constexpr std::size_t kMostKiB = 64 * 1024;

// Looks at its lines and keeps none.
class Counter final : public HxObject, public ZevMoLineStreamConsuming {
 public:
  std::size_t lines = 0;
  std::size_t units = 0;
  int ends = 0;
  void streamProcessLine(ZevMoStream*, const HxString& line) override {
    ++lines;
    units += line.length();
  }
  void streamDidEnd(ZevMoStream*) override { ++ends; }
};

// Lines as a compiler writes them, one in 64 with letters beyond ASCII. The block ends in the midst
// of a line, with the first byte of a letter whose second one it begins with.
std::string makeBlock() {
  std::string block = "\xA9";
  for (unsigned i = 0; block.size() < kBlockBytes; ++i) {
    block += "src/module_" + std::to_string(i % 97) + "/f.c:" + std::to_string(i % 911) +
             (i % 64 == 5 ? ": gr\xC3\xB6\xC3\x9F"
                            "e \xE6\x96\x87\n"
                          : ": warning\n");
  }
  block.resize(kBlockBytes - 8);
  return block + "partial\xC3";
}

// The units of the text between the first and the last byte of the block.
std::size_t unitsInside(const std::string& block) {
  const auto isUnit = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::count_if(block.begin() + 1, block.end() - 1, isUnit));
}

void push(const std::string& block, std::size_t count, Counter& counter) {
  const Ref<ZevMoByteStream> source = ZevMoByteStream::init();
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  source->setByteStreamConsumer(decoder);
  decoder->setCharacterStreamConsumer(lines);
  lines->setLineStreamConsumer(&counter);
  for (std::size_t i = 0; i < count; ++i) {
    source->sendBytes(HxData::dataWithBytes(block.data(), block.size()));
  }
  source->sendStreamDidEnd();
}

// The most that was ever resident, in KiB; 0 when the kernel does not tell.
std::size_t peakResident() {
  std::FILE* const status = std::fopen("/proc/self/status", "re");
  if (!status) return 0;
  char line[256];
  std::size_t peak = 0;
  while (peak == 0 && std::fgets(line, sizeof line, status)) {
    if (std::strncmp(line, "VmHWM:", 6) == 0) peak = std::strtoul(line + 6, nullptr, 10);
  }
  std::fclose(status);
  return peak;
}

bool isComplete(const Counter& counter, const std::string& block, std::size_t count) {
  const auto linesInside = static_cast<std::size_t>(std::count(block.begin(), block.end(), '\n'));
  constexpr std::size_t kEscapes = 8;  // of the first byte of all and of the last one
  constexpr std::size_t kAddedEnd = 1;
  return counter.ends == 1 && counter.lines == count * linesInside + 1 &&
         counter.units == count * unitsInside(block) + (count - 1) + kEscapes + kAddedEnd;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t gibibytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 4;
  const std::size_t count = std::max<std::size_t>(gibibytes * kBlocksInAGiB, 1);
  const std::string block = makeBlock();
  Counter counter;
  const std::size_t before = peakResident();
  const auto start = std::chrono::steady_clock::now();
  push(block, count, counter);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  const std::size_t most = peakResident();

  std::printf(
      "%zu GiB, %zu lines through decoder and line filter in %.1f s: "
      "%.1f MiB resident at most, %.1f MiB before\n",
      gibibytes, counter.lines, taken.count(), static_cast<double>(most) / 1024,
      static_cast<double>(before) / 1024);
  if (!isComplete(counter, block, count)) std::puts("FAILED: something was lost");
  if (most == 0 || most >= kMostKiB) std::puts("FAILED: not under 64 MiB");
  return isComplete(counter, block, count) && most > 0 && most < kMostKiB ? 0 : 1;
}
