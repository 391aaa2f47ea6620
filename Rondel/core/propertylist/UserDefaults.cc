// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/UserDefaults.h"

#include <cstdlib>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/core/values/Number.h"

namespace rondel {

HxClass HxUserDefaults::classObject() noexcept {
  static const HxClassInfo info{"HxUserDefaults", HxObject::classObject().info()};
  return HxClass(&info);
}

HxUserDefaults::HxUserDefaults(internal::UserDefaultsStore* store) noexcept : _store(store) {}

HxUserDefaults::~HxUserDefaults() = default;

Ref<HxUserDefaults> HxUserDefaults::standardUserDefaults() {
  // Lives as long as the process: the reference is never dropped.
  static const Ref<HxUserDefaults>& defaults = *new Ref<HxUserDefaults>([] {
    const HxString identifier = HxBundle::mainBundle().bundleIdentifier();
    const Ref<HxProcessInfo> process = HxProcessInfo::processInfo();
    return internal::UserDefaultsStore::makeStandardDefaults(
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

bool HxUserDefaults::synchronize(HxError* error) {
  const HxError trouble = _store->synchronize();
  if (trouble && error) *error = trouble;
  return trouble.isNil();
}

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
