// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/UserDefaults.h"

#include <cstdlib>
#include <memory>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Number.h"

namespace rondel {
namespace internal {
namespace {

// "-key": one dash, and neither another one nor a number behind it.
bool isKey(const Characters& word) noexcept {
  if (word.length() < 2 || word[0] != '-' || word[1] == '-') return false;
  return word[1] != '.' && (word[1] < '0' || word[1] > '9');
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

// Whether the file can hold the entry, so that one bad value does not keep the others out of it.
bool mayBeStored(const HxHandle& value, const HxString& key) {
  return value && HxDataFromPropertyList(HxDictionary::dictionaryWithObject(value, key),
                                         HxPropertyListFormat::text);
}

// The entries that are property-list values, as built-in objects; a line for each other one.
HxDictionary builtInEntries(const HxDictionary& entries) {
  HxMutableDictionary result = HxMutableDictionary::dictionary();
  for (const auto& [key, value] : entries) {
    const HxString name = builtInString(as<HxString>(key));
    const HxAny copy = copyOfPropertyList(value);
    if (!name || !copy) {
      HxLog("The value for the default '%@' is no property list: %@"_hx, key, value);
    } else {
      result.setObject(copy, name);
    }
  }
  return result.copy();
}

}  // namespace

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

Ref<HxUserDefaults> UserDefaultsStore::makeDefaults(const Setup& setup) {
  auto store = std::make_unique<UserDefaultsStore>(setup);
  auto defaults = Ref<HxUserDefaults>::adopt(new HxUserDefaults(store.get()));
  (void)store.release();
  return defaults;
}

UserDefaultsStore::UserDefaultsStore(const Setup& setup)
    : _folder(builtInString(setup.folder)),
      _applicationName(setup.applicationName ? builtInString(setup.applicationName)
                                             : HxString::string()),
      _volatile(HxMutableDictionary::dictionary()) {
  _volatile.setObject(argumentDomain(setup.arguments), HxArgumentDomain);
  _volatile.setObject(HxDictionary::dictionary(), HxRegistrationDomain);
}

template <class Work>
auto UserDefaultsStore::locked(Work work) {
  Reports reports;
  auto result = [&] {
    const std::lock_guard guard(_mutex);
    return work(reports);
  }();
  for (const HxString& report : reports) HxLog("%@"_hx, report);
  return result;
}

DefaultsFile& UserDefaultsStore::fileOfDomain(const HxString& name, Reports& reports) {
  if (const auto known = _files.find(name); known != _files.end()) return known->second;
  const HxString folder = name.isEmpty() ? HxString() : _folder;
  DefaultsFile& file = _files.try_emplace(name, folder, name).first->second;
  file.read(reports);
  return file;
}

std::vector<HxDictionary> UserDefaultsStore::searchedDomains(Reports& reports) {
  return {volatileDomainHere(HxArgumentDomain), fileOfDomain(_applicationName, reports).contents(),
          fileOfDomain(HxGlobalDomain, reports).contents(),
          volatileDomainHere(HxRegistrationDomain)};
}

HxAny UserDefaultsStore::objectForKey(const HxString& key) {
  const HxString name = builtInString(key);
  return locked([&](Reports& reports) {
    for (const HxDictionary& domain : searchedDomains(reports)) {
      if (HxAny value = domain.objectForKey(name)) return value;
    }
    return HxAny();
  });
}

HxDictionary UserDefaultsStore::dictionaryRepresentation() {
  const std::vector<HxDictionary> domains =
      locked([&](Reports& reports) { return searchedDomains(reports); });
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
  if (value && !mayBeStored(copy, name)) {
    HxLog("The value for the default '%@' is no property list: %@"_hx, name, value);
  } else {
    locked([&](Reports& reports) {
      DefaultsFile& file = fileOfDomain(_applicationName, reports);
      HxError error;
      file.setObject(copy, name);
      if (!file.write(reports, error)) {
        reports.push_back(
            HxString::stringWithFormat("The default '%@' holds for this process only: %@"_hx, name,
                                       error.localizedDescription()));
      }
      return nullptr;
    });
  }
}

void UserDefaultsStore::addToRegistrationDomain(const HxDictionary& entries) {
  const HxDictionary added = builtInEntries(entries);
  locked([&](Reports&) {
    HxMutableDictionary domain = HxMutableDictionary::dictionary();
    domain.addEntriesFromDictionary(volatileDomainHere(HxRegistrationDomain));
    domain.addEntriesFromDictionary(added);
    _volatile.setObject(domain.copy(), HxRegistrationDomain);
    return nullptr;
  });
}

bool UserDefaultsStore::synchronize(HxError* error) {
  const HxError firstError = locked([&](Reports& reports) {
    HxError first;
    for (auto& [name, file] : _files) {
      HxError ofThis;
      file.read(reports);
      if (!file.write(reports, ofThis) && !first) first = ofThis;
    }
    return first;
  });
  if (firstError && error) *error = firstError;
  return firstError.isNil();
}

HxDictionary UserDefaultsStore::volatileDomain(const HxString& name) {
  const HxString domain = builtInString(name);
  return locked([&](Reports&) { return volatileDomainHere(domain); });
}

void UserDefaultsStore::setVolatileDomain(const HxDictionary& domain, const HxString& name) {
  const HxString key = builtInString(name);
  const HxDictionary entries = domain ? builtInEntries(domain) : HxDictionary();
  locked([&](Reports&) {
    if (entries) {
      _volatile.setObject(entries, key);
    } else {
      _volatile.removeObjectForKey(key);
    }
    return nullptr;
  });
}

HxDictionary UserDefaultsStore::persistentDomain(const HxString& name) {
  const HxString domain = builtInString(name);
  if (domain.isEmpty()) return nullptr;
  return locked([&](Reports& reports) { return fileOfDomain(domain, reports).contents(); });
}

}  // namespace internal

HxClass HxUserDefaults::classObject() noexcept {
  static const HxClassInfo info{"HxUserDefaults", HxObject::classObject().info()};
  return HxClass(&info);
}

HxUserDefaults::~HxUserDefaults() { delete _store; }

Ref<HxUserDefaults> HxUserDefaults::standardUserDefaults() {
  // Lives as long as the process: the reference is never dropped.
  static const Ref<HxUserDefaults>& defaults = *new Ref<HxUserDefaults>([] {
    const HxString identifier = HxBundle::mainBundle().bundleIdentifier();
    const Ref<HxProcessInfo> process = HxProcessInfo::processInfo();
    return internal::UserDefaultsStore::makeDefaults(
        {internal::defaultsFolder(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME")),
         identifier.isEmpty() ? process->processName() : identifier, process->arguments()});
  }());
  return defaults;
}

HxAny HxUserDefaults::objectForKey(const HxString& key) const { return _store->objectForKey(key); }

HxString HxUserDefaults::stringForKey(const HxString& key) const {
  const HxAny value = objectForKey(key);
  const HxNumber number = as<HxNumber>(value);
  return number ? number.stringValue() : as<HxString>(value);
}

HxArray HxUserDefaults::stringArrayForKey(const HxString& key) const {
  HxArray array = as<HxArray>(objectForKey(key));
  for (const HxAny& element : array) {
    if (!as<HxString>(element)) return nullptr;
  }
  return array;
}

HxInteger HxUserDefaults::integerForKey(const HxString& key) const {
  const HxAny value = objectForKey(key);
  const HxNumber number = as<HxNumber>(value);
  return number ? number.integerValue() : as<HxString>(value).integerValue();
}

bool HxUserDefaults::boolForKey(const HxString& key) const {
  const HxAny value = objectForKey(key);
  const HxNumber number = as<HxNumber>(value);
  return number ? number.boolValue() : as<HxString>(value).boolValue();
}

HxDictionary HxUserDefaults::dictionaryRepresentation() const {
  return _store->dictionaryRepresentation();
}

void HxUserDefaults::setObject(const HxHandle& value, const HxString& key) {
  _store->setObject(value, key);
}

void HxUserDefaults::registerDefaults(const HxDictionary& defaults) {
  _store->addToRegistrationDomain(defaults);
}

bool HxUserDefaults::synchronize(HxError* error) { return _store->synchronize(error); }

HxDictionary HxUserDefaults::volatileDomainForName(const HxString& name) const {
  return _store->volatileDomain(name);
}

void HxUserDefaults::setVolatileDomain(const HxDictionary& domain, const HxString& name) {
  _store->setVolatileDomain(domain, name);
}

HxDictionary HxUserDefaults::persistentDomainForName(const HxString& name) const {
  return _store->persistentDomain(name);
}

}  // namespace rondel
