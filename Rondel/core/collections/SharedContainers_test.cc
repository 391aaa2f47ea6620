// SPDX-License-Identifier: MIT
//
// Containers that hold themselves, and containers that hold another one more than once. The work of
// a comparison, a description and a hash is bounded by the containers there are.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Collections.h"
#include "Rondel/testing/OutOfMemory.h"
#include "Rondel/testing/Raised.h"

namespace rondel::test {
namespace {

// An object that counts the questions it is asked. Equal to those of its name; all share a hash.
class Probe final : public HxObject {
 public:
  explicit Probe(int name) : _name(name) {}
  bool isEqual(const HxObject& other) const override {
    ++compared;
    return static_cast<const Probe&>(other)._name == _name;
  }
  HxUInteger hash() const override {
    ++hashed;
    return 7;
  }
  HxString description() const override {
    ++described;
    return "probe"_hx;
  }

  inline static std::size_t compared = 0;
  inline static std::size_t hashed = 0;
  inline static std::size_t described = 0;

 private:
  int _name;
};

HxAny probe(int name) {
  Probe::compared = Probe::hashed = Probe::described = 0;
  return makeRef<Probe>(name);
}

// An object of the caller's own that holds another and asks it all questions.
class Box final : public HxObject {
 public:
  explicit Box(HxAny held) : _held(std::move(held)) {}
  bool isEqual(const HxObject& other) const override {
    return _held.isEqual(static_cast<const Box&>(other)._held);
  }
  HxString description() const override { return _held.description(); }
  void put(HxAny held) { _held = std::move(held); }

