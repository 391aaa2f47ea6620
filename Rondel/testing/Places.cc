// SPDX-License-Identifier: MIT
#include "Rondel/testing/Places.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace rondel::test {
namespace {

std::string join(std::string_view folder, std::string_view name) {
  return (std::filesystem::path(folder) / name).string();
}

}  // namespace

std::string programPath(std::string_view name) { return join(RONDEL_TEST_PROGRAMS, name); }

std::string sourcePath(std::string_view relativePath) {
  return join(RONDEL_TEST_SOURCES, relativePath);
}

TemporaryDirectory::TemporaryDirectory() {
  const std::filesystem::path parent =
      std::filesystem::canonical(std::filesystem::temp_directory_path());
  _path = (parent / "rondel-test-XXXXXX").string();
  if (mkdtemp(_path.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp " + _path);
  }
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

std::string TemporaryDirectory::path(std::string_view name) const { return join(_path, name); }

std::string TemporaryDirectory::write(std::string_view name, std::string_view contents) const {
  const std::filesystem::path file = path(name);
  std::filesystem::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream.exceptions(std::ios::failbit | std::ios::badbit);
  stream.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  stream.close();
  return file.string();
}

}  // namespace rondel::test
