// SPDX-License-Identifier: MIT
#include "Rondel/host/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/testing/FileHandles.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::bytes;
using test::FileCalls;
using test::FileHandle;
using test::pattern;
using test::Reader;
using test::readToEnd;
using test::reasonOf;
using test::SystemCalls;

// ---- Owning

TEST_F(FileHandle, IsClosedWithItsLastReference) {
  const int number = reading->fileDescriptor();
  EXPECT_GE(fcntl(number, F_GETFD), 0);
  reading = nullptr;
  EXPECT_LT(fcntl(number, F_GETFD), 0);
}

TEST_F(FileHandle, OwnedDescriptorIsMarkedCloseOnExec) {
  const int number = dup(reading->fileDescriptor());
  const auto handle = HxFileHandle::initWithFileDescriptor(number, true);
  EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC);
}

TEST_F(FileHandle, BorrowedDescriptorStaysOpenAndAsItWas) {
  const int number = dup(reading->fileDescriptor());
  HxFileHandle::initWithFileDescriptor(number)->closeFile();
  EXPECT_EQ(fcntl(number, F_GETFD), 0);
  EXPECT_EQ(close(number), 0);
}

TEST_F(FileHandle, CloseTwiceIsOnce) {
  const int number = reading->fileDescriptor();
  reading->closeFile();
  EXPECT_TRUE(reading->isClosed());
  EXPECT_EQ(reading->fileDescriptor(), -1);
  const int again = dup(writing->fileDescriptor());
  EXPECT_EQ(again, number);
  reading->closeFile();
  EXPECT_EQ(close(again), 0);
}

TEST(FileHandleOfNothing, NegativeDescriptorIsAClosedHandle) {
  const auto handle = HxFileHandle::initWithFileDescriptor(-1, true);
  EXPECT_TRUE(handle->isClosed());
  EXPECT_THROW(handle->availableData(), HxException);
}

// ---- Reading and writing at once

