// SPDX-License-Identifier: MIT
#include "Rondel/host/Process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/linux/Child.h"
#include "Rondel/host/linux/Reaper.h"

namespace rondel {

using internal::Child;
using internal::ChildPlan;
using internal::fileCalls;
using internal::FilePath;
using internal::kStandardFiles;
using internal::Mutex;
using internal::MutexLock;
using internal::RunLoopSource;
using internal::SharedDescriptor;

namespace {

constexpr int kLostStatus = -1;
constexpr useconds_t kMicrosecondsBetweenLooks = internal::kTimeBetweenLooks / 1000;

HxArray commonModes() { return HxArray::arrayWithObject(HxRunLoopCommonModes); }

// Texts in the form in which the system takes a list.
class TextList {
 public:
  // Raises HxInvalidArgumentException, which names `what` and `given`, if the system cannot take
  // the text.
  void add(const HxString& text, const char* what, const HxHandle& given) {
    HxCString bytes = text.UTF8String();
    if (bytes.isNull() || std::strlen(bytes.c_str()) != bytes.length()) {
      HxException::raise(HxInvalidArgumentException, "%s cannot be handed to the system: %@%s"_hx,
                         what, given, given && !text ? ", which is no string" : "");
    }
    _texts.push_back(std::move(bytes));
  }
  // Returns the list, which ends with null. Good until something is added.
  char* const* list() {
    _list.clear();
    for (const HxCString& text : _texts) _list.push_back(const_cast<char*>(text.c_str()));
    _list.push_back(nullptr);
    return _list.data();
  }

 private:
  std::vector<HxCString> _texts;
  std::vector<char*> _list;
};

TextList argumentList(const HxString& path, const HxArray& arguments) {
  TextList list;
  list.add(path, "the launch path", path);
  for (const HxAny& argument : arguments) {
    list.add(as<HxString>(argument), "an argument", argument);
  }
  return list;
}

// Why the system would take another name than this, or none.
const char* faultOfVariableName(const HxHandle& name) {
  const HxString text = as<HxString>(name);
  if (!text) return ", which is no string";
  if (text.isEmpty()) return ", which is empty";
  const HxCString bytes = text.UTF8String();
  return !bytes.isNull() && std::strchr(bytes.c_str(), '=') ? ", which contains '='" : nullptr;
}

TextList environmentList(const HxDictionary& environment) {
  TextList list;
  for (const auto& [name, value] : environment) {
    if (const char* const fault = faultOfVariableName(name)) {
      HxException::raise(HxInvalidArgumentException,
                         "the name of an environment variable cannot be handed to the system: "
                         "%@%s"_hx,
                         name, fault);
    }
    const auto text = HxString::stringWithFormat("%@=%@"_hx, name, value);
    list.add(as<HxString>(value) ? text : HxString(), "an environment variable", text);
  }
  return list;
}

// Returns the path that the text names. The empty text goes on: the system says that there is no
// such file.
FilePath pathNamed(const HxString& text, const char* what) {
  FilePath path = FilePath::strict(text);
  if (!path && errno != ENOENT) {
    HxException::raise(HxInvalidArgumentException, "%s cannot be handed to the system: %@"_hx, what,
                       text);
  }
  return path;
}

// The child looks for a relative path from its own directory; it is meant from the host's.
std::string pathFromAnywhere(const char* path) {
  std::string absolute(PATH_MAX, '\0');
  if (!getcwd(absolute.data(), absolute.size())) return path;
  absolute.resize(std::strlen(absolute.data()));
  return absolute.append("/").append(path);
}

// Returns why the child could not have entered the directory, as an errno value; 0 if it could.
int directoryError(const char* directory) {
  struct stat facts = {};
  if (fileCalls.stat(directory, &facts) != 0) return errno;
  if (!S_ISDIR(facts.st_mode)) return ENOTDIR;
  return fileCalls.access(directory, X_OK) != 0 ? errno : 0;
}

// A source that is taken back at the end of the scope, unless it was moved on.
struct OwnedSource {
  Ref<RunLoopSource> source;
  ~OwnedSource() {
    if (source) source->remove();
  }
};

[[noreturn]] void raiseLaunchFailure(const ChildPlan& plan, int error) {
  const char* what = "could not launch";
  const char* path = plan.path;
  const char* detail = "";
  if (const int trouble = plan.directory ? directoryError(plan.directory) : 0) {
    what = "could not enter the directory";
    path = plan.directory;
    error = trouble;
  } else if (error == ENOENT && fileCalls.access(plan.path, F_OK) == 0) {
    detail = " (the interpreter that it asks for)";
  }
  HxException::raise(HxTaskLaunchException, "%s \"%s\"%s: %s"_hx, what, path, detail,
                     strerrordesc_np(error));
}

}  // namespace

struct HxTask::Impl {
  HxString launchPath;
  HxString directory;
  HxArray arguments;
  HxDictionary environment;
  HxArray architectures;
  bool leadsGroup = false;
  struct StandardFile {
    Ref<HxFileHandle> handle;
    bool isPipeEnd = false;  // to be closed on our side
  } standardFiles[kStandardFiles];

