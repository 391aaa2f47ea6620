// SPDX-License-Identifier: MIT
#include "Rondel/core/report/AspectLog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/report/internal/AspectLogState.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/LogRecorder.h"

namespace rondel {
namespace {

// A log without levels, whose lines are caught.
class AspectLog : public ::testing::Test {
 protected:
  AspectLog()
      : _registered(
            HxUserDefaults::standardUserDefaults()->volatileDomainForName(HxRegistrationDomain)) {
    internal::resetAspectLog();
  }
  ~AspectLog() override {
    HxUserDefaults::standardUserDefaults()->setVolatileDomain(_registered, HxRegistrationDomain);
    internal::resetAspectLog();
  }

  // The lines that were written since the last question.
  std::string lines() { return log.takeLines(); }

  static void setDefaults(std::initializer_list<HxDictionary::Entry> entries) {
    HxUserDefaults::standardUserDefaults()->setVolatileDomain(
        HxDictionary::dictionaryWithEntries(entries), HxRegistrationDomain);
  }

  test::LogRecorder log;

 private:
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
               {"ListLogLevel"_hx, HxDictionary::dictionary()},
               {"AllLogLevel"_hx, "-1"_hx},
               {"Unrelated"_hx, "7"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 3U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 2U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Words"_hx), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("List"_hx), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect("All"_hx), ~HxUInteger{0});
  EXPECT_EQ(MoGetLogDetailLevelForAspect("Unrelated"_hx), 0U);
  EXPECT_TRUE(_MoLogSomeLoggingIsEnabled);
}

TEST_F(AspectLog, LevelsComeFromEveryDomainThatTheDefaultsSearch) {
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  const HxDictionary arguments = defaults->volatileDomainForName(HxArgumentDomain);
  setDefaults({{"TopicLogLevel"_hx, "3"_hx}, {"OtherLogLevel"_hx, "3"_hx}});
  defaults->setVolatileDomain(HxDictionary::dictionaryWithObject("4"_hx, "TopicLogLevel"_hx),
                              HxArgumentDomain);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 4U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kOther), 3U);
  defaults->setVolatileDomain(arguments, HxArgumentDomain);
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

class AspectChecks : public AspectLog {
 protected:
  // "function: message" of the checks that failed since the last question.
  std::vector<std::string> failedChecks() {
    std::vector<std::string> all;
    for (const auto& failure : _recorder.failures()) {
      EXPECT_EQ(failure.self, &globals::self);
      EXPECT_EQ(failure._cmd, &globals::_cmd);
      EXPECT_EQ(failure.arguments[0], "aspect");
      all.push_back(failure.function + ": " + failure.message);
    }
    _recorder.clear();
    return all;
  }

 private:
  test::FailureRecorder _recorder;
};

const std::string kAskedForNil =
    "HxUInteger MoGetLogDetailLevelForAspect(HxString *): "
    "aspect should be a non-empty string, but it is nil";
const std::string kAskedForEmpty =
    "HxUInteger MoGetLogDetailLevelForAspect(HxString *): "
    "aspect should be a non-empty string, but it's an empty string";
const std::string kSetNil =
    "void MoSetLogDetailLevelForAspect(HxString *, HxUInteger): "
    "aspect should be a non-empty string, but it is nil";
const std::string kSetEmpty =
    "void MoSetLogDetailLevelForAspect(HxString *, HxUInteger): "
    "aspect should be a non-empty string, but it's an empty string";

using Strings = std::vector<std::string>;

TEST_F(AspectChecks, NilAndEmptyAspectsFailTheCheckAndReadAsZero) {
  EXPECT_EQ(MoGetLogDetailLevelForAspect(nullptr), 0U);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(""_hx), 0U);
  EXPECT_EQ(failedChecks(), (Strings{kAskedForNil, kAskedForEmpty}));
}

TEST_F(AspectChecks, SettingANilAspectFailsTheCheckAndSetsTheFlagAlone) {
  MoSetLogDetailLevelForAspect(nullptr, 0);
  EXPECT_FALSE(_MoLogSomeLoggingIsEnabled);
  MoSetLogDetailLevelForAspect(nullptr, 3);
  EXPECT_EQ(failedChecks(), (Strings{kSetNil, kSetNil}));
  EXPECT_TRUE(_MoLogSomeLoggingIsEnabled);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(nullptr), 0U);
}

