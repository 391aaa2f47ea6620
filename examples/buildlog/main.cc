// SPDX-License-Identifier: MIT
//
// buildlog: runs a command and shows its output line by line, numbered and timed.
//
//   buildlog [--quiet] [--directory DIR] [--input FILE] (--command "ONE STRING" | -- COMMAND
//   [ARG...])
//   buildlog --help
//
// A COMMAND without a slash is looked up along PATH. One with a slash and no root, like FILE,
// starts from where buildlog was called, not from DIR.
//
// It exits with the command's status, 128 plus the signal's number when it was killed, 127 when it
// could not be started, and 64 when its own arguments are wrong.
#include "BuildLog.h"

int main(int argc, char** argv) {
  constexpr int kUsageError = 64;  // EX_USAGE of sysexits.h
  Options options;
  if (!readOptions(argc, argv, options)) return kUsageError;
  if (options.wantsHelp) {
    printHelp();
    return 0;
  }
  return rondel::makeRef<BuildLog>(options)->run();
}
