// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FileContents.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/internal/DataStorage.h"

namespace rondel::internal {

namespace {

constexpr mode_t kNewFileMode = 0666;  // less what the process masks
constexpr mode_t kPermissionBits = 07777;

// Calls a system function again for as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// The path in UTF-8, as it stands: the kernel knows names as bytes, so a decomposed name would be
// another file's. Empty, with errno set, when it does not convert.
std::string encodedPath(const HxString& path) {
  const HxCString encoded = path.UTF8String();
  std::string result(encoded.view());
  if (result.empty() || result.find('\0') != std::string::npos) {
    errno = encoded.isNull() ? EILSEQ : ENOENT;
    if (path.isNil()) errno = EINVAL;
    result.clear();
  }
  return result;
}

Descriptor openFile(const std::string& path, int flags) {
  if (path.empty()) return Descriptor();
  return Descriptor(
      uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, kNewFileMode); }));
}

// Immutable data of all bytes to the end of the file. The size is a first guess: files that the
// kernel makes up say 0, and others may grow meanwhile. There is room for one byte more, so that
// the end is found without more room.
HxData readToEnd(int fd, HxUInteger size) {
  constexpr HxUInteger kLeastRoom = 4096;
  HxUInteger room = size > 0 ? size + 1 : kLeastRoom;
  HxMutableData contents = DataStorage::makeHandle(room, false);
  for (HxUInteger length = 0;;) {
    contents.setLengthUninitialized(room);
    const ssize_t n =
        uninterrupted([&] { return ::read(fd, contents.mutableBytes() + length, room - length); });
    if (n < 0) return nullptr;
    length += static_cast<HxUInteger>(n);
    if (n == 0) {
      contents.setLengthUninitialized(length);
      return contents;
    }
    if (length == room) room *= 2;
  }
}

bool writeAll(int fd, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t n = uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
    if (n < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(n));
  }
  return true;
}

}  // namespace

HxData contentsOfFile(const HxString& path) {
  const Descriptor file = openFile(encodedPath(path), O_RDONLY);
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) return nullptr;
  const bool hasSize = S_ISREG(status.st_mode) && status.st_size > 0;
  return readToEnd(file.get(), hasSize ? static_cast<HxUInteger>(status.st_size) : 0);
}

HxData contentsOfMappedFile(const HxString& path) {
  const Descriptor file = openFile(encodedPath(path), O_RDONLY);
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) return nullptr;
  if (!S_ISREG(status.st_mode) || status.st_size == 0) return readToEnd(file.get(), 0);
  const auto length = static_cast<HxUInteger>(status.st_size);
  void* bytes = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.get(), 0);
  if (bytes == MAP_FAILED) return readToEnd(file.get(), length);
  try {
    return DataStorage::makeHandle(bytes, length, DataStorage::Place::mapping);
  } catch (...) {
    ::munmap(bytes, length);
    throw;
  }
}

bool writeFile(const HxString& path, std::span<const std::byte> bytes) {
  Descriptor file = openFile(encodedPath(path), O_WRONLY | O_CREAT | O_TRUNC);
  return file && writeAll(file.get(), bytes) && file.close();
}

// ---- Replacing --------------------------------------------------------------------------------

namespace {

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// What a link leads to in the end, be it there or not; empty, with errno set, when links go round.
std::string targetOf(std::string path) {
  constexpr int kMostLinks = 40;  // as the kernel
  for (int i = 0; i < kMostLinks; ++i) {
    std::array<char, PATH_MAX> target;
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0) return path;
    const std::string text(target.data(), static_cast<std::size_t>(length));
    if (text.starts_with('/')) {
      path = text;
    } else {
      path = directoryOf(path);
      path += text;
    }
  }
  errno = ELOOP;
  return std::string();
}

// A new file beside another one, removed again unless it is renamed to it.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target) : _target(target) {
    constexpr int kMostTries = 100;
    for (int i = 0; i < kMostTries && !_file; ++i) {
      _path = directoryOf(target) + randomName();
      _file = openFile(_path, O_WRONLY | O_CREAT | O_EXCL);
      if (!_file && errno != EEXIST) break;
    }
    _exists = static_cast<bool>(_file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    const int error = errno;
    if (_exists) ::unlink(_path.c_str());
    errno = error;
  }

  explicit operator bool() const noexcept { return static_cast<bool>(_file); }
  int descriptor() const noexcept { return _file.get(); }
  // On the disk first, under the name then: a crash leaves the old file or the whole new one.
  bool takeThePlace() {
    if (uninterrupted([&] { return ::fsync(_file.get()); }) != 0 || !_file.close()) return false;
    if (::rename(_path.c_str(), _target.c_str()) != 0) return false;
    _exists = false;
    return true;
  }

 private:
  // Short, so that it fits wherever the target's name does; hidden from listings.
  static std::string randomName() {
    std::uint64_t number = 0;
    if (::getentropy(&number, sizeof number) != 0) number = static_cast<std::uint64_t>(::getpid());
    std::array<char, 32> name;
    const int length = std::snprintf(name.data(), name.size(), ".new-%016llx",
                                     static_cast<unsigned long long>(number));
    return std::string(name.data(), static_cast<std::size_t>(length));
  }

  std::string _target;
  std::string _path;
  Descriptor _file;
  bool _exists = false;
};

}  // namespace

bool replaceFile(const HxString& path, std::span<const std::byte> bytes) {
  const std::string target = targetOf(encodedPath(path));
  if (target.empty()) return false;
  struct stat old;
  const bool isThere = ::stat(target.c_str(), &old) == 0;
  if (isThere && !S_ISREG(old.st_mode)) return writeFile(path, bytes);
  TemporaryFile file(target);
  if (!file || !writeAll(file.descriptor(), bytes)) return false;
  if (isThere && ::fchmod(file.descriptor(), old.st_mode & kPermissionBits) != 0) return false;
  return file.takeThePlace();
}

}  // namespace rondel::internal
