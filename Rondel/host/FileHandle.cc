// SPDX-License-Identifier: MIT
#include "Rondel/host/FileHandle.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/values/internal/DataStorage.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/internal/RunLoopSource.h"
#include "Rondel/host/linux/Event.h"
#include "Rondel/host/linux/SystemCalls.h"

namespace rondel {

using internal::fileCalls;
using internal::MutexLock;
using internal::RunLoopSource;
using internal::SharedDescriptor;
using internal::systemCalls;

namespace {

constexpr std::size_t kChunkSize = 64 * 1024;
// How often in a row a pipe that always holds a whole chunk is read without asking the run loop.
constexpr int kReadsInOneTurn = 8;
// After so many whole chunks in a row a pipe gets more room. From then on it is read by as much at
// a time. That saves both sides waits and calls, and still fits the caches.
constexpr int kChunksBeforeGrowth = 8;
constexpr std::size_t kLargeChunkSize = 256 * 1024;

// How often a wait looks whether the handle was closed if there is no event for it.
constexpr int kMillisecondsBetweenLooks = 50;

[[noreturn]] void raiseFailure(const char* purpose, int fd, int error) {
  HxException::raise(HxFileHandleOperationException, "%s descriptor %d: %s"_hx, purpose, fd,
                     strerrordesc_np(error));
}

// Returns how many bytes it read, 0 at the end, or -1 with errno set, which is never EINTR.
ssize_t readOnce(int fd, void* buffer, std::size_t size) {
  ssize_t count;
  do {
    count = fileCalls.read(fd, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// Returns whether this error of a read is the end of a terminal, or of what hangs on one.
bool isHangUp(int fd, int error) {
  struct stat facts = {};
  return error == EIO && fileCalls.fstat(fd, &facts) == 0 && S_ISCHR(facts.st_mode);
}

// Returns what a read has put into the buffer. A small part is copied, so that whoever retains it
// does not retain the whole buffer. While memory is short it is the buffer all the same: the bytes
// are nowhere else any more.
HxData readBytes(HxMutableData& buffer, std::size_t length) noexcept {
  constexpr std::size_t kLeastPart = 4;
  if (length < buffer.length() / kLeastPart) {
    try {
      return HxData::dataWithBytes(buffer.bytes(), length);
    } catch (const std::bad_alloc&) {
    }
  }
  buffer.setLength(length);
  return buffer;
}

// The background read of one thread. Only that thread touches the buffer.
class BackgroundRead final : public HxObject {
 public:
  BackgroundRead(const Ref<HxRunLoop>& loop, const Ref<SharedDescriptor>& descriptor,
                 HxFileHandle* handle, RunLoopSource::Ready ready)
      : source(
            makeRef<RunLoopSource>(loop, descriptor, RunLoopSource::Order::read, handle, ready)) {}

  Ref<HxNotification> readChunk(HxFileHandle* handle, const Ref<SharedDescriptor>& open,
                                bool canGrow);
  bool wasWhole() const { return _wholeChunks > 0; }
  bool wasEmpty() const { return _buffer.isNil(); }

  const Ref<RunLoopSource> source;

 private:
  ~BackgroundRead() override = default;
  HxData read(const SharedDescriptor* open, bool canGrow);
  void growPipe(int fd);

  HxMutableData _buffer = nullptr;
  std::size_t _chunkSize = kChunkSize;
  int _wholeChunks = 0;  // in a row
};

// Reads once. Returns what is to be posted; null if there was nothing after all. The notification
// is made before the read, so that nothing can fail once the bytes have left the system. The buffer
// holds the place of the data, which may be a copy of a part of it.
Ref<HxNotification> BackgroundRead::readChunk(HxFileHandle* handle,
                                              const Ref<SharedDescriptor>& open, bool canGrow) {
  internal::prepareForReading(_buffer, _chunkSize);
  HxMutableDictionary userInfo =
      HxMutableDictionary::dictionaryWithObject(_buffer, HxFileHandleNotificationDataItem);
  Ref<HxNotification> news = HxNotification::notificationWithName(
      HxFileHandleReadCompletionNotification, HxAny(handle), userInfo);
  const HxData data = read(open.get(), canGrow);
  if (!data) return nullptr;
  userInfo.setObject(data, HxFileHandleNotificationDataItem);
  return news;
}

// Returns the bytes; empty data at the end and after an error; nil if there is nothing yet.
HxData BackgroundRead::read(const SharedDescriptor* open, bool canGrow) {
  const ssize_t count = open ? readOnce(open->fd(), _buffer.mutableBytes(), _chunkSize) : 0;
  const int error = count < 0 ? errno : 0;
  if (error == EAGAIN) return nullptr;
  if (error != 0 && !isHangUp(open->fd(), error)) {
    HxLog("HxFileHandle: could not read from descriptor %d: %s"_hx, open->fd(),
          strerrordesc_np(error));
  }
  const std::size_t length = count > 0 ? static_cast<std::size_t>(count) : 0;
  HxData data = readBytes(_buffer, length);
  if (length == 0) _buffer = nullptr;
  _wholeChunks = length == _chunkSize ? _wholeChunks + 1 : 0;
  if (canGrow && _wholeChunks == kChunksBeforeGrowth) growPipe(open->fd());
  return data;
}

void BackgroundRead::growPipe(int fd) {
  if (_chunkSize == kLargeChunkSize) return;
  const int size = systemCalls.fcntl(fd, F_SETPIPE_SZ, static_cast<int>(kLargeChunkSize));
  if (size > 0) _chunkSize = kLargeChunkSize;  // else the system has none to spare
}

}  // namespace

struct HxFileHandle::Impl {
  Impl(const Ref<SharedDescriptor>& open, bool isOurs) : descriptor(open), isPrivateEnd(isOurs) {}

  internal::Mutex lock;
  Ref<SharedDescriptor> descriptor RONDEL_GUARDED_BY(lock);  // null once closed
  // An eventfd that ends waits. There is one once a thread has waited.
  Ref<SharedDescriptor> closing RONDEL_GUARDED_BY(lock);
  Ref<BackgroundRead> read RONDEL_GUARDED_BY(lock);
  bool isPrivateEnd RONDEL_GUARDED_BY(lock);           // of our own pipe, and no child shares it
  bool isNonBlocking RONDEL_GUARDED_BY(lock) = false;  // because we made it so

  void makeNonBlocking() RONDEL_REQUIRES(lock);
  void waitFor(short events, const Ref<SharedDescriptor>& open, const char* purpose);
  Ref<SharedDescriptor> endOfWaits(const Ref<SharedDescriptor>& open, const char* purpose);
  Ref<BackgroundRead> readOfThisThread(Ref<SharedDescriptor>& open, bool& canReadOn);
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
  const auto shared = makeRef<SharedDescriptor>(descriptor, SharedDescriptor::Ownership::borrowed);
  Ref<HxFileHandle> handle = makeRef<HxFileHandle>(shared, false);
  if (!closeOnDealloc) return handle;
  // The standard files are everybody's, whoever closes them.
  if (descriptor >= internal::kStandardFiles) systemCalls.fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  shared->takeOver();
  return handle;
}

Ref<HxFileHandle> HxFileHandle::fileHandleWithNullDevice() {
  const Ref<SharedDescriptor> device =
      internal::ownDescriptor(fileCalls.open("/dev/null", O_RDWR | O_CLOEXEC, 0));
  return device ? makeRef<HxFileHandle>(device, false) : nullptr;
}

int HxFileHandle::fileDescriptor() const noexcept {
  const MutexLock held(_impl->lock);
  return _impl->descriptor ? _impl->descriptor->fd() : -1;
}

void HxFileHandle::closeFile() {
  Ref<SharedDescriptor> descriptor;  // these outlive the lock
  Ref<SharedDescriptor> closing;
  Ref<BackgroundRead> read;
  {
    const MutexLock held(_impl->lock);
    std::swap(descriptor, _impl->descriptor);
    std::swap(closing, _impl->closing);
    std::swap(read, _impl->read);
  }
  const std::uint64_t one = 1;
  if (closing) fileCalls.write(closing->fd(), &one, sizeof one);
  if (read) read->source->remove();
}

// Returns a share of the descriptor for the time of a call, whose waits closeFile ends. Raises if
// the handle is closed.
Ref<SharedDescriptor> HxFileHandle::openDescriptor(const char* purpose) const {
  const MutexLock held(_impl->lock);
  if (!_impl->descriptor) raiseFailure(purpose, -1, EBADF);
  _impl->makeNonBlocking();
  return _impl->descriptor;
}

// Returns the descriptor for a child, which finds it as it was made. Null if closed.
Ref<SharedDescriptor> HxFileHandle::lendToChild() const {
  const MutexLock held(_impl->lock);
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
  Ref<BackgroundRead> read;
  Ref<BackgroundRead> ofOtherThread;
  {
    const MutexLock held(_impl->lock);
    if (_impl->read && _impl->read->source->loop() != loop) std::swap(ofOtherThread, _impl->read);
    if (!_impl->read) {
      _impl->makeNonBlocking();
      _impl->read = makeRef<BackgroundRead>(loop, _impl->descriptor, this, descriptorIsReady);
      if (!_impl->descriptor) _impl->read->source->raise();  // a closed handle is at its end
    }
    read = _impl->read;
  }
  if (ofOtherThread) ofOtherThread->source->remove();
  read->source->arm(modes);
}

// Makes the descriptor non-blocking if no other user shares it. Then a turn can read on without
// asking first, and a close ends a read or a write that waits.
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
    const Ref<BackgroundRead> read = impl.readOfThisThread(descriptor, canReadOn);
    if (!read) break;
    const Ref<HxNotification> news = read->readChunk(&handle, descriptor, canReadOn);
    if (!news) break;
    handled = true;
    const bool wasWhole = read->wasWhole();  // a nested pass may read on
    if (read->wasEmpty()) {
      read->source->park();
    } else {
      read->source->disarm();
    }
    HxNotificationCenter::defaultCenter()->postNotification(news);
    if (!canReadOn || !wasWhole || !read->source->isArmedNow()) break;
  }
  return handled;
}

// Returns null if the handle was closed meanwhile, or another thread has asked for the read.
Ref<BackgroundRead> HxFileHandle::Impl::readOfThisThread(Ref<SharedDescriptor>& open,
                                                         bool& canReadOn) {
  const Ref<HxRunLoop> loop = HxRunLoop::currentRunLoop();
  const MutexLock held(lock);
  open = descriptor;
  canReadOn = isNonBlocking;
  return read && read->source->loop() == loop ? read : nullptr;
}

// ---- Reading and writing at once --------------------------------------------------------------

// Waits until the descriptor is ready for these events. Raises if the handle is closed meanwhile.
void HxFileHandle::Impl::waitFor(short events, const Ref<SharedDescriptor>& open,
                                 const char* purpose) {
  const Ref<SharedDescriptor> end = endOfWaits(open, purpose);
  pollfd two[] = {{.fd = open->fd(), .events = events, .revents = 0},
                  {.fd = end ? end->fd() : -1, .events = POLLIN, .revents = 0}};
  systemCalls.poll(two, 2, end ? -1 : kMillisecondsBetweenLooks);
}

// Returns the event that a close makes readable; null if the system refuses one, or
// memory is short.
Ref<SharedDescriptor> HxFileHandle::Impl::endOfWaits(const Ref<SharedDescriptor>& open,
                                                     const char* purpose) {
  const MutexLock held(lock);
  if (!descriptor) raiseFailure(purpose, open->fd(), EBADF);
  try {
    if (!closing) closing = internal::makeEvent();
  } catch (const std::bad_alloc&) {  // the wait does without
  }
  return closing;
}

HxData HxFileHandle::availableData() {
  static constexpr const char* kPurpose = "cannot read from";
  const Ref<SharedDescriptor> descriptor = openDescriptor(kPurpose);
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
  const Ref<SharedDescriptor> descriptor = openDescriptor(kPurpose);
  const std::uint8_t* bytes = data.bytes();
  std::size_t left = data.length();
  while (left > 0) {
    const ssize_t count = fileCalls.write(descriptor->fd(), bytes, left);
    if (count >= 0) {
      bytes += count;
      left -= static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      _impl->waitFor(POLLOUT, descriptor, kPurpose);
    } else if (errno != EINTR) {
      raiseFailure(kPurpose, descriptor->fd(), errno);
    }
  }
}

}  // namespace rondel
