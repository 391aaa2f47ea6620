// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/ObjectTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"

namespace rondel::internal {
namespace {

// A key whose hash is chosen, and which may refuse to be compared.
class Key final : public HxObject {
 public:
  Key(int name, HxUInteger hash) : _name(name), _hash(hash) {}
  bool isEqual(const HxObject& other) const override {
    if (refusesToCompare) throw std::runtime_error("no");
    return static_cast<const Key&>(other)._name == _name;
  }
  HxUInteger hash() const override { return _hash; }

  inline static bool refusesToCompare = false;

 private:
  int _name;
  HxUInteger _hash;
};

HxAny key(int name, HxUInteger hash) { return makeRef<Key>(name, hash); }
HxAny number(int value) { return HxNumber::numberWithInt(value); }
int valueOf(const ObjectTable& table, const HxHandle& key) {
  const ObjectTable::Entry* entry = table.find(key.object());
  return entry ? as<HxNumber>(entry->value).intValue() : -1;
}
void put(ObjectTable& table, const HxHandle& key, int value) {
  table.insert(key).first->value = number(value);
}

TEST(ObjectTable, AnEmptyOneFindsNothing) {
  ObjectTable table;
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.find(number(1).object()), nullptr);
  EXPECT_TRUE(table.extract(number(1).object()).key.isNil());
  EXPECT_TRUE(table.begin() == table.end());
}

TEST(ObjectTable, TellsWhetherAKeyIsNew) {
  ObjectTable table;
  EXPECT_TRUE(table.insert("a"_hx).second);
  EXPECT_FALSE(table.insert(HxString(u"a")).second);
  EXPECT_EQ(table.size(), 1u);
}

// Each unit of a key counts, whatever its length and width.
TEST(ObjectTable, FindsAStringAndNoneThatDiffersInOneUnit) {
  for (const char16_t filler : {u'x', u'\u4E2D'}) {
    for (std::size_t length = 0; length < 40; ++length) {
      const std::u16string units(length, filler);
      ObjectTable table;
      put(table, HxString(units), 1);
      const HxString same(units);
      EXPECT_EQ(valueOf(table, same), 1) << length;
      EXPECT_EQ(valueOf(table, same), 1) << length << ", hashed before";
      for (std::size_t i = 0; i < length; ++i) {
        std::u16string others = units;
        others[i] = u'y';
        const HxString other(others);
        EXPECT_EQ(valueOf(table, other), -1) << length << ' ' << i;
        EXPECT_EQ(valueOf(table, other), -1) << length << ' ' << i;
      }
    }
  }
}

// No other test sees a byte that is left out: a look-up compares what hashes alike only.
TEST(ObjectTable, TwoShortRunsAreTheSameIfEveryByteIs) {
  for (std::size_t count = 0; count <= kMostBytesOfShortRun; ++count) {
    const std::string run = std::string("0123456789ABCDEFGHIJKLMNOPQRSTUV").substr(0, count);
    std::string other = run;
    EXPECT_TRUE(areSameShortRuns(run.data(), other.data(), count)) << count;
    for (char& byte : other) {
      ++byte;
      EXPECT_FALSE(areSameShortRuns(run.data(), other.data(), count)) << other;
      --byte;
    }
  }
}

// Of 300,000 texts about twenty pairs share the 31 bits that are kept.
TEST(ObjectTable, TellsStringsOfOneHashApart) {
  std::unordered_map<std::size_t, HxString> seen;
  int pairs = 0;
  for (int i = 1000000; i < 1300000; ++i) {
    const HxString text(std::string_view("key " + std::to_string(i)));
    const auto [place, isNew] = seen.emplace(tableHash(text.object()), text);
    if (isNew) continue;
    ++pairs;
    ObjectTable table;
    put(table, place->second, 1);
    EXPECT_EQ(valueOf(table, text), -1);
    put(table, text, 2);
    EXPECT_EQ(valueOf(table, place->second), 1);
    EXPECT_EQ(valueOf(table, text), 2);
  }
  EXPECT_GT(pairs, 0);
}

TEST(ObjectTable, FindsStringsByTheirCharacters) {
  ObjectTable table;
  EXPECT_EQ(table.findText("a"), nullptr);
  for (const HxString& text : {""_hx, "a"_hx, "name"_hx, "a name of some length"_hx}) {
    put(table, text, static_cast<int>(text.length()));
    const ObjectTable::Entry* entry = table.findText(text.asciiView());
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(as<HxNumber>(entry->value).intValue(), static_cast<int>(text.length()));
  }
  EXPECT_EQ(table.findText("nam"), nullptr);
  EXPECT_EQ(table.findText("names"), nullptr);
}

TEST(ObjectTable, FindsStringsOfOtherKindsByTheirCharacters) {
  ObjectTable table;
  put(table, HxMutableString::stringWithString("name"_hx), 4);
  EXPECT_NE(table.findText("name"), nullptr);
  EXPECT_EQ(table.findText("other"), nullptr);
}

TEST(ObjectTable, KeysOfOneHashAreReportedApart) {
  ObjectTable table;
  for (int i = 0; i < 50; ++i) put(table, key(i, 7), i);
  EXPECT_EQ(table.size(), 50u);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(valueOf(table, key(i, 7)), i);
  EXPECT_EQ(valueOf(table, key(50, 7)), -1);
}

TEST(ObjectTable, RemovingOneKeyHidesNoOther) {
  for (int removed = 0; removed < 20; ++removed) {
    ObjectTable table;
    for (int i = 0; i < 20; ++i) put(table, key(i, 7), i);
    EXPECT_EQ(as<HxNumber>(table.extract(key(removed, 7).object()).value).intValue(), removed);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(valueOf(table, key(i, 7)), i == removed ? -1 : i);
  }
}

// Few places, many removals: runs of entries that wrap around the end of the table.
TEST(ObjectTable, AgreesWithAMapWhateverIsAddedAndRemoved) {
  std::mt19937 random(5);
  ObjectTable table;
  std::map<int, int> model;
  for (int step = 0; step < 20000; ++step) {
    const int name = static_cast<int>(random() % 40);
    if (random() % 2 == 0) {
      put(table, number(name), step);
      model[name] = step;
    } else {
      EXPECT_EQ(table.extract(number(name).object()).key.isNil(), model.erase(name) == 0);
    }
    ASSERT_EQ(table.size(), model.size());
    for (int i = 0; i < 40; ++i) {
      ASSERT_EQ(valueOf(table, number(i)), model.count(i) ? model[i] : -1) << "step " << step;
    }
  }
}

TEST(ObjectTable, WalksOverEveryEntryOnce) {
  ObjectTable table;
  for (int i = 0; i < 1000; ++i) put(table, number(i), i);
  std::map<int, int> seen;
  for (const ObjectTable::Entry& entry : table) ++seen[as<HxNumber>(entry.key).intValue()];
  EXPECT_EQ(seen.size(), 1000u);
  for (const auto& [name, times] : seen) EXPECT_EQ(times, 1) << name;
}

TEST(ObjectTable, ACopyIsOfItsOwn) {
  ObjectTable table;
  put(table, "a"_hx, 1);
  ObjectTable copy = table;
  put(copy, "a"_hx, 2);
  put(copy, "b"_hx, 3);
  EXPECT_EQ(valueOf(table, "a"_hx), 1);
  EXPECT_EQ(table.size(), 1u);
  copy = table;
  EXPECT_EQ(valueOf(copy, "a"_hx), 1);
  EXPECT_EQ(copy.size(), 1u);
}

TEST(ObjectTable, IsAsItWasAfterAKeyRaised) {
  ObjectTable table;
  put(table, key(1, 7), 1);
  Key::refusesToCompare = true;
  EXPECT_THROW(table.insert(key(2, 7)), std::runtime_error);
  EXPECT_THROW(table.extract(key(1, 7).object()), std::runtime_error);
  Key::refusesToCompare = false;
  EXPECT_EQ(table.size(), 1u);
  EXPECT_EQ(valueOf(table, key(1, 7)), 1);
  EXPECT_EQ(valueOf(table, key(2, 7)), -1);
}

TEST(ObjectTable, TakesTheEntriesOfAnotherInTheOrderOfAWalk) {
  ObjectTable source;
  constexpr int kCount = 10000;
  for (int i = 0; i < kCount; ++i) put(source, number(i), i);
  ObjectTable target;
  for (const ObjectTable::Entry& entry : source) {
    target.insert(entry.key).first->value = entry.value;
  }
  EXPECT_EQ(target.size(), source.size());
  for (int i = 0; i < kCount; ++i) ASSERT_EQ(valueOf(target, number(i)), i);
}

// ---- Work ---------------------------------------------------------------------------------------

// Many more than a table of this size needs with good hashes, and far fewer than one run of all.
constexpr std::size_t kMostProbes = 200;

// Puts all keys in and returns the longest search for one of them.
std::size_t longestSearch(const std::vector<HxAny>& keys) {
  ObjectTable table;
  for (const HxAny& key : keys) table.insert(key);
  EXPECT_EQ(table.size(), keys.size());
  std::size_t longest = 0;
  for (const HxAny& key : keys) longest = std::max(longest, table.probesFor(key.object()));
  return longest;
}

// A text of four words that are chosen to the byte.
HxString textOfWords(const std::array<std::uint64_t, 4>& words) {
  std::u16string units;
  for (const std::uint64_t word : words) {
    for (int shift = 0; shift < 64; shift += 16) units += static_cast<HxUniChar>(word >> shift);
  }
  return HxString(std::u16string_view(units));
}

TEST(ObjectTable, CountsTheProbesOfASearch) {
  ObjectTable table;
  EXPECT_EQ(table.probesFor(key(0, 7).object()), 0u);
  for (int i = 0; i < 50; ++i) put(table, key(i, 7), i);
  std::size_t all = 0;
  for (int i = 0; i < 50; ++i) all += table.probesFor(key(i, 7).object());
  EXPECT_EQ(all, 50u * 51u / 2u);
  EXPECT_EQ(table.probesFor(key(50, 7).object()), 51u);
}

// Texts in which one word is chosen and the word after it counts up.
std::vector<HxAny> textsWithWord(std::uint64_t chosen, std::size_t place) {
  std::vector<HxAny> keys;
  for (std::uint64_t i = 0; i < 4000; ++i) {
    std::array<std::uint64_t, 4> words{1, 1, 1, 1};
    words[(place + 1) % 4] = i;
    words[place] = chosen;
    keys.push_back(textOfWords(words));
  }
  return keys;
}

TEST(ObjectTable, TextsThatMeetAConstantOfTheHashAreSpread) {
  for (const std::uint64_t chosen : {0x9E3779B97F4A7C15U, 0xD6E8FEB86659FD93U ^ 64U}) {
    for (std::size_t place = 0; place < 4; ++place) {
      EXPECT_LE(longestSearch(textsWithWord(chosen, place)), kMostProbes) << place;
    }
  }
}

// Even where somebody knew the seed: an operand that is zero does not take the other with it.
TEST(ObjectTable, NoWordMakesTheHashForgetTheOthers) {
  const std::uint64_t seed = hashSeed();
  for (const std::uint64_t chosen : {seed, std::rotl(seed, 32), seed ^ 64U}) {
    for (std::size_t place = 0; place < 4; ++place) {
      std::set<HxUInteger> hashes;
      for (const HxAny& text : textsWithWord(chosen, place)) hashes.insert(text.hash());
      EXPECT_GE(hashes.size(), 1900u) << place;
    }
  }
}

TEST(ObjectTable, ASecondBlockThatCancelsTheFirstIsOfNoUse) {
  std::vector<HxAny> keys;
  for (std::uint64_t i = 0; i < 4000; ++i) {
    keys.push_back(textOfWords({i, ~i, i ^ (i << 32), ~i ^ (i << 32)}));
  }
  EXPECT_LE(longestSearch(keys), kMostProbes);
}

TEST(ObjectTable, NumbersInStepsOfAnySizeAreSpread) {
  for (int shift = 0; shift < 50; ++shift) {
    std::vector<HxAny> keys;
    for (std::uint64_t i = 0; i < 2000; ++i) {
      keys.push_back(HxNumber::numberWithUnsignedInteger(i << shift));
    }
    EXPECT_LE(longestSearch(keys), kMostProbes) << shift;
  }
}

}  // namespace
}  // namespace rondel::internal
