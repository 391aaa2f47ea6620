// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/Bundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/internal/BundleObject.h"
#include "Rondel/core/propertylist/internal/Languages.h"
#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

HxString hx(const std::string& utf8) { return HxString(std::string_view(utf8)); }

class Variable {
 public:
  Variable(const char* name, const char* value) : _name(name) {
    if (const char* old = std::getenv(name)) _old = old;
    setenv(name, value, 1);
  }
  ~Variable() { _old ? setenv(_name, _old->c_str(), 1) : unsetenv(_name); }

 private:
  const char* const _name;
  std::optional<std::string> _old;
};

// A folder to be a bundle, with the language German wanted.
class Bundle : public testing::Test {
 protected:
  HxBundle bundle() const { return HxBundle::bundleWithPath(hx(folder.path())); }

  const Variable language{"LANGUAGE", ""};
  const Variable all{"LC_ALL", "de_AT.UTF-8"};
  const test::TemporaryDirectory folder;
};

// ---- Languages

struct LanguageCase {
  internal::LocaleVariables variables;
  std::vector<std::string> languages;
};

TEST(Languages, AreThoseOfTheLocale) {
  const LanguageCase cases[] = {
      {{nullptr, nullptr, nullptr, nullptr}, {}},
      {{"", "", "", ""}, {}},
      {{nullptr, nullptr, nullptr, "de"}, {"de"}},
      {{nullptr, nullptr, nullptr, "de_AT.UTF-8@euro"}, {"de_AT", "de-AT", "de"}},
      {{nullptr, nullptr, "fr", "de"}, {"fr"}},
      {{nullptr, "es", "fr", "de"}, {"es"}},
      {{nullptr, "", "fr", "de"}, {"fr"}},
      {{"pt_BR:es", "de", nullptr, nullptr}, {"pt_BR", "pt-BR", "pt", "es", "de"}},
      {{"de:de_AT:de", "de", nullptr, nullptr}, {"de", "de_AT", "de-AT"}},
      {{"::es:", "de", nullptr, nullptr}, {"es", "de"}},
      {{"es", "C", nullptr, nullptr}, {}},
      {{"es", "C.UTF-8", nullptr, nullptr}, {}},
      {{"es", "POSIX", "de", "de"}, {}},
      {{"es", nullptr, nullptr, nullptr}, {}},
      {{"../x:C:es", "de", nullptr, nullptr}, {"es", "de"}},
  };
  for (const auto& [variables, languages] : cases) {
    EXPECT_EQ(internal::wantedLanguages(variables), languages);
  }
}

// ---- Finding bundles

TEST_F(Bundle, MainBundleIsTheFolderOfTheProgram) {
  const HxBundle main = HxBundle::mainBundle();
  EXPECT_TRUE(test::programPath("x").starts_with(main.bundlePath().toStdString()));
  EXPECT_TRUE(main.bundleIdentifier().isNil());
  EXPECT_EQ(main.infoDictionary(), HxDictionary::dictionary());
  EXPECT_EQ(HxBundle::mainBundle().object(), main.object());
}

TEST_F(Bundle, PathThatLeadsToNoFolderReturnsNil) {
  EXPECT_TRUE(HxBundle::bundleWithPath(nullptr).isNil());
  EXPECT_TRUE(HxBundle::bundleWithPath(""_hx).isNil());
  EXPECT_TRUE(HxBundle::bundleWithPath(hx(folder.path("none"))).isNil());
  EXPECT_TRUE(HxBundle::bundleWithPath(hx(folder.write("file", ""))).isNil());
}

TEST_F(Bundle, PathThatTheSystemRefusesIsNil) {
  const HxString path = hx(folder.path());
  for (const test::FileFault& fault : test::faultsOf({"realpath"})) {
    const test::SystemCallsKept kept;
    fault.install();
    EXPECT_TRUE(HxBundle::bundleWithPath(path).isNil()) << fault.name();
  }
  EXPECT_FALSE(HxBundle::bundleWithPath(path).isNil());
}

TEST_F(Bundle, SamePathReturnsTheSameBundle) {
  EXPECT_EQ(bundle().object(), bundle().object());
  EXPECT_EQ(HxBundle::bundleWithPath(hx(folder.path() + "/../" +
                                        folder.path().substr(folder.path().rfind('/') + 1) + "/"))
                .object(),
            bundle().object());
  EXPECT_EQ(bundle().bundlePath(), hx(folder.path()));
}

