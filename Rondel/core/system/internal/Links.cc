// SPDX-License-Identifier: MIT
//
// Follows the links of a path, in one of two ways.
//
// The system follows them, and reports where it arrived. The file is opened as a place only
// (O_PATH). Then /proc/self/fd/N is a link to its path. That takes three calls however long the
// path is, but yields absolute paths only.
//
// Else the path is walked. `rest` is what is still to be followed, `done` has no links. With a link
// /a/l -> ../b the path /a/l/./c goes
//
//   done: /     rest: a/l/./c
//   done: /a    rest: l/./c
//   done: /a    rest: ../b/./c      the link's text takes its place
//   done: /     rest: b/./c
//   done: /b    rest: ./c
//   done: /b/c
#include "Rondel/core/system/internal/Links.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/system/internal/FileCalls.h"

namespace rondel::internal {
namespace {

// A path that is built component by component.
class PathBuilder {
 public:
  void startAtRoot() { _path = "/"; }
  const std::string& path() const { return _path; }

  void append(std::string_view name) {
    if (!_path.empty() && _path != "/") _path += '/';
    _path += name;
  }
  // Goes to the parent. The parent of the root is the root. What a relative path starts from has a
  // parent that only ".." can name.
  void removeLast() {
    if (_path == "/") return;
    const std::size_t separator = _path.rfind('/');
    const std::size_t start = separator == std::string::npos ? 0 : separator + 1;
    if (_path.empty() || _path.compare(start, std::string::npos, "..") == 0) return append("..");
    _path.resize(start <= 1 ? start : start - 1);
  }

 private:
  std::string _path;
};

// Returns the text of a link; the empty string if it cannot be read.
std::string targetOfLink(const char* path) {
  std::array<char, PATH_MAX> target;  // the system makes no longer ones
  const ssize_t length = fileCalls.readlink(path, target.data(), target.size());
  return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : std::string();
}

// What is still to be followed.
class Rest {
 public:
  explicit Rest(const char* path) : _path(path) {}

  bool isEmpty() const { return _start >= _path.size(); }
  // Takes the first component off; empty for a separator.
  std::string takeComponent() {
    const std::size_t start = _start;
    const std::size_t end = std::min(_path.find('/', start), _path.size());
    _start = end + 1;
    return _path.substr(start, end - start);
  }
  void putBefore(const std::string& target) {
    _path = isEmpty() ? target : target + "/" + _path.substr(_start);
    _start = 0;
  }

 private:
  std::string _path;
  std::size_t _start = 0;
};

std::string byWalking(const char* path) {
  Rest rest(path);
  PathBuilder done;
  if (path[0] == '/') done.startAtRoot();
  for (int links = 0; !rest.isEmpty();) {
    const std::string name = rest.takeComponent();
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      done.removeLast();
      continue;
    }
    PathBuilder next = done;
    next.append(name);
    struct stat status;
    if (fileCalls.lstat(next.path().c_str(), &status) != 0) return std::string();
    if (!S_ISLNK(status.st_mode)) {
      done = std::move(next);
      continue;
    }
    const std::string target = targetOfLink(next.path().c_str());
    if (target.empty() || ++links > kMostLinks) return std::string();
    if (target.starts_with('/')) done.startAtRoot();
    rest.putBefore(target);
  }
  return done.path().empty() ? "." : done.path();
}

// Returns where the system arrives. Returns the empty string if no path is sure to lead to the file
// again.
std::string byAskingTheSystem(const char* path) {
  constexpr std::string_view kMarkOfDeletedFiles = " (deleted)";  // may be the name's own end, too
  const Descriptor place(
      uninterrupted([&] { return fileCalls.open(path, O_PATH | O_CLOEXEC, 0); }));
  if (!place) return std::string();
  std::array<char, 32> link;
  std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", place.get());
  const std::string target = targetOfLink(link.data());
  const bool isSure =
      target.starts_with('/') && target.size() < PATH_MAX && !target.ends_with(kMarkOfDeletedFiles);
  return isSure ? target : std::string();
}

}  // namespace

std::string pathWithoutLinks(const char* path) {
  if (std::strlen(path) >= PATH_MAX) return std::string();  // the system takes no longer ones
  if (path[0] == '/') {
    if (std::string target = byAskingTheSystem(path); !target.empty()) return target;
  }
  return byWalking(path);
}

}  // namespace rondel::internal
