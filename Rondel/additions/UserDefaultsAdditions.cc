// SPDX-License-Identifier: MIT
#include "Rondel/additions/UserDefaultsAdditions.h"

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/values/Number.h"

namespace rondel {
namespace {

constexpr HxInteger kNumberForDefault = -1;

bool flagOfString(const HxString& text) {
  return text.caseInsensitiveCompare("YES"_hx) == HxOrderedSame || text.integerValue() != 0;
}

// Returns the domain's name; nil means that of the main bundle.
HxString domainName(const HxString& name) {
  return name ? name : HxBundle::mainBundle().bundleIdentifier();
}

}  // namespace

void registerDefaultsOfContentsOfFile(const Ref<HxUserDefaults>& defaults, const HxString& path) {
  MO_ADDITION(defaults, "-[HxUserDefaults(MoUserDefaultsExtra) registerDefaultsOfContentsOfFile:]");
  if (!defaults) return;
  HxParameterAssertText(!path.isNil(), "path != nil");
  if (!path) return;
  const HxDictionary entries = as<HxDictionary>(internal::propertyListOfRegularFile(path, nullptr));
  if (!entries) {
    HxLog("%@: failed to load defaults file '%@'."_hx, moFunction, path);
  } else if (!entries.isEmpty()) {
    defaults->registerDefaults(entries);
  }
}

bool boolForKeyWithDefaultValue(const Ref<HxUserDefaults>& defaults, const HxString& key,
                                bool defaultValue) {
  if (!defaults) return false;
  const HxAny value = defaults->objectForKey(key);
  if (const HxString text = as<HxString>(value)) return flagOfString(text);
  const HxNumber number = as<HxNumber>(value);
  if (!number || number.integerValue() == kNumberForDefault) return defaultValue;
  return number.integerValue() != 0;
}

HxAny objectForKeyInVolatileDomainForName(const Ref<HxUserDefaults>& defaults, const HxString& key,
                                          const HxString& name) {
  if (!defaults || !key) return nullptr;
  return defaults->volatileDomainForName(domainName(name)).objectForKey(key);
}

HxAny objectForKeyInPersistentDomainForName(const Ref<HxUserDefaults>& defaults,
                                            const HxString& key, const HxString& name) {
  if (!defaults || !key) return nullptr;
  return defaults->persistentDomainForName(domainName(name)).objectForKey(key);
}

bool objectIsChangedForKey(const Ref<HxUserDefaults>& defaults, const HxString& key) {
  if (!defaults || !key) return false;
  const HxAny value = defaults->dictionaryRepresentation().objectForKey(key);
  const HxAny registered = objectForKeyInVolatileDomainForName(defaults, key, HxRegistrationDomain);
  return value && registered && !value.isEqual(registered);
}

}  // namespace rondel
