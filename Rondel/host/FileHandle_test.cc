// SPDX-License-Identifier: MIT
#include "Rondel/host/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/host/Process.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::FileCalls;
using test::SystemCalls;

// Reads a handle in the background to its end, as long as it is told to go on.
class Reader : public HxObject {
 public:
  explicit Reader(const Ref<HxFileHandle>& handle) : _handle(handle) {
    HxNotificationCenter::defaultCenter()->addObserver<&Reader::arrived>(
        this, HxFileHandleReadCompletionNotification, handle);
  }
  ~Reader() override { HxNotificationCenter::defaultCenter()->removeObserver(this); }

  void arrived(const HxNotification& notification) {
    EXPECT_EQ(notification.object().object(), _handle.get());
    const auto data =
        notification.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
    EXPECT_TRUE(data);
    ++chunks;
    sizes.push_back(data.length());
    text.append(reinterpret_cast<const char*>(data.bytes()), data.length());
    if (data.isEmpty()) ended = true;
    if (keepsData) kept.push_back(data);
    if (reaction) reaction();
    if (readsOn && !ended) _handle->readInBackgroundAndNotifyForModes(modes);
  }

  int chunks = 0;
  std::vector<HxUInteger> sizes;
  std::string text;
  bool ended = false;
  bool readsOn = true;
  bool keepsData = false;
  std::vector<HxData> kept;
  HxArray modes;
  std::function<void()> reaction;

 private:
  const Ref<HxFileHandle> _handle;
};

bool runOnce(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, HxDate::distantFuture());
}
bool look(const HxString& mode = HxDefaultRunLoopMode) {
  return HxRunLoop::currentRunLoop()->runMode(mode, nullptr);
}
void readToEnd(const Ref<Reader>& reader) {
  while (!reader->ended && runOnce()) {
  }
  EXPECT_TRUE(reader->ended);
}

HxData bytes(std::string_view text) { return HxData::dataWithBytes(text.data(), text.size()); }

std::string pattern(std::size_t length) {
  std::string text(length, '\0');
  for (std::size_t at = 0; at < length; ++at) text[at] = static_cast<char>(at % 251);
  return text;
}

constexpr HxUInteger kChunk = 64 * 1024;
constexpr HxUInteger kLargeChunk = 256 * 1024;
constexpr int kChunksBeforeLargeOnes = 8;

// What one pass gives of a pipe that is filled up once more.
void fillAndRead(const Ref<HxFileHandle>& writing, const Ref<Reader>& reader, HxUInteger length) {
  writing->writeData(bytes(pattern(length)));
  const int before = reader->chunks;
  while (reader->chunks == before && runOnce()) {
  }
}

class FileHandle : public testing::Test {
 protected:
  FileHandle() : pipe(HxPipe::init()) {
    reading = pipe->fileHandleForReading();
    writing = pipe->fileHandleForWriting();
    pipe = nullptr;
  }
  Ref<HxPipe> pipe;
  Ref<HxFileHandle> reading;
  Ref<HxFileHandle> writing;
};

HxString reasonOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), HxFileHandleOperationException);
    return exception.reason();
  }
  return nullptr;
}

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

// ---- Reading in the background

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

TEST_F(FileHandle, EndIsToldAgainWhenAskedAgain) {
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

// ---- Reading and writing at once

TEST_F(FileHandle, AvailableDataGivesWhatIsThere) {
  writing->writeData(bytes("abc"));
  EXPECT_TRUE(reading->availableData().isEqualToData(bytes("abc")));
  writing->writeData(bytes(pattern(40'000)));
  EXPECT_TRUE(reading->availableData().isEqualToData(bytes(pattern(40'000))));
  writing->closeFile();
  EXPECT_EQ(reading->availableData().length(), 0u);
}

TEST_F(FileHandle, ReadDataToEndOfFileGivesAll) {
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