 private:
  HxAny _held;
};

HxAny errorWith(const HxAny& value) {
  return HxError::errorWithDomain("Domain"_hx, 1,
                                  HxDictionary::dictionaryWithObject(value, "inner"_hx));
}

// Ways to put one object twice into another.
struct Doubling {
  const char* name;
  std::function<HxAny(const HxAny&)> twice;
};

HxAny twiceInArray(const HxAny& inner) { return HxArray::arrayWithObjects({inner, inner}); }

const Doubling kDoublings[] = {
    {"array", twiceInArray},
    {"array of an open class",
     [](const HxAny& inner) {
       return HxAny(openArray({inner, inner}));
     }},
    {"dictionary",
     [](const HxAny& inner) {
       return HxAny(HxDictionary::dictionaryWithEntries({{"a"_hx, inner}, {"b"_hx, inner}}));
     }},
    {"boxes",
     [](const HxAny& inner) {
       return HxAny(HxArray::arrayWithObjects({makeRef<Box>(inner), makeRef<Box>(inner)}));
     }},
};

HxAny doubled(const Doubling& doubling, int levels, const HxAny& leaf) {
  HxAny result = leaf;
  for (int i = 0; i < levels; ++i) result = doubling.twice(result);
  return result;
}

// A mutable array that is emptied in the end, so that one which holds itself goes.
class Cycle {
 public:
  Cycle() = default;
  Cycle(const Cycle&) = delete;
  Cycle& operator=(const Cycle&) = delete;
  ~Cycle() { array.removeAllObjects(); }
  Cycle& add(const HxHandle& object) {
    array.addObject(object);
    return *this;
  }
  HxMutableArray array = HxMutableArray::array();
};

// ---- Equality -----------------------------------------------------------------------------------

TEST(SharedContainers, ArraysThatHoldThemselvesAreCompared) {
  Cycle one;
  Cycle same;
  Cycle other;
  one.add(one.array).add("x"_hx);
  same.add(same.array).add(HxString(u"x"));
  other.add(other.array).add("y"_hx);
  EXPECT_TRUE(one.array.isEqual(same.array));
  EXPECT_FALSE(one.array.isEqual(other.array));
}

TEST(SharedContainers, CyclesOfOtherLengthsThatReadAlikeAreEqualAndHashAlike) {
  Cycle one;
  Cycle three;
  one.add(one.array);
  three.add(HxArray::arrayWithObject(HxArray::arrayWithObject(three.array)));
  EXPECT_TRUE(one.array.isEqual(three.array));
  EXPECT_EQ(one.array.hash(), three.array.hash());
}

TEST(SharedContainers, ArraysThatHoldThemselvesManyTimesAreCompared) {
  Cycle one;
  Cycle same;
  for (int i = 0; i < 100; ++i) {
    one.add(one.array);
    same.add(same.array);
  }
  EXPECT_TRUE(one.array.isEqual(same.array));
  one.add("x"_hx);
  same.add("y"_hx);
  EXPECT_FALSE(one.array.isEqual(same.array));
}

TEST(SharedContainers, CyclesThroughOtherObjectsAreCompared) {
  using Wrap = HxAny (*)(const HxAny&);
  for (const Wrap wrap : {Wrap([](const HxAny& inner) { return errorWith(inner); }),
                          Wrap([](const HxAny& inner) { return HxAny(makeRef<Box>(inner)); }),
                          Wrap([](const HxAny& inner) {
                            return HxAny(HxDictionary::dictionaryWithObject(inner, "k"_hx));
                          })}) {
    Cycle one;
    Cycle same;
    Cycle other;
    one.add(wrap(one.array)).add(probe(1));
    same.add(wrap(same.array)).add(probe(1));
    other.add(wrap(other.array)).add(probe(2));
    EXPECT_TRUE(one.array.isEqual(same.array));
    EXPECT_FALSE(one.array.isEqual(other.array));
  }
}

TEST(SharedContainers, SharedContainersAreComparedOnceForEachPair) {
  for (const Doubling& doubling : kDoublings) {
    const HxAny one = doubled(doubling, 60, probe(1));
    EXPECT_TRUE(one.isEqual(doubled(doubling, 60, probe(1)))) << doubling.name;
    EXPECT_LT(Probe::compared, 2000u) << doubling.name;
    EXPECT_FALSE(one.isEqual(doubled(doubling, 60, probe(2)))) << doubling.name;
    EXPECT_LT(Probe::compared, 2000u) << doubling.name;
  }
}

TEST(SharedContainers, ErrorsThatShareTheirCauseAreComparedOnceForEachPair) {
  const auto twice = [](const HxAny& inner) { return twiceInArray(errorWith(inner)); };
  const Doubling doubling = {
      "errors", [&](const HxAny& inner) {
        return HxAny(HxArray::arrayWithObjects({errorWith(inner), errorWith(inner), twice(inner)}));
      }};
  EXPECT_TRUE(doubled(doubling, 40, probe(1)).isEqual(doubled(doubling, 40, probe(1))));
  EXPECT_LT(Probe::compared, 2000u);
}

// So deep that the hash does not see what is in it.
HxAny farAway(const HxAny& object) {
  HxAny result = object;
  for (int i = 0; i < 50; ++i) result = HxArray::arrayWithObject(result);
  return result;
}

// Makes a comparison remember pairs before it comes to the object.
HxAny afterMuchWork(const HxAny& object) {
  HxMutableArray array = HxMutableArray::array();
  HxMutableArray long1 = HxMutableArray::array();
  for (int i = 0; i < 3000; ++i) long1.addObject("x"_hx);
  array.addObject(long1);
  array.addObject(object);
  return array;
}

// Two candidates for one member. The first is ruled out after a pair in it was taken for equal that
// alone distinguishes the second one.
TEST(SharedContainers, WhatAFailedCandidateTookForEqualDoesNotCountForTheNext) {
  const HxAny p = farAway("p"_hx);
  const HxAny q = farAway("q"_hx);
  ASSERT_EQ(p.hash(), q.hash());
  const HxAny label1 = probe(1);
  const HxAny label2 = probe(2);
  for (const auto& [first, second] : {std::pair(label1, label2), std::pair(label2, label1)}) {
    const HxSet mine = HxSet::initWithObjects(
        {HxArray::arrayWithObjects({p, first}), HxArray::arrayWithObjects({p, second})});
    const HxSet theirs = HxSet::initWithObjects(
        {HxArray::arrayWithObjects({q, first}), HxArray::arrayWithObjects({q, second})});
    const HxSet turned = HxSet::initWithObjects(
        {HxArray::arrayWithObjects({q, second}), HxArray::arrayWithObjects({q, first})});
    EXPECT_FALSE(afterMuchWork(mine).isEqual(afterMuchWork(turned)));
    EXPECT_FALSE(afterMuchWork(mine).isEqual(afterMuchWork(theirs)));
    EXPECT_TRUE(afterMuchWork(mine).isEqual(afterMuchWork(mine.mutableCopy())));
  }
}

// A key of an open class may have no value. No entry of another dictionary is equal to that.
TEST(SharedContainers, AKeyWithoutAValueEqualsNoEntry) {
  for (const HxAny& key : {HxAny("key"_hx), probe(1), farAway("far"_hx)}) {
    const HxDictionary valueless = test::openDictionary({{key, nullptr}});
    const HxDictionary full = HxDictionary::dictionaryWithObject("value"_hx, key);
    EXPECT_FALSE(valueless.isEqual(full)) << key.description().toStdString();
    EXPECT_FALSE(full.isEqual(valueless)) << key.description().toStdString();
    EXPECT_FALSE(afterMuchWork(valueless).isEqual(afterMuchWork(full)));
  }
}

// Two keys count as equal while one candidate is tried, and the values behind them are of the other
// candidate.
TEST(SharedContainers, CandidatesThatShareADictionaryAreToldApart) {
  for (int order = 0; order < 16; ++order) {
    const auto made = [](bool turnsEntries, bool turnsMembers) {
      const HxAny a = farAway("a"_hx);
      const HxAny b = farAway("b"_hx);
      HxMutableDictionary shared = HxMutableDictionary::dictionary();
      shared.setObject(turnsEntries ? "q"_hx : "p"_hx, turnsEntries ? b : a);
      shared.setObject(turnsEntries ? "p"_hx : "q"_hx, turnsEntries ? a : b);
      const HxArray first = HxArray::arrayWithObjects({a, shared});
      const HxArray second = HxArray::arrayWithObjects({b, shared});
      HxMutableSet members = HxMutableSet::set();
      members.addObject(turnsMembers ? second : first);
      members.addObject(turnsMembers ? first : second);
      return afterMuchWork(members);
    };
    EXPECT_TRUE(made(order & 1, order & 2).isEqual(made(order & 4, order & 8))) << order;
  }
}

// Members of one hash at each level, with leaves that differ: every pair is decided once.
TEST(SharedContainers, ForksOfOneHashAreDecidedOnceForEachPair) {
  const auto forked = [](const HxAny& leaf) {
    HxAny result = farAway(leaf);
    for (int i = 0; i < 30; ++i) {
      result = farAway(HxSet::initWithObjects({HxArray::arrayWithObjects({probe(1), result}),
                                               HxArray::arrayWithObjects({probe(2), result})}));
    }
    return result;
  };
  EXPECT_FALSE(forked("a"_hx).isEqual(forked("b"_hx)));
  EXPECT_TRUE(forked("a"_hx).isEqual(forked(HxString(u"a"))));
  EXPECT_LT(Probe::compared, 5000u);
}

TEST(SharedContainers, AComparisonAfterOneThatRaisedKnowsNothingOfIt) {
  class Raising final : public HxObject {
   public:
    bool isEqual(const HxObject&) const override { HxException::raise(HxRangeException, "no"_hx); }
  };
  const HxAny one = afterMuchWork(HxArray::arrayWithObjects({HxArray::array(), probe(1)}));
  const HxAny raising =
      afterMuchWork(HxArray::arrayWithObjects({HxArray::array(), makeRef<Raising>()}));
  const HxAny other =
      afterMuchWork(HxArray::arrayWithObjects({HxArray::array(), makeRef<Raising>()}));
  EXPECT_EQ(raisedBy([&] { (void)raising.isEqual(other); }), HxRangeException);
  EXPECT_FALSE(one.isEqual(afterMuchWork(HxArray::arrayWithObjects({HxArray::array(), probe(2)}))));
}

// The inner comparison raises while pairs that it took for equal still wait.
TEST(SharedContainers, AComparisonThatRaisedInsideAnotherOneLeavesNothingToIt) {
  class Raising final : public HxObject {
   public:
    bool isEqual(const HxObject&) const override { HxException::raise(HxRangeException, "no"_hx); }
  };
  class Catcher final : public HxObject {
   public:
    explicit Catcher(HxAny held) : _held(std::move(held)) {}
    bool isEqual(const HxObject& other) const override {
      try {
        return _held.isEqual(static_cast<const Catcher&>(other)._held);
      } catch (const HxException&) {
        return true;
      }
    }

   private:
    const HxAny _held;
  };
  const auto list = [](const HxAny& far) {
    const HxAny inner = farAway(HxArray::arrayWithObjects({far, makeRef<Raising>()}));
    return afterMuchWork(HxArray::arrayWithObjects({makeRef<Catcher>(inner), far}));
  };
  EXPECT_FALSE(list(farAway("p"_hx)).isEqual(list(farAway("q"_hx))));
}

TEST(SharedContainers, ErrorsNestedTooDeeplyAreNotCompared) {
  HxAny one = "leaf"_hx;
  HxAny other = HxString(u"leaf");
  for (int i = 0; i < 100000; ++i) {
    one = errorWith(one);
    other = errorWith(other);
  }
  EXPECT_EQ(messageOf([&] { (void)one.isEqual(other); }),
            "HxInternalInconsistencyException: -[HxObject isEqual:]: objects are nested too deeply "
            "to be compared");
}

TEST(SharedContainers, AComparisonThatRemembersSurvivesOutOfMemory) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxAny one = doubled(kDoublings[0], 20, "leaf"_hx);
    const HxAny same = doubled(kDoublings[0], 20, HxString(u"leaf"));
    return std::string(one.isEqual(same) ? "equal" : "different");
  }));
}

