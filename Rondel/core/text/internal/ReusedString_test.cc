// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/ReusedString.h"

#include <gtest/gtest.h>

#include <string>

#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

using internal::ReusedString;

template <class Text>
const HxString& make(ReusedString& string, const Text& text) {
  return string.make(text.data(), text.size());
}

TEST(ReusedString, HoldsTheTextItWasMadeFrom) {
  ReusedString string;
  for (const std::u16string& text :
       {std::u16string(u"first"), std::u16string(u"2nd"), std::u16string(u"f\u00FCnf"),
        std::u16string(), std::u16string(u"sixth, and longer"), std::u16string(1000, u'x'),
        std::u16string(u"\u00E9"), std::u16string(u"last")}) {
    const HxString& made = make(string, text);
    EXPECT_EQ(made, HxString(std::u16string_view(text)));
    EXPECT_EQ(made.hash(), HxString(std::u16string_view(text)).hash());
    EXPECT_EQ(made.asciiView().data() != nullptr,
              HxString(std::u16string_view(text)).asciiView().data() != nullptr);
  }
}

TEST(ReusedString, AllocatesNothingWhileNobodyKeepsIt) {
  ReusedString string;
  make(string, std::string("as long as it gets"));
  const std::u16string wide = u"of units";
  const std::string narrow = "of bytes";
  const test::AllocationCounter allocations;
  make(string, wide);
  make(string, narrow);
  EXPECT_EQ(allocations.count(), 0u);
}

TEST(ReusedString, LeavesWhatIsKeptAsItIs) {
  ReusedString string;
  const HxString first = make(string, std::string("first"));
  const HxString second = make(string, std::string("2nd"));
  make(string, std::string("x"));
  EXPECT_EQ(first, "first"_hx);
  EXPECT_EQ(second, "2nd"_hx);
}

TEST(ReusedString, EndsAfterItsLastCharacter) {
  ReusedString string;
  make(string, std::string("longer"));
  EXPECT_STREQ(make(string, std::string("short")).UTF8String().c_str(), "short");
}

}  // namespace
}  // namespace rondel
