// SPDX-License-Identifier: MIT
//
// ZevMoTask runs one child process. It feeds the child's input and pushes its output into a byte
// stream. It reports to its delegate, exactly once, that the child has exited and its last output
// has been seen.
//
//   Ref<ZevMoTask> task = ZevMoTask::init();
//   task->setDelegate(this);
//   task->setTaskPath("/usr/bin/cc"_hx);
//   task->setTaskArguments(HxArray::arrayWithObjects({"-c"_hx, "main.c"_hx}));
//   task->byteStream()->setByteStreamConsumer(decoder);   // or leave it, and take task:outputData:
//   task->startTask();
//   while (!task->runIsOver()) {                          // or task->waitUntilExit()
//     HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantFuture());
//   }
//
// Output and error output are always one channel. What the child writes reaches the stream in
// chunks, one at a time. The next read is armed after the consumer has finished with a chunk.
// Nothing is buffered here.
//
// Runs. A run is under way from a successful launch until taskDidStop, or until it is abandoned.
// cleanupAfterTask, setDelegate(nullptr) and dropping the task abandon it. None of these signals
// the child. One that still runs is reaped in the background after its exit. taskDidStop comes
// after two events, in either order: the child's exit, and the end of its output. The output ends
// when the child and all its descendants have closed it, which has no time limit. It also ends when
// closeTaskHandles closes it here, and when another output handle is set. Starting while a run is
// under way fails a check ("!_runIsUnderWay") and does nothing. A later start first drops the
// process object and the pipes that the earlier run made itself. Handles that were supplied stay.
// After a failed launch the task holds the pipes that it made, until the next start or
// cleanupAfterTask.
//
// Threads. A task belongs to the thread that starts it, which must run its run loop. Each thread
// may have its own tasks. Everything happens on that thread: launch, notifications, every
// delegate call and every send. Only background writes have a separate thread, one for each run.
//
// Ownership. Only its owners keep a task. If it calls out in a pass of the run loop, it also keeps
// itself until that pass ends. So a delegate may drop its last reference in the callback. A task
// whose owners have all gone reads no more and gets no event. Delegates, owners of supplied output
// handles and consumers of byteStream() are forgotten when they are destroyed. The run goes on
// without them. Destroy them on the task's thread.
//
// Errors. A failed start is reported by task:failureMessage:, and nothing else follows for that
// start. A write in the foreground raises HxException to the caller of sendDataToTask; in the
// background it is dropped silently. Output that the run loop refuses to watch ends,
// with a line through HxLog.
//
// What a delegate or a consumer raises passes through to whoever called startTask or runs the run
// loop. The task does its part before. After a raise in taskDidStart it arms the read and sends the
// automatic input. After one in a chunk it arms the next read. After one in the stream's end it
// calls taskDidStop. So every run that has started ends with one taskDidStop. If the second of two
// such calls raises too, its exception passes through, and the first one is lost.
#pragma once

#include "Rondel/Streams/Stream.h"
#include "Rondel/Streams/internal/ZeroingReference.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"

namespace rondel {

class HxNotification;
class ZevMoTask;

namespace internal {
class TaskWriter;
}

// Hears of one task, or of several. A delegate has all four operations; the task calls them without
// asking.
class RONDEL_EXPORT ZevMoTaskDelegate : public internal::Referent {
 public:
  // Called after a successful launch, before reading begins. isRunning() is still false: stopTask
  // does nothing and data is not sent.
  virtual void taskDidStart(ZevMoTask* task) = 0;
  // Takes a chunk of output, never empty. Called only while byteStream() has no consumer.
  virtual void taskOutputData(ZevMoTask* task, const HxData& data) = 0;
  // Called if the task could not be started. Nothing else follows for this start. The task may be
  // started again here.
  virtual void taskFailureMessage(ZevMoTask* task, const HxString& message) = 0;
  // Called once, at the end of a run that started. `stopRequested` says whether stopTask took
  // effect. The run is over by then: the task may be started again here.
  virtual void taskDidStop(ZevMoTask* task, bool stopRequested) = 0;

 protected:
  ~ZevMoTaskDelegate() = default;
};

// Implemented by the owner of an output handle that the task does not read itself.
class RONDEL_EXPORT ZevMoTaskSynchronizedFileHandle : public internal::Referent {
 public:
  // Called after the child has exited: stop watching.
  virtual void taskDidStopForSynchronizedFileHandle() = 0;
  // Returns whether all output has been received. If not, the run ends with the owner's call of
  // synchronizedFileHandleDidReceivedLastData.
  virtual bool didSynchronizedFileHandleReceiveLastData() = 0;
  // Called when the task is destroyed, cleans up or gets another owner. Forget the pointer to it.
  // The task may be in its destructor: do not retain it. Raise nothing.
  virtual void synchronizedTaskWillGo(ZevMoTask*) {}

