// SPDX-License-Identifier: MIT

// Any format with any arguments: nothing is read out of bounds, the result stays within the limits,
// and the ways to make it agree. The first four bytes choose the arguments, the rest is the format,
// in UTF-8 if it is that and in UTF-16 if not.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "Rondel/core/text/String.h"

namespace {

using namespace rondel;

constexpr std::size_t kArguments = 8;
constexpr std::size_t kGreatestFormat = 1024;  // each conversion may print 64 KiB

HxArgument argumentOfKind(unsigned kind, const HxString& text) {
  switch (kind) {
    case 0:
      return -1;
    case 1:
      return std::numeric_limits<std::int64_t>::min();
    case 2:
      return std::numeric_limits<std::uint64_t>::max();
    case 3:
      return u'\xD83D';
    case 4:
      return 'c';
    case 5:
      return true;
    case 6:
      return 0.1;
    case 7:
      return -std::numeric_limits<double>::infinity();
    case 8:
      return std::numeric_limits<double>::max();
    case 9:
      return "text of \xC3\xA4 \xF0\x9F\x98\x80 and a stray \xFF byte";
    case 10:
      return static_cast<const char*>(nullptr);
    case 11:
      return static_cast<const void*>("");
    case 12:
      return nullptr;
    case 13:
      return text;
    case 14:
      return 100000;  // a width beyond the limit
    default:
      return -7;
  }
}

HxString formatOf(const char* bytes, std::size_t size) {
  const HxString text(std::string_view(bytes, size));
  if (text) return text;
  HxUniChar units[kGreatestFormat];
  std::memcpy(units, bytes, size / 2 * 2);
  return HxString::stringWithCharacters(units, size / 2);
}

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kArguments / 2 || size - kArguments / 2 > kGreatestFormat) return 0;
  const HxString format =
      formatOf(reinterpret_cast<const char*>(data + kArguments / 2), size - kArguments / 2);
  HxArgument arguments[kArguments];
  for (std::size_t i = 0; i < kArguments; ++i) {
    arguments[i] = argumentOfKind(data[i / 2] >> (i % 2 * 4) & 0xFU, format);
  }
  const HxUInteger count = data[0] % (kArguments + 1);
  const HxArguments given(arguments, count);

  const HxString made = HxString::initWithFormatArguments(format, given);
  HxMutableString appended = HxMutableString::stringWithString("<"_hx);
  appended.appendFormatArguments(format, given);
  require(appended.substringFromIndex(1) == made);
  require(made.length() <= format.length() * 66000 + 66000);
  return 0;
}
