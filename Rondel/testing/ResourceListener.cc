// SPDX-License-Identifier: MIT
#include "Rondel/testing/ResourceListener.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

namespace rondel::test {
namespace {

constexpr useconds_t kGraceRoundMicroseconds = 10'000;

std::vector<void (*)()>& warmUps() {
  static std::vector<void (*)()> functions;
  return functions;
}

int countEntries(const char* directory) {
  std::error_code ignored;
  std::filesystem::directory_iterator entries(directory, ignored);
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

// A thread's `children` file holds the pids of the processes that it started.
int countChildren() {
  int children = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream numbers(thread.path() / "children");
    children += static_cast<int>(
        std::distance(std::istream_iterator<long>(numbers), std::istream_iterator<long>()));
  }
  return children;
}

// The thread sanitizer starts a thread of its own with the first other thread, and keeps it.
const WarmUp firstThread([] { std::thread([] {}).join(); });

}  // namespace

ProcessResources ProcessResources::now() {
  return {countEntries("/proc/self/fd"), countEntries("/proc/self/task"), countChildren()};
}

std::string ProcessResources::text() const {
  return std::to_string(descriptors) + " descriptors, " + std::to_string(threads) + " threads, " +
         std::to_string(children) + " children";
}

WarmUp::WarmUp(void (*function)()) { warmUps().push_back(function); }

void ResourceListener::OnTestProgramStart(const ::testing::UnitTest&) {
  for (const auto& function : warmUps()) function();
}

void ResourceListener::OnTestStart(const ::testing::TestInfo&) {
  _before = ProcessResources::now();
}

void ResourceListener::OnTestEnd(const ::testing::TestInfo&) {
  ProcessResources after = ProcessResources::now();
  for (int round = 0; round < _graceRounds && after != _before; ++round) {
    usleep(kGraceRoundMicroseconds);
    after = ProcessResources::now();
  }
  if (after != _before) {
    ADD_FAILURE() << "The test began with " << _before.text() << " and left " << after.text()
                  << ".";
  }
}

}  // namespace rondel::test
