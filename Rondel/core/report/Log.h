// SPDX-License-Identifier: MIT
//
// HxLog: writes lines to the process's console log, which is standard error.
//
//   HxLog("%@: %d lines"_hx, path, count);
//
// A line is "2026-11-21 07:20:46.123 name[1234] text": local date and time, the process's name and
// pid, then the formatted message. Line ends inside the message stay. Each call is one write of
// whole lines, so that lines of several threads and processes do not mix.
//
// Logging reports no failure and keeps errno. A console without a reader sends no SIGPIPE. A full
// console is waited for. If its descriptor does not block, the wait ends after a second and the
// line is dropped. Lines after it are dropped at once until the console has room again. A line is
// dropped, too, if there is no memory for it.
//
// Any thread may log.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// Writes one formatted line. A nil format writes nothing.
RONDEL_EXPORT void HxLogv(const HxString& format, HxArguments arguments);

template <class... Arguments>
void HxLog(const HxString& format, const Arguments&... arguments) {
  HxLogv(format, HxArgumentPack(arguments...));
}

// Installs the function that gets the formatted messages, without date and process, or standard
// error if null. Returns the previous function, null for standard error. For tests, and for tools
// with their own log. The function may be called on any thread, and on several at once.
using HxLogOutput = void (*)(const HxString& message);
RONDEL_EXPORT HxLogOutput HxSetLogOutput(HxLogOutput output) noexcept;

}  // namespace rondel
