// SPDX-License-Identifier: MIT
#include "Rondel/core/AspectLog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Rondel/core/Bundle.h"
#include "Rondel/core/Check.h"
#include "Rondel/core/Dictionary.h"
#include "Rondel/core/Log.h"
#include "Rondel/core/Number.h"
#include "Rondel/core/UserDefaults.h"
#include "Rondel/core/internal/AspectLogState.h"
#include "Rondel/core/internal/AspectMap.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Places.h"

namespace rondel {
namespace {

std::string written;

// The lines that were written since the last question.
std::string lines() { return std::exchange(written, {}); }

// A log without levels, whose lines are caught.
class AspectLog : public ::testing::Test {
 protected:
  AspectLog()
      : _output(HxSetLogOutput([](const HxString& line) { written += line.toStdString() + '\n'; })),
        _registered(
            HxUserDefaults::standardUserDefaults()->volatileDomainForName(HxRegistrationDomain)) {
    lines();
    internal::resetAspectLog();
  }
  ~AspectLog() override {
    HxSetLogOutput(_output);
    HxUserDefaults::standardUserDefaults()->setVolatileDomain(_registered, HxRegistrationDomain);
    internal::resetAspectLog();
    ZevMoSetCheckingOfLocalizedStrings(0);
  }

  static void setDefaults(std::initializer_list<HxDictionary::Entry> entries) {
    HxUserDefaults::standardUserDefaults()->setVolatileDomain(
        HxDictionary::dictionaryWithEntries(entries), HxRegistrationDomain);
  }

