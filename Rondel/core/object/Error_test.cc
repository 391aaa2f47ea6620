// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Error.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

TEST(Error, RecordsDomainCodeAndUserInfo) {
  const HxDictionary info = HxDictionary::dictionaryWithObject("/x"_hx, HxFilePathErrorKey);
  const HxError error = HxError::errorWithDomain("Tool"_hx, -5, info);
  EXPECT_EQ(error.domain(), "Tool"_hx);
  EXPECT_EQ(error.code(), -5);
  EXPECT_EQ(error.userInfo(), info);
}

TEST(Error, HasTheNamesOfTheSystemsDomainAndPath) {
  EXPECT_EQ(HxPOSIXErrorDomain, "HxPOSIXErrorDomain"_hx);
  EXPECT_EQ(HxFilePathErrorKey, "HxFilePathErrorKey"_hx);
  const HxError error = HxError::posixError(ENOENT, "/x"_hx);
  EXPECT_EQ(error.domain(), HxPOSIXErrorDomain);
  EXPECT_EQ(error.code(), ENOENT);
  EXPECT_EQ(error.userInfo().objectForKey<HxString>(HxFilePathErrorKey), "/x"_hx);
  EXPECT_TRUE(HxError::posixError(ENOENT, nullptr).userInfo().isNil());
}

TEST(Error, HasTextToShow) {
  const auto text = [](const HxError& error) { return shown(error.localizedDescription()); };
  EXPECT_EQ(text(HxError::posixError(EACCES, "/tmp/x"_hx)), "/tmp/x: Permission denied");
  EXPECT_EQ(text(HxError::posixError(EACCES, nullptr)), "Permission denied");
  EXPECT_EQ(text(HxError::posixError(99999, nullptr)), "Unknown error 99999");
  EXPECT_EQ(text(HxError::errorWithDomain(HxPOSIXErrorDomain, HxInteger{1} << 40, nullptr)),
            "Unknown error 1099511627776");
  EXPECT_EQ(text(HxError::errorWithDomain("HxOther"_hx, 5, nullptr)), "HxOther error 5");
  const HxDictionary info =
      HxDictionary::dictionaryWithObject("The disk is full."_hx, HxLocalizedDescriptionKey);
  EXPECT_EQ(text(HxError::errorWithDomain("HxOther"_hx, 5, info)), "The disk is full.");
  EXPECT_EQ(text(HxError::errorWithDomain(HxPOSIXErrorDomain, ENOSPC, info)), "The disk is full.");
  EXPECT_EQ(shown(HxError::posixError(ENOENT, "/x"_hx)),
            "HxPOSIXErrorDomain 2: /x: No such file or directory");
}

TEST(Error, DoesNotFollowWhatItWasMadeFrom) {
  HxMutableString domain = HxMutableString::stringWithString("Tool"_hx);
  HxMutableDictionary info = HxMutableDictionary::dictionary();
  const HxError error = HxError::errorWithDomain(domain, 1, info);
  domain.appendString("x"_hx);
  info.setObject("a"_hx, "b"_hx);
  EXPECT_EQ(error.domain(), "Tool"_hx);
  EXPECT_EQ(error.userInfo().count(), 0U);
}

TEST(Error, EqualsByAllThatItRecords) {
  const HxError error = HxError::posixError(ENOENT, "/x"_hx);
  EXPECT_TRUE(error.isEqual(HxError::posixError(ENOENT, "/x"_hx)));
  EXPECT_EQ(error.hash(), HxError::posixError(ENOENT, "/x"_hx).hash());
  EXPECT_FALSE(error.isEqual(HxError::posixError(EACCES, "/x"_hx)));
  EXPECT_FALSE(error.isEqual(HxError::posixError(ENOENT, "/y"_hx)));
  EXPECT_FALSE(error.isEqual(HxError::errorWithDomain("Tool"_hx, ENOENT, error.userInfo())));
  EXPECT_FALSE(error.isEqual("/x"_hx));
}

TEST(Error, MayBeMadeOfNil) {
  const HxError error = HxError::errorWithDomain(nullptr, 5, nullptr);
  EXPECT_TRUE(error.domain().isNil());
  EXPECT_TRUE(error.userInfo().isNil());
  EXPECT_FALSE(error.localizedDescription().isEmpty());
}

TEST(NilError, AnswersZeroToEverything) {
  const HxError nil;
  EXPECT_TRUE(nil.domain().isNil());
  EXPECT_EQ(nil.code(), 0);
  EXPECT_TRUE(nil.userInfo().isNil());
  EXPECT_TRUE(nil.localizedDescription().isNil());
}

}  // namespace
}  // namespace rondel::test
