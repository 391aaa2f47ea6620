// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/DefaultsFolder.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

using internal::UserDefaultsStore;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using test::contentsOf;
using test::hx;
using test::words;
using UserDefaults = test::DefaultsFolder;

// ---- Domains

TEST_F(UserDefaults, DomainsAreSearchedInOrder) {
  writeTool("{ a = tool; b = tool; }");
  folder.write("defaults/HxGlobalDomain.plist", "{ a = all; b = all; c = all; }");
  const Ref<HxUserDefaults> defaults = store(words({"tool"_hx, "-a"_hx, "argument"_hx}));
  for (const auto& key : {"a"_hx, "b"_hx, "c"_hx, "d"_hx}) {
    registerEntry(defaults, "registered"_hx, key);
  }
  EXPECT_EQ(defaults->objectForKey("a"_hx), "argument"_hx);
  EXPECT_EQ(defaults->objectForKey("b"_hx), "tool"_hx);
  EXPECT_EQ(defaults->objectForKey("c"_hx), "all"_hx);
  EXPECT_EQ(defaults->objectForKey("d"_hx), "registered"_hx);
  EXPECT_TRUE(defaults->objectForKey("e"_hx).isNil());
  EXPECT_TRUE(defaults->objectForKey(nullptr).isNil());
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            HxDictionary::dictionaryWithEntries({{"a"_hx, "argument"_hx},
                                                 {"b"_hx, "tool"_hx},
                                                 {"c"_hx, "all"_hx},
                                                 {"d"_hx, "registered"_hx}}));
}

TEST_F(UserDefaults, DomainsCanBeReadByName) {
  writeTool("{ a = 1; }");
  folder.write("defaults/HxGlobalDomain.plist", "{ b = 2; }");
  folder.write("defaults/other.plist", "{ c = 3; }");
  const Ref<HxUserDefaults> defaults = store(words({"tool"_hx, "-d"_hx, "4"_hx}));
  registerEntry(defaults, "5"_hx, "e"_hx);
  const auto entry = [](const HxString& key, const HxString& value) {
    return HxDictionary::dictionaryWithObject(value, key);
  };
  EXPECT_EQ(defaults->persistentDomainForName("tool"_hx), entry("a"_hx, "1"_hx));
  EXPECT_EQ(defaults->persistentDomainForName(HxGlobalDomain), entry("b"_hx, "2"_hx));
  EXPECT_EQ(defaults->persistentDomainForName("other"_hx), entry("c"_hx, "3"_hx));
  EXPECT_EQ(defaults->volatileDomainForName(HxArgumentDomain), entry("d"_hx, "4"_hx));
  EXPECT_EQ(defaults->volatileDomainForName(HxRegistrationDomain), entry("e"_hx, "5"_hx));
  for (const HxString& name : {"none"_hx, ""_hx, HxString()}) {
    EXPECT_TRUE(defaults->persistentDomainForName(name).isNil());
    EXPECT_TRUE(defaults->volatileDomainForName(name).isNil());
  }
  EXPECT_TRUE(defaults->volatileDomainForName("tool"_hx).isNil());
  EXPECT_TRUE(defaults->persistentDomainForName(HxRegistrationDomain).isNil());
}

TEST_F(UserDefaults, RegisteringAddsAndReplaces) {
  const Ref<HxUserDefaults> defaults = store();
  registerEntry(defaults, "1"_hx, "a"_hx);
  registerEntry(defaults, "2"_hx, "b"_hx);
  registerEntry(defaults, "3"_hx, "a"_hx);
  defaults->registerDefaults(nullptr);
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            HxDictionary::dictionaryWithEntries({{"a"_hx, "3"_hx}, {"b"_hx, "2"_hx}}));
  EXPECT_FALSE(std::filesystem::exists(folder.path("defaults")));
}

