// SPDX-License-Identifier: MIT
//
// Reads in the background: what is posted, in which modes and on which thread, and what ends them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/host/FileHandle.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/FileHandles.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::bytes;
using test::FileCalls;
using test::FileHandle;
using test::look;
using test::pattern;
using test::Reader;
using test::readToEnd;
using test::reasonOf;
using test::runOnce;
using test::SystemCalls;

constexpr HxUInteger kChunk = 64 * 1024;
constexpr HxUInteger kLargeChunk = 256 * 1024;
constexpr int kChunksBeforeLargeOnes = 8;

// Fills the pipe once more, and runs until the reader has heard of that.
void fillAndRead(const Ref<HxFileHandle>& writing, const Ref<Reader>& reader, HxUInteger length) {
  writing->writeData(bytes(pattern(length)));
  const int before = reader->chunks;
  while (reader->chunks == before && runOnce()) {
  }
}

TEST_F(FileHandle, BackgroundReadPostsOnce) {
  const auto reader = makeRef<Reader>(reading);
  reader->readsOn = false;
  reading->readInBackgroundAndNotify();
  writing->writeData(bytes("ab"));
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(reader->text, "ab");
  writing->writeData(bytes("cd"));
  EXPECT_FALSE(runOnce());
  EXPECT_EQ(reader->text, "ab");
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(reader->text, "abcd");
}

TEST_F(FileHandle, NothingIsPostedWithoutData) {
  const auto reader = makeRef<Reader>(reading);
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(look());
  EXPECT_EQ(reader->chunks, 0);
}

TEST_F(FileHandle, EndIsEmptyData) {
  const auto reader = makeRef<Reader>(reading);
  writing->writeData(bytes("last words"));
  writing->closeFile();
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->text, "last words");
  EXPECT_EQ(reader->sizes, (std::vector<HxUInteger>{10, 0}));
  EXPECT_FALSE(look());
}

TEST_F(FileHandle, EndIsReportedAgainWhenAskedAgain) {
  const auto reader = makeRef<Reader>(reading);
  writing->closeFile();
  for (int round = 1; round <= 3; ++round) {
    reading->readInBackgroundAndNotify();
    runOnce();
    EXPECT_EQ(reader->chunks, round);
  }
}

TEST_F(FileHandle, ReadsOnlyInItsModes) {
  const auto reader = makeRef<Reader>(reading);
  reader->readsOn = false;
  reading->readInBackgroundAndNotifyForModes(
      HxArray::arrayWithObjects({HxDefaultRunLoopMode, "Mine"_hx}));
  writing->writeData(bytes("x"));
  EXPECT_FALSE(look("Theirs"_hx));
  EXPECT_TRUE(look("Mine"_hx));
  EXPECT_EQ(reader->chunks, 1);
}

TEST_F(FileHandle, AskingAgainChangesTheModes) {
  const auto reader = makeRef<Reader>(reading);
  reader->readsOn = false;
  reading->readInBackgroundAndNotifyForModes(HxArray::arrayWithObject("Mine"_hx));
  reading->readInBackgroundAndNotifyForModes(HxArray::array());
  writing->writeData(bytes("x"));
  EXPECT_FALSE(look("Mine"_hx));
  EXPECT_TRUE(look());
  EXPECT_EQ(reader->chunks, 1);
}

TEST_F(FileHandle, LongStreamArrivesWhole) {
  const auto reader = makeRef<Reader>(reading);
  const std::string text = pattern(5'000'000);
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  writer.join();
  EXPECT_EQ(reader->text, text);
  for (const HxUInteger size : reader->sizes) EXPECT_LE(size, kLargeChunk);
}

TEST_F(FileHandle, KeptDataIsNotWrittenOver) {
  const auto reader = makeRef<Reader>(reading);
  reader->keepsData = true;
  const std::string text = pattern(1'000'000);
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  writer.join();
  std::string kept;
  for (const HxData& data : reader->kept) {
    kept.append(reinterpret_cast<const char*>(data.bytes()), data.length());
  }
  EXPECT_EQ(kept, text);
}

