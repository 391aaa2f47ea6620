// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Array.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Collections.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::messageOf;
using test::openArray;
using test::openString;
using test::shown;

HxNumber number(int value) { return HxNumber::numberWithInt(value); }

HxMutableIndexSet indexes(std::initializer_list<HxUInteger> values) {
  HxMutableIndexSet result = HxMutableIndexSet::indexSet();
  for (HxUInteger value : values) result.addIndex(value);
  return result;
}

std::string joined(const HxArray& array) {
  return array.componentsJoinedByString(" "_hx).toStdString();
}

// ---- Every kind of array ----------------------------------------------------------------------

// The same operations return the same answers, whatever the class of the array.
struct BuiltIn {
  static HxArray make(std::vector<HxAny> objects) {
    return HxArray::arrayWithObjects(objects.data(), objects.size());
  }
};
struct Mutable {
  static HxArray make(std::vector<HxAny> objects) {
    return HxMutableArray::arrayWithObjects(objects.data(), objects.size());
  }
};
struct PrimitivesAlone {
  static HxArray make(std::vector<HxAny> objects) { return openArray(std::move(objects)); }
};

template <class Kind>
class AnyArray : public testing::Test {
 protected:
  HxArray empty = Kind::make({});
  HxArray abc = Kind::make({"a"_hx, "b"_hx, "c"_hx});
};
using Kinds = testing::Types<BuiltIn, Mutable, PrimitivesAlone>;
TYPED_TEST_SUITE(AnyArray, Kinds);

TYPED_TEST(AnyArray, CountsItsObjects) {
  EXPECT_EQ(this->abc.count(), 3U);
  EXPECT_FALSE(this->abc.isEmpty());
  EXPECT_EQ(this->empty.count(), 0U);
  EXPECT_TRUE(this->empty.isEmpty());
}

TYPED_TEST(AnyArray, GivesTheObjectAtAnIndex) {
  EXPECT_EQ(this->abc.template objectAtIndex<HxString>(1), "b"_hx);
  EXPECT_EQ(this->abc.objectAtIndex(2), HxAny("c"_hx));
}

TYPED_TEST(AnyArray, GivesNilForAnObjectOfAnotherKind) {
  EXPECT_TRUE(this->abc.template objectAtIndex<HxNumber>(0).isNil());
}

TYPED_TEST(AnyArray, RaisesForAnIndexBeyondTheEnd) {
  EXPECT_EQ(messageOf([&] { this->abc.objectAtIndex(3); }),
            "HxRangeException: -[HxArray objectAtIndex:]: index 3 beyond the end, 3");
  EXPECT_EQ(messageOf([&] { this->empty.objectAtIndex(0); }),
            "HxRangeException: -[HxArray objectAtIndex:]: index 0 beyond the end, 0");
}

TYPED_TEST(AnyArray, HasAFirstAndALastObjectUnlessEmpty) {
  EXPECT_EQ(shown(this->abc.firstObject()), "a");
  EXPECT_EQ(shown(this->abc.lastObject()), "c");
  EXPECT_TRUE(this->empty.firstObject().isNil());
  EXPECT_TRUE(this->empty.lastObject().isNil());
}

TYPED_TEST(AnyArray, FindsTheFirstEqualObject) {
  const HxArray array = TypeParam::make({"x"_hx, number(1), "y"_hx, "x"_hx});
  EXPECT_EQ(array.indexOfObject(HxString(std::string_view("x"))), 0U);
  EXPECT_EQ(array.indexOfObject(openString(u"y")), 2U);
  EXPECT_EQ(array.indexOfObject(HxNumber::numberWithDouble(1)), 1U);
  EXPECT_TRUE(array.containsObject("y"_hx));
}

TYPED_TEST(AnyArray, FindsNothingThatIsNotThere) {
  EXPECT_EQ(this->abc.indexOfObject("d"_hx), HxNotFound);
  EXPECT_EQ(this->abc.indexOfObject(nullptr), HxNotFound);
  EXPECT_FALSE(this->abc.containsObject(number(1)));
  EXPECT_FALSE(this->abc.containsObject(nullptr));
}

