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
// The command line. A word is a key if it is one dash and something after it, and a value follows.
// The value is any word that begins with no dash, or with a dash and a digit or a dot. It is read
// as a property list in text form ("( a, b )", "{ a = 1; }"). If it is none, it is plain text. A
// word "--" ends the search, so the command line of a child is not looked at. If a key is given
// twice, the last value counts.
//
// Files. The domain NAME is kept in $XDG_CONFIG_HOME/rondel/defaults/NAME.plist (XDG base directory
// specification). If that variable is no absolute path, ~/.config takes its place. In NAME each
// '/', '%', NUL and a first '.' is written as '%' and two hexadecimal digits. If neither variable
// helps, nothing is kept beyond the process. A file is a property list with sorted keys, in text
// form. It is in XML form if it holds numbers, booleans or dates, which the text form cannot tell
// from strings. Values keep their types, with two exceptions. A date loses its fractions of a
// second. A file with a string that XML does not allow (see PropertyList.h) is in text form all the
// same. A file is read when its domain is first needed, by synchronize and before each writing.
//
// Writing. A change holds in this process at once. It is written by synchronize, after the next
// pass of a run loop on any thread, and at exit. Many changes cost one writing. A process that ends
// by a signal or by _exit loses what was not written by then. A forked child leaves its parent's
// changes to the parent. Writing waits for the lock that all processes honour. Then it reads the
// file again, makes its own changes there, and replaces the file. So settings that others wrote in
// between stay. This process sees those of others after synchronize. Reads and changes by other
// threads do not wait meanwhile. Nothing is written without the lock. What cannot be written is
// reported once through HxLog and kept. It is tried again with the next change, by synchronize and
// at exit.
//
// A file that is damaged, or that is no regular file, is reported once through HxLog and treated as
// empty. It is left alone until a setting of its domain is changed. Then it is kept beside the new
// file, with ".damaged" after its name. A file that was read before and cannot be read again is
// reported once, and its last contents stay.
//
// Values that go in are copied; what comes out never changes. A nil key has no value. All
// operations may be used on any thread.
#pragma once

#include "Rondel/core/object/internal/OwnedPointer.h"
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

  // Returns the store of this process. It is made on first use; never null, never ends.
  static Ref<HxUserDefaults> standardUserDefaults();

  // ---- Reading

  // Returns the value in the first domain that has the key; nil if none has it.
  HxAny objectForKey(const HxString& key) const;
  // Returns the value if it is a string, a number as its decimal text; nil otherwise.
  HxString stringForKey(const HxString& key) const;
  // Returns the value if it is an array of strings only; nil otherwise.
  HxArray stringArrayForKey(const HxString& key) const;
  // Returns the value of a number, or the leading decimal number of a string; 0 otherwise.
  HxInteger integerForKey(const HxString& key) const;
  // Returns whether a number is not 0, or the boolValue of a string; false otherwise.
  bool boolForKey(const HxString& key) const;
  // Returns all that objectForKey would find: the four domains as one dictionary.
  HxDictionary dictionaryRepresentation() const;

  // ---- Changing

  // Sets a key in the application domain. A nil value removes the key there. A value that is no
  // property list (see PropertyList.h) is reported through HxLog and changes nothing. Does not wait
  // for files, except to read the domain for the first time.
  void setObject(const HxHandle& value, const HxString& key);
  void removeObjectForKey(const HxString& key) { setObject(HxAny(), key); }
  // Adds entries to HxRegistrationDomain; an entry replaces a former one of its key. Entries that
  // are no property-list values are reported through HxLog and left out.
  void registerDefaults(const HxDictionary& defaults);
  // Writes all changes and reads the files again. Waits while another process writes. Returns false
  // with an error if something is still not written; see Error.h.
  bool synchronize(HxError* error = nullptr);

  // ---- Domains by name

  // Returns a volatile domain; nil if there is none of that name. A volatile domain with your own
  // name is kept but not searched.
  HxDictionary volatileDomainForName(const HxString& name) const;
  // Replaces a volatile domain, and with it what came from the command line or registerDefaults.
  // Nil removes it.
  void setVolatileDomain(const HxDictionary& domain, const HxString& name);
  // Returns the application domain and HxGlobalDomain by their names, and the settings of any other
  // program by its name. Nil if nothing was ever set in it.
  HxDictionary persistentDomainForName(const HxString& name) const;

 private:
  friend class internal::UserDefaultsStore;
  explicit HxUserDefaults(internal::UserDefaultsStore* store) noexcept;
  ~HxUserDefaults() override;

  const internal::OwnedPointer<internal::UserDefaultsStore> _store;
};

}  // namespace rondel
