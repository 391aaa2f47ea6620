// SPDX-License-Identifier: MIT
//
// HxFileHandle: an open descriptor that reads in the background and writes to the end.
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
// A handle never changes the flags of a descriptor that it was given: whoever shares it, a child
// above all, sees it as it was. Blocking and non-blocking descriptors both work.
//
// Threads. A background read belongs to the thread that asked for it. The blocking operations and
// closeFile may be called on any thread, also while another one is inside a read or a write: a wait
// for the end of a pipe made here, or for another non-blocking descriptor, then ends and raises;
// a call of the system that blocks goes on. The descriptor stays open until the last such call has
// returned, so that its number cannot come to mean another file meanwhile.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"

namespace rondel {

namespace internal {
class SharedDescriptor;
}

// Posted when a background read is done, with the handle as object.
inline constexpr HxString HxFileHandleReadCompletionNotification =
    "HxFileHandleReadCompletionNotification"_hx;
// The key of the bytes in that notification's user info: an HxData, empty at the end.
inline constexpr HxString HxFileHandleNotificationDataItem = "HxFileHandleNotificationDataItem"_hx;

class RONDEL_EXPORT HxFileHandle final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // A handle on an open descriptor. With closeOnDealloc the descriptor becomes the handle's own: it
  // is marked close-on-exec, and closed when the last reference goes. Without it the caller closes
  // it, after the handle has gone or was closed. A negative descriptor makes a closed handle.
  static Ref<HxFileHandle> initWithFileDescriptor(int descriptor, bool closeOnDealloc);
  static Ref<HxFileHandle> initWithFileDescriptor(int descriptor) {
    return initWithFileDescriptor(descriptor, false);
  }

  // Returns a new handle on /dev/null, which is empty to read and drops what is written; null, with
  // errno set, if the system refuses to open it.
  static Ref<HxFileHandle> fileHandleWithNullDevice();

  // The descriptor, still the handle's; -1 once closed.
  int fileDescriptor() const noexcept;
  bool isClosed() const noexcept { return fileDescriptor() < 0; }

  // ---- Reading in the background

  // Asks for one read. When bytes are there, some of them are read and
  // HxFileHandleReadCompletionNotification is posted to the default center, on this thread, by a
  // pass of its run loop in one of these modes (an array of mode names; nil or empty means the
  // default mode). They are at most 64 KiB, or 256 KiB of a pipe of HxPipe that has been full for a
  // while. At the end of the file, after a read error and on a closed handle the data is empty. A
  // read error is logged; the hang-up of a terminal (EIO) is an end, and no error. The read after
  // it has to be asked for again, usually by the observer.
  //
  // There is one read at a time: asking again while one is due changes its modes. The handle is not
  // kept alive by it; dropping or closing the handle takes the read back, and nothing is posted.
  // Raises HxException when the run loop cannot watch the descriptor.
  //
  // Data that is not kept is written over by the next read: to keep it, keep the HxData.
  void readInBackgroundAndNotifyForModes(const HxArray& modes);
  // In the default mode.
  void readInBackgroundAndNotify();

  // ---- Reading and writing at once

  // Waits until some bytes are there and gives at most 64 KiB of them; empty at the end and on EIO.
  // Other failures raise HxException (HxFileHandleOperationException), as on a closed handle.
  HxData availableData();
  // All bytes up to the end.
  HxData readDataToEndOfFile();

  // Writes all bytes, however many calls of the system that takes, and waits while there is no
  // room. Nil and empty data write nothing. Raises HxException (HxFileHandleOperationException)
  // when the system refuses, as on a handle that is closed, or is closed while the write waits, and
  // then some of the bytes may have been written. Writing to a pipe that nobody reads sends
  // SIGPIPE to the process; where that is ignored, it raises.
  void writeData(const HxData& data);

  // Closes the descriptor, unless it is the caller's (see closeOnDealloc), and takes back the
  // background read. Once is enough.
  void closeFile();

 private:
  friend class HxPipe;
  friend class HxTask;
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxFileHandle(const Ref<internal::SharedDescriptor>& descriptor, bool isPrivateEnd);
  ~HxFileHandle() override;
  Ref<internal::SharedDescriptor> openDescriptor(const char* purpose, bool waitsAreOurs) const;
  Ref<internal::SharedDescriptor> lendToChild() const;
  static bool descriptorIsReady(HxObject& handle);

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
