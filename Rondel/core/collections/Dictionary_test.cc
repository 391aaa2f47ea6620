// SPDX-License-Identifier: MIT
#include "Rondel/core/collections/Dictionary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Collections.h"

namespace rondel {
namespace {

using test::messageOf;
using test::openDictionary;
using test::openString;
using test::shown;
using Entries = test::OpenDictionary::Entries;

HxNumber number(int value) { return HxNumber::numberWithInt(value); }

// The descriptions in alphabetical order.
std::string sorted(const HxArray& array) {
  return shown(
      array.sortedArrayUsingSelector(HxSelector("compare:")).componentsJoinedByString(" "_hx));
}

std::string entriesOf(const HxDictionary& dictionary) {
  std::vector<std::string> texts;
  for (const auto& [key, value] : dictionary) texts.push_back(shown(key) + "=" + shown(value));
  std::sort(texts.begin(), texts.end());
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : " ") + text;
  return result;
}

// ---- Every kind of dictionary -----------------------------------------------------------------

struct Mutable {
  static HxDictionary make(const Entries& entries) {
    HxMutableDictionary result = HxMutableDictionary::dictionary();
    for (const auto& [key, value] : entries) result.setObject(value, key);
    return result;
  }
};
struct BuiltIn {
  static HxDictionary make(const Entries& entries) { return Mutable::make(entries).copy(); }
};
struct PrimitivesAlone {
  static HxDictionary make(const Entries& entries) { return openDictionary(entries); }
};

template <class Kind>
class AnyDictionary : public testing::Test {
 protected:
  HxDictionary empty = Kind::make({});
  HxDictionary two = Kind::make({{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}});
};
using Kinds = testing::Types<BuiltIn, Mutable, PrimitivesAlone>;
TYPED_TEST_SUITE(AnyDictionary, Kinds);

TYPED_TEST(AnyDictionary, CountsItsEntries) {
  EXPECT_EQ(this->two.count(), 2U);
  EXPECT_FALSE(this->two.isEmpty());
  EXPECT_TRUE(this->empty.isEmpty());
}

TYPED_TEST(AnyDictionary, GivesTheValueForAKey) {
  EXPECT_EQ(shown(this->two.objectForKey("b"_hx)), "2");
  EXPECT_EQ(this->two.template objectForKey<HxString>("a"_hx), "1"_hx);
  EXPECT_TRUE(this->two.template objectForKey<HxNumber>("a"_hx).isNil());
}

TYPED_TEST(AnyDictionary, GivesNilForOtherKeys) {
  EXPECT_TRUE(this->two.objectForKey("c"_hx).isNil());
  EXPECT_TRUE(this->two.objectForKey(number(1)).isNil());
  EXPECT_TRUE(this->two.objectForKey(nullptr).isNil());
  EXPECT_TRUE(this->empty.objectForKey("a"_hx).isNil());
}

TYPED_TEST(AnyDictionary, FindsAKeyByEqualStringsOfEveryClass) {
  const HxDictionary dictionary =
      TypeParam::make({{openString(u"open"), number(1)}, {"na\u00EFve"_hx, number(2)}});
  EXPECT_EQ(shown(dictionary.objectForKey("open"_hx)), "1");
  EXPECT_EQ(shown(dictionary.objectForKey(HxMutableString::stringWithString("open"_hx))), "1");
  EXPECT_EQ(shown(dictionary.objectForKey(openString(u"na\u00EFve"))), "2");
  EXPECT_EQ(shown(this->two.objectForKey(openString(u"a"))), "1");
}

TYPED_TEST(AnyDictionary, FindsNumbersByValue) {
  const HxDictionary dictionary = TypeParam::make({{number(7), "seven"_hx}});
  EXPECT_EQ(shown(dictionary.objectForKey(HxNumber::numberWithDouble(7))), "seven");
  EXPECT_TRUE(dictionary.objectForKey("7"_hx).isNil());
}

TYPED_TEST(AnyDictionary, LendsItsValues) {
  EXPECT_EQ(shown(*this->two.borrowObjectForKey("a"_hx)), "1");
  EXPECT_FALSE(this->two.template borrowObjectForKey<HxNumber>("a"_hx).operator bool());
  EXPECT_EQ(this->two.template borrowObjectForKey<HxString>("a"_hx)->length(), 1U);
  EXPECT_FALSE(this->two.borrowObjectForKey("c"_hx).operator bool());
  EXPECT_FALSE(this->two.borrowObjectForKey(nullptr).operator bool());
}

TEST(Dictionary, LendsWithoutCounting) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  dictionary.setObject(HxMutableString::stringWithString("v"_hx), "a"_hx);
  const auto value = dictionary.borrowObjectForKey("a"_hx);
  ASSERT_TRUE(value.operator bool());
  EXPECT_TRUE(value->object()->isUniquelyReferenced());
}