  mutable Mutex lock;
  Ref<Child> child RONDEL_GUARDED_BY(lock);     // both are set once
  Ref<HxRunLoop> loop RONDEL_GUARDED_BY(lock);  // of the thread that launched
  Ref<RunLoopSource> source;  // on the launching thread's run loop, until the exit was seen
  bool exitIsPosted = false;

  Ref<Child> currentChild() const {
    const MutexLock held(lock);
    return child;
  }
  Ref<HxRunLoop> launchLoop() const {
    const MutexLock held(lock);
    return loop;
  }
  void start(Child& child, const Ref<RunLoopSource>& source) const;
  void releaseStandardFiles();
};

HxTask::HxTask() : _impl(new Impl) {}

HxTask::~HxTask() {
  if (_impl->source) _impl->source->remove();
  if (const Ref<Child> child = _impl->currentChild()) Child::adopt(child);
  HxNotificationCenter::defaultCenter()->forgetObject(this, HxTaskDidTerminateNotification);
}

HxClass HxTask::classObject() noexcept {
  static const HxClassInfo info{"HxTask", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxTask> HxTask::init() { return makeRef<HxTask>(); }

// ---- Before the launch ------------------------------------------------------------------------

void HxTask::setLaunchPath(const HxString& path) { _impl->launchPath = path.copy(); }

void HxTask::setCurrentDirectoryPath(const HxString& path) { _impl->directory = path.copy(); }

void HxTask::setArguments(const HxArray& arguments) { _impl->arguments = arguments.copy(); }

void HxTask::setEnvironment(const HxDictionary& environment) {
  _impl->environment = environment.copy();
}

void HxTask::setStartsNewProcessGroup(bool flag) { _impl->leadsGroup = flag; }

void HxTask::setPreferredArchitectures(const HxArray& cpuTypes) { _impl->architectures = cpuTypes; }

void HxTask::setStandardInput(const Ref<HxPipe>& pipe) {
  _impl->standardFiles[0] = {pipe ? pipe->fileHandleForReading() : nullptr, true};
}

void HxTask::setStandardOutput(const Ref<HxPipe>& pipe) {
  _impl->standardFiles[1] = {pipe ? pipe->fileHandleForWriting() : nullptr, true};
}

void HxTask::setStandardError(const Ref<HxPipe>& pipe) {
  _impl->standardFiles[2] = {pipe ? pipe->fileHandleForWriting() : nullptr, true};
}

void HxTask::setStandardInput(const Ref<HxFileHandle>& handle) {
  _impl->standardFiles[0] = {handle, false};
}

void HxTask::setStandardOutput(const Ref<HxFileHandle>& handle) {
  _impl->standardFiles[1] = {handle, false};
}

void HxTask::setStandardError(const Ref<HxFileHandle>& handle) {
  _impl->standardFiles[2] = {handle, false};
}

// ---- Running ----------------------------------------------------------------------------------

// All that can fail is done before there is a child.
void HxTask::launch() {
  if (_impl->currentChild()) {
    HxException::raise(HxInvalidArgumentException, "a task can be launched once only"_hx);
  }
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  const auto child = makeRef<Child>();
  OwnedSource prepared{
      makeRef<RunLoopSource>(loop, nullptr, RunLoopSource::Order::exit, this, childMayHaveExited)};
  try {
    prepared.source->arm(commonModes());
  } catch (const HxException& exception) {
    HxException::raise(HxTaskLaunchException, "could not watch for the exit: %@"_hx,
                       exception.reason());
  }
  _impl->start(*child, prepared.source);
  {
    const MutexLock held(_impl->lock);
    _impl->child = child;
    _impl->loop = loop;
  }
  _impl->source = std::move(prepared.source);
  _impl->releaseStandardFiles();
}

void HxTask::Impl::start(Child& started, const Ref<RunLoopSource>& exit) const {
  ChildPlan plan;
  TextList argumentTexts = argumentList(launchPath, arguments);
  TextList environmentTexts = environmentList(environment);
  const FilePath path = pathNamed(launchPath, "the launch path");
  const FilePath place = pathNamed(directory ? directory : "."_hx, "the directory");
  plan.directory = directory ? place.c_str() : nullptr;
  plan.path = path.c_str();
  plan.arguments = argumentTexts.list();
  plan.environment = environment ? environmentTexts.list() : environ;
  plan.leadsGroup = leadsGroup;
  std::string absolutePath;
  if (plan.directory && plan.path[0] != '/') {
    absolutePath = pathFromAnywhere(plan.path);
    plan.path = absolutePath.c_str();
  }
  Ref<SharedDescriptor> lent[kStandardFiles];  // stay open until the child has them
  for (int fd = 0; fd < kStandardFiles; ++fd) {
    if (!standardFiles[fd].handle) continue;
    lent[fd] = standardFiles[fd].handle->lendToChild();
    if (!lent[fd]) {
      HxException::raise(HxTaskLaunchException, "standard file %d of the child is closed"_hx, fd);
    }
    plan.standardFiles[fd] = lent[fd]->fd();
  }
  if (const int error = started.start(plan, exit)) raiseLaunchFailure(plan, error);
}

void HxTask::Impl::releaseStandardFiles() {
  for (StandardFile& file : standardFiles) {
    if (file.handle && file.isPipeEnd) file.handle->closeFile();
    file = {};
  }
}

// A child that is being traced looks ended before its status can be taken. It is asked for every
// now and then, as one that cannot be watched.
bool HxTask::childMayHaveExited(HxObject& object) {
  auto& task = static_cast<HxTask&>(object);
  Impl& impl = *task._impl;
  const Ref<Child> child = impl.currentChild();
  if (child->poll() == Child::State::running) {
    impl.source->unwatch();
    internal::Reaper::shared().watch(*child);
    return false;
  }
  const auto news =
      HxNotification::notificationWithName(HxTaskDidTerminateNotification, HxAny(&task));
  impl.source->remove();
  impl.source = nullptr;
  child->dropExitDescriptor();
  impl.exitIsPosted = true;
  HxNotificationCenter::defaultCenter()->postNotification(news);
  return true;
}

bool HxTask::isRunning() const {
  const Ref<Child> child = _impl->currentChild();
  return child && child->poll() == Child::State::running;
}

bool HxTask::sendSignal(int signal) {
  const Ref<Child> child = _impl->currentChild();
  return child && child->send(signal);
}

bool HxTask::sendSignalToProcessGroup(int signal) {
  const Ref<Child> child = _impl->currentChild();
  return child && child->sendToGroup(signal);
}

void HxTask::terminate() { sendSignal(SIGTERM); }

void HxTask::interrupt() { sendSignal(SIGINT); }

void HxTask::terminateWithGraceTime(HxTimeInterval seconds) {
  const Ref<Child> child = _impl->currentChild();
  if (child && child->send(SIGTERM)) child->killAt(internal::steadyTimeAfter(seconds));
}

void HxTask::waitUntilExit() { waitUntilExitBeforeDate(HxDate::distantFuture()); }

bool HxTask::waitUntilExitBeforeDate(const HxDate& limit) {
  const Ref<HxTask> self(this);  // may be dropped by whom the loop calls
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  if (!_impl->currentChild()) return false;
  if (_impl->launchLoop() != loop) return waitOnOtherThread(loop, limit);
  while (!_impl->exitIsPosted && loop->runMode(HxDefaultRunLoopMode, limit) &&
         limit.timeIntervalSinceNow() > 0) {
  }
  return _impl->exitIsPosted;
}

// The notification is the business of the launching thread; here the exit alone counts.
bool HxTask::waitOnOtherThread(const Ref<HxRunLoop>& loop, const HxDate& limit) {
  const Ref<Child> child = _impl->currentChild();
  const OwnedSource watch{makeRef<RunLoopSource>(
      loop, child->exitDescriptor(), RunLoopSource::Order::exit, this, [](HxObject& object) {
        const bool isRunning = static_cast<HxTask&>(object).isRunning();
        if (isRunning) usleep(kMicrosecondsBetweenLooks);
        return !isRunning;
      })};
  HxTimeInterval slice = kMicrosecondsBetweenLooks * 1e-6;
  try {
    watch.source->arm(nullptr);
    if (child->exitDescriptor()) slice = limit.timeIntervalSinceNow();
  } catch (const HxException&) {  // it cannot be watched, but asked for
  }
  for (bool isOver = false; !isOver && isRunning(); isOver = limit.timeIntervalSinceNow() <= 0) {
    const HxTimeInterval seconds = std::min(slice, limit.timeIntervalSinceNow());
    const HxDate end = HxDate::dateWithTimeIntervalSinceNow(seconds);
    if (!loop->runMode(HxDefaultRunLoopMode, end)) usleep(kMicrosecondsBetweenLooks);
  }
  return !isRunning();
}

// ---- Afterwards -------------------------------------------------------------------------------

int HxTask::_platformExitInformation() const {
  const Ref<Child> child = _impl->currentChild();
  return child && child->state() == Child::State::exited ? child->waitStatus() : -1;
}

HxTaskTerminationReason HxTask::terminationReason() const {
  const Ref<Child> child = _impl->currentChild();
  const Child::State state = child ? child->state() : Child::State::running;
  if (state == Child::State::running) return HxTaskTerminationReason::none;
  if (state == Child::State::lost) return HxTaskTerminationReason::lost;
  return WIFSIGNALED(child->waitStatus()) ? HxTaskTerminationReason::signal
                                          : HxTaskTerminationReason::exit;
}

int HxTask::terminationStatus() const {
  switch (terminationReason()) {
    case HxTaskTerminationReason::none:
      break;
    case HxTaskTerminationReason::exit:
      return WEXITSTATUS(_platformExitInformation());
    case HxTaskTerminationReason::signal:
      return WTERMSIG(_platformExitInformation());
    case HxTaskTerminationReason::lost:
      return kLostStatus;
  }
  return 0;
}

HxTaskResourceUsage HxTask::resourceUsage() const {
  const Ref<Child> child = _impl->currentChild();
  const rusage used = child ? child->usage() : rusage{};
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  constexpr HxUInteger kBytesInUnit = 1024;
  return {
      .userSeconds = seconds(used.ru_utime),
      .systemSeconds = seconds(used.ru_stime),
      .peakResidentBytes = static_cast<HxUInteger>(used.ru_maxrss) * kBytesInUnit,
      .pageFaultsWithoutInput = static_cast<HxUInteger>(used.ru_minflt),
      .pageFaultsWithInput = static_cast<HxUInteger>(used.ru_majflt),
      .voluntaryContextSwitches = static_cast<HxUInteger>(used.ru_nvcsw),
      .involuntaryContextSwitches = static_cast<HxUInteger>(used.ru_nivcsw),
  };
}

int HxTask::processIdentifier() const {
  const Ref<Child> child = _impl->currentChild();
  return child ? child->pid() : 0;
}

}  // namespace rondel
