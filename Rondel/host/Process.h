// SPDX-License-Identifier: MIT
//
// HxTask: one child process, from its launch to its exit.
//
//   auto task = HxTask::init();
//   task->setLaunchPath("/bin/ls"_hx);
//   task->setArguments(HxArray::arrayWithObjects({"-l"_hx}));
//   center->addObserver<&Lister::ended>(this, HxTaskDidTerminateNotification, task);
//   task->launch();  // raises HxException if it cannot be started
//
// The child. It gets descriptors 0, 1 and 2 and no others. Those that were not set are the host's
// own, or /dev/null if the host has closed its own. All its signals have their default action and
// none is blocked, whatever the host does with its own. A file that the system cannot execute is a
// launch that fails, not a child that exits.
//
// The launch. It either fails and leaves nothing, or there is a child whose exit is reported.
// Nothing that comes after the start of the child can fail. The first launch of a process makes a
// thread, which stays. The system may refuse to watch a child (EMFILE, ENFILE, ENOMEM, a seccomp
// filter). Then this thread asks for the exit every 20 ms.
//
// The exit. The run loop of the thread that launched sees it, in the common modes. It posts
// HxTaskDidTerminateNotification once, after the reads that were ready by then. The library has no
// SIGCHLD handler and waits for its own children only. So it lives beside hosts that handle theirs.
// Other code may take the exit status, or the system drops it because the host ignores SIGCHLD.
// Then the child is lost: it is reported as ended with status -1. If the system refuses to report
// the exit, that is logged once and tried again.
//
// Dropping. The object of a running child may be dropped. The child runs on, and nothing is posted.
// The library waits for its exit in the background, so that it leaves no zombie.
//
// Threads: set up, launch and observe on one thread. Any thread may send signals, wait and ask.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"

namespace rondel {

class HxRunLoop;

// Posted once after the child's exit was seen, with the task as object.
inline constexpr HxString HxTaskDidTerminateNotification = "HxTaskDidTerminateNotification"_hx;
// The name of the exception that launch raises.
inline constexpr HxString HxTaskLaunchException = "HxTaskLaunchException"_hx;

enum class HxTaskTerminationReason {
  none,    // not launched, or still running
  exit,    // ended by itself; terminationStatus is its exit code
  signal,  // ended by a signal; terminationStatus is the signal's number
  lost,    // ended, but its status is unknown; terminationStatus is -1
};

// What a child has used, with the descendants that it waited for (getrusage, POSIX and Linux).
struct HxTaskResourceUsage {
  double userSeconds = 0;    // of processor time, in the programs
  double systemSeconds = 0;  // of processor time, in the system on their behalf
  // The most memory that one of them held at once. At least that of the host at the launch, whose
  // memory Linux counts until the child executes its file.
  HxUInteger peakResidentBytes = 0;
  HxUInteger pageFaultsWithoutInput = 0;
  HxUInteger pageFaultsWithInput = 0;  // those that had to read from a disk
  HxUInteger voluntaryContextSwitches = 0;
  HxUInteger involuntaryContextSwitches = 0;
};

class RONDEL_EXPORT HxTask final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  static Ref<HxTask> init();

  // ---- Before the launch. Setting anything later has no effect on the child.

  // Sets the file to execute. PATH is not searched (see HxPathOfProgram); a relative path starts
  // from the host's working directory.
  void setLaunchPath(const HxString& path);
  // Sets the child's working directory; nil for the host's.
  void setCurrentDirectoryPath(const HxString& path);
  // Sets the arguments after the first, which is the launch path; nil for none.
  void setArguments(const HxArray& arguments);
  // Sets all variables of the child, strings by name; nil for those of the host, empty for none.
  void setEnvironment(const HxDictionary& environment);
  // Sets where the child reads and writes: a pipe, of which it gets the end that fits, or a handle.
  // Null means the host's own. The same pipe or handle may be set more than once. The launch closes
  // the host's copies of the pipe ends that the child has got.
  void setStandardInput(const Ref<HxPipe>& pipe);
  void setStandardInput(const Ref<HxFileHandle>& handle);
  void setStandardOutput(const Ref<HxPipe>& pipe);
  void setStandardOutput(const Ref<HxFileHandle>& handle);
  void setStandardError(const Ref<HxPipe>& pipe);
  void setStandardError(const Ref<HxFileHandle>& handle);
  // Sets whether the child leads a new process group; false by default.
  void setStartsNewProcessGroup(bool flag);
  // Sets processor types in order of preference, for files that hold code for several. Linux has no
  // such files: the list is kept and has no effect.
  void setPreferredArchitectures(const HxArray& cpuTypes);

  // ---- Running

  // Starts the child. Raises HxException (HxTaskLaunchException) if that fails. The reason names
  // the path or the directory concerned and ends with the system's words. A failed launch leaves
  // nothing and may be tried again. Raises HxInvalidArgumentException for a second launch. Raises
  // it also for texts that the system cannot take (a NUL, a lone surrogate, what is no string). The
  // same holds for names of variables that are empty or contain "=".
  void launch();

  // Returns whether the child was launched and has not exited, as the system says at this moment.
  // The notification of an exit may still be due.
  bool isRunning() const;

  // Sends a signal to the child. Returns whether it was sent. False if the child is not running, so
  // that no signal reaches another process, and if the system refuses. 0 sends nothing, and asks.
  bool sendSignal(int signal);
  // Sends a signal to all processes of the group that the child leads (setStartsNewProcessGroup).
  // Returns whether it was sent. False if the child leads none, and once its exit was seen. The
  // process group id may then mean another group.
  bool sendSignalToProcessGroup(int signal);
  // Sends SIGTERM, or SIGINT, to a running child.
  void terminate();
  void interrupt();
  // Sends SIGTERM, and SIGKILL if the child still runs after so many seconds: at once for 0, less
  // and NaN. No run loop is needed for that, and dropping the task does not prevent it.
  void terminateWithGraceTime(HxTimeInterval seconds);

  // Runs the current run loop in its default mode until the child has exited. On the thread that
  // launched, it goes on until the notification was posted. Returns at once if nothing was
  // launched.
  void waitUntilExit();
  // Does so until `limit` at the latest: nil and past dates allow one pass without waiting. Returns
  // whether waitUntilExit would return at once; false if nothing was launched.
  bool waitUntilExitBeforeDate(const HxDate& limit);

  // ---- Afterwards

  // Returns the exit code, the number of the signal, or -1; see HxTaskTerminationReason. 0 before
  // the exit was seen.
  int terminationStatus() const;
  HxTaskTerminationReason terminationReason() const;
  // Returns the status word of waitpid (POSIX); -1 before the exit was seen and for a lost child.
  int _platformExitInformation() const;
  // Returns what the child has used; zeros before the exit was seen and for a lost child.
  HxTaskResourceUsage resourceUsage() const;
  // Returns the child's pid, also after its exit; 0 before the launch.
  int processIdentifier() const;
  int _procid() const { return processIdentifier(); }

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxTask();
  ~HxTask() override;
  static bool childMayHaveExited(HxObject& task);
  bool waitOnOtherThread(const Ref<HxRunLoop>& loop, const HxDate& limit);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