// One of one's own class may make its values as they are asked for.
TEST(Dictionary, KeepsALentValueThatNobodyElseKeeps) {
  class Maker final : public HxDictionaryObject {
   public:
    HxUInteger count() const override { return 1; }
    HxAny objectForKey(const HxHandle& key) const override {
      return HxMutableString::stringWithString(as<HxString>(key));
    }
    HxEnumerator keyEnumerator() const override { return nullptr; }
  };
  const HxDictionary dictionary(makeRef<Maker>());
  const auto value = dictionary.borrowObjectForKey<HxString>("made"_hx);
  EXPECT_EQ(*value, "made"_hx);
  EXPECT_TRUE(value->object()->isUniquelyReferenced());
}

TYPED_TEST(AnyDictionary, ListsItsKeysAndItsValues) {
  EXPECT_EQ(sorted(this->two.allKeys()), "a b");
  EXPECT_EQ(sorted(this->two.allValues()), "1 2");
  EXPECT_EQ(this->empty.allKeys().count(), 0U);
  EXPECT_EQ(this->empty.allValues().count(), 0U);
}

TYPED_TEST(AnyDictionary, HandsOutEachKeyOnce) {
  const HxEnumerator keys = this->two.keyEnumerator();
  HxMutableArray found = HxMutableArray::array();
  while (HxAny key = keys.nextObject()) found.addObject(std::move(key));
  EXPECT_EQ(sorted(found), "a b");
  EXPECT_TRUE(keys.nextObject().isNil());
  EXPECT_TRUE(this->empty.keyEnumerator().nextObject().isNil());
}

TYPED_TEST(AnyDictionary, IsLoopedOverByEntries) {
  EXPECT_EQ(entriesOf(this->two), "a=1 b=2");
  EXPECT_EQ(entriesOf(this->empty), "");
}

// The values of a dictionary, each one digit, as a loop sees them that drops the only handle.
std::size_t valuesSeenWhileDropping(HxDictionary dictionary) {
  std::string text;
  for (const auto& [key, value] : dictionary) {
    dictionary = nullptr;
    text += shown(value);
  }
  return text.size();
}

TYPED_TEST(AnyDictionary, OutlivesItsHandleWhileItIsEnumerated) {
  EXPECT_EQ(valuesSeenWhileDropping(TypeParam::make({{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}})), 2U);
  const HxEnumerator keys = TypeParam::make({{"a"_hx, "1"_hx}}).keyEnumerator();
  EXPECT_EQ(shown(keys.nextObject()), "a");
  EXPECT_TRUE(keys.nextObject().isNil());
}

TYPED_TEST(AnyDictionary, EqualsADictionaryOfEqualEntriesOfAnyKind) {
  const Entries entries = {{"b"_hx, openString(u"2")}, {openString(u"a"), "1"_hx}};
  for (const HxDictionary& other :
       {BuiltIn::make(entries), Mutable::make(entries), PrimitivesAlone::make(entries)}) {
    EXPECT_TRUE(this->two.isEqualToDictionary(other));
    EXPECT_TRUE(other.isEqual(this->two));
    EXPECT_EQ(this->two.hash(), other.hash());
  }
}

TYPED_TEST(AnyDictionary, DiffersFromOtherDictionariesAndOtherObjects) {
  EXPECT_FALSE(this->two.isEqual(TypeParam::make({{"a"_hx, "1"_hx}})));
  EXPECT_FALSE(this->two.isEqual(TypeParam::make({{"a"_hx, "1"_hx}, {"b"_hx, "3"_hx}})));
  EXPECT_FALSE(this->two.isEqual(TypeParam::make({{"a"_hx, "1"_hx}, {"c"_hx, "2"_hx}})));
  EXPECT_FALSE(this->two.isEqual(this->two.allKeys()));
  EXPECT_FALSE(this->two.isEqual(nullptr));
}

