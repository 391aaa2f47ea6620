// SPDX-License-Identifier: MIT
#pragma once

// Paths of what tests use, and folders for what they write.

#include <string>
#include <string_view>

namespace rondel::test {

/// Returns the absolute path of the helper program made from `Rondel/testing/programs/NAME.cc`.
std::string programPath(std::string_view name);

/// Returns the absolute path of a file or folder of the source tree. `relativePath` starts at its
/// top.
std::string sourcePath(std::string_view relativePath);

/// A new, empty folder with an absolute path. The destructor removes it with its contents.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  /// Returns the path, without a slash at its end and without links in it.
  const std::string& path() const { return _path; }

  /// Returns the path of `name` in the folder, whether that exists or not.
  std::string path(std::string_view name) const;

  /// Writes a file of these bytes and creates the folders on its path. Returns the path.
  std::string write(std::string_view name, std::string_view contents) const;

 private:
  std::string _path;
};

}  // namespace rondel::test
