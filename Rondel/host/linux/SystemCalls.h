// SPDX-License-Identifier: MIT
//
// The one seam between the host services and Linux. It is a table of their calls on descriptors,
// children, events and threads. Files are reached through the table of
// core/system/internal/FileCalls.h, which has the reading, writing and closing of all descriptors.
//
// Tests exchange entries to make a call fail or come up short that does not do so for real. Each
// entry behaves as its manual page says, errno included.
#pragma once

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>

#include "Rondel/core/system/internal/SystemCall.h"

namespace rondel::internal {

struct SystemCalls {
  SystemCall<int(int* ends, int flags)> pipe2;
  SystemCall<int(int fd, int command, int argument)> fcntl;
  SystemCall<int(pollfd* descriptors, nfds_t count, int milliseconds)> poll;

  SystemCall<int(int flags)> epoll_create1;
  SystemCall<int(int poller, int operation, int fd, epoll_event* event)> epoll_ctl;
  SystemCall<int(int poller, epoll_event* events, int capacity, int milliseconds)> epoll_wait;
  SystemCall<int(unsigned value, int flags)> eventfd;

  SystemCall<int(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const* arguments,
                 char* const* environment)>
      posix_spawn;
  // As the system has it, with what the child has used.
  SystemCall<int(idtype_t kind, id_t which, siginfo_t* result, int options, rusage* usage)> waitid;
  SystemCall<int(pid_t pid, int signal)> kill;
  SystemCall<int(pid_t pid, unsigned flags)> pidfd_open;
  SystemCall<int(int pidfd, int signal, siginfo_t* information, unsigned flags)> pidfd_send_signal;
  SystemCall<int(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                 void* argument)>
      pthread_create;
};

extern SystemCalls systemCalls;

}  // namespace rondel::internal
