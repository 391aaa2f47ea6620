// SPDX-License-Identifier: MIT
//
// One persistent domain of the user defaults: a property list file, what was last read of it, and
// the changes that are not in it yet.
//
// Not for several threads at once. Lines for the log are handed out instead of written, since the
// caller holds a lock.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"

namespace rondel::internal {

class DefaultsFile {
 public:
  using Reports = std::vector<HxString>;

  // A nil folder keeps everything in memory. The folder is made when something is written.
  DefaultsFile(const HxString& folder, const HxString& domainName);

  // The file with the changes; nil when nothing was ever set.
  const HxDictionary& contents() const noexcept { return _contents; }

  // Reads the file again. One that is damaged counts as empty, and is reported when it was not
  // before.
  void read(Reports& reports);
  // Holds from now on; nil removes. Key and value are built-in objects.
  void setObject(const HxHandle& value, const HxString& key);
  // Brings the changes into the file, as it is by now. False with an error when that fails; they
  // stay for the next time.
  bool write(Reports& reports, HxError& error);

 private:
  // What the file was when it was last read.
  enum class State { missing, whole, damaged, unreadable };

  void readError(const HxHandle& list, const HxError& error, Reports& reports);
  void applyChanges();
  bool writeUnderLock(HxError& error);
  bool setAside(HxError& error) const;

  const std::string _folder;  // empty for memory only
  const HxString _path;       // nil for memory only
  State _state = State::missing;
  HxError _readError;    // of the last reading
  HxDictionary _stored;  // as last read or written
  HxDictionary _contents;
  std::vector<std::pair<HxString, HxAny>> _changes;  // in order; nil removes
};

// The file of a domain: characters that mean something in a path are written as '%' and two
// hexadecimal digits.
std::string defaultsFileName(const HxString& domainName);
// The folder of the files, by the values of XDG_CONFIG_HOME and HOME, which may be null; nil when
// neither is an absolute path in UTF-8.
HxString defaultsFolder(const char* configHome, const char* home);

}  // namespace rondel::internal