TYPED_TEST(AnyDictionary, DescribesItsEntriesByOrderOfTheKeys) {
  EXPECT_EQ(shown(TypeParam::make({{"b"_hx, number(2)}, {"a"_hx, TypeParam::make({})}})),
            "{\n    a = {\n    };\n    b = 2;\n}");
  EXPECT_EQ(shown(this->empty), "{\n}");
}

TYPED_TEST(AnyDictionary, HasAnImmutableCopyOfTheSameEntries) {
  const HxDictionary copy = this->two.copy();
  EXPECT_EQ(entriesOf(copy), "a=1 b=2");
  EXPECT_TRUE(as<HxMutableDictionary>(copy).isNil());
  EXPECT_EQ(copy.copy().object(), copy.object());
}

TYPED_TEST(AnyDictionary, HasANewMutableCopy) {
  HxMutableDictionary copy = this->two.mutableCopy();
  copy.removeObjectForKey("a"_hx);
  copy.setObject("3"_hx, "c"_hx);
  EXPECT_EQ(entriesOf(copy), "b=2 c=3");
  EXPECT_EQ(entriesOf(this->two), "a=1 b=2");
}

TYPED_TEST(AnyDictionary, IsCopiedWithOrWithoutItsValues) {
  const auto text = HxMutableString::stringWithString("x"_hx);
  const HxDictionary original = TypeParam::make({{"k"_hx, text}});
  const HxDictionary shallow = HxDictionary::initWithDictionary(original);
  const HxDictionary deep = HxDictionary::initWithDictionary(original, true);
  const HxDictionary deepMutable = HxMutableDictionary::initWithDictionary(original, true);
  HxMutableString(text).appendString("y"_hx);
  EXPECT_EQ(entriesOf(shallow), "k=xy");
  EXPECT_EQ(entriesOf(deep), "k=x");
  EXPECT_EQ(entriesOf(deepMutable), "k=x");
}

TYPED_TEST(AnyDictionary, IsAddedToAMutableOne) {
  auto dictionary =
      HxMutableDictionary::dictionaryWithEntries({{"b"_hx, "old"_hx}, {"z"_hx, "9"_hx}});
  dictionary.addEntriesFromDictionary(this->two);
  EXPECT_EQ(entriesOf(dictionary), "a=1 b=2 z=9");
}

TYPED_TEST(AnyDictionary, AnswersTheQuestionsOfItsKind) {
  EXPECT_TRUE(this->two.isKindOfClass(HxDictionaryObject::classObject()));
  EXPECT_EQ(HcGetTypeID(this->two), HcDictionaryGetTypeID());
  EXPECT_TRUE(as<HxArray>(HxAny(this->two)).isNil());
}

// ---- Making dictionaries ----------------------------------------------------------------------

TEST(Dictionary, OfEntriesTakesTheLastOfEachKey) {
  EXPECT_EQ(entriesOf(HxDictionary::dictionaryWithEntries(
                {{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}, {"a"_hx, "3"_hx}})),
            "a=3 b=2");
  EXPECT_EQ(entriesOf(HxDictionary::dictionaryWithObject("v"_hx, "k"_hx)), "k=v");
}

TEST(MutableDictionary, IsMadeOfOneEntryAsWell) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionaryWithObject("v"_hx, "k"_hx);
  dictionary.setObject("w"_hx, "l"_hx);
  EXPECT_EQ(shown(dictionary), "{\n    k = v;\n    l = w;\n}");
}

TEST(Dictionary, LeavesNilOut) {
  EXPECT_EQ(HxDictionary::dictionaryWithObject(nullptr, "k"_hx).count(), 0U);
  EXPECT_EQ(HxDictionary::dictionaryWithObject("v"_hx, nullptr).count(), 0U);
  EXPECT_FALSE(HxDictionary::initWithDictionary(nullptr).isNil());
  EXPECT_FALSE(HxMutableDictionary::initWithDictionary(nullptr, true).isNil());
}

