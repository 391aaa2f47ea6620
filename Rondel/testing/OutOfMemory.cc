// SPDX-License-Identifier: MIT
#include "Rondel/testing/OutOfMemory.h"

#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>
#include <string_view>

#include "Rondel/testing/ResourceListener.h"

namespace rondel::test {
namespace {

using Work = std::function<std::string()>;

constexpr std::size_t kEveryOneUpTo = 300;
constexpr std::size_t kStepAbove = 10;
constexpr unsigned kSecondsUntilHung = 100;
constexpr int kGraceRounds = 300;
constexpr int kQuietRounds = 30;  // without a change, until nothing more is expected
constexpr useconds_t kGraceRoundMicroseconds = 1000;

// What a child tells its parent, in memory that both share.
struct Report {
  enum class Outcome { none, passed, survived, failed };
  Outcome outcome;
  AllocationFailure failure;
  ProcessResources atRest;  // of a child that has run the work
  char text[4000];          // the result that is right, or the fault

  void end(Outcome how, std::string_view what) {
    outcome = how;
    const std::size_t length = std::min(what.size(), sizeof text - 1);
    std::memcpy(text, what.data(), length);
    text[length] = '\0';
  }
  void fail(std::string_view fault) { end(Outcome::failed, fault); }
};

class SharedReport {
 public:
  SharedReport()
      : _memory(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                     -1, 0)) {}
  ~SharedReport() { munmap(_memory, sizeof(Report)); }
  SharedReport(const SharedReport&) = delete;
  SharedReport& operator=(const SharedReport&) = delete;
  Report* operator->() const { return static_cast<Report*>(_memory); }
  Report& operator*() const { return *static_cast<Report*>(_memory); }

 private:
  void* const _memory;
};

// A file in memory that takes standard error, of the children as well, while it lives.
class Console {
 public:
  Console()
      : _descriptor(memfd_create("standard error", MFD_CLOEXEC)),
        _former(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
    dup2(_descriptor, STDERR_FILENO);
  }
  ~Console() {
    dup2(_former, STDERR_FILENO);
    close(_former);
    close(_descriptor);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void clear() const {
    if (ftruncate(_descriptor, 0) == 0) lseek(_descriptor, 0, SEEK_SET);
  }
  std::string text() const {
    char buffer[8000];
    const ssize_t length = pread(_descriptor, buffer, sizeof buffer, 0);
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  }

 private:
  const int _descriptor;
  const int _former;
};

// ---- In the child -----------------------------------------------------------------------------

struct Holdings {
  ProcessResources resources = ProcessResources::now();
  std::size_t blocks = heapBlocksInUse();

  bool isMoreThan(const Holdings& before) const {
    return resources != before.resources || blocks > before.blocks;
  }
  std::string text() const { return resources.text() + ", " + std::to_string(blocks) + " blocks"; }
};

// What is wrong with the outcome of the work; empty if nothing is.
std::string faultOfResult(const Work& work, const std::string& expected, bool mayThrow) {
  try {
    const std::string result = work();
    return result == expected ? "" : "it returned \"" + result + "\", not \"" + expected + "\"";
  } catch (const std::bad_alloc&) {
    return mayThrow ? "" : "it threw std::bad_alloc";
  } catch (const std::exception& exception) {
    return std::string("it threw \"") + exception.what() + "\"";
  }
}

// The run in which an allocation fails. Its own texts may fail, too.
std::string faultWhileFailing(const Work& work, const std::string& expected, std::size_t n,
                              bool lasting, Report& report) {
  std::string result;
  bool isBadAllocation = false;
  bool hasFailed = false;
  std::string fault;
  failAllocation(n, lasting, &report.failure);
  try {
    result = work();
    hasFailed = endAllocationFailure();
  } catch (const std::bad_alloc&) {
    hasFailed = endAllocationFailure();
    isBadAllocation = true;
  } catch (const std::exception& exception) {
    hasFailed = endAllocationFailure();
    fault = std::string("it threw \"") + exception.what() + "\"";
  }
  report.outcome = hasFailed ? Report::Outcome::survived : Report::Outcome::passed;
  if (!fault.empty() || isBadAllocation || result == expected) return fault;
  return "it returned \"" + result + "\", not \"" + expected + "\"";
}

// Waits for the children and threads that the work has left to their end. Returns what then stays.
ProcessResources resourcesAtRest() {
  ProcessResources last = ProcessResources::now();
  for (int quietRounds = 0; quietRounds < kQuietRounds || last.children > 0; ++quietRounds) {
    usleep(kGraceRoundMicroseconds);
    const ProcessResources now = ProcessResources::now();
    if (now != last) quietRounds = 0;
    last = now;
  }
  return last;
}

// Waits until nothing of the work is under way any more.
void waitForRest(const ProcessResources& atRest) {
  for (int round = 0; round < kGraceRounds && ProcessResources::now() != atRest; ++round) {
    usleep(kGraceRoundMicroseconds);
  }
}

void runInChild(const Work& work, const std::string& expected, std::size_t n, bool lasting,
                Report& report) {
  const Holdings before;
  if (const auto fault = faultWhileFailing(work, expected, n, lasting, report); !fault.empty()) {
    return report.fail(fault);
  }
  if (report.outcome == Report::Outcome::passed) return;
  waitForRest(before.resources);
  if (const auto fault = faultOfResult(work, expected, false); !fault.empty()) {
    return report.fail("in the run after it, " + fault);
  }
  Holdings after;
  for (int round = 0; round < kGraceRounds && after.isMoreThan(before); ++round) {
    usleep(kGraceRoundMicroseconds);
    after = Holdings();
  }
  if (after.isMoreThan(before)) {
    report.fail("it began with " + before.text() + " and left " + after.text());
  }
}

// ---- In the parent ----------------------------------------------------------------------------

// How far the program lies from where it was linked.
std::uintptr_t programBase() {
  std::uintptr_t base = 0;
  dl_iterate_phdr(
      [](dl_phdr_info* program, std::size_t, void* result) {
        *static_cast<std::uintptr_t*>(result) = program->dlpi_addr;
        return 1;  // the first is enough
      },
      &base);
  return base;
}

bool isOfHarness(std::string_view line) {
  return line.find("AllocationCounter.cc") != std::string_view::npos;
}

bool isCallOfWork(std::string_view line) {
  return line.find("std::__invoke_impl") != std::string_view::npos;
}

// The stack as text, one function a line, from the allocation to the work.
std::string stackText(const AllocationFailure& failure) {
  std::ostringstream command;
  command << "addr2line -Cfpis -e /proc/" << getpid() << "/exe" << std::hex;
  // The return address lies after the call.
  for (int i = 0; i < failure.frameCount; ++i) {
    command << " 0x" << reinterpret_cast<std::uintptr_t>(failure.frames[i]) - 1 - programBase();
  }
  command << " 2>&1";
  std::string text;
  if (FILE* const lines = popen(command.str().c_str(), "r")) {
    char line[500];
    while (std::fgets(line, sizeof line, lines) && !isCallOfWork(line)) {
      if (!isOfHarness(line)) text += std::string("  ") + line;
    }
    pclose(lines);
  }
  return text;
}

std::string endOfChild(int status) {
  if (!WIFSIGNALED(status)) return "";
  const int signal = WTERMSIG(status);
  return signal == SIGALRM ? "it did not end"
                           : std::string("it was killed by SIG") + sigabbrev_np(signal);
}

// Where the work runs before its allocations fail, to fill what the process keeps.
enum class WarmUpIn { parent, child };

class Torture {
 public:
  Torture(const Work& work, WarmUpIn warmUpIn) : _work(work), _warmUpIn(warmUpIn) {
    failAllocation(1, false);  // loads what that keeps
    endAllocationFailure();
  }