 private:
  HxLogOutput _output;
  HxDictionary _registered;
};

constexpr HxString kTopic = "Topic"_hx;
constexpr HxString kOther = "Other"_hx;

// ---- Levels -------------------------------------------------------------------------------------

TEST_F(AspectLog, WithoutKeysTheFlagIsFalseAfterTheFirstQuestionAndAllLevelsAreZero) {
  EXPECT_TRUE(_MoLogSomeLoggingIsEnabled);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  EXPECT_FALSE(_MoLogSomeLoggingIsEnabled);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 0U);
}

TEST_F(AspectLog, LevelsComeFromTheDefaults) {
  setDefaults({{"TopicLogLevel"_hx, "3"_hx},
               {"OtherLogLevel"_hx, HxNumber::numberWithInt(2)},
               {"WordsLogLevel"_hx, "many"_hx},
               {"Unrelated"_hx, "7"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 3U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 2U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Words"_hx), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Unrelated"_hx), 0U);
  EXPECT_TRUE(_MoLogSomeLoggingIsEnabled);
}

TEST_F(AspectLog, KeysOfLevelZeroLeaveTheFlagFalse) {
  setDefaults({{"TopicLogLevel"_hx, "0"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  EXPECT_FALSE(_MoLogSomeLoggingIsEnabled);
}

TEST_F(AspectLog, DefaultsAreReadOnce) {
  setDefaults({{"TopicLogLevel"_hx, "3"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 3U);
  setDefaults({{"TopicLogLevel"_hx, "5"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 3U);
}

TEST_F(AspectLog, SettingReplacesALevel) {
  setDefaults({{"TopicLogLevel"_hx, "3"_hx}});
  MoSetLogDetailLevelForAspect(kTopic, 5);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 5U);
  MoSetLogDetailLevelForAspect(kTopic, 1);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 1U);
}

TEST_F(AspectLog, AspectsAreEqualByText) {
  const HxMutableString name = HxMutableString::stringWithString("Topic"_hx);
  MoSetLogDetailLevelForAspect(name, 4);
  HxMutableString(name).appendString("s"_hx);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Topic"_hx), 4U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(HxString(std::string_view("Topic"))), 4U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Topics"_hx), 0U);
}

TEST_F(AspectLog, SettingALevelBackToZeroLeavesTheFlagTrue) {
  MoSetLogDetailLevelForAspect(kTopic, 0);
  EXPECT_FALSE(_MoLogSomeLoggingIsEnabled);
  MoSetLogDetailLevelForAspect(kTopic, 1);
  MoSetLogDetailLevelForAspect(kTopic, 0);
  EXPECT_TRUE(_MoLogSomeLoggingIsEnabled);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
}

std::vector<std::string> failedChecks;

class AspectChecks : public AspectLog {
 protected:
  AspectChecks()
      : _sink(MoSetAssertionFailureHandler([](const HxAny* self, const HxSelector* _cmd,
                                              const char* function, const char*, int,
                                              const HxString& format, HxArguments arguments) {
          const HxString message = HxString::initWithFormatArguments(format, arguments);
          EXPECT_TRUE(self->isNil() && !*_cmd);
          failedChecks.push_back(std::string(function) + ": " + message.toStdString());
        })) {
    failedChecks.clear();
  }
  ~AspectChecks() override { MoSetAssertionFailureHandler(_sink); }

 private:
  MoAssertionFailureSink _sink;
};

TEST_F(AspectChecks, NilAndEmptyAspectsFailTheCheckAndReadAsZero) {
  EXPECT_EQ(MoGetLogDetailLevelForAspect(nullptr), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(""_hx), 0U);
  EXPECT_EQ(failedChecks, (std::vector<std::string>{
                              "HxUInteger MoGetLogDetailLevelForAspect(HxString *): "
                              "aspect should be a non-empty string, but it is nil",
                              "HxUInteger MoGetLogDetailLevelForAspect(HxString *): "
                              "aspect should be a non-empty string, but it's an empty string"}));
}

TEST_F(AspectChecks, SettingANilAspectFailsTheCheckAndSetsNothing) {
  MoSetLogDetailLevelForAspect(nullptr, 3);
  EXPECT_EQ(failedChecks,
            std::vector<std::string>{"void MoSetLogDetailLevelForAspect(HxString *, HxUInteger): "
                                     "aspect should be a non-empty string, but it is nil"});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(nullptr), 0U);
}

TEST_F(AspectChecks, TheSuffixAloneFailsTheCheckAndIsStoredAllTheSame) {
  setDefaults({{"LogLevel"_hx, "2"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  EXPECT_EQ(failedChecks,
            std::vector<std::string>{"void MoSetLogDetailLevelForAspect(HxString *, HxUInteger): "
                                     "aspect should be a non-empty string, but it's an empty "
                                     "string"});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(""_hx), 2U);
}

// The sink is called while the map is built; what it asks meanwhile finds what is there so far.
TEST_F(AspectLog, AFailureSinkMayLogWhileTheLevelsAreRead) {
  setDefaults({{"LogLevel"_hx, "2"_hx}});
  const MoAssertionFailureSink former =
      MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*,
                                      int, const HxString&, HxArguments) {
        MoLog(kTopic, 0, "heard"_hx);
        MoSetLogDetailLevelForAspect(kOther, 6);
      });
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 6U);
  MoSetAssertionFailureHandler(former);
  EXPECT_EQ(lines(), "heard\n");
}

// ---- Messages -----------------------------------------------------------------------------------

TEST_F(AspectLog, AMessageIsWrittenWhenTheAspectsLevelIsAtLeastItsOwn) {
  MoSetLogDetailLevelForAspect(kTopic, 1);
  MoLog(kTopic, 0, "%@ %d"_hx, "zero"_hx, 0);
  MoLog(kTopic, 1, "%@ %d"_hx, "one"_hx, 1);
  MoLog(kTopic, 2, "%@ %d"_hx, "two"_hx, 2);
  EXPECT_EQ(lines(), "zero 0\none 1\n");
}

TEST_F(AspectLog, LevelZeroOfAnUnsetAspectIsWritten) {
  MoLog(kTopic, 0, "text"_hx);
  MoLog(kTopic, 1, "no text"_hx);
  EXPECT_EQ(lines(), "text\n");
}

TEST_F(AspectLog, PreparedArgumentsPrintTheSame) {
  const auto arguments = HxArgumentPack(5, "word"_hx);
  MoLogv(kTopic, 0, "%d %@"_hx, arguments);
  MoLogv(kTopic, 1, "%d %@"_hx, arguments);
  _MoLogv("%2$@ %1$d"_hx, arguments);
  EXPECT_EQ(lines(), "5 word\nword 5\n");
}

TEST_F(AspectLog, UnderscoreWritesWhateverTheLevels) {
  _MoLog("%d"_hx, 7);
  EXPECT_EQ(lines(), "7\n");
}

TEST_F(AspectLog, ANilFormatWritesNothing) {
  MoSetLogIndentLevel(2);
  MoLog(kTopic, 0, nullptr);
  _MoLog(HxString());
  EXPECT_EQ(lines(), "");
}

// ---- Indentation --------------------------------------------------------------------------------

TEST_F(AspectLog, OpeningAndClosingLinesStandAtTheSameDepth) {
  _MoLogIndent("begin %d"_hx, 1);
  _MoLog("inside"_hx);
  _MoLogIndent("begin %d"_hx, 2);
  MoLog(kTopic, 0, "deep inside"_hx);
  _MoLogOutdent("end %d"_hx, 2);
  _MoLogOutdent("end %d"_hx, 1);
  EXPECT_EQ(lines(), "begin 1\n|  inside\n|  begin 2\n|  |  deep inside\n|  end 2\nend 1\n");
}

TEST_F(AspectLog, OutdentAtLevelZeroStaysThereAndStillWrites) {
  MoLogOutdent(kTopic, 0, "end"_hx);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);
  _MoLogOutdent("end"_hx);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);
  EXPECT_EQ(lines(), "end\nend\n");
}

TEST_F(AspectLog, AnAspectThatIsOffShiftsNothing) {
  MoSetLogDetailLevelForAspect(kTopic, 1);
  MoLogIndent(kTopic, 2, "begin"_hx);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);
  MoSetLogIndentLevel(3);
  MoLogOutdent(kTopic, 2, "end"_hx);
  EXPECT_EQ(MoGetLogIndentLevel(), 3U);
  EXPECT_EQ(lines(), "");
}

