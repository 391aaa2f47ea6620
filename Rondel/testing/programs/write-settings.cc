// SPDX-License-Identifier: MIT

// write-settings NAME COUNT [sync|fork-MODE]: sets the settings NAME.0 to NAME.(COUNT - 1), a
// number each, and returns. With "sync" it synchronizes after each of them. With "fork-pass" and
// "fork-exit" it ends without writing, and a forked child does what ends a pass of a run loop, or
// exits.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/propertylist/internal/ChangedDefaults.h"
#include "Rondel/core/values/Number.h"

using namespace rondel;

namespace {

// Returns the status of a forked child that is to leave the settings alone.
int statusOfChild(bool endsPass) {
  const pid_t pid = fork();
  if (pid == 0) {
    if (!endsPass) std::exit(0);
    internal::writeChangedDefaults();
    _exit(0);
  }
  int status = -1;
  return waitpid(pid, &status, 0) == pid ? status : -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  const std::string_view mode = argc > 3 ? argv[3] : "";
  bool isWritten = true;
  for (int i = 0; i < std::atoi(argv[2]); ++i) {
    const std::string key = std::string(argv[1]) + "." + std::to_string(i);
    defaults->setObject(HxNumber::numberWithInt(i), HxString(std::string_view(key)));
    if (mode == "sync") isWritten = defaults->synchronize() && isWritten;
  }
  if (mode.starts_with("fork-")) _exit(statusOfChild(mode == "fork-pass") == 0 ? 0 : 1);
  return isWritten ? 0 : 1;
}
