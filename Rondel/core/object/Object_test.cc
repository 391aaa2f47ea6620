// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Object.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/Collections.h"
#include "Rondel/testing/Raised.h"

namespace rondel::test {
namespace {

class Opening {
 public:
  virtual ~Opening() = default;
};

// Counts its living instances.
class Door : public HxObject, public Opening {
 public:
  Door() { ++living; }
  ~Door() override { --living; }
  static HxClass classObject() noexcept {
    static constexpr HxMethod kMethods[] = {
        {"knock",
         [](HxObject& self, const HxHandle&) -> HxAny {
           return HxNumber::numberWithInt(++static_cast<Door&>(self).knocks);
         }},
        {"echo:", [](HxObject&, const HxHandle& argument) -> HxAny { return argument; }}};
    static const HxClassInfo info{"Door", HxObject::classObject().info(),
                                  [] { return HxAny(makeRef<Door>()); }, kMethods,
                                  std::size(kMethods)};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }

  int knocks = 0;
  static inline int living = 0;
};

class Gate final : public Door {
 public:
  static HxClass classObject() noexcept {
    static const HxClassInfo info{"Gate", Door::classObject().info()};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
};

// ---- References -------------------------------------------------------------------------------

TEST(Ref, HoldsItsObjectUntilTheLastOneGoes) {
  Ref<Door> door = makeRef<Door>();
  EXPECT_EQ(Door::living, 1);
  EXPECT_TRUE(door->isUniquelyReferenced());
  Ref<Door> other = door;
  HxAny any = door;
  EXPECT_FALSE(door->isUniquelyReferenced());
  door = nullptr;
  other = nullptr;
  EXPECT_EQ(Door::living, 1);
  any = nullptr;
  EXPECT_EQ(Door::living, 0);
}

TEST(Ref, IsNilByDefaultAndMoves) {
  Ref<Door> door;
  EXPECT_TRUE(door.isNil());
  EXPECT_FALSE(door);
  EXPECT_EQ(door.get(), nullptr);
  door = makeRef<Door>();
  Ref<Door> moved = std::move(door);
  EXPECT_TRUE(moved->isUniquelyReferenced());
  EXPECT_EQ(Door::living, 1);
}

TEST(Ref, OfADerivedClassIsOneOfItsBase) {
  const Ref<Gate> gate = makeRef<Gate>();
  const Ref<Door> door = gate;
  EXPECT_EQ(door.get(), gate.get());
  EXPECT_TRUE(door == Ref<Door>(gate));
}

TEST(Ref, IsAKeyByIdentity) {
  const Ref<Door> one = makeRef<Door>();
  const Ref<Door> other = makeRef<Door>();
  const Ref<Door> nil;
  const std::unordered_set<Ref<Door>> hashed{one, other, one, nil};
  const std::set<Ref<Door>> ordered{one, other, one, nil};
  EXPECT_EQ(hashed.size(), 3U);
  EXPECT_EQ(ordered.size(), 3U);
  EXPECT_TRUE(ordered.begin()->isNil());
  EXPECT_EQ(std::hash<Ref<Door>>()(one), std::hash<Ref<Door>>()(Ref<Door>(one)));
}

TEST(Ref, ToItselfAndToWhatItHoldsMayBeAssigned) {
  Ref<Door> door = makeRef<Door>();
  Ref<Door>& same = door;
  door = same;
  EXPECT_EQ(Door::living, 1);
  EXPECT_TRUE(door->isUniquelyReferenced());
}

TEST(Object, IsNotTakenAgainWhenTheLastReferenceIsGone) {
  const Ref<Door> door = makeRef<Door>();
  ASSERT_TRUE(door->retainIfAlive());
  door->release();
  EXPECT_TRUE(door->isUniquelyReferenced());
}

TEST(Handle, IsAsWideAsAPointer) {
  static_assert(sizeof(HxAny) == sizeof(void*) && sizeof(Ref<Door>) == sizeof(void*));
  static_assert(sizeof(HxArray) == sizeof(void*) && sizeof(HxMutableDictionary) == sizeof(void*));
  static_assert(sizeof(HxObject) == 16);
}

TEST(Handle, ConvertsToAnyAndBack) {
  const HxAny any = "text"_hx;
  EXPECT_EQ(as<HxString>(any), "text"_hx);
  EXPECT_TRUE(as<HxArray>(any).isNil());
  EXPECT_TRUE(as<HxMutableString>(any).isNil());
  EXPECT_TRUE(as<HxString>(HxAny()).isNil());
  const HxAny door = makeRef<Gate>();
  EXPECT_EQ(asRef<Door>(door).get(), door.object());
  EXPECT_EQ(asRef<Gate>(door).get(), door.object());
  EXPECT_TRUE(asRef<Gate>(HxAny(makeRef<Door>())).isNil());
  EXPECT_TRUE(asRef<Door>(any).isNil());
  EXPECT_TRUE(asRef<Door>(HxAny()).isNil());
}

// ---- Identity ---------------------------------------------------------------------------------

TEST(Object, EqualsItselfAlone) {
  const HxAny one = makeRef<Door>();
  const HxAny other = makeRef<Door>();
  EXPECT_TRUE(one.isEqual(one));
  EXPECT_FALSE(one.isEqual(other));
  EXPECT_FALSE(one.isEqual("text"_hx));
  EXPECT_FALSE(one.isEqual(nullptr));
  EXPECT_EQ(one.hash(), HxAny(one).hash());
  EXPECT_NE(one.hash(), other.hash());
}

TEST(Object, HasSomeOrderAmongItsKind) {
  const HxAny one = makeRef<Door>();
  const HxAny other = makeRef<Door>();
  EXPECT_EQ(one.compare(one), HxOrderedSame);
  EXPECT_NE(one.compare(other), HxOrderedSame);
  EXPECT_EQ(one.compare(other), -other.compare(one));
  EXPECT_EQ(one.compare(nullptr), HxOrderedDescending);
}

TEST(Object, DescribesItselfByClassAndAddress) {
  const Ref<Gate> gate = makeRef<Gate>();
  char expected[64];
  std::snprintf(expected, sizeof expected, "<Gate: %p>", static_cast<void*>(gate.get()));
  EXPECT_EQ(shown(gate), expected);
  EXPECT_EQ(gate->descriptionForAssertionMessage(), gate->description());
  EXPECT_EQ(HxAny(gate).descriptionForAssertionMessage(), gate->description());
}

TEST(Object, IsItsOwnCopyUnlessItsClassKnowsBetter) {
  const HxAny door = makeRef<Door>();
  EXPECT_EQ(door.copy().object(), door.object());
  EXPECT_EQ(door.mutableCopy().object(), door.object());
  EXPECT_EQ(door.copyWithZone(nullptr).object(), door.object());
}

TEST(Object, CopiesOfMutableValuesStandAlone) {
  const HxMutableString text = HxMutableString::stringWithString("a"_hx);
  const HxMutableArray array = HxMutableArray::arrayWithObjects({"a"_hx});
  const HxMutableDictionary dictionary =
      HxMutableDictionary::dictionaryWithEntries({{"a"_hx, "b"_hx}});
  const HxMutableSet set = HxMutableSet::initWithObjects({"a"_hx});
  const HxMutableIndexSet indexes = HxMutableIndexSet::indexSetWithIndex(1);
  const HxMutableData data = HxMutableData::dataWithBytes("a", 1);
  HxMutableCharacterSet characters = HxMutableCharacterSet::characterSet();
  characters.addCharactersInString("a"_hx);
  for (const HxAny& any : {HxAny(text), HxAny(array), HxAny(dictionary), HxAny(set), HxAny(indexes),
                           HxAny(data), HxAny(characters)}) {
    const HxAny copy = any.copy();
    EXPECT_NE(copy.object(), any.object()) << any.hxClass().name();
    EXPECT_TRUE(copy.isEqual(any)) << any.hxClass().name();
    EXPECT_TRUE(any.isEqual(copy)) << any.hxClass().name();
    EXPECT_EQ(copy.hash(), any.hash()) << any.hxClass().name();
    EXPECT_EQ(copy.copy().object(), copy.object()) << any.hxClass().name();
    EXPECT_EQ(copy.copyWithZone(nullptr).object(), copy.object()) << any.hxClass().name();
    EXPECT_EQ(copy.hxClass(), any.hxClass().superclass()) << any.hxClass().name();
    const HxAny again = copy.mutableCopy();
    EXPECT_NE(again.object(), copy.object()) << any.hxClass().name();
    EXPECT_EQ(again.hxClass(), any.hxClass());
    EXPECT_TRUE(again.isEqual(any)) << any.hxClass().name();
  }
}

TEST(Handle, EqualsByValueAndNilEqualsNilAsAValueOnly) {
  EXPECT_TRUE(HxAny("a"_hx) == HxAny(HxString(std::string_view("a"))));
  EXPECT_FALSE(HxAny("a"_hx) == HxAny(HxNumber::numberWithInt(1)));
  EXPECT_TRUE(HxAny() == HxAny());
  EXPECT_FALSE(HxAny().isEqual(HxAny()));
  EXPECT_FALSE(HxAny() == HxAny("a"_hx));
  EXPECT_FALSE(HxAny("a"_hx) == HxAny());
}

TEST(Handle, IsAKeyForHashTables) {
  std::unordered_set<HxAny> objects{"a"_hx, HxNumber::numberWithInt(1), HxString(u"a")};
  EXPECT_EQ(objects.size(), 2U);
  EXPECT_EQ(objects.count(HxNumber::numberWithDouble(1)), 1U);
  std::unordered_map<HxArray, int> arrays{{HxArray::arrayWithObject("a"_hx), 7}};
  EXPECT_EQ(arrays[openArray({"a"_hx})], 7);
  const std::unordered_set<HxString> none{HxString()};
  EXPECT_EQ(none.count(nullptr), 1U);
}

// ---- Type questions ---------------------------------------------------------------------------

TEST(Object, KnowsItsClassAndThoseAboveIt) {
  const HxAny gate = makeRef<Gate>();
  EXPECT_EQ(gate.hxClass(), Gate::classObject());
  EXPECT_TRUE(gate.isKindOfClass(Gate::classObject()));
  EXPECT_TRUE(gate.isKindOfClass(Door::classObject()));
  EXPECT_TRUE(gate.isKindOfClass(HxObject::classObject()));
  EXPECT_FALSE(gate.isKindOfClass(HxString::classObject()));
  EXPECT_FALSE(gate.isKindOfClass(HxClass()));
  EXPECT_FALSE(HxAny(makeRef<Door>()).isKindOfClass(Gate::classObject()));
}

TEST(Object, KnowsTheInterfacesItBears) {
  constexpr HxProtocol kOpening = protocolOf<Opening>("Opening");
  EXPECT_STREQ(kOpening.name(), "Opening");
  EXPECT_TRUE(makeRef<Gate>()->conformsToProtocol(kOpening));
  EXPECT_TRUE(HxAny(makeRef<Gate>()).conformsToProtocol(kOpening));
  EXPECT_FALSE(HxAny("text"_hx).conformsToProtocol(kOpening));
  EXPECT_FALSE(HxAny().conformsToProtocol(kOpening));
}

TEST(Object, RespondsToWhatItsClassAndThoseAboveRegistered) {
  const HxAny gate = makeRef<Gate>();
  for (const char* name : {"knock", "echo:", "compare:", "isEqual:", "description"}) {
    EXPECT_TRUE(gate.respondsToSelector(HxSelector(name))) << name;
  }
  for (const char* name : {"echo", "knock:", "open", ""}) {
    EXPECT_FALSE(gate.respondsToSelector(HxSelector(name))) << name;
  }
  EXPECT_FALSE(gate.respondsToSelector(HxSelector()));
  EXPECT_FALSE(HxAny().respondsToSelector(HxSelector("knock")));
  EXPECT_TRUE(Gate::classObject().instancesRespondToSelector(HxSelector("knock")));
  EXPECT_FALSE(HxClass().instancesRespondToSelector(HxSelector("knock")));
}

TEST(ValueTypes, HaveAClassWithAMutableOneBelow) {
  struct Case {
    HxAny object;
    HxClass kind;
    HxClass mutableKind;
    HxTypeID type;
    const char* name;
    const char* mutableName;
  };
  const Case cases[] = {
      {"a"_hx, HxString::classObject(), HxMutableString::classObject(), HxTypeID::string,
       "HxString", "HxMutableString"},
      {HxArray::array(), HxArray::classObject(), HxMutableArray::classObject(), HxTypeID::array,
       "HxArray", "HxMutableArray"},
      {HxDictionary::dictionary(), HxDictionary::classObject(), HxMutableDictionary::classObject(),
       HxTypeID::dictionary, "HxDictionary", "HxMutableDictionary"},
      {HxSet::set(), HxSet::classObject(), HxMutableSet::classObject(), HxTypeID::set, "HxSet",
       "HxMutableSet"},
      {HxIndexSet::indexSet(), HxIndexSet::classObject(), HxMutableIndexSet::classObject(),
       HxTypeID::indexSet, "HxIndexSet", "HxMutableIndexSet"},
      {HxData::data(), HxData::classObject(), HxMutableData::classObject(), HxTypeID::data,
       "HxData", "HxMutableData"},
      {HxCharacterSet::whitespaceCharacterSet(), HxCharacterSet::classObject(),
       HxMutableCharacterSet::classObject(), HxTypeID::characterSet, "HxCharacterSet",
       "HxMutableCharacterSet"},
  };
  for (const Case& row : cases) {
    const HxAny changing = row.object.mutableCopy();
    EXPECT_STREQ(row.kind.name(), row.name);
    EXPECT_STREQ(row.mutableKind.name(), row.mutableName);
    EXPECT_EQ(row.mutableKind.superclass(), row.kind);
    EXPECT_EQ(row.object.hxClass(), row.kind);
    EXPECT_EQ(changing.hxClass(), row.mutableKind);
    EXPECT_TRUE(changing.isKindOfClass(row.kind));
    EXPECT_FALSE(row.object.isKindOfClass(row.mutableKind));
    EXPECT_EQ(HcGetTypeID(row.object), row.type);
    EXPECT_EQ(HcGetTypeID(changing), row.type);
    EXPECT_TRUE(row.mutableKind.make().isKindOfClass(row.mutableKind)) << row.mutableName;
  }
  EXPECT_EQ(HcGetTypeID(HxNumber::numberWithInt(1)), HxTypeID::number);
  EXPECT_EQ(HcGetTypeID(HxDate::date()), HxTypeID::date);
  EXPECT_EQ(HcGetTypeID(makeRef<Door>()), HxTypeID::object);
  EXPECT_EQ(HcGetTypeID(nullptr), HxTypeID::object);
}

TEST(ValueTypes, OneTypeIdentityHoldsForOpenClassesToo) {
  EXPECT_EQ(HcGetTypeID(openString(u"a")), HcStringGetTypeID());
  EXPECT_EQ(HcGetTypeID(openArray({})), HcArrayGetTypeID());
  EXPECT_EQ(HcGetTypeID(openDictionary({})), HcDictionaryGetTypeID());
  EXPECT_EQ(HcGetTypeID(HxData::data()), HcDataGetTypeID());
  EXPECT_TRUE(openString(u"a").isKindOfClass(HxString::classObject()));
  EXPECT_TRUE(openArray({}).isKindOfClass(HxArray::classObject()));
  EXPECT_TRUE(openDictionary({}).isKindOfClass(HxDictionary::classObject()));
}

// ---- Classes, selectors and calls by name -----------------------------------------------------

TEST(Class, MakesInstancesByName) {
  EXPECT_STREQ(HxAny(Door::classObject().make()).hxClass().name(), "Door");
  EXPECT_TRUE(Gate::classObject().make().isNil());
  EXPECT_TRUE(HxClass().make().isNil());
  EXPECT_EQ(Door::living, 0);
}

TEST(Class, KnowsItsAncestors) {
  EXPECT_TRUE(Gate::classObject().isSubclassOfClass(Gate::classObject()));
  EXPECT_TRUE(Gate::classObject().isSubclassOfClass(HxObject::classObject()));
  EXPECT_FALSE(Door::classObject().isSubclassOfClass(Gate::classObject()));
  EXPECT_FALSE(HxClass().isSubclassOfClass(HxClass()));
  EXPECT_EQ(HxObject::classObject().superclass(), HxClass());
  EXPECT_EQ(HxClass().superclass(), HxClass());
  EXPECT_FALSE(HxClass());
}

TEST(Class, ReturnsItsName) {
  EXPECT_EQ(HxStringFromClass(Gate::classObject()), "Gate"_hx);
  EXPECT_EQ(HxStringFromClass(HxAny("a"_hx).hxClass()), "HxString"_hx);
  EXPECT_TRUE(HxStringFromClass(HxClass()).isNil());
  EXPECT_EQ(HxClass().name(), nullptr);
}

TEST(Selector, IsOneForItsName) {
  std::string name = "rangeOfString:options:range:";
  const HxSelector selector(name.c_str());
  name[0] = 'x';
  EXPECT_STREQ(selector.name(), "rangeOfString:options:range:");
  EXPECT_EQ(selector, HxSelector("rangeOfString:options:range:"));
  EXPECT_EQ(selector.name(), HxSelector("rangeOfString:options:range:").name());
  EXPECT_FALSE(selector == HxSelector("rangeOfString:"));
}

TEST(Selector, BecomesTextAndComesBack) {
  EXPECT_EQ(HxStringFromSelector(HxSelector("compare:")), "compare:"_hx);
  EXPECT_EQ(HxSelectorFromString("compare:"_hx), HxSelector("compare:"));
  EXPECT_EQ(HxSelectorFromString(HxStringFromSelector(HxSelector("caf\u00e9:"))),
            HxSelector("caf\u00e9:"));
}

TEST(Selector, OfNothingIsNull) {
  EXPECT_FALSE(HxSelector());
  EXPECT_FALSE(HxSelector(nullptr));
  EXPECT_TRUE(HxStringFromSelector(HxSelector()).isNil());
  EXPECT_FALSE(HxSelectorFromString(nullptr));
  EXPECT_FALSE(HxSelectorFromString(HxString(std::u16string_view(u"\xD83D", 1))));
}

TEST(Perform, CallsTheOperationOfTheName) {
  const Ref<Gate> gate = makeRef<Gate>();
  const HxAny any = gate;
  EXPECT_EQ(shown(gate->performSelector(HxSelector("knock"))), "1");
  EXPECT_EQ(shown(any.performSelector(HxSelector("knock"))), "2");
  EXPECT_EQ(shown(any.performSelector(HxSelector("echo:"), "hello"_hx)), "hello");
  EXPECT_TRUE(any.performSelector(HxSelector("echo:")).isNil());
  EXPECT_EQ(gate->knocks, 2);
  EXPECT_EQ(shown(HxAny("a"_hx).performSelector(HxSelector("compare:"), "b"_hx)), "-1");
  EXPECT_EQ(shown(HxAny("a"_hx).performSelector(HxSelector("isEqual:"), "a"_hx)), "1");
  EXPECT_EQ(shown(HxAny("a"_hx).performSelector(HxSelector("description"))), "a");
  EXPECT_EQ(shown(HxAny("a"_hx).performSelector(HxSelector("caseInsensitiveCompare:"), "A"_hx)),
            "0");
  EXPECT_EQ(shown(HxAny("a"_hx).performSelector(HxSelector("uppercaseString"))), "A");
}

TEST(Perform, RaisesForAnOperationThatIsNotThere) {
  EXPECT_EQ(messageOf([] { HxAny("a"_hx).performSelector(HxSelector("knock")); }),
            "HxInvalidArgumentException: -[HxString knock]: no such operation");
  EXPECT_EQ(raisedBy([] { makeRef<Door>()->performSelector(HxSelector()); }),
            HxInvalidArgumentException);
}

// ---- nil --------------------------------------------------------------------------------------

TEST(NilAny, AnswersZeroToEverything) {
  const HxAny nil;
  EXPECT_TRUE(nil.isNil());
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil.object(), nullptr);
  EXPECT_FALSE(nil.isEqual("a"_hx));
  EXPECT_EQ(nil.hash(), 0U);
  EXPECT_TRUE(nil.description().isNil());
  EXPECT_TRUE(nil.descriptionForAssertionMessage().isNil());
  EXPECT_EQ(nil.compare("a"_hx), HxOrderedSame);
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.copyWithZone(nullptr).isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
  EXPECT_EQ(nil.hxClass(), HxClass());
  EXPECT_FALSE(nil.isKindOfClass(HxObject::classObject()));
  EXPECT_TRUE(nil.performSelector(HxSelector("knock")).isNil());
  EXPECT_TRUE(nil.performSelector(HxSelector("knock:"), "a"_hx).isNil());
}

}  // namespace
}  // namespace rondel::test
