// SPDX-License-Identifier: MIT
//
// One persistent domain of the user defaults in memory: what its file held, and the changes not
// written yet.
//
// Not for several threads at once, and nothing here waits: files are read and written by
// DefaultsFile.h, without the lock that guards this.
#pragma once

#include <vector>

#include "Rondel/core/propertylist/internal/DefaultsFile.h"

namespace rondel::internal {

class DefaultsDomain {
 public:
  // Lines for the log. They are handed out instead of written, since the caller holds a lock.
  using Reports = std::vector<HxString>;

  // A nil folder keeps everything in memory.
  DefaultsDomain(const HxString& folder, const HxString& name) : _place(folder, name) {}

  const DefaultsPlace& place() const noexcept { return _place; }
  bool hasFile() const noexcept { return !_place.path.isNil(); }
  bool hasChanges() const noexcept { return !_changes.empty(); }
  const DefaultsContents& stored() const noexcept { return _stored; }
  const DefaultsChanges& changes() const noexcept { return _changes; }

  // Returns the value of a key, changes included; nil if there is none.
  HxAny objectForKey(const HxString& key) const { return _current.objectForKey(key); }
  // Returns the file's contents with the changes; nil if nothing was ever set.
  HxDictionary contents();

  // Holds from now on; nil removes. Key and value are built-in objects.
  void setObject(const HxHandle& value, const HxString& key);
  // Takes in what was read. What cannot be read is reported once, and what was there before stays.
  void takeReading(const DefaultsReading& reading, Reports& reports);
  // Takes in how the writing of these changes went. Those that were not written stay, and so do
  // those that were made meanwhile.
  void takeWriting(const DefaultsWriting& writing, const DefaultsChanges& changes,
                   Reports& reports);

 private:
  void reportReading(const DefaultsReading& reading, Reports& reports);
  void setStored(const DefaultsContents& stored);

  const DefaultsPlace _place;
  DefaultsContents _stored;  // as last read or written
  DefaultsChanges _changes;
  HxMutableDictionary _current = nullptr;  // both together; nil if nothing was ever set
  HxDictionary _copy;                      // of _current, until that changes
  bool _readErrorIsLogged = false;
  bool _writeErrorIsLogged = false;
};

}  // namespace rondel::internal
