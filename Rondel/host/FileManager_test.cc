// SPDX-License-Identifier: MIT
#include "Rondel/host/FileManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

bool exists(const std::string& path) {
  return HxFileManager::defaultManager()->fileExistsAtPath(HxString(std::string_view(path)));
}

TEST(FileManager, DefaultManagerIsOne) {
  EXPECT_EQ(HxFileManager::defaultManager(), HxFileManager::defaultManager());
}

TEST(FileManager, FindsFilesAndDirectories) {
  const test::TemporaryDirectory directory;
  EXPECT_TRUE(exists(directory.path()));
  EXPECT_TRUE(exists(directory.write("a b \xC3\xA9", "")));
  EXPECT_FALSE(exists(directory.path("missing")));
  EXPECT_FALSE(exists(directory.path("a b e\xCC\x81")));  // the same to read, but other bytes
}

TEST(FileManager, FollowsLinks) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(symlink(directory.write("file", "").c_str(), directory.path("good").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", directory.path("dangling").c_str()), 0);
  EXPECT_TRUE(exists(directory.path("good")));
  EXPECT_FALSE(exists(directory.path("dangling")));
}

TEST(FileManager, TellsDirectories) {
  const auto manager = HxFileManager::defaultManager();
  bool isDirectory = false;
  EXPECT_TRUE(manager->fileExistsAtPath("/"_hx, &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_TRUE(manager->fileExistsAtPath("/proc/self/exe"_hx, &isDirectory));
  EXPECT_FALSE(isDirectory);
  isDirectory = true;
  EXPECT_FALSE(manager->fileExistsAtPath("/no such"_hx, &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_TRUE(manager->fileExistsAtPath("/"_hx, nullptr));
}

TEST(FileManager, NilAndEmptyDoNotExist) {
  EXPECT_FALSE(HxFileManager::defaultManager()->fileExistsAtPath(nullptr));
  EXPECT_FALSE(HxFileManager::defaultManager()->fileExistsAtPath(""_hx));
}

TEST(FileManager, NameWithANULOrALoneSurrogateDoesNotExist) {
  for (const std::u16string_view name :
       {std::u16string_view(u"/tmp\0x", 6), std::u16string_view(u"/tmp\0", 5),
        std::u16string_view(u"/tmp/\xD800")}) {
    EXPECT_FALSE(HxFileManager::defaultManager()->fileExistsAtPath(HxString(name)));
  }
}

}  // namespace
}  // namespace rondel