// ---- Hash ---------------------------------------------------------------------------------------

TEST(SharedContainers, AHashLooksAtABoundedNumberOfObjects) {
  for (const Doubling& doubling : kDoublings) {
    (void)doubled(doubling, 60, probe(1)).hash();
    EXPECT_LE(Probe::hashed, 40u) << doubling.name;
  }
  for (int levels = 0; levels < 12; ++levels) {
    const HxAny tree = doubled(kDoublings[0], levels, probe(1));
    (void)tree.hash();
    EXPECT_LE(Probe::hashed, 40u) << levels;
  }
}

TEST(SharedContainers, KeysThatDifferDeepInsideAreComparedWithFewOthers) {
  constexpr int kCount = 2000;
  for (int levels = 1; levels < 6; ++levels) {
    HxMutableSet keys = HxMutableSet::set();
    (void)probe(0);
    for (int i = 0; i < kCount; ++i) {
      HxAny key = HxArray::arrayWithObjects({HxNumber::numberWithInt(i), makeRef<Probe>(i)});
      for (int level = 0; level < levels; ++level) {
        key = HxArray::arrayWithObjects({"x"_hx, key, HxDictionary::dictionary()});
      }
      keys.addObject(key);
    }
    EXPECT_EQ(keys.count(), HxUInteger{kCount});
    EXPECT_LT(Probe::compared, 50u) << levels;
  }
}

