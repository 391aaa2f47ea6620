// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FileCalls.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace rondel::internal {

constinit FileCalls fileCalls = {
    .open = +[](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    .read = ::read,
    .write = ::write,
    .close = ::close,
    .fstat = ::fstat,
    .fchmod = ::fchmod,
    .fsync = ::fsync,
    .flock = ::flock,
    .mmap = ::mmap,
    .munmap = ::munmap,
    .stat = ::stat,
    .lstat = ::lstat,
    .readlink = ::readlink,
    .access = ::access,
    .faccessat = ::faccessat,
    .realpath = ::realpath,
    .mkdir = ::mkdir,
    .rename = ::rename,
    .unlink = ::unlink,
};

}  // namespace rondel::internal