 protected:
  ~ZevMoTaskSynchronizedFileHandle() = default;
};

class RONDEL_EXPORT ZevMoTask : public HxObject, public ZevMoByteStreamConsuming {
 public:
  static Ref<ZevMoTask> init();
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // ---- Configuration, before the run starts; nothing is copied ---------------------------------

  // Sets the executable, an absolute or relative path. It is not looked up in PATH.
  void setTaskPath(const HxString& path) { _taskPath = path; }
  HxString taskPath() const { return _taskPath; }
  // Sets the working directory; nil for that of this process.
  void setTaskCurrentDirectory(const HxString& directory) { _taskDirectory = directory; }
  HxString taskCurrentDirectory() const { return _taskDirectory; }
  // Sets the arguments: strings, without the executable's own name; nil for none.
  void setTaskArguments(const HxArray& arguments) { _taskArgs = arguments; }
  HxArray taskArguments() const { return _taskArgs; }
  // Sets the whole environment of the child; nil for that of this process, empty for an empty one.
  void setTaskEnvironment(const HxDictionary& environment) { _taskEnv = environment; }
  HxDictionary taskEnvironment() const { return _taskEnv; }
  // Sets what startTask sends to the child, after which it closes the child's input. With
  // background writes the close waits for the data. Otherwise startTask blocks until the data is
  // written, and lets the exception of a failed write through after the close.
  void setTaskAutomaticStandardInData(const HxData& data) { _taskAutoStdinData = data; }
  HxData taskAutomaticStandardInData() const { return _taskAutoStdinData; }
  // Sets the cpu types (HxNumber) in order of preference, for executables that hold several. By
  // default one element, -1 for any.
  void setPreferredArchitectures(const HxArray& types) { _preferredArchitectures = types; }
  HxArray preferredArchitectures() const { return _preferredArchitectures; }
  // Sets whether the child leads a new process group; true by default. A child in another
  // group than the terminal's is stopped by the system when it reads the terminal.
  void setStartsNewProcessGroup(bool flag) { _startsNewProcessGroup = flag; }
  bool startsNewProcessGroup() const { return _startsNewProcessGroup; }
  // Sets the delegate, which is not owned. Null also runs cleanupAfterTask. A delegate that is
  // destroyed is forgotten, and the run goes on.
  void setDelegate(ZevMoTaskDelegate* delegate);
  // Returns null if there is no delegate or it has gone.
  ZevMoTaskDelegate* delegate() const { return _delegate.get(); }
  // Sets the owner of a supplied output handle, which is not owned. The former owner, if another,
  // gets synchronizedTaskWillGo. cleanupAfterTask and the destructor send it to the present one,
  // and clear it. An owner that is destroyed is forgotten. If one is gone, was taken back, or
  // raised when it was asked for its last data, the run ends with the next
  // synchronizedFileHandleDidReceivedLastData or with cleanupAfterTask.
  void setSynchronizedFileHandleDelegate(ZevMoTaskSynchronizedFileHandle* owner);
  ZevMoTaskSynchronizedFileHandle* synchronizedFileHandleDelegate() const {
    return _synchronizedFileHandleDelegate.get();
  }
  // Sets the child's standard input instead of a pipe made for it; nil for the pipe.
  void setTaskStdInputFileHandle(const Ref<HxFileHandle>& handle);
  // Sets the child's output and error output instead of a pipe made for it. With `readTaskOutput`
  // the task reads the handle itself. The handle that is set already changes nothing, flag
  // included. While a run is under way its output ends with this, and the handle is for the next
  // run.
  void setTaskStdOutputFileHandleReadTaskOutput(const Ref<HxFileHandle>& handle,
                                                bool readTaskOutput);
  // Accepted and ignored: output and error are always one.
  void setCapturesStandardOutput(bool) {}
  void setCapturesStandardError(bool) {}
  // Makes sendDataToTask queue its data for a separate thread. A child that does not read then
  // cannot block the run loop. From then on SIGPIPE is ignored in the whole process. Call it before
  // startTask; a second call does nothing. It holds for all runs of this task. Raises HxException
  // if no thread can be made, and then writes stay in the foreground.
  void performWritesInBackground();

  // ---- Running ---------------------------------------------------------------------------------

