// SPDX-License-Identifier: MIT
//
// What stands behind an HxUserDefaults: the domains, and the one lock that guards them. Nothing
// that belongs to somebody else runs while it is held: all that goes in is copied into built-in
// objects first, and lines for the log are written afterwards.
#pragma once

#include <mutex>
#include <unordered_map>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/propertylist/internal/DefaultsFile.h"

namespace rondel::internal {

class UserDefaultsStore {
 public:
  struct Setup {
    HxString folder;           // of the files; nil keeps everything in memory
    HxString applicationName;  // of the application domain; nil or empty keeps it in memory
    HxArray arguments;         // the words of a command line
  };

  // A store of one's own on these places.
  static Ref<HxUserDefaults> makeDefaults(const Setup& setup);

  explicit UserDefaultsStore(const Setup& setup);

  HxAny objectForKey(const HxString& key);
  HxDictionary dictionaryRepresentation();
  void setObject(const HxHandle& value, const HxString& key);
  void addToRegistrationDomain(const HxDictionary& entries);
  bool synchronize(HxError* error);
  HxDictionary volatileDomain(const HxString& name);
  void setVolatileDomain(const HxDictionary& domain, const HxString& name);
  HxDictionary persistentDomain(const HxString& name);

 private:
  using Reports = DefaultsFile::Reports;

  // Runs the work with the lock held, then writes its lines.
  template <class Work>
  auto locked(Work work);

  HxDictionary volatileDomainHere(const HxString& name) const {
    return _volatile.objectForKey<HxDictionary>(name);
  }
  DefaultsFile& fileOfDomain(const HxString& name, Reports& reports);
  // The four domains in the order of the search; nil where one is empty.
  std::vector<HxDictionary> searchedDomains(Reports& reports);

  const HxString _folder;
  const HxString _applicationName;
  std::mutex _mutex;
  // Guarded by _mutex.
  HxMutableDictionary _volatile = nullptr;            // domains by name
  std::unordered_map<HxString, DefaultsFile> _files;  // by domain; read when first asked for
};

// The domain that the words of a command line make, the program's own name first; see
// UserDefaults.h.
HxDictionary argumentDomain(const HxArray& words);

}  // namespace rondel::internal
