// SPDX-License-Identifier: MIT
#include "Rondel/core/report/Check.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"

namespace rondel {
namespace {

class Checks : public ::testing::Test {
 protected:
  // One failure, with this format, these arguments of its own, and this condition.
  void expectOne(const std::string& format, std::vector<std::string> arguments,
                 const std::string& condition) {
    ASSERT_EQ(failures.size(), 1U);
    arguments.push_back("Assertion failed: %s");
    arguments.push_back(condition);
    EXPECT_EQ(failures[0].format, format);
    EXPECT_EQ(failures[0].arguments, arguments);
    _recorder.clear();
  }

 private:
  test::FailureRecorder _recorder;

 protected:
  const std::vector<test::FailureRecorder::Failure>& failures = _recorder.failures();
};

// An interface, and a class that may be asked for everything the forms ask.
class Drinkable {
 public:
  virtual ~Drinkable() = default;
};

class Cup : public HxObject {
 public:
  Cup() { ++alive; }
  ~Cup() override { --alive; }
  static int alive;

  static HxClass classObject() noexcept {
    static constexpr HxMethod methods[] = {
        {"drink", [](HxObject&, const HxHandle&) -> HxAny { return nullptr; }}};
    static const HxClassInfo info{"Cup", HxObject::classObject().info(), nullptr, methods, 1};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
  HxString descriptionForAssertionMessage() const override {
    ++descriptions;
    return "<a cup>"_hx;
  }
  static int descriptions;

  virtual void pour() {
    MO_OPERATION("-[Cup pour]");
    MoSubclassResponsibility();
    afterPour = true;
  }
  bool afterPour = false;
};
int Cup::alive = 0;
int Cup::descriptions = 0;

class Mug final : public Cup, public Drinkable {
 public:
  static HxClass classObject() noexcept {
    static const HxClassInfo info{"Mug", Cup::classObject().info()};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
};

const HxAny kCup = makeRef<Cup>();

// ---- The forms, row by row ----------------------------------------------------------------------

TEST_F(Checks, AssertHandsOverTheConditionAlone) {
  MO_FUNCTION("void f()");
  const int amount = -1;
  MoAssert(amount > 0);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].format, "Assertion failed: %s");
  EXPECT_EQ(failures[0].arguments, std::vector<std::string>{"amount > 0"});
  EXPECT_EQ(failures[0].message, "Assertion failed: amount > 0");
}

TEST_F(Checks, AssertTakesAConditionWithCommas) {
  MO_FUNCTION("void f()");
  MoAssert(std::is_same_v<int, long>);
  EXPECT_EQ(failures[0].message, "Assertion failed: std::is_same_v<int, long>");
}

TEST_F(Checks, AssertTakesTheTextOfTheCondition) {
  MO_FUNCTION("void f()");
  const void* const bytes = nullptr;
  MoAssertText(bytes != nullptr, "bytes != ((void*)0)");
  EXPECT_EQ(failures[0].message, "Assertion failed: bytes != ((void*)0)");
}

TEST_F(Checks, AssertWithMessageHasItsOwnFormat) {
  MO_FUNCTION("void f()");
  const HxRange searchRange{2, 9};
  const HxString text = "four"_hx;
  MoAssertWithMessage(HxRangeFits(searchRange, text.length()), "searchRange=%@, self.length=%u"_hx,
                      HxStringFromRange(searchRange), text.length());
  EXPECT_EQ(failures[0].message, "searchRange={2, 9}, self.length=4");
  expectOne("searchRange=%@, self.length=%u", {"{2, 9}", "4"},
            "HxRangeFits(searchRange, text.length())");
}

TEST_F(Checks, AssertWithMessageTakesTextAndNoArguments) {
  MO_FUNCTION("void f()");
  MoAssertWithMessageText(1 > 2, "[keys count] == count",
                          "sorting the key array changed the number of items!"_hx);
  expectOne("sorting the key array changed the number of items!", {}, "[keys count] == count");
}

TEST_F(Checks, CheckString) {
  MO_FUNCTION("void f()");
  HxAny aspect;
  MoCheckString(aspect);
  expectOne("%s should be a string, but it is nil", {"aspect"}, "(aspect) != nil");
  aspect = kCup;
  MoCheckString(aspect);
  EXPECT_EQ(failures[0].message, "aspect should be a string, but it is <a cup>");
  expectOne("%s should be a string, but it is %@", {"aspect", "<a cup>"},
            "HcGetTypeID(aspect) == HcStringGetTypeID()");
  aspect = ""_hx;
  MoCheckString(aspect);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckStringOrNil) {
  MO_FUNCTION("void f()");
  HxAny subpath = kCup;
  MoCheckStringOrNil(subpath);
  expectOne("%s should be a string, but it is %@", {"subpath", "<a cup>"},
            "((subpath)) == nil || HcGetTypeID((subpath)) == HcStringGetTypeID()");
  subpath = nullptr;
  MoCheckStringOrNil(subpath);
  subpath = "a"_hx;
  MoCheckStringOrNil(subpath);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckNonEmptyStringOnNilFailsOnce) {
  MO_FUNCTION("void f()");
  const HxString filePath;
  MoCheckNonEmptyString(filePath);
  expectOne("%s should be a non-empty string, but it is nil", {"filePath"}, "(filePath) != nil");
}

TEST_F(Checks, CheckNonEmptyStringOnAnotherObjectFailsOnce) {
  MO_FUNCTION("void f()");
  const HxAny filePath = kCup;
  MoCheckNonEmptyString(filePath);
  expectOne("%s should be a non-empty string, but it is %@", {"filePath", "<a cup>"},
            "HcGetTypeID(filePath) == HcStringGetTypeID()");
}

TEST_F(Checks, CheckNonEmptyStringOnTheEmptyStringFailsOnce) {
  MO_FUNCTION("void f()");
  const HxString filePath = ""_hx;
  MoCheckNonEmptyString(filePath);
  EXPECT_EQ(failures[0].message, "filePath should be a non-empty string, but it's an empty string");
  expectOne("%s should be a non-empty string, but it's an empty string", {"filePath", ""},
            "![(filePath) isEqualToString:@\"\"]");
}

TEST_F(Checks, CheckNonEmptyStringAsksAnyObjectForItsLength) {
  MO_FUNCTION("void f()");
  const HxAny filePath = ""_hx;
  MoCheckNonEmptyString(filePath);
  expectOne("%s should be a non-empty string, but it's an empty string", {"filePath", ""},
            "![(filePath) isEqualToString:@\"\"]");
}

TEST_F(Checks, CheckNonEmptyStringPassesForText) {
  MO_FUNCTION("void f()");
  MoCheckNonEmptyString("a"_hx);
  MoCheckNonEmptyString(HxAny("a"_hx));
  EXPECT_TRUE(failures.empty());
}

// An object that is a string by its class and not by its type, and one the other way round.
class Impostor final : public HxObject {
 public:
  HxClass hxClass() const noexcept override { return HxStringObject::classObject(); }
};

class Dash final : public HxStringObject {
 public:
  HxUInteger length() const override { return 1; }
  HxUniChar characterAtIndex(HxUInteger) const override { return u'-'; }
  void getCharacters(HxUniChar* buffer, HxRange) const override { *buffer = u'-'; }
  HxClass hxClass() const noexcept override { return HxObject::classObject(); }
};

TEST_F(Checks, StringsAreReportedByTheirTypeAndInstancesByTheirClass) {
  MO_FUNCTION("void f()");
  const HxAny impostor = makeRef<Impostor>();
  const HxAny dash = makeRef<Dash>();
  MoCheckString(dash);
  MoCheckStringOrNil(dash);
  MoCheckNonEmptyString(dash);
  MoCheckInstance(impostor, HxStringObject);
  MoCheckInstanceOrNil(impostor, HxStringObject);
  EXPECT_TRUE(failures.empty());
  MoCheckString(impostor);
  MoCheckStringOrNil(impostor);
  MoCheckNonEmptyString(impostor);
  MoCheckInstance(dash, HxStringObject);
  MoCheckInstanceOrNil(dash, HxStringObject);
  EXPECT_EQ(failures.size(), 5U);
}

TEST_F(Checks, CheckArray) {
  MO_FUNCTION("void f()");
  HxAny stringList;
  MoCheckArray(stringList);
  expectOne("%s should be a array, but it is nil", {"stringList"}, "(stringList) != nil");
  stringList = "a"_hx;
  MoCheckArray(stringList);
  expectOne("%s should be an array, but it is %@", {"stringList", "a"},
            "HcGetTypeID(stringList) == HcArrayGetTypeID()");
  stringList = HxArray::array();
  MoCheckArray(stringList);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckInstance) {
  MO_FUNCTION("void f()");
  HxAny stream;
  MoCheckInstance(stream, Cup);
  expectOne("%s should be an instance inheriting from %@, but it is nil", {"stream", "Cup"},
            "(stream) != nil");
  stream = kCup;
  MoCheckInstance(stream, Mug);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"stream", "Mug", "<a cup>"}, "[(id)(stream) isKindOfClass:[Mug class]]");
  stream = makeRef<Mug>();
  MoCheckInstance(stream, Cup);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckInstanceOfAValueType) {
  MO_FUNCTION("void f()");
  HxAny key = kCup;
  MoCheckInstance(key, HxString);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"key", "HxString", "<a cup>"}, "[(id)(key) isKindOfClass:[HxString class]]");
  key = "a"_hx;
  MoCheckInstance(key, HxString);
  EXPECT_TRUE(failures.empty());
  MoCheckInstance(key, HxMutableString);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"key", "HxMutableString", "a"}, "[(id)(key) isKindOfClass:[HxMutableString class]]");
}