  // Launches with the settings above, then sends the automatic input. Does nothing, after a failed
  // check, while a run is under way. A failed start is reported to the delegate. This raises only
  // what a delegate raises, or a write of the automatic input in the foreground.
  void startTask();
  // The launch proper. Null directory, arguments, environment and architectures leave the defaults.
  void executeTaskAtPath(const HxString& path, const HxString& directory, const HxArray& arguments,
                         const HxDictionary& environment, const HxArray& preferredArchitectures);
  void executeTaskAtPath(const HxString& path, const HxString& directory, const HxArray& arguments,
                         const HxDictionary& environment);
  // Asks the running child to end (SIGTERM); the delegate gets the end with stopRequested true.
  // Does nothing if it is not running.
  void stopTask();
  // Sends SIGINT, and changes no state.
  void interruptTask();
  // Sends SIGTERM, and SIGKILL if the child still runs after so many seconds: at once for 0, less
  // and NaN. The delegate gets the end with stopRequested true. Works in taskDidStart and after
  // stopTask, too. Does nothing if the child is not running. The kill needs no run loop, and
  // dropping the task does not prevent it.
  void terminateWithGraceTime(HxTimeInterval seconds);
  // Sends a signal to the child, or to all processes of the group that it leads. Both return
  // whether it was sent, and change no state. They never reach a process that got the pid after the
  // child; see HxTask. The group is reached until the child's exit is seen.
  bool sendSignal(int signal);
  bool sendSignalToProcessGroup(int signal);
  // Runs the run loop in the default mode until the child has exited. Then it runs this task's
  // reads alone, for at most half a second. Returns at once if there is no process object. It waits
  // for ever if the child reads an input that nobody closes. In taskDidStart that holds for the
  // automatic input, too, which is sent after that call.
  void waitUntilExit();
  // Does so until `limit` at the latest: nil and past dates allow one pass without waiting. Returns
  // whether the child has exited; false if there is none. The last output may still be due; ask
  // runIsOver.
  bool waitUntilExitBeforeDate(const HxDate& limit);
  // Closes both handles of the task. If the task reads the output, that ends it. After the child's
  // exit taskDidStop then comes before this returns. Before, it comes with the exit. Do not close
  // taskStandardOutput() directly: after the exit such a run gets no stop.
  void closeTaskHandles();
  // Drops everything that belongs to the run. Sends synchronizedTaskWillGo to the owner of a
  // supplied output handle, and forgets it. It neither signals the child nor waits for it.
  void cleanupAfterTask();

  // ---- Input to the child ----------------------------------------------------------------------

  // Sends data to the child; dropped silently unless the child is running. With background writes
  // it is queued. Otherwise it is written at once, which blocks, and raises HxException if the
  // write fails. Do not send empty data: with background writes it is the end mark.
  //
  // At the child's exit a background writer drops what waits, cuts off a write under way, and
  // closes the input. A descendant that still reads it sees its end.
  void sendDataToTask(const HxData& data);
  // Sends the string's file-system representation, without its NUL. A string with a lone surrogate
  // has none, and sends nothing.
  void sendStringAsCStringToTask(const HxString& string);
  // Closes the child's input after everything that was sent has been written, so that the child
  // sees its end. At once without background writes, or after these have ended.
  void closeInputAfterWrites();
  // Sends the data. A task may be a stream's consumer. The stream's end does not close the child's
  // input: call closeInputAfterWrites after that end. A task that consumes its own output needs
  // background writes. One in the foreground may wait for a read that never comes.
  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamDidEnd(ZevMoStream*) override {}

  // ---- Questions -------------------------------------------------------------------------------

  // Returns the exit status, or the number of the signal that killed the child (see HxTask).
  // Returns -1 if the status was lost. 0 until the exit was seen.
  std::int32_t terminationStatus() const { return _terminationStatus; }
  // Returns the host's own form of the exit status (that of waitpid), -1 without a process object.
  std::int32_t platformExitInformation() const;
  // Returns whether the child was started and neither its exit was seen nor stopTask called. The
  // last output may still be due when this turns false: to wait for the end, ask runIsOver. During
  // taskDidStart it is false; after an exit that was seen in there it stays so.
  bool isRunning() const { return _taskIsRunning; }
  // Returns whether a start was made whose outcome is known: the run has stopped, could not start
  // or was abandoned. Nothing more of it is reported then. The one exception is a cleanup in the
  // stream's end: taskDidStop still follows. False before the first start. True during taskDidStop
  // and task:failureMessage:. Wait for this if you turn the run loop yourself.
  bool runIsOver() const { return _wasStarted && !_runIsUnderWay; }
  // Returns what the child has used. Zeros before its exit was seen, for a lost child and without a
  // process object.
  HxTaskResourceUsage resourceUsage() const;
  // Returns the child's pid, 0 without a process object.
  int processID() const;
  // Returns the process object of the current run, null without one.
  Ref<HxTask> hxTask() const { return _task; }
  // Returns the source of the output, named "task output stream". It lives as long as the task.
  const Ref<ZevMoByteStream>& byteStream() const { return _byteStream; }
  // Returns null after a background write was refused or cut off.
  Ref<HxFileHandle> taskStandardInput() const;
  Ref<HxFileHandle> taskStandardOutput() const { return _fromTaskHandle; }
  Ref<HxFileHandle> taskStandardError() const { return _fromTaskHandle; }
  // Returns path and arguments with blanks between them, unquoted.
  HxString description() const override;