TEST_F(UserDefaults, VolatileDomainsCanBeReplacedAndRemoved) {
  const Ref<HxUserDefaults> defaults = store(words({"tool"_hx, "-a"_hx, "1"_hx}));
  const HxDictionary entries = HxDictionary::dictionaryWithObject("2"_hx, "b"_hx);
  defaults->setVolatileDomain(entries, HxArgumentDomain);
  EXPECT_TRUE(defaults->objectForKey("a"_hx).isNil());
  EXPECT_EQ(defaults->objectForKey("b"_hx), "2"_hx);
  defaults->setVolatileDomain(nullptr, HxArgumentDomain);
  EXPECT_TRUE(defaults->objectForKey("b"_hx).isNil());
  defaults->setVolatileDomain(entries, "mine"_hx);
  EXPECT_EQ(defaults->volatileDomainForName("mine"_hx), entries);
  EXPECT_TRUE(defaults->objectForKey("b"_hx).isNil());
  defaults->setVolatileDomain(entries, nullptr);
  EXPECT_EQ(defaults->dictionaryRepresentation(), HxDictionary::dictionary());
}

// ---- The command line

TEST_F(UserDefaults, ArgumentsArePairsOfKeyAndValue) {
  const struct {
    const char* name;
    HxArray arguments;
    const char* domain;  // as a property list
  } cases[] = {
      {"nothing", nullptr, "{}"},
      {"program alone", words({"-a"_hx}), "{}"},
      {"pair", words({"t"_hx, "-a"_hx, "b"_hx}), "{ a = b; }"},
      {"pairs", words({"t"_hx, "-a"_hx, "b"_hx, "-c"_hx, "d"_hx}), "{ a = b; c = d; }"},
      {"last counts", words({"t"_hx, "-a"_hx, "b"_hx, "-a"_hx, "c"_hx}), "{ a = c; }"},
      {"plain words", words({"t"_hx, "x"_hx, "-a"_hx, "b"_hx, "y"_hx}), "{ a = b; }"},
      {"no value", words({"t"_hx, "-a"_hx}), "{}"},
      {"longer plain words",
       words({"t"_hx, "word"_hx, "value"_hx, "-a"_hx, "b"_hx, "xy"_hx, "z"_hx}), "{ a = b; }"},
      {"assignments", words({"t"_hx, "-a"_hx, "x=y"_hx, "-b"_hx, "x = y;"_hx, "c=d"_hx, "e"_hx}),
       "{ a = \"x=y\"; b = \"x = y;\"; }"},
      {"long option with a value", words({"t"_hx, "--a=b"_hx, "c"_hx, "--d"_hx, "e"_hx}), "{}"},
      {"flag before a key", words({"t"_hx, "-a"_hx, "-b"_hx, "c"_hx}), "{ b = c; }"},
      {"negative numbers", words({"t"_hx, "-a"_hx, "-1"_hx, "-b"_hx, "-.5"_hx}),
       "{ a = \"-1\"; b = \"-.5\"; }"},
      {"number is no key", words({"t"_hx, "-1"_hx, "b"_hx}), "{}"},
      {"long options", words({"t"_hx, "--a"_hx, "b"_hx, "-c"_hx, "--d"_hx}), "{}"},
      {"lone dash", words({"t"_hx, "-"_hx, "b"_hx, "-a"_hx, "-"_hx}), "{}"},
      {"end of options", words({"t"_hx, "-a"_hx, "b"_hx, "--"_hx, "-c"_hx, "d"_hx}), "{ a = b; }"},
      {"lists", words({"t"_hx, "-a"_hx, "( x, \"y z\" )"_hx, "-b"_hx, "{ c = <0f>; }"_hx}),
       "{ a = ( x, \"y z\" ); b = { c = <0f>; }; }"},
      {"quoted", words({"t"_hx, "-a"_hx, "\"x\\ty\""_hx}), "{ a = \"x\\ty\"; }"},
      {"no list",
       words({"t"_hx, "-a"_hx, "( x"_hx, "-b"_hx, "x y"_hx, "-c"_hx, ""_hx, "-d"_hx, "x = y;"_hx}),
       "{ a = \"( x\"; b = \"x y\"; c = \"\"; d = \"x = y;\"; }"},
  };
  for (const auto& [name, arguments, domain] : cases) {
    EXPECT_EQ(internal::argumentDomain(arguments), HxPropertyListWithString(hx(domain))) << name;
  }
}

