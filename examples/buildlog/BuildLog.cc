// SPDX-License-Identifier: MIT
#include "BuildLog.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/ProgramPath.h"
#include "Rondel/host/RunLoop.h"

using namespace rondel;

namespace {

double monotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

HxString withoutTerminator(const HxString& line) {
  HxUInteger end = line.length();
  line.getLineStart(nullptr, nullptr, &end, {0, 0});
  return line.substringToIndex(end);
}

void print(std::FILE* file, const HxString& text) {
  const std::string_view ascii = text.asciiView();
  if (ascii.data()) {
    std::fwrite(ascii.data(), 1, ascii.size(), file);
  } else {
    const std::string bytes = text.toStdString();
    std::fwrite(bytes.data(), 1, bytes.size(), file);
  }
}

}  // namespace

BuildLog::BuildLog(const Options& options) : _options(options) {}

int BuildLog::run() {
  if (!prepare()) return kCannotRun;
  _interrupts = HxSignalSource::scheduledSourceWithSignal<&BuildLog::interrupted>(SIGINT, this);
  Ref<HxTimer> statusTimer;
  if (isatty(STDOUT_FILENO)) {
    statusTimer =
        HxTimer::scheduledTimerWithTimeInterval<&BuildLog::showStatus>(0.1, this, nullptr, true);
  }
  _start = monotonicSeconds();
  _task->startTask();
  if (!_hasFailed) sendInput();
  while (!_hasFailed && !_isOver) {
    HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
    std::fflush(stdout);
  }
  if (statusTimer) statusTimer->invalidate();
  if (_hasFailed) return kCannotRun;
  hideStatus();
  const int status = exitStatus();
  printSummary(status);
  _task->setDelegate(nullptr);
  return status;
}

bool BuildLog::failToStart(const HxString& format, const HxString& what) {
  taskFailureMessage(nullptr, HxString::stringWithFormat(format, what));
  return false;
}

bool BuildLog::prepare() {
  const HxString name = _options.command.objectAtIndex<HxString>(0);
  const HxString program = HxPathOfProgram(name);
  if (!program) return failToStart("cannot find %@ along PATH"_hx, name);
  if (_options.inputPath) {
    _input = HxData::initWithContentsOfFile(_options.inputPath);
    if (!_input) return failToStart("cannot read %@"_hx, _options.inputPath);
    _task->performWritesInBackground();
  } else {
    _task->setTaskStdInputFileHandle(HxFileHandle::fileHandleWithNullDevice());
  }
  const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
  const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
  lines->setLineStreamConsumer(this);
  decoder->setCharacterStreamConsumer(lines);
  _task->byteStream()->setByteStreamConsumer(decoder);
  _task->setDelegate(this);
  _task->setTaskPath(program);
  _task->setTaskArguments(_options.command.subarrayWithRange({1, _options.command.count() - 1}));
  _task->setTaskCurrentDirectory(_options.directory);
  return true;
}

void BuildLog::sendInput() {
  if (!_input) return;
  if (!_input.isEmpty()) _task->sendDataToTask(_input);
  _task->closeInputAfterWrites();
}

// ---- Ctrl-C -------------------------------------------------------------------------------------

// The first one asks the command to stop what it does, the second one to end. What it has started
// is asked too: the command leads a process group of its own, which the terminal does not reach.
// A command that has ended, or does not care, is not waited for any longer.
void BuildLog::interrupted(HxSignalSource&) {
  if (_task->isRunning()) {
    const bool isFirst = ++_interruptCount == 1;
    _task->sendSignalToProcessGroup(isFirst ? SIGINT : SIGTERM);
    if (!isFirst) _task->stopTask();
  } else {
    _isOver = true;
  }
}

// ---- What is shown ------------------------------------------------------------------------------

double BuildLog::secondsSinceStart() const { return monotonicSeconds() - _start; }

void BuildLog::streamProcessLine(ZevMoStream*, const HxString& line) {
  ++_lines;
  if (line.rangeOfString("warning:"_hx, HxLiteralSearch).length > 0) ++_warnings;
  if (line.rangeOfString("error:"_hx, HxLiteralSearch).length > 0) ++_errors;
  if (_options.isQuiet) return;
  hideStatus();
  std::printf("%4lu  %.3fs  ", _lines, secondsSinceStart());
  print(stdout, withoutTerminator(line));
  std::putchar('\n');
}

void BuildLog::showStatus(HxTimer&) {
  std::printf("\r\033[K%lu lines, %lu warnings, %lu errors, %.1fs", _lines, _warnings, _errors,
              secondsSinceStart());
  std::fflush(stdout);
  _isStatusShown = true;
}

void BuildLog::hideStatus() {
  if (_isStatusShown) std::fputs("\r\033[K", stdout);
  _isStatusShown = false;
}

void BuildLog::taskFailureMessage(ZevMoTask*, const HxString& message) {
  _hasFailed = true;
  std::fputs("buildlog: ", stderr);
  print(stderr, message);
  std::fputc('\n', stderr);
}

int BuildLog::exitStatus() const {
  if (_task->hxTask()->isRunning()) return 128 + SIGINT;
  const int status = _task->platformExitInformation();
  if (status != -1 && WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return _task->terminationStatus();
}

void BuildLog::printSummary(int status) const {
  std::printf("buildlog: %lu lines, %lu warnings, %lu errors, status %d, %.2fs\n", _lines,
              _warnings, _errors, status, secondsSinceStart());
}