TEST_F(AspectLog, ANilFormatChangesTheLevelWithoutALine) {
  MoLogIndent(kTopic, 0, nullptr);
  EXPECT_EQ(MoGetLogIndentLevel(), 1U);
  _MoLogIndent(nullptr);
  EXPECT_EQ(MoGetLogIndentLevel(), 2U);
  _MoLogOutdent(nullptr);
  MoLogOutdent(kTopic, 0, nullptr);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);
  EXPECT_EQ(lines(), "");
}

TEST_F(AspectLog, LevelSixIsSixUnitsAndSevenTexts) {
  MoSetLogIndentLevel(3);
  _MoLog("text"_hx);
  EXPECT_EQ(internal::indentationTableCount(), 4U);
  MoSetLogIndentLevel(6);
  _MoLog("text"_hx);
  EXPECT_EQ(lines(), "|  |  |  text\n|  |  |  |  |  |  text\n");
  EXPECT_EQ(internal::indentationTableCount(), 7U);
  MoSetLogIndentLevel(2);
  _MoLog("text"_hx);
  EXPECT_EQ(internal::indentationTableCount(), 7U);
}

TEST_F(AspectLog, VeryDeepLevelsAreWrittenAndNotKept) {
  MoSetLogIndentLevel(5000);
  _MoLog("text"_hx);
  EXPECT_EQ(lines().size(), 5000U * 3 + 5);
  EXPECT_LE(internal::indentationTableCount(), 1024U);
  MoSetLogIndentLevel(~HxUInteger{0});
  _MoLog("text"_hx);
  EXPECT_EQ(lines().size(), 65536U * 3 + 5);
}

// An object whose description logs, on the way into a line that is indented itself.
class Talkative final : public HxObject {
 public:
  HxString description() const override {
    _MoLog("asked"_hx);
    MoLog(kTopic, 0, "asked again"_hx);
    return "answer"_hx;
  }
};

TEST_F(AspectLog, ADescriptionMayLog) {
  MoSetLogIndentLevel(1);
  _MoLog("%@ %@"_hx, makeRef<Talkative>(), 1);
  MoLog(kTopic, 0, "%@ %@"_hx, makeRef<Talkative>(), 2);
  EXPECT_EQ(lines(),
            "|  asked\n|  asked again\n|  answer 1\n|  asked\n|  asked again\n|  answer 2\n");
}

// ---- Call sites ---------------------------------------------------------------------------------

int evaluations;
int evaluated() { return ++evaluations; }

void logAt(HxUInteger level) { MO_LOG(kTopic, level, "%d"_hx, evaluated()); }

TEST_F(AspectLog, ADisabledSiteEvaluatesNothing) {
  evaluations = 0;
  logAt(1);  // the first question builds the map
  logAt(1);
  MoSetLogDetailLevelForAspect(kOther, 9);
  logAt(1);
  logAt(1);
  EXPECT_EQ(evaluations, 0);
  EXPECT_EQ(lines(), "");
}

TEST_F(AspectLog, ASiteFollowsEachChangeOfLevel) {
  evaluations = 0;
  logAt(2);
  MoSetLogDetailLevelForAspect(kTopic, 2);
  logAt(2);
  logAt(3);
  MoSetLogDetailLevelForAspect(kTopic, 1);
  logAt(2);
  MoSetLogDetailLevelForAspect(kTopic, 3);
  logAt(2);
  logAt(3);
  EXPECT_EQ(lines(), "1\n2\n3\n");
}

TEST_F(AspectLog, ASiteTakesLevelsOfAnySize) {
  constexpr HxUInteger kGreatest = ~HxUInteger{0};
  const HxUInteger levels[] = {1, 2, 253, 254, 255, 256, 257, UINT32_MAX, kGreatest};
  for (const HxUInteger current : levels) {
    MoSetLogDetailLevelForAspect(kTopic, current);
    for (const HxUInteger level : levels) {
      for (int round = 0; round < 2; ++round) {
        const bool isEnabled = MO_LOG_IS_ENABLED(kTopic, level);
        EXPECT_EQ(isEnabled, current >= level) << current << " asked for " << level;
      }
    }
  }
}

