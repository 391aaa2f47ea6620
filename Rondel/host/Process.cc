// SPDX-License-Identifier: MIT
#include "Rondel/host/Process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/linux/Child.h"

namespace rondel {

using internal::Child;
using internal::ChildPlan;
using internal::fileCalls;
using internal::FilePath;
using internal::RunLoopSource;
using internal::SharedDescriptor;

namespace {

constexpr int kLostStatus = -1;
constexpr int kStandardFiles = 3;
// A child that is being traced looks ended before its status can be taken.
constexpr HxTimeInterval kPauseAfterFalseAlarm = 0.01;

HxArray commonModes() { return HxArray::arrayWithObject(HxRunLoopCommonModes); }

// Texts in the form in which the system takes a list of them.
class TextList {
 public:
  // `what` and `given` are for the message when the text cannot be handed over.
  void add(const HxString& text, const char* what, const HxHandle& given) {
    HxCString bytes = text.UTF8String();
    if (bytes.isNull() || std::strlen(bytes.c_str()) != bytes.length()) {
      HxException::raise(HxInvalidArgumentException, "%s cannot be handed to the system: %@%s"_hx,
                         what, given, given && !text ? ", which is no string" : "");
    }
    _texts.push_back(std::move(bytes));
  }
  // Ends with null. Good until something is added.
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

TextList environmentList(const HxDictionary& environment) {
  TextList list;
  for (const auto& [name, value] : environment) {
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

// Why the child could not have entered the directory, as an errno value; 0 when it could.
int troubleWithDirectory(const char* directory) {
  struct stat facts = {};
  if (fileCalls.stat(directory, &facts) != 0) return errno;
  if (!S_ISDIR(facts.st_mode)) return ENOTDIR;
  return fileCalls.access(directory, X_OK) != 0 ? errno : 0;
}

// Ends the child again unless it was taken out: nothing is left of a failed launch.
struct StartedChild {
  Ref<Child> child;
  ~StartedChild() {
    if (child) child->destroy();
  }
};

[[noreturn]] void raiseLaunchFailure(const ChildPlan& plan, int error) {
  const char* what = "could not launch";
  const char* path = plan.path;
  const char* detail = "";
  if (const int trouble = plan.directory ? troubleWithDirectory(plan.directory) : 0) {
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

  mutable std::mutex lock;  // of these two, which are set once
  Ref<Child> child;
  Ref<HxRunLoop> loop;        // of the thread that launched
  Ref<RunLoopSource> source;  // on the launching thread's run loop, until the exit was seen
  bool isTold = false;

  Ref<Child> currentChild() const {
    const std::scoped_lock held(lock);
    return child;
  }
  Ref<HxRunLoop> launchLoop() const {
    const std::scoped_lock held(lock);
    return loop;
  }
  Ref<Child> start(Ref<SharedDescriptor> (&lent)[kStandardFiles]) const;
  void releaseStandardFiles();
};

HxTask::HxTask() : _impl(new Impl) {}

HxTask::~HxTask() {
  if (_impl->source) _impl->source->remove();
  if (_impl->child) Child::adopt(_impl->child);
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

void HxTask::launch() {
  if (_impl->currentChild()) {
    HxException::raise(HxInvalidArgumentException, "a task can be launched once only"_hx);
  }
  Ref<SharedDescriptor> lent[kStandardFiles];  // stay open until the child has them
  StartedChild started{_impl->start(lent)};
  const Ref<Child> child = started.child;
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  const auto source = makeRef<RunLoopSource>(loop, child->exitDescriptor(),
                                             RunLoopSource::Order::exit, this, childMayHaveExited);
  try {
    source->arm(commonModes());
  } catch (const HxException& exception) {
    source->remove();
    HxException::raise(HxTaskLaunchException, "could not watch the child: %@"_hx,
                       exception.reason());
  }
  {
    const std::scoped_lock held(_impl->lock);
    _impl->child = child;
    _impl->loop = loop;
  }
  _impl->source = source;
  started.child = nullptr;
  _impl->releaseStandardFiles();
}

Ref<Child> HxTask::Impl::start(Ref<SharedDescriptor> (&lent)[kStandardFiles]) const {
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
  for (int number = 0; number < kStandardFiles; ++number) {
    if (!standardFiles[number].handle) continue;
    lent[number] = standardFiles[number].handle->lendToChild();
    if (!lent[number]) {
      HxException::raise(HxTaskLaunchException, "standard file %d of the child is closed"_hx,
                         number);
    }
    plan.standardFiles[number] = lent[number]->fd();
  }
  int error = 0;
  Ref<Child> started = Child::start(plan, error);
  if (!started) raiseLaunchFailure(plan, error);
  return started;
}

void HxTask::Impl::releaseStandardFiles() {
  for (StandardFile& file : standardFiles) {
    if (file.handle && file.isPipeEnd) file.handle->closeFile();
    file = {};
  }
}

void HxTask::watchExitAgain(HxTimer&) {
  if (_impl->source) _impl->source->arm(commonModes());
}

bool HxTask::childMayHaveExited(HxObject& object) {
  auto& task = static_cast<HxTask&>(object);
  Impl& impl = *task._impl;
  if (impl.child->poll() == Child::State::running) {
    impl.source->park();
    impl.source->loop()->addTimer(HxTimer::timerWithTimeInterval<&HxTask::watchExitAgain>(
                                      kPauseAfterFalseAlarm, &task, nullptr, false),
                                  HxRunLoopCommonModes);
    return false;
  }
  impl.source->remove();
  impl.source = nullptr;
  impl.child->dropExitDescriptor();
  impl.isTold = true;
  HxNotificationCenter::defaultCenter()->postNotification(HxTaskDidTerminateNotification,
                                                          HxAny(&task));
  return true;
}

bool HxTask::isRunning() const {
  const Ref<Child> child = _impl->currentChild();
  return child && child->poll() == Child::State::running;
}

void HxTask::terminate() {
  if (const Ref<Child> child = _impl->currentChild()) child->send(SIGTERM);
}

void HxTask::interrupt() {
  if (const Ref<Child> child = _impl->currentChild()) child->send(SIGINT);
}

void HxTask::waitUntilExit() {
  const Ref<HxTask> self(this);  // may be dropped by whom the loop calls
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  if (!_impl->currentChild()) return;
  if (_impl->launchLoop() != loop) return waitOnOtherThread(loop);
  while (!_impl->isTold && loop->runMode(HxDefaultRunLoopMode, HxDate::distantFuture())) {
  }
}

// The notification is the business of the launching thread; here the exit alone counts.
void HxTask::waitOnOtherThread(const Ref<HxRunLoop>& loop) {
  const Ref<Child> child = _impl->currentChild();
  struct Watch {
    Ref<RunLoopSource> source;
    ~Watch() { source->remove(); }
  } const watch{makeRef<RunLoopSource>(
      loop, child->exitDescriptor(), RunLoopSource::Order::exit, this, [](HxObject& object) {
        const bool isRunning = static_cast<HxTask&>(object).isRunning();
        if (isRunning) usleep(static_cast<useconds_t>(kPauseAfterFalseAlarm * 1e6));
        return !isRunning;
      })};
  watch.source->arm(nullptr);
  while (isRunning() && loop->runMode(HxDefaultRunLoopMode, HxDate::distantFuture())) {
  }
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

int HxTask::processIdentifier() const {
  const Ref<Child> child = _impl->currentChild();
  return child ? child->number() : 0;
}

}  // namespace rondel