TEST_F(FileHandle, PipeThatIsAlwaysFullIsReadByMoreAtATime) {
  const auto reader = makeRef<Reader>(reading);
  reading->readInBackgroundAndNotify();
  for (int i = 0; i < kChunksBeforeLargeOnes; ++i) fillAndRead(writing, reader, kChunk);
  EXPECT_EQ(reader->chunks, kChunksBeforeLargeOnes);
  fillAndRead(writing, reader, kLargeChunk);
  EXPECT_EQ(reader->sizes.back(), kLargeChunk);
  EXPECT_EQ(reader->chunks, kChunksBeforeLargeOnes + 1);
}

TEST_F(FileHandle, KeptDataIsNotWrittenOverWhenReadsBecomeLarger) {
  const auto reader = makeRef<Reader>(reading);
  reader->keepsData = true;
  reading->readInBackgroundAndNotify();
  for (int i = 0; i < kChunksBeforeLargeOnes; ++i) fillAndRead(writing, reader, kChunk);
  for (int i = 0; i < 3; ++i) fillAndRead(writing, reader, kLargeChunk);
  for (const HxData& data : reader->kept) EXPECT_EQ(data, bytes(pattern(data.length())));
}

TEST_F(FileHandle, PipeThatCannotGrowIsReadOnAsBefore) {
  const test::SystemCallsKept kept;
  const auto reader = makeRef<Reader>(reading);
  reading->readInBackgroundAndNotify();
  test::failCall<&SystemCalls::fcntl>(1, EPERM, 1000);
  for (int i = 0; i < 20; ++i) fillAndRead(writing, reader, kChunk);
  for (const HxUInteger size : reader->sizes) EXPECT_EQ(size, kChunk);
}

TEST_F(FileHandle, BusyPipeDoesNotStarveTheOthers) {
  const auto reader = makeRef<Reader>(reading);
  const auto quiet = HxPipe::init();
  const auto quietReader = makeRef<Reader>(quiet->fileHandleForReading());
  quiet->fileHandleForWriting()->writeData(bytes("me too"));
  quiet->fileHandleForWriting()->closeFile();
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    const HxData chunk = bytes(pattern(65536));
    while (!stop) writing->writeData(chunk);
    writing->closeFile();
  });
  reading->readInBackgroundAndNotify();
  quiet->fileHandleForReading()->readInBackgroundAndNotify();
  for (int pass = 0; pass < 10; ++pass) runOnce();
  EXPECT_EQ(quietReader->text, "me too");
  EXPECT_TRUE(quietReader->ended);
  stop = true;
  readToEnd(reader);
  writer.join();
}

TEST_F(FileHandle, DroppedHandleTakesItsReadBack) {
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(reading->isUniquelyReferenced());
  writing->writeData(bytes("x"));
  reading = nullptr;
  EXPECT_FALSE(look());
}

TEST_F(FileHandle, ClosedHandleTakesItsReadBack) {
  const auto reader = makeRef<Reader>(reading);
  reading->readInBackgroundAndNotify();
  writing->writeData(bytes("x"));
  reading->closeFile();
  EXPECT_FALSE(look());
  EXPECT_EQ(reader->chunks, 0);
}

TEST_F(FileHandle, ClosedByItsObserverEndsQuietly) {
  const auto reader = makeRef<Reader>(reading);
  reader->reaction = [&] {
    reading->closeFile();
    reader->readsOn = false;
  };
  writing->writeData(bytes(pattern(65536)));
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(look());
  EXPECT_FALSE(look());
  EXPECT_EQ(reader->chunks, 1);
}