TEST_F(Checks, CheckInstanceNamesTheClassWithoutItsNamespace) {
  MO_FUNCTION("void f()");
  const HxAny key = kCup;
  MoCheckInstance(key, rondel::HxArray);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"key", "HxArray", "<a cup>"}, "[(id)(key) isKindOfClass:[HxArray class]]");
  MoCheckInstanceOrNilNamed(key, "a::b", ::rondel::HxArray);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"a::b", "HxArray", "<a cup>"},
            "(a::b) == nil || [(id)(a::b) isKindOfClass:[HxArray class]]");
}

TEST_F(Checks, CheckInstanceOrNil) {
  MO_FUNCTION("void f()");
  HxAny array = kCup;
  MoCheckInstanceOrNil(array, HxString);
  expectOne("%s should be an instance inheriting from %@, but it is %@",
            {"array", "HxString", "<a cup>"},
            "(array) == nil || [(id)(array) isKindOfClass:[HxString class]]");
  array = nullptr;
  MoCheckInstanceOrNil(array, HxString);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckConformsToProtocolOrNil) {
  MO_FUNCTION("void f()");
  HxAny consumer = kCup;
  MoCheckConformsToProtocolOrNil(consumer, Drinkable);
  EXPECT_EQ(failures[0].message,
            "consumer should conform to protocol @protocol(Drinkable), but <a cup> doesn't");
  expectOne("%s should conform to protocol %s, but %@ doesn't",
            {"consumer", "@protocol(Drinkable)", "<a cup>"},
            "(consumer) == nil || [(id)(consumer) conformsToProtocol:@protocol(Drinkable)]");
  consumer = makeRef<Mug>();
  MoCheckConformsToProtocolOrNil(consumer, Drinkable);
  consumer = nullptr;
  MoCheckConformsToProtocolOrNil(consumer, Drinkable);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, CheckRespondsToSelector) {
  MO_FUNCTION("void f()");
  HxAny self;
  HxSelector aSelector("drink");
  MoCheckRespondsToSelector(self, aSelector);
  expectOne("%s should respond to '%@', but it is nil", {"self", "drink"}, "(self) != nil");
  self = kCup;
  MoCheckRespondsToSelector(self, aSelector);
  EXPECT_TRUE(failures.empty());
  aSelector = HxSelector("smash:");
  MoCheckRespondsToSelector(self, aSelector);
  EXPECT_EQ(failures[0].message, "self should respond to 'smash:', but <a cup> doesn't");
  expectOne("%s should respond to '%@', but %@ doesn't", {"self", "smash:", "<a cup>"},
            "[(id)(self) respondsToSelector:aSelector]");
}