TYPED_TEST(AnyArray, CopiesItsObjectsToABuffer) {
  HxAny all[3];
  this->abc.getObjects(all);
  EXPECT_EQ(shown(all[0]) + shown(all[1]) + shown(all[2]), "abc");
  HxAny some[2];
  this->abc.getObjects(some, {1, 2});
  EXPECT_EQ(shown(some[0]) + shown(some[1]), "bc");
  EXPECT_EQ(messageOf([&] {
              this->abc.getObjects(some, {2, 2});
            }),
            "HxRangeException: -[HxArray getObjects:range:]: range {2, 2} beyond the end, 3");
}

TYPED_TEST(AnyArray, GivesTheObjectsOfARange) {
  EXPECT_EQ(joined(this->abc.subarrayWithRange({1, 2})), "b c");
  EXPECT_EQ(this->abc.subarrayWithRange({3, 0}).count(), 0U);
  EXPECT_EQ(messageOf([&] {
              this->abc.subarrayWithRange({1, HxNotFound * 2});
            }),
            "HxRangeException: -[HxArray subarrayWithRange:]: range {1, 18446744073709551614} "
            "beyond the end, 3");
}

TYPED_TEST(AnyArray, GivesTheObjectsAtIndexes) {
  EXPECT_EQ(joined(this->abc.objectsAtIndexes(indexes({2, 0}))), "a c");
  EXPECT_EQ(this->abc.objectsAtIndexes(indexes({})).count(), 0U);
  EXPECT_EQ(this->abc.objectsAtIndexes(nullptr).count(), 0U);
  EXPECT_EQ(messageOf([&] {
              this->abc.objectsAtIndexes(indexes({0, 3}));
            }),
            "HxRangeException: -[HxArray objectsAtIndexes:]: index 3 beyond the end, 3");
}

TYPED_TEST(AnyArray, IsExtendedInANewArray) {
  EXPECT_EQ(joined(this->abc.arrayByAddingObject("d"_hx)), "a b c d");
  EXPECT_EQ(joined(this->abc.arrayByAddingObjectsFromArray(this->abc)), "a b c a b c");
  EXPECT_EQ(joined(this->abc.arrayByAddingObject(nullptr)), "a b c");
  EXPECT_EQ(joined(this->abc.arrayByAddingObjectsFromArray(nullptr)), "a b c");
  EXPECT_EQ(this->abc.count(), 3U);
}

TYPED_TEST(AnyArray, JoinsDescriptionsWithASeparator) {
  const HxArray array = TypeParam::make({"a"_hx, number(-7), "\u00E9"_hx});
  EXPECT_EQ(shown(array.componentsJoinedByString(", "_hx)), "a, -7, \u00E9");
  EXPECT_EQ(shown(array.componentsJoinedByString(nullptr)), "a-7\u00E9");
  EXPECT_EQ(shown(this->empty.componentsJoinedByString(","_hx)), "");
  EXPECT_EQ(shown(TypeParam::make({"one"_hx}).componentsJoinedByString(","_hx)), "one");
}

TYPED_TEST(AnyArray, SortsByAnOperationCalledByName) {
  const HxArray array = TypeParam::make({"pear"_hx, "apple"_hx, openString(u"fig"), "Zebra"_hx});
  EXPECT_EQ(joined(array.sortedArrayUsingSelector(HxSelector("compare:"))), "Zebra apple fig pear");
  const HxArray numbers = TypeParam::make({number(3), HxNumber::numberWithDouble(2.5), number(-1)});
  EXPECT_EQ(joined(numbers.sortedArrayUsingSelector(HxSelector("compare:"))), "-1 2.5 3");
}

TYPED_TEST(AnyArray, RaisesWhenItsObjectsCannotBeSortedSo) {
  EXPECT_EQ(messageOf([&] {
              return this->abc.sortedArrayUsingSelector(HxSelector("compareByColour:"));
            }).substr(0, 27),
            "HxInvalidArgumentException:");
  EXPECT_EQ(this->empty.sortedArrayUsingSelector(HxSelector("compareByColour:")).count(), 0U);
}

TYPED_TEST(AnyArray, IsLoopedOverInOrder) {
  std::string text;
  for (const HxAny& object : this->abc) text += shown(object);
  EXPECT_EQ(text, "abc");
  for (const HxAny& object : this->empty) FAIL() << shown(object);
}

