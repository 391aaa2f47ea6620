// SPDX-License-Identifier: MIT
//
// ZevMoTask runs one child process: it feeds its input, pushes its output into a byte stream, and
// tells its delegate, exactly once, when the child has exited and its last output has been seen.
//
//   Ref<ZevMoTask> task = ZevMoTask::init();
//   task->setDelegate(this);
//   task->setTaskPath("/usr/bin/cc"_hx);
//   task->setTaskArguments(HxArray::arrayWithObjects({"-c"_hx, "main.c"_hx}));
//   task->byteStream()->setByteStreamConsumer(decoder);   // or leave it, and take task:outputData:
//   task->startTask();
//   task->waitUntilExit();                                // or run the thread's run loop
//
// Output and error output are always one channel. What the child writes reaches the stream in
// chunks, one at a time: the consumer has finished with a chunk before the following read is armed.
// Nothing is buffered here.
//
// A child whose descendants keep its output open is not stopped, as far as the delegate hears,
// until they have closed it: there is no time limit. stopTask, setDelegate(nullptr) and dropping
// the task still work then.
//
// An object serves one run. End it with setDelegate(nullptr), which runs cleanupAfterTask, or by
// dropping it; neither signals the child. A child that is still running is then reaped behind the
// scenes when it exits.
//
// Threads. A task belongs to the thread that starts it, which must run its run loop; each thread
// may have tasks of its own. Everything happens on that thread: launch, notifications, every
// delegate call and every send. Only background writes have a thread of their own. Before each
// delegate call, and before the stream is ended, the task keeps itself alive until the current turn
// of the run loop is over, so a delegate may drop its last reference in the callback.
//
// Errors. What hinders the start is told by task:failureMessage:, and then nothing else follows for
// that run. A write in the foreground raises HxException to the caller of sendDataToTask; in the
// background it is dropped without a word. Output that the run loop refuses to watch counts as
// ended, with a line through HxLog. What a delegate or a consumer raises passes through to whom
// runs the run loop, and the run goes on.
#pragma once

#include "Rondel/Streams/Stream.h"
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

// Hears of one task. A delegate has all four operations; the task calls them without asking.
class ZevMoTaskDelegate {
 public:
  // After a successful launch, before reading begins. isRunning() is still false: stopTask does
  // nothing and data is not sent.
  virtual void taskDidStart(ZevMoTask* task) = 0;
  // A chunk of output, never empty; only while byteStream() has no consumer.
  virtual void taskOutputData(ZevMoTask* task, const HxData& data) = 0;
  // The task could not be started. Nothing else follows for this run.
  virtual void taskFailureMessage(ZevMoTask* task, const HxString& message) = 0;
  // Once, at the end of a run that started. `stopRequested` tells whether stopTask took effect.
  virtual void taskDidStop(ZevMoTask* task, bool stopRequested) = 0;

 protected:
  ~ZevMoTaskDelegate() = default;
};

// Kept by the owner of an output handle that the task does not read itself.
class ZevMoTaskSynchronizedFileHandle {
 public:
  // The child has exited: stop watching.
  virtual void taskDidStopForSynchronizedFileHandle() = 0;
  // Whether all output has been received.
  virtual bool didSynchronizedFileHandleReceiveLastData() = 0;

 protected:
  ~ZevMoTaskSynchronizedFileHandle() = default;
};

class RONDEL_EXPORT ZevMoTask : public HxObject, public ZevMoByteStreamConsuming {
 public:
  static Ref<ZevMoTask> init();
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // ---- Configuration, before the run starts; nothing is copied ---------------------------------

