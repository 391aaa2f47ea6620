// SPDX-License-Identifier: MIT
#include "Rondel/additions/UserDefaultsAdditions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/core/report/AssertionHandler.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

HxString hx(const std::string& utf8) { return HxString(std::string_view(utf8)); }

// What a command line of the shell prints.
std::string outputOf(const std::string& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "re");
  if (!pipe) return output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

class UserDefaultsAdditions : public testing::Test {
 protected:
  HxDictionary registered() const { return defaults->volatileDomainForName(HxRegistrationDomain); }
  void registerEntry(const HxHandle& value, const HxString& key) const {
    defaults->registerDefaults(HxDictionary::dictionaryWithObject(value, key));
  }

  const test::LogRecorder log;
  const test::TemporaryDirectory folder;
  const Ref<HxUserDefaults> defaults =
      internal::UserDefaultsStore::makeDefaults({hx(folder.path()), "tool"_hx, nullptr});
  const Ref<HxUserDefaults> none = nullptr;
};

// ---- registerDefaultsOfContentsOfFile

TEST_F(UserDefaultsAdditions, RegistersTheEntriesOfAFile) {
  registerDefaultsOfContentsOfFile(defaults, hx(folder.write("list", "{ a = b; }")));
  EXPECT_EQ(registered(), HxDictionary::dictionaryWithObject("b"_hx, "a"_hx));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UserDefaultsAdditions, EmptyFileRegistersNothing) {
  registerDefaultsOfContentsOfFile(defaults, hx(folder.write("list", "{}")));
  EXPECT_EQ(registered(), HxDictionary::dictionary());
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UserDefaultsAdditions, RegisteredEntriesJoinTheEarlierOnesBelowWhatIsSet) {
  defaults->setObject("set"_hx, "c"_hx);
  registerDefaultsOfContentsOfFile(defaults, hx(folder.write("first", "{ a = 1; b = 1; }")));
  registerDefaultsOfContentsOfFile(defaults, hx(folder.write("second", "{ b = 2; c = 2; }")));
  EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
  EXPECT_EQ(defaults->objectForKey("b"_hx), "2"_hx);
  EXPECT_EQ(defaults->objectForKey("c"_hx), "set"_hx);
}

TEST_F(UserDefaultsAdditions, FileWithoutADictionaryIsLogged) {
  const std::string missing = folder.path("missing");
  const std::string array = folder.write("array", "( a )");
  registerDefaultsOfContentsOfFile(defaults, hx(missing));
  registerDefaultsOfContentsOfFile(defaults, hx(array));
  EXPECT_THAT(
      log.messages(),
      ElementsAre(
          "-[HxUserDefaults(MoUserDefaultsExtra) registerDefaultsOfContentsOfFile:]: failed "
          "to load defaults file '" +
              missing + "'.",
          "-[HxUserDefaults(MoUserDefaultsExtra) registerDefaultsOfContentsOfFile:]: failed "
          "to load defaults file '" +
              array + "'."));
}

TEST_F(UserDefaultsAdditions, NilPathRaises) {
  try {
    registerDefaultsOfContentsOfFile(defaults, nullptr);
    FAIL() << "nothing was raised";
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), HxInternalInconsistencyException);
    EXPECT_EQ(exception.reason(), "Invalid parameter not satisfying: path != nil"_hx);
  }
}

class Forgiving final : public HxAssertionHandler {
 public:
  void handleFailureInMethod(HxSelector method, const HxHandle& object, const HxString& file,
                             HxInteger line, const HxString& description,
                             HxArguments arguments) override {
    receivers.push_back(object);
    EXPECT_STREQ(method.name(), "registerDefaultsOfContentsOfFile:");
    EXPECT_TRUE(file.hasSuffix("UserDefaultsAdditions.cc"_hx));
    EXPECT_GT(line, 0);
    EXPECT_EQ(description, "Invalid parameter not satisfying: %s"_hx);
    ASSERT_EQ(arguments.count(), 1U);
    EXPECT_STREQ(arguments[0].asCString(), "path != nil");
  }
  std::vector<HxAny> receivers;
};