TYPED_TEST(AnyArray, EqualsAnArrayOfEqualObjectsOfAnyKind) {
  const std::vector<HxAny> objects = {"a"_hx, openString(u"b"), "c"_hx};
  for (const HxArray& other :
       {BuiltIn::make(objects), Mutable::make(objects), PrimitivesAlone::make(objects)}) {
    EXPECT_TRUE(this->abc.isEqualToArray(other));
    EXPECT_TRUE(other.isEqual(this->abc));
    EXPECT_EQ(this->abc.hash(), other.hash());
  }
}

TYPED_TEST(AnyArray, DiffersFromOtherArraysAndOtherObjects) {
  EXPECT_FALSE(this->abc.isEqual(TypeParam::make({"a"_hx, "b"_hx})));
  EXPECT_FALSE(this->abc.isEqual(TypeParam::make({"a"_hx, "c"_hx, "b"_hx})));
  EXPECT_FALSE(this->abc.isEqual("abc"_hx));
  EXPECT_FALSE(this->abc.isEqual(nullptr));
}

TYPED_TEST(AnyArray, DescribesItsObjectsALineEach) {
  EXPECT_EQ(shown(this->abc), "(\n    a,\n    b,\n    c\n)");
  EXPECT_EQ(shown(this->empty), "(\n)");
  EXPECT_EQ(shown(TypeParam::make({TypeParam::make({"x"_hx}), "y"_hx})),
            "(\n    (\n        x\n    ),\n    y\n)");
}

TYPED_TEST(AnyArray, HasAnImmutableCopyOfTheSameObjects) {
  const HxArray copy = this->abc.copy();
  EXPECT_EQ(joined(copy), "a b c");
  EXPECT_TRUE(as<HxMutableArray>(copy).isNil());
  EXPECT_EQ(copy.copy().object(), copy.object());
  EXPECT_EQ(joined(HxArray::arrayWithArray(this->abc)), "a b c");
}

TYPED_TEST(AnyArray, HasANewMutableCopy) {
  HxMutableArray copy = this->abc.mutableCopy();
  copy.addObject("d"_hx);
  EXPECT_EQ(joined(copy), "a b c d");
  EXPECT_EQ(joined(this->abc), "a b c");
  EXPECT_NE(copy.mutableCopy().object(), copy.object());
}

TYPED_TEST(AnyArray, AnswersTheQuestionsOfItsKind) {
  EXPECT_TRUE(this->abc.isKindOfClass(HxArrayObject::classObject()));
  EXPECT_EQ(HcGetTypeID(this->abc), HcArrayGetTypeID());
  EXPECT_EQ(as<HxArray>(HxAny(this->abc)).count(), 3U);
  EXPECT_TRUE(as<HxDictionary>(HxAny(this->abc)).isNil());
}

TYPED_TEST(AnyArray, IsAppendedToAMutableArray) {
  HxMutableArray array = HxMutableArray::arrayWithObject("z"_hx);
  array.addObjectsFromArray(this->abc);
  EXPECT_EQ(joined(array), "z a b c");
  array.insertObjects(this->abc, indexes({0, 2, 6}));
  EXPECT_EQ(joined(array), "a z b a b c c");
}

