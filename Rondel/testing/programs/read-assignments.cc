// SPDX-License-Identifier: MIT

// read-assignments TEXT: prints the message on the first bad line, nothing when there is none.

#include <cstdio>
#include <string>

#include "Rondel/additions/SimpleAssignments.h"

using namespace rondel;

int main(int argc, char** argv) {
  HxString message;
  dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(
      HxString::stringWithUTF8String(argc > 1 ? argv[1] : ""), &message);
  std::fputs(message.toStdString().c_str(), stdout);
}