// ---- Typed reading

TEST_F(UserDefaults, ReadsEachTypeAndZeroForOthers) {
  const struct {
    HxAny value;
    HxString string;
    HxInteger integer;
    bool flag;
  } cases[] = {
      {nullptr, nullptr, 0, false},
      {"12 apples"_hx, "12 apples"_hx, 12, true},
      {"YES"_hx, "YES"_hx, 0, true},
      {"no"_hx, "no"_hx, 0, false},
      {HxNumber::numberWithInt(-3), "-3"_hx, -3, true},
      {HxNumber::numberWithBool(false), "0"_hx, 0, false},
      {HxArray::array(), nullptr, 0, false},
      {HxDate::date(), nullptr, 0, false},
  };
  for (const auto& [value, string, integer, flag] : cases) {
    const Ref<HxUserDefaults> defaults = storeInMemory();
    defaults->setObject(value, "key"_hx);
    EXPECT_EQ(defaults->stringForKey("key"_hx), string);
    EXPECT_EQ(defaults->integerForKey("key"_hx), integer);
    EXPECT_EQ(defaults->boolForKey("key"_hx), flag);
  }
}

TEST_F(UserDefaults, StringArrayHoldsStringsOnly) {
  const Ref<HxUserDefaults> defaults = storeInMemory();
  const HxArray strings = words({"a"_hx, "b"_hx});
  defaults->setObject(strings, "strings"_hx);
  defaults->setObject(HxArray::array(), "empty"_hx);
  defaults->setObject(words({"a"_hx, HxNumber::numberWithInt(1)}), "mixed"_hx);
  defaults->setObject("a"_hx, "string"_hx);
  EXPECT_EQ(defaults->stringArrayForKey("strings"_hx), strings);
  EXPECT_EQ(defaults->stringArrayForKey("empty"_hx), HxArray::array());
  EXPECT_TRUE(defaults->stringArrayForKey("mixed"_hx).isNil());
  EXPECT_TRUE(defaults->stringArrayForKey("string"_hx).isNil());
  EXPECT_TRUE(defaults->stringArrayForKey("none"_hx).isNil());
}

// ---- Writing

TEST_F(UserDefaults, WhatIsSetIsThereForTheNextProcess) {
  const HxAny value = HxDictionary::dictionaryWithObject(words({"x y"_hx}), "\u00E9"_hx);
  store()->setObject(value, "key"_hx);
  EXPECT_EQ(toolFile(),
            "{\n    key = {\n        \"\u00E9\" = (\n            \"x y\"\n        );\n    };\n}\n");
  EXPECT_EQ(store()->objectForKey("key"_hx), value);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UserDefaults, RemovingUncoversTheNextDomain) {
  writeTool("{ a = 1; b = 2; }");
  const Ref<HxUserDefaults> defaults = store();
  registerEntry(defaults, "3"_hx, "a"_hx);
  defaults->removeObjectForKey("a"_hx);
  EXPECT_EQ(defaults->objectForKey("a"_hx), "3"_hx);
  defaults->setObject(nullptr, "b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{}\n");
}

TEST_F(UserDefaults, RemovingWhatIsNotThereWritesNothing) {
  store()->removeObjectForKey("a"_hx);
  store()->setObject("x"_hx, nullptr);
  EXPECT_FALSE(std::filesystem::exists(folder.path("defaults/tool.plist")));
}

TEST_F(UserDefaults, SettingTheSameAgainLeavesTheFileAsItIs) {
  const std::string byHand = "{ a = 1; } // by hand\n";
  writeTool(byHand);
  store()->setObject("1"_hx, "a"_hx);
  EXPECT_EQ(toolFile(), byHand);
}

