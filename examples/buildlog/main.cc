// SPDX-License-Identifier: MIT
//
// buildlog: runs a command and shows its output line by line, numbered and timed.
//
//   buildlog [--quiet] [--directory DIR] [--input FILE] [--settings FILE] [-D NAME=VALUE]
//            (--command "ONE STRING" | -- COMMAND [ARG...])
//   buildlog --help
//
// With settings, references like $(NAME) in the command stand for their values, before ONE STRING
// is split; what is not set is empty. A settings file holds lines like NAME = VALUE; later files
// win over earlier ones, and -D over all of them.
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