TEST_F(FileHandle, AvailableDataReturnsWhatIsThere) {
  writing->writeData(bytes("abc"));
  EXPECT_TRUE(reading->availableData().isEqualToData(bytes("abc")));
  writing->writeData(bytes(pattern(40'000)));
  EXPECT_TRUE(reading->availableData().isEqualToData(bytes(pattern(40'000))));
  writing->closeFile();
  EXPECT_EQ(reading->availableData().length(), 0u);
}

TEST_F(FileHandle, ReadDataToEndOfFileReturnsAll) {
  const std::string text = pattern(300'000);
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  const HxData all = reading->readDataToEndOfFile();
  writer.join();
  EXPECT_TRUE(all.isEqualToData(bytes(text)));
}

TEST_F(FileHandle, BlockingReadWaitsOnANonBlockingDescriptor) {
  fcntl(reading->fileDescriptor(), F_SETFL, O_NONBLOCK);
  std::thread writer([&] { writing->writeData(bytes("late")); });
  EXPECT_TRUE(reading->availableData().isEqualToData(bytes("late")));
  writer.join();
}

TEST_F(FileHandle, ClosedHandleRaisesOnReadAndWrite) {
  reading->closeFile();
  writing->closeFile();
  EXPECT_EQ(reasonOf([&] { reading->availableData(); }),
            "cannot read from descriptor -1: Bad file descriptor"_hx);
  EXPECT_EQ(reasonOf([&] { reading->readDataToEndOfFile(); }),
            "cannot read from descriptor -1: Bad file descriptor"_hx);
  EXPECT_EQ(reasonOf([&] { writing->writeData(bytes("x")); }),
            "cannot write to descriptor -1: Bad file descriptor"_hx);
}

TEST_F(FileHandle, WritingNothingDoesNothing) {
  writing->closeFile();
  writing->writeData(nullptr);
  writing->writeData(HxData::data());
  EXPECT_TRUE(reading->availableData().isEmpty());
}

TEST_F(FileHandle, WriteSurvivesShortWritesInterruptionsAndFullPipes) {
  const test::SystemCallsKept kept;
  static auto* const realWrite = test::fileCalls.write.function();
  static std::atomic<int> calls = 0;
  test::fileCalls.write = +[](int descriptor, const void* data, size_t length) -> ssize_t {
    switch (++calls % 3) {
      case 0:
        errno = EINTR;
        return -1;
      case 1:
        errno = EAGAIN;
        return -1;
      default:
        return realWrite(descriptor, data, std::min<size_t>(length, 777));
    }
  };
  const std::string text = pattern(50'000);
  writing->writeData(bytes(text));
  test::fileCalls.write = realWrite;
  writing->closeFile();
  EXPECT_TRUE(reading->readDataToEndOfFile().isEqualToData(bytes(text)));
}

TEST_F(FileHandle, WriteWaitsOnAFullNonBlockingDescriptor) {
  fcntl(writing->fileDescriptor(), F_SETFL, O_NONBLOCK);
  const std::string text = pattern(500'000);
  HxData all;
  std::thread reader([&] { all = reading->readDataToEndOfFile(); });
  writing->writeData(bytes(text));
  writing->closeFile();
  reader.join();
  EXPECT_TRUE(all.isEqualToData(bytes(text)));
}

TEST_F(FileHandle, WriteWithoutAReaderRaisesWhereTheSignalIsIgnored) {
  auto* const before = signal(SIGPIPE, SIG_IGN);
  reading->closeFile();
  const HxString reason = reasonOf([&] { writing->writeData(bytes("x")); });
  signal(SIGPIPE, before);
  EXPECT_EQ(reason, HxString::stringWithFormat("cannot write to descriptor %d: Broken pipe"_hx,
                                               writing->fileDescriptor()));
}

TEST_F(FileHandle, RefusedReadRaisesWithTheSystemsWords) {
  const test::SystemCallsKept kept;
  test::failCall<&FileCalls::read>(1, EISDIR);
  EXPECT_TRUE(reasonOf([&] { reading->availableData(); }).hasSuffix(": Is a directory"_hx));
}

// A write that has filled the pipe, which nobody empties.
class BlockedWrite {
 public:
  explicit BlockedWrite(const Ref<HxFileHandle>& handle)
      : _thread([this, handle] {
          _reason = reasonOf([&] { handle->writeData(bytes(pattern(1'000'000))); });
          _hasReturned = true;
        }) {}
  bool hasReturned() const { return _hasReturned; }
  HxString reason() {
    _thread.join();
    return _reason;
  }

 private:
  std::atomic<bool> _hasReturned = false;
  HxString _reason;
  std::thread _thread;
};

TEST_F(FileHandle, CloseEndsAWriteThatWaitsForRoom) {
  for (const bool withoutEvent : {false, true}) {
    const test::SystemCallsKept kept;
    if (withoutEvent) test::failCall<&SystemCalls::eventfd>(1, EMFILE, 1000);
    pipe = HxPipe::init();
    writing = pipe->fileHandleForWriting();
    const int number = writing->fileDescriptor();
    BlockedWrite write(writing);
    // One byte shows that the write is under way; nobody reads on.
    char first = 1;
    EXPECT_EQ(read(pipe->fileHandleForReading()->fileDescriptor(), &first, 1), 1);
    writing->closeFile();
    EXPECT_EQ(write.reason(), HxString::stringWithFormat(
                                  "cannot write to descriptor %d: Bad file descriptor"_hx, number));
    EXPECT_LT(fcntl(number, F_GETFD), 0);
  }
}

TEST_F(FileHandle, CloseEndsTheWaitsOfAllThreads) {
  fcntl(reading->fileDescriptor(), F_SETFL, O_NONBLOCK);
  BlockedWrite one(writing);
  BlockedWrite other(writing);
  usleep(20'000);  // whether they wait by then or not
  writing->closeFile();
  EXPECT_TRUE(one.reason().hasSuffix(": Bad file descriptor"_hx));
  EXPECT_TRUE(other.reason().hasSuffix(": Bad file descriptor"_hx));
  pipe = HxPipe::init();
  reading = pipe->fileHandleForReading();
  fcntl(reading->fileDescriptor(), F_SETFL, O_NONBLOCK);
  HxString reason;
  std::thread reader([&] { reason = reasonOf([&] { reading->availableData(); }); });
  usleep(20'000);
  reading->closeFile();
  reader.join();
  EXPECT_TRUE(reason.hasSuffix(": Bad file descriptor"_hx));
}

TEST_F(FileHandle, CloseEndsAReadThatWaitsForAPipeMadeHere) {
  for (const bool withoutEvent : {false, true}) {
    const test::SystemCallsKept kept;
    if (withoutEvent) test::failCall<&SystemCalls::eventfd>(1, EMFILE, 1000);
    pipe = HxPipe::init();
    HxString reason;
    std::thread reader([&, handle = pipe->fileHandleForReading()] {
      reason = reasonOf([&] { handle->availableData(); });
    });
    usleep(20'000);  // whether it waits by then or not
    pipe->fileHandleForReading()->closeFile();
    reader.join();
    EXPECT_TRUE(reason.hasSuffix(": Bad file descriptor"_hx));
  }
}

TEST_F(FileHandle, CloseDuringABlockedCallOfTheSystemLeavesTheNumberUntilItReturns) {
  const int number = fcntl(writing->fileDescriptor(), F_DUPFD_CLOEXEC, 0);
  writing = HxFileHandle::initWithFileDescriptor(number, true);  // stays blocking
  BlockedWrite write(writing);
  EXPECT_EQ(reading->availableData().isEmpty(), false);  // the write is under way
  writing->closeFile();
  EXPECT_TRUE(writing->isClosed());
  EXPECT_FALSE(write.hasReturned());
  EXPECT_GE(fcntl(number, F_GETFD), 0);
  while (!write.hasReturned()) reading->availableData();
  EXPECT_TRUE(write.reason().isNil());
  EXPECT_LT(fcntl(number, F_GETFD), 0);
}

TEST_F(FileHandle, NullDeviceIsEmptyAndTakesEverything) {
  const auto device = HxFileHandle::fileHandleWithNullDevice();
  ASSERT_TRUE(device);
  EXPECT_EQ(fcntl(device->fileDescriptor(), F_GETFD), FD_CLOEXEC);
  device->writeData(bytes("x"));
  EXPECT_TRUE(device->availableData().isEmpty());
  const auto reader = makeRef<Reader>(device);
  device->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->chunks, 1);
  EXPECT_NE(HxFileHandle::fileHandleWithNullDevice(), device);
}

TEST_F(FileHandle, PipeEndThatWasWrittenIsLentBlocking) {
  writing->writeData(bytes("x"));
  const auto cat = HxTask::init();
  cat->setLaunchPath("/bin/true"_hx);
  cat->setStandardOutput(writing);
  cat->launch();
  EXPECT_EQ(fcntl(writing->fileDescriptor(), F_GETFL) & O_NONBLOCK, 0);
  cat->waitUntilExit();
}

}  // namespace
}  // namespace rondel
