// SPDX-License-Identifier: MIT
#include "Rondel/interop/filesystem.h"

#include <gtest/gtest.h>

#include "Rondel/testing/Places.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

TEST(FilesystemInterop, StringsBecomePathsOfTheSameBytes) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(toPath(makeText(form, u"/usr/bin")).native(), "/usr/bin");
    EXPECT_EQ(toPath(makeText(form, u"caf\u00e9")).native(), "caf\xC3\xA9");
    EXPECT_EQ(toPath(makeText(form, u"cafe\u0301")).native(), "cafe\xCC\x81");
  }
}

TEST(FilesystemInterop, WhatHasNoBytesBecomesTheEmptyPath) {
  EXPECT_TRUE(toPath(nullptr).empty());
  EXPECT_TRUE(toPath(""_hx).empty());
  EXPECT_TRUE(toPath(HxString(std::u16string_view(u"a\xD83D", 2))).empty());
}

TEST(FilesystemInterop, PathsBecomeStrings) {
  EXPECT_EQ(stringWithPath("/usr/bin"), "/usr/bin"_hx);
  EXPECT_EQ(stringWithPath("caf\xC3\xA9"), "caf\u00e9"_hx);
  EXPECT_EQ(stringWithPath(std::filesystem::path()), ""_hx);
  EXPECT_TRUE(stringWithPath("a\xFF").isNil());
}

TEST(FilesystemInterop, NamesThatWereReadComeBackToTheirFiles) {
  const TemporaryDirectory folder;
  for (const char* name : {"caf\xC3\xA9", "cafe\xCC\x81", "a b", "\xE6\x97\xA5"}) {
    folder.write(name, "");
  }
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const HxString path = stringWithPath(entry.path());
    EXPECT_TRUE(std::filesystem::exists(toPath(path))) << path.toStdString();
    ++found;
  }
  EXPECT_EQ(found, 4);
}

}  // namespace
}  // namespace rondel::test
