// SPDX-License-Identifier: MIT
//
// HxFileHandle: an open descriptor that reads in the background and writes everything.
//
//   auto handle = pipe->fileHandleForReading();
//   center->addObserver<&Reader::arrived>(this, HxFileHandleReadCompletionNotification, handle);
//   handle->readInBackgroundAndNotify();
//   ...
//   void Reader::arrived(const HxNotification& news) {
//     auto data = news.userInfo().objectForKey<HxData>(HxFileHandleNotificationDataItem);
//     if (data.isEmpty()) return finish();          // the end
//     use(data);
//     _handle->readInBackgroundAndNotify();         // the next one
//   }
//
// A handle never changes the flags of a descriptor that it was given. Others may share it, a child
// above all. Blocking and non-blocking descriptors both work.
//
// Threads. A background read belongs to the thread that asked for it last. Any thread may call the
// blocking operations and closeFile, also during a read or a write of another one. A close ends
// their waits on an end of an HxPipe that no child was given, and on any other non-blocking
// descriptor. They then raise. A system call that blocks goes on. The descriptor stays open until
// the last such call has returned. So its fd cannot come to mean another file meanwhile.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"

namespace rondel {

namespace internal {
class SharedDescriptor;
}

// Posted after a background read, with the handle as object.
inline constexpr HxString HxFileHandleReadCompletionNotification =
    "HxFileHandleReadCompletionNotification"_hx;
// The key of the bytes in that notification's user info: an HxData, empty at the end.
inline constexpr HxString HxFileHandleNotificationDataItem = "HxFileHandleNotificationDataItem"_hx;

class RONDEL_EXPORT HxFileHandle final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a new handle on an open descriptor. With closeOnDealloc the handle owns it: it is
  // marked close-on-exec, and closed with the last reference. Without, the caller closes it, after
  // the handle is destroyed or closed. If memory is short it stays the caller's. A negative
  // descriptor makes a closed handle.
  static Ref<HxFileHandle> initWithFileDescriptor(int descriptor, bool closeOnDealloc);
  static Ref<HxFileHandle> initWithFileDescriptor(int descriptor) {
    return initWithFileDescriptor(descriptor, false);
  }

  // Returns a new handle on /dev/null, which is empty to read and drops what is written. Returns
  // null, with errno set, if the system refuses to open it.
  static Ref<HxFileHandle> fileHandleWithNullDevice();

  // Returns the descriptor, which the handle still owns; -1 once closed.
  int fileDescriptor() const noexcept;
  bool isClosed() const noexcept { return fileDescriptor() < 0; }

  // ---- Reading in the background

  // Asks for one read. Once bytes are there, a pass of this thread's run loop in one of these modes
  // reads some. It posts HxFileHandleReadCompletionNotification to the default center. The modes
  // are an array of names; nil or empty means the default mode. A read takes at most 64 KiB, or 256
  // KiB from an HxPipe that has been full for a while. The data is empty at the end of the file and
  // on a closed handle. It is empty after a read error, too, which is logged. The hang-up of a
  // terminal (EIO) is an end. Ask again for the next read, usually in the observer. If memory is
  // short, the pass ends in std::bad_alloc before it reads. The read stays due, and no bytes are
  // lost.
  //
  // There is one read at a time. Asking again while one is due changes its modes; asking on another
  // thread moves it there. A read that is under way on the first thread at that moment is still
  // posted there. The handle is not retained: dropping or closing it takes the read back, and
  // nothing is posted. Raises HxException if the run loop cannot watch the descriptor.
  //
  // The next read overwrites the data unless the HxData is retained.
  void readInBackgroundAndNotifyForModes(const HxArray& modes);
  // The same in the default mode.
  void readInBackgroundAndNotify();

  // ---- Reading and writing at once

  // Waits until some bytes are there and returns at most 64 KiB of them. Empty at the end and on
  // EIO. Raises HxException (HxFileHandleOperationException) on any other failure, and if the
  // handle is closed, before or meanwhile. If memory is short it reads nothing.
  HxData availableData();
  // Returns all bytes up to the end, and raises like availableData. What it has read by then is
  // lost.
  HxData readDataToEndOfFile();

  // Writes all bytes, in as many system calls as that takes, and waits while there is no room. Nil
  // and empty data write nothing. Raises HxException (HxFileHandleOperationException) if the system
  // refuses, and if the handle is closed, before or meanwhile. Some bytes may then have been
  // written. Writing to a pipe without a reader sends SIGPIPE to the process, and raises if that is
  // ignored.
  void writeData(const HxData& data);

  // Closes the descriptor, unless the caller owns it (see closeOnDealloc), and takes back the
  // background read. Does nothing if the handle is closed.
  void closeFile();

 private:
  friend class HxPipe;
  friend class HxTask;
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxFileHandle(const Ref<internal::SharedDescriptor>& descriptor, bool isPrivateEnd);
  ~HxFileHandle() override;
  Ref<internal::SharedDescriptor> openDescriptor(const char* purpose) const;
  Ref<internal::SharedDescriptor> lendToChild() const;
  static bool descriptorIsReady(HxObject& handle);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
