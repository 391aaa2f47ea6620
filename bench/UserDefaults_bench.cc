// SPDX-License-Identifier: MIT

// What a change of a setting costs, and what it costs to write the changes. Setting must not wait
// for the disk.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"

namespace {

using namespace rondel;

// Defaults in a folder of their own, which goes with them.
class Fresh {
 public:
  Fresh() : _folder(::mkdtemp(_name.data())) {}
  ~Fresh() {
    _defaults = nullptr;
    std::filesystem::remove_all(_folder);
  }
  Fresh(const Fresh&) = delete;
  Fresh& operator=(const Fresh&) = delete;

  void change() {
    _flag = !_flag;
    _defaults->setObject(_flag ? "on"_hx : "off"_hx, "Setting"_hx);
  }
  bool write() { return _defaults->synchronize(); }

 private:
  std::string _name = "/tmp/defaults.XXXXXX";
  std::string _folder;
  bool _flag = false;
  Ref<HxUserDefaults> _defaults = internal::UserDefaultsStore::makeDefaults(
      {HxString(std::string_view(_folder)), "tool"_hx, nullptr});
};

void Defaults_setObject(benchmark::State& state) {
  Fresh defaults;
  for (auto _ : state) defaults.change();
}
BENCHMARK(Defaults_setObject);

void Defaults_changeAndSynchronize(benchmark::State& state) {
  Fresh defaults;
  for (auto _ : state) {
    defaults.change();
    benchmark::DoNotOptimize(defaults.write());
  }
}
BENCHMARK(Defaults_changeAndSynchronize)->UseRealTime();

}  // namespace
