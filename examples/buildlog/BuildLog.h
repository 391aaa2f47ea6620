// SPDX-License-Identifier: MIT
//
// Runs the command, prints its lines with number and time, and counts warnings and errors.
#pragma once

#include "Options.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/host/SignalSource.h"
#include "Rondel/host/Timer.h"

class BuildLog final : public rondel::HxObject,
                       public rondel::ZevMoLineStreamConsuming,
                       public rondel::ZevMoTaskDelegate {
 public:
  explicit BuildLog(const Options& options);

  // Gives the exit status for the shell.
  int run();

  void streamProcessLine(rondel::ZevMoStream*, const rondel::HxString& line) override;
  void streamDidEnd(rondel::ZevMoStream*) override {}
  void taskDidStart(rondel::ZevMoTask*) override {}
  void taskOutputData(rondel::ZevMoTask*, const rondel::HxData&) override {}
  void taskFailureMessage(rondel::ZevMoTask*, const rondel::HxString& message) override;
  void taskDidStop(rondel::ZevMoTask*, bool) override { _isOver = true; }

 private:
  static constexpr int kCannotRun = 127;  // as a shell says it

  bool prepare();
  bool failToStart(const rondel::HxString& format, const rondel::HxString& what);
  void sendInput();
  void interrupted(rondel::HxSignalSource&);
  void showStatus(rondel::HxTimer&);
  void hideStatus();
  double secondsSinceStart() const;
  int exitStatus() const;
  void printSummary(int status) const;

  const Options _options;
  const rondel::Ref<rondel::ZevMoTask> _task = rondel::ZevMoTask::init();
  rondel::HxData _input;
  rondel::Ref<rondel::HxSignalSource> _interrupts;
  double _start = 0;
  unsigned long _lines = 0;
  unsigned long _warnings = 0;
  unsigned long _errors = 0;
  unsigned _interruptCount = 0;
  bool _hasFailed = false;
  bool _isOver = false;
  bool _isStatusShown = false;
};
