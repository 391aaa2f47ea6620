// SPDX-License-Identifier: MIT
//
// Several processes change one file without losing each other's settings. No writer writes what it
// has in memory. Each writer waits for the lock, reads the file, makes its own changes in what it
// read, and replaces the file:
//
//   process A: Jobs = 4      process B: Colour = YES        the file
//   lock, read {}            waits                          { }
//   write, unlock            waits                          { Jobs = 4; }
//                            lock, read { Jobs = 4; }       { Jobs = 4; }
//                            write, unlock                  { Colour = YES; Jobs = 4; }
//
// A reader needs no lock, since the file is replaced at one stroke.
#include "Rondel/core/propertylist/internal/DefaultsFile.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/values/Data.h"

namespace rondel::internal {
namespace {

constexpr mode_t kForTheUserAlone = 0700;

// Makes the folder and those on the way to it, for the user alone. Returns false with errno set.
bool makeFolder(const std::string& path) {
  for (std::size_t i = 1; i <= path.size(); ++i) {
    if (i < path.size() && path[i] != '/') continue;
    const std::string folder = path.substr(0, i);
    struct stat status;
    if (fileCalls.mkdir(folder.c_str(), kForTheUserAlone) == 0 || errno == EEXIST) continue;
    // A folder that may not be made may exist already.
    const int error = errno;
    if (fileCalls.stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) continue;
    errno = error;
    return false;
  }
  return true;
}

// Held by every process that changes a file of the folder. Waits while another process holds it.
// False, with errno set, if the lock cannot be taken at all.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder)
      : _file(uninterrupted([&] {
          return fileCalls.open((folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        })),
        _isHeld(_file &&
                uninterrupted([&] { return fileCalls.flock(_file.get(), LOCK_EX); }) == 0) {}
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  // Deliberate: closing alone would leave the lock to a child that was forked meanwhile.
  ~FolderLock() {
    const int error = errno;
    if (_isHeld) fileCalls.flock(_file.get(), LOCK_UN);
    errno = error;
  }
  explicit operator bool() const noexcept { return _isHeld; }

 private:
  const Descriptor _file;
  const bool _isHeld;
};

HxString stringOf(const std::string& text) { return HxString(std::string_view(text)); }

bool isMissing(const HxError& error) {
  return error.domain() == HxPOSIXErrorDomain &&
         (error.code() == ENOENT || error.code() == ENOTDIR);
}

// Returns whether the fault is in the file, and not in the state of the machine at this moment.
bool isOfTheFile(const HxError& error) {
  if (error.domain() != HxPOSIXErrorDomain) return true;
  const HxInteger code = error.code();
  return code == EACCES || code == EISDIR || code == ELOOP || code == ENOTSUP;
}

// Returns the entries in the text form, or in the XML form if that alone keeps all their types. A
// string that XML does not allow is worth more than the type of a number beside it.
HxData dataOf(const HxDictionary& entries, HxError* error = nullptr) {
  if (!textFormKeepsTypes(entries)) {
    if (HxData xml = HxDataFromPropertyList(entries, HxPropertyListFormat::xml)) return xml;
  }
  return HxDataFromPropertyList(entries, HxPropertyListFormat::text, error);
}

// Returns the entries that read back as something else, with what they read back as; nil for none.
HxDictionary changedByWriting(const HxDictionary& entries, const HxData& written) {
  const HxDictionary readBack = as<HxDictionary>(HxPropertyListWithData(written));
  HxMutableDictionary changed = nullptr;
  for (const auto& [key, value] : entries) {
    const HxAny now = readBack.objectForKey(key);
    if (now == value) continue;
    if (!changed) changed = HxMutableDictionary::dictionary();
    changed.setObject(now, key);
  }
  return changed.copy();
}

// Puts a damaged file beside its place, under a name that is free. Returns that name; the empty
// string with errno set if it stays.
std::string setAside(const std::string& path) {
  std::string aside = path + ".damaged";
  struct stat status;
  for (int number = 2; fileCalls.lstat(aside.c_str(), &status) == 0; ++number) {
    aside = path + ".damaged-" + std::to_string(number);
  }
  const bool isMoved = errno == ENOENT && fileCalls.rename(path.c_str(), aside.c_str()) == 0;
  return isMoved ? aside : std::string();
}

// Replaces a damaged file. If that fails, returns false, with errno set and the damaged file where
// it was.
bool replaceDamagedFile(const HxString& damaged, const HxData& data) {
  const std::string path = damaged.toStdString();
  const std::string aside = setAside(path);
  if (aside.empty()) return false;
  if (data.writeToFile(damaged, true)) return true;
  const int error = errno;
  fileCalls.rename(aside.c_str(), path.c_str());
  errno = error;
  return false;
}

}  // namespace

std::string defaultsFileName(const HxString& domainName) {
  std::string name;
  for (const char c : domainName.toStdString()) {
    if (c != '/' && c != '%' && c != '\0' && (c != '.' || !name.empty())) {
      name += c;
    } else {
      name += {'%', kUpperHexadecimalDigits[c >> 4], kUpperHexadecimalDigits[c & 0xF]};
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

DefaultsPlace::DefaultsPlace(const HxString& wantedFolder, const HxString& domainName)
    : folder(wantedFolder.toStdString()),
      path(wantedFolder ? stringOf(folder + "/" + defaultsFileName(domainName)) : HxString()) {}

DefaultsReading readDefaultsFile(const HxString& path) {
  using State = DefaultsReading::State;
  HxError error;
  const HxAny list = propertyListOfRegularFile(path, &error);
  if (const HxDictionary entries = as<HxDictionary>(list)) return {State::whole, entries, nullptr};
  if (list) error = propertyListFileError(path, "the root is not a dictionary"_hx);
  if (isMissing(error)) return {};
  return {isOfTheFile(error) ? State::damaged : State::unreadable, nullptr, error};
}

DefaultsContents DefaultsContents::refreshed(const HxDictionary& read) const {
  HxMutableDictionary result = nullptr;
  HxMutableDictionary kept = nullptr;
  for (const auto& [key, value] : asWritten) {
    if (read.objectForKey(key) != value) continue;
    if (!result) {
      result = read.mutableCopy();
      kept = HxMutableDictionary::dictionary();
    }
    result.setObject(values.objectForKey(key), key);
    kept.setObject(value, key);
  }
  return result ? DefaultsContents{result.copy(), kept.copy()} : DefaultsContents{read, nullptr};
}

HxDictionary entriesWithChanges(const HxDictionary& entries, const DefaultsChanges& changes) {
  HxMutableDictionary result = entries ? entries.mutableCopy() : HxMutableDictionary::dictionary();
  for (const auto& [key, value] : changes) {
    if (value) {
      result.setObject(value, key);
    } else {
      result.removeObjectForKey(key);
    }
  }
  return result.copy();
}

namespace {

bool writeOver(const HxString& path, DefaultsReading::State state, const HxData& data) {
  return state == DefaultsReading::State::damaged ? replaceDamagedFile(path, data)
                                                  : data.writeToFile(path, true);
}

DefaultsWriting changeUnderLock(const DefaultsPlace& place, const DefaultsContents& known,
                                const DefaultsChanges& changes) {
  using State = DefaultsReading::State;
  DefaultsReading found = readDefaultsFile(place.path);
  if (found.state == State::unreadable) return {{}, {}, found.error};
  DefaultsContents before = found.state == State::damaged ? known : known.refreshed(found.entries);
  DefaultsContents after = {entriesWithChanges(before.values, changes), nullptr};
  HxError error;
  const HxData data = dataOf(after.values, &error);
  if (!data) return {{}, {}, error};
  // Removing what is not there is no reason to make a file, or to give up a damaged one whose
  // contents are unknown.
  if (!before.values && after.values.isEmpty())
    return {std::move(found), std::move(before), nullptr};
  const bool isInTheFile = found.state == State::whole && data == dataOf(before.values);
  if (!isInTheFile && !writeOver(place.path, found.state, data)) {
    return {{}, {}, HxError::posixError(errno, place.path)};
  }
  after.asWritten = changedByWriting(after.values, data);
  return {std::move(found), std::move(after), nullptr};
}

}  // namespace

DefaultsWriting changeDefaultsFile(const DefaultsPlace& place, const DefaultsContents& known,
                                   const DefaultsChanges& changes) {
  if (makeFolder(place.folder)) {
    if (const FolderLock lock(place.folder); lock) return changeUnderLock(place, known, changes);
  }
  return {{}, {}, HxError::posixError(errno, stringOf(place.folder))};
}

}  // namespace rondel::internal