  // Takes the owner's report that all output was received. Deliberate: the name is spelt so in the
  // contract.
  void synchronizedFileHandleDidReceivedLastData();

  // ---- Architectures ---------------------------------------------------------------------------

  // Returns the cpu type of an architecture name; nil for nil and for unknown names.
  static HxNumber _cpuTypeForArch(const HxString& name);
  // Returns the name of a cpu type; nil for nil and for unknown types.
  static HxString _cpuStringForCPUSubType(const HxNumber& type);
  // Returns the canonical name of an architecture name: "arm" for "armv7".
  static HxString cpuTypeStringForArch(const HxString& name);
  // Map in order, without what is unknown.
  static HxArray cpuTypesForArchStrings(const HxArray& names);
  static HxArray architecturesForCPUTypes(const HxArray& types);

  // ---- Run-loop modes --------------------------------------------------------------------------

  // Returns a mode name that no other task has; and takes it back. Every task holds one for life.
  static HxString checkoutRunLoopMode();
  static void checkInRunLoopMode(const HxString& mode);

 protected:
  ZevMoTask();
  ~ZevMoTask() override;

 private:
  class Listener;
  class SelfShare;
  // A mode that no other task has, for the life of its owner.
  struct OwnMode {
    const HxString name = checkoutRunLoopMode();
    ~OwnMode() { checkInRunLoopMode(name); }
  };

  void failToStart(const HxString& message);
  void forgetEarlierRun();
  void run(const HxString& path, const HxString& directory, const HxArray& arguments,
           const HxDictionary& environment, const HxArray& preferredArchitectures);
  bool prepareStandardInput();
  bool prepareOutput();
  void configure(const HxString& path, const HxString& directory, const HxArray& arguments,
                 const HxDictionary& environment);
  bool launch(const HxString& path);
  void beginRunning(HxUInteger runNumber);
  void sendAutomaticInput();
  void dropProcess();
  void stopObservingOutput();

  void startReading();
  void outputDidEnd();
  bool hasOutputEnded() const;
  void passOn(const HxData& data);
  void endBackgroundWrites();
  void notifyOwnerOfExit();
  void notifyDelegateOfStop(HxUInteger runNumber);
  HxAny keptAlive() noexcept;
  void keepAliveThisTurn() noexcept;
  bool isForsaken() const;

  void fileActivityNotification(const HxNotification& notification);
  void taskDidTerminate(const HxNotification& notification);
  void _sendDidStop();
  bool isWritable() const;

  internal::ZeroingReference<ZevMoTaskDelegate> _delegate;
  const Ref<Listener> _listener;
  Ref<HxTask> _task;
  Ref<HxPipe> _toTaskPipe;
  Ref<HxPipe> _fromTaskPipe;
  Ref<HxFileHandle> _fromTaskHandle;  // read here, or written by the child if it was supplied
  Ref<HxFileHandle> _toTaskHandle;    // written here, or read by the child if it was supplied
  HxString _taskPath;
  HxString _taskDirectory;
  HxArray _taskArgs;
  HxDictionary _taskEnv;
  HxData _taskAutoStdinData;
  Ref<ZevMoByteStream> _byteStream;
  OwnMode _dataCaptureRunLoopMode;
  HxArray _readModes;  // the default mode and _dataCaptureRunLoopMode
  internal::ZeroingReference<ZevMoTaskSynchronizedFileHandle> _synchronizedFileHandleDelegate;
  Ref<internal::TaskWriter> _writer;  // of this run, if _writesInBackground
  HxArray _preferredArchitectures;
  SelfShare* _selfShare = nullptr;  // clears this when it goes
  HxUInteger _runNumber = 0;        // of the latest start
  std::int32_t _terminationStatus = 0;
  bool _writesInBackground = false;
  bool _readTaskOutput = false;
  bool _runReadsOutput = false;  // as _readTaskOutput was when the run began
  bool _stopRequested = false;
  bool _wasStarted = false;
  bool _runIsUnderWay = false;
  bool _taskIsRunning = false;
  bool _gotTaskTerminationNotification = false;
  bool _gotLastFileNotification = false;
  bool _didSendStop = false;
  bool _startsNewProcessGroup = true;
};

}  // namespace rondel
