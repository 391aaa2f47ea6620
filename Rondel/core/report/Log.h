// SPDX-License-Identifier: MIT
//
// HxLog: lines on the process's console log, which is standard error.
//
//   HxLog("%@: %d lines"_hx, path, count);
//
// A line is "2026-11-21 07:20:46.123 name[1234] text": local date and time, the process's name and
// number, then the formatted message; line ends inside it stay. Each call is one write of whole
// lines, so that lines of several threads and processes do not mix. Logging never fails as far as
// the caller can see, and keeps errno; a console that nobody reads any more sends no SIGPIPE. Any
// thread may log.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// Writes one formatted line. A nil format writes nothing.
RONDEL_EXPORT void HxLogv(const HxString& format, HxArguments arguments);

template <class... Arguments>
void HxLog(const HxString& format, const Arguments&... arguments) {
  HxLogv(format, HxArgumentPack(arguments...));
}

// Where the formatted messages go, without date and process; null for standard error. Gives the
// former one. For tests and for tools with a log of their own. The function may be called on any
// thread, and on several at once.
using HxLogOutput = void (*)(const HxString& message);
RONDEL_EXPORT HxLogOutput HxSetLogOutput(HxLogOutput output) noexcept;

}  // namespace rondel
