// SPDX-License-Identifier: MIT
#include "Options.h"

#include <getopt.h>

#include <cstdio>

#include "Rondel/additions/CommandLine.h"

using namespace rondel;

namespace {

bool complain(const char* what) {
  std::fprintf(stderr,
               "buildlog: %s; usage: buildlog [--quiet] [--directory DIR] [--input FILE] "
               "(--command \"ONE STRING\" | -- COMMAND [ARG...])\n",
               what);
  return false;
}

constexpr option kOptions[] = {
    {"quiet", no_argument, nullptr, 'q'},
    {"directory", required_argument, nullptr, 'd'},
    {"input", required_argument, nullptr, 'i'},
    {"command", required_argument, nullptr, 'c'},
    {nullptr, 0, nullptr, 0},
};

// Bytes of the command line as text; those that are not UTF-8 are taken as ISO 8859-1.
HxString textOf(const char* bytes) {
  const HxString text = HxString::stringWithUTF8String(bytes);
  return text ? text : HxString::stringWithCString(bytes, HxHaldenOSRomanStringEncoding);
}

HxArray wordsOf(char** words, int count) {
  HxMutableArray result = HxMutableArray::array();
  for (int i = 0; i < count; ++i) result.addObject(textOf(words[i]));
  return result;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options) {
  HxString command;
  opterr = 0;
  for (int letter; (letter = getopt_long(argc, argv, "+:", kOptions, nullptr)) != -1;) {
    switch (letter) {
      case 'q':
        options.isQuiet = true;
        break;
      case 'd':
        options.directory = textOf(optarg);
        break;
      case 'i':
        options.inputPath = textOf(optarg);
        break;
      case 'c':
        command = textOf(optarg);
        break;
      case ':':
        return complain("an option lacks its value");
      default:
        return complain("unknown option");
    }
  }
  if (command && optind < argc) return complain("a command is given twice");
  options.command = command ? arrayByParsingAsCommandLineArguments(command)
                            : wordsOf(argv + optind, argc - optind);
  return options.command.isEmpty() ? complain("no command is given") : true;
}