TEST_F(UserDefaultsAdditions, NilPathDoesNothingMoreWhenTheHandlerReturns) {
  const Ref<Forgiving> forgiving = makeRef<Forgiving>();
  const Ref<HxAssertionHandler> former = HxAssertionHandler::setCurrentHandler(forgiving);
  registerDefaultsOfContentsOfFile(defaults, nullptr);
  HxAssertionHandler::setCurrentHandler(former);
  EXPECT_THAT(forgiving->receivers, ElementsAre(HxAny(defaults)));
  EXPECT_THAT(log.messages(), IsEmpty());
}

// ---- boolForKeyWithDefaultValue

TEST_F(UserDefaultsAdditions, FlagsAreReadForgivingly) {
  enum Answer { no, yes, byDefault };
  const struct {
    HxAny value;
    Answer answer;
  } cases[] = {
      {nullptr, byDefault},
      {"YES"_hx, yes},
      {"yes"_hx, yes},
      {"Yes"_hx, yes},
      {"1"_hx, yes},
      {"7"_hx, yes},
      {"-1"_hx, yes},
      {"NO"_hx, no},
      {"no"_hx, no},
      {"0"_hx, no},
      {""_hx, no},
      {"true"_hx, no},
      {"Y"_hx, no},
      {HxNumber::numberWithInt(2), yes},
      {HxNumber::numberWithInt(1), yes},
      {HxNumber::numberWithBool(true), yes},
      {HxNumber::numberWithInt(0), no},
      {HxNumber::numberWithBool(false), no},
      {HxNumber::numberWithInt(-2), yes},
      {HxNumber::numberWithInt(-1), byDefault},
      {HxNumber::numberWithDouble(0.5), no},
      {HxNumber::numberWithDouble(1.5), yes},
      {HxNumber::numberWithDouble(-1.5), byDefault},
      {HxDate::date(), byDefault},
      {HxArray::array(), byDefault},
      {HxDictionary::dictionary(), byDefault},
      {HxData::data(), byDefault},
  };
  for (const auto& [value, answer] : cases) {
    defaults->setObject(value, "key"_hx);
    for (const bool byDefaultValue : {true, false}) {
      EXPECT_EQ(boolForKeyWithDefaultValue(defaults, "key"_hx, byDefaultValue),
                answer == byDefault ? byDefaultValue : answer == yes)
          << value.description().toStdString();
    }
  }
}

TEST_F(UserDefaultsAdditions, FlagsAreReadFromAllDomains) {
  registerEntry("NO"_hx, "key"_hx);
  EXPECT_FALSE(boolForKeyWithDefaultValue(defaults, "key"_hx, true));
  defaults->setVolatileDomain(HxDictionary::dictionaryWithObject("YES"_hx, "key"_hx),
                              HxArgumentDomain);
  EXPECT_TRUE(boolForKeyWithDefaultValue(defaults, "key"_hx, false));
}

TEST_F(UserDefaultsAdditions, NilKeyReturnsTheDefaultFlag) {
  EXPECT_TRUE(boolForKeyWithDefaultValue(defaults, nullptr, true));
  EXPECT_FALSE(boolForKeyWithDefaultValue(defaults, nullptr, false));
}

// ---- objectForKeyIn...DomainForName

TEST_F(UserDefaultsAdditions, OneDomainAloneIsRead) {
  registerEntry("registered"_hx, "a"_hx);
  defaults->setObject("set"_hx, "a"_hx);
  EXPECT_EQ(objectForKeyInVolatileDomainForName(defaults, "a"_hx, HxRegistrationDomain),
            "registered"_hx);
  EXPECT_EQ(objectForKeyInPersistentDomainForName(defaults, "a"_hx, "tool"_hx), "set"_hx);
}

