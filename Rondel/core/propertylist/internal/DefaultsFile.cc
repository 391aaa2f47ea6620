// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/internal/DefaultsFile.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/values/Data.h"

namespace rondel::internal {
namespace {

// How long another process may hold the lock before the file is written all the same.
constexpr int kLockRounds = 100;
constexpr useconds_t kLockRoundMicroseconds = 10'000;

// Held by every process that changes a file of the folder. A lock that cannot be had is done
// without: settings are worth more than the rare change that is lost.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder)
      : _file(fileCalls.open((folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    for (int round = 0; _file && round < kLockRounds; ++round) {
      if (fileCalls.flock(_file.get(), LOCK_EX | LOCK_NB) == 0) return;
      if (errno != EWOULDBLOCK && errno != EINTR) return;
      usleep(kLockRoundMicroseconds);
    }
  }

 private:
  const Descriptor _file;  // closing it gives the lock back
};

// With the folders on the way, for the user alone.
void makeFolder(const std::string& path) {
  for (std::size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') fileCalls.mkdir(path.substr(0, i).c_str(), 0700);
  }
}

HxString stringOf(const std::string& text) { return HxString(std::string_view(text)); }

HxData textOf(const HxHandle& value) {
  return HxDataFromPropertyList(value, HxPropertyListFormat::text);
}

// What was read, with numbers, booleans and dates of `known` where the file has their text: it
// cannot tell them from strings.
HxDictionary withKnownTypes(const HxDictionary& read, const HxDictionary& known) {
  HxMutableDictionary result = read.mutableCopy();
  for (const auto& [key, value] : known) {
    const HxAny now = read.objectForKey(key);
    if (now && now != value && textOf(now).isEqualToData(textOf(value))) {
      result.setObject(value, key);
    }
  }
  return result.copy();
}

bool isMissing(const HxError& error) {
  return error.domain() == HxPOSIXErrorDomain &&
         (error.code() == ENOENT || error.code() == ENOTDIR);
}

// Whether the file itself is the trouble, and not the state of the machine at this moment.
bool isOfTheFile(const HxError& error) {
  return error.domain() != HxPOSIXErrorDomain || error.code() == EACCES || error.code() == EISDIR ||
         error.code() == ELOOP;
}

}  // namespace

std::string defaultsFileName(const HxString& domainName) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string name;
  for (const char c : domainName.toStdString()) {
    if (c != '/' && c != '%' && c != '\0' && (c != '.' || !name.empty())) {
      name += c;
    } else {
      name += {'%', kDigits[c >> 4], kDigits[c & 0xF]};
    }
  }
  return name + ".plist";
}

HxString defaultsFolder(const char* configHome, const char* home) {
  std::string folder;
  if (configHome && *configHome == '/') {
    folder = configHome;
  } else if (home && *home == '/') {
    folder = std::string(home) + "/.config";
  } else {
    return nullptr;
  }
  return stringOf(folder + "/rondel/defaults");
}

DefaultsFile::DefaultsFile(const HxString& folder, const HxString& domainName)
    : _folder(folder.toStdString()),
      _path(folder ? stringOf(_folder + "/" + defaultsFileName(domainName)) : HxString()) {}

void DefaultsFile::read(Reports& reports) {
  if (!_path) return;
  HxError error;
  const HxAny list = HxPropertyListWithContentsOfFile(_path, &error);
  if (const HxDictionary dictionary = as<HxDictionary>(list)) {
    _state = State::whole;
    _stored = withKnownTypes(dictionary, _contents);
  } else {
    readError(list, error, reports);
    _stored = nullptr;
  }
  applyChanges();
}

void DefaultsFile::readError(const HxHandle& list, const HxError& error, Reports& reports) {
  const bool wasTold = _state == State::damaged || _state == State::unreadable;
  _readError = error;
  if (!list && isMissing(error)) {
    _state = State::missing;
    return;
  }
  _state = list || isOfTheFile(error) ? State::damaged : State::unreadable;
  const HxString reason = list ? "its root is no dictionary"_hx : error.localizedDescription();
  if (!wasTold) {
    reports.push_back(HxString::stringWithFormat(
        "The defaults file '%@' is treated as empty: %@"_hx, _path, reason));
  }
}

void DefaultsFile::setObject(const HxHandle& value, const HxString& key) {
  _changes.emplace_back(key, value);
  applyChanges();
}

void DefaultsFile::applyChanges() {
  if (!_stored && _changes.empty()) {
    _contents = nullptr;
    return;
  }
  HxMutableDictionary contents =
      _stored ? _stored.mutableCopy() : HxMutableDictionary::dictionary();
  for (const auto& [key, value] : _changes) {
    if (value) {
      contents.setObject(value, key);
    } else {
      contents.removeObjectForKey(key);
    }
  }
  _contents = contents.copy();
}

bool DefaultsFile::write(Reports& reports, HxError& error) {
  if (_changes.empty()) return true;
  if (_path) {
    makeFolder(_folder);
    const FolderLock lock(_folder);
    read(reports);
    if (!writeUnderLock(error)) return false;
  }
  _stored = _contents;
  _changes.clear();
  return true;
}

bool DefaultsFile::writeUnderLock(HxError& error) {
  if (_state == State::unreadable) {
    error = _readError;
    return false;
  }
  // Removing what is not there is no reason to make a file or to give up a damaged one.
  if (_stored ? _contents.isEqual(_stored) : _contents.isEmpty()) return true;
  const HxData text = HxDataFromPropertyList(_contents, HxPropertyListFormat::text, &error);
  if (!text || (_state == State::damaged && !setAside(error))) return false;
  if (!text.writeToFile(_path, true)) {
    error = HxError::posixError(errno, _path);
    return false;
  }
  _state = State::whole;
  return true;
}

bool DefaultsFile::setAside(HxError& error) const {
  const std::string path = _path.toStdString();
  std::string aside = path + ".damaged";
  struct stat status;
  for (int number = 2; fileCalls.lstat(aside.c_str(), &status) == 0; ++number) {
    aside = path + ".damaged-" + std::to_string(number);
  }
  if (fileCalls.rename(path.c_str(), aside.c_str()) == 0) return true;
  error = HxError::posixError(errno, _path);
  return false;
}

}  // namespace rondel::internal
