// SPDX-License-Identifier: MIT
#include "Rondel/host/FileHandle.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/values/internal/DataStorage.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel {

using internal::fileCalls;
using internal::RunLoopSource;
using internal::SharedDescriptor;
using internal::systemCalls;

namespace {

constexpr std::size_t kChunkSize = 64 * 1024;
// A pipe that always holds a whole chunk is read on without asking the run loop, so many times.
constexpr int kReadsInOneTurn = 8;
// After so many whole chunks in a row a pipe gets more room, and is read by as much at a time: that
// saves both sides waits and calls, and still fits the caches.
constexpr int kChunksBeforeGrowth = 8;
constexpr std::size_t kLargeChunkSize = 256 * 1024;

// How often a wait looks whether the handle was closed where the system refuses to tell it.
constexpr int kMillisecondsBetweenLooks = 50;

constexpr int kLastStandardFile = 2;

[[noreturn]] void raiseFailure(const char* purpose, int descriptor, int error) {
  HxException::raise(HxFileHandleOperationException, "%s descriptor %d: %s"_hx, purpose, descriptor,
                     strerrordesc_np(error));
}

// Bytes read, 0 at the end, or -1 with errno set; never EINTR.
ssize_t readOnce(int descriptor, void* buffer, std::size_t size) {
  ssize_t count;
  do {
    count = systemCalls.read(descriptor, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// Returns whether this error of a read is the end of a terminal, or of what hangs on one.
bool isHangUp(int fd, int error) {
  struct stat facts = {};
  return error == EIO && fileCalls.fstat(fd, &facts) == 0 && S_ISCHR(facts.st_mode);
}

// What a read has left in a buffer for it. Little is handed out as a copy of its own size, so that
// who keeps it keeps no more.
HxData readBytes(HxMutableData& buffer, std::size_t length) {
  constexpr std::size_t kLeastPart = 4;
  if (length < buffer.length() / kLeastPart) return HxData::dataWithBytes(buffer.bytes(), length);
  buffer.setLength(length);
  return buffer;
}

}  // namespace

struct HxFileHandle::Impl {
  Impl(const Ref<SharedDescriptor>& open, bool isOurs) : descriptor(open), isPrivateEnd(isOurs) {}

  std::mutex lock;                   // of these five
  Ref<SharedDescriptor> descriptor;  // null once closed
  Ref<SharedDescriptor> closing;     // an eventfd that ends waits; there once somebody has waited
  Ref<RunLoopSource> source;         // of the background read
  bool isPrivateEnd;                 // an end of our own pipe that no child shares
  bool isNonBlocking = false;        // because we made it so

  HxMutableData buffer = nullptr;  // of the background read
  std::size_t chunkSize = kChunkSize;
  int wholeChunks = 0;  // in a row

  void makeNonBlocking();
  void waitFor(short events, const Ref<SharedDescriptor>& open, const char* purpose);
  Ref<SharedDescriptor> endOfWaits(const Ref<SharedDescriptor>& open, const char* purpose);
  Ref<RunLoopSource> currentSource(Ref<SharedDescriptor>& open, bool& canReadOn);
  bool readChunk(const Ref<SharedDescriptor>& open, HxData& data);
  void growPipe(int number);
};

HxFileHandle::HxFileHandle(const Ref<SharedDescriptor>& descriptor, bool isPrivateEnd)
    : _impl(new Impl(descriptor, isPrivateEnd)) {}

HxFileHandle::~HxFileHandle() {
  closeFile();
  HxNotificationCenter::defaultCenter()->forgetObject(this, HxFileHandleReadCompletionNotification);
}

HxClass HxFileHandle::classObject() noexcept {
  static const HxClassInfo info{"HxFileHandle", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxFileHandle> HxFileHandle::initWithFileDescriptor(int descriptor, bool closeOnDealloc) {
  if (descriptor < 0) return makeRef<HxFileHandle>(nullptr, false);
  // The standard files are everybody's, whoever closes them.
  if (closeOnDealloc && descriptor > kLastStandardFile) {
    systemCalls.fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
  const auto ownership =
      closeOnDealloc ? SharedDescriptor::Ownership::owned : SharedDescriptor::Ownership::borrowed;
  return makeRef<HxFileHandle>(makeRef<SharedDescriptor>(descriptor, ownership), false);
}

Ref<HxFileHandle> HxFileHandle::fileHandleWithNullDevice() {
  const Ref<SharedDescriptor> device =
      internal::ownDescriptor(fileCalls.open("/dev/null", O_RDWR | O_CLOEXEC, 0));
  return device ? makeRef<HxFileHandle>(device, false) : nullptr;
}

int HxFileHandle::fileDescriptor() const noexcept {
  const std::scoped_lock held(_impl->lock);
  return _impl->descriptor ? _impl->descriptor->fd() : -1;
}

void HxFileHandle::closeFile() {
  Ref<SharedDescriptor> descriptor;  // closed when the last user lets go, outside the lock
  Ref<SharedDescriptor> closing;
  Ref<RunLoopSource> source;
  {
    const std::scoped_lock held(_impl->lock);
    std::swap(descriptor, _impl->descriptor);
    std::swap(closing, _impl->closing);
    std::swap(source, _impl->source);
  }
  const std::uint64_t one = 1;
  if (closing) systemCalls.write(closing->fd(), &one, sizeof one);
  if (source) source->remove();
}

// A share of the descriptor for the time of a call, whose waits closeFile ends if they are ours.
Ref<SharedDescriptor> HxFileHandle::openDescriptor(const char* purpose, bool waitsAreOurs) const {
  const std::scoped_lock held(_impl->lock);
  if (!_impl->descriptor) raiseFailure(purpose, -1, EBADF);
  if (waitsAreOurs) _impl->makeNonBlocking();
  return _impl->descriptor;
}

// Returns the descriptor for a child, which finds it as it was made. Null if closed.
Ref<SharedDescriptor> HxFileHandle::lendToChild() const {
  const std::scoped_lock held(_impl->lock);
  if (!_impl->descriptor) return nullptr;
  if (_impl->isNonBlocking) systemCalls.fcntl(_impl->descriptor->fd(), F_SETFL, 0);
  _impl->isNonBlocking = false;
  _impl->isPrivateEnd = false;
  return _impl->descriptor;
}

// ---- Reading in the background ----------------------------------------------------------------

void HxFileHandle::readInBackgroundAndNotify() { readInBackgroundAndNotifyForModes(nullptr); }

void HxFileHandle::readInBackgroundAndNotifyForModes(const HxArray& modes) {
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  Ref<RunLoopSource> source;
  Ref<RunLoopSource> ofOtherThread;
  {
    const std::scoped_lock held(_impl->lock);
    if (_impl->source && _impl->source->loop() != loop) {
      std::swap(ofOtherThread, _impl->source);
    }
    if (!_impl->source) {
      _impl->makeNonBlocking();
      _impl->source = makeRef<RunLoopSource>(loop, _impl->descriptor, RunLoopSource::Order::read,
                                             this, descriptorIsReady);
      if (!_impl->descriptor) _impl->source->raise();  // a closed handle is at its end
    }
    source = _impl->source;
  }
  if (ofOtherThread) ofOtherThread->remove();
  source->arm(modes);
}

// Only what nobody else shares. It lets a turn read on without asking first, and a close end a
// write that waits. The lock is held.
void HxFileHandle::Impl::makeNonBlocking() {
  if (!isPrivateEnd || isNonBlocking || !descriptor) return;
  isNonBlocking = systemCalls.fcntl(descriptor->fd(), F_SETFL, O_NONBLOCK) == 0;
}

bool HxFileHandle::descriptorIsReady(HxObject& object) {
  auto& handle = static_cast<HxFileHandle&>(object);
  Impl& impl = *handle._impl;
  bool handled = false;
  for (int round = 0; round < kReadsInOneTurn; ++round) {
    Ref<SharedDescriptor> descriptor;
    bool canReadOn = false;
    const Ref<RunLoopSource> source = impl.currentSource(descriptor, canReadOn);
    HxData data;
    if (!source || !impl.readChunk(descriptor, data)) break;
    handled = true;
    const HxUInteger length = data.length();
    length > 0 ? source->disarm() : source->park();
    HxNotificationCenter::defaultCenter()->postNotification(
        HxFileHandleReadCompletionNotification, HxAny(&handle),
        HxDictionary::dictionaryWithObject(data, HxFileHandleNotificationDataItem));
    if (!canReadOn || length < impl.chunkSize || !source->isArmedNow()) break;
  }
  return handled;
}

// Null when the handle was closed meanwhile.
Ref<RunLoopSource> HxFileHandle::Impl::currentSource(Ref<SharedDescriptor>& open, bool& canReadOn) {
  const std::scoped_lock held(lock);
  open = descriptor;
  canReadOn = isNonBlocking;
  return source;
}

// One read; false when there was nothing after all. Empty data at the end and after an error.
bool HxFileHandle::Impl::readChunk(const Ref<SharedDescriptor>& open, HxData& data) {
  internal::prepareForReading(buffer, chunkSize);
  const ssize_t count = open ? readOnce(open->fd(), buffer.mutableBytes(), chunkSize) : 0;
  const int error = count < 0 ? errno : 0;
  if (error == EAGAIN || error == EWOULDBLOCK) return false;
  if (error != 0 && !isHangUp(open->fd(), error)) {
    HxLog("HxFileHandle: could not read from descriptor %d: %s"_hx, open->fd(),
          strerrordesc_np(error));
  }
  const std::size_t length = count > 0 ? static_cast<std::size_t>(count) : 0;
  data = readBytes(buffer, length);
  if (length == 0) buffer = nullptr;
  wholeChunks = length == chunkSize ? wholeChunks + 1 : 0;
  if (wholeChunks == kChunksBeforeGrowth && chunkSize < kLargeChunkSize) growPipe(open->fd());
  return true;
}

void HxFileHandle::Impl::growPipe(int number) {
  const std::scoped_lock held(lock);
  if (!isNonBlocking) return;
  const int size = systemCalls.fcntl(number, F_SETPIPE_SZ, static_cast<int>(kLargeChunkSize));
  if (size > 0) chunkSize = kLargeChunkSize;  // else the system has none to spare
}

// ---- Reading and writing at once --------------------------------------------------------------

// Until the descriptor is ready for these events. Raises when the handle is closed meanwhile.
void HxFileHandle::Impl::waitFor(short events, const Ref<SharedDescriptor>& open,
                                 const char* purpose) {
  const Ref<SharedDescriptor> end = endOfWaits(open, purpose);
  pollfd two[] = {{.fd = open->fd(), .events = events, .revents = 0},
                  {.fd = end ? end->fd() : -1, .events = POLLIN, .revents = 0}};
  systemCalls.poll(two, 2, end ? -1 : kMillisecondsBetweenLooks);
}

// What closing makes readable; null when the system has none left.
Ref<SharedDescriptor> HxFileHandle::Impl::endOfWaits(const Ref<SharedDescriptor>& open,
                                                     const char* purpose) {
  const std::scoped_lock held(lock);
  if (!descriptor) raiseFailure(purpose, open->fd(), EBADF);
  if (!closing) closing = internal::makeEvent();
  return closing;
}

HxData HxFileHandle::availableData() {
  static constexpr const char* kPurpose = "cannot read from";
  const Ref<SharedDescriptor> descriptor = openDescriptor(kPurpose, false);
  HxMutableData buffer = nullptr;
  internal::prepareForReading(buffer, kChunkSize);
  ssize_t count = readOnce(descriptor->fd(), buffer.mutableBytes(), kChunkSize);
  while (count < 0 && errno == EAGAIN) {
    _impl->waitFor(POLLIN, descriptor, kPurpose);
    count = readOnce(descriptor->fd(), buffer.mutableBytes(), kChunkSize);
  }
  if (count < 0 && errno != EIO) raiseFailure(kPurpose, descriptor->fd(), errno);
  return readBytes(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
}

HxData HxFileHandle::readDataToEndOfFile() {
  HxMutableData all = HxMutableData::data();
  for (HxData chunk = availableData(); !chunk.isEmpty(); chunk = availableData()) {
    all.appendData(chunk);
  }
  return all;
}

void HxFileHandle::writeData(const HxData& data) {
  static constexpr const char* kPurpose = "cannot write to";
  if (data.isEmpty()) return;
  const Ref<SharedDescriptor> descriptor = openDescriptor(kPurpose, true);
  const std::uint8_t* bytes = data.bytes();
  std::size_t left = data.length();
  while (left > 0) {
    const ssize_t count = systemCalls.write(descriptor->fd(), bytes, left);
    if (count >= 0) {
      bytes += count;
      left -= static_cast<std::size_t>(count);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      _impl->waitFor(POLLOUT, descriptor, kPurpose);
    } else if (errno != EINTR) {
      raiseFailure(kPurpose, descriptor->fd(), errno);
    }
  }
}

}  // namespace rondel
