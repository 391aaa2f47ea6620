// SPDX-License-Identifier: MIT
#include "Rondel/core/report/Log.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>
#include <string>

#include "Rondel/core/object/internal/Mutex.h"

namespace rondel {

namespace {

constinit std::atomic<HxLogOutput> outputInCharge{nullptr};

class KeptErrno {
 public:
  KeptErrno() noexcept : _kept(errno) {}
  KeptErrno(const KeptErrno&) = delete;
  KeptErrno& operator=(const KeptErrno&) = delete;
  ~KeptErrno() { errno = _kept; }

 private:
  const int _kept;
};

// How long to wait for a full console whose descriptor does not block.
constexpr int kPatienceMilliseconds = 1000;

// Returns whether the console has room again.
bool waitForConsole() {
  pollfd console{STDERR_FILENO, POLLOUT, 0};
  int ready;
  do {
    ready = poll(&console, 1, kPatienceMilliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

// Blocks SIGPIPE on this thread, so that a console without a reader ends no process. Leaves a
// SIGPIPE alone that the caller blocks and that is already pending.
class HeldBrokenPipe {
 public:
  HeldBrokenPipe() noexcept {
    sigemptyset(&_signal);
    sigaddset(&_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &_signal, &_former);
    sigset_t pending;
    _wasPending = sigismember(&_former, SIGPIPE) == 1 && sigpending(&pending) == 0 &&
                  sigismember(&pending, SIGPIPE) == 1;
  }
  HeldBrokenPipe(const HeldBrokenPipe&) = delete;
  HeldBrokenPipe& operator=(const HeldBrokenPipe&) = delete;
  ~HeldBrokenPipe() { pthread_sigmask(SIG_SETMASK, &_former, nullptr); }

  // Takes the pending signal of a refused write.
  void forget() noexcept {
    constexpr timespec kAtOnce{};
    if (_wasPending) return;
    while (sigtimedwait(&_signal, nullptr, &kAtOnce) < 0 && errno == EINTR) {
    }
  }

 private:
  sigset_t _signal;
  sigset_t _former;
  bool _wasPending;
};

// Skips bytes that were written.
void advance(iovec*& piece, int& count, std::size_t written) {
  while (count > 0 && written >= piece->iov_len) {
    written -= piece->iov_len;
    ++piece;
    --count;
  }
  if (count == 0) return;
  piece->iov_base = static_cast<char*>(piece->iov_base) + written;
  piece->iov_len -= written;
}

// Standard error, as all threads write to it.
class Console {
 public:
  constexpr Console() noexcept = default;

  // Writes a line in one call of the system, or in more if that takes only a part. Drops what
  // cannot be written. The first piece is kept for the console.
  void write(iovec* pieces, int count) {
    static char lineEnd = '\n';
    const internal::MutexLock held(_lock);
    HeldBrokenPipe brokenPipe;
    pieces[0] = {&lineEnd, _lineIsCut ? 1U : 0U};
    while (count > 0) {
      const ssize_t written = writev(STDERR_FILENO, pieces, count);
      if (written >= 0) {
        advance(pieces, count, static_cast<std::size_t>(written));
        _wasGivenUp = false;
        _lineIsCut = count > 0;
      } else if (errno == EAGAIN) {
        _wasGivenUp = _wasGivenUp || !waitForConsole();
        if (_wasGivenUp) return;
      } else if (errno != EINTR) {
        if (errno == EPIPE) brokenPipe.forget();
        return;
      }
    }
  }

 private:
  internal::Mutex _lock;
  bool _wasGivenUp RONDEL_GUARDED_BY(_lock) = false;  // full for so long that no line waits for it
  bool _lineIsCut RONDEL_GUARDED_BY(_lock) = false;
};

constinit Console console;

// Writes "2026-11-21 07:20:46.123 name[1234] " and returns its length. Cuts an absurdly long name.
std::size_t writePrefix(char* buffer, std::size_t size) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  const int length =
      std::snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d %s[%d] ",
                    local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                    local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000000),
                    program_invocation_short_name, static_cast<int>(getpid()));
  return std::min(static_cast<std::size_t>(std::max(length, 0)), size - 1);
}

void writeLine(const HxString& message) {
  char prefix[320];
  const std::size_t prefixLength = writePrefix(prefix, sizeof prefix);
  std::string converted;
  std::string_view text = message.asciiView();
  if (!text.data()) text = converted = message.toStdString();
  char end = '\n';
  iovec pieces[] = {
      {}, {prefix, prefixLength}, {const_cast<char*>(text.data()), text.size()}, {&end, 1}};
  console.write(pieces, std::size(pieces));
}

}  // namespace

void HxLogv(const HxString& format, HxArguments arguments) {
  if (!format) return;
  const KeptErrno kept;
  try {
    const HxString message = HxString::initWithFormatArguments(format, arguments);
    const HxLogOutput output = outputInCharge.load();
    if (output) {
      output(message);
    } else {
      writeLine(message);
    }
  } catch (const std::bad_alloc&) {
    // The line is dropped.
  }
}

HxLogOutput HxSetLogOutput(HxLogOutput output) noexcept { return outputInCharge.exchange(output); }

}  // namespace rondel
