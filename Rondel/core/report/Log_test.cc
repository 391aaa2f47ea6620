// SPDX-License-Identifier: MIT
#include "Rondel/core/report/Log.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace rondel {
namespace {

using ::testing::MatchesRegex;

// Standard error led into a pipe for the life of this object.
class Console {
 public:
  // O_DIRECT makes a pipe that keeps writes apart: each read returns one of them.
  explicit Console(int pipeFlags = 0) : _former(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | pipeFlags) != 0) throw std::runtime_error("no pipe");
    _reading = ends[0];
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console() {
    restore();
    closeReadingEnd();
  }
  void closeReadingEnd() {
    if (_reading >= 0) close(std::exchange(_reading, -1));
  }

  // From here on the pipe has no writer.
  void restore() {
    if (_former < 0) return;
    dup2(_former, STDERR_FILENO);
    close(std::exchange(_former, -1));
  }

  std::string readOnce() {
    std::string text(65536, '\0');
    const ssize_t count = read(_reading, text.data(), text.size());
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
  }
  std::string readToEnd() {
    std::string all;
    for (std::string piece = readOnce(); !piece.empty(); piece = readOnce()) all += piece;
    return all;
  }
  int readingEnd() const { return _reading; }

 private:
  int _former;
  int _reading = -1;
};

// Ends the line that a full console cut, so that the next console begins with a whole one.
void endTheCutLine() {
  Console console;
  HxLog("whole"_hx);
}

// A line without date, process and number.
std::string messageOf(const std::string& line) {
  const std::size_t bracket = line.find("] ");
  return bracket == std::string::npos ? line : line.substr(bracket + 2);
}

TEST(Log, ALineHasDateProcessAndNumber) {
  Console console;
  HxLog("%@: %d lines"_hx, "main.c"_hx, 12);
  const std::string expected = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} " +
                               std::string(program_invocation_short_name) + "\\[" +
                               std::to_string(getpid()) + "\\] main\\.c: 12 lines\n";
  EXPECT_THAT(console.readOnce(), MatchesRegex(expected));
}

TEST(Log, EachLineIsOneWrite) {
  Console console(O_DIRECT);
  HxLog("first"_hx);
  HxLog("second %@"_hx, "ä"_hx);
  EXPECT_EQ(messageOf(console.readOnce()), "first\n");
  EXPECT_EQ(messageOf(console.readOnce()), "second ä\n");
}

TEST(Log, TextIsWrittenAsUTF8) {
  Console console;
  HxLog("%@ %C|"_hx, "größe 😀"_hx, u'\xD800');
  EXPECT_EQ(messageOf(console.readOnce()), "größe 😀 \uFFFD|\n");
}

TEST(Log, LineEndsInsideStay) {
  Console console;
  HxLog("a\nb\n"_hx);
  EXPECT_EQ(messageOf(console.readOnce()), "a\nb\n\n");
}

TEST(Log, AnEmptyMessageIsALine) {
  Console console;
  HxLog(""_hx);
  EXPECT_EQ(messageOf(console.readOnce()), "\n");
}

TEST(Log, ANilFormatWritesNothing) {
  Console console;
  HxLog(HxString());
  HxLogv(nullptr, {});
  console.restore();
  EXPECT_EQ(console.readToEnd(), "");
}

TEST(Log, ALineLongerThanThePipeArrivesWhole) {
  for (const int flags : {0, O_NONBLOCK}) {
    Console console(flags);
    fcntl(console.readingEnd(), F_SETFL, 0);
    const std::string text(1 << 20, 'x');
    std::string line;
    std::thread reader([&] { line = console.readToEnd(); });
    HxLog("%s"_hx, text.c_str());
    console.restore();
    reader.join();
    EXPECT_EQ(messageOf(line), text + "\n");
  }
}

TEST(Log, AConsoleThatTakesNothingIsReturnnUp) {
  Console console(O_NONBLOCK);
  const std::string text(1 << 20, 'x');
  HxLog("%s"_hx, text.c_str());
  console.restore();
  const std::string taken = console.readToEnd();
  EXPECT_EQ(messageOf(taken), text.substr(0, messageOf(taken).size()));
  EXPECT_LT(taken.size(), text.size());
  endTheCutLine();
}