// An object that keeps what it was called with.
class Listener final : public HxObject {
 public:
  static HxClass classObject() noexcept {
    static constexpr HxMethod kMethods[] = {{"hear:", [](HxObject& self, const HxHandle& word) {
                                               static_cast<Listener&>(self).heard += shown(word);
                                               return HxAny();
                                             }}};
    static const HxClassInfo info{"Listener", HxObject::classObject().info(), nullptr, kMethods, 1};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
  std::string heard;
};

TYPED_TEST(AnyArray, CallsAnOperationOnEachObject) {
  const auto first = makeRef<Listener>();
  const auto second = makeRef<Listener>();
  const HxArray array = TypeParam::make({first, second, first});
  array.makeObjectsPerformSelector(HxSelector("hear:"), "x"_hx);
  array.makeObjectsPerformSelector(HxSelector("hear:"));
  EXPECT_EQ(first->heard, "xxnilnil");
  EXPECT_EQ(second->heard, "xnil");
}

// ---- Making arrays ----------------------------------------------------------------------------

TEST(Array, OfAListLeavesNilsOut) {
  EXPECT_EQ(joined(HxArray::arrayWithObjects({"a"_hx, "b"_hx, nullptr, "c"_hx})), "a b c");
  EXPECT_EQ(joined(HxArray::initWithObjects({"a"_hx})), "a");
  EXPECT_EQ(HxArray::arrayWithObjects({nullptr}).count(), 0U);
  EXPECT_EQ(joined(HxMutableArray::arrayWithObjects({"a"_hx, nullptr, "c"_hx})), "a c");
}

TEST(Array, OfABufferLeavesNilOut) {
  const HxAny objects[] = {"a"_hx, nullptr, "c"_hx};
  EXPECT_EQ(joined(HxArray::arrayWithObjects(objects, 3)), "a c");
  EXPECT_EQ(joined(HxArray::initWithObjects(objects, 1)), "a");
  EXPECT_EQ(HxArray::arrayWithObjects(nullptr, 0).count(), 0U);
  EXPECT_EQ(HxArray::initWithObjects(nullptr, 3).count(), 0U);
  EXPECT_EQ(joined(HxMutableArray::initWithObjects(objects, 3)), "a c");
  EXPECT_EQ(HxMutableArray::arrayWithObjects(nullptr, 3).count(), 0U);
}

TEST(MutableArray, IsMadeOfAListAsWell) {
  HxMutableArray array = HxMutableArray::initWithObjects({"a"_hx, "b"_hx, nullptr, "c"_hx});
  array.addObject("d"_hx);
  EXPECT_EQ(joined(array), "a b c d");
}

TEST(Array, OfNilIsEmpty) {
  EXPECT_EQ(HxArray::arrayWithObject(nullptr).count(), 0U);
  EXPECT_FALSE(HxArray::arrayWithArray(nullptr).isNil());
  EXPECT_FALSE(HxMutableArray::initWithArray(nullptr).isNil());
  EXPECT_EQ(HxMutableArray::arrayWithObject(nullptr).count(), 0U);
}

TEST(Array, EmptyOnesCostNothing) {
  HxArray::array();
  const AllocationCounter counter;
  EXPECT_EQ(HxArray::array().count(), 0U);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(Array, OfKnownSizeIsOneAllocation) {
  const AllocationCounter counter;
  const HxArray array = HxArray::arrayWithObjects({"a"_hx, "b"_hx, "c"_hx});
  EXPECT_EQ(counter.count(), 1U);
}

TEST(Array, LoopsAndLookUpsTakeNothingFromTheHeap) {
  const HxArray array = HxArray::arrayWithObjects({"a"_hx, "b"_hx, "c"_hx});
  const AllocationCounter counter;
  HxUInteger length = 0;
  for (const HxAny& object : array) length += as<HxString>(object).length();
  EXPECT_EQ(array.objectAtIndex<HxString>(2), "c"_hx);
  EXPECT_EQ(array.indexOfObject("b"_hx), 1U);
  EXPECT_EQ(length, 3U);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(Array, AnyCapacityIsFineAsAdvice) {
  for (HxMutableArray array :
       {HxMutableArray::initWithCapacity(~HxUInteger{0}), HxMutableArray::arrayWithCapacity(0)}) {
    array.addObject("a"_hx);
    EXPECT_EQ(joined(array), "a");
  }
}

TEST(Array, RoomForTheCapacityIsTakenAtOnce) {
  const HxString word = "a"_hx;
  HxMutableArray array = HxMutableArray::arrayWithCapacity(1000);
  const AllocationCounter counter;
  for (int i = 0; i < 1000; ++i) array.addObject(word);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(Array, CanBeMadeByItsClass) {
  EXPECT_EQ(HxString(HxStringFromClass(HxArrayObject::classObject())), "HxArray"_hx);
  EXPECT_EQ(as<HxArray>(HxArrayObject::classObject().make()).count(), 0U);
  const HxClass mutableClass = HxMutableArray::array().hxClass();
  EXPECT_STREQ(mutableClass.name(), "HxMutableArray");
  EXPECT_TRUE(mutableClass.isSubclassOfClass(HxArrayObject::classObject()));
  EXPECT_FALSE(as<HxMutableArray>(mutableClass.make()).isNil());
}

// ---- Mutable arrays ---------------------------------------------------------------------------

TEST(MutableArray, GrowsAsObjectsAreAdded) {
  HxMutableArray array = HxMutableArray::array();
  for (int i = 0; i < 1000; ++i) array.addObject(number(i));
  EXPECT_EQ(array.count(), 1000U);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(array.objectAtIndex<HxNumber>(static_cast<HxUInteger>(i)).intValue(), i);
  }
}

TEST(MutableArray, IsSharedByItsHandles) {
  HxMutableArray array = HxMutableArray::array();
  const HxArray other = array;
  array.addObject("a"_hx);
  EXPECT_EQ(other.count(), 1U);
}

TEST(MutableArray, NeverHoldsNil) {
  HxMutableArray array = HxMutableArray::arrayWithObject("a"_hx);
  array.addObject(nullptr);
  array.insertObject(nullptr, 0);
  array.replaceObjectAtIndex(0, nullptr);
  array.addObjectsFromArray(nullptr);
  EXPECT_EQ(joined(array), "a");
}

TEST(MutableArray, TakesItsOwnObjects) {
  HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx});
  for (int i = 0; i < 5; ++i) array.addObjectsFromArray(array);
  EXPECT_EQ(array.count(), 64U);
  array.removeAllObjects();
  array.addObject("x"_hx);
  for (int i = 0; i < 20; ++i) array.addObject(*array.begin());
  EXPECT_EQ(array.count(), 21U);
  array.insertObjects(array, HxIndexSet::indexSetWithIndexesInRange({21, 21}));
  EXPECT_EQ(array.count(), 42U);
}

TEST(MutableArray, InsertsAtAnyIndexUpToTheEnd) {
  HxMutableArray array = HxMutableArray::array();
  array.insertObject("b"_hx, 0);
  array.insertObject("a"_hx, 0);
  array.insertObject("d"_hx, 2);
  array.insertObject("c"_hx, 2);
  EXPECT_EQ(joined(array), "a b c d");
  EXPECT_EQ(messageOf([&] { array.insertObject("x"_hx, 5); }),
            "HxRangeException: -[HxMutableArray insertObject:atIndex:]: index 5 beyond the end, 5");
}

TEST(MutableArray, InsertsObjectsAtTheIndexesThatTheyHaveAfterwards) {
  struct Case {
    std::initializer_list<HxUInteger> at;
    const char* result;
  };
  for (const Case& test :
       {Case{{0, 1}, "x y a b c"}, Case{{0, 4}, "x a b c y"}, Case{{3, 4}, "a b c x y"},
        Case{{1, 3}, "a x b y c"}, Case{{1, 2}, "a x y b c"}}) {
    HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx, "c"_hx});
    array.insertObjects(HxArray::arrayWithObjects({"x"_hx, "y"_hx}), indexes(test.at));
    EXPECT_EQ(joined(array), test.result);
  }
}

