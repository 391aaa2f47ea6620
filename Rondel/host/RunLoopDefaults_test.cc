// SPDX-License-Identifier: MIT
//
// A pass of a run loop writes the settings that were changed before its end.
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/system/ProcessInfo.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/host/RunLoop.h"
#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel {
namespace {

constexpr HxString kKey = "RunLoopDefaults"_hx;

// What a new process would find.
HxAny settingInFile() {
  const char* home = std::getenv("XDG_CONFIG_HOME");
  const HxString path =
      HxString::stringWithFormat("%s/rondel/defaults/%@.plist"_hx, home ? home : "",
                                 HxProcessInfo::processInfo()->processName());
  return HxDictionary::dictionaryWithContentsOfFile(path).objectForKey(kKey);
}

class RunLoopDefaults : public testing::Test {
 protected:
  ~RunLoopDefaults() override {
    defaults->removeObjectForKey(kKey);
    defaults->synchronize();
  }
  static void pass() {
    HxRunLoop::currentRunLoop()->runMode(HxDefaultRunLoopMode, HxDate::distantPast());
  }

  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
};

TEST_F(RunLoopDefaults, AreWrittenAfterAPass) {
  defaults->setObject("1"_hx, kKey);
  EXPECT_TRUE(settingInFile().isNil());
  pass();
  EXPECT_EQ(settingInFile(), "1"_hx);
}

TEST_F(RunLoopDefaults, AreWrittenAfterAPassThatRaises) {
  HxRunLoop::currentRunLoop()->performBlock([this] {
    defaults->setObject("1"_hx, kKey);
    throw std::runtime_error("no");
  });
  EXPECT_THROW(pass(), std::runtime_error);
  EXPECT_EQ(settingInFile(), "1"_hx);
}

TEST_F(RunLoopDefaults, AreWrittenIfChangedByAnObjectThatGoesWithThePass) {
  struct Setter final : HxObject {
    ~Setter() override { HxUserDefaults::standardUserDefaults()->setObject("1"_hx, kKey); }
  };
  HxRunLoop::currentRunLoop()->performBlock(
      [] { HxRunLoop::currentRunLoop()->retainUntilEndOfTurn(makeRef<Setter>()); });
  pass();
  EXPECT_EQ(settingInFile(), "1"_hx);
}

TEST_F(RunLoopDefaults, ThatCannotBeWrittenRaiseNothingAfterAPass) {
  const test::SystemCallsKept kept;
  const HxLogOutput former =
      HxSetLogOutput([](const HxString&) { throw std::runtime_error("no"); });
  defaults->setObject("1"_hx, kKey);
  test::failCall<&test::FileCalls::flock>(1, ENOLCK, 1000);
  EXPECT_NO_THROW(pass());
  HxSetLogOutput(former);
}

TEST_F(RunLoopDefaults, CostNoPassAnythingIfNothingIsChanged) {
  defaults->setObject("1"_hx, kKey);
  pass();
  const test::SystemCallsKept kept;
  const auto& opens = test::countCall<&test::FileCalls::open>();
  pass();
  EXPECT_EQ(opens.count, 0);
}

// It is tried again with the next change, by synchronize and at exit.
TEST_F(RunLoopDefaults, ThatCannotBeWrittenAreNotTriedAgainByEachPass) {
  const test::LogRecorder log;
  const test::SystemCallsKept kept;
  defaults->setObject("1"_hx, kKey);
  const auto& locks = test::failCall<&test::FileCalls::flock>(1, ENOLCK, 1000);
  pass();
  pass();
  EXPECT_EQ(locks.count, 1);
  EXPECT_EQ(log.messages().size(), 1U);
  EXPECT_EQ(defaults->objectForKey(kKey), "1"_hx);
  test::countCall<&test::FileCalls::flock>();
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(settingInFile(), "1"_hx);
}

}  // namespace
}  // namespace rondel
