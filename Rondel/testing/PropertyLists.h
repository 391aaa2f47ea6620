// SPDX-License-Identifier: MIT
#pragma once

// Property lists for tests, and their bytes.

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/values/Data.h"

namespace rondel::test {

inline HxData bytesOf(std::string_view bytes) {
  return HxData::dataWithBytes(bytes.data(), bytes.size());
}

inline std::string stringOf(const HxData& bytes) {
  return std::string(reinterpret_cast<const char*>(bytes.bytes()), bytes.length());
}

// Returns the list in the text, which must be valid.
inline HxAny listOf(std::string_view utf8) {
  HxError error;
  const HxAny list = HxPropertyListWithString(HxString(utf8), &error);
  EXPECT_TRUE(list) << utf8 << "\n" << error.localizedDescription().toStdString();
  return list;
}

inline HxDictionary entry(const HxHandle& value, const HxString& key) {
  return HxDictionary::dictionaryWithObject(value, key);
}

inline std::string inXML(std::string_view value) {
  return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + std::string(value) + "</plist>";
}

}  // namespace rondel::test