TEST_F(Bundle, IsFoundByItsIdentifierOnceMade) {
  const HxString identifier = hx("org.example." + folder.path());
  folder.write("Info.plist",
               "{ HxBundleIdentifier = \"" + identifier.toStdString() + "\"; a = b; }");
  EXPECT_TRUE(HxBundle::bundleWithIdentifier(identifier).isNil());
  EXPECT_EQ(bundle().bundleIdentifier(), identifier);
  EXPECT_EQ(bundle().infoDictionary().objectForKey("a"_hx), "b"_hx);
  EXPECT_EQ(HxBundle::bundleWithIdentifier(identifier).object(), bundle().object());
}

TEST_F(Bundle, UnknownIdentifierReturnsNil) {
  EXPECT_TRUE(HxBundle::bundleWithIdentifier("org.example.none"_hx).isNil());
  EXPECT_TRUE(HxBundle::bundleWithIdentifier(nullptr).isNil());
}

TEST_F(Bundle, LibraryBundleIsAlwaysThereAndItsMessagesAreTheirOwnKeys) {
  const HxBundle library = HxBundle::bundleWithIdentifier("com.ostrand.Vantor.Rondel"_hx);
  ASSERT_FALSE(library.isNil());
  EXPECT_EQ(library.bundleIdentifier(), "com.ostrand.Vantor.Rondel"_hx);
  EXPECT_EQ(library.localizedStringForKey("Any %@ text"_hx, ""_hx, "Rondel"_hx), "Any %@ text"_hx);
}

TEST_F(Bundle, LibraryBundleIsTheFirstFolderThatSaysSo) {
  folder.write("b/Info.plist", "{ HxBundleIdentifier = other; }");
  folder.write("c/Info.plist", "{ HxBundleIdentifier = com.ostrand.Vantor.Rondel; }");
  folder.write("c/Resources/de.lproj/Rondel.strings", "No = Nein;");
  std::vector<HxString> reports;
  const HxBundle library =
      internal::libraryBundleIn({folder.path("a"), folder.path("b"), folder.path("c")}, reports);
  EXPECT_EQ(library.bundlePath(), hx(folder.path("c")));
  EXPECT_EQ(library.localizedStringForKey("No"_hx, ""_hx, "Rondel"_hx), "Nein"_hx);
  EXPECT_THAT(reports, IsEmpty());
}

// ---- Texts

TEST_F(Bundle, TextComesFromTheFirstLanguageThatHasTheKey) {
  folder.write("Info.plist", "{ HxBundleDevelopmentRegion = fr; }");
  folder.write("Resources/de_AT.lproj/T.strings", "a = \"a de_AT\";");
  folder.write("Resources/de-AT.lproj/T.strings", "a = 0; b = \"b de-AT\";");
  folder.write("Resources/de.lproj/T.strings", "b = 0; c = \"c de\";");
  folder.write("Resources/en.lproj/T.strings", "c = 0; d = \"d en\";");
  folder.write("Resources/fr.lproj/T.strings", "d = 0; e = \"e fr\";");
  folder.write("Resources/Base.lproj/T.strings", "e = 0; f = \"f Base\";");
  folder.write("Resources/es.lproj/T.strings", "g = \"g es\";");
  const auto look = [&](const HxString& key) {
    return bundle().localizedStringForKey(key, ""_hx, "T"_hx).toStdString();
  };
  EXPECT_EQ(look("a"_hx), "a de_AT");
  EXPECT_EQ(look("b"_hx), "b de-AT");
  EXPECT_EQ(look("c"_hx), "c de");
  EXPECT_EQ(look("d"_hx), "d en");
  EXPECT_EQ(look("e"_hx), "e fr");
  EXPECT_EQ(look("f"_hx), "f Base");
  EXPECT_EQ(look("g"_hx), "g");
}

TEST_F(Bundle, MissingKeyReturnsTheValueElseItself) {
  folder.write("Resources/de.lproj/Localizable.strings", "key = text; list = ( a );");
  const struct {
    HxString key;
    HxString value;
    HxString table;
    HxString expected;
  } cases[] = {
      {"key"_hx, "value"_hx, nullptr, "text"_hx},
      {"key"_hx, "value"_hx, ""_hx, "text"_hx},
      {"key"_hx, "value"_hx, "Localizable"_hx, "text"_hx},
      {"key"_hx, "value"_hx, "Other"_hx, "value"_hx},
      {"key"_hx, ""_hx, "Other"_hx, "key"_hx},
      {"key"_hx, nullptr, "Other"_hx, "key"_hx},
      {"none"_hx, "value"_hx, nullptr, "value"_hx},
      {"none"_hx, ""_hx, nullptr, "none"_hx},
      {"list"_hx, ""_hx, nullptr, "list"_hx},
      {""_hx, ""_hx, nullptr, ""_hx},
      {nullptr, "value"_hx, nullptr, "value"_hx},
      {nullptr, nullptr, nullptr, ""_hx},
      {"key"_hx, ""_hx, "../de.lproj/Localizable"_hx, "key"_hx},
  };
  for (const auto& [key, value, table, expected] : cases) {
    const HxString text = bundle().localizedStringForKey(key, value, table);
    EXPECT_FALSE(text.isNil());
    EXPECT_EQ(text, expected) << key.toStdString() << " " << table.toStdString();
  }
}

