// SPDX-License-Identifier: MIT
#include "Rondel/testing/Places.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace rondel::test {
namespace {

TEST(Places, SourcePathLeadsIntoTheTree) {
  EXPECT_TRUE(std::filesystem::is_regular_file(sourcePath("Rondel/core/object/Version.h")));
}

TEST(Places, ProgramsAreBuilt) {
  EXPECT_TRUE(std::filesystem::is_regular_file(programPath("exit-with")));
}

TEST(Places, TemporaryDirectoryKeepsEveryByteAndGoes) {
  const std::string_view contents("a\0b\r\n\xff", 6);
  std::string folder;
  {
    TemporaryDirectory directory;
    folder = directory.path();
    const std::string file = directory.write("deep/down/file", contents);
    EXPECT_EQ(file, folder + "/deep/down/file");
    std::ifstream stream(file, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), contents);
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace
}  // namespace rondel::test
