// SPDX-License-Identifier: MIT
//
// The one seam between the host services and the system: a table of the calls that they make.
//
// Tests put their own functions into the table to make a call fail or come up short that cannot be
// made to do so for real. They change it only while no other thread uses it. Each function behaves
// as its manual page says, errno included.
#pragma once

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/types.h>
#include <sys/wait.h>

namespace rondel::internal {

struct SystemCalls {
  ssize_t (*read)(int descriptor, void* buffer, size_t length);
  ssize_t (*write)(int descriptor, const void* bytes, size_t length);
  int (*close)(int descriptor);
  int (*pipe2)(int* ends, int flags);
  int (*fcntl)(int descriptor, int command, int argument);
  int (*poll)(pollfd* descriptors, nfds_t count, int milliseconds);

  int (*epoll_create1)(int flags);
  int (*epoll_ctl)(int poller, int operation, int descriptor, epoll_event* event);
  int (*epoll_wait)(int poller, epoll_event* events, int capacity, int milliseconds);
  int (*eventfd)(unsigned value, int flags);

  int (*posix_spawn)(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                     const posix_spawnattr_t* attributes, char* const* arguments,
                     char* const* environment);
  int (*waitid)(idtype_t kind, id_t which, siginfo_t* result, int options);
  int (*kill)(pid_t process, int signal);
  int (*pidfd_open)(pid_t process, unsigned flags);
  int (*pidfd_send_signal)(int process, int signal, siginfo_t* information, unsigned flags);
  int (*pthread_create)(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                        void* argument);
};

extern SystemCalls systemCalls;

}  // namespace rondel::internal