TEST(SharedContainers, LongArraysDeepInsideCountByTheirEnds) {
  const auto deep = [](const HxAny& first, const HxAny& middle, const HxAny& last) {
    HxMutableArray array = HxMutableArray::arrayWithObject(first);
    for (int i = 0; i < 500; ++i) array.addObject("x"_hx);
    array.addObject(middle);
    for (int i = 0; i < 500; ++i) array.addObject("x"_hx);
    array.addObject(last);
    return HxArray::arrayWithObject(HxArray::arrayWithObject(array));
  };
  const HxUInteger hash = deep("a"_hx, "a"_hx, "a"_hx).hash();
  EXPECT_NE(hash, deep("b"_hx, "a"_hx, "a"_hx).hash());
  EXPECT_EQ(hash, deep("a"_hx, "b"_hx, "a"_hx).hash());
  EXPECT_NE(hash, deep("a"_hx, "a"_hx, "b"_hx).hash());
}

// The same objects in containers of other classes, made in another order.
TEST(SharedContainers, EqualContainersOfOtherClassesHashAlikeAtEveryDepth) {
  HxAny one = "leaf"_hx;
  HxAny other = HxString(u"leaf");
  for (int i = 0; i < 12; ++i) {
    const HxAny a = HxArray::arrayWithObjects({one, "x"_hx});
    HxMutableArray b = HxMutableArray::array();
    b.addObject(other);
    b.addObject("x"_hx);
    one = HxDictionary::dictionaryWithEntries(
        {{"1"_hx, a}, {"2"_hx, one}, {"3"_hx, HxSet::initWithObjects({a, one, "y"_hx})}});
    HxMutableDictionary mixed = HxMutableDictionary::dictionary();
    mixed.setObject(HxMutableSet::initWithObjects({"y"_hx, other, openArray({other, "x"_hx})}),
                    "3"_hx);
    mixed.setObject(other, "2"_hx);
    mixed.setObject(b, "1"_hx);
    other = mixed;
    ASSERT_EQ(one.hash(), other.hash()) << i;
  }
  EXPECT_TRUE(one.isEqual(other));
}

