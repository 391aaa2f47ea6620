// SPDX-License-Identifier: MIT
#include "Rondel/core/system/ProcessInfo.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <utility>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"

namespace rondel {
namespace {

// Puts another environment in place for as long as it lives.
class Environment {
 public:
  explicit Environment(char** entries) : _old(std::exchange(environ, entries)) {}
  ~Environment() { environ = _old; }

 private:
  char** const _old;
};

TEST(ProcessInfo, IsOneObject) {
  EXPECT_TRUE(HxProcessInfo::processInfo());
  EXPECT_EQ(HxProcessInfo::processInfo(), HxProcessInfo::processInfo());
}

TEST(ProcessInfo, EnvironmentKeepsFirstEntryOfANameAndDecodesEveryByte) {
  char first[] = "A=1";
  char second[] = "A=2";
  char equals[] = "B=c=d";
  char empty[] = "E=";
  char bytes[] = "L=\xE9";
  char utf8[] = "U=\xC3\xA9";
  char noName[] = "=x";
  char noEquals[] = "word";
  char* entries[] = {first, second, equals, empty, bytes, utf8, noName, noEquals, nullptr};
  const Environment environment(entries);
  EXPECT_EQ(HxProcessInfo::processInfo()->environment(),
            HxDictionary::dictionaryWithEntries({{"A"_hx, "1"_hx},
                                                 {"B"_hx, "c=d"_hx},
                                                 {"E"_hx, HxString::string()},
                                                 {"L"_hx, "\u00E9"_hx},
                                                 {"U"_hx, "\u00E9"_hx}}));
}

TEST(ProcessInfo, EnvironmentIsReadAfreshAtEachCall) {
  char one[] = "A=1";
  char* entries[] = {one, nullptr};
  const HxDictionary before = HxProcessInfo::processInfo()->environment();
  const Environment environment(entries);
  EXPECT_EQ(HxProcessInfo::processInfo()->environment().count(), 1u);
  EXPECT_NE(before.objectForKey("XDG_CONFIG_HOME"_hx), HxAny());
}

TEST(ProcessInfo, EnvironmentMayBeMissing) {
  const Environment none(nullptr);
  EXPECT_EQ(HxProcessInfo::processInfo()->environment(), HxDictionary::dictionary());
}

TEST(ProcessInfo, ArgumentsBeginWithTheProgram) {
  const HxArray arguments = HxProcessInfo::processInfo()->arguments();
  ASSERT_GE(arguments.count(), 1u);
  EXPECT_TRUE(arguments.objectAtIndex<HxString>(0).hasSuffix("rondel_tests"_hx));
  EXPECT_EQ(HxProcessInfo::processInfo()->processName(), "rondel_tests"_hx);
}

TEST(ProcessInfo, KnowsTheProcessNumber) {
  EXPECT_EQ(HxProcessInfo::processInfo()->processIdentifier(), getpid());
}

}  // namespace
}  // namespace rondel
