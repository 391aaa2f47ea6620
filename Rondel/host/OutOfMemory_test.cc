// SPDX-License-Identifier: MIT
//
// The host services while memory is short. Each operation ends in std::bad_alloc or in its result,
// and nothing of it stays.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <new>
#include <string>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/ConditionLock.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/host/Thread.h"
#include "Rondel/host/Timer.h"
#include "Rondel/testing/Children.h"
#include "Rondel/testing/OutOfMemory.h"

namespace rondel::test {
namespace {

class HostOutOfMemory : public ::testing::Test {
 protected:
  void SetUp() override { RONDEL_NEEDS_FAILING_ALLOCATIONS(); }
};

// Hears calls of all kinds, and forgets them when it goes.
class Listener : public HxObject {
 public:
  ~Listener() override { HxNotificationCenter::defaultCenter()->removeObserver(this); }
  void hear(const HxNotification& notification) { heard += notification.name().toStdString(); }
  void hearData(const HxNotification& notification) {
    heard +=
        stringOf(notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem));
  }
  void countData(const HxNotification& notification) {
    counted +=
        notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem).length();
  }
  void fire(HxTimer& timer) {
    heard += "fired";
    timer.invalidate();
  }
  void call(const HxAny& argument) { heard += argument.description().toStdString(); }

  std::string heard;
  HxUInteger counted = 0;
};

TEST_F(HostOutOfMemory, Notifications) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const auto center = HxNotificationCenter::defaultCenter();
    const auto first = makeRef<Listener>();
    const auto second = makeRef<Listener>();
    center->addObserver<&Listener::hear>(first.get(), "a notification"_hx, first);
    center->addObserver<&Listener::hear>(second.get(), nullptr, first);
    center->addObserver<&Listener::hear>(second.get(), "another one"_hx);
    center->postNotification("a notification"_hx, first);
    center->postNotification("another one"_hx, nullptr);
    return first->heard + "|" + second->heard;
  }));
}

TEST_F(HostOutOfMemory, Timers) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    struct Timers {
      ~Timers() {
        for (const auto& timer : all) timer->invalidate();
      }
      std::vector<Ref<HxTimer>> all;
    } timers;
    const auto listener = makeRef<Listener>();
    for (int i = 0; i < 3; ++i) {
      timers.all.push_back(HxTimer::timerWithTimeInterval<&Listener::fire>(0.0001, listener.get(),
                                                                           "info"_hx, i == 1));
      HxRunLoop::currentRunLoop()->addTimer(timers.all.back(), HxDefaultRunLoopMode);
    }
    while (listener->heard.size() < 15 && runOnce()) {
    }
    return listener->heard;
  }));
}

TEST_F(HostOutOfMemory, CallsOnTheRunLoop) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const auto listener = makeRef<Listener>();
    const auto loop = HxRunLoop::currentRunLoop();
    loop->perform<&Listener::call>(listener.get(), "at once "_hx, true);
    loop->performAfterDelay<&Listener::call>(listener.get(), "later"_hx, 0.0001);
    while (listener->heard != "at once later" && runOnce()) {
    }
    return listener->heard;
  }));
}

TEST_F(HostOutOfMemory, PipesAndHandles) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const auto pipe = HxPipe::init();
    pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("some bytes", 10));
    const std::string first = stringOf(pipe->fileHandleForReading()->availableData());
    pipe->fileHandleForWriting()->closeFile();
    return first + stringOf(pipe->fileHandleForReading()->readDataToEndOfFile());
  }));
}

TEST_F(HostOutOfMemory, HandlesOnDescriptorsOfTheCaller) {
  EXPECT_TRUE(survivesOutOfMemory([]() -> std::string {
    const int descriptor = fcntl(0, F_DUPFD_CLOEXEC, 3);
    try {
      return HxFileHandle::initWithFileDescriptor(descriptor, true) ? "made" : "null";
    } catch (const std::bad_alloc&) {
      if (close(descriptor) != 0) return "closed before";
      throw;
    }
  }));
}

TEST_F(HostOutOfMemory, ReadingInTheBackground) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const auto pipe = HxPipe::init();
    const auto listener = makeRef<Listener>();
    const auto reading = pipe->fileHandleForReading();
    HxNotificationCenter::defaultCenter()->addObserver<&Listener::hearData>(
        listener.get(), HxFileHandleReadCompletionNotification, reading);
    reading->readInBackgroundAndNotify();
    pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("some bytes", 10));
    while (listener->heard.empty() && runOnce()) {
    }
    return listener->heard;
  }));
}

// Calls again after the first failure. A second one passes on, as where memory stays short.
template <class Call>
void callAgain(Call call) {
  try {
    call();
  } catch (const std::bad_alloc&) {
    call();
  }
}

// A small part of the buffer is copied, a large one is handed out.
constexpr std::size_t kSmallAndLarge[] = {10, 20'000};

TEST_F(HostOutOfMemory, BackgroundReadLosesNothing) {
  for (const std::size_t length : kSmallAndLarge) {
    EXPECT_TRUE(survivesOutOfMemory([length] {
      const auto pipe = HxPipe::init();
      const auto listener = makeRef<Listener>();
      const auto reading = pipe->fileHandleForReading();
      HxNotificationCenter::defaultCenter()->addObserver<&Listener::countData>(
          listener.get(), HxFileHandleReadCompletionNotification, reading);
      reading->readInBackgroundAndNotify();
      const std::string text(length, 'x');
      pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes(text.data(), length));
      callAgain([] { HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr); });
      return std::to_string(listener->counted);
    }));
  }
}

TEST_F(HostOutOfMemory, ReadAtOnceLosesNothing) {
  for (const std::size_t length : kSmallAndLarge) {
    EXPECT_TRUE(survivesOutOfMemory([length] {
      const auto pipe = HxPipe::init();
      const std::string text(length, 'x');
      pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes(text.data(), length));
      pipe->fileHandleForWriting()->closeFile();
      HxUInteger read = 0;
      callAgain([&] { read = pipe->fileHandleForReading()->availableData().length(); });
      return std::to_string(read);
    }));
  }
}

TEST_F(HostOutOfMemory, Threads) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    const auto lock = HxConditionLock::initWithCondition(0);
    HxThread::detachNewThread([lock] {
      lock->lock();
      lock->unlockWithCondition(1);
    });
    lock->lockWhenCondition(1);
    lock->unlock();
    return std::to_string(lock->condition());
  });
}

TEST_F(HostOutOfMemory, Processes) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([] {
    try {
      return outputOf(taskOf("/bin/echo", {"hello"}));
    } catch (const HxException& exception) {
      if (exception.name() == HxTaskLaunchException) throw std::bad_alloc();  // told as ENOMEM
      throw;
    }
  });
}

TEST_F(HostOutOfMemory, DroppedProcesses) {
  EXPECT_SURVIVES_OUT_OF_MEMORY_ALONE([]() -> std::string {
    try {
      const auto task = taskOf("/bin/true");
      task->launch();
    } catch (const HxException& exception) {
      if (exception.name() == HxTaskLaunchException) throw std::bad_alloc();
      throw;
    }
    return "";
  });
}

}  // namespace
}  // namespace rondel::test
