// SPDX-License-Identifier: MIT
//
// Delegates and consumers that do anything to anybody in every callback, in a thousand fixed
// orders. Nothing may crash, and a run that is left alone ends with one stop.
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <random>
#include <stdexcept>

#include "Rondel/Streams/LineBufferFilter.h"
#include "Rondel/Streams/Task.h"
#include "Rondel/Streams/UTF8Filters.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/StreamRecorder.h"
#include "Rondel/testing/TaskRecorder.h"

namespace rondel {
namespace {

using test::dataOf;
using test::shellTask;
using test::StreamRecorder;
using test::TaskRecorder;

constexpr const char* kScripts[] = {
    "exit 0",
    "cat",
    "echo x; exit 3",
    "head -c 200000 /dev/zero",
    "exec 3<&0; cat <&3 & exit 0",
    "exec >&- 2>&-; exec cat",
};

// One task with everybody around it, and an order of events that a number decides.
class Chaos {
 public:
  explicit Chaos(unsigned seed) : _random(seed), _delegate(std::in_place) {
    _task = shellTask(kScripts[_random() % std::size(kScripts)], *_delegate);
    const TaskRecorder::Hook act = [this](ZevMoTask*) { actAtTimes(); };
    _delegate->onStart = _delegate->onOutput = _delegate->onFailure = _delegate->onStop = act;
    _other.onStart = _other.onOutput = _other.onFailure = _other.onStop = act;
    if (_random() % 2) link();
    if (_random() % 2) _task->performWritesInBackground();
    if (_random() % 2) _task->setTaskAutomaticStandardInData(dataOf(std::string(1000, 'i')));
  }

  void run() {
    attempt([this] { act(); });
    attempt([this] {
      if (_task) _task.get()->startTask();
    });
    for (int pass = 0; pass < 20; ++pass) {
      attempt([] { onePass(); });
      if (pass % 4 == 3) attempt([this] { act(); });
    }
    _isCalm = true;
    attempt([this] {
      if (_task) _task->closeTaskHandles();
    });
    EXPECT_TRUE(test::runUntil([this] {
      attempt([] { onePass(); });
      return !_task || !_task->hxTask() || _task->runIsOver();
    }));
  }

 private:
  static void onePass() {
    HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode,
                                         HxDate::dateWithTimeIntervalSinceNow(0.001));
  }

  template <class Action>
  static void attempt(Action action) {
    try {
      action();
    } catch (const std::runtime_error&) {  // one of ours
    } catch (const HxException&) {         // a write that was refused
    }
  }

  void link() {
    const Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
    const Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
    _consumer = makeRef<StreamRecorder>();
    _consumer->action = [this] { actAtTimes(); };
    decoder->setCharacterStreamConsumer(lines);
    lines->setLineStreamConsumer(_consumer);
    _task->byteStream()->setByteStreamConsumer(decoder);
  }

  void actAtTimes() {
    if (!_isCalm && _random() % 3 == 0) act();
  }

  void act() {
    if (!_task) return;
    ZevMoTask& task = *_task;
    switch (_random() % 15) {
      case 0:
        _task = nullptr;
        return;
      case 1:
        return task.cleanupAfterTask();
      case 2:
        return task.setDelegate(nullptr);
      case 3:
        return task.setDelegate(&_other);
      case 4:
        return task.closeTaskHandles();
      case 5:
        return task.stopTask();
      case 6:
        return task.startTask();
      case 7:
        if (_depth < 3) {
          ++_depth;
          attempt([] { onePass(); });
          --_depth;
        }
        return;
      case 8:
        throw std::runtime_error("enough");
      case 9:
        _consumer = nullptr;
        return;
      case 10:
        return task.sendDataToTask(dataOf(std::string(100, 'd')));
      case 11:
        return task.closeInputAfterWrites();
      case 12:
        return task.setTaskStdOutputFileHandleReadTaskOutput(nullptr, false);
      case 13:
        return task.interruptTask();
      default:
        _delegate.reset();
    }
  }

  std::mt19937 _random;
  std::optional<TaskRecorder> _delegate;
  TaskRecorder _other;
  Ref<StreamRecorder> _consumer;
  Ref<ZevMoTask> _task;
  int _depth = 0;
  bool _isCalm = false;
};

TEST(TaskChaos, NothingCrashesAndEveryRunEnds) {
  const auto former = std::signal(SIGPIPE, SIG_IGN);
  test::FailureRecorder failures;  // starts while a run is under way
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    Chaos(seed).run();
    if (testing::Test::HasFailure()) break;
  }
  std::signal(SIGPIPE, former);
}

}  // namespace
}  // namespace rondel
