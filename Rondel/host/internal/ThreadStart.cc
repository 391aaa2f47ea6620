// SPDX-License-Identifier: MIT
#include "Rondel/host/internal/ThreadStart.h"

#include <pthread.h>
#include <signal.h>

#include "Rondel/host/linux/SystemCalls.h"

namespace rondel::internal {
int startDetachedThread(void* (*body)(void*), void* argument) noexcept {
  pthread_attr_t attributes;
  const int error = pthread_attr_init(&attributes);
  if (error != 0) return error;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);

  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (const int signal : kSignalsOfFaults) sigdelset(&blocked, signal);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);  // a new thread inherits the mask
  pthread_t unused;
  const int result = systemCalls.pthread_create(&unused, &attributes, body, argument);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);

  pthread_attr_destroy(&attributes);
  return result;
}

}  // namespace rondel::internal