TEST_F(Checks, SubclassResponsibilityNamesTheReceiversClassAndGoesOn) {
  const Ref<Mug> mug = makeRef<Mug>();
  mug->pour();
  EXPECT_TRUE(mug->afterPour);
  EXPECT_EQ(failures[0].message, "method -[Cup pour] is a responsibility of subclasses of Mug");
  expectOne("method %s is a responsibility of subclasses of %@", {"-[Cup pour]", "Mug"}, "0");
}

TEST_F(Checks, SubclassResponsibilityWithoutAReceiverNamesNoClass) {
  MO_FUNCTION("void f()");
  MoSubclassResponsibility();
  expectOne("method %s is a responsibility of subclasses of %@", {"void f()", "(null)"}, "0");
}

TEST_F(Checks, NamedFormsTakeTheTextOfTheArgument) {
  MO_FUNCTION("void f()");
  const HxAny none;
  const HxSelector drink("drink");
  MoCheckStringNamed(none, "string");
  expectOne("%s should be a string, but it is nil", {"string"}, "(string) != nil");
  MoCheckRespondsToSelectorNamed(none, "self", drink, "aSelector");
  expectOne("%s should respond to '%@', but it is nil", {"self", "drink"}, "(self) != nil");
  MoCheckInstanceNamed(none, "[keys lastObject]", HxString);
  expectOne("%s should be an instance inheriting from %@, but it is nil",
            {"[keys lastObject]", "HxString"}, "([keys lastObject]) != nil");
}

