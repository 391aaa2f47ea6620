// SPDX-License-Identifier: MIT
#include "Rondel/core/system/ProcessInfo.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/system/internal/Descriptor.h"
#include "Rondel/core/system/internal/FileCalls.h"

namespace rondel {
namespace {

HxString textOfBytes(std::string_view bytes) {
  const HxString text(bytes);
  return text ? text
              : HxString::initWithBytes(bytes.data(), bytes.size(), HxHaldenOSRomanStringEncoding);
}

// Returns the words of the command line, a NUL after each; empty if the file cannot be read.
std::string readCommandLine() {
  std::string bytes;
  const internal::Descriptor file(
      internal::fileCalls.open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC, 0));
  if (!file) return bytes;
  char buffer[4096];
  for (;;) {
    const ssize_t count = internal::uninterrupted(
        [&] { return internal::fileCalls.read(file.get(), buffer, sizeof buffer); });
    if (count <= 0) return bytes;
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
}

HxArray wordsOfCommandLine() {
  const std::string bytes = readCommandLine();
  HxMutableArray words = HxMutableArray::array();
  for (std::size_t start = 0; start < bytes.size();) {
    const std::string_view word(bytes.c_str() + start);
    words.addObject(textOfBytes(word));
    start += word.size() + 1;
  }
  return words.copy();
}

}  // namespace

HxClass HxProcessInfo::classObject() noexcept {
  static const HxClassInfo info{"HxProcessInfo", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxProcessInfo> HxProcessInfo::processInfo() {
  static HxProcessInfo* const info = new HxProcessInfo;  // lives as long as the process
  return Ref<HxProcessInfo>(info);
}

HxDictionary HxProcessInfo::environment() const {
  HxMutableDictionary environment = HxMutableDictionary::dictionary();
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view text(*entry);
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == std::string_view::npos) continue;
    const HxString name = textOfBytes(text.substr(0, equals));
    if (environment.objectForKey(name)) continue;
    environment.setObject(textOfBytes(text.substr(equals + 1)), name);
  }
  return environment.copy();
}

HxArray HxProcessInfo::arguments() const {
  static const HxArray& arguments = *new HxArray(wordsOfCommandLine());
  return arguments;
}

HxString HxProcessInfo::processName() const {
  const HxAny first = arguments().firstObject();
  const std::string path = as<HxString>(first).toStdString();
  const std::string name = path.substr(path.find_last_of('/') + 1);
  return name.empty() ? textOfBytes(program_invocation_short_name) : textOfBytes(name);
}

int HxProcessInfo::processIdentifier() const noexcept { return getpid(); }

}  // namespace rondel
