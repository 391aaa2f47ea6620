// SPDX-License-Identifier: MIT
//
// The implementation of HxBundle, and how the library's own bundle is found.
#pragma once

#include <string>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/propertylist/Bundle.h"

namespace rondel::internal {

class BundleObject final : public HxObject {
 public:
  // A nil path makes a bundle of nothing. Reads Info.plist, and adds a line about a damaged one.
  BundleObject(const HxString& path, const HxString& identifier,
               std::vector<std::string> wantedLanguages, std::vector<HxString>& reports);

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }
  HxString description() const override;

  const HxString& path() const noexcept { return _path; }
  // As given, else that of Info.plist.
  const HxString& identifier() const noexcept { return _identifier; }
  const HxDictionary& info() const noexcept { return _info; }
  // Returns the entries of a table in all wanted languages; nil if no language has the table. The
  // first language that has a key counts. Read on first use.
  HxDictionary table(const HxString& name);

 private:
  HxDictionary readTable(const HxString& name, std::vector<HxString>& reports) const;

  const HxString _path;
  HxString _identifier;
  HxDictionary _info;
  std::vector<std::string> _languages;  // all that are looked at, in order
  Mutex _lock;
  // By name; the empty array for none.
  HxMutableDictionary _tables RONDEL_GUARDED_BY(_lock) = nullptr;
};

// Returns a dictionary from a property list file; nil if there is none. Adds a line about a file
// that is damaged or is no regular file.
HxDictionary readDictionaryFile(const HxString& path, std::vector<HxString>& reports);

// Writes the lines through HxLog. Not to be called with a lock held.
void logReports(const std::vector<HxString>& reports);

// Returns the library's bundle: the first of the folders whose Info.plist has its identifier, else
// a bundle of nothing. Adds lines about damaged files.
HxBundle libraryBundleIn(const std::vector<std::string>& folders, std::vector<HxString>& reports);

}  // namespace rondel::internal
