// SPDX-License-Identifier: MIT
//
// HxUserDefaults: settings, as property-list values by key, searched through domains.
//
//   Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
//   defaults->registerDefaults(HxDictionary::dictionaryWithEntries({{"Jobs"_hx, "4"_hx}}));
//   HxInteger jobs = defaults->integerForKey("Jobs"_hx);       // 4, or what the user has set
//   defaults->setObject("8"_hx, "Jobs"_hx);                    // kept for the next run
//
// A key is searched in four domains, in this order:
//
//   HxArgumentDomain       the command line: "-key value" pairs. Gone with the process.
//   application            the user's settings for this program, kept in a file. Its name is the
//                          identifier of the main bundle, else the name of the process.
//   HxGlobalDomain         the user's settings for all programs, kept in a file.
//   HxRegistrationDomain   what the program registers at its start. Gone with the process.
//
// The command line. A word that begins with one dash and something behind it is a key when a value
// follows. The value is any word that begins with no dash, or with a dash and a digit or a dot; it
// is read as a property list in text form ("( a, b )", "{ a = 1; }"), and stands as it is when it
// is none. A word "--" ends the search, so the command line of a child is not looked at. Of a key
// that is given twice the last value counts.
//
// Files. The domain NAME is kept in $XDG_CONFIG_HOME/rondel/defaults/NAME.plist, with ~/.config
// where that variable is not set to an absolute path (XDG base directory specification), as a
// property list in text form with sorted keys; in NAME each '/', '%', NUL and a first '.' is
// written as '%' and two hexadecimal digits. When neither variable helps, nothing is kept beyond
// the process. A file is read when its domain is first needed, and again at each change and by
// synchronize. A change is written at once: under a lock that other processes honour, the file is
// read again, the keys that were changed here are changed there, and the file is replaced, so that
// settings that others wrote in between stay. A change that cannot be written is reported through
// HxLog, holds in this process, and is tried again with the next one.
//
// A file that is damaged or cannot be read is reported once through HxLog and treated as empty. It
// is left alone until a setting of its domain is changed; then it is kept beside the new one, with
// ".damaged" behind its name.
//
// The text form knows strings, data, arrays and dictionaries. Numbers, booleans and dates that are
// set stay what they are in this process and are strings for every later one ("1" and "0" for
// booleans, RFC 3339 for dates); integerForKey and boolForKey read both alike.
//
// Values that go in are copied; what comes out never changes. A nil key has no value. All
// operations may be used on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxArray;
class HxDictionary;
class HxError;

inline constexpr HxString HxArgumentDomain = "HxArgumentDomain"_hx;
inline constexpr HxString HxGlobalDomain = "HxGlobalDomain"_hx;
inline constexpr HxString HxRegistrationDomain = "HxRegistrationDomain"_hx;

namespace internal {
class UserDefaultsStore;
}

class RONDEL_EXPORT HxUserDefaults : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The store of this process. Made on first use; never null, never ends.
  static Ref<HxUserDefaults> standardUserDefaults();

  // ---- Reading

  // The value in the first domain that has the key; nil when none has it.
  HxAny objectForKey(const HxString& key) const;
  // The value if it is a string, a number as its decimal text; nil otherwise.
  HxString stringForKey(const HxString& key) const;
  // The value if it is an array of strings only; nil otherwise.
  HxArray stringArrayForKey(const HxString& key) const;
  // The value of a number, the leading decimal number of a string; 0 otherwise.
  HxInteger integerForKey(const HxString& key) const;
  // Whether a number is not 0, or a string begins as HxString::boolValue wants it; false otherwise.
  bool boolForKey(const HxString& key) const;
  // All that objectForKey would find: the four domains as one dictionary.
  HxDictionary dictionaryRepresentation() const;

  // ---- Changing

  // Sets a key in the application domain. A nil value removes the key there. A value that is no
  // property list (see PropertyList.h) is reported through HxLog and changes nothing.
  void setObject(const HxHandle& value, const HxString& key);
  void removeObjectForKey(const HxString& key) { setObject(HxAny(), key); }
  // Adds entries to HxRegistrationDomain; an entry replaces a former one of its key. Entries that
  // are no property-list values are reported through HxLog and left out.
  void registerDefaults(const HxDictionary& defaults);
  // Reads the files again and writes what could not be written before. False with an error when
  // something is still not written; see Error.h.
  bool synchronize(HxError* error = nullptr);

  // ---- Domains by name

  // Nil when there is none of that name. A volatile domain of a name of one's own is kept but not
  // searched.
  HxDictionary volatileDomainForName(const HxString& name) const;
  // Replaces a volatile domain, and with it what the command line or registerDefaults gave; nil
  // removes it.
  void setVolatileDomain(const HxDictionary& domain, const HxString& name);
  // The application domain and HxGlobalDomain by their names, and the settings of any other program
  // by its name. Nil when nothing was ever set in it.
  HxDictionary persistentDomainForName(const HxString& name) const;

 private:
  friend class internal::UserDefaultsStore;
  explicit HxUserDefaults(internal::UserDefaultsStore* store) noexcept : _store(store) {}
  ~HxUserDefaults() override;

  internal::UserDefaultsStore* const _store;  // owned
};

}  // namespace rondel
