// SPDX-License-Identifier: MIT

// kill-self SIGNAL: ends by this signal.

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>

int main(int argc, char** argv) {
  const rlimit noCore = {};
  setrlimit(RLIMIT_CORE, &noCore);
  const int number = argc > 1 ? std::atoi(argv[1]) : 0;
  signal(number, SIG_DFL);  // the sanitizers catch some
  return raise(number);
}
