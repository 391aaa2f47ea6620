// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Exception.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

TEST(Exception, IsRaisedWithAFormattedReason) {
  try {
    HxException::raise("Trouble"_hx, "%@ has %d of %s"_hx, "main.c"_hx, 3, "them");
    FAIL() << "nothing was raised";
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), "Trouble"_hx);
    EXPECT_EQ(exception.reason(), "main.c has 3 of them"_hx);
    EXPECT_TRUE(exception.userInfo().isNil());
  }
}

TEST(Exception, IsRaisedAgainAsItIs) {
  const HxDictionary info = HxDictionary::dictionaryWithObject("value"_hx, "key"_hx);
  const HxException trouble("Trouble"_hx, "a reason"_hx, info);
  try {
    trouble.raise();
    FAIL() << "nothing was raised";
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name().object(), trouble.name().object());
    EXPECT_EQ(exception.reason().object(), trouble.reason().object());
    EXPECT_EQ(exception.userInfo().object(), info.object());
  }
}

TEST(Exception, IsAStandardOneWithItsTextInUTF8) {
  try {
    HxException::raise(HxRangeException, "caf\u00e9 %C"_hx, u'x');
    FAIL() << "nothing was raised";
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "HxRangeException: caf\u00e9 x");
  }
  const HxException odd("a"_hx, HxString(std::u16string_view(u"\xD83D", 1)));
  EXPECT_STREQ(odd.what(), "a: \xEF\xBF\xBD");
}

TEST(Exception, HasTheNamesThatOthersCatchItBy) {
  EXPECT_EQ(HxInvalidArgumentException, "HxInvalidArgumentException"_hx);
  EXPECT_EQ(HxRangeException, "HxRangeException"_hx);
  EXPECT_EQ(HxInternalInconsistencyException, "HxInternalInconsistencyException"_hx);
}

TEST(Exception, CopiesShareAndNeverFail) {
  static_assert(std::is_nothrow_copy_constructible_v<HxException>);
  static_assert(std::is_nothrow_copy_assignable_v<HxException>);
  const HxException one("One"_hx, "1"_hx);
  HxException other("Other"_hx, "2"_hx);
  other = one;
  EXPECT_EQ(other.name(), "One"_hx);
  EXPECT_EQ(other.what(), one.what());
}

TEST(Exception, DoesNotFollowWhatItWasMadeFrom) {
  HxMutableString reason = HxMutableString::stringWithString("a reason"_hx);
  HxMutableDictionary info = HxMutableDictionary::dictionary();
  const HxException exception("Trouble"_hx, reason, info);
  reason.appendString("x"_hx);
  info.setObject("a"_hx, "b"_hx);
  EXPECT_EQ(exception.reason(), "a reason"_hx);
  EXPECT_EQ(exception.userInfo().count(), 0U);
}

TEST(Exception, OfNothingStillHasAText) {
  const HxException exception(nullptr, nullptr);
  EXPECT_TRUE(exception.name().isNil());
  EXPECT_TRUE(exception.reason().isNil());
  EXPECT_STREQ(exception.what(), ": ");
  EXPECT_EQ(messageOf([] { HxException::raise("Trouble"_hx, nullptr); }), "Trouble: ");
}

class Collapse final : public HxException {
 public:
  Collapse() : HxException("Collapse"_hx, "all of it"_hx) {}
  [[noreturn]] void raise() const override { throw *this; }
};

TEST(Exception, OfADerivedClassIsRaisedWholeThroughItsBase) {
  const Collapse collapse;
  const HxException& base = collapse;
  EXPECT_THROW(base.raise(), Collapse);
}

TEST(Exception, LetsGoOfWhatTheFramesHold) {
  const HxMutableArray held = HxMutableArray::array();
  const auto raiseWith = [](const HxHandle& object) {
    const HxAny share = object;
    HxException::raise("Trouble"_hx, "%@"_hx, share);
  };
  EXPECT_THROW(raiseWith(held), HxException);
  EXPECT_TRUE(held.object()->isUniquelyReferenced());
}

}  // namespace
}  // namespace rondel::test
