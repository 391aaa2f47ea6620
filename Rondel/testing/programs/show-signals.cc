// SPDX-License-Identifier: MIT

// show-signals: prints, in one line, the numbers of the signals that are ignored, then "/", then
// those that are blocked. With the argument "group" it prints whether it leads its process group.

#include <unistd.h>

#include <csignal>
#include <cstdio>

int main(int argc, char**) {
  if (argc > 1) {
    std::puts(getpgrp() == getpid() ? "leader" : "member");
    return 0;
  }
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < SIGRTMIN; ++number) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) std::printf("%d ", number);
  }
  std::printf("/");
  for (int number = 1; number < SIGRTMIN; ++number) {
    if (sigismember(&blocked, number) == 1) std::printf(" %d", number);
  }
  std::puts("");
}
