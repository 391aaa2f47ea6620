// SPDX-License-Identifier: MIT
//
// Additions to the user defaults: registering from a file, a forgiving flag, one domain by name,
// and whether a setting differs from what was registered.
//
//   Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
//   registerDefaultsOfContentsOfFile(defaults, path);
//   if (boolForKeyWithDefaultValue(defaults, "UseColour"_hx, true)) ...
//
// On a null reference each returns its zero answer. All may be used on any thread.
#pragma once

#include "Rondel/core/propertylist/UserDefaults.h"

namespace rondel {

// Registers the entries of a property list file whose root is a dictionary. A nil path fails a
// check of the host's assertion handler, "Invalid parameter not satisfying: path != nil". A file
// that holds no dictionary, or that is no regular file, is reported through HxLog and otherwise
// ignored.
RONDEL_EXPORT void registerDefaultsOfContentsOfFile(const Ref<HxUserDefaults>& defaults,
                                                    const HxString& path);

// Returns a flag, or the default if it is not set. A string is true if it is "YES" in any case or
// if its integerValue is not 0; any other word is false and not the default. A number is true if
// its integerValue is not 0. A number of -1, and a value of another kind, means the default.
RONDEL_EXPORT bool boolForKeyWithDefaultValue(const Ref<HxUserDefaults>& defaults,
                                              const HxString& key, bool defaultValue);

// Returns the value of a key in one domain alone; nil if the key or the domain is not there. A nil
// name means the identifier of the main bundle; without one the result is nil.
RONDEL_EXPORT HxAny objectForKeyInVolatileDomainForName(const Ref<HxUserDefaults>& defaults,
                                                        const HxString& key, const HxString& name);
RONDEL_EXPORT HxAny objectForKeyInPersistentDomainForName(const Ref<HxUserDefaults>& defaults,
                                                          const HxString& key,
                                                          const HxString& name);

// Returns whether the value that a search finds differs from the registered one. False for a key
// that is not set or not registered.
RONDEL_EXPORT bool objectIsChangedForKey(const Ref<HxUserDefaults>& defaults, const HxString& key);

}  // namespace rondel
