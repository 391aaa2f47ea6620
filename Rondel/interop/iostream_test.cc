// SPDX-License-Identifier: MIT
#include "Rondel/interop/iostream.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

std::string written(const auto& value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

TEST(Iostream, WritesTextAsUTF8) {
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(written(makeText(form, u"main.c")), "main.c");
    EXPECT_EQ(written(makeText(form, u"caf\u00e9 \U0001F600")), "caf\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(written(makeText(form, u"")), "");
  }
  EXPECT_EQ(written(HxMutableString::stringWithString("abc"_hx)), "abc");
}

TEST(Iostream, WritesALoneSurrogateAsTheReplacementCharacter) {
  EXPECT_EQ(written(HxString(std::u16string_view(u"a\xD83D", 2))), "a\xEF\xBF\xBD");
}

TEST(Iostream, WritesNilAsFormatsDo) {
  EXPECT_EQ(written(HxString()), "(null)");
  EXPECT_EQ(written(HxAny()), "(null)");
  EXPECT_EQ(written(HxArray()), "(null)");
}

TEST(Iostream, WritesTheDescriptionOfAnyObject) {
  EXPECT_EQ(written(HxAny("abc"_hx)), "abc");
  EXPECT_EQ(written(HxNumber::numberWithInt(12)), "12");
  const HxArray array = HxArray::arrayWithObjects({"a"_hx, "b"_hx});
  EXPECT_EQ(written(array), array.description().toStdString());
}

TEST(Iostream, KeepsToTheWidthOfTheStream) {
  std::ostringstream stream;
  stream << std::setw(5) << std::left << "ab"_hx << '|' << std::setw(5) << "caf\u00e9"_hx << '|';
  EXPECT_EQ(stream.str(), "ab   |caf\xC3\xA9|");
}

}  // namespace
}  // namespace rondel::test