TEST_F(FileHandle, DroppedByItsObserverIsSafe) {
  class Dropper : public HxObject {
   public:
    void arrived(const HxNotification&) {
      HxNotificationCenter::defaultCenter()->removeObserver(this);
      *handle = nullptr;
    }
    Ref<HxFileHandle>* handle = nullptr;
  };
  const auto dropper = makeRef<Dropper>();
  dropper->handle = &reading;
  HxNotificationCenter::defaultCenter()->addObserver<&Dropper::arrived>(dropper.get(), nullptr,
                                                                        reading);
  writing->writeData(bytes("x"));
  reading->readInBackgroundAndNotify();
  EXPECT_TRUE(runOnce());
  EXPECT_TRUE(reading.isNil());
  EXPECT_FALSE(look());
}

TEST_F(FileHandle, ClosedHandleIsAtItsEnd) {
  const auto reader = makeRef<Reader>(reading);
  reading->closeFile();
  reading->readInBackgroundAndNotify();
  EXPECT_EQ(reader->chunks, 0);
  readToEnd(reader);
  EXPECT_EQ(reader->chunks, 1);
}

TEST_F(FileHandle, WhatAnObserverRaisesPassesThePass) {
  const auto reader = makeRef<Reader>(reading);
  reader->reaction = [] { throw std::runtime_error("no"); };
  writing->writeData(bytes("x"));
  reading->readInBackgroundAndNotify();
  EXPECT_THROW(runOnce(), std::runtime_error);
  EXPECT_FALSE(look());
  reader->reaction = nullptr;
  writing->writeData(bytes("y"));
  writing->closeFile();
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->text, "xy");
}

TEST_F(FileHandle, NestedPassReadsOnInOrder) {
  const auto reader = makeRef<Reader>(reading);
  const std::string text = pattern(400'000);
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  int nesting = 0;
  reader->reaction = [&] {
    if (reader->ended || ++nesting > 3) return;
    reading->readInBackgroundAndNotify();
    runOnce();
  };
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  writer.join();
  EXPECT_EQ(reader->text, text);
}

TEST_F(FileHandle, ReadMovesToTheThreadThatAsks) {
  const auto reader = makeRef<Reader>(reading);
  reading->readInBackgroundAndNotify();
  writing->writeData(bytes("x"));
  writing->closeFile();
  std::thread([&] {
    reading->readInBackgroundAndNotify();
    readToEnd(reader);
  }).join();
  EXPECT_EQ(reader->text, "x");
  EXPECT_FALSE(look());
}

// Adds up what arrives, on whichever thread.
class Adder : public HxObject {
 public:
  void arrived(const HxNotification& notification) {
    const auto data =
        notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
    for (HxUInteger at = 0; at < data.length(); ++at) sum += data.bytes()[at];
    if (data.isEmpty()) ended = true;
  }
  std::atomic<std::size_t> sum = 0;
  std::atomic<bool> ended = false;
};

TEST_F(FileHandle, TwoThreadsThatAskInTurnsShareNoBuffer) {
  const auto adder = makeRef<Adder>();
  const auto center = HxNotificationCenter::defaultCenter();
  center->addObserver<&Adder::arrived>(adder.get(), HxFileHandleReadCompletionNotification,
                                       reading);
  const std::string text(4'000'000, '\1');
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  const auto ask = [&] {
    while (!adder->ended) {
      reading->readInBackgroundAndNotify();
      HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, nullptr);
    }
  };
  std::thread other(ask);
  ask();
  other.join();
  writer.join();
  center->removeObserver(adder.get());
  EXPECT_EQ(adder->sum, text.size());
  reading->closeFile();
}

TEST(FileHandleOfFile, OrdinaryFileIsReadInTheBackground) {
  const test::TemporaryDirectory directory;
  const std::string text = pattern(200'000);
  const std::string path = directory.write("file", text);
  const auto handle =
      HxFileHandle::initWithFileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC), true);
  const auto reader = makeRef<Reader>(handle);
  handle->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->text, text);
}

TEST(FileHandleOfTerminal, HangUpIsTheEnd) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  const auto handle = HxFileHandle::initWithFileDescriptor(master, true);
  const auto reader = makeRef<Reader>(handle);
  EXPECT_EQ(write(slave, "bye", 3), 3);
  close(slave);
  handle->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->text, "bye");
  EXPECT_TRUE(handle->availableData().isEmpty());
}

