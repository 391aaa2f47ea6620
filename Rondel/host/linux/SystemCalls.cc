// SPDX-License-Identifier: MIT
#include "Rondel/host/linux/SystemCalls.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // has no C linkage of its own in glibc 2.36
}

namespace rondel::internal {

constinit SystemCalls systemCalls = {
    .pipe2 = ::pipe2,
    .fcntl = +[](int fd, int command, int argument) { return ::fcntl(fd, command, argument); },
    .poll = ::poll,
    .epoll_create1 = ::epoll_create1,
    .epoll_ctl = ::epoll_ctl,
    .epoll_wait = ::epoll_wait,
    .eventfd = +[](unsigned value, int flags) { return ::eventfd(value, flags); },
    .posix_spawn = ::posix_spawn,
    .waitid =
        +[](idtype_t kind, id_t which, siginfo_t* result, int options, rusage* usage) {
          return static_cast<int>(::syscall(SYS_waitid, kind, which, result, options, usage));
        },
    .kill = ::kill,
    .pidfd_open = ::pidfd_open,
    .pidfd_send_signal = ::pidfd_send_signal,
    .pthread_create = ::pthread_create,
};

}  // namespace rondel::internal
