// SPDX-License-Identifier: MIT
//
// The command line of buildlog.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"

struct Options {
  rondel::HxArray command;     // the program and its arguments
  rondel::HxString directory;  // nil for the present one
  rondel::HxString inputPath;  // nil for no input
  bool isQuiet = false;
  bool wantsHelp = false;  // then nothing else is told
};

// False, after one line on standard error, when the arguments are not as they should be.
bool readOptions(int argc, char** argv, Options& options);
// One line on standard output.
void printHelp();