TEST_F(Checks, FieldsAreNamedWithTheirUnderscore) {
  MO_FUNCTION("void f()");
  const HxAny _enabledNames;
  MoCheckArray(_enabledNames);
  expectOne("%s should be a array, but it is nil", {"_enabledNames"}, "(_enabledNames) != nil");
}

TEST_F(Checks, ArgumentsMayBeReferencesAndPointers) {
  MO_FUNCTION("void f()");
  const Ref<Cup> cup = makeRef<Cup>();
  const Ref<Cup> none;
  const Cup* const pointer = cup.get();
  MoCheckInstance(cup, Cup);
  MoCheckInstance(pointer, Cup);
  MoCheckInstance(none, Cup);
  expectOne("%s should be an instance inheriting from %@, but it is nil", {"none", "Cup"},
            "(none) != nil");
}

// A temporary is alive while its failure is told.
TEST_F(Checks, ArgumentsMayBeTemporary) {
  MO_FUNCTION("void f()");
  MoCheckString(HxAny(makeRef<Cup>()));
  EXPECT_EQ(failures[0].arguments[1], "<a cup>");
}

TEST_F(Checks, ArgumentsAreEvaluatedOnce) {
  MO_FUNCTION("void f()");
  int calls = 0;
  const auto next = [&]() -> HxAny { return ++calls == 1 ? kCup : HxAny(); };
  MoCheckNonEmptyString(next());
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(failures.size(), 1U);
}

// ---- With a failure, and without one -----------------------------------------------------------

// One failure of each form that tells the sink.
void (*const kFailures[])(const HxHandle& value) = {
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoAssert(value.isNil());
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoAssertWithMessage(!value, "%@"_hx, value);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckString(value);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckStringOrNil(value);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckNonEmptyString(value);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckArray(value);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckInstance(value, Mug);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckInstanceOrNil(value, Mug);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckConformsToProtocolOrNil(value, Drinkable);
    },
    [](const HxHandle& value) {
      MO_FUNCTION("f");
      MoCheckRespondsToSelector(value, HxSelector("x"));
    },
    [](const HxHandle&) {
      MO_FUNCTION("f");
      MoSubclassResponsibility();
    },
};

TEST_F(Checks, ASinkMayRaiseThroughEachForm) {
  MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*, int,
                                  const HxString&, HxArguments) { throw std::runtime_error("x"); });
  const int cups = Cup::alive;
  for (const auto fail : kFailures) EXPECT_THROW(fail(makeRef<Cup>()), std::runtime_error);
  EXPECT_EQ(Cup::alive, cups);
}

TEST_F(Checks, PassingChecksTakeNothingAndDescribeNothing) {
  MO_FUNCTION("void f()");
  const HxString text = "text"_hx;
  const HxArray list = HxArray::array();
  const HxAny cup = makeRef<Mug>();
  const HxSelector drink("drink");
  Cup::descriptions = 0;
  const test::AllocationCounter counter;
  MoAssert(text.length() == 4);
  MoAssertWithMessage(cup, "%@"_hx, HxString::stringWithFormat("%@"_hx, cup));
  MoCheckString(text);
  MoCheckStringOrNil(text);
  MoCheckNonEmptyString(text);
  MoCheckArray(list);
  MoCheckInstance(cup, Cup);
  MoCheckInstanceOrNil(cup, Mug);
  MoCheckConformsToProtocolOrNil(cup, Drinkable);
  MoCheckRespondsToSelector(cup, drink);
  HxParameterAssert(cup);
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_EQ(Cup::descriptions, 0);
  EXPECT_TRUE(failures.empty());
}

TEST_F(Checks, AFailureDescribesTheValueOnce) {
  Cup::descriptions = 0;
  MO_FUNCTION("void f()");
  MoCheckString(kCup);
  EXPECT_EQ(Cup::descriptions, 1);
}

}  // namespace
}  // namespace rondel
