// SPDX-License-Identifier: MIT

// Runs a fuzz target once on the empty input and on every file named, or found in a directory
// named, on the command line. Linked in place of libFuzzer wherever that is not wanted, so that the
// corpora are replayed by every build, with every compiler and sanitizer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string input{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::runtime_error("cannot read " + path.string());
  // A copy of exactly this size: a sanitizer then sees a read one byte past the end.
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::vector<std::filesystem::path> inputsIn(const std::filesystem::path& place) {
  if (!std::filesystem::is_directory(place)) return {place};
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(place)) {
    if (entry.is_regular_file()) inputs.push_back(entry.path());
  }
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::size_t count = 1;
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (int i = 1; i < argc; ++i) {
      for (const auto& input : inputsIn(argv[i])) {
        replay(input);
        ++count;
      }
    }
    std::printf("%zu inputs replayed\n", count);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
