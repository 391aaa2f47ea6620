// SPDX-License-Identifier: MIT
//
// The marking of localised strings.
#include <gtest/gtest.h>

#include <string_view>

#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/report/AspectLog.h"
#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

class LocalizedStrings : public ::testing::Test {
 protected:
  LocalizedStrings() {
    _place.write("Info.plist", "{ HxBundleDevelopmentRegion = en; }");
    _place.write("Resources/en.lproj/Tool.strings", "\"Stop\" = \"Halt\";\n");
    bundle = HxBundle::bundleWithPath(HxString(std::string_view(_place.path())));
  }
  ~LocalizedStrings() override { ZevMoSetCheckingOfLocalizedStrings(0); }
  HxBundle bundle;

 private:
  test::TemporaryDirectory _place;
};

TEST_F(LocalizedStrings, WithoutMarkingTheBundleAnswers) {
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Stop"_hx, ""_hx, "Tool"_hx), "Halt"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go"_hx, ""_hx, "Tool"_hx), "Go"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go"_hx, "Run"_hx, "Tool"_hx), "Run"_hx);
}

TEST_F(LocalizedStrings, AStringOfTheTableIsMarked) {
  ZevMoSetCheckingOfLocalizedStrings(1);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Stop"_hx, ""_hx, "Tool"_hx), "!Halt"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Stop"_hx, "Run"_hx, "Tool"_hx), "!Halt"_hx);
}

TEST_F(LocalizedStrings, AMissingKeyIsMarkedAndInCapitals) {
  ZevMoSetCheckingOfLocalizedStrings(1);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, ""_hx, "Tool"_hx), "!GO ON"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, nullptr, "Tool"_hx), "!GO ON"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, "Run"_hx, "Tool"_hx), "!RUN"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, nullptr, "Run"_hx, "Tool"_hx), "!RUN"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, ""_hx, nullptr, "Tool"_hx), "!"_hx);
}

TEST_F(LocalizedStrings, NothingToShowReturnsNil) {
  ZevMoSetCheckingOfLocalizedStrings(1);
  EXPECT_TRUE(ZevMoCheckLocalizedStringInBundle(nullptr, "Stop"_hx, ""_hx, "Tool"_hx).isNil());
  EXPECT_TRUE(ZevMoCheckLocalizedStringInBundle(bundle, nullptr, nullptr, "Tool"_hx).isNil());
}

TEST_F(LocalizedStrings, OnlyTheLowByteOfTheFlagCounts) {
  ZevMoSetCheckingOfLocalizedStrings(256);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go"_hx, ""_hx, "Tool"_hx), "Go"_hx);
  ZevMoSetCheckingOfLocalizedStrings(-1);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go"_hx, ""_hx, "Tool"_hx), "!GO"_hx);
}

}  // namespace
}  // namespace rondel
