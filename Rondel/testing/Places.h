// SPDX-License-Identifier: MIT
#pragma once

// Where tests find things and may leave things.

#include <string>
#include <string_view>

namespace rondel::test {

/// The absolute path of the helper program made from `Rondel/testing/programs/NAME.cc`.
std::string programPath(std::string_view name);

/// The absolute path of a file or folder of the source tree, `relativePath` from its top.
std::string sourcePath(std::string_view relativePath);

/// A fresh, empty folder with an absolute path, removed with all it holds when this goes.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  /// Without a slash at its end, and without links in it.
  const std::string& path() const { return _path; }

  /// The path of `name` in the folder, whether it exists or not.
  std::string path(std::string_view name) const;

  /// Writes a file of these bytes, makes the folders on its way, and gives its path.
  std::string write(std::string_view name, std::string_view contents) const;

 private:
  std::string _path;
};

}  // namespace rondel::test
