// SPDX-License-Identifier: MIT
//
// HxTask: one child process, from its launch to its exit.
//
//   auto task = HxTask::init();
//   task->setLaunchPath("/bin/ls"_hx);
//   task->setArguments(HxArray::arrayWithObjects({"-l"_hx}));
//   center->addObserver<&Lister::ended>(this, HxTaskDidTerminateNotification, task);
//   task->launch();                      // raises HxException when it cannot be started
//
// The child. It gets descriptors 0, 1 and 2 and no others; those that were not set are the host's
// own, or /dev/null where the host has closed its own. Its signals all have their default action
// and none is blocked, whatever the host does with its own. A file that the system cannot execute
// is a launch that fails, not a child that exits.
//
// The exit. The run loop of the thread that launched sees it and posts
// HxTaskDidTerminateNotification once, in the common modes, after the reads that were ready by
// then. The library has no SIGCHLD handler and waits for its own children only, so it lives beside
// hosts that handle theirs. If the exit status is taken by somebody else, or thrown away because
// the host ignores SIGCHLD, the child counts as lost: it is told as ended with status -1.
//
// Dropping. The object of a running child may be dropped: the child runs on, nothing is posted, and
// the library waits for its exit in the background so that it leaves no zombie.
//
// Threads: set up, launch and observe on one thread. isRunning, terminate, interrupt and the
// queries may be called on any.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"

namespace rondel {

class HxRunLoop;
class HxTimer;

// Posted once when the child's exit was seen, with the task as object.
inline constexpr HxString HxTaskDidTerminateNotification = "HxTaskDidTerminateNotification"_hx;
// The name of what launch raises.
inline constexpr HxString HxTaskLaunchException = "HxTaskLaunchException"_hx;

enum class HxTaskTerminationReason {
  none,    // not launched, or still running
  exit,    // ended by itself; terminationStatus is its exit code
  signal,  // ended by a signal; terminationStatus is the signal's number
  lost,    // ended, but nobody can tell how; terminationStatus is -1
};

class RONDEL_EXPORT HxTask final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  static Ref<HxTask> init();

  // ---- Before the launch. Setting anything later has no effect on the child.

  // The file to execute. There is no search along PATH; a relative path starts from the host's
  // working directory.
  void setLaunchPath(const HxString& path);
  // The child's working directory; nil for the host's.
  void setCurrentDirectoryPath(const HxString& path);
  // The arguments behind the first, which is the launch path; nil for none.
  void setArguments(const HxArray& arguments);
  // All variables of the child, texts by name; nil for those of the host, empty for none.
  void setEnvironment(const HxDictionary& environment);
  // Where the child reads and writes: a pipe, of which it gets the end that fits, or a handle; null
  // for the host's own. The same pipe or handle may be given more than once. The launch closes, on
  // the host's side, the pipe ends that the child has got.
  void setStandardInput(const Ref<HxPipe>& pipe);
  void setStandardInput(const Ref<HxFileHandle>& handle);
  void setStandardOutput(const Ref<HxPipe>& pipe);
  void setStandardOutput(const Ref<HxFileHandle>& handle);
  void setStandardError(const Ref<HxPipe>& pipe);
  void setStandardError(const Ref<HxFileHandle>& handle);
  // Whether the child leads a process group of its own; false unless set.
  void setStartsNewProcessGroup(bool flag);
  // Processor types in order of preference, for files that hold code for several. Files of this
  // system never do: the list is kept and has no effect.
  void setPreferredArchitectures(const HxArray& cpuTypes);

  // ---- Running

  // Starts the child. Raises HxException (HxTaskLaunchException) when that fails; its reason names
  // the path or the directory concerned and gives the system's words. Nothing is left of a failed
  // launch, and it may be tried again. Launching twice, or with texts that cannot be handed to the
  // system (a NUL, a lone surrogate), raises HxInvalidArgumentException.
  void launch();

  // Whether the child was launched and has not exited, as the system says at this moment. The
  // notification may still be due when it has.
  bool isRunning() const;
  // Sends SIGTERM, or SIGINT, to the child. Nothing when it is not running, so that no signal ever
  // reaches another process.
  void terminate();
  void interrupt();
  // Runs the current run loop in its default mode until the child has exited and, on the thread
  // that launched, the notification was posted. Returns at once when nothing was launched.
  void waitUntilExit();

  // ---- Afterwards

  // The exit code, the number of the signal, or -1; see HxTaskTerminationReason. 0 before the exit
  // was seen.
  int terminationStatus() const;
  HxTaskTerminationReason terminationReason() const;
  // The status word of waitpid (POSIX); -1 before the exit was seen and for a lost child.
  int _platformExitInformation() const;
  // The child's process number, also after its exit; 0 before the launch.
  int processIdentifier() const;
  int _procid() const { return processIdentifier(); }

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxTask();
  ~HxTask() override;
  static bool childMayHaveExited(HxObject& task);
  void watchExitAgain(HxTimer& timer);
  void waitOnOtherThread(const Ref<HxRunLoop>& loop);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
