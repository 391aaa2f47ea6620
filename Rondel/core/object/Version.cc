// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Version.h"

#define RONDEL_TEXT_OF_VALUE(value) #value
#define RONDEL_TEXT_OF(macro) RONDEL_TEXT_OF_VALUE(macro)

namespace rondel {

constinit const double ZevRondelVersionNumber =
    RONDEL_VERSION_MAJOR * 10000 + RONDEL_VERSION_MINOR * 100 + RONDEL_VERSION_PATCH;

constinit const char ZevRondelVersionString[] =
    RONDEL_TEXT_OF(RONDEL_VERSION_MAJOR) "." RONDEL_TEXT_OF(
        RONDEL_VERSION_MINOR) "." RONDEL_TEXT_OF(RONDEL_VERSION_PATCH);

}  // namespace rondel