long timesThatThisThreadSlept() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

TEST(Log, AConsoleThatWasReturnnUpIsNotWaitedForAgain) {
  constexpr int kLines = 20;
  Console console(O_NONBLOCK);
  const std::string text(1 << 20, 'x');
  HxLog("%s"_hx, text.c_str());
  const long before = timesThatThisThreadSlept();
  for (int line = 0; line < kLines; ++line) HxLog("dropped"_hx);
  EXPECT_LT(timesThatThisThreadSlept() - before, kLines);
  console.readOnce();
  HxLog("taken"_hx);
  console.restore();
  std::string rest = console.readToEnd();
  EXPECT_EQ(rest.find("dropped"), std::string::npos);
  // The line that was cut has ended before the next one begins.
  ASSERT_GE(rest.size(), 6u);
  const std::string last = rest.substr(rest.rfind('\n', rest.size() - 2) + 1);
  EXPECT_EQ(messageOf(last), "taken\n");
}

TEST(Log, AClosedConsoleIsNoFailureAndErrnoIsKept) {
  Console console;
  const int kept = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  close(STDERR_FILENO);
  errno = ENOTTY;
  HxLog("nobody hears"_hx);
  EXPECT_EQ(errno, ENOTTY);
  dup2(kept, STDERR_FILENO);
  close(kept);
}

TEST(Log, AConsoleThatNobodyReadsEndsNoProcess) {
  struct sigaction former {};
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigaction(SIGPIPE, &standard, &former);
  {
    Console console;
    console.closeReadingEnd();
    errno = ENOTTY;
    HxLog("nobody hears"_hx);
    EXPECT_EQ(errno, ENOTTY);
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
  sigaction(SIGPIPE, &former, nullptr);
}

// One that the caller holds back for itself stays its own.
TEST(Log, APendingSignalOfTheCallerIsLeftAlone) {
  sigset_t held;
  sigset_t former;
  sigemptyset(&held);
  sigaddset(&held, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &held, &former);
  const auto isPending = [] {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  };
  {
    Console console;
    console.closeReadingEnd();
    HxLog("nobody hears"_hx);
    EXPECT_FALSE(isPending());
    pthread_kill(pthread_self(), SIGPIPE);
    HxLog("nobody hears"_hx);
    EXPECT_TRUE(isPending());
  }
  int signal = 0;
  sigwait(&held, &signal);
  EXPECT_EQ(signal, SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

TEST(Log, LinesOfSeveralThreadsDoNotMix) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  Console console;
  std::string all;
  std::thread reader([&] { all = console.readToEnd(); });
  std::vector<std::thread> writers;
  for (int i = 0; i < kThreads; ++i) {
    writers.emplace_back([i] {
      const std::string text(9000, static_cast<char>('a' + i));  // more than a pipe takes at once
      for (int k = 0; k < kLines; ++k) HxLog("%s"_hx, text.c_str());
    });
  }
  for (std::thread& writer : writers) writer.join();
  console.restore();
  reader.join();
  std::istringstream lines(all);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    const std::string text = messageOf(line);
    ASSERT_EQ(text, std::string(9000, text[0]));
  }
  EXPECT_EQ(count, kThreads * kLines);
}

std::string heard;

TEST(Log, AnOutputGetsTheMessageAlone) {
  heard.clear();
  Console console;
  const HxLogOutput former =
      HxSetLogOutput([](const HxString& message) { heard += message.toStdString(); });
  HxLog("%d ä"_hx, 5);
  const HxLogOutput mine = HxSetLogOutput(former);
  EXPECT_EQ(heard, "5 ä");
  EXPECT_NE(mine, former);
  console.restore();
  EXPECT_EQ(console.readToEnd(), "");
}

TEST(Log, ErrnoIsKeptForAnOutputToo) {
  const HxLogOutput former = HxSetLogOutput([](const HxString&) { errno = EIO; });
  errno = ENOTTY;
  HxLog("text"_hx);
  EXPECT_EQ(errno, ENOTTY);
  HxSetLogOutput(former);
}

}  // namespace
}  // namespace rondel