TEST(Dictionary, EmptyOnesCostNothing) {
  HxDictionary::dictionary();
  const test::AllocationCounter counter;
  EXPECT_EQ(HxDictionary::dictionary().count(), 0U);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(Dictionary, LookUpsTakeNothingFromTheHeap) {
  const HxDictionary dictionary = HxDictionary::dictionaryWithObject("v"_hx, "key"_hx);
  const HxString key = HxString(std::string_view("key"));
  const HxString open = openString(u"key");
  const test::AllocationCounter counter;
  EXPECT_EQ(dictionary.objectForKey<HxString>(key), "v"_hx);
  EXPECT_EQ(dictionary.objectForKey<HxString>(open), "v"_hx);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(Dictionary, CanBeMadeByItsClass) {
  EXPECT_STREQ(HxDictionaryObject::classObject().name(), "HxDictionary");
  EXPECT_FALSE(as<HxDictionary>(HxDictionaryObject::classObject().make()).isNil());
  const HxClass mutableClass = HxMutableDictionary::dictionary().hxClass();
  EXPECT_STREQ(mutableClass.name(), "HxMutableDictionary");
  EXPECT_FALSE(as<HxMutableDictionary>(mutableClass.make()).isNil());
}

// ---- Mutable dictionaries ---------------------------------------------------------------------

TEST(MutableDictionary, ReplacesAValueAndKeepsTheKey) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  const HxString key(std::string_view("key"));
  dictionary.setObject("1"_hx, key);
  dictionary.setObject("2"_hx, "key"_hx);
  EXPECT_EQ(entriesOf(dictionary), "key=2");
  EXPECT_EQ(dictionary.allKeys().firstObject().object(), key.object());
}

TEST(MutableDictionary, KeepsKeysAsCopies) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  HxMutableString key = HxMutableString::stringWithString("key"_hx);
  dictionary.setObject("1"_hx, key);
  key.appendString("2"_hx);
  dictionary.setObject("2"_hx, key);
  EXPECT_EQ(entriesOf(dictionary), "key2=2 key=1");
}

TEST(MutableDictionary, RoomForTheCapacityIsTakenAtOnce) {
  std::vector<HxNumber> keys;
  for (int i = 0; i < 1000; ++i) keys.push_back(number(i));
  HxMutableDictionary dictionary = HxMutableDictionary::dictionaryWithCapacity(1000);
  const test::AllocationCounter counter;
  for (const HxNumber& key : keys) dictionary.setObject("a"_hx, key);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(MutableDictionary, NeverHoldsNil) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionaryWithCapacity(~HxUInteger{0});
  dictionary.setObject(nullptr, "a"_hx);
  dictionary.setObject("a"_hx, nullptr);
  dictionary.removeObjectForKey(nullptr);
  dictionary.addEntriesFromDictionary(nullptr);
  EXPECT_EQ(dictionary.count(), 0U);
}

TEST(MutableDictionary, RemovesKeys) {
  auto dictionary =
      HxMutableDictionary::dictionaryWithEntries({{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}});
  dictionary.removeObjectForKey(openString(u"a"));
  dictionary.removeObjectForKey("c"_hx);
  EXPECT_EQ(entriesOf(dictionary), "b=2");
  dictionary.removeAllObjects();
  EXPECT_EQ(dictionary.count(), 0U);
  dictionary.setObject("3"_hx, "a"_hx);
  EXPECT_EQ(entriesOf(dictionary), "a=3");
}

TEST(MutableDictionary, HoldsManyKeysOfAllKinds) {
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  for (int i = 0; i < 5000; ++i) {
    dictionary.setObject(number(i), HxString::stringWithFormat("key %d"_hx, i));
    dictionary.setObject(number(-i), number(i));
    dictionary.setObject(number(i), HxArray::arrayWithObject(number(i)));
  }
  EXPECT_EQ(dictionary.count(), 15000U);
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(dictionary.objectForKey<HxNumber>(number(i)).intValue(), -i);
    ASSERT_EQ(
        dictionary.objectForKey<HxNumber>(HxString::stringWithFormat("key %d"_hx, i)).intValue(),
        i);
    ASSERT_EQ(dictionary.objectForKey<HxNumber>(HxArray::arrayWithObject(number(i))).intValue(), i);
  }
}