// ---- Description --------------------------------------------------------------------------------

TEST(SharedContainers, AContainerInsideItselfIsWrittenAsDots) {
  Cycle cycle;
  cycle.add(cycle.array).add("x"_hx).add(cycle.array);
  EXPECT_EQ(cycle.array.description(), "(\n    ...,\n    x,\n    ...\n)"_hx);
}

TEST(SharedContainers, ACycleThroughAnotherObjectIsWrittenAsDots) {
  Cycle cycle;
  cycle.add(makeRef<Box>(cycle.array)).add(openArray({cycle.array}));
  EXPECT_EQ(cycle.array.description(), "(\n    ...,\n    (\n        ...\n    )\n)"_hx);
}

TEST(SharedContainers, AContainerThatOccursTwiceIsWrittenTwice) {
  EXPECT_EQ(doubled(kDoublings[0], 2, "x"_hx).description(),
            "(\n    (\n        x,\n        x\n    ),\n    (\n        x,\n        x\n    )\n)"_hx);
}

TEST(SharedContainers, AShortDescriptionRepeatsAllContainers) {
  const HxString text = doubled(kDoublings[0], 8, "x"_hx).description();
  EXPECT_EQ(text.rangeOfString("..."_hx).location, HxNotFound);
}

// What objects of the caller's own write of it counts once, however deep it is.
TEST(SharedContainers, TextThatIsWrittenThroughManyObjectsCountsOnce) {
  HxAny nested = HxString(std::string(2000, 'x'));
  for (int i = 0; i < 60; ++i) nested = makeRef<Box>(HxArray::arrayWithObject(nested));
  const HxArray twice = HxArray::arrayWithObject("small"_hx);
  const HxString text = HxArray::arrayWithObjects({nested, twice, twice}).description();
  EXPECT_EQ(text.rangeOfString("..."_hx).location, HxNotFound);
}

TEST(SharedContainers, TheDescriptionOfSharedContainersIsBounded) {
  for (const Doubling& doubling : kDoublings) {
    const HxString text = doubled(doubling, 60, probe(1)).description();
    EXPECT_LT(text.length(), 1000000u) << doubling.name;
    EXPECT_LT(Probe::described, 20000u) << doubling.name;
    EXPECT_NE(text.rangeOfString("..."_hx).location, HxNotFound) << doubling.name;
  }
}

TEST(SharedContainers, ContainersThatOccurOnceAreWrittenHoweverLongTheText) {
  constexpr int kCount = 20000;
  HxMutableArray array = HxMutableArray::array();
  (void)probe(0);
  for (int i = 0; i < kCount; ++i) {
    array.addObject(HxArray::arrayWithObjects({"some words"_hx, makeRef<Probe>(i)}));
  }
  EXPECT_EQ(array.description().rangeOfString("..."_hx).location, HxNotFound);
  EXPECT_EQ(Probe::described, std::size_t{kCount});
}

TEST(SharedContainers, BoxesNestedDeeplyEndAtTheBoundOfLevels) {
  HxAny nested = "leaf"_hx;
  for (int i = 0; i < 100000; ++i) nested = makeRef<Box>(HxArray::arrayWithObject(nested));
  const HxString text = nested.description();
  EXPECT_NE(text.rangeOfString("..."_hx).location, HxNotFound);
  EXPECT_LT(text.length(), 100000u);
}

TEST(SharedContainers, ADescriptionAfterOneThatRaisedIsWhole) {
  class Raising final : public HxObject {
   public:
    HxString description() const override { HxException::raise(HxRangeException, "no"_hx); }
  };
  Cycle array;
  array.add(makeRef<Raising>());
  EXPECT_EQ(raisedBy([&] { (void)array.array.description(); }), HxRangeException);
  array.array.replaceObjectAtIndex(0, "x"_hx);
  EXPECT_EQ(array.array.description(), "(\n    x\n)"_hx);
}

}  // namespace
}  // namespace rondel::test
