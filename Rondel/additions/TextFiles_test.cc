// SPDX-License-Identifier: MIT
//
// Files of text in all their encodings, and the encoding that is taken where nothing shows one.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "Rondel/additions/TextDecoding.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TextForms.h"

namespace rondel {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using test::unitsOf;
class TextFiles : public testing::Test {
 protected:
  HxString fileOf(std::string_view contents) {
    return HxString(_folder.write("file.txt", contents));
  }
  HxString path(std::string_view name) { return HxString(_folder.path(name)); }
  static std::string contentsOf(const HxString& path) {
    std::ifstream file(path.toStdString(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  test::TemporaryDirectory _folder;
};

HxData dataOf(std::string_view bytes) { return HxData::dataWithBytes(bytes.data(), bytes.size()); }

struct Beginning {
  std::string_view bytes;
  bool isUnicode;
  bool isUTF8WithBOM;
};

const Beginning kBeginnings[] = {
    {"", false, false},
    {"\xFF", false, false},
    {"\xFE", false, false},
    {"\xEF", false, false},
    {"\xFF\xFE", true, false},
    {"\xFE\xFF", true, false},
    {"\xFE\xFE", false, false},
    {"\xFF\xFF", false, false},
    {"\xFF\xFE\0a"sv, true, false},
    {"\xEF\xBB", false, false},
    {"\xEF\xBB\xBF", false, true},
    {"\xEF\xBB\xBF text", false, true},
    {"\xEF\xBB\xBE", false, false},
    {" \xFF\xFE", false, false},
};

TEST_F(TextFiles, AreReportedByTheirFirstBytes) {
  for (const Beginning& beginning : kBeginnings) {
    const HxString file = fileOf(beginning.bytes);
    EXPECT_EQ(isFileUnicode(file, nullptr), beginning.isUnicode);
    EXPECT_EQ(isFileUTF8WithBOM(file, nullptr), beginning.isUTF8WithBOM);
  }
}

TEST_F(TextFiles, AreNotLookedAtWhenDataAreReturnn) {
  const HxString unicode = fileOf("\xFF\xFE");
  for (const Beginning& beginning : kBeginnings) {
    EXPECT_EQ(isFileUnicode(unicode, dataOf(beginning.bytes)), beginning.isUnicode);
    EXPECT_EQ(isFileUTF8WithBOM(nullptr, dataOf(beginning.bytes)), beginning.isUTF8WithBOM);
  }
}

TEST_F(TextFiles, OfOneByteAreNotUnicodeWhateverItIs) {
  EXPECT_FALSE(isFileUnicode(fileOf("\xFE"), nullptr));
  for (unsigned byte = 0; byte < 0x100; ++byte) {
    EXPECT_FALSE(isFileUnicode(nullptr, dataOf(std::string(1, static_cast<char>(byte))))) << byte;
  }
}

TEST_F(TextFiles, ThatCannotBeOpenedAreOfNoKind) {
  for (const HxString& missing : {path("missing"), HxString(), ""_hx}) {
    EXPECT_FALSE(isFileUnicode(missing, nullptr));
    EXPECT_FALSE(isFileUTF8WithBOM(missing, nullptr));
  }
}

TEST_F(TextFiles, WithoutAnEndAreReportedByTheirFirstBytesToo) {
  EXPECT_FALSE(isFileUnicode("/dev/zero"_hx, nullptr));
  EXPECT_FALSE(isFileUTF8WithBOM("/dev/zero"_hx, nullptr));
}

constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

struct File {
  const char* name;
  std::string contents;
  HxStringEncoding byDefault;
  HxStringEncoding encoding;
  std::u16string text;
};

std::u16string declarationAnd(std::u16string_view text) {
  return std::u16string(kDeclaration.begin(), kDeclaration.end()) + std::u16string(text);
}

TEST_F(TextFiles, AreReadInTheEncodingThatTheyShow) {
  const File files[] = {
      {"default", "caf\xC3\xA9", HxUTF8StringEncoding, HxUTF8StringEncoding, u"caf\u00E9"},
      {"legacy", "caf\xE9", HxHaldenOSRomanStringEncoding, HxHaldenOSRomanStringEncoding,
       u"caf\u00E9"},
      {"UTF-16, little",
       "\xFF\xFE"
       "a\0\x87\x65"s,
       HxUTF8StringEncoding, HxUnicodeStringEncoding, u"a\u6587"},
      {"UTF-16, big", "\xFE\xFF\0a\x65\x87"s, HxASCIIStringEncoding, HxUnicodeStringEncoding,
       u"a\u6587"},
      {"XML", std::string(kDeclaration) + "\xC3\xA9", HxHaldenOSRomanStringEncoding,
       HxUTF8StringEncoding, declarationAnd(u"\u00E9")},
      {"XML alone", std::string(kDeclaration), HxHaldenOSRomanStringEncoding, HxUTF8StringEncoding,
       declarationAnd(u"")},
      {"signature, not looked for", "\xEF\xBB\xBFz", HxHaldenOSRomanStringEncoding,
       HxHaldenOSRomanStringEncoding, u"\u00EF\u00BB\u00BFz"},
      {"signature kept", "\xEF\xBB\xBFz", HxUTF8StringEncoding, HxUTF8StringEncoding, u"\uFEFFz"},
      {"empty", "", HxUTF8StringEncoding, HxUTF8StringEncoding, u""},
  };
  for (const File& file : files) {
    HxStringEncoding encoding = 0;
    const HxString text = initWithContentsOfFile(fileOf(file.contents), file.byDefault, &encoding);
    EXPECT_FALSE(text.isNil()) << file.name;
    EXPECT_EQ(unitsOf(text), file.text) << file.name;
    EXPECT_EQ(encoding, file.encoding) << file.name;
  }
}

TEST_F(TextFiles, WithADeclarationOf37BytesAreReadByDefault) {
  HxStringEncoding encoding = 0;
  const std::string_view cut = kDeclaration.substr(0, 37);
  ASSERT_EQ(kDeclaration.size(), 38U);
  EXPECT_EQ(initWithContentsOfFile(fileOf(cut), HxASCIIStringEncoding, &encoding).length(), 37U);
  EXPECT_EQ(encoding, HxASCIIStringEncoding);
}

TEST_F(TextFiles, WithAnotherSpellingOfTheDeclarationAreReadByDefault) {
  for (const std::string_view declaration :
       {"<?xml version='1.0' encoding='UTF-8'?>"sv, "<?xml version=\"1.0\" encoding=\"utf-8\"?>"sv,
        " <?xml version=\"1.0\" encoding=\"UTF-8\"?>"sv,
        "<?xml version=\"1.1\" encoding=\"UTF-8\"?>"sv}) {
    HxStringEncoding encoding = 0;
    initWithContentsOfFile(fileOf(declaration), HxASCIIStringEncoding, &encoding);
    EXPECT_EQ(encoding, HxASCIIStringEncoding) << declaration;
  }
}

TEST_F(TextFiles, ThatDoNotDecodeReturnNilAndTheirEncoding) {
  HxStringEncoding encoding = 0;
  EXPECT_TRUE(initWithContentsOfFile(fileOf("caf\xE9"), HxUTF8StringEncoding, &encoding).isNil());
  EXPECT_EQ(encoding, HxUTF8StringEncoding);
  EXPECT_TRUE(initWithContentsOfFile(fileOf("caf\xE9"), HxUTF8StringEncoding, nullptr).isNil());
}

TEST_F(TextFiles, ThatAreNotWhatTheyBeginLikeReturnNilAndThatEncoding) {
  HxStringEncoding encoding = 0;
  EXPECT_TRUE(initWithUnicodeOrHaldenOSRomanContentsOfFile(fileOf("\xFF\xFE"
                                                                  "a"),
                                                           &encoding)
                  .isNil());
  EXPECT_EQ(encoding, HxUnicodeStringEncoding);
  const std::string xml = std::string(kDeclaration) + "caf\xE9";
  EXPECT_TRUE(initWithUnicodeOrHaldenOSRomanContentsOfFile(fileOf(xml), &encoding).isNil());
  EXPECT_EQ(encoding, HxUTF8StringEncoding);
}

TEST_F(TextFiles, AreReadWithoutAPlaceForTheirEncoding) {
  EXPECT_EQ(
      unitsOf(initWithContentsOfFile(fileOf("\xFE\xFF\x65\x87"), HxUTF8StringEncoding, nullptr)),
      u"\u6587");
  EXPECT_EQ(unitsOf(initWithUnicodeOrHaldenOSRomanContentsOfFile(fileOf("caf\xE9"), nullptr)),
            u"caf\u00E9");
}

TEST_F(TextFiles, ThatCannotBeReadReturnNilAndNoEncoding) {
  HxStringEncoding encoding = 99;
  EXPECT_TRUE(initWithContentsOfFile(path("missing"), HxUTF8StringEncoding, &encoding).isNil());
  EXPECT_EQ(encoding, 99U);
}

TEST_F(TextFiles, ThatReturnNilAreNotReportedOf) {
  const test::LogRecorder log;
  initWithContentsOfFile(path("missing"), HxUTF8StringEncoding, nullptr);
  initWithContentsOfFile(fileOf("caf\xE9"), HxUTF8StringEncoding, nullptr);
  isFileUnicode(path("missing"), nullptr);
  EXPECT_TRUE(log.messages().empty());
}

// A mapped file costs what is looked at, one that is read its size.
TEST_F(TextFiles, AreMappedWhereOnlyTheirFirstBytesCount) {
  constexpr std::uintmax_t kLarge = 256U << 20;
  const HxString unicode = fileOf("\xFF\xFE");
  std::filesystem::resize_file(unicode.toStdString(), kLarge);
  const test::AllocationCounter counter;
  EXPECT_TRUE(isFileUnicode(unicode, nullptr));
  EXPECT_FALSE(isFileUTF8WithBOM(unicode, nullptr));
  EXPECT_LT(counter.bytes(), 1U << 20);
}

TEST_F(TextFiles, AreUnicodeOrLegacyWhereNothingElseIsAsked) {
  HxStringEncoding encoding = 0;
  EXPECT_EQ(unitsOf(initWithUnicodeOrHaldenOSRomanContentsOfFile(fileOf("caf\xE9"), &encoding)),
            u"caf\u00E9");
  EXPECT_EQ(encoding, HxHaldenOSRomanStringEncoding);
  EXPECT_EQ(
      unitsOf(initWithUnicodeOrHaldenOSRomanContentsOfFile(fileOf("\xFE\xFF\x65\x87"), &encoding)),
      u"\u6587");
  EXPECT_EQ(encoding, HxUnicodeStringEncoding);
}

TEST_F(TextFiles, AreWrittenDecomposedAndWithoutASignature) {
  for (const bool atomically : {true, false}) {
    const HxString file = fileOf("old contents that are longer");
    EXPECT_TRUE(
        writeUsingFileSystemEncodingToFile(HxString("caf\xC3\xA9 \xE6\x96\x87"), file, atomically));
    EXPECT_EQ(contentsOf(file), "cafe\xCC\x81 \xE6\x96\x87");
  }
}

TEST_F(TextFiles, TakeThePlaceOfTheOldOneOnlyAtomically) {
  const HxString file = fileOf("old");
  const std::filesystem::path link = path("link").toStdString();
  std::filesystem::create_hard_link(file.toStdString(), link);
  EXPECT_TRUE(writeUsingFileSystemEncodingToFile("first"_hx, file, false));
  EXPECT_EQ(contentsOf(path("link")), "first");
  EXPECT_TRUE(writeUsingFileSystemEncodingToFile("second"_hx, file, true));
  EXPECT_EQ(contentsOf(file), "second");
  EXPECT_EQ(contentsOf(path("link")), "first");
}

TEST_F(TextFiles, AreEmptyForAnEmptyText) {
  const HxString file = fileOf("old");
  EXPECT_TRUE(writeUsingFileSystemEncodingToFile(""_hx, file, true));
  EXPECT_EQ(contentsOf(file), "");
  EXPECT_TRUE(writeUsingFileSystemEncodingToFile(HxMutableString::string(), path("new"), false));
  EXPECT_EQ(std::filesystem::file_size(path("new").toStdString()), 0U);
}

TEST_F(TextFiles, AreLeftAloneByATextThatDoesNotConvert) {
  const HxString file = fileOf("old");
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile(HxString(u"a\xD800"sv), file, true));
  EXPECT_EQ(contentsOf(file), "old");
}

TEST_F(TextFiles, InAFolderThatDoesNotExistAreNotWritten) {
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile("text"_hx, path("missing/file"), true));
  EXPECT_FALSE(writeUsingFileSystemEncodingToFile("text"_hx, path("missing/file"), false));
}

// ---- The default encoding

TEST(TextEncodings, HaveTheirNumbers) {
  EXPECT_EQ(HxASCIIStringEncoding, 1U);
  EXPECT_EQ(HxUTF8StringEncoding, 4U);
  EXPECT_EQ(HxUnicodeStringEncoding, 10U);
  EXPECT_EQ(HxHaldenOSRomanStringEncoding, 30U);
}

class DefaultEncoding : public testing::Test {
 protected:
  ~DefaultEncoding() override { setMoDefaultCStringEncoding(0); }
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  const HxString key = "MoDefaultCStringEncoding"_hx;
};

TEST_F(DefaultEncoding, IsUTF8WhenNoneIsSet) {
  EXPECT_EQ(MoDefaultCStringEncoding(), HxUTF8StringEncoding);
}

TEST_F(DefaultEncoding, IsKeptAsADecimalNumberInAString) {
  setMoDefaultCStringEncoding(HxHaldenOSRomanStringEncoding);
  EXPECT_EQ(as<HxString>(defaults->objectForKey(key)), "30"_hx);
  EXPECT_EQ(MoDefaultCStringEncoding(), HxHaldenOSRomanStringEncoding);
}

TEST_F(DefaultEncoding, OfZeroRemovesTheKey) {
  setMoDefaultCStringEncoding(HxHaldenOSRomanStringEncoding);
  setMoDefaultCStringEncoding(0);
  EXPECT_TRUE(defaults->objectForKey(key).isNil());
  EXPECT_EQ(MoDefaultCStringEncoding(), HxUTF8StringEncoding);
}

TEST_F(DefaultEncoding, IsUTF8ForTextThatIsNoNumber) {
  for (const HxString& text : {"0"_hx, "none"_hx, ""_hx}) {
    defaults->setObject(text, key);
    EXPECT_EQ(MoDefaultCStringEncoding(), HxUTF8StringEncoding);
  }
}

TEST_F(DefaultEncoding, MayBeANumber) {
  defaults->setObject(HxNumber::numberWithInt(30), key);
  EXPECT_EQ(MoDefaultCStringEncoding(), HxHaldenOSRomanStringEncoding);
  defaults->setObject(HxNumber::numberWithInt(0), key);
  EXPECT_EQ(MoDefaultCStringEncoding(), HxUTF8StringEncoding);
}

TEST_F(DefaultEncoding, IsTheLeadingNumberOfTheText) {
  defaults->setObject(" 10 and more"_hx, key);
  EXPECT_EQ(MoDefaultCStringEncoding(), HxUnicodeStringEncoding);
}

}  // namespace
}  // namespace rondel