  // The executable, an absolute or relative path; it is not looked up in PATH.
  void setTaskPath(const HxString& path) { _taskPath = path; }
  HxString taskPath() const { return _taskPath; }
  // The working directory; nil for that of this process.
  void setTaskCurrentDirectory(const HxString& directory) { _taskDirectory = directory; }
  HxString taskCurrentDirectory() const { return _taskDirectory; }
  // Strings, without the executable's own name; nil for none.
  void setTaskArguments(const HxArray& arguments) { _taskArgs = arguments; }
  HxArray taskArguments() const { return _taskArgs; }
  // The whole environment of the child; nil for that of this process, empty for an empty one.
  void setTaskEnvironment(const HxDictionary& environment) { _taskEnv = environment; }
  HxDictionary taskEnvironment() const { return _taskEnv; }
  // Sent to the child by startTask, after which its input is closed. With background writes the
  // close may overtake the data.
  void setTaskAutomaticStandardInData(const HxData& data) { _taskAutoStdinData = data; }
  HxData taskAutomaticStandardInData() const { return _taskAutoStdinData; }
  // Cpu types (HxNumber) in order of preference, for executables that hold several. One element, -1
  // for any, at first.
  void setPreferredArchitectures(const HxArray& types) { _preferredArchitectures = types; }
  HxArray preferredArchitectures() const { return _preferredArchitectures; }
  // Whether the child leads a process group of its own; true at first.
  void setStartsNewProcessGroup(bool flag) { _startsNewProcessGroup = flag; }
  bool startsNewProcessGroup() const { return _startsNewProcessGroup; }
  // Not owned: the delegate must outlive the task or be taken back. Null also runs
  // cleanupAfterTask.
  void setDelegate(ZevMoTaskDelegate* delegate);
  ZevMoTaskDelegate* delegate() const { return _delegate; }
  // Not owned.
  void setSynchronizedFileHandleDelegate(ZevMoTaskSynchronizedFileHandle* owner) {
    _synchronizedFileHandleDelegate = owner;
  }
  ZevMoTaskSynchronizedFileHandle* synchronizedFileHandleDelegate() const {
    return _synchronizedFileHandleDelegate;
  }
  // The child's standard input, in place of a pipe made for it; nil for the pipe.
  void setTaskStdInputFileHandle(const Ref<HxFileHandle>& handle);
  // The child's output and error output, in place of a pipe made for it. With `readTaskOutput` the
  // task reads the handle itself. The handle that is set already changes nothing, flag included.
  void setTaskStdOutputFileHandleReadTaskOutput(const Ref<HxFileHandle>& handle,
                                                bool readTaskOutput);
  // Accepted and ignored: output and error are always one.
  void setCapturesStandardOutput(bool) {}
  void setCapturesStandardError(bool) {}
  // Makes sendDataToTask queue its data for a thread of its own, so that a child that does not read
  // cannot block the run loop. From then on SIGPIPE is ignored in the whole process. Call it before
  // startTask; a second call does nothing.
  void performWritesInBackground();

  // ---- Running ---------------------------------------------------------------------------------

  // Launches with the settings above, then sends the automatic input.
  void startTask();
  // The launch proper. Null directory, arguments, environment and architectures leave the defaults.
  void executeTaskAtPath(const HxString& path, const HxString& directory, const HxArray& arguments,
                         const HxDictionary& environment, const HxArray& preferredArchitectures);
  void executeTaskAtPath(const HxString& path, const HxString& directory, const HxArray& arguments,
                         const HxDictionary& environment);
  // Asks the running child to end (SIGTERM); the delegate hears of the end with stopRequested true.
  // Nothing when it is not running.
  void stopTask();
  // Sends SIGINT, and changes no state.
  void interruptTask();
  // Runs the run loop in the default mode until the child has exited, and then, for at most half a
  // second, this task's reads alone.
  void waitUntilExit();
  // Closes both handles of the task.
  void closeTaskHandles();
  // Drops everything that belongs to the run. It neither signals the child nor waits for it.
  void cleanupAfterTask();

  // ---- Input to the child ----------------------------------------------------------------------

  // Dropped without a word unless the child is running. With background writes it is queued,
  // otherwise written at once, which blocks and raises HxException when the write fails. Callers
  // must not send empty data: with background writes it is the end mark.
  void sendDataToTask(const HxData& data);
  // The string's file-system representation, without its NUL.
  void sendStringAsCStringToTask(const HxString& string);
  // Closes the child's input once everything that was sent has been written, so that the child sees
  // its end. At once without background writes.
  void closeInputAfterWrites();
  // A task may be a stream's consumer. The stream's end does not close the child's input.
  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamDidEnd(ZevMoStream*) override {}