TEST_F(UserDefaults, WhatOthersWroteInBetweenStays) {
  const Ref<HxUserDefaults> one = store();
  const Ref<HxUserDefaults> other = store();
  one->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(one->synchronize());
  other->setObject("2"_hx, "b"_hx);
  EXPECT_TRUE(other->synchronize());
  one->setObject("3"_hx, "c"_hx);
  EXPECT_TRUE(one->synchronize());
  other->removeObjectForKey("a"_hx);
  EXPECT_TRUE(other->synchronize());
  EXPECT_EQ(store()->dictionaryRepresentation(),
            HxDictionary::dictionaryWithEntries({{"b"_hx, "2"_hx}, {"c"_hx, "3"_hx}}));
  EXPECT_TRUE(one->objectForKey("a"_hx));
  EXPECT_TRUE(one->synchronize());
  EXPECT_TRUE(one->objectForKey("a"_hx).isNil());
}

TEST_F(UserDefaults, ManyChangesCostOneWriting) {
  const test::SystemCallsKept kept;
  const Ref<HxUserDefaults> defaults = store();
  const auto& renames = test::countCall<&test::FileCalls::rename>();
  for (int i = 0; i < 100; ++i) defaults->setObject("x"_hx, hx(std::to_string(i)));
  EXPECT_EQ(renames.count, 0);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(renames.count, 1);
  EXPECT_EQ(store()->dictionaryRepresentation().count(), 100U);
}

TEST_F(UserDefaults, ValuesAreCopied) {
  HxMutableArray list = HxMutableArray::array();
  HxMutableString key = HxMutableString::stringWithString("key"_hx);
  const Ref<HxUserDefaults> defaults = storeInMemory();
  defaults->setObject(list, key);
  list.addObject("later"_hx);
  key.appendString("later"_hx);
  EXPECT_EQ(defaults->objectForKey("key"_hx), HxArray::array());
  EXPECT_FALSE(HxMutableArray::canHold(defaults->objectForKey("key"_hx).object()));
}

TEST_F(UserDefaults, WhatIsNoPropertyListIsReportedAndNotSet) {
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject(HxSet::set(), "set"_hx);
  defaults->setObject(HxDate::dateWithTimeIntervalSinceReferenceDate(1e15), "date"_hx);
  defaults->registerDefaults(HxDictionary::dictionaryWithEntries(
      {{HxNumber::numberWithInt(1), "a"_hx}, {"b"_hx, "c"_hx}}));
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            HxDictionary::dictionaryWithObject("c"_hx, "b"_hx));
  EXPECT_THAT(log.messages(),
              ElementsAre(HasSubstr("The value for the default 'set' is no property list: "),
                          HasSubstr("The value for the default 'date' is no property list: "),
                          "The value for the default '1' is no property list: a"));
}

