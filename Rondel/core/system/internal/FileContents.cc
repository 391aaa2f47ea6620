// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FileContents.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"
#include "Rondel/core/system/internal/Links.h"
#include "Rondel/core/values/internal/DataStorage.h"

namespace rondel::internal {

namespace {

constexpr mode_t kModeOfNewFiles = 0666;  // without the bits of the umask
constexpr mode_t kModeOfTheUserAlone = 0600;
constexpr mode_t kPermissionBits = 07777;

Descriptor openFile(const char* path, int flags, mode_t mode = kModeOfNewFiles) {
  return Descriptor(uninterrupted([&] { return fileCalls.open(path, flags | O_CLOEXEC, mode); }));
}

// An open file and its status; false, with errno set, if one of them fails.
struct OpenFile {
  OpenFile(const HxString& text, int flags) {
    const FilePath path = FilePath::strict(text);
    if (!path) return;
    file = openFile(path.c_str(), flags);
    isKnown = file && fileCalls.fstat(file.get(), &status) == 0;
  }
  explicit operator bool() const noexcept { return isKnown; }
  bool isRegular() const noexcept { return S_ISREG(status.st_mode); }
  // The size is 0 for what the system makes up as it is read.
  bool hasSize() const noexcept { return isRegular() && status.st_size > 0; }
  HxUInteger size() const noexcept { return static_cast<HxUInteger>(status.st_size); }

  Descriptor file;
  struct stat status {};
  bool isKnown = false;
};

// Reads to the end of the file or until `most` bytes are there. Returns their number, or -1.
ssize_t readInto(int fd, std::uint8_t* bytes, HxUInteger most) {
  HxUInteger length = 0;
  while (length < most) {
    const ssize_t n =
        uninterrupted([&] { return fileCalls.read(fd, bytes + length, most - length); });
    if (n < 0) return -1;
    if (n == 0) break;
    length += static_cast<HxUInteger>(n);
  }
  return static_cast<ssize_t>(length);
}

// Returns the first `most` bytes, fewer if the file ends before. Grows from `room` by doubling.
HxData readAtMost(int fd, HxUInteger room, HxUInteger most) {
  room = std::min(room, most);
  const Ref<DataStorage> contents = DataStorage::make(room, false);
  for (HxUInteger length = 0;;) {
    contents->setLength(room);
    const ssize_t n = readInto(fd, contents->bytes() + length, room - length);
    if (n < 0) return nullptr;
    length += static_cast<HxUInteger>(n);
    if (length < room || room == most) {
      contents->setLength(length);
      return HxData(HxAny::Unchecked{}, contents);
    }
    room = room > most / 2 ? most : room * 2;
  }
}

// Returns all bytes of the file. The size is a first guess, since the file may grow meanwhile. One
// more byte of room finds the end without growing.
HxData readToEnd(const OpenFile& file, HxUInteger mostWithoutSize) {
  constexpr HxUInteger kLeastRoom = 4096;
  if (file.hasSize()) return readAtMost(file.file.get(), file.size() + 1, HxNotFound);
  HxData contents = readAtMost(file.file.get(), kLeastRoom, mostWithoutSize + 1);
  if (contents.length() <= mostWithoutSize) return contents;
  errno = EFBIG;
  return nullptr;
}

bool writeAll(int fd, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t n =
        uninterrupted([&] { return fileCalls.write(fd, bytes.data(), bytes.size()); });
    if (n < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(n));
  }
  return true;
}

}  // namespace

// ---- Reading ----------------------------------------------------------------------------------

HxData contentsOfFile(const HxString& path, HxUInteger mostWithoutSize) {
  const OpenFile file(path, O_RDONLY);
  return file ? readToEnd(file, mostWithoutSize) : HxData();
}

