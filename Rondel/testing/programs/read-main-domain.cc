// SPDX-License-Identifier: MIT

// read-main-domain NAME: makes a volatile and a persistent domain of this name, each with one key,
// and prints what is in those of the main bundle, "nil" for nothing.

#include <cstdio>

#include "Rondel/additions/UserDefaultsAdditions.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"

using namespace rondel;

int main(int argc, char** argv) {
  const HxString name = HxString::stringWithUTF8String(argc > 1 ? argv[1] : "");
  const Ref<HxUserDefaults> defaults =
      internal::UserDefaultsStore::makeDefaults({nullptr, name, nullptr});
  defaults->setObject("persistent"_hx, "key"_hx);
  defaults->setVolatileDomain(HxDictionary::dictionaryWithObject("volatile"_hx, "key"_hx), name);
  const auto textOf = [](const HxHandle& value) {
    return value ? value.description().toStdString() : std::string("nil");
  };
  const HxAny fromVolatile = objectForKeyInVolatileDomainForName(defaults, "key"_hx, nullptr);
  const HxAny fromPersistent = objectForKeyInPersistentDomainForName(defaults, "key"_hx, nullptr);
  std::printf("%s %s\n", textOf(fromVolatile).c_str(), textOf(fromPersistent).c_str());
}
