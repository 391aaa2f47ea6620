// SPDX-License-Identifier: MIT
//
// What may be put into which handle: mostly told by the compiler, the rest by a raise.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "Rondel/Rondel.h"
#include "Rondel/testing/Collections.h"

namespace rondel::test {
namespace {

template <class Handle>
class EveryHandle : public testing::Test {};
using Handles = testing::Types<HxString, HxArray, HxDictionary, HxSet, HxIndexSet, HxData, HxNumber,
                               HxDate, HxCharacterSet, HxError, HxBundle, HxMutableString,
                               HxMutableArray, HxMutableDictionary, HxMutableSet, HxMutableIndexSet,
                               HxMutableData, HxMutableCharacterSet, ZevCheapReusableSubstring>;
TYPED_TEST_SUITE(EveryHandle, Handles);

template <class T>
concept HasSwap = requires(T& a, T& b) {
  a.swap(b);
};

// ---- What the compiler refuses -----------------------------------------------------------------

static_assert(!std::is_assignable_v<HxHandle&, HxHandle>);
static_assert(!std::is_assignable_v<HxHandle&, HxString>);
static_assert(!std::is_assignable_v<HxHandle&, HxAny>);
static_assert(!std::is_assignable_v<HxHandle&, std::nullptr_t>);
static_assert(!std::is_swappable_v<HxHandle> && !HasSwap<HxHandle> && !HasSwap<HxAny>);
static_assert(!std::is_copy_constructible_v<HxHandle> &&
              !std::is_default_constructible_v<HxHandle>);
static_assert(std::is_final_v<HxAny>);
static_assert(!std::is_assignable_v<HxString&, HxNumber>);
static_assert(!std::is_assignable_v<HxString&, HxAny>);
static_assert(!std::is_assignable_v<HxMutableString&, HxString>);
static_assert(!std::is_swappable_with_v<HxString&, HxNumber&>);

// A number is no nil.
static_assert(!std::is_convertible_v<int, HxAny> && !std::is_convertible_v<int, HxHandle>);
template <class T>
concept TakesZero = requires(T& collection) {
  collection.addObject(0);
};
template <class T>
concept TakesNil = requires(T& collection) {
  collection.addObject(nullptr);
};
static_assert(!TakesZero<HxMutableArray> && !TakesZero<HxMutableSet>);
static_assert(TakesNil<HxMutableArray> && TakesNil<HxMutableSet>);

// A buffer of strings takes strings alone.
template <class Buffer>
concept IsBufferOfObjects = requires(const HxArray& array, Buffer buffer) {
  array.getObjects(buffer);
};
static_assert(IsBufferOfObjects<HxAny*>);
static_assert(!IsBufferOfObjects<HxString*> && !IsBufferOfObjects<HxNumber*>);
static_assert(!IsBufferOfObjects<HxHandle*>);

TYPED_TEST(EveryHandle, IsNoVariableForAnyObject) {
  static_assert(!std::is_convertible_v<TypeParam*, HxAny*>);
  static_assert(!std::is_convertible_v<TypeParam&, HxAny&>);
  static_assert(std::is_convertible_v<TypeParam&, const HxHandle&>);
  static_assert(std::is_assignable_v<TypeParam&, TypeParam>);
  static_assert(std::is_assignable_v<TypeParam&, std::nullptr_t>);
  static_assert(!std::is_assignable_v<TypeParam&, HxAny>);
  static_assert(!std::is_assignable_v<TypeParam&, Ref<HxObject>>);
  static_assert(!std::is_convertible_v<int, TypeParam>);
  static_assert(!HasSwap<TypeParam>);
  static_assert(std::is_nothrow_move_constructible_v<TypeParam>);
  static_assert(std::is_nothrow_swappable_v<TypeParam>);
}

TYPED_TEST(EveryHandle, GoesIntoAVariableForAnyObject) {
  static_assert(std::is_nothrow_assignable_v<HxAny&, TypeParam>);
  static_assert(std::is_nothrow_assignable_v<HxAny&, const TypeParam&>);
  const TypeParam nil = nullptr;
  const HxAny any = nil;
  EXPECT_TRUE(any.isNil());
}

// A mutable handle says what it starts as.
template <class Handle>
class EveryMutableHandle : public testing::Test {};
using MutableHandles =
    testing::Types<HxMutableString, HxMutableArray, HxMutableDictionary, HxMutableSet,
                   HxMutableIndexSet, HxMutableData, HxMutableCharacterSet>;
TYPED_TEST_SUITE(EveryMutableHandle, MutableHandles);

TYPED_TEST(EveryMutableHandle, SaysWhatItStartsAs) {
  static_assert(!std::is_default_constructible_v<TypeParam>);
  const TypeParam handle = nullptr;
  EXPECT_TRUE(handle.isNil());
}

// ---- Parameters for any object -----------------------------------------------------------------

const HxObject* objectOf(const HxHandle& handle) { return handle.object(); }

TEST(HandleParameter, TakesEveryHandleReferencesAndNil) {
  const HxString text = "text"_hx;
  const HxAny any = text;
  const Ref<OpenArray> reference = makeRef<OpenArray>(std::vector<HxAny>());
  EXPECT_EQ(objectOf(text), text.object());
  EXPECT_EQ(objectOf(any), text.object());
  EXPECT_EQ(objectOf(reference), reference.get());
  EXPECT_EQ(objectOf(nullptr), nullptr);
}

TEST(HandleParameter, CountsNothing) {
  const HxAny array = openArray({});
  const auto isUnique = [](const HxHandle& handle) {
    return handle.object()->isUniquelyReferenced();
  };
  EXPECT_TRUE(isUnique(array));
  const HxArray same = as<HxArray>(array);
  EXPECT_FALSE(isUnique(same));
}

TEST(Any, TakesObjectsOfAllKindsOneAfterTheOther) {
  HxAny any = "text"_hx;
  any = HxNumber::numberWithInt(3);
  EXPECT_EQ(shown(any), "3");
  any = makeRef<OpenArray>(std::vector<HxAny>());
  EXPECT_EQ(HcGetTypeID(any), HxTypeID::array);
  const HxString word(std::string_view("word"));
  any = word;
  EXPECT_EQ(any.object(), word.object());
  any = nullptr;
  EXPECT_TRUE(any.isNil());
}

TEST(Any, TakesOverWhatIsMovedIntoIt) {
  HxArray array = openArray({});
  HxObject* const object = array.object();
  HxAny any = std::move(array);
  EXPECT_EQ(any.object(), object);
  EXPECT_TRUE(object->isUniquelyReferenced());
  HxAny other = "text"_hx;
  other = std::move(any);
  EXPECT_TRUE(other.object()->isUniquelyReferenced());
}

TEST(Any, IsWholeAfterBeingAssignedToItself) {
  HxAny any = openArray({});
  HxAny& same = any;
  any = same;
  EXPECT_TRUE(any.object()->isUniquelyReferenced());
  any = std::move(same);
  ASSERT_FALSE(any.isNil());
  EXPECT_TRUE(any.object()->isUniquelyReferenced());
}

TEST(Handle, SwapsWithItsOwnKind) {
  HxString one = "one"_hx;
  HxString two = "two"_hx;
  std::swap(one, two);
  EXPECT_EQ(one, "two"_hx);
  EXPECT_EQ(two, "one"_hx);
}

// ---- What only a run can tell ------------------------------------------------------------------

// A mutable handle that was given an immutable object through its base.
template <class Mutable, class Base>
Mutable aliased(const Base& immutable) {
  Mutable handle = nullptr;
  Base& base = handle;
  base = immutable;
  return handle;
}

struct Change {
  const char* operation;
  void (*call)();
};

HxMutableString string() { return aliased<HxMutableString>("text"_hx); }
HxMutableArray array() {
  return aliased<HxMutableArray>(HxArray::arrayWithObjects({"b"_hx, "a"_hx}));
}
HxMutableDictionary dictionary() {
  return aliased<HxMutableDictionary>(HxDictionary::dictionaryWithObject("v"_hx, "k"_hx));
}
HxMutableSet set() { return aliased<HxMutableSet>(HxSet::initWithObjects({"a"_hx})); }
HxMutableIndexSet indexSet() {
  return aliased<HxMutableIndexSet>(HxIndexSet::indexSetWithIndexesInRange({0, 1}));
}
HxMutableData data() { return aliased<HxMutableData>(HxData::dataWithBytes("abc", 3)); }
HxMutableCharacterSet characterSet() {
  return aliased<HxMutableCharacterSet>(HxCharacterSet::whitespaceCharacterSet());
}

const Change kChanges[] = {
    {"-[HxMutableString appendString:]", [] { string().appendString("x"_hx); }},
    {"-[HxMutableString appendCharacters:length:]", [] { string().appendCharacters(u"x", 1); }},
    {"-[HxMutableString appendFormat:]", [] { string().appendFormat("x"_hx); }},
    {"-[HxMutableString setString:]", [] { string().setString("x"_hx); }},
    {"-[HxMutableString insertString:atIndex:]", [] { string().insertString("x"_hx, 0); }},
    {"-[HxMutableString deleteCharactersInRange:]",
     [] {
       string().deleteCharactersInRange({0, 1});
     }},
    {"-[HxMutableString replaceCharactersInRange:withString:]",
     [] {
       string().replaceCharactersInRange({0, 1}, "x"_hx);
     }},
    {"-[HxMutableString replaceOccurrencesOfString:withString:options:range:]",
     [] {
       string().replaceOccurrencesOfString("t"_hx, "x"_hx, 0, {0, 4});
     }},
    {"-[HxMutableArray addObject:]", [] { array().addObject("x"_hx); }},
    {"-[HxMutableArray addObjectsFromArray:]",
     [] { array().addObjectsFromArray(HxArray::arrayWithObject("x"_hx)); }},
    {"-[HxMutableArray insertObject:atIndex:]", [] { array().insertObject("x"_hx, 0); }},
    {"-[HxMutableArray insertObjects:atIndexes:]",
     [] {
       array().insertObjects(HxArray::arrayWithObject("x"_hx), HxIndexSet::indexSetWithIndex(0));
     }},
    {"-[HxMutableArray replaceObjectAtIndex:withObject:]",
     [] { array().replaceObjectAtIndex(0, "x"_hx); }},
    {"-[HxMutableArray removeObjectAtIndex:]", [] { array().removeObjectAtIndex(0); }},
    {"-[HxMutableArray removeLastObject]", [] { array().removeLastObject(); }},
    {"-[HxMutableArray removeAllObjects]", [] { array().removeAllObjects(); }},
    {"-[HxMutableArray removeObjectsAtIndexes:]",
     [] { array().removeObjectsAtIndexes(HxIndexSet::indexSetWithIndex(0)); }},
    {"-[HxMutableArray sortUsingSelector:]",
     [] { array().sortUsingSelector(HxSelector("compare:")); }},
    {"-[HxMutableDictionary setObject:forKey:]", [] { dictionary().setObject("x"_hx, "k"_hx); }},
    {"-[HxMutableDictionary removeObjectForKey:]", [] { dictionary().removeObjectForKey("k"_hx); }},
    {"-[HxMutableDictionary removeAllObjects]", [] { dictionary().removeAllObjects(); }},
    {"-[HxMutableDictionary addEntriesFromDictionary:]",
     [] { dictionary().addEntriesFromDictionary(HxDictionary::dictionary()); }},
    {"-[HxMutableSet addObject:]", [] { set().addObject("x"_hx); }},
    {"-[HxMutableSet addObjectsFromArray:]",
     [] { set().addObjectsFromArray(HxArray::arrayWithObject("x"_hx)); }},
    {"-[HxMutableSet removeObject:]", [] { set().removeObject("a"_hx); }},
    {"-[HxMutableSet removeAllObjects]", [] { set().removeAllObjects(); }},
    {"-[HxMutableIndexSet addIndexesInRange:]", [] { indexSet().addIndex(7); }},
    {"-[HxMutableIndexSet removeIndexesInRange:]", [] { indexSet().removeIndex(0); }},
    {"-[HxMutableIndexSet removeAllIndexes]", [] { indexSet().removeAllIndexes(); }},
    {"-[HxMutableData mutableBytes]", [] { data().mutableBytes(); }},
    {"-[HxMutableData appendBytes:length:]", [] { data().appendBytes("x", 1); }},
    {"-[HxMutableData appendBytes:length:]",
     [] { data().appendData(HxData::dataWithBytes("x", 1)); }},
    {"-[HxMutableData setLength:]", [] { data().setLength(1); }},
    {"-[HxMutableData setLengthUninitialized:]", [] { data().setLengthUninitialized(1); }},
    {"-[HxMutableCharacterSet addCharactersInString:]",
     [] { characterSet().addCharactersInString("x"_hx); }},
    {"-[HxMutableCharacterSet addCharactersInRange:]",
     [] {
       characterSet().addCharactersInRange({0, 1});
     }},
    {"-[HxMutableCharacterSet formUnionWithCharacterSet:]",
     [] { characterSet().formUnionWithCharacterSet(HxCharacterSet::alphanumericCharacterSet()); }},
    {"-[HxMutableCharacterSet invert]", [] { characterSet().invert(); }},
    {"-[ZevCheapReusableSubstring setRealString:subrange:]",
     [] {
       aliased<ZevCheapReusableSubstring>("text"_hx).setRealString("x"_hx, {0, 1});
     }},
};

TEST(MutableHandle, RaisesWhenItsObjectCannotChange) {
  for (const Change& change : kChanges) {
    const std::string message = messageOf(change.call);
    EXPECT_TRUE(message.starts_with(std::string("HxInvalidArgumentException: ") + change.operation +
                                    ": the receiver is an object of class Hx"))
        << change.operation << ": " << message;
  }
}

TEST(MutableHandle, TellsTheClassOfWhatItWasReturnn) {
  EXPECT_EQ(
      messageOf([] { array().addObject("x"_hx); }),
      "HxInvalidArgumentException: -[HxMutableArray addObject:]: the receiver is an object of "
      "class HxArray");
}

TEST(MutableHandle, LeavesTheObjectThatCannotChangeAsItIs) {
  const HxArray constant = HxArray::arrayWithObjects({"a"_hx, "b"_hx});
  HxMutableArray handle = aliased<HxMutableArray>(constant);
  EXPECT_THROW(handle.addObject("c"_hx), HxException);
  EXPECT_EQ(constant.count(), 2U);
}

TEST(MutableHandle, RefusesAnObjectOfTheUsersOwnClass) {
  EXPECT_THROW(aliased<HxMutableString>(openString(u"a")).appendString("b"_hx), HxException);
  EXPECT_THROW(aliased<HxMutableArray>(openArray({})).addObject("b"_hx), HxException);
  EXPECT_THROW(aliased<HxMutableDictionary>(openDictionary({})).setObject("b"_hx, "b"_hx),
               HxException);
}

TEST(MutableHandle, RefusesAViewOfAnotherString) {
  const HxString view = ZevCheapReusableSubstring::initWithRealString("text"_hx, {0, 2});
  EXPECT_TRUE(as<HxMutableString>(view).isNil());
  EXPECT_THROW(aliased<HxMutableString>(view).appendString("b"_hx), HxException);
  EXPECT_THROW(aliased<ZevCheapReusableSubstring>(HxString("a"_hx.mutableCopy()))
                   .setRealString("b"_hx, {0, 1}),
               HxException);
}

TEST(MutableHandle, StaysHarmlessWhenNil) {
  HxMutableString nilString = nullptr;
  HxMutableArray nilArray = nullptr;
  HxMutableData nilData = nullptr;
  nilString.appendString("x"_hx);
  nilArray.addObject("x"_hx);
  EXPECT_EQ(nilData.mutableBytes(), nullptr);
  EXPECT_TRUE(nilString.isNil() && nilArray.isNil());
}

}  // namespace
}  // namespace rondel::test