TEST(MutableDictionary, AddingItselfChangesNothing) {
  auto dictionary = HxMutableDictionary::dictionaryWithEntries({{"a"_hx, "1"_hx}});
  dictionary.addEntriesFromDictionary(dictionary);
  EXPECT_EQ(entriesOf(dictionary), "a=1");
}

TEST(MutableDictionary, ValuesMayBeReplacedInALoop) {
  auto dictionary =
      HxMutableDictionary::dictionaryWithEntries({{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}});
  for (const auto& [key, value] : dictionary) dictionary.setObject("x"_hx, key);
  EXPECT_EQ(entriesOf(dictionary), "a=x b=x");
}

TEST(MutableDictionary, ChangingKeysInALoopRaisesInsteadOfReadingWildMemory) {
  const std::string message =
      "HxInternalInconsistencyException: -[HxEnumerator nextObject]: the dictionary was changed "
      "meanwhile";
  auto dictionary =
      HxMutableDictionary::dictionaryWithEntries({{"a"_hx, "1"_hx}, {"b"_hx, "2"_hx}});
  EXPECT_EQ(messageOf([&] {
              for (const auto& [key, value] : dictionary) dictionary.removeObjectForKey(key);
            }),
            message);
  const HxEnumerator keys = dictionary.keyEnumerator();
  dictionary.setObject("3"_hx, "c"_hx);
  EXPECT_EQ(messageOf([&] { keys.nextObject(); }), message);
}

// Looks at a dictionary as it goes.
class Witness final : public HxObject {
 public:
  explicit Witness(HxMutableDictionary dictionary) : _dictionary(std::move(dictionary)) {}
  ~Witness() override { _dictionary.setObject("seen"_hx, "w"_hx); }

 private:
  HxMutableDictionary _dictionary = nullptr;
};

TEST(MutableDictionary, MayBeChangedByAnObjectThatItLetsGoOf) {
  auto dictionary = HxMutableDictionary::dictionary();
  dictionary.setObject(makeRef<Witness>(dictionary), "a"_hx);
  dictionary.setObject("new"_hx, "a"_hx);
  EXPECT_EQ(entriesOf(dictionary), "a=new w=seen");
  dictionary.setObject(makeRef<Witness>(dictionary), "b"_hx);
  dictionary.removeObjectForKey("b"_hx);
  dictionary.setObject(makeRef<Witness>(dictionary), "c"_hx);
  dictionary.removeAllObjects();
  EXPECT_EQ(entriesOf(dictionary), "w=seen");
}

// ---- Nil --------------------------------------------------------------------------------------

TEST(Dictionary, NilAnswersZeroToEverything) {
  const HxDictionary dictionary;
  EXPECT_EQ(dictionary.count(), 0U);
  EXPECT_TRUE(dictionary.isEmpty());
  EXPECT_TRUE(dictionary.objectForKey("a"_hx).isNil());
  EXPECT_TRUE(dictionary.objectForKey<HxString>("a"_hx).isNil());
  EXPECT_FALSE(dictionary.borrowObjectForKey("a"_hx).operator bool());
  EXPECT_TRUE(dictionary.allKeys().isNil());
  EXPECT_TRUE(dictionary.allValues().isNil());
  EXPECT_TRUE(dictionary.keyEnumerator().isNil());
  EXPECT_FALSE(dictionary.isEqualToDictionary(dictionary));
  EXPECT_TRUE(dictionary.copy().isNil());
  EXPECT_TRUE(dictionary.mutableCopy().isNil());
  EXPECT_TRUE(dictionary.begin() == dictionary.end());
}

TEST(MutableDictionary, NilIsLeftAloneByEverything) {
  HxMutableDictionary dictionary = nullptr;
  dictionary.setObject("a"_hx, "b"_hx);
  dictionary.removeObjectForKey("b"_hx);
  dictionary.removeAllObjects();
  dictionary.addEntriesFromDictionary(HxDictionary::dictionaryWithObject("v"_hx, "k"_hx));
  EXPECT_TRUE(dictionary.isNil());
}

}  // namespace
}  // namespace rondel
