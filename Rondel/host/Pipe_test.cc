// SPDX-License-Identifier: MIT
#include "Rondel/host/Pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Rondel/host/FileHandle.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using test::SystemCalls;

TEST(Pipe, EndsAreCloseOnExecAndConnected) {
  const auto pipe = HxPipe::init();
  EXPECT_EQ(fcntl(pipe->fileHandleForReading()->fileDescriptor(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(pipe->fileHandleForWriting()->fileDescriptor(), F_GETFD), FD_CLOEXEC);
  pipe->fileHandleForWriting()->writeData(HxData::dataWithBytes("x", 1));
  EXPECT_TRUE(
      pipe->fileHandleForReading()->availableData().isEqualToData(HxData::dataWithBytes("x", 1)));
  EXPECT_EQ(pipe->fileHandleForReading(), pipe->fileHandleForReading());
}

TEST(Pipe, IsNullWithErrnoWhenRefused) {
  for (const int error : {EMFILE, ENFILE}) {
    const test::SystemCallsKept kept;
    test::failCall<&SystemCalls::pipe2>(1, error);
    errno = 0;
    EXPECT_TRUE(HxPipe::init().isNil());
    EXPECT_EQ(errno, error);
    EXPECT_FALSE(HxPipe::init().isNil());
  }
}

TEST(Pipe, KeepsOffTheNumbersOfClosedStandardFiles) {
  const int kept = fcntl(0, F_DUPFD_CLOEXEC, 10);
  close(0);
  {
    const auto pipe = HxPipe::init();
    ASSERT_TRUE(pipe);
    EXPECT_GT(pipe->fileHandleForReading()->fileDescriptor(), 2);
    EXPECT_LT(fcntl(0, F_GETFD), 0);
    const test::SystemCallsKept calls;
    test::failCall<&SystemCalls::fcntl>(1, EMFILE);
    errno = 0;
    EXPECT_TRUE(HxPipe::init().isNil());
    EXPECT_EQ(errno, EMFILE);
  }
  dup2(kept, 0);
  close(kept);
}

}  // namespace
}  // namespace rondel
