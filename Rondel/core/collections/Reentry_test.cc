// SPDX-License-Identifier: MIT
//
// Objects that change the collection which asks them for equality, a hash or a description, and
// keys without a copy.
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "Rondel/additions/Quoting.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/Raised.h"

namespace rondel::test {
namespace {

// Does something whenever it is asked for a description or compared. Equal to nothing else.
class Meddler final : public HxObject {
 public:
  explicit Meddler(std::function<void()> meddle) : _meddle(std::move(meddle)) {}
  bool isEqual(const HxObject&) const override {
    _meddle();
    return false;
  }
  HxUInteger hash() const override { return 1; }
  HxString description() const override {
    _meddle();
    return "meddler"_hx;
  }

 private:
  std::function<void()> _meddle;
};

// An array of two objects, the first of which does this to it.
template <class Meddle>
HxMutableArray arrayWithMeddler(Meddle meddle) {
  HxMutableArray array = HxMutableArray::array();
  HxArrayObject* const unowned = static_cast<HxArrayObject*>(array.object());
  array.addObject(makeRef<Meddler>(
      [unowned, meddle] { meddle(as<HxMutableArray>(HxAny(static_cast<HxObject*>(unowned)))); }));
  array.addObject("last"_hx.mutableCopy());
  return array;
}

void empty(HxMutableArray array) { array.removeAllObjects(); }
void fill(HxMutableArray array) {
  for (int i = 0; i < 100; ++i) array.addObject("more"_hx);
}

TEST(Reentry, ASearchEndsWithAnArrayThatIsEmptiedMeanwhile) {
  EXPECT_EQ(arrayWithMeddler(empty).indexOfObject("last"_hx), HxNotFound);
}

TEST(Reentry, ASearchFindsWhatIsAddedMeanwhile) {
  EXPECT_EQ(arrayWithMeddler(fill).indexOfObject("more"_hx), 2U);
}

TEST(Reentry, ADescriptionTakesTheArrayAsItIsAtEachObject) {
  EXPECT_EQ(arrayWithMeddler(empty).description(), "(\n    meddler\n)"_hx);
  EXPECT_TRUE(arrayWithMeddler(fill).description().hasSuffix("more\n)"_hx));
}

TEST(Reentry, AJoinTakesTheArrayAsItWas) {
  EXPECT_EQ(arrayWithMeddler(empty).componentsJoinedByString("-"_hx), "meddler-last"_hx);
  EXPECT_EQ(arrayWithMeddler(fill).componentsJoinedByString("-"_hx), "meddler-last"_hx);
}

TEST(Reentry, ACommandLineTakesTheArrayAsItWas) {
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(arrayWithMeddler(fill)),
            "meddler last"_hx);
}

TEST(Reentry, AComparisonEndsWithAnArrayThatChangesMeanwhile) {
  const HxArray others = HxArray::arrayWithObjects({HxMutableArray::array(), "last"_hx});
  EXPECT_FALSE(arrayWithMeddler(empty).isEqual(others));
  EXPECT_FALSE(arrayWithMeddler(fill).isEqual(others));
}

TEST(Reentry, ADescriptionOfASetSurvivesItsChange) {
  HxMutableSet set = HxMutableSet::set();
  HxObject* const unowned = set.object();
  set.addObject(makeRef<Meddler>([unowned] {
    HxMutableSet changed = as<HxMutableSet>(HxAny(unowned));
    for (const HxString& word : {"a"_hx, "b"_hx, "c"_hx, "d"_hx, "e"_hx, "f"_hx, "g"_hx, "h"_hx}) {
      changed.addObject(word);
    }
  }));
  EXPECT_EQ(set.description(), "{(\n    meddler\n)}"_hx);
}

// ---- Members and keys that change their collection ----------------------------------------------

// A set of one object that does this to it when it is compared with another of its hash.
template <class Meddle>
HxMutableSet setWithMeddler(Meddle meddle) {
  HxMutableSet set = HxMutableSet::set();
  HxObject* const unowned = set.object();
  set.addObject(makeRef<Meddler>([unowned, meddle] { meddle(as<HxMutableSet>(HxAny(unowned))); }));
  return set;
}

HxAny likeAMeddler() {
  return makeRef<Meddler>([] {});
}
void emptySet(HxMutableSet set) { set.removeAllObjects(); }
void fillSet(HxMutableSet set) {
  for (int i = 0; i < 100; ++i) set.addObject(HxString::stringWithFormat("%d"_hx, i));
}

TEST(Reentry, ALookUpRaisesIfAMemberChangesTheSet) {
  for (const auto meddle : {emptySet, fillSet}) {
    const HxAny other = likeAMeddler();
    EXPECT_EQ(raisedBy([&] { (void)setWithMeddler(meddle).containsObject(other); }),
              HxInternalInconsistencyException);
    EXPECT_EQ(raisedBy([&] { setWithMeddler(meddle).addObject(other); }),
              HxInternalInconsistencyException);
    EXPECT_EQ(raisedBy([&] { setWithMeddler(meddle).removeObject(other); }),
              HxInternalInconsistencyException);
    EXPECT_EQ(
        raisedBy([&] { (void)HxSet::initWithObjects({other}).isEqual(setWithMeddler(meddle)); }),
        HxInternalInconsistencyException);
  }
}

TEST(Reentry, ASetIsWholeAfterAMemberChangedItInALookUp) {
  HxMutableSet set = setWithMeddler(fillSet);
  EXPECT_EQ(raisedBy([&] { set.addObject(likeAMeddler()); }), HxInternalInconsistencyException);
  EXPECT_EQ(set.count(), 101U);
  EXPECT_TRUE(set.containsObject("99"_hx));
}

TEST(Reentry, ALookUpRaisesIfAKeyChangesTheDictionary) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  HxObject* const unowned = dictionary.object();
  dictionary.setObject("value"_hx, makeRef<Meddler>([unowned] {
                         as<HxMutableDictionary>(HxAny(unowned)).removeAllObjects();
                       }));
  EXPECT_EQ(raisedBy([&] { (void)dictionary.objectForKey(likeAMeddler()); }),
            HxInternalInconsistencyException);
  EXPECT_TRUE(dictionary.isEmpty());
}