  // ---- Questions -------------------------------------------------------------------------------

  // The exit status, or the number of the signal that killed the child (see HxTask); -1 when the
  // status was lost. Good once the exit was seen.
  std::int32_t terminationStatus() const { return _terminationStatus; }
  // The host's own form of the exit status (that of waitpid), -1 without a process object.
  std::int32_t platformExitInformation() const;
  bool isRunning() const { return _taskIsRunning; }
  // 0 without a process object.
  int processID() const;
  // The process object of the current run, null without one.
  Ref<HxTask> hxTask() const { return _task; }
  // The source of the output, named "task output stream"; lives as long as the task.
  const Ref<ZevMoByteStream>& byteStream() const { return _byteStream; }
  // Null once a background write was refused.
  Ref<HxFileHandle> taskStandardInput() const;
  Ref<HxFileHandle> taskStandardOutput() const { return _fromTaskHandle; }
  Ref<HxFileHandle> taskStandardError() const { return _fromTaskHandle; }
  // Path and arguments with blanks between them, unquoted.
  HxString description() const override;

  // By which the owner of a supplied output handle reports the last data; spelt so.
  void synchronizedFileHandleDidReceivedLastData();

  // ---- Architectures ---------------------------------------------------------------------------

  // Cpu type of an architecture name; nil for nil and for unknown names.
  static HxNumber _cpuTypeForArch(const HxString& name);
  // Name of a cpu type; nil for nil and for unknown types.
  static HxString _cpuStringForCPUSubType(const HxNumber& type);
  // The canonical name of an architecture name: "armv7" gives "arm".
  static HxString cpuTypeStringForArch(const HxString& name);
  // In order, without those that are unknown.
  static HxArray cpuTypesForArchStrings(const HxArray& names);
  static HxArray architecturesForCPUTypes(const HxArray& types);

  // ---- Run-loop modes --------------------------------------------------------------------------

  // A mode name that no other task has, and its return. Every task holds one for life.
  static HxString checkoutRunLoopMode();
  static void checkInRunLoopMode(const HxString& mode);

 protected:
  ZevMoTask();
  ~ZevMoTask() override;

 private:
  bool failToStart(const HxString& message);
  bool prepareStandardInput();
  bool prepareOutput();
  void configure(const HxString& path, const HxString& directory, const HxArray& arguments,
                 const HxDictionary& environment);
  void dropProcess();
  void stopObservingOutput();
  bool launch(const HxString& path);
  void startReading();
  void outputDidEnd();
  void passOn(const HxData& data);
  void keepAliveThisTurn();

  void fileActivityNotification(const HxNotification& notification);
  void taskDidTerminate(const HxNotification& notification);
  void _sendDidStop();
  bool isWritable() const;

  ZevMoTaskDelegate* _delegate = nullptr;  // not retained
  Ref<HxTask> _task;
  Ref<HxPipe> _toTaskPipe;
  Ref<HxPipe> _fromTaskPipe;
  Ref<HxFileHandle> _fromTaskHandle;  // read here, or written by the child when it was supplied
  Ref<HxFileHandle> _toTaskHandle;    // written here, or read by the child when it was supplied
  HxString _taskPath;
  HxString _taskDirectory;
  HxArray _taskArgs;
  HxDictionary _taskEnv;
  HxData _taskAutoStdinData;
  Ref<ZevMoByteStream> _byteStream;
  HxString _dataCaptureRunLoopMode;
  HxArray _readModes;  // the default mode and _dataCaptureRunLoopMode
  ZevMoTaskSynchronizedFileHandle* _synchronizedFileHandleDelegate = nullptr;  // not retained
  Ref<internal::TaskWriter> _writer;  // null until background writes begin; stays for life
  HxArray _preferredArchitectures;
  std::int32_t _terminationStatus = 0;
  bool _readTaskOutput = false;
  bool _stopRequested = false;
  bool _taskIsRunning = false;
  bool _gotTaskTerminationNotification = false;
  bool _gotLastFileNotification = false;
  bool _didSendStop = false;
  bool _startsNewProcessGroup = true;
};

}  // namespace rondel
