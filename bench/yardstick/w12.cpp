// SPDX-License-Identifier: MIT
// Rondel's rows among short strings.
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/core/text/String.h"
#include "inputs.hpp"

using namespace w12;
using namespace rondel;
using U = std::uint64_t;

namespace {

HxString make(std::size_t i) {
  const Words& w = words();
  return HxString(std::string_view(w.b(i), w.len(i)));
}

const std::vector<HxString>& strings(bool again) {
  static const auto all = [] {
    std::vector<HxString> v;
    v.reserve(kStrings);
    for (std::size_t i = 0; i < kStrings; ++i) v.push_back(make(i));
    return v;
  };
  static const std::vector<HxString> first = all();
  static const std::vector<HxString> second = all();
  return again ? second : first;
}

HxMutableDictionary dictionary(std::size_t n) {
  const auto& a = strings(false);
  HxMutableDictionary m = HxMutableDictionary::dictionaryWithCapacity(n);
  for (std::size_t i = 0; i < n; ++i) m.setObject(HxNumber::numberWithUnsignedInteger(i + 1), a[i]);
  return m;
}

U borrowed(const HxDictionary& m, const HxString& key) {
  return m.borrowObjectForKey<HxNumber>(key)->unsignedIntegerValue();
}
U shared(const HxDictionary& m, const HxString& key) {
  return m.objectForKey<HxNumber>(key).unsignedIntegerValue();
}

template <U get(const HxDictionary&, const HxString&)>
U lookUpAll() {
  static const HxDictionary m = dictionary(kStrings);
  U n = 0;
  const auto& b = strings(true);
  for (std::size_t k = 0; k < kLookups; ++k) n += get(m, b[words().order[k]]);
  return n;
}
template <U get(const HxDictionary&, const HxString&)>
U lookUpThousand() {
  static const HxDictionary m = dictionary(1000);
  U n = 0;
  const auto& b = strings(true);
  for (std::size_t k = 0; k < 1000; ++k)
    for (std::size_t i = 0; i < 1000; ++i) n += get(m, b[i]);
  return n;
}

BENCH_ROWS(w12_rondel) {
  w12::make().rondel("rondel", [] {
    U n = 0;
    std::vector<HxString> v;
    v.reserve(1000);
    for (std::size_t i = 0; i < kStrings; ++i) {
      v.push_back(::make(i));
      n += v.back().length();
      if (v.size() == 1000) v.clear();
    }
    return n;
  });
  share().rondel("rondel", [] {
    U n = 0;
    for (const HxString& s : strings(false)) {
      HxString c(s);
      benchmark::DoNotOptimize(c);
      n += c.length();
    }
    return n;
  });
  equal().rondel("rondel", [] {
    U n = 0;
    const auto &a = strings(false), &b = strings(true);
    for (std::size_t i = 0; i < kStrings; ++i) n += a[i].isEqualToString(b[i]);
    return n;
  });
  w12::hash().row_unchecked(
      "rondel", "rondel",
      [] {
        U n = 0;
        for (const HxString& s : strings(false)) n += s.hash();
        return n;
      },
      "kept in the string after the first time");
  insert().rondel(
      "rondel", [] { return shared(dictionary(kStrings), strings(false)[kStrings / 2]); },
      "values are objects");
  // Each once as a loop would read the values, and once with a handle that shares each of them.
  lookup().rondel(
      "rondel", [] { return lookUpAll<borrowed>(); }, "values are objects");
  lookup().rondel(
      "rondel_shared", [] { return lookUpAll<shared>(); }, "and counted");
  lookup_small().rondel(
      "rondel", [] { return lookUpThousand<borrowed>(); }, "values are objects");
  lookup_small().rondel(
      "rondel_shared", [] { return lookUpThousand<shared>(); }, "and counted");
  concat().rondel("rondel", [] {
    U n = 0;
    const auto& a = strings(false);
    for (std::size_t i = 0; i < kStrings; ++i) {
      HxString r = HxString::stringByConcatenating(a[i], "/"_hx, a[kStrings - 1 - i]);
      benchmark::DoNotOptimize(r);
      n += r.length();
    }
    return n;
  });
}

}  // namespace
