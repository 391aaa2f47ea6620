// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/internal/Containers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/collections/internal/ObjectTable.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Raised.h"

namespace rondel::internal {
namespace {

constexpr int kDeep = 30000;

// ---- Ways to put one object into another --------------------------------------------------------

struct Nesting {
  const char* name;
  std::function<HxAny(const HxAny&)> wrap;
};

const Nesting kNestings[] = {
    {"array", [](const HxAny& inner) { return HxAny(HxArray::arrayWithObject(inner)); }},
    {"array of two",
     [](const HxAny& inner) {
       return HxAny(HxArray::arrayWithObjects({"x"_hx, inner}));
     }},
    {"dictionary",
     [](const HxAny& inner) { return HxAny(HxDictionary::dictionaryWithObject(inner, "k"_hx)); }},
    {"key",
     [](const HxAny& inner) { return HxAny(HxDictionary::dictionaryWithObject("v"_hx, inner)); }},
    {"set", [](const HxAny& inner) { return HxAny(HxSet::initWithObjects({inner})); }},
    {"set of two",
     [](const HxAny& inner) {
       return HxAny(HxSet::initWithObjects({"x"_hx, inner}));
     }},
};

HxAny nested(const Nesting& nesting, int depth, const HxAny& leaf) {
  HxAny result = leaf;
  for (int i = 0; i < depth; ++i) result = nesting.wrap(result);
  return result;
}

// So many arrays around an object hide it from the hash.
constexpr int kBeyondHash = 50;

// ---- Equality -----------------------------------------------------------------------------------

TEST(Containers, EqualityReachesEveryDepth) {
  for (const Nesting& nesting : kNestings) {
    for (const int depth : {1, 2, 4, 5, 6, 20, kDeep}) {
      const HxAny one = nested(nesting, depth, "leaf"_hx);
      EXPECT_TRUE(one.isEqual(nested(nesting, depth, HxString(u"leaf")))) << nesting.name << depth;
      EXPECT_FALSE(one.isEqual(nested(nesting, depth, "other"_hx))) << nesting.name << depth;
      EXPECT_FALSE(one.isEqual(nested(nesting, depth + 1, "leaf"_hx))) << nesting.name << depth;
    }
  }
}

TEST(Containers, EqualityOfAllKindsInOneIsDeep) {
  const auto build = [](const HxAny& leaf) {
    HxAny result = leaf;
    for (int i = 0; i < kDeep; ++i)
      result = kNestings[static_cast<std::size_t>(i) % std::size(kNestings)].wrap(result);
    return result;
  };
  EXPECT_TRUE(build("a"_hx).isEqual(build("a"_hx)));
  EXPECT_FALSE(build("a"_hx).isEqual(build("b"_hx)));
}

// Two members that share a hash, each of which has an equal one on the other side.
TEST(Containers, MembersThatShareAHashAreReportedApart) {
  const auto deep = [](const HxString& leaf) { return nested(kNestings[0], kBeyondHash, leaf); };
  ASSERT_EQ(deep("a"_hx).hash(), deep("b"_hx).hash());
  const HxSet ab = HxSet::initWithObjects({deep("a"_hx), deep("b"_hx)});
  EXPECT_EQ(ab.count(), 2u);
  EXPECT_TRUE(ab.isEqual(HxSet::initWithObjects({deep("b"_hx), deep("a"_hx)})));
  EXPECT_FALSE(ab.isEqual(HxSet::initWithObjects({deep("a"_hx), deep("c"_hx)})));
}

TEST(Containers, ForksThatShareAHashAtSeveralLevelsAreReportedApart) {
  const auto fork = [](const HxAny& inner) {
    return HxAny(HxSet::initWithObjects({HxArray::arrayWithObject(inner),
                                         HxArray::arrayWithObject(HxArray::arrayWithObject(inner)),
                                         nested(kNestings[0], 3, inner)}));
  };
  HxAny one = nested(kNestings[0], kBeyondHash, "a"_hx);
  HxAny other = nested(kNestings[0], kBeyondHash, "b"_hx);
  for (int i = 0; i < 3; ++i) {
    one = fork(one);
    other = fork(other);
  }
  EXPECT_FALSE(one.isEqual(other));
}

// Two members of one hash at each of very many levels.
TEST(Containers, MoreForksThanTheBoundRaise) {
  const auto fork = [](const HxAny& inner) {
    return HxAny(HxSet::initWithObjects(
        {nested(kNestings[0], kBeyondHash, inner), nested(kNestings[0], kBeyondHash, "x"_hx)}));
  };
  HxAny one = "a"_hx;
  HxAny other = "a"_hx;
  for (int i = 0; i < 600; ++i) {
    one = fork(one);
    other = fork(other);
  }
  EXPECT_EQ(test::raisedBy([&] { EXPECT_FALSE(one.isEqual(other)); }),
            HxInternalInconsistencyException);
}

TEST(Containers, ContainersOfDifferentKindsAreNotEqual) {
  const HxAny array = HxArray::arrayWithObject("a"_hx);
  const HxAny set = HxSet::initWithObjects({"a"_hx});
  EXPECT_FALSE(array.isEqual(set));
  EXPECT_FALSE(HxAny(HxArray::arrayWithObject(array)).isEqual(HxArray::arrayWithObject(set)));
}

// ---- Hash ---------------------------------------------------------------------------------------

std::size_t longestSearch(const std::vector<HxAny>& keys) {
  ObjectTable table;
  for (const HxAny& key : keys) table.insert(key);
  EXPECT_EQ(table.size(), keys.size());
  std::size_t longest = 0;
  for (const HxAny& key : keys) longest = std::max(longest, table.probesFor(key.object()));
  return longest;
}

std::vector<HxAny> eachOf(int count, const std::function<HxAny(const HxAny&)>& make) {
  std::vector<HxAny> keys;
  for (int i = 0; i < count; ++i) keys.push_back(make(HxNumber::numberWithInt(i)));
  return keys;
}

TEST(Containers, KeysThatDifferInOneValueAreSpread) {
  constexpr int kCount = 4000;
  constexpr std::size_t kMostProbes = 200;
  for (const Nesting& nesting : kNestings) {
    EXPECT_LE(longestSearch(eachOf(kCount, nesting.wrap)), kMostProbes) << nesting.name;
    for (const Nesting& outer : kNestings) {
      const auto both = [&](const HxAny& inner) { return outer.wrap(nesting.wrap(inner)); };
      EXPECT_LE(longestSearch(eachOf(kCount, both)), kMostProbes)
          << nesting.name << " in " << outer.name;
    }
  }
}

TEST(Containers, ArraysThatDifferAtTheirEndAreSpread) {
  const auto longArray = [](const HxAny& last) {
    HxMutableArray array = HxMutableArray::array();
    for (int i = 0; i < 40; ++i) array.addObject("x"_hx);
    array.addObject(last);
    return HxAny(array.copy());
  };
  EXPECT_LE(longestSearch(eachOf(2000, longArray)), 200u);
}

TEST(Containers, ADictionaryWhoseValuesChangedPlacesHasAnotherHash) {
  const HxAny one = HxDictionary::dictionaryWithEntries({{"a"_hx, "x"_hx}, {"b"_hx, "y"_hx}});
  const HxAny other = HxDictionary::dictionaryWithEntries({{"a"_hx, "y"_hx}, {"b"_hx, "x"_hx}});
  EXPECT_NE(one.hash(), other.hash());
}

TEST(Containers, EqualContainersHashAlike) {
  for (const Nesting& nesting : kNestings) {
    for (const int depth : {1, 2, 3, 10, kDeep}) {
      EXPECT_EQ(nested(nesting, depth, "leaf"_hx).hash(),
                nested(nesting, depth, HxString(u"leaf")).hash())
          << nesting.name;
    }
  }
}

// ---- Description --------------------------------------------------------------------------------

TEST(Containers, DescriptionsEndAtABound) {
  for (const Nesting& nesting : kNestings) {
    const std::string deep = nested(nesting, kDeep, "leaf"_hx).description().toStdString();
    EXPECT_NE(deep.find("..."), std::string::npos) << nesting.name;
    EXPECT_EQ(deep.find("leaf"), std::string::npos) << nesting.name;
    EXPECT_LT(deep.size(), 200000u) << nesting.name;
    const std::string whole = nested(nesting, 101, "leaf"_hx).description().toStdString();
    EXPECT_NE(whole.find("leaf"), std::string::npos) << nesting.name;
  }
}

TEST(Containers, DescriptionsIndentEachLevelAndLeaveTextAsItIs) {
  const HxAny inner = HxArray::arrayWithObjects({"a\nb"_hx, HxSet::initWithObjects({"c"_hx})});
  const HxAny outer = HxDictionary::dictionaryWithObject(inner, "k"_hx);
  EXPECT_EQ(outer.description().toStdString(),
            "{\n"
            "    k = (\n"
            "        a\nb,\n"
            "        {(\n"
            "            c\n"
            "        )}\n"
            "    );\n"
            "}");
}

}  // namespace
}  // namespace rondel::internal
