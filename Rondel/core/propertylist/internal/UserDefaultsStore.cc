// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "Rondel/core/propertylist/internal/BundleObject.h"
#include "Rondel/core/propertylist/internal/ChangedDefaults.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/text/internal/CodeUnits.h"
#include "Rondel/core/values/Data.h"

namespace rondel::internal {
namespace {

// "-key": one dash, and neither another one nor a number after it.
bool isKey(const Characters& word) noexcept {
  if (word.length() < 2 || word[0] != '-' || word[1] == '-') return false;
  return word[1] != '.' && !isDecimalDigit(word[1]);
}

bool isValue(const Characters& word) noexcept {
  return word.length() == 0 || word[0] != '-' ||
         (word.length() > 1 && !isKey(word) && word[1] != '-');
}

HxAny valueOfWord(const HxString& word) {
  PropertyListFailure failure;
  const HxAny value = readTextValue(Characters(word), failure);
  return value ? value : HxAny(builtInString(word));
}

// Returns whether a file can hold the entry, so that one bad value does not keep the others out.
bool mayBeStored(const HxHandle& value, const HxString& key) {
  return value && HxDataFromPropertyList(HxDictionary::dictionaryWithObject(value, key),
                                         HxPropertyListFormat::text);
}

void logUnusable(const HxHandle& key, const HxHandle& value) {
  HxLog("The value for the default '%@' is no property list: %@"_hx, key, value);
}

// Returns the entries that are property-list values, as built-in objects; logs the others.
HxDictionary builtInEntries(const HxDictionary& entries) {
  HxMutableDictionary result = HxMutableDictionary::dictionary();
  for (const auto& [key, value] : entries) {
    const HxString name = builtInString(as<HxString>(key));
    const HxAny copy = copyOfPropertyList(value);
    if (!name || !copy) {
      logUnusable(key, value);
    } else {
      result.setObject(copy, name);
    }
  }
  return result.copy();
}

}  // namespace

// ---- The store of the process

namespace {

// Null until it is made; lives as long as the process.
constinit std::atomic<UserDefaultsStore*> standardStore = nullptr;
// Whether it was changed since writeChangedDefaults wrote it.
constinit std::atomic<bool> isChanged = false;
constinit pid_t pidOfStandardStore = 0;

// Returns null in a forked child. Deliberate: it leaves its parent's changes to the parent, whose
// locks it may have inherited in any state.
UserDefaultsStore* storeOfThisProcess() noexcept {
  return getpid() == pidOfStandardStore ? standardStore.load() : nullptr;
}

void writeAtExit() {
  if (UserDefaultsStore* store = storeOfThisProcess()) store->writeChangesAtLast();
}

}  // namespace

Ref<HxUserDefaults> UserDefaultsStore::makeDefaults(const Setup& setup) {
  return Ref<HxUserDefaults>::adopt(new HxUserDefaults(new UserDefaultsStore(setup)));
}

Ref<HxUserDefaults> UserDefaultsStore::makeStandardDefaults(const Setup& setup) {
  Ref<HxUserDefaults> defaults = makeDefaults(setup);
  standardStore = defaults->_store.get();
  pidOfStandardStore = getpid();
  (void)std::atexit(writeAtExit);  // else synchronize and the run loop write alone
  return defaults;
}

void writeChangedDefaults() noexcept {
  if (!isChanged.load(std::memory_order_relaxed)) return;
  isChanged = false;
  if (UserDefaultsStore* store = storeOfThisProcess()) store->writeChangesAtLast();
}

// ---- The command line

HxDictionary argumentDomain(const HxArray& words) {
  HxMutableDictionary domain = HxMutableDictionary::dictionary();
  const HxUInteger count = words.count();
  for (HxUInteger i = 1; i < count; ++i) {
    const HxString word = words.objectAtIndex<HxString>(i);
    if (word == "--"_hx) break;
    if (!isKey(Characters(word)) || i + 1 == count) continue;
    const HxString value = words.objectAtIndex<HxString>(i + 1);
    if (!isValue(Characters(value))) continue;
    domain.setObject(valueOfWord(value), word.substringFromIndex(1));
    ++i;
  }
  return domain.copy();
}

UserDefaultsStore::UserDefaultsStore(const Setup& setup)
    : _folder(builtInString(setup.folder)),
      _applicationName(setup.applicationName ? builtInString(setup.applicationName)
                                             : HxString::string()),
      _volatile(HxMutableDictionary::dictionary()) {
  _volatile.setObject(argumentDomain(setup.arguments), HxArgumentDomain);
  _volatile.setObject(HxDictionary::dictionary(), HxRegistrationDomain);
}

UserDefaultsStore::~UserDefaultsStore() { writeChangesAtLast(); }

void UserDefaultsStore::writeChangesAtLast() noexcept {
  try {
    writeChanges();
  } catch (...) {  // no memory, or a tool's own log raised; there is no place to report it
  }
}

// ---- Domains

DefaultsDomain& UserDefaultsStore::domainNamed(const HxString& name, Reports& reports) {
  if (const auto known = _domains.find(name); known != _domains.end()) return known->second;
  const HxString folder = name.isEmpty() ? HxString() : _folder;
  DefaultsDomain domain(folder, name);
  if (domain.hasFile()) domain.takeReading(readDefaultsFile(domain.place().path), reports);
  return _domains.emplace(name, std::move(domain)).first->second;
}

std::array<HxDictionary, 4> UserDefaultsStore::searchedDomains(Reports& reports) {
  return {volatileDomainHere(HxArgumentDomain), domainNamed(_applicationName, reports).contents(),
          domainNamed(HxGlobalDomain, reports).contents(),
          volatileDomainHere(HxRegistrationDomain)};
}

HxDictionary UserDefaultsStore::persistentDomain(const HxString& name) {
  const HxString domain = builtInString(name);
  if (domain.isEmpty()) return nullptr;
  Reports reports;
  HxDictionary contents;
  {
    const MutexLock held(_lock);
    contents = domainNamed(domain, reports).contents();
  }
  logReports(reports);
  return contents;
}

HxDictionary UserDefaultsStore::volatileDomain(const HxString& name) {
  const HxString domain = builtInString(name);
  const MutexLock held(_lock);
  return volatileDomainHere(domain);
}

void UserDefaultsStore::setVolatileDomain(const HxDictionary& domain, const HxString& name) {
  const HxString key = builtInString(name);
  const HxDictionary entries = domain ? builtInEntries(domain) : HxDictionary();
  const MutexLock held(_lock);
  if (entries) {
    _volatile.setObject(entries, key);
  } else {
    _volatile.removeObjectForKey(key);
  }
}

void UserDefaultsStore::addToRegistrationDomain(const HxDictionary& entries) {
  const HxDictionary added = builtInEntries(entries);
  const MutexLock held(_lock);
  HxMutableDictionary domain = HxMutableDictionary::dictionary();
  domain.addEntriesFromDictionary(volatileDomainHere(HxRegistrationDomain));
  domain.addEntriesFromDictionary(added);
  _volatile.setObject(domain.copy(), HxRegistrationDomain);
}

// ---- Keys

HxAny UserDefaultsStore::objectForKey(const HxString& key) {
  const HxString name = builtInString(key);
  Reports reports;
  HxAny value;
  {
    const MutexLock held(_lock);
    value = volatileDomainHere(HxArgumentDomain).objectForKey(name);
    if (!value) value = domainNamed(_applicationName, reports).objectForKey(name);
    if (!value) value = domainNamed(HxGlobalDomain, reports).objectForKey(name);
    if (!value) value = volatileDomainHere(HxRegistrationDomain).objectForKey(name);
  }
  logReports(reports);
  return value;
}

HxDictionary UserDefaultsStore::dictionaryRepresentation() {
  Reports reports;
  std::array<HxDictionary, 4> domains;
  {
    const MutexLock held(_lock);
    domains = searchedDomains(reports);
  }
  logReports(reports);
  HxMutableDictionary merged = HxMutableDictionary::dictionary();
  for (auto domain = domains.rbegin(); domain != domains.rend(); ++domain) {
    merged.addEntriesFromDictionary(*domain);
  }
  return merged.copy();
}

void UserDefaultsStore::setObject(const HxHandle& value, const HxString& key) {
  const HxString name = builtInString(key);
  const HxAny copy = copyOfPropertyList(value);
  if (!name) return;
  if (value && !mayBeStored(copy, name)) return logUnusable(name, value);
  Reports reports;
  {
    const MutexLock held(_lock);
    domainNamed(_applicationName, reports).setObject(copy, name);
  }
  if (this == standardStore) isChanged = true;
  logReports(reports);
}

// ---- Files

std::vector<DefaultsDomain*> UserDefaultsStore::domainsWithFiles() {
  std::vector<DefaultsDomain*> domains;
  const MutexLock held(_lock);
  for (auto& [name, domain] : _domains) {
    if (domain.hasFile()) domains.push_back(&domain);
  }
  return domains;
}

HxError UserDefaultsStore::updateFiles(Unchanged unchanged) {
  Reports reports;
  HxError first;
  {
    const MutexLock held(_fileLock);
    for (DefaultsDomain* domain : domainsWithFiles()) {
      const HxError error = updateFile(*domain, unchanged, reports);
      if (!first) first = error;
    }
  }
  logReports(reports);
  return first;
}

// Nothing waits for a file while `_lock` is held.
HxError UserDefaultsStore::updateFile(DefaultsDomain& domain, Unchanged unchanged,
                                      Reports& reports) {
  DefaultsContents stored;
  DefaultsChanges changes;
  {
    const MutexLock held(_lock);
    stored = domain.stored();
    changes = domain.changes();
  }
  if (!changes.empty()) {
    const DefaultsWriting writing = changeDefaultsFile(domain.place(), stored, changes);
    const MutexLock held(_lock);
    domain.takeWriting(writing, changes, reports);
    return writing.error;
  }
  if (unchanged == Unchanged::readAgain) {
    const DefaultsReading reading = readDefaultsFile(domain.place().path);
    const MutexLock held(_lock);
    domain.takeReading(reading, reports);
  }
  return nullptr;
}

}  // namespace rondel::internal