TEST(MutableArray, InsertsNothingAtIndexesThatDoNotFit) {
  HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx});
  const HxArray two = HxArray::arrayWithObjects({"x"_hx, "y"_hx});
  EXPECT_EQ(messageOf([&] {
              array.insertObjects(two, indexes({0, 4}));
            }),
            "HxRangeException: -[HxMutableArray insertObjects:atIndexes:]: index 4 beyond the end, "
            "4");
  EXPECT_EQ(messageOf([&] { array.insertObjects(two, indexes({0})); }),
            "HxInvalidArgumentException: -[HxMutableArray insertObjects:atIndexes:]: 2 objects, 1 "
            "indexes");
  array.insertObjects(nullptr, nullptr);
  EXPECT_EQ(joined(array), "a b");
}

TEST(MutableArray, ReplacesAndRemovesByIndex) {
  HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx, "c"_hx, "d"_hx});
  array.replaceObjectAtIndex(1, "B"_hx);
  array.removeObjectAtIndex(2);
  EXPECT_EQ(joined(array), "a B d");
  array.removeLastObject();
  EXPECT_EQ(joined(array), "a B");
  EXPECT_EQ(messageOf([&] { array.removeObjectAtIndex(2); }),
            "HxRangeException: -[HxMutableArray removeObjectAtIndex:]: index 2 beyond the end, 2");
  EXPECT_EQ(messageOf([&] { array.replaceObjectAtIndex(2, "x"_hx); }),
            "HxRangeException: -[HxMutableArray replaceObjectAtIndex:withObject:]: index 2 beyond "
            "the end, 2");
}

