// SPDX-License-Identifier: MIT

// write-settings NAME COUNT [sync]: sets the settings NAME.0 to NAME.(COUNT - 1), a number each,
// and returns. With "sync" it synchronizes after each of them.

#include <cstdlib>
#include <string>
#include <string_view>

#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/values/Number.h"

using namespace rondel;

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  bool isWritten = true;
  for (int i = 0; i < std::atoi(argv[2]); ++i) {
    const std::string key = std::string(argv[1]) + "." + std::to_string(i);
    defaults->setObject(HxNumber::numberWithInt(i), HxString(std::string_view(key)));
    if (argc > 3) isWritten = defaults->synchronize() && isWritten;
  }
  return isWritten ? 0 : 1;
}
