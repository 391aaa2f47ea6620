// SPDX-License-Identifier: MIT
#include "Rondel/host/ProgramPath.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

// Two folders: "a" with what cannot be executed, "b" with what can.
class ProgramPath : public testing::Test {
 protected:
  void SetUp() override {
    write("a/plain", 0600);
    write("a/both", 0600);
    write("b/both", 0700);
    write("b/tool", 0700);
    write("b/caf\xC3\xA9", 0700);
    mkdir(_place.path("a/tool").c_str(), 0700);
    mkdir(_place.path("a/folder").c_str(), 0700);
  }
  void write(const std::string& name, mode_t mode) {
    chmod(_place.write(name, "#!/bin/sh\n").c_str(), mode);
  }
  std::string a() const { return _place.path("a"); }
  std::string b() const { return _place.path("b"); }
  // The result, or the name of the error.
  static std::string found(const HxString& name, const std::string& searchPath) {
    errno = 0;
    const HxString path = HxPathOfProgram(name, HxString(searchPath));
    return path ? path.toStdString() : strerrorname_np(errno);
  }

  const test::TemporaryDirectory _place;
};

TEST_F(ProgramPath, FirstFileThatCanBeExecutedIsTheOne) {
  const std::string both = a() + ":" + b();
  EXPECT_EQ(found("tool"_hx, both), b() + "/tool");  // in "a" it is a folder
  EXPECT_EQ(found("both"_hx, both), b() + "/both");
  EXPECT_EQ(found("tool"_hx, "/no/such/folder:" + both), b() + "/tool");
  EXPECT_EQ(found("tool"_hx, b() + "/"), b() + "/tool");
}

TEST_F(ProgramPath, TellsWhyThereIsNone) {
  EXPECT_EQ(found("missing"_hx, a() + ":" + b()), "ENOENT");
  EXPECT_EQ(found("plain"_hx, a() + ":" + b()), "EACCES");
  EXPECT_EQ(found("folder"_hx, a()), "EACCES");
  EXPECT_EQ(found(""_hx, b()), "ENOENT");
  EXPECT_EQ(found(nullptr, b()), "EINVAL");
  EXPECT_EQ(found(HxString(std::string_view("to\0ol", 5)), b()), "EILSEQ");
  EXPECT_EQ(found(HxString(std::u16string_view(u"\xD800")), b()), "EILSEQ");
}

TEST_F(ProgramPath, FileThatTheSystemRefusesIsPassedOver) {
  for (const test::FileFault& fault : test::faultsOf({"stat", "faccessat"})) {
    const test::SystemCallsKept kept;
    fault.install();
    EXPECT_EQ(found("tool"_hx, b()), fault.error == EACCES ? "EACCES" : "ENOENT") << fault.name();
    fault.install();
    EXPECT_EQ(found("tool"_hx, b() + ":" + b()), b() + "/tool") << fault.name();
  }
}

TEST_F(ProgramPath, NameWithASlashIsNotSearched) {
  EXPECT_EQ(found("./tool"_hx, b()), "./tool");
  EXPECT_EQ(found("/no/such"_hx, b()), "/no/such");
}

TEST_F(ProgramPath, EmptyDirectoryIsTheWorkingDirectory) {
  const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(chdir(b().c_str()), 0);
  for (const char* path : {"", ":", "/no:", ":/no", "/no::/no"}) {
    EXPECT_EQ(found("tool"_hx, path), "./tool") << path;
  }
  EXPECT_EQ(found("tool"_hx, "../b"), "../b/tool");
  EXPECT_EQ(fchdir(before), 0);
  close(before);
}

TEST_F(ProgramPath, NamesAreBytes) {
  EXPECT_EQ(found("caf\u00E9"_hx, b()), b() + "/caf\xC3\xA9");
  EXPECT_EQ(found("cafe\u0301"_hx, b()), "ENOENT");
}

TEST_F(ProgramPath, DirectoryThatIsNoTextIsLeftOut) {
  const std::string strange = _place.path("\xFF");
  mkdir(strange.c_str(), 0700);
  ASSERT_EQ(symlink("/bin/sh", (strange + "/tool").c_str()), 0);
  const std::string kept = getenv("PATH");
  setenv("PATH", (strange + ":" + b()).c_str(), 1);
  EXPECT_EQ(HxPathOfProgram("tool"_hx), HxString(b() + "/tool"));
  setenv("PATH", kept.c_str(), 1);
}

TEST_F(ProgramPath, SearchesPATHOrElseTheSystemsOwn) {
  const std::string kept = getenv("PATH");
  setenv("PATH", b().c_str(), 1);
  EXPECT_EQ(HxPathOfProgram("tool"_hx), HxString(b() + "/tool"));
  EXPECT_EQ(HxPathOfProgram("sh"_hx), HxString());
  unsetenv("PATH");
  EXPECT_TRUE(HxPathOfProgram("sh"_hx).hasSuffix("/sh"_hx));
  setenv("PATH", kept.c_str(), 1);
}

TEST_F(ProgramPath, NilSearchPathHasNoDirectories) {
  errno = 0;
  EXPECT_FALSE(HxPathOfProgram("sh"_hx, nullptr));
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace rondel