TEST(MutableArray, RemovingTheLastOfNoObjectsDoesNothing) {
  HxMutableArray array = HxMutableArray::array();
  array.removeLastObject();
  EXPECT_EQ(array.count(), 0U);
}

TEST(MutableArray, RemovesObjectsAtIndexes) {
  struct Case {
    std::initializer_list<HxUInteger> at;
    const char* result;
  };
  for (const Case& test :
       {Case{{}, "a b c d e"}, Case{{0}, "b c d e"}, Case{{4}, "a b c d"}, Case{{0, 2, 4}, "b d"},
        Case{{1, 2, 3}, "a e"}, Case{{0, 1, 2, 3, 4}, ""}}) {
    HxMutableArray array =
        HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx, "c"_hx, "d"_hx, "e"_hx});
    array.removeObjectsAtIndexes(indexes(test.at));
    EXPECT_EQ(joined(array), test.result);
  }
}

TEST(MutableArray, RemovesNothingWhenOneIndexDoesNotFit) {
  HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx});
  EXPECT_EQ(messageOf([&] {
              array.removeObjectsAtIndexes(indexes({0, 2}));
            }),
            "HxRangeException: -[HxMutableArray removeObjectsAtIndexes:]: index 2 beyond the end, "
            "2");
  EXPECT_EQ(array.count(), 2U);
}

TEST(MutableArray, CanBeFilledAgainAfterItWasEmptied) {
  HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx, "b"_hx});
  array.removeAllObjects();
  EXPECT_EQ(array.count(), 0U);
  array.addObject("c"_hx);
  EXPECT_EQ(joined(array), "c");
}

TEST(MutableArray, LetsGoOfWhatItRemoves) {
  const auto object = makeRef<Listener>();
  HxMutableArray array = HxMutableArray::arrayWithObjects({object, object, object, object});
  array.removeObjectAtIndex(0);
  array.removeLastObject();
  array.replaceObjectAtIndex(0, "x"_hx);
  array.removeObjectsAtIndexes(indexes({1}));
  EXPECT_TRUE(object->isUniquelyReferenced());
}