TEST_F(AspectLog, ASiteThatIsUnloadedIsLeftAlone) {
  const auto askInPassing = [] {
    internal::LogSite site;
    const internal::LogSite::Registration registration(site);
    EXPECT_FALSE(site.ask(kTopic, 1));
    EXPECT_TRUE(site.isOff(1));
  };
  askInPassing();
  MoSetLogDetailLevelForAspect(kTopic, 1);  // the address sanitizer watches
  internal::LogSite site;
  {
    const internal::LogSite::Registration registration(site);
    EXPECT_TRUE(site.ask(kTopic, 1));
    EXPECT_TRUE(site.isOff(2));
  }
  EXPECT_FALSE(site.isOff(2));  // it asks each time from here on
}

TEST_F(AspectLog, ALevelOfZeroIsEnabledOnlyWhileTheFlagAllowsTheQuestion) {
  MoGetLogDetailLevelForAspect(kTopic);
  logAt(0);
  EXPECT_EQ(lines(), "");  // the flag spares the question
  MoSetLogDetailLevelForAspect(kOther, 1);
  evaluations = 0;
  logAt(0);
  EXPECT_EQ(lines(), "1\n");
}

TEST_F(AspectLog, DisabledSitesAndQuestionsTakeNothingFromTheHeap) {
  MoSetLogDetailLevelForAspect(kOther, 1);
  logAt(5);
  const test::AllocationCounter counter;
  logAt(5);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 1U);
  EXPECT_EQ(counter.count(), 0U);
}

// ---- Threads ------------------------------------------------------------------------------------

TEST_F(AspectLog, ManyThreadsMayStartSetAskAndLogAtOnce) {
  setDefaults({{"TopicLogLevel"_hx, "3"_hx}});
  static std::atomic<int> count;
  count = 0;
  const HxLogOutput output = HxSetLogOutput([](const HxString&) { ++count; });
  MoSetLogIndentLevel(2);
  std::atomic<int> wrong{0};
  const auto work = [&wrong](int number) {
    const HxString own = HxString::stringWithFormat("Aspect%d"_hx, number);
    for (int i = 0; i < 200; ++i) {
      if (MoGetLogDetailLevelForAspect(kTopic) != 3) ++wrong;
      MoSetLogDetailLevelForAspect(HxString::stringWithFormat("Aspect%d.%d"_hx, number, i), 1);
      MoSetLogDetailLevelForAspect(own, static_cast<HxUInteger>(i));
      if (MoGetLogDetailLevelForAspect(own) != static_cast<HxUInteger>(i)) ++wrong;
      MoLog(kTopic, 3, "%d"_hx, i);
      _MoLog("%d"_hx, i);
      MO_LOG(kTopic, 3, "%d"_hx, i);
      MO_LOG(kTopic, 4, "%d"_hx, i);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
  HxSetLogOutput(output);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(count, 4 * 200 * 3);
}

TEST(AspectMap, KeepsEveryAspectWhileItGrows) {
  internal::AspectMap map;
  const auto nameOf = [](int i) { return HxString::stringWithFormat("Aspect%d"_hx, i); };
  for (int i = 0; i < 1000; ++i) {
    map.setLevel(nameOf(i), static_cast<HxUInteger>(i));
    ASSERT_EQ(map.levelOf(nameOf(i / 2)), static_cast<HxUInteger>(i / 2));
    ASSERT_EQ(map.levelOf(nameOf(i + 1)), 0U);
  }
  map.clear();
  EXPECT_EQ(map.levelOf(nameOf(1)), 0U);
}

TEST(AspectMap, ChangesOfLevelTakeNothing) {
  internal::AspectMap map;
  map.setLevel(kTopic, 1);
  const test::AllocationCounter counter;
  for (HxUInteger level = 0; level < 1000; ++level) map.setLevel(kTopic, level);
  EXPECT_EQ(counter.count(), 0U);
  map.clear();
}

// ---- Localised strings --------------------------------------------------------------------------

class LocalizedStrings : public AspectLog {
 protected:
  LocalizedStrings() {
    _place.write("Info.plist", "{ HxBundleDevelopmentRegion = en; }");
    _place.write("Resources/en.lproj/Tool.strings", "\"Stop\" = \"Halt\";\n");
    bundle = HxBundle::bundleWithPath(HxString(std::string_view(_place.path())));
  }
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
}

TEST_F(LocalizedStrings, AMissingKeyIsMarkedAndInCapitals) {
  ZevMoSetCheckingOfLocalizedStrings(1);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, ""_hx, "Tool"_hx), "!GO ON"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, nullptr, "Tool"_hx), "!GO ON"_hx);
  EXPECT_EQ(ZevMoCheckLocalizedStringInBundle(bundle, "Go on"_hx, "Run"_hx, "Tool"_hx), "!RUN"_hx);
}

TEST_F(LocalizedStrings, NothingToShowGivesNil) {
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
