// SPDX-License-Identifier: MIT
//
// Strings of a user's class that tell a length that they do not have.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/internal/RangeCheck.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/Format.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/StringObject.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/testing/Raised.h"

namespace rondel::test {
namespace {

constexpr HxUInteger kShown = 300;

// Shows 300 characters and tells more.
class BoastfulString final : public HxStringObject {
 public:
  explicit BoastfulString(HxUInteger told) : _told(told) {}

  HxUInteger length() const override { return _told; }
  HxUniChar characterAtIndex(HxUInteger index) const override {
    internal::checkIndex("-[BoastfulString characterAtIndex:]", index, kShown);
    return u'a';
  }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    internal::checkRange("-[BoastfulString getCharacters:range:]", range, kShown);
    for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = u'a';
  }

 private:
  HxUInteger _told;
};

struct Operation {
  const char* name;
  void (*run)(const HxString& text);
};

constexpr Operation kWholeText[] = {
    {"copy", [](const HxString& text) { static_cast<void>(text.copy()); }},
    {"mutableCopy", [](const HxString& text) { static_cast<void>(text.mutableCopy()); }},
    {"hash", [](const HxString& text) { static_cast<void>(text.hash()); }},
    {"UTF8String", [](const HxString& text) { static_cast<void>(text.UTF8String()); }},
    {"fileSystemRepresentation",
     [](const HxString& text) { static_cast<void>(text.fileSystemRepresentation()); }},
    {"dataUsingEncoding: UTF-8",
     [](const HxString& text) { static_cast<void>(text.dataUsingEncoding(HxUTF8StringEncoding)); }},
    {"uppercaseString", [](const HxString& text) { static_cast<void>(text.uppercaseString()); }},
    {"decomposedStringWithCanonicalMapping",
     [](const HxString& text) { static_cast<void>(text.decomposedStringWithCanonicalMapping()); }},
    {"rangeOfString", [](const HxString& text) { static_cast<void>(text.rangeOfString("b"_hx)); }},
    {"rangeOfString in another",
     [](const HxString& text) { static_cast<void>("aaa"_hx.rangeOfString(text)); }},
    {"compare", [](const HxString& text) { static_cast<void>(text.compare("a"_hx)); }},
    {"substringFromIndex",
     [](const HxString& text) { static_cast<void>(text.substringFromIndex(1)); }},
    {"componentsSeparatedByString",
     [](const HxString& text) { static_cast<void>(text.componentsSeparatedByString("b"_hx)); }},
    {"stringByReplacingOccurrencesOfString",
     [](const HxString& text) {
       static_cast<void>(text.stringByReplacingOccurrencesOfString("b"_hx, "c"_hx));
     }},
    {"stringByAppendingString",
     [](const HxString& text) { static_cast<void>("a"_hx.stringByAppendingString(text)); }},
    {"appendString", [](const HxString& text) { HxMutableString::string().appendString(text); }},
    {"insertString", [](const HxString& text) { HxMutableString::string().insertString(text, 0); }},
    {"setString", [](const HxString& text) { HxMutableString::string().setString(text); }},
    {"stringWithFormat",
     [](const HxString& text) { static_cast<void>(HxString::stringWithFormat("%@"_hx, text)); }},
    {"componentsJoinedByString",
     [](const HxString& text) {
       static_cast<void>(HxArray::arrayWithObjects({text, text}).componentsJoinedByString(","_hx));
     }},
    {"pathComponents", [](const HxString& text) { static_cast<void>(text.pathComponents()); }},
    {"lastPathComponent",
     [](const HxString& text) { static_cast<void>(text.lastPathComponent()); }},
    {"stringByTrimmingCharactersInSet",
     [](const HxString& text) {
       static_cast<void>(text.stringByTrimmingCharactersInSet(
           HxCharacterSet::characterSetWithCharactersInString("b"_hx)));
     }},
    {"characterSetWithCharactersInString",
     [](const HxString& text) {
       static_cast<void>(HxCharacterSet::characterSetWithCharactersInString(text));
     }},
    {"rangeOfCharacterFromSet",
     [](const HxString& text) {
       static_cast<void>(text.rangeOfCharacterFromSet(
           HxCharacterSet::characterSetWithCharactersInString("b"_hx)));
     }},
};

class LengthThatIsNotShown : public ::testing::TestWithParam<HxUInteger> {};

TEST_P(LengthThatIsNotShown, RaisesARangeExceptionAndTakesNoRoom) {
  const HxString text = as<HxString>(HxAny::adopt(new BoastfulString(GetParam())));
  for (const Operation& operation : kWholeText) {
    try {
      EXPECT_EQ(raisedBy([&] { operation.run(text); }), HxRangeException) << operation.name;
    } catch (const std::bad_alloc&) {
      ADD_FAILURE() << operation.name << " takes room first";
    } catch (const std::length_error&) {
      ADD_FAILURE() << operation.name << " takes room first";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(String, LengthThatIsNotShown,
                         ::testing::Values(kShown + 1, HxUInteger{1} << 40, HxNotFound / 2,
                                           HxNotFound, ~HxUInteger{0} / 2 + 2, ~HxUInteger{0}));

}  // namespace
}  // namespace rondel::test
