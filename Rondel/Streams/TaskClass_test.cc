// SPDX-License-Identifier: MIT
//
// What the class of tasks answers without any task: architectures and run-loop modes.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Rondel/Streams/Task.h"

namespace rondel {
namespace {

TEST(TaskClass, ArchitectureNamesAreMappedBothWays) {
  struct {
    const char* name;
    const char* canonical;  // null for an unknown name
  } const rows[] = {{"i386", "i386"},   {"x86_64", "x86_64"},   {"ppc", "ppc"},
                    {"ppc970", "ppc"},  {"ppc7400", "ppc"},     {"ppc64", "ppc64"},
                    {"arm", "arm"},     {"armv6", "arm"},       {"armv7", "arm"},
                    {"arm64", "arm64"}, {"riscv64", "riscv64"}, {"nonesuch", nullptr},
                    {"", nullptr}};
  for (const auto& row : rows) {
    const HxString name = HxString::stringWithUTF8String(row.name);
    EXPECT_EQ(ZevMoTask::cpuTypeStringForArch(name), HxString::stringWithUTF8String(row.canonical))
        << row.name;
    EXPECT_EQ(ZevMoTask::_cpuTypeForArch(name).isNil(), row.canonical == nullptr) << row.name;
  }
  EXPECT_TRUE(ZevMoTask::_cpuTypeForArch(nullptr).isNil());
  EXPECT_TRUE(ZevMoTask::_cpuTypeForArch("x86_64\0y"_hx).isNil());
  EXPECT_TRUE(ZevMoTask::_cpuStringForCPUSubType(nullptr).isNil());
  EXPECT_TRUE(ZevMoTask::_cpuStringForCPUSubType(HxNumber::numberWithInt(123456)).isNil());
}

TEST(TaskClass, ArchitectureListsSkipWhatIsUnknown) {
  const HxArray types = ZevMoTask::cpuTypesForArchStrings(
      HxArray::arrayWithObjects({"ppc970"_hx, "nonesuch"_hx, "x86_64"_hx}));
  ASSERT_EQ(types.count(), 2U);
  EXPECT_EQ(ZevMoTask::architecturesForCPUTypes(types),
            HxArray::arrayWithObjects({"ppc"_hx, "x86_64"_hx}));
  EXPECT_EQ(ZevMoTask::cpuTypesForArchStrings(nullptr).count(), 0U);
  EXPECT_EQ(ZevMoTask::architecturesForCPUTypes(nullptr).count(), 0U);
  EXPECT_EQ(ZevMoTask::architecturesForCPUTypes(HxArray::array()).count(), 0U);
  const HxArray other = HxArray::arrayWithObjects({HxArray::array(), "7"_hx});  // no numbers
  EXPECT_EQ(ZevMoTask::cpuTypesForArchStrings(other).count(), 0U);
  EXPECT_EQ(ZevMoTask::architecturesForCPUTypes(other).count(), 0U);
}

TEST(TaskClass, RunLoopModeNamesAreReused) {
  const HxString first = ZevMoTask::checkoutRunLoopMode();
  const HxString second = ZevMoTask::checkoutRunLoopMode();
  EXPECT_NE(first, second);
  EXPECT_TRUE(first.hasPrefix("ZevTaskDataCaptureRunLoopMode-0x"_hx));
  EXPECT_EQ(first.length(), "ZevTaskDataCaptureRunLoopMode-0x00000000"_hx.length());
  ZevMoTask::checkInRunLoopMode(second);
  ZevMoTask::checkInRunLoopMode(first);
  EXPECT_EQ(ZevMoTask::checkoutRunLoopMode(), first);  // a stack
  EXPECT_EQ(ZevMoTask::checkoutRunLoopMode(), second);
  ZevMoTask::checkInRunLoopMode(second);
  ZevMoTask::checkInRunLoopMode(first);
}

TEST(TaskClass, RunLoopModeNamesCountInUpperCaseHexadecimal) {
  std::vector<HxString> names;
  for (int i = 0; i < 16; ++i) names.push_back(ZevMoTask::checkoutRunLoopMode());
  const HxString letter = HxString::stringWithFormat("ZevTaskDataCaptureRunLoopMode-0x%08lX"_hx,
                                                     static_cast<unsigned long>(0xB));
  EXPECT_TRUE(letter.hasSuffix("0x0000000B"_hx));
  EXPECT_EQ(std::count(names.begin(), names.end(), letter), 1);
  while (!names.empty()) {
    ZevMoTask::checkInRunLoopMode(names.back());
    names.pop_back();
  }
  ZevMoTask::checkInRunLoopMode(nullptr);
  const HxString next = ZevMoTask::checkoutRunLoopMode();
  EXPECT_FALSE(next.isNil());
  ZevMoTask::checkInRunLoopMode(next);
}

TEST(TaskClass, ATaskReturnsItsModeWhenItGoes) {
  const HxString free = ZevMoTask::checkoutRunLoopMode();
  ZevMoTask::checkInRunLoopMode(free);
  { const Ref<ZevMoTask> task = ZevMoTask::init(); }
  EXPECT_EQ(ZevMoTask::checkoutRunLoopMode(), free);
  ZevMoTask::checkInRunLoopMode(free);
}

}  // namespace
}  // namespace rondel
