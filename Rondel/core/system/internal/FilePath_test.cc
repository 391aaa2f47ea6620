// SPDX-License-Identifier: MIT
#include "Rondel/core/system/internal/FilePath.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace rondel::internal {
namespace {

struct Named {
  const char* name;
  HxString text;
  const char* bytes;  // null for no path
  int error = 0;
};

HxString textOf(std::u16string_view units) { return HxString(units); }

class StrictFilePath : public testing::TestWithParam<Named> {};

TEST_P(StrictFilePath, IsTheTextAsItStandsOrSetsErrno) {
  const Named& row = GetParam();
  errno = 0;
  const FilePath path = FilePath::strict(row.text);
  EXPECT_EQ(static_cast<bool>(path), row.bytes != nullptr);
  EXPECT_EQ(errno, row.error);
  EXPECT_STREQ(path.c_str(), row.bytes ? row.bytes : "");
  EXPECT_EQ(path.view(), row.bytes ? row.bytes : "");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, StrictFilePath,
    testing::Values(Named{"Nil", nullptr, nullptr, EINVAL}, Named{"Empty", ""_hx, nullptr, ENOENT},
                    Named{"EmbeddedNUL", textOf(std::u16string_view(u"/tmp\0x", 6)), nullptr,
                          EILSEQ},
                    Named{"NULAlone", textOf(std::u16string_view(u"\0", 1)), nullptr, EILSEQ},
                    Named{"WideNUL", textOf(std::u16string_view(u"\u00E9\0x", 3)), nullptr, EILSEQ},
                    Named{"LoneHigh", textOf(u"/a\xD83D"), nullptr, EILSEQ},
                    Named{"LoneLow", textOf(u"/a\xDE00/b"), nullptr, EILSEQ},
                    Named{"ASCII", "/a b/.c"_hx, "/a b/.c"},
                    Named{"Precomposed", "/\u00E9"_hx, "/\xC3\xA9"},
                    Named{"Decomposed", "/e\u0301"_hx, "/e\xCC\x81"},
                    Named{"Pair", textOf(u"\xD83D\xDE00"), "\xF0\x9F\x98\x80"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace rondel::internal
