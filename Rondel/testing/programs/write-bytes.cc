// SPDX-License-Identifier: MIT

// write-bytes COUNT [CHUNK]: writes so many bytes to standard output, in writes of CHUNK (65536)
// bytes. The byte at offset n is n modulo 251.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
  constexpr std::size_t kPeriod = 251;
  std::size_t left = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 0;
  const std::size_t chunk = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 65536;
  std::vector<unsigned char> pattern(chunk + kPeriod);
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    pattern[at] = static_cast<unsigned char>(at % kPeriod);
  }
  std::size_t phase = 0;
  while (left > 0) {
    const ssize_t count = write(1, pattern.data() + phase, std::min(left, chunk));
    if (count < 0) return 1;
    phase = (phase + static_cast<std::size_t>(count)) % kPeriod;
    left -= static_cast<std::size_t>(count);
  }
}
