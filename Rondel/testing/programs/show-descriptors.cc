// SPDX-License-Identifier: MIT

// show-descriptors: prints the numbers of its open descriptors in one line, as in "0 1 2".

#include <fcntl.h>

#include <cstdio>

int main() {
  constexpr int kFarBeyond = 70'000;
  const char* separator = "";
  for (int number = 0; number < kFarBeyond; ++number) {
    if (fcntl(number, F_GETFD) < 0) continue;
    std::printf("%s%d", separator, number);
    separator = " ";
  }
  std::puts("");
}