TEST_F(UserDefaults, FolderAndFileAreForTheUserAlone) {
  store()->setObject("1"_hx, "a"_hx);
  struct stat status;
  ASSERT_EQ(stat(folder.path("defaults").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(UserDefaults, ChangeThatCannotBeWrittenHoldsAndIsReportedOnceAndTriedAgain) {
  // A file is where the folder should be.
  const std::string inTheWay = folder.write("defaults", "");
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
  HxError error;
  EXPECT_FALSE(defaults->synchronize(&error));
  EXPECT_EQ(error.domain(), HxPOSIXErrorDomain);
  EXPECT_EQ(error.code(), ENOTDIR);
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_THAT(log.messages(), ElementsAre("Settings not written, will be tried again: " + inTheWay +
                                          ": Not a directory"));

  std::filesystem::remove(inTheWay);
  EXPECT_TRUE(defaults->synchronize(&error));
  EXPECT_EQ(store()->objectForKey("a"_hx), "1"_hx);
}

// ---- Places

TEST_F(UserDefaults, FolderIsThatOfTheConfiguration) {
  EXPECT_EQ(internal::defaultsFolder("/c", "/h"), "/c/rondel/defaults"_hx);
  EXPECT_EQ(internal::defaultsFolder(nullptr, "/h"), "/h/.config/rondel/defaults"_hx);
  EXPECT_EQ(internal::defaultsFolder("", "/h"), "/h/.config/rondel/defaults"_hx);
  EXPECT_EQ(internal::defaultsFolder("c", "/h"), "/h/.config/rondel/defaults"_hx);
  EXPECT_TRUE(internal::defaultsFolder(nullptr, nullptr).isNil());
  EXPECT_TRUE(internal::defaultsFolder("c", "h").isNil());
  EXPECT_TRUE(internal::defaultsFolder("/\xE9", "/h").isNil());
}

TEST_F(UserDefaults, DomainNameCannotLeadOutOfTheFolder) {
  EXPECT_EQ(internal::defaultsFileName("org.example.tool"_hx), "org.example.tool.plist");
  EXPECT_EQ(internal::defaultsFileName("../a/b%"_hx), "%2E.%2Fa%2Fb%25.plist");
  EXPECT_EQ(internal::defaultsFileName("\u00E9"_hx), "\u00E9.plist");
  EXPECT_EQ(internal::defaultsFileName(HxString(std::u16string_view(u"a\0b", 3))), "a%00b.plist");
}

TEST_F(UserDefaults, WithoutAFolderOrANameAllIsKeptInMemory) {
  for (const auto& [place, name] : {std::pair{HxString(), "tool"_hx},
                                    {hx(folder.path("defaults")), HxString()},
                                    {hx(folder.path("defaults")), ""_hx}}) {
    const Ref<HxUserDefaults> defaults = UserDefaultsStore::makeDefaults({place, name, nullptr});
    defaults->setObject("1"_hx, "a"_hx);
    EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path("defaults")));
}

TEST_F(UserDefaults, NonASCIIPlacesWork) {
  const std::string place = folder.path("\u00E9\u4E2D");
  const auto open = [&] {
    return UserDefaultsStore::makeDefaults({hx(place), "t\u00F6\u00F6l"_hx, nullptr});
  };
  open()->setObject("1"_hx, "a"_hx);
  EXPECT_EQ(open()->objectForKey("a"_hx), "1"_hx);
  EXPECT_EQ(contentsOf(place + "/t\u00F6\u00F6l.plist"), "{\n    a = 1;\n}\n");
}

TEST_F(UserDefaults, StandardStoreIsOneAndBelongsToTheProgram) {
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  EXPECT_EQ(defaults, HxUserDefaults::standardUserDefaults());
  defaults->setObject("1"_hx, "RondelTestKey"_hx);
  EXPECT_EQ(defaults->persistentDomainForName(HxProcessInfo::processInfo()->processName())
                .objectForKey("RondelTestKey"_hx),
            "1"_hx);
  defaults->removeObjectForKey("RondelTestKey"_hx);
}

// ---- Threads

TEST_F(UserDefaults, ManyThreadsAndStoresLoseNothing) {
  const Ref<HxUserDefaults> one = store();
  const Ref<HxUserDefaults> other = store();
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      const Ref<HxUserDefaults>& defaults = number % 2 == 0 ? one : other;
      for (int i = 0; i < 10; ++i) {
        const std::string key = std::to_string(number) + "." + std::to_string(i);
        defaults->setObject("x"_hx, hx(key));
        EXPECT_EQ(defaults->objectForKey(hx(key)), "x"_hx);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(one->synchronize());
  EXPECT_TRUE(other->synchronize());
  EXPECT_EQ(store()->dictionaryRepresentation().count(), 40u);
}

Ref<HxUserDefaults> storeOfOutput;
void readDefaults(const HxString&) { storeOfOutput->setObject("told"_hx, "log"_hx); }

TEST_F(UserDefaults, LogMayUseTheDefaultsThatItIsReportedAbout) {
  writeTool("{");
  storeOfOutput = store();
  HxSetLogOutput(readDefaults);
  EXPECT_TRUE(storeOfOutput->objectForKey("a"_hx).isNil());
  EXPECT_EQ(storeOfOutput->objectForKey("log"_hx), "told"_hx);
  storeOfOutput = nullptr;
}

}  // namespace
}  // namespace rondel