// Orders by the last digit, and refuses number 13.
class Digit final : public HxObject {
 public:
  explicit Digit(int value) : _value(value) {}
  static HxClass classObject() noexcept {
    static constexpr HxMethod kMethods[] = {
        {"compareDigit:", [](HxObject& self, const HxHandle& other) -> HxAny {
           const int a = static_cast<Digit&>(self)._value;
           const int b = asRef<Digit>(other)->_value;
           if (a == 13 || b == 13) throw std::runtime_error("thirteen");
           return HxNumber::numberWithInt(a % 10 - b % 10);
         }}};
    static const HxClassInfo info{"Digit", HxObject::classObject().info(), nullptr, kMethods, 1};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
  HxString description() const override { return HxNumber::numberWithInt(_value).stringValue(); }

 private:
  int _value;
};

TEST(MutableArray, SortsStably) {
  HxMutableArray array = HxMutableArray::array();
  for (int value : {31, 2, 11, 22, 1, 12}) array.addObject(makeRef<Digit>(value));
  array.sortUsingSelector(HxSelector("compareDigit:"));
  EXPECT_EQ(joined(array), "31 11 1 2 22 12");
}

TEST(MutableArray, StaysAsItWasWhenTheComparatorRaises) {
  HxMutableArray array = HxMutableArray::array();
  for (int value : {3, 2, 13, 1}) array.addObject(makeRef<Digit>(value));
  EXPECT_THROW(array.sortUsingSelector(HxSelector("compareDigit:")), std::runtime_error);
  EXPECT_EQ(joined(array), "3 2 13 1");
}

// ---- Nil --------------------------------------------------------------------------------------

TEST(Array, NilAnswersZeroToEverything) {
  const HxArray array;
  HxAny buffer[1];
  EXPECT_EQ(array.count(), 0U);
  EXPECT_TRUE(array.isEmpty());
  EXPECT_TRUE(array.objectAtIndex(5).isNil());
  EXPECT_TRUE(array.objectAtIndex<HxString>(5).isNil());
  EXPECT_TRUE(array.firstObject().isNil());
  EXPECT_TRUE(array.lastObject().isNil());
  EXPECT_FALSE(array.containsObject("a"_hx));
  EXPECT_EQ(array.indexOfObject("a"_hx), HxNotFound);
  array.getObjects(buffer);
  array.getObjects(buffer, {3, 4});
  EXPECT_TRUE(buffer[0].isNil());
  EXPECT_TRUE(array.subarrayWithRange({1, 2}).isNil());
  EXPECT_TRUE(array.objectsAtIndexes(indexes({1})).isNil());
  EXPECT_TRUE(array.arrayByAddingObject("a"_hx).isNil());
  EXPECT_TRUE(array.arrayByAddingObjectsFromArray(HxArray::array()).isNil());
  EXPECT_TRUE(array.componentsJoinedByString(","_hx).isNil());
  EXPECT_TRUE(array.sortedArrayUsingSelector(HxSelector("compare:")).isNil());
  EXPECT_FALSE(array.isEqualToArray(array));
  array.makeObjectsPerformSelector(HxSelector("x"));
  array.makeObjectsPerformSelector(HxSelector("x:"), nullptr);
  EXPECT_TRUE(array.copy().isNil());
  EXPECT_TRUE(array.mutableCopy().isNil());
  EXPECT_TRUE(array.description().isNil());
  EXPECT_EQ(array.hash(), 0U);
  EXPECT_TRUE(array.begin() == array.end());
}

TEST(MutableArray, NilIsLeftAloneByEverything) {
  HxMutableArray array = nullptr;
  array.addObject("a"_hx);
  array.addObjectsFromArray(HxArray::arrayWithObject("a"_hx));
  array.insertObject("a"_hx, 7);
  array.insertObjects(HxArray::arrayWithObject("a"_hx), nullptr);
  array.replaceObjectAtIndex(7, "a"_hx);
  array.removeObjectAtIndex(7);
  array.removeLastObject();
  array.removeAllObjects();
  array.removeObjectsAtIndexes(indexes({7}));
  array.sortUsingSelector(HxSelector("compare:"));
  EXPECT_TRUE(array.isNil());
}

// ---- Deep nesting -----------------------------------------------------------------------------

TEST(Array, NestedDeeplyIsDroppedWithoutDeepRecursion) {
  constexpr int kDepth = 100000;
  const std::size_t before = test::heapBytesInUse();
  {
    HxAny nested = HxArray::array();
    for (int i = 0; i < kDepth; ++i) {
      nested = i % 3 == 0   ? HxAny(HxArray::arrayWithObjects({nested, "x"_hx}))
               : i % 3 == 1 ? HxAny(HxDictionary::dictionaryWithObject(nested, "k"_hx))
                            : HxAny(HxSet::initWithObjects({nested}));
    }
    EXPECT_EQ(as<HxArray>(nested).count(), 2U);
  }
  EXPECT_EQ(test::heapBytesInUse(), before);
}

TEST(Array, WideAndDeepIsDroppedWhole) {
  const auto leaf = makeRef<Listener>();
  {
    HxMutableArray top = HxMutableArray::array();
    for (int i = 0; i < 300; ++i) {
      HxArray branch = HxArray::arrayWithObjects({leaf, leaf});
      for (int depth = 0; depth < 300; ++depth) branch = HxArray::arrayWithObjects({leaf, branch});
      top.addObject(branch);
    }
    EXPECT_FALSE(leaf->isUniquelyReferenced());
  }
  EXPECT_TRUE(leaf->isUniquelyReferenced());
}

}  // namespace
}  // namespace rondel
