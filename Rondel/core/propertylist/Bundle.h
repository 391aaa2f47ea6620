// SPDX-License-Identifier: MIT
//
// HxBundle: a folder with what a program or a library needs beside its code. That is facts about
// it, and its messages in other languages.
//
//   HxBundle tool = HxBundle::mainBundle();
//   HxString text = tool.localizedStringForKey("Cannot open %@."_hx, ""_hx, "Messages"_hx);
//
// The folder looks like this; every part of it may be missing:
//
//   Info.plist                            facts, a property list; its root is a dictionary
//   Resources/<language>.lproj/<table>.strings    messages: "key" = "text";
//
// HxBundle reads two keys of Info.plist: HxBundleIdentifier, the name by which the bundle is found,
// and HxBundleDevelopmentRegion, the language that its texts were first written in. A file that is
// damaged, cannot be read or is no regular file is treated as empty. It is reported once through
// HxLog.
//
// Languages. The languages that a user wants come from the environment, read once for each bundle:
// LANGUAGE (several, separated by colons), then the first of LC_ALL, LC_MESSAGES and LANG that is
// not empty; the locale C wants none. "de_AT.UTF-8" means de_AT.lproj, de-AT.lproj and
// de.lproj, in this order. After them come en, the development region and Base. A text is taken
// from the first of these that has its key.
//
// A bundle that was made once stays known and is never unloaded. The same path yields the same
// bundle. On nil every operation returns nil. All operations may be used on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxDictionary;

// The library's own bundle, with the table of its messages.
inline constexpr HxString HxRondelBundleIdentifier = "com.ostrand.Vantor.Rondel"_hx;
// The table that is read if none is named.
inline constexpr HxString HxDefaultStringsTable = "Localizable"_hx;

class RONDEL_EXPORT HxBundle : public HxHandle {
 public:
  constexpr HxBundle() noexcept = default;
  constexpr HxBundle(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxBundle(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::bundle;
  }

  // Returns the bundle of the running program: the folder that its executable lies in. Never nil.
  static HxBundle mainBundle();
  // Returns the bundle in a folder; nil if the path leads to no folder.
  static HxBundle bundleWithPath(const HxString& path);
  // Returns the first bundle with this identifier; nil if there is none. It looks at the main
  // bundle, the library's own one and those that bundleWithPath made. The library's own bundle is
  // always there: the folder "rondel" of the user's or the system's data folders ($XDG_DATA_HOME,
  // $XDG_DATA_DIRS, see the XDG base directory specification). If there is no such folder, the
  // result is a bundle without tables, so that each message is its own key.
  static HxBundle bundleWithIdentifier(const HxString& identifier);

  // Returns its folder, without links; nil for a bundle that has none.
  HxString bundlePath() const;
  // Returns the identifier in Info.plist; nil if it has none.
  HxString bundleIdentifier() const;
  // Returns all of Info.plist; empty if there is none.
  HxDictionary infoDictionary() const;
  // Returns the translations for Info.plist: the table "InfoPlist", whose keys are keys or texts of
  // infoDictionary. Nil if there is no such table.
  HxDictionary localizedInfoDictionary() const;
  // Returns the text for `key` in a table; a nil or empty name means HxDefaultStringsTable. For a
  // key that the table lacks it returns `value`, or the key itself if `value` is nil or empty. For
  // a nil key it returns `value`, or the empty string if `value` is nil. Nil on nil.
  HxString localizedStringForKey(const HxString& key, const HxString& value,
                                 const HxString& table) const;
};

}  // namespace rondel
