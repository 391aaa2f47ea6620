// SPDX-License-Identifier: MIT
#pragma once

// Fails every test that leaves something of the process behind.
//
// Open descriptors, threads and child processes are counted before and after each test. What is
// still ending when the test returns gets half a second of grace; what is left then fails the test.
//
// A piece of the library that keeps one descriptor or thread for the whole life of the process
// would fail the first test that happens to use it. Its own test file has it made beforehand:
//
//     const rondel::test::WarmUp reaper([] { HxTask::startReaper(); });

#include <gtest/gtest.h>

#include <string>

namespace rondel::test {

/// What a process holds at one moment.
struct ProcessResources {
  int descriptors = 0;
  int threads = 0;
  int children = 0;

  bool operator==(const ProcessResources&) const = default;

  /// The state of this process now, read from /proc. Zombies count as children.
  static ProcessResources now();

  /// `3 descriptors, 1 threads, 0 children`
  std::string text() const;
};

/// A function that runs once before the first test. Make them at namespace scope.
class WarmUp {
 public:
  explicit WarmUp(void (*function)());
};

/// See the top of this file. `main` appends it to GoogleTest's listeners.
class ResourceListener : public ::testing::EmptyTestEventListener {
 public:
  /// `graceRounds` is the time for what still ends, in hundredths of a second.
  explicit ResourceListener(int graceRounds = 50) : _graceRounds(graceRounds) {}

  void OnTestProgramStart(const ::testing::UnitTest& tests) override;
  void OnTestStart(const ::testing::TestInfo& test) override;
  void OnTestEnd(const ::testing::TestInfo& test) override;

 private:
  int _graceRounds;
  ProcessResources _before;
};

}  // namespace rondel::test