TEST_F(AspectChecks, TheEmptyAspectIsSetLikeAnyOther) {
  MoSetLogDetailLevelForAspect(""_hx, 3);
  EXPECT_EQ(failedChecks(), Strings{kSetEmpty});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(""_hx), 3U);
}

TEST_F(AspectChecks, TheSuffixAloneFailsTheCheckAndIsStoredAllTheSame) {
  setDefaults({{"LogLevel"_hx, "2"_hx}});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  EXPECT_EQ(failedChecks(), Strings{kSetEmpty});
  EXPECT_EQ(MoGetLogDetailLevelForAspect(""_hx), 2U);
}

// Both questions start with the map.
TEST_F(AspectChecks, TheDefaultsAreReadAheadOfTheCheckOfTheAspect) {
  setDefaults({{"LogLevel"_hx, "2"_hx}});
  MoGetLogDetailLevelForAspect(nullptr);
  EXPECT_EQ(failedChecks(), (Strings{kSetEmpty, kAskedForNil}));
  internal::resetAspectLog();
  MoSetLogDetailLevelForAspect(nullptr, 1);
  EXPECT_EQ(failedChecks(), (Strings{kSetEmpty, kSetNil}));
}

TEST_F(AspectChecks, AMessageOfANilAspectAtLevelZeroIsWritten) {
  MoLog(nullptr, 0, "zero"_hx);
  MoLogIndent(nullptr, 0, "begin"_hx);
  MoLogOutdent(nullptr, 1, "end"_hx);
  EXPECT_EQ(failedChecks(), (Strings{kAskedForNil, kAskedForNil, kAskedForNil}));
  EXPECT_EQ(lines(), "zero\nbegin\n");
}

TEST_F(AspectChecks, ASiteChecksItsAspectOnlyWhileTheFlagAllowsTheQuestion) {
  MoGetLogDetailLevelForAspect(kTopic);
  const auto ask = [] { MO_LOG(HxString(), 1, "text"_hx); };
  ask();
  ask();
  EXPECT_EQ(failedChecks(), Strings{});
  MoSetLogDetailLevelForAspect(kTopic, 1);
  ask();
  ask();
  EXPECT_EQ(failedChecks(), (Strings{kAskedForNil, kAskedForNil}));
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

void raise(const HxAny*, const HxSelector*, const char*, const char*, int, const HxString&,
           HxArguments) {
  throw std::runtime_error("enough");
}

// Whether another thread may log and set levels; it would wait for good if it were not.
bool isLogLockFree() {
  std::thread([] { MoSetLogDetailLevelForAspect("Free"_hx, 1); }).join();
  return MoGetLogDetailLevelForAspect("Free"_hx) == 1;
}

TEST_F(AspectLog, ASinkThatRaisesWhileTheLevelsAreReadLosesNone) {
  HxMutableDictionary defaults = HxMutableDictionary::dictionary();
  for (int i = 0; i < 50; ++i) {
    defaults.setObject("1"_hx, HxString::stringWithFormat("Topic%dLogLevel"_hx, i));
  }
  defaults.setObject("1"_hx, "LogLevel"_hx);
  HxUserDefaults::standardUserDefaults()->setVolatileDomain(defaults, HxRegistrationDomain);
  const test::FailureRecorder recorder;  // puts the former sink back
  MoSetAssertionFailureHandler(raise);
  EXPECT_THROW(MoGetLogDetailLevelForAspect(kTopic), std::runtime_error);
  EXPECT_EQ(MoGetLogDetailLevelForAspect(kTopic), 0U);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(MoGetLogDetailLevelForAspect(HxString::stringWithFormat("Topic%d"_hx, i)), 1U) << i;
  }
  EXPECT_TRUE(isLogLockFree());
}

