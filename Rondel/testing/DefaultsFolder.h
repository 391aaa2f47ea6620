// SPDX-License-Identifier: MIT
#pragma once

// A fixture for tests of user defaults: stores on a fresh folder, with the lines of the log kept.

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"

namespace rondel::test {

inline HxString hx(const std::string& utf8) { return HxString(std::string_view(utf8)); }

inline HxArray words(std::initializer_list<HxAny> list) { return HxArray::arrayWithObjects(list); }

inline std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

class DefaultsFolder : public testing::Test {
 protected:
  /// A new one reads the files as a new process would.
  Ref<HxUserDefaults> store(const HxArray& arguments = nullptr) const {
    return internal::UserDefaultsStore::makeDefaults(
        {hx(folder.path("defaults")), "tool"_hx, arguments});
  }
  static Ref<HxUserDefaults> storeInMemory() {
    return internal::UserDefaultsStore::makeDefaults({nullptr, "tool"_hx, nullptr});
  }
  std::string writeTool(std::string_view contents) const {
    return folder.write("defaults/tool.plist", contents);
  }
  std::string toolFile() const { return contentsOf(folder.path("defaults/tool.plist")); }
  static void registerEntry(const Ref<HxUserDefaults>& defaults, const HxHandle& value,
                            const HxString& key) {
    defaults->registerDefaults(HxDictionary::dictionaryWithObject(value, key));
  }

  const LogRecorder log;
  const TemporaryDirectory folder;
};

}  // namespace rondel::test