// An object that does something whenever it is hashed.
class HashMeddler final : public HxObject {
 public:
  explicit HashMeddler(std::function<void()> meddle) : _meddle(std::move(meddle)) {}
  HxUInteger hash() const override {
    _meddle();
    return 1;
  }

 private:
  std::function<void()> _meddle;
};

TEST(Reentry, ALookUpEndsWithASetThatTheHashEmpties) {
  HxMutableSet set = HxMutableSet::initWithObjects({"a"_hx, "b"_hx});
  const HxAny key = makeRef<HashMeddler>([&] { set.removeAllObjects(); });
  EXPECT_FALSE(set.containsObject(key));
  set.addObject("a"_hx);
  set.removeObject(key);
  EXPECT_TRUE(set.isEmpty());
  set.addObject("a"_hx);
  set.addObject(key);
  EXPECT_EQ(set.count(), 1U);
}

TEST(Reentry, AHashRaisesIfAMemberChangesTheSet) {
  HxMutableSet set = HxMutableSet::set();
  bool meddles = false;
  set.addObject(makeRef<HashMeddler>([&] {
    if (meddles) fillSet(set);
  }));
  meddles = true;
  EXPECT_EQ(raisedBy([&] { (void)set.hash(); }), HxInternalInconsistencyException);
  set.removeAllObjects();
}

TEST(Reentry, EntriesThatChangeTheirDictionaryWhileTheyAreAddedRaise) {
  HxMutableDictionary source = HxMutableDictionary::dictionary();
  bool meddles = false;
  source.setObject("value"_hx, makeRef<HashMeddler>([&] {
                     if (meddles) source.removeAllObjects();
                   }));
  HxMutableDictionary target = HxMutableDictionary::dictionaryWithObject("x"_hx, "x"_hx);
  meddles = true;
  EXPECT_EQ(raisedBy([&] { target.addEntriesFromDictionary(source); }),
            HxInternalInconsistencyException);
}

TEST(Reentry, ASetOfAnArrayTakesItAsItIsAtEachObject) {
  for (const auto meddle : {empty, fill}) {
    HxMutableArray array = HxMutableArray::array();
    array.addObject(likeAMeddler());
    array.addObject(makeRef<HashMeddler>([&] { meddle(array); }));
    const HxSet set = HxSet::initWithArray(array);
    EXPECT_EQ(set.count(), meddle == empty ? 2U : 3U);
    array.removeAllObjects();
  }
}

TEST(Reentry, AKeyThatCopiesToNilSetsNothing) {
  class Shy final : public HxObject {
   public:
    HxAny copy() const override { return nullptr; }
  };
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  dictionary.setObject("value"_hx, makeRef<Shy>());
  EXPECT_TRUE(dictionary.isEmpty());
}

}  // namespace
}  // namespace rondel::test
