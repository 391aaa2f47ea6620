// SPDX-License-Identifier: MIT
#pragma once

// Fails every test that leaves a descriptor, thread or child.
//
// Counts open descriptors, threads and child processes before and after each test. What is still
// ending after the test has half a second of grace. Anything left after that fails the test.
//
// A descriptor or thread that the library keeps for the life of the process would fail the first
// test that uses it. The test file of that code makes it before the first test:
//
//     const rondel::test::WarmUp reaper([] { HxTask::startReaper(); });

#include <gtest/gtest.h>

#include <string>

namespace rondel::test {

/// What a process holds at one time.
struct ProcessResources {
  int descriptors = 0;
  int threads = 0;
  int children = 0;

  bool operator==(const ProcessResources&) const = default;

  /// Returns the state of this process now, read from /proc. Zombies count as children.
  static ProcessResources now();

  /// Returns `3 descriptors, 1 threads, 0 children`.
  std::string text() const;
};

/// Registers a function that runs once before the first test. Define it at namespace scope.
class WarmUp {
 public:
  explicit WarmUp(void (*function)());
};

/// The listener of this file. `main` appends it to GoogleTest's listeners.
class ResourceListener : public ::testing::EmptyTestEventListener {
 public:
  /// `graceRounds` is the grace in hundredths of a second.
  explicit ResourceListener(int graceRounds = 50) : _graceRounds(graceRounds) {}

  void OnTestProgramStart(const ::testing::UnitTest& tests) override;
  void OnTestStart(const ::testing::TestInfo& test) override;
  void OnTestEnd(const ::testing::TestInfo& test) override;

 private:
  int _graceRounds;
  ProcessResources _before;
};

}  // namespace rondel::test
