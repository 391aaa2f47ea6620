// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FileContents.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/ResourceListener.h"

namespace rondel::internal {
namespace {

using test::FileFault;
using test::ProcessResources;
using test::SystemCallsKept;

HxString hx(const std::string& utf8) { return HxString(std::string_view(utf8)); }

std::span<const std::byte> bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

std::string textOf(const HxData& data) {
  return data ? std::string(reinterpret_cast<const char*>(data.bytes()), data.length()) : "(nil)";
}

std::string contentsAt(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// A fresh folder with the file "file", whose mode is one that no new file gets.
class FileContents : public testing::Test {
 protected:
  static constexpr mode_t kMode = 0604;

  FileContents() { EXPECT_EQ(::chmod(file.c_str(), kMode), 0); }
  mode_t mode() const {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status.st_mode & 07777U;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  bool replace(std::string_view contents) const { return replaceFile(hx(file), bytesOf(contents)); }

  const SystemCallsKept kept;
  const test::TemporaryDirectory folder;
  const std::string file = folder.write("file", "old");
};

// Each row leaves the old file alone, says why, and keeps nothing open.
TEST_F(FileContents, StaysAsItWasIfReplacingItFails) {
  const auto faults =
      test::faultsOf({"readlink", "stat", "open", "write", "fchmod", "fsync", "close", "rename"});
  for (const FileFault& fault : faults) {
    const ProcessResources before = ProcessResources::now();
    {
      const SystemCallsKept table;
      fault.install();
      errno = 0;
      EXPECT_FALSE(replace("new and longer")) << fault.name();
      EXPECT_EQ(errno, fault.error) << fault.name();
    }
    EXPECT_EQ(contentsAt(file), "old") << fault.name();
    EXPECT_EQ(mode(), kMode) << fault.name();
    EXPECT_EQ(names(), std::vector<std::string>{"file"}) << fault.name();
    EXPECT_EQ(ProcessResources::now(), before) << fault.name();
  }
  EXPECT_TRUE(replace("new"));
  EXPECT_EQ(contentsAt(file), "new");
}

TEST_F(FileContents, IsNotMadeIfReplacingFails) {
  std::filesystem::remove(file);
  for (const FileFault& fault : test::faultsOf({"open", "write", "fsync", "close", "rename"})) {
    {
      const SystemCallsKept table;
      fault.install();
      EXPECT_FALSE(replace("new")) << fault.name();
      EXPECT_EQ(errno, fault.error) << fault.name();
    }
    EXPECT_TRUE(names().empty()) << fault.name();
  }
}

TEST_F(FileContents, FailureToCleanUpDoesNotHideTheReason) {
  for (const FileFault& fault : test::faultsOf({"unlink"})) {
    test::failCall<&FileCalls::rename>(1, EXDEV);
    fault.install();
    EXPECT_FALSE(replace("new")) << fault.name();
    EXPECT_EQ(errno, EXDEV) << fault.name();
    EXPECT_EQ(contentsAt(file), "old") << fault.name();
  }
}

std::string trace;

TEST_F(FileContents, IsOnTheDiskWithItsModeBeforeItIsRenamed) {
  trace.clear();
  fileCalls.open = +[](const char* path, int flags, mode_t mode) {
    trace += flags & O_EXCL ? "make " : "open ";
    return ::open(path, flags, mode);
  };
  fileCalls.write = +[](int fd, const void* bytes, size_t length) {
    trace += "write ";
    return ::write(fd, bytes, length);
  };
  fileCalls.fchmod = +[](int fd, mode_t mode) {
    trace += "fchmod ";
    return ::fchmod(fd, mode);
  };
  fileCalls.fsync = +[](int fd) {
    trace += "fsync ";
    return ::fsync(fd);
  };
  fileCalls.close = +[](int fd) {
    trace += "close ";
    return ::close(fd);
  };
  fileCalls.rename = +[](const char* from, const char* to) {
    trace += "rename";
    return std::rename(from, to);
  };
  EXPECT_TRUE(replace("new"));
  EXPECT_EQ(trace, "make write fchmod fsync close rename");
  EXPECT_EQ(mode(), kMode);
}

mode_t modeAsked = 0;

TEST_F(FileContents, IsPrivateUntilItHasTheOldMode) {
  fileCalls.open = +[](const char* path, int flags, mode_t mode) {
    if (flags & O_EXCL) modeAsked = mode;
    return ::open(path, flags, mode);
  };
  EXPECT_TRUE(replace("new"));
  EXPECT_EQ(modeAsked, mode_t{0600});
  EXPECT_EQ(mode(), kMode);
  std::filesystem::remove(file);
  EXPECT_TRUE(replace("new"));
  EXPECT_EQ(modeAsked, mode_t{0666});
}

// Another program takes the name of the new file just before it is made.
TEST_F(FileContents, NewFileNeverTakesTheNameOfAnother) {
  static std::string taken;
  taken.clear();
  fileCalls.open = +[](const char* path, int flags, mode_t mode) {
    if (taken.empty()) {
      taken = path;
      std::ofstream(taken) << "another's";
    }
    return ::open(path, flags, mode);
  };
  EXPECT_TRUE(replace("new"));
  EXPECT_EQ(contentsAt(file), "new");
  EXPECT_EQ(contentsAt(taken), "another's");
}

TEST_F(FileContents, NamesThatAreAlwaysTakenEndInAnError) {
  test::failCall<&FileCalls::open>(1, EEXIST, 1000);
  EXPECT_FALSE(replace("new"));
  EXPECT_EQ(errno, EEXIST);
}

TEST_F(FileContents, IsWrittenWholeThoughEachWriteTakesOneByte) {
  fileCalls.write = +[](int fd, const void* bytes, size_t) { return ::write(fd, bytes, 1); };
  EXPECT_TRUE(replace("new and longer"));
  EXPECT_EQ(contentsAt(file), "new and longer");
}

TEST_F(FileContents, IsReadWholeThoughEachReadReturnsOneByte) {
  fileCalls.read = +[](int fd, void* bytes, size_t) { return ::read(fd, bytes, 1); };
  EXPECT_EQ(textOf(contentsOfFile(hx(file))), "old");
}

TEST_F(FileContents, SignalsChangeNothing) {
  const struct {
    const char* name;
    void (*interrupt)(int error);
  } rows[] = {
      {"open", test::failFirstCall<&FileCalls::open>},
      {"read", test::failFirstCall<&FileCalls::read>},
      {"write", test::failFirstCall<&FileCalls::write>},
      {"fsync", test::failFirstCall<&FileCalls::fsync>},
      {"close", test::failFirstClose},
  };
  for (const auto& [name, interrupt] : rows) {
    const SystemCallsKept table;
    const ProcessResources before = ProcessResources::now();
    interrupt(EINTR);
    EXPECT_TRUE(replace(name)) << name;
    interrupt(EINTR);
    EXPECT_EQ(textOf(contentsOfFile(hx(file))), name);
    EXPECT_EQ(ProcessResources::now(), before) << name;
  }
}

TEST_F(FileContents, PlainWritingSaysWhyItFails) {
  for (const FileFault& fault : test::faultsOf({"open", "write", "close"})) {
    const SystemCallsKept table;
    const ProcessResources before = ProcessResources::now();
    fault.install();
    EXPECT_FALSE(writeFile(hx(file), bytesOf("new"))) << fault.name();
    EXPECT_EQ(errno, fault.error) << fault.name();
    EXPECT_EQ(ProcessResources::now(), before) << fault.name();
  }
}

TEST_F(FileContents, ReadingSaysWhyItFails) {
  for (const FileFault& fault : test::faultsOf({"open", "fstat", "read"})) {
    const bool isRead = fault.call == std::string_view("read");
    for (const auto& read : {+[](const HxString& path) { return contentsOfFile(path); },
                             +[](const HxString& path) { return contentsOfRegularFile(path); },
                             +[](const HxString& path) { return firstBytesOfFile(path, 2); },
                             +[](const HxString& path) { return contentsOfMappedFile(path); }}) {
      const SystemCallsKept table;
      const ProcessResources before = ProcessResources::now();
      if (isRead) test::failCall<&FileCalls::mmap>(1, ENODEV);
      fault.install();
      EXPECT_TRUE(read(hx(file)).isNil()) << fault.name();
      EXPECT_EQ(errno, fault.error) << fault.name();
      EXPECT_EQ(ProcessResources::now(), before) << fault.name();
    }
  }
}

TEST_F(FileContents, IsReadIfItCannotBeMapped) {
  for (const FileFault& fault : test::faultsOf({"mmap"})) {
    const SystemCallsKept table;
    fault.install();
    EXPECT_EQ(textOf(contentsOfMappedFile(hx(file))), "old") << fault.name();
  }
}

TEST_F(FileContents, PropertyListErrorTellsTheErrnoAndThePath) {
  for (const FileFault& fault : test::faultsOf({"open", "fstat", "read"})) {
    const SystemCallsKept table;
    fault.install();
    HxError error;
    EXPECT_TRUE(HxPropertyListWithContentsOfFile(hx(file), &error).isNil()) << fault.name();
    EXPECT_EQ(error.domain(), HxPOSIXErrorDomain);
    EXPECT_EQ(error.code(), fault.error) << fault.name();
    EXPECT_EQ(error.userInfo().objectForKey(HxFilePathErrorKey), hx(file));
  }
}

// ---- What is no regular file

TEST_F(FileContents, RegularIsRefusedWithoutWaiting) {
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  const struct {
    std::string path;
    int error;
  } rows[] = {{folder.path("fifo"), ENOTSUP},
              {"/dev/zero", ENOTSUP},
              {"/dev/null", ENOTSUP},
              {folder.path(), EISDIR},
              {folder.path("none"), ENOENT}};
  for (const auto& [path, error] : rows) {
    errno = 0;
    EXPECT_TRUE(contentsOfRegularFile(hx(path)).isNil()) << path;
    EXPECT_EQ(errno, error) << path;
  }
  EXPECT_EQ(textOf(contentsOfRegularFile(hx(file))), "old");
}

TEST_F(FileContents, WithoutAnEndIsReadToTheBoundOnly) {
  for (const auto& read : {contentsOfFile, contentsOfMappedFile}) {
    EXPECT_TRUE(read("/dev/zero"_hx, 100'000).isNil());
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(textOf(read("/dev/null"_hx, 100'000)), "");
  }
}

TEST_F(FileContents, WithoutASizeMayFillTheBound) {
  for (const std::size_t length : {0U, 1U, 4095U, 4096U, 4097U, 10'000U}) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const std::string text(length, 'x');
    ASSERT_EQ(::write(ends[1], text.data(), length), static_cast<ssize_t>(length));
    ::close(ends[1]);
    const HxString path = HxString::stringWithFormat("/dev/fd/%d"_hx, ends[0]);
    EXPECT_EQ(textOf(contentsOfFile(path, length)), text);
    ::close(ends[0]);
  }
}

TEST_F(FileContents, FirstBytesAreAllThatIsReadOfADevice) {
  EXPECT_EQ(textOf(firstBytesOfFile("/dev/zero"_hx, 3)), std::string(3, '\0'));
  EXPECT_EQ(textOf(firstBytesOfFile(hx(file), 2)), "ol");
  EXPECT_EQ(textOf(firstBytesOfFile(hx(file), 0)), "");
  EXPECT_EQ(textOf(firstBytesOfFile(hx(file), 9)), "old");
  EXPECT_EQ(textOf(firstBytesOfFile("/dev/null"_hx, 3)), "");
}

}  // namespace
}  // namespace rondel::internal
