// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/Links.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>

#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/Places.h"

namespace rondel::internal {
namespace {

class Links : public testing::Test {
 protected:
  Links() {
    folder.write("a/b/file", "");
    folder.write("a/gone (deleted)", "");
    std::filesystem::create_symlink("../a/b", folder.path("a/relative"));
    std::filesystem::create_symlink(folder.path("a/b"), folder.path("absolute"));
    std::filesystem::create_symlink("relative/file", folder.path("a/chain"));
    std::filesystem::create_symlink("round", folder.path("round"));
    std::filesystem::create_symlink("nowhere", folder.path("dangling"));
  }
  std::string followed(const std::string& name) const {
    return pathWithoutLinks(folder.path(name).c_str());
  }
  // Lets the system not tell, so that the path is walked.
  static void walk() { test::failCall<&FileCalls::open>(1, EMFILE, 1000); }

  const test::SystemCallsKept kept;
  const test::TemporaryDirectory folder;
};

TEST_F(Links, AreFollowedAlikeByTheSystemAndByWalking) {
  const struct {
    const char* name;
    const char* target;  // in the folder; null if the path cannot be told
  } rows[] = {
      {"a/b/file", "a/b/file"},
      {"a/relative/file", "a/b/file"},
      {"absolute/./file", "a/b/file"},
      {"a/chain", "a/b/file"},
      {"absolute/../b", "a/b"},
      {"a//b///", "a/b"},
      {"a/gone (deleted)", "a/gone (deleted)"},
      {"a/b/file/", "a/b/file"},
      {"round", nullptr},
      {"dangling", nullptr},
      {"a/missing/file", nullptr},
  };
  for (const bool isWalked : {false, true}) {
    if (isWalked) walk();
    for (const auto& [name, target] : rows) {
      EXPECT_EQ(followed(name), target ? folder.path(target) : "") << name << ' ' << isWalked;
    }
  }
}

TEST_F(Links, OfTheRootAreTheRoot) { EXPECT_EQ(pathWithoutLinks("/.."), "/"); }

TEST_F(Links, InARelativePathLeaveItRelative) {
  EXPECT_EQ(pathWithoutLinks("./.."), "..");
  EXPECT_EQ(pathWithoutLinks("."), ".");
}

// Of all that is too long for the system, nothing is looked at.
TEST_F(Links, OfAPathThatIsTooLongForTheSystemLeadNowhere) {
  const std::string longest(PATH_MAX - 2, '/');
  EXPECT_EQ(pathWithoutLinks((longest + ".").c_str()), "/");
  EXPECT_EQ(pathWithoutLinks((longest + "..").c_str()), "");
  std::string dots = ".";
  while (dots.size() < 10000000) dots += "/./.";
  EXPECT_EQ(pathWithoutLinks(dots.c_str()), "");
}

// Each of the links puts a thousand components before those that are left.
TEST_F(Links, WithLongTextAreFollowedOneAfterTheOther) {
  std::string here;
  while (here.size() < 4000) here += "./";
  std::string path = "a/b/file";
  for (int i = 0; i < 39; ++i) {
    const std::string name = "long" + std::to_string(i);
    std::filesystem::create_symlink(here + path, folder.path(name));
    path = name;
  }
  for (const bool isWalked : {false, true}) {
    if (isWalked) walk();
    EXPECT_EQ(followed(path), folder.path("a/b/file")) << isWalked;
  }
}

// The system shows the old path of such a file; another file may have it by now.
TEST_F(Links, ToADeletedFileLeadNowhere) {
  const std::string path = folder.write("short-lived", "");
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::filesystem::remove(path);
  EXPECT_EQ(pathWithoutLinks(("/proc/self/fd/" + std::to_string(fd)).c_str()), "");
  ::close(fd);
}

TEST_F(Links, AreWalkedIfTheSystemDoesNotTell) {
  for (const test::FileFault& fault : test::faultsOf({"open", "readlink"})) {
    const test::SystemCallsKept table;
    fault.install();
    EXPECT_EQ(followed("a/b/file"), folder.path("a/b/file")) << fault.name();
  }
}

TEST_F(Links, ThatCannotBeLookedAtReturnNothing) {
  for (const test::FileFault& fault : test::faultsOf({"lstat"})) {
    const test::SystemCallsKept table;
    walk();
    fault.install();
    EXPECT_EQ(followed("a/b/file"), "") << fault.name();
  }
}

}  // namespace
}  // namespace rondel::internal