TEST_F(FileHandle, SuppliedDescriptorKeepsItsFlags) {
  const auto supplied = HxFileHandle::initWithFileDescriptor(dup(reading->fileDescriptor()), true);
  const int flags = fcntl(supplied->fileDescriptor(), F_GETFL);
  const auto reader = makeRef<Reader>(supplied);
  writing->writeData(bytes("x"));
  supplied->readInBackgroundAndNotify();
  runOnce();
  EXPECT_EQ(fcntl(supplied->fileDescriptor(), F_GETFL), flags);
}

// ---- The system refuses

TEST_F(FileHandle, ReadErrorIsAnEndAndLogged) {
  for (const int error : {EIO, EBADF, EINVAL, ENOMEM, ECONNRESET}) {
    const test::SystemCallsKept kept;
    const test::LogRecorder log;
    const auto reader = makeRef<Reader>(reading);
    writing->writeData(bytes("x"));
    reading->readInBackgroundAndNotify();
    test::failCall<&FileCalls::read>(1, error);
    readToEnd(reader);
    EXPECT_EQ(reader->chunks, 1) << std::strerror(error);
    EXPECT_EQ(log.messages(),
              std::vector<std::string>{"HxFileHandle: could not read from descriptor " +
                                       std::to_string(reading->fileDescriptor()) + ": " +
                                       strerrordesc_np(error)});
  }
}

TEST_F(FileHandle, HangUpOfATerminalIsNotLogged) {
  const test::LogRecorder log;
  const auto terminal = HxFileHandle::initWithFileDescriptor(posix_openpt(O_RDWR | O_NOCTTY), true);
  ASSERT_EQ(grantpt(terminal->fileDescriptor()), 0);
  ASSERT_EQ(unlockpt(terminal->fileDescriptor()), 0);
  close(open(ptsname(terminal->fileDescriptor()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  const auto reader = makeRef<Reader>(terminal);
  terminal->readInBackgroundAndNotify();
  readToEnd(reader);
  EXPECT_EQ(reader->chunks, 1);
  EXPECT_TRUE(log.messages().empty());
}

TEST_F(FileHandle, InterruptedAndEmptyReadsAreTriedAgain) {
  const test::SystemCallsKept kept;
  const auto reader = makeRef<Reader>(reading);
  writing->writeData(bytes("x"));
  writing->closeFile();
  reading->readInBackgroundAndNotify();
  test::failCall<&FileCalls::read>(1, EINTR, 3);
  EXPECT_TRUE(runOnce());
  EXPECT_EQ(reader->text, "x");
  test::failCall<&FileCalls::read>(1, EAGAIN, 3);
  readToEnd(reader);
  EXPECT_EQ(reader->chunks, 2);
}

TEST_F(FileHandle, PipeThatCannotBeMadeNonBlockingStillReads) {
  const test::SystemCallsKept kept;
  test::failCall<&SystemCalls::fcntl>(1, EBADF, 1000);
  const auto reader = makeRef<Reader>(reading);
  const std::string text = pattern(1'000'000);
  std::thread writer([&] {
    writing->writeData(bytes(text));
    writing->closeFile();
  });
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
  writer.join();
  EXPECT_EQ(reader->text, text);
}

TEST_F(FileHandle, ReadThatCannotBeWatchedRaisesAndMayBeTriedAgain) {
  const test::SystemCallsKept kept;
  const auto reader = makeRef<Reader>(reading);
  test::failCall<&SystemCalls::epoll_ctl>(1, ENOSPC);
  EXPECT_TRUE(reasonOf([&] {
                reading->readInBackgroundAndNotify();
              }).hasSuffix("No space left on device"_hx));
  EXPECT_FALSE(look());
  writing->closeFile();
  reading->readInBackgroundAndNotify();
  readToEnd(reader);
}

}  // namespace
}  // namespace rondel