TEST_F(UserDefaultsAdditions, MissingDomainOrKeyReturnsNil) {
  registerEntry("registered"_hx, "a"_hx);
  defaults->setObject("set"_hx, "a"_hx);
  EXPECT_TRUE(objectForKeyInVolatileDomainForName(defaults, "a"_hx, "none"_hx).isNil());
  EXPECT_TRUE(objectForKeyInPersistentDomainForName(defaults, "a"_hx, "none"_hx).isNil());
  EXPECT_TRUE(objectForKeyInVolatileDomainForName(defaults, "b"_hx, HxRegistrationDomain).isNil());
  EXPECT_TRUE(objectForKeyInPersistentDomainForName(defaults, "b"_hx, "tool"_hx).isNil());
  EXPECT_TRUE(objectForKeyInVolatileDomainForName(defaults, nullptr, HxRegistrationDomain).isNil());
  EXPECT_TRUE(objectForKeyInPersistentDomainForName(defaults, nullptr, "tool"_hx).isNil());
}

TEST_F(UserDefaultsAdditions, NilDomainWithoutAMainBundleIdentifierReturnsNil) {
  ASSERT_TRUE(HxBundle::mainBundle().bundleIdentifier().isNil());
  registerEntry("registered"_hx, "a"_hx);
  defaults->setObject("set"_hx, "a"_hx);
  EXPECT_TRUE(objectForKeyInVolatileDomainForName(defaults, "a"_hx, nullptr).isNil());
  EXPECT_TRUE(objectForKeyInPersistentDomainForName(defaults, "a"_hx, nullptr).isNil());
}

// A copy of the program beside an Info.plist has an identifier for its main bundle.
TEST_F(UserDefaultsAdditions, NilDomainIsThatOfTheMainBundle) {
  const std::string program = folder.path("read-main-domain");
  std::filesystem::copy_file(test::programPath("read-main-domain"), program);
  folder.write("Info.plist", "{ HxBundleIdentifier = \"com.example.main\"; }");
  EXPECT_EQ(outputOf(program + " com.example.main"), "volatile persistent\n");
  EXPECT_EQ(outputOf(program + " com.example.other"), "nil nil\n");
}

// ---- objectIsChangedForKey

TEST_F(UserDefaultsAdditions, SettingIsChangedWhenItDiffersFromTheRegisteredOne) {
  registerEntry("1"_hx, "a"_hx);
  EXPECT_FALSE(objectIsChangedForKey(defaults, "a"_hx));
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_FALSE(objectIsChangedForKey(defaults, "a"_hx));
  defaults->setObject("2"_hx, "a"_hx);
  EXPECT_TRUE(objectIsChangedForKey(defaults, "a"_hx));
}

TEST_F(UserDefaultsAdditions, SettingMayBeChangedInAnyDomainAndInItsTypeAlone) {
  registerEntry("1"_hx, "a"_hx);
  const auto setArgument = [&](const HxHandle& value) {
    defaults->setVolatileDomain(HxDictionary::dictionaryWithObject(value, "a"_hx),
                                HxArgumentDomain);
  };
  setArgument("2"_hx);
  EXPECT_TRUE(objectIsChangedForKey(defaults, "a"_hx));
  setArgument(HxNumber::numberWithInt(1));
  EXPECT_TRUE(objectIsChangedForKey(defaults, "a"_hx));
  setArgument("1"_hx);
  EXPECT_FALSE(objectIsChangedForKey(defaults, "a"_hx));
}

TEST_F(UserDefaultsAdditions, SettingThatIsNotRegisteredIsNeverChanged) {
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_FALSE(objectIsChangedForKey(defaults, "a"_hx));
  EXPECT_FALSE(objectIsChangedForKey(defaults, "none"_hx));
  EXPECT_FALSE(objectIsChangedForKey(defaults, nullptr));
}

TEST_F(UserDefaultsAdditions, NullStoreReturnsZeroForEverything) {
  registerDefaultsOfContentsOfFile(none, nullptr);
  EXPECT_FALSE(boolForKeyWithDefaultValue(none, "a"_hx, true));
  EXPECT_TRUE(objectForKeyInVolatileDomainForName(none, "a"_hx, HxRegistrationDomain).isNil());
  EXPECT_TRUE(objectForKeyInPersistentDomainForName(none, "a"_hx, "tool"_hx).isNil());
  EXPECT_FALSE(objectIsChangedForKey(none, "a"_hx));
  EXPECT_THAT(log.messages(), IsEmpty());
}

}  // namespace
}  // namespace rondel
