// SPDX-License-Identifier: MIT
//
// Where a program is, as a shell would find it.
//
//   const HxString path = HxPathOfProgram("cc"_hx);
//   if (!path) HxLog("cc: %s"_hx, strerror(errno));
//   task->setLaunchPath(path);
//
// The search is that of POSIX (Base Definitions 8.3, execvp). The search path is a list of
// directories, separated by colons and tried in order. An empty one means the working directory.
// Names are bytes: the unchanged UTF-8 of the name. Directories whose bytes are not UTF-8 cannot be
// returned as text, so they are left out.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the path of the first regular file of this name that the process may execute. The search
// path is the environment variable PATH, or the system's own (confstr) if that is not set. The
// result is relative if the directory that it was found in is. A name with a slash is not searched
// for. It is returned as it is, whether there is such a file or not.
//
// Returns nil, with errno set, if there is none: ENOENT, or EACCES if there are files of this name
// but none may be executed; EINVAL for nil; EILSEQ for names with a NUL or a lone surrogate. As
// with getenv, no other thread may change the environment meanwhile.
RONDEL_EXPORT HxString HxPathOfProgram(const HxString& name);

// Does so along `searchPath`. Nil has no directories, the empty string has one.
RONDEL_EXPORT HxString HxPathOfProgram(const HxString& name, const HxString& searchPath);

}  // namespace rondel