TEST_F(AspectLog, ASinkMayRaiseThroughEachFunction) {
  MoSetLogDetailLevelForAspect(kOther, 1);  // so that sites ask
  const test::FailureRecorder recorder;     // puts the former sink back
  MoSetAssertionFailureHandler(raise);
  EXPECT_THROW(MoGetLogDetailLevelForAspect(nullptr), std::runtime_error);
  EXPECT_THROW(MoSetLogDetailLevelForAspect(nullptr, 1), std::runtime_error);
  EXPECT_THROW(MoLog(nullptr, 0, "text"_hx), std::runtime_error);
  EXPECT_THROW(MoLogIndent(nullptr, 0, "text"_hx), std::runtime_error);
  EXPECT_THROW(MoLogOutdent(nullptr, 0, "text"_hx), std::runtime_error);
  EXPECT_THROW(MO_LOG(nullptr, 0, "text"_hx), std::runtime_error);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);
  EXPECT_EQ(lines(), "");
  EXPECT_TRUE(isLogLockFree());
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

TEST_F(AspectLog, IndentationTakesNothingFromTheHeap) {
  const auto allocationsOfALine = [] {
    for (int i = 0; i < 3; ++i) _MoLog("a format of some length %d"_hx, 1);
    const test::AllocationCounter counter;
    _MoLog("a format of some length %d"_hx, 1);
    return counter.count();
  };
  const HxLogOutput former = HxSetLogOutput([](const HxString&) {});
  const std::size_t plain = allocationsOfALine();
  MoSetLogIndentLevel(3);
  const std::size_t indented = allocationsOfALine();
  HxSetLogOutput(former);
  EXPECT_EQ(indented, plain);
}

TEST_F(AspectLog, AnOutputMayRaise) {
  const HxLogOutput former =
      HxSetLogOutput([](const HxString&) { throw std::runtime_error("enough"); });
  MoSetLogIndentLevel(1);
  EXPECT_THROW(_MoLog("text"_hx), std::runtime_error);
  EXPECT_THROW(MoLog(kTopic, 0, "text"_hx), std::runtime_error);
  EXPECT_THROW(_MoLogIndent("text"_hx), std::runtime_error);
  EXPECT_EQ(MoGetLogIndentLevel(), 1U);  // it counts up after the line
  EXPECT_THROW(_MoLogOutdent("text"_hx), std::runtime_error);
  EXPECT_EQ(MoGetLogIndentLevel(), 0U);  // and down ahead of it
  HxSetLogOutput(former);
  EXPECT_TRUE(isLogLockFree());
  MoSetLogIndentLevel(2);
  _MoLog("text"_hx);
  EXPECT_EQ(lines(), "|  |  text\n");
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
  EXPECT_FALSE(site.isOff(2));  // it asks again
}

TEST_F(AspectLog, TheVeryFirstQuestionIsAllowed) {
  evaluations = 0;
  logAt(0);
  logAt(0);
  EXPECT_EQ(lines(), "1\n");
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
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(log.messages().size(), 4U * 200 * 3);
}

// How many threads are in the output, and how many there were at most.
std::atomic<int> writing;
std::atomic<int> mostWriting;

void countWriters(const HxString&) {
  const int now = ++writing;
  if (now > mostWriting) mostWriting = now;
  std::this_thread::yield();
  --writing;
}

TEST_F(AspectLog, UnderscoreHoldsTheLogLockUntilTheLineIsWritten) {
  writing = mostWriting = 0;
  const HxLogOutput former = HxSetLogOutput(countWriters);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int k = 0; k < 500; ++k) _MoLog("%d"_hx, k);
    });
  }
  for (std::thread& thread : threads) thread.join();
  HxSetLogOutput(former);
  EXPECT_EQ(mostWriting, 1);
}

// Each of the two lines waits in the output for the other.
TEST_F(AspectLog, ByAspectTheLockIsFreeWhileALineIsWritten) {
  static std::atomic<int> arrived;
  arrived = 0;
  const HxLogOutput former = HxSetLogOutput([](const HxString& message) {
    ++arrived;
    while (arrived < 2) std::this_thread::yield();
    EXPECT_TRUE(message.hasPrefix("|  |  "_hx));
  });
  MoSetLogIndentLevel(2);
  std::thread other([] { MoLog(kTopic, 0, "one"_hx); });
  MoLog(kTopic, 0, "two"_hx);
  other.join();
  HxSetLogOutput(former);
  EXPECT_EQ(arrived, 2);
}

}  // namespace
}  // namespace rondel
