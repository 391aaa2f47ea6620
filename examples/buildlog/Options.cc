// SPDX-License-Identifier: MIT
#include "Options.h"

#include <getopt.h>

#include <cstdio>
#include <string>

#include "Rondel/additions/CommandLine.h"
#include "Settings.h"

using namespace rondel;

namespace {

constexpr char kUsage[] =
    "usage: buildlog [--quiet] [--directory DIR] [--input FILE] [--settings FILE] "
    "[-D NAME=VALUE] (--command \"ONE STRING\" | -- COMMAND [ARG...])";

// `word` is the one that is wrong, empty when none is.
bool complain(const char* what, const char* word = "") {
  std::fprintf(stderr, "buildlog: %s%s; %s\n", what, word, kUsage);
  return false;
}

constexpr option kOptions[] = {
    {"quiet", no_argument, nullptr, 'q'},
    {"directory", required_argument, nullptr, 'd'},
    {"input", required_argument, nullptr, 'i'},
    {"command", required_argument, nullptr, 'c'},
    {"settings", required_argument, nullptr, 's'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

// Bytes of the command line as text; those that are not UTF-8 are taken as ISO 8859-1.
HxString textOf(const char* bytes) {
  const HxString text = HxString::stringWithUTF8String(bytes);
  return text ? text : HxString::stringWithCString(bytes, HxHaldenOSRomanStringEncoding);
}

HxMutableArray wordsOf(char** words, int count) {
  HxMutableArray result = HxMutableArray::array();
  for (int i = 0; i < count; ++i) result.addObject(textOf(words[i]));
  return result;
}

// False after one line on standard error, unless the problem is nil.
bool isFine(const HxString& problem) {
  if (problem) std::fprintf(stderr, "buildlog: %s\n", problem.toStdString().c_str());
  return !problem;
}

// With the references of each in place of what they stand for.
bool expandAll(HxMutableArray& texts, const Settings& settings) {
  for (HxUInteger i = 0; settings.areGiven() && i < texts.count(); ++i) {
    HxString text = texts.objectAtIndex<HxString>(i);
    if (!isFine(settings.expand(text))) return false;
    texts.replaceObjectAtIndex(i, text);
  }
  return true;
}

// The command, in one string or in what is left of the words.
bool readCommand(const HxString& string, char** words, int count, const Settings& settings,
                 Options& options) {
  if (string && count > 0) return complain("a command is given twice");
  HxMutableArray texts = wordsOf(words, count);
  texts.addObject(string);
  if (!expandAll(texts, settings)) return false;
  options.command =
      string ? arrayByParsingAsCommandLineArguments(texts.objectAtIndex<HxString>(0)) : texts;
  return options.command.isEmpty() ? complain("no command is given") : true;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options) {
  HxString command;
  Settings settings;
  opterr = 0;
  for (;;) {
    const char* const word = argv[optind];
    switch (getopt_long(argc, argv, "+:D:", kOptions, nullptr)) {
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
      case 's':
        if (!isFine(settings.readFile(textOf(optarg)))) return false;
        break;
      case 'D':
        if (!isFine(settings.define(textOf(optarg)))) return false;
        break;
      case 'h':
        return options.wantsHelp = true;
      case ':':
        return complain("an option lacks its value: ", word);
      case '?':
        return complain("unknown option: ", word);
      default:
        return readCommand(command, argv + optind, argc - optind, settings, options);
    }
  }
}

void printHelp() { std::puts(kUsage); }
