// SPDX-License-Identifier: MIT
//
// A property list file of settings: read without waiting, and changed under a lock that other
// processes honour. Nothing here is kept between the calls; DefaultsDomain.h keeps it.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"

namespace rondel::internal {

// The change of each key: its new value, or nil to remove it.
using DefaultsChanges = std::unordered_map<HxString, HxAny>;

// Where a file of settings lies.
struct DefaultsPlace {
  // A nil folder keeps everything in memory: the path is nil.
  DefaultsPlace(const HxString& wantedFolder, const HxString& domainName);

  std::string folder;
  HxString path;
};

// What a file was found to be, and what it holds.
struct DefaultsReading {
  // `unreadable` is the state of the machine at this moment; `damaged` is the file's own.
  enum class State { missing, whole, damaged, unreadable };

  State state = State::missing;
  HxDictionary entries;  // nil unless whole
  HxError error;         // of a damaged or an unreadable file
};
DefaultsReading readDefaultsFile(const HxString& path);

// What a file holds, as values of this process. A file cannot hold all of them exactly: a date
// loses its fractions of a second.
struct DefaultsContents {
  HxDictionary values;  // nil if there is no file
  // What those values became in the file that did not stay what they were; nil for none.
  HxDictionary asWritten;

  // Returns what was read later, with values from here where the file has what they became.
  DefaultsContents refreshed(const HxDictionary& read) const;
};
HxDictionary entriesWithChanges(const HxDictionary& entries, const DefaultsChanges& changes);

// How the changing of a file went.
struct DefaultsWriting {
  DefaultsReading found;      // the file before, if there is no error
  DefaultsContents contents;  // the file now, if there is no error
  HxError error;              // why nothing was written
};
// Makes the changes in the file as it is by now. `known` is what it held when it was last read. It
// takes the place of a file that was damaged meanwhile, which is put aside.
DefaultsWriting changeDefaultsFile(const DefaultsPlace& place, const DefaultsContents& known,
                                   const DefaultsChanges& changes);

// Returns the name of a domain's file. Characters that mean something in a path become '%' and two
// hexadecimal digits.
std::string defaultsFileName(const HxString& domainName);
// Returns the folder of the files, by the values of XDG_CONFIG_HOME and HOME, which may be null.
// Returns nil if neither is an absolute path in UTF-8.
HxString defaultsFolder(const char* configHome, const char* home);

}  // namespace rondel::internal
