// SPDX-License-Identifier: MIT
//
// The implementation of HxUserDefaults: the domains, and the two locks around them.
//
// `_lock` guards what is in memory and is never held for long: readers and setters need it alone.
// `_fileLock` comes first; it is held while files are written or read again. No foreign code
// runs under either: all that goes in is copied into built-in objects before, and lines for the log
// are written after.
#pragma once

#include <array>
#include <unordered_map>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/propertylist/internal/DefaultsDomain.h"

namespace rondel::internal {

class UserDefaultsStore {
 public:
  struct Setup {
    HxString folder;           // of the files; nil keeps everything in memory
    HxString applicationName;  // of the application domain; nil or empty keeps it in memory
    HxArray arguments;         // the words of a command line
  };

  // Returns a separate store on these places. Its changes are written by synchronize and when
  // it goes.
  static Ref<HxUserDefaults> makeDefaults(const Setup& setup);
  // Returns the one of the process. Its changes are written by writeChangedDefaults and at exit,
  // too. To be called once.
  static Ref<HxUserDefaults> makeStandardDefaults(const Setup& setup);

  explicit UserDefaultsStore(const Setup& setup);
  ~UserDefaultsStore();

  HxAny objectForKey(const HxString& key);
  HxDictionary dictionaryRepresentation();
  // Changes the application domain in memory.
  void setObject(const HxHandle& value, const HxString& key);
  void addToRegistrationDomain(const HxDictionary& entries);
  // Writes the changes of all domains. Returns the first error, nil for none.
  HxError writeChanges() { return updateFiles(Unchanged::leave); }
  // Does the same, and raises nothing.
  void writeChangesAtLast() noexcept;
  // Writes the changes of all domains, and reads the files of the others again. Returns the same.
  HxError synchronize() { return updateFiles(Unchanged::readAgain); }
  HxDictionary volatileDomain(const HxString& name);
  void setVolatileDomain(const HxDictionary& domain, const HxString& name);
  HxDictionary persistentDomain(const HxString& name);

 private:
  using Reports = DefaultsDomain::Reports;

  // What becomes of the file of a domain that has no changes.
  enum class Unchanged { leave, readAgain };

  HxError updateFiles(Unchanged unchanged);
  HxError updateFile(DefaultsDomain& domain, Unchanged unchanged, Reports& reports)
      RONDEL_REQUIRES(_fileLock);
  std::vector<DefaultsDomain*> domainsWithFiles();

  HxDictionary volatileDomainHere(const HxString& name) const RONDEL_REQUIRES(_lock) {
    return _volatile.objectForKey<HxDictionary>(name);
  }
  // Reads the domain's file if it was never asked for.
  DefaultsDomain& domainNamed(const HxString& name, Reports& reports) RONDEL_REQUIRES(_lock);
  // The four domains in the order of the search; nil where one is empty.
  std::array<HxDictionary, 4> searchedDomains(Reports& reports) RONDEL_REQUIRES(_lock);

  const HxString _folder;
  const HxString _applicationName;
  Mutex _fileLock;
  Mutex _lock;
  HxMutableDictionary _volatile RONDEL_GUARDED_BY(_lock);  // domains by name
  // By name; an entry never goes.
  std::unordered_map<HxString, DefaultsDomain> _domains RONDEL_GUARDED_BY(_lock);
};

// Returns the domain that the words of a command line make, the program's own name first; see
// UserDefaults.h.
HxDictionary argumentDomain(const HxArray& words);

}  // namespace rondel::internal
