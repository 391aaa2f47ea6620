// SPDX-License-Identifier: MIT
#pragma once

// Helpers of the tests of file handles: a pipe, and an observer that reads it.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/core/object/Exception.h"
#include "Rondel/host/FileHandle.h"
#include "Rondel/host/NotificationCenter.h"
#include "Rondel/host/Pipe.h"
#include "Rondel/testing/RunLoops.h"

namespace rondel::test {

/// Reads a handle in the background to its end, as long as it is told to go on.
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

inline void readToEnd(const Ref<Reader>& reader) {
  while (!reader->ended && runOnce()) {
  }
  EXPECT_TRUE(reader->ended);
}

inline HxData bytes(std::string_view text) {
  return HxData::dataWithBytes(text.data(), text.size());
}

inline std::string pattern(std::size_t length) {
  std::string text(length, '\0');
  for (std::size_t at = 0; at < length; ++at) text[at] = static_cast<char>(at % 251);
  return text;
}

/// A pipe and its two ends.
class FileHandle : public ::testing::Test {
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

/// Returns why the action raised; nil if it did not.
inline HxString reasonOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), HxFileHandleOperationException);
    return exception.reason();
  }
  return nullptr;
}

}  // namespace rondel::test
