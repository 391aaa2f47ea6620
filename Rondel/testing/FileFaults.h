// SPDX-License-Identifier: MIT
#pragma once

// Lets each call on files fail in turn with the errnos of its manual page.
//
//     for (const FileFault& fault : faultsOf({"open", "fsync"})) {
//       const SystemCallsKept kept;
//       fault.install();
//       EXPECT_FALSE(write()) << fault.name();
//       EXPECT_EQ(errno, fault.error);
//     }

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/testing/SystemCallFailures.h"

namespace rondel::test {

/// One call and one errno. EINTR is left out, and so is what only wrong arguments cause.
struct FileFault {
  const char* call;
  int error;
  void (*installFirst)(int error);

  /// Lets the first call from now on fail.
  void install() const { installFirst(error); }
  std::string name() const { return std::string(call) + ": " + strerrorname_np(error); }
};

template <auto Call>
void failFirstCall(int error) {
  failCall<Call>(1, error);
}

/// Lets the `number`-th close from now on fail. The fd is gone all the same.
inline void failClose(int number, int error) {
  static int errorOfClose = 0;
  static int closesLeft = 0;
  errorOfClose = error;
  closesLeft = number;
  static int (*const original)(int) = fileCalls.close.function();
  fileCalls.close = +[](int fd) {
    const int result = original(fd);
    if (--closesLeft != 0) return result;
    errno = errorOfClose;
    return -1;
  };
}
inline void failFirstClose(int error) { failClose(1, error); }

/// The faults of these calls, of all calls if none is named.
inline std::vector<FileFault> faultsOf(std::initializer_list<std::string_view> calls) {
  static const struct {
    const char* call;
    void (*installFirst)(int error);
    std::vector<int> errors;
  } table[] = {
      {"open",
       failFirstCall<&FileCalls::open>,
       {EACCES, EBUSY, EDQUOT, EFBIG, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENODEV, ENOENT,
        ENOMEM, ENOSPC, ENOTDIR, ENXIO, EPERM, EROFS, ETXTBSY}},
      {"read", failFirstCall<&FileCalls::read>, {EAGAIN, EINVAL, EIO, EISDIR}},
      {"write",
       failFirstCall<&FileCalls::write>,
       {EAGAIN, EDQUOT, EFBIG, EINVAL, EIO, ENOSPC, EPERM}},
      {"close", failFirstClose, {EDQUOT, EIO, ENOSPC}},
      {"fstat", failFirstCall<&FileCalls::fstat>, {EIO, ENOMEM, EOVERFLOW}},
      {"fchmod", failFirstCall<&FileCalls::fchmod>, {EIO, ENOMEM, EPERM, EROFS}},
      {"fsync", failFirstCall<&FileCalls::fsync>, {EDQUOT, EINVAL, EIO, ENOSPC, EROFS}},
      {"flock", failFirstCall<&FileCalls::flock>, {EINVAL, ENOLCK}},
      {"mmap",
       failFirstCall<&FileCalls::mmap>,
       {EACCES, EAGAIN, EINVAL, ENFILE, ENODEV, ENOMEM, EOVERFLOW, EPERM, ETXTBSY}},
      {"stat",
       failFirstCall<&FileCalls::stat>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EOVERFLOW}},
      {"lstat",
       failFirstCall<&FileCalls::lstat>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EOVERFLOW}},
      {"readlink",
       failFirstCall<&FileCalls::readlink>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR}},
      {"access",
       failFirstCall<&FileCalls::access>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS, ETXTBSY}},
      {"faccessat",
       failFirstCall<&FileCalls::faccessat>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS, ETXTBSY}},
      {"munmap", failFirstCall<&FileCalls::munmap>, {ENOMEM}},
      {"realpath",
       failFirstCall<&FileCalls::realpath>,
       {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOTDIR}},
      {"mkdir",
       failFirstCall<&FileCalls::mkdir>,
       {EACCES, EDQUOT, EINVAL, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC, ENOTDIR, EPERM,
        EROFS}},
      {"rename",
       failFirstCall<&FileCalls::rename>,
       {EACCES, EBUSY, EDQUOT, EINVAL, EISDIR, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC,
        ENOTDIR, ENOTEMPTY, EPERM, EROFS, EXDEV}},
      {"unlink",
       failFirstCall<&FileCalls::unlink>,
       {EACCES, EBUSY, EIO, EISDIR, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS}},
  };
  std::vector<FileFault> faults;
  for (const auto& [call, installFirst, errors] : table) {
    bool isWanted = calls.size() == 0;
    for (const std::string_view wanted : calls) isWanted = isWanted || wanted == call;
    for (const int error : errors) {
      if (isWanted) faults.push_back({call, error, installFirst});
    }
  }
  return faults;
}

}  // namespace rondel::test
