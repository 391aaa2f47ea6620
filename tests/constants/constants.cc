// SPDX-License-Identifier: MIT

// Constants as users write them, and containers of them. `run` looks at what becomes of the
// constants; the rest has to compile, which takes care with Clang 14.

#include <array>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace constants {

using namespace rondel;

// ---- Constants --------------------------------------------------------------------------------

struct Row {
  HxString name;
  int number;
};

inline constexpr HxString kInline = "inline"_hx;
extern const HxString kNamed;
constexpr HxString kNamed = "named"_hx;
extern const HxString kWide;
constexpr HxString kWide = "caf\u00e9"_hx;
extern const HxString kNil;
constexpr HxString kNil;
constexpr HxString kNames[] = {"one"_hx, "two"_hx};
constexpr std::array<HxString, 2> kWords{"three"_hx, "four"_hx};
constexpr Row kRows[] = {{"five"_hx, 5}, {"six"_hx, 6}};
constexpr std::optional<HxString> kMaybe{"seven"_hx};

HxUInteger length(std::size_t i);
HxUInteger length(std::size_t i) {
  static constexpr HxString kLocal[] = {"eight"_hx, "nine"_hx};
  return kInline.length() + kNames[i].length() + kWords[i].length() + kRows[i].name.length() +
         kMaybe->length() + kLocal[i].length();
}

// ---- Literals that are passed on --------------------------------------------------------------

template <internal::LiteralText Text>
concept IsLiteral = requires {
  operator""_hx<Text>();
};
static_assert(IsLiteral<""> && IsLiteral<"a"> && IsLiteral<"\xF4\x8F\xBF\xBF\xE0\xA0\x80\xC2\x80">);
static_assert(!IsLiteral<"\xFF"> && !IsLiteral<"a\xC3"> && !IsLiteral<"\xC0\x80">);
static_assert(!IsLiteral<"\xE0\x80\x80"> && !IsLiteral<"\xED\xA0\x80">);
static_assert(!IsLiteral<"\xF0\x80\x80\x80"> && !IsLiteral<"\xF4\x90\x80\x80">);
static_assert(!IsLiteral<"\x80"> && !IsLiteral<"\xC3(">);

struct Settings {
  HxString name = "name"_hx;
  std::vector<HxString> words{"one"_hx};
};

HxUInteger use(const std::vector<HxString>& words = {"default"_hx});
HxUInteger use(const std::vector<HxString>& words) {
  std::vector<HxString> list{"one"_hx, "caf\u00e9"_hx};
  list.insert(list.begin(), {"two"_hx, "three"_hx});
  list.push_back("four"_hx);
  const std::vector<HxAny> objects{"one"_hx};
  const std::vector<HxString> same(3, "same"_hx);
  const std::vector<Row> rows{{"five"_hx, 5}};
  const std::map<HxString, HxString> byName{{"six"_hx, "6"_hx}};
  const std::unordered_map<HxString, int> numbers{{"seven"_hx, 7}};
  const auto closure = [kept = std::vector<HxString>{"eight"_hx}] { return kept.size(); };
  for (const HxString& name : {"nine"_hx, "ten"_hx}) list.push_back(name);
  return words.size() + list.size() + objects.size() + same.size() + rows.size() + byName.size() +
         numbers.size() + closure() + Settings().words.size() +
         HxArray::arrayWithObjects({"a"_hx, "b"_hx}).count() +
         HxDictionary::dictionaryWithEntries({{"a"_hx, "b"_hx}}).count();
}

}  // namespace constants
