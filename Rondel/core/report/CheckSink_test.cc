// SPDX-License-Identifier: MIT
//
// What the failure sink is told of the place of a check, and what comes of the sink's doing.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/report/Check.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/LogRecorder.h"

namespace rondel {
namespace {

class CheckSink : public ::testing::Test {
 private:
  test::FailureRecorder _recorder;

 protected:
  const std::vector<test::FailureRecorder::Failure>& failures = _recorder.failures();
};

class Lamp final : public HxObject {
 public:
  void light(const HxHandle& match) {
    MO_OPERATION("-[Lamp light:]");
    MoCheckString(match);
  }
  void dimTo(int percent) {
    MO_OPERATION("-[Lamp(Dimming) dimTo:inSteps:]");
    MoAssert(percent > 0);
  }
  static void repair(const HxHandle& lamp) {
    MO_CLASS_OPERATION("+[Lamp repair:]");
    MoCheckInstance(lamp, Lamp);
  }
};

// ---- Receiver, name and place -------------------------------------------------------------------

TEST_F(CheckSink, InAnOperationReceiverAndNameAreItsOwn) {
  const Ref<Lamp> lamp = makeRef<Lamp>();
  lamp->light(HxAny());
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].receiver, lamp.get());
  EXPECT_EQ(failures[0].operation, "light:");
  EXPECT_EQ(failures[0].function, "-[Lamp light:]");
}

TEST_F(CheckSink, ANameMayHaveAGroupAndSeveralKeywords) {
  makeRef<Lamp>()->dimTo(0);
  EXPECT_EQ(failures[0].operation, "dimTo:inSteps:");
  EXPECT_EQ(failures[0].function, "-[Lamp(Dimming) dimTo:inSteps:]");
}

TEST_F(CheckSink, InAClassOperationTheReceiverIsNullAndTheNameIsNot) {
  Lamp::repair(HxAny());
  EXPECT_EQ(failures[0].receiver, nullptr);
  EXPECT_EQ(failures[0].operation, "repair:");
}

TEST_F(CheckSink, InAPlainFunctionBothAreTheGlobals) {
  MO_FUNCTION("void f(HxString *)");
  MoAssert(false);
  EXPECT_EQ(failures[0].self, &globals::self);
  EXPECT_EQ(failures[0]._cmd, &globals::_cmd);
  EXPECT_EQ(failures[0].receiver, nullptr);
  EXPECT_EQ(failures[0].operation, "");
  EXPECT_EQ(failures[0].function, "void f(HxString *)");
}

template <class Receiver>
void checkInAddition(const Receiver& self) {
  MO_ADDITION(self, "-[HxObject(Tests) checkInAddition]");
  MoAssert(false);
}

TEST_F(CheckSink, InAnAdditionTheReceiverIsTheFirstArgument) {
  const Ref<Lamp> lamp = makeRef<Lamp>();
  const HxString text = "a"_hx;
  checkInAddition(HxAny(lamp));
  checkInAddition(lamp);
  checkInAddition(lamp.get());
  checkInAddition(*lamp);
  checkInAddition(text);
  checkInAddition(HxString());
  ASSERT_EQ(failures.size(), 6U);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(failures[static_cast<std::size_t>(i)].receiver, lamp.get());
  EXPECT_EQ(failures[4].receiver, text.object());
  EXPECT_EQ(failures[5].receiver, nullptr);
  EXPECT_EQ(failures[5].operation, "checkInAddition");
}

TEST_F(CheckSink, FileAndLineAreThoseOfTheCheck) {
  MO_FUNCTION("void f()");
  const int line = __LINE__ + 1;
  MoAssert(false);
  EXPECT_EQ(failures[0].line, line);
  EXPECT_EQ(failures[0].file, __FILE__);
}

TEST_F(CheckSink, HearsOfLambdasOfAFunction) {
  MO_FUNCTION("void f()");
  const auto inner = [&] { MoAssert(false); };
  inner();
  EXPECT_EQ(failures[0].function, "void f()");
}

// Counting the receiver up and down again in its destructor would end it twice.
class Fragile final : public HxObject {
 public:
  ~Fragile() override {
    MO_OPERATION("-[Fragile dealloc]");
    MoAssert(false);
  }
};

TEST_F(CheckSink, HearsOfADestructor) {
  static_cast<void>(makeRef<Fragile>());
  EXPECT_EQ(failures.size(), 1U);
}

// ---- Behind a failure ---------------------------------------------------------------------------

int lengthBehindACheck(const HxString& text) {
  MO_FUNCTION("int lengthBehindACheck(HxString *)");
  MoCheckNonEmptyString(text);
  return static_cast<int>(text.length());
}

TEST_F(CheckSink, TheCodeGoesOnWhenTheSinkReturns) {
  EXPECT_EQ(lengthBehindACheck(nullptr), 0);
  EXPECT_EQ(failures.size(), 1U);
}

// ---- The sink -----------------------------------------------------------------------------------

class DefaultSink : public ::testing::Test {
 protected:
  test::LogRecorder log;
};

TEST_F(DefaultSink, WritesFileLineFunctionAndMessageAndReturns) {
  const int line = __LINE__ + 3;
  const auto check = [&] {
    MO_FUNCTION("void f(HxString *)");
    MoCheckString(HxString());
  };
  check();
  EXPECT_EQ(log.takeLines(),
            std::string(__FILE__) + ":" + std::to_string(line) +
                ": void f(HxString *): HxString() should be a string, but it is nil\n");
}

TEST_F(DefaultSink, SurvivesANilFormat) {
  MoAssertionFailureHandler(&globals::self, &globals::_cmd, "f", "file", 1, nullptr, {});
  EXPECT_EQ(log.takeLines(), "file:1: f: (null)\n");
}

void hearNothing(const HxAny*, const HxSelector*, const char*, const char*, int, const HxString&,
                 HxArguments) {}

TEST_F(DefaultSink, ComesBackForNull) {
  const MoAssertionFailureSink first = MoSetAssertionFailureHandler(hearNothing);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(MoSetAssertionFailureHandler(nullptr), &hearNothing);
  EXPECT_EQ(MoSetAssertionFailureHandler(first), first);
}

TEST_F(CheckSink, SitesThatFailAtOnceCallTheSinkIndependently) {
  const auto work = [] {
    for (int i = 0; i < 200; ++i) lengthBehindACheck(nullptr);
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(failures.size(), 800U);
  for (const auto& failure : failures) {
    EXPECT_EQ(failure.message, "text should be a non-empty string, but it is nil");
  }
}

}  // namespace
}  // namespace rondel
