// SPDX-License-Identifier: MIT

// kill-self SIGNAL: ends by this signal.

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>

int main(int argc, char** argv) {
  const rlimit noCore = {};
  setrlimit(RLIMIT_CORE, &noCore);
  return argc > 1 ? raise(std::atoi(argv[1])) : 0;
}