  // The first fault; empty if there is none.
  std::string run() {
    if (const auto fault = findResult(); !fault.empty()) {
      return "With memory enough: " + fault + "\n" + _console.text();
    }
    for (const bool lasting : {false, true}) {
      for (std::size_t n = 1;; n += n < kEveryOneUpTo ? 1 : kStepAbove) {
        const std::string fault = faultAt(n, lasting);
        if (!fault.empty()) {
          return "Allocation " + std::to_string(n) + (lasting ? " and all later ones" : "") +
                 " failed: " + fault + "\n" + _console.text();
        }
        if (_report->outcome == Report::Outcome::passed) break;
      }
    }
    return "";
  }

  std::string stack() const { return "It failed in\n" + stackText(_report->failure); }

 private:
  // What is wrong with the work by itself; empty if nothing is.
  std::string findResult() {
    if (_warmUpIn == WarmUpIn::parent) {
      _expected = _work();
      return faultOfResult(_work, _expected, false);
    }
    const std::string fault = faultInChild([this] {
      _report->end(Report::Outcome::passed, _work());
      _report->atRest = resourcesAtRest();
    });
    _expected = _report->text;
    _atRest = _report->atRest;
    return fault;
  }

  std::string faultAt(std::size_t n, bool lasting) {
    return faultInChild([&] {
      if (_warmUpIn == WarmUpIn::child) {
        _work();
        waitForRest(_atRest);
      }
      runInChild(_work, _expected, n, lasting, *_report);
    });
  }

  std::string faultInChild(const std::function<void()>& body) {
    *_report = {};
    _console.clear();
    const pid_t child = fork();
    if (child == 0) {
      alarm(kSecondsUntilHung);
      body();
      _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return "no child could be run";
    const std::string end = endOfChild(status);
    if (!end.empty()) return end;
    if (_report->outcome == Report::Outcome::failed) return _report->text;
    return _report->outcome == Report::Outcome::none ? "it ended the process" : "";
  }

  const Work& _work;
  const WarmUpIn _warmUpIn;
  std::string _expected;
  ProcessResources _atRest;  // of a child that has run the work
  SharedReport _report;
  Console _console;
};

// The fault and its stack; empty if there is none.
std::string faultWithStack(const Work& work, WarmUpIn warmUpIn) {
  Torture torture(work, warmUpIn);
  const std::string fault = torture.run();
  return fault.empty() ? "" : fault + torture.stack();
}

}  // namespace

::testing::AssertionResult survivesOutOfMemory(const std::function<std::string()>& work) {
  const std::string fault = faultWithStack(work, WarmUpIn::parent);
  if (fault.empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << fault;
}

std::string faultOutOfMemory(const std::function<std::string()>& work) {
  return Torture(work, WarmUpIn::parent).run();
}

void exitOutOfMemory(const std::function<std::string()>& work) {
  const std::string fault = faultWithStack(work, WarmUpIn::child);
  std::fputs(fault.c_str(), stderr);
  _exit(fault.empty() ? 0 : 1);
}

}  // namespace rondel::test