TEST_F(Bundle, LocalizedInfoDictionaryHoldsTheTranslationsAlone) {
  folder.write("Info.plist", "{ HxBundleIdentifier = org.example.info; Name = Tool; Other = 1; }");
  folder.write("Resources/de.lproj/InfoPlist.strings", "Name = Werkzeug;");
  EXPECT_EQ(bundle().localizedInfoDictionary(),
            HxDictionary::dictionaryWithObject("Werkzeug"_hx, "Name"_hx));
}

TEST_F(Bundle, LocalizedInfoDictionaryIsNilWithoutTranslations) {
  folder.write("Info.plist", "{ Name = Tool; }");
  EXPECT_TRUE(bundle().localizedInfoDictionary().isNil());
}

TEST_F(Bundle, TableIsReadOnce) {
  folder.write("Resources/de.lproj/T.strings", "a = 1;");
  EXPECT_EQ(bundle().localizedStringForKey("a"_hx, ""_hx, "T"_hx), "1"_hx);
  folder.write("Resources/de.lproj/T.strings", "a = 2;");
  EXPECT_EQ(bundle().localizedStringForKey("a"_hx, ""_hx, "T"_hx), "1"_hx);
}

TEST_F(Bundle, DamagedFilesAreReportedOnceAndCountAsEmpty) {
  const test::LogRecorder log;
  const std::string info = folder.write("Info.plist", "( a )");
  const std::string table = folder.write("Resources/de.lproj/T.strings", "a = ");
  EXPECT_EQ(bundle().infoDictionary(), HxDictionary::dictionary());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(bundle().localizedStringForKey("a"_hx, ""_hx, "T"_hx), "a"_hx);
  }
  EXPECT_THAT(log.messages(),
              ElementsAre("File treated as empty: " + info + ": the root is not a dictionary",
                          "File treated as empty: " + table +
                              ": line 1, column 5: expected a value, found the end of the text"));
}

TEST_F(Bundle, FIFOInPlaceOfAFileIsReportedOnceAndNotWaitedFor) {
  const test::LogRecorder log;
  const std::string info = folder.path("Info.plist");
  const std::string table = folder.path("Resources/de.lproj/T.strings");
  std::filesystem::create_directories(folder.path("Resources/de.lproj"));
  ASSERT_EQ(mkfifo(info.c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(table.c_str(), 0600), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(bundle().infoDictionary(), HxDictionary::dictionary());
    EXPECT_EQ(bundle().localizedStringForKey("a"_hx, ""_hx, "T"_hx), "a"_hx);
  }
  EXPECT_THAT(log.messages(),
              ElementsAre("File treated as empty: " + info + ": not a regular file",
                          "File treated as empty: " + table + ": not a regular file"));
}

TEST_F(Bundle, NilReturnsNilForEverything) {
  const HxBundle none;
  EXPECT_TRUE(none.bundlePath().isNil());
  EXPECT_TRUE(none.bundleIdentifier().isNil());
  EXPECT_TRUE(none.infoDictionary().isNil());
  EXPECT_TRUE(none.localizedInfoDictionary().isNil());
  EXPECT_TRUE(none.localizedStringForKey("a"_hx, "b"_hx, "c"_hx).isNil());
}

TEST_F(Bundle, DescribesItself) {
  EXPECT_EQ(bundle().description(), hx("<HxBundle (null) at " + folder.path() + ">"));
}

TEST_F(Bundle, ManyThreadsMayLookUpAtOnce) {
  folder.write("Resources/de.lproj/T.strings", "a = b;");
  std::vector<std::thread> threads;
  std::vector<std::string> texts(4);
  for (std::string& text : texts) {
    threads.emplace_back(
        [&] { text = bundle().localizedStringForKey("a"_hx, ""_hx, "T"_hx).toStdString(); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(texts, ElementsAre("b", "b", "b", "b"));
}

}  // namespace
}  // namespace rondel