HxData contentsOfMappedFile(const HxString& path, HxUInteger mostWithoutSize) {
  const OpenFile file(path, O_RDONLY);
  if (!file) return nullptr;
  if (!file.hasSize()) return readToEnd(file, mostWithoutSize);
  void* bytes = fileCalls.mmap(nullptr, file.size(), PROT_READ, MAP_PRIVATE, file.file.get(), 0);
  if (bytes == MAP_FAILED) return readToEnd(file, mostWithoutSize);
  try {
    return DataStorage::makeHandle(bytes, file.size(), DataStorage::Place::mapping);
  } catch (...) {
    fileCalls.munmap(bytes, file.size());
    throw;
  }
}

HxData contentsOfRegularFile(const HxString& path) {
  const OpenFile file(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file) return nullptr;
  if (file.isRegular()) return readToEnd(file, kMostWithoutSize);
  errno = S_ISDIR(file.status.st_mode) ? EISDIR : ENOTSUP;
  return nullptr;
}

HxData firstBytesOfFile(const HxString& path, HxUInteger length) {
  const OpenFile file(path, O_RDONLY);
  return file ? readAtMost(file.file.get(), length, length) : HxData();
}

// ---- Writing ----------------------------------------------------------------------------------

bool writeFile(const HxString& path, std::span<const std::byte> bytes) {
  const FilePath name = FilePath::strict(path);
  if (!name) return false;
  Descriptor file = openFile(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
  return file && writeAll(file.get(), bytes) && file.close();
}

// ---- Replacing --------------------------------------------------------------------------------

namespace {

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// Returns the end of a chain of links, whether it exists or not. Returns nothing, with errno set,
// if the end cannot be determined, as in a cycle of links.
std::string targetOf(std::string path) {
  for (int i = 0; i < kMostLinks; ++i) {
    std::array<char, PATH_MAX> target;
    const ssize_t length = fileCalls.readlink(path.c_str(), target.data(), target.size());
    if (length < 0) return errno == EINVAL || errno == ENOENT ? path : std::string();
    const std::string_view text(target.data(), static_cast<std::size_t>(length));
    if (text.starts_with('/')) {
      path = text;
    } else {
      path = directoryOf(path).append(text);
    }
  }
  errno = ELOOP;
  return std::string();
}

// A new file beside another one, removed again unless it is renamed to it.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& target, mode_t mode) : _target(target) {
    constexpr int kMostTries = 100;
    for (int i = 0; i < kMostTries && !_file; ++i) {
      _path = directoryOf(target) + randomName();
      _file = openFile(_path.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode);
      if (!_file && errno != EEXIST) break;
    }
    _exists = static_cast<bool>(_file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    const int error = errno;
    if (_exists) fileCalls.unlink(_path.c_str());
    errno = error;
  }

  explicit operator bool() const noexcept { return static_cast<bool>(_file); }
  int fd() const noexcept { return _file.get(); }
  // Brings the bytes to the disk, then renames: a crash leaves the old file or the whole new one.
  bool takeThePlace() {
    const int synced = uninterrupted([&] { return fileCalls.fsync(_file.get()); });
    if (synced != 0 || !_file.close()) return false;
    if (fileCalls.rename(_path.c_str(), _target.c_str()) != 0) return false;
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
  const FilePath name = FilePath::strict(path);
  const std::string target = name ? targetOf(std::string(name.view())) : std::string();
  if (target.empty()) return false;
  struct stat old;
  const bool isThere = fileCalls.stat(target.c_str(), &old) == 0;
  if (!isThere && errno != ENOENT) return false;
  if (isThere && !S_ISREG(old.st_mode)) return writeFile(path, bytes);
  // Deliberate: until it has the old file's mode, nobody else may read it.
  TemporaryFile file(target, isThere ? kModeOfTheUserAlone : kModeOfNewFiles);
  if (!file || !writeAll(file.fd(), bytes)) return false;
  if (isThere && fileCalls.fchmod(file.fd(), old.st_mode & kPermissionBits) != 0) return false;
  return file.takeThePlace();
}

}  // namespace rondel::internal
