// SPDX-License-Identifier: MIT
#include "Rondel/core/Check.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/AssertionHandler.h"
#include "Rondel/core/Exception.h"
#include "Rondel/core/Log.h"
#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

// What a sink was told, copied.
struct Failure {
  const HxAny* selfPlace;
  const HxSelector* commandPlace;
  const HxObject* receiver;
  std::string operation;  // "(none)" for the null name
  std::string function;
  std::string file;
  int line;
  std::string format;
  std::vector<std::string> arguments;

  std::string message() const { return _message; }
  std::string _message;
};

std::vector<Failure> failures;

void record(const HxAny* self, const HxSelector* _cmd, const char* function, const char* file,
            int line, const HxString& format, HxArguments arguments) {
  Failure failure{self,     _cmd, self->object(), *_cmd ? _cmd->name() : "(none)",
                  function, file, line,           format.toStdString(),
                  {},       {}};
  for (const HxArgument& argument : arguments) {
    failure.arguments.push_back(HxString::stringWithFormat("%@"_hx, argument).toStdString());
  }
  failure._message = HxString::initWithFormatArguments(format, arguments).toStdString();
  failures.push_back(std::move(failure));
}

// Puts the recording sink in charge, and the former one back.
class Checks : public ::testing::Test {
 protected:
  Checks() : _former(MoSetAssertionFailureHandler(record)) { failures.clear(); }
  ~Checks() override { MoSetAssertionFailureHandler(_former); }

  // One failure, with this format, these arguments of its own, and this condition.
  static void expectOne(const std::string& format, std::vector<std::string> arguments,
                        const std::string& condition) {
    ASSERT_EQ(failures.size(), 1U);
    arguments.push_back("Assertion failed: %s");
    arguments.push_back(condition);
    EXPECT_EQ(failures[0].format, format);
    EXPECT_EQ(failures[0].arguments, arguments);
    failures.clear();
  }

 private:
  MoAssertionFailureSink _former;
};

// An interface, and a class that may be asked for everything the forms ask.
class Drinkable {
 public:
  virtual ~Drinkable() = default;
};

class Cup : public HxObject {
 public:
  static HxClass classObject() noexcept {
    static constexpr HxMethod methods[] = {
        {"drink", [](HxObject&, const HxAny&) -> HxAny { return nullptr; }}};
    static const HxClassInfo info{"Cup", HxObject::classObject().info(), nullptr, methods, 1};
    return HxClass(&info);
  }
  HxClass hxClass() const noexcept override { return classObject(); }
  HxString descriptionForAssertionMessage() const override {
    ++descriptions;
    return "<a cup>"_hx;
  }
  static int descriptions;

  // Operations that check.
  void fill(const HxAny& drink) {
    MO_OPERATION("-[Cup fill:]");
    MoCheckString(drink);
  }
  void fillWith(int amount) {
    MO_OPERATION("-[Cup(Amounts) fillWith:inMillilitres:]");
    MoAssert(amount > 0);
  }
  static void wash(const HxAny& cup) {
    MO_CLASS_OPERATION("+[Cup wash:]");
    MoCheckInstance(cup, Cup);
  }
  virtual void pour() {
    MO_OPERATION("-[Cup pour]");
    MoSubclassResponsibility();
    afterPour = true;
  }
  bool afterPour = false;
};
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
  EXPECT_EQ(failures[0].message(), "Assertion failed: amount > 0");
}

TEST_F(Checks, AssertTakesAConditionWithCommas) {
  MO_FUNCTION("void f()");
  MoAssert(std::is_same_v<int, long>);
  EXPECT_EQ(failures[0].message(), "Assertion failed: std::is_same_v<int, long>");
}

TEST_F(Checks, AssertTakesTheTextOfTheCondition) {
  MO_FUNCTION("void f()");
  const void* const bytes = nullptr;
  MoAssertText(bytes != nullptr, "bytes != ((void*)0)");
  EXPECT_EQ(failures[0].message(), "Assertion failed: bytes != ((void*)0)");
}

TEST_F(Checks, AssertWithMessageHasItsOwnFormat) {
  MO_FUNCTION("void f()");
  const HxRange searchRange{2, 9};
  const HxString text = "four"_hx;
  MoAssertWithMessage(HxRangeFits(searchRange, text.length()), "searchRange=%@, self.length=%u"_hx,
                      HxStringFromRange(searchRange), text.length());
  EXPECT_EQ(failures[0].message(), "searchRange={2, 9}, self.length=4");
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
  EXPECT_EQ(failures[0].message(), "aspect should be a string, but it is <a cup>");
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
  EXPECT_EQ(failures[0].message(),
            "filePath should be a non-empty string, but it's an empty string");
  expectOne("%s should be a non-empty string, but it's an empty string", {"filePath", ""},
            "![(filePath) isEqualToString:@\"\"]");
}

TEST_F(Checks, CheckNonEmptyStringPassesForText) {
  MO_FUNCTION("void f()");
  MoCheckNonEmptyString("a"_hx);
  EXPECT_TRUE(failures.empty());
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
  EXPECT_EQ(failures[0].message(),
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
  EXPECT_EQ(failures[0].message(), "self should respond to 'smash:', but <a cup> doesn't");
  expectOne("%s should respond to '%@', but %@ doesn't", {"self", "smash:", "<a cup>"},
            "[(id)(self) respondsToSelector:aSelector]");
}

TEST_F(Checks, SubclassResponsibilityNamesTheReceiversClassAndGoesOn) {
  const Ref<Mug> mug = makeRef<Mug>();
  mug->pour();
  EXPECT_TRUE(mug->afterPour);
  EXPECT_EQ(failures[0].message(), "method -[Cup pour] is a responsibility of subclasses of Mug");
  expectOne("method %s is a responsibility of subclasses of %@", {"-[Cup pour]", "Mug"}, "0");
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

// ---- Receiver, name and place -------------------------------------------------------------------

TEST_F(Checks, InAnOperationReceiverAndNameAreItsOwn) {
  const Ref<Cup> cup = makeRef<Cup>();
  cup->fill(HxAny());
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].receiver, cup.get());
  EXPECT_EQ(failures[0].operation, "fill:");
  EXPECT_EQ(failures[0].function, "-[Cup fill:]");
}

TEST_F(Checks, ANameMayHaveAGroupAndSeveralKeywords) {
  makeRef<Cup>()->fillWith(0);
  EXPECT_EQ(failures[0].operation, "fillWith:inMillilitres:");
  EXPECT_EQ(failures[0].function, "-[Cup(Amounts) fillWith:inMillilitres:]");
}

TEST_F(Checks, InAClassOperationTheReceiverIsNullAndTheNameIsNot) {
  Cup::wash(HxAny());
  EXPECT_EQ(failures[0].receiver, nullptr);
  EXPECT_EQ(failures[0].operation, "wash:");
}

TEST_F(Checks, InAPlainFunctionBothAreTheGlobals) {
  MO_FUNCTION("void f(HxString *)");
  MoAssert(false);
  EXPECT_EQ(failures[0].selfPlace, &globals::self);
  EXPECT_EQ(failures[0].commandPlace, &globals::_cmd);
  EXPECT_EQ(failures[0].receiver, nullptr);
  EXPECT_EQ(failures[0].operation, "(none)");
  EXPECT_EQ(failures[0].function, "void f(HxString *)");
}

template <class Receiver>
void checkInAddition(const Receiver& self) {
  MO_ADDITION(self, "-[HxObject(Tests) checkInAddition]");
  MoAssert(false);
}

TEST_F(Checks, InAnAdditionTheReceiverIsTheFirstArgument) {
  const Ref<Cup> cup = makeRef<Cup>();
  const HxString text = "a"_hx;
  checkInAddition(HxAny(cup));
  checkInAddition(cup);
  checkInAddition(cup.get());
  checkInAddition(*cup);
  checkInAddition(text);
  checkInAddition(HxString());
  ASSERT_EQ(failures.size(), 6U);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(failures[static_cast<std::size_t>(i)].receiver, cup.get());
  EXPECT_EQ(failures[4].receiver, text.object());
  EXPECT_EQ(failures[5].receiver, nullptr);
  EXPECT_EQ(failures[5].operation, "checkInAddition");
}

TEST_F(Checks, FileAndLineAreThoseOfTheCheck) {
  MO_FUNCTION("void f()");
  const int line = __LINE__ + 1;
  MoAssert(false);
  EXPECT_EQ(failures[0].line, line);
  EXPECT_EQ(failures[0].file, __FILE__);
}

TEST_F(Checks, StandInLambdasOfAnOperation) {
  MO_FUNCTION("void f()");
  const auto inner = [&] { MoAssert(false); };
  inner();
  EXPECT_EQ(failures[0].function, "void f()");
}

// Counting the receiver up and down again in its destructor would end it twice.
class Fragile final : public HxObject {
 public:
  ~Fragile() override {
    MO_OPERATION("-[Fragile dealloc]");
    MoAssert(false);
  }
};

TEST_F(Checks, MayFailInADestructor) {
  makeRef<Fragile>();
  EXPECT_EQ(failures.size(), 1U);
}

// ---- After a failure, and without one -----------------------------------------------------------

int lengthBehindACheck(const HxString& text) {
  MO_FUNCTION("int lengthBehindACheck(HxString *)");
  MoCheckNonEmptyString(text);
  return static_cast<int>(text.length());
}

TEST_F(Checks, TheCodeGoesOnWhenTheSinkReturns) {
  EXPECT_EQ(lengthBehindACheck(nullptr), 0);
  EXPECT_EQ(failures.size(), 1U);
}

TEST_F(Checks, ASinkMayRaiseThroughTheCheck) {
  MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*, int,
                                  const HxString&, HxArguments) { throw std::runtime_error("x"); });
  EXPECT_THROW(lengthBehindACheck(nullptr), std::runtime_error);
}

TEST_F(Checks, PassingChecksTakeNothingAndDescribeNothing) {
  MO_FUNCTION("void f()");
  const HxString text = "text"_hx;
  const HxAny cup = makeRef<Mug>();
  const HxSelector drink("drink");
  Cup::descriptions = 0;
  const test::AllocationCounter counter;
  MoAssert(text.length() == 4);
  MoAssertWithMessage(cup, "%@"_hx, HxString::stringWithFormat("%@"_hx, cup));
  MoCheckString(text);
  MoCheckStringOrNil(text);
  MoCheckNonEmptyString(text);
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
  makeRef<Cup>()->fill(kCup);
  EXPECT_EQ(Cup::descriptions, 1);
}

// ---- The sink -----------------------------------------------------------------------------------

std::string logged;

class DefaultSink : public ::testing::Test {
 protected:
  DefaultSink()
      : _former(HxSetLogOutput([](const HxString& line) { logged += line.toStdString() + '\n'; })) {
    logged.clear();
  }
  ~DefaultSink() override { HxSetLogOutput(_former); }

 private:
  HxLogOutput _former;
};

TEST_F(DefaultSink, WritesFileLineFunctionAndMessageAndReturns) {
  const int line = __LINE__ + 3;
  const auto check = [&] {
    MO_FUNCTION("void f(HxString *)");
    MoCheckString(HxString());
  };
  check();
  EXPECT_EQ(logged, std::string(__FILE__) + ":" + std::to_string(line) +
                        ": void f(HxString *): HxString() should be a string, but it is nil\n");
}

TEST_F(DefaultSink, SurvivesANilFormat) {
  MoAssertionFailureHandler(&globals::self, &globals::_cmd, "f", "file", 1, nullptr, {});
  EXPECT_EQ(logged, "file:1: f: (null)\n");
}

TEST_F(DefaultSink, ComesBackForNull) {
  const MoAssertionFailureSink first = MoSetAssertionFailureHandler(record);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(MoSetAssertionFailureHandler(nullptr), &record);
  EXPECT_EQ(MoSetAssertionFailureHandler(first), first);
}

std::atomic<int> failuresOfThreads;

TEST(CheckThreads, SitesThatFailAtOnceCallTheSinkIndependently) {
  failuresOfThreads = 0;
  const MoAssertionFailureSink former =
      MoSetAssertionFailureHandler([](const HxAny*, const HxSelector*, const char*, const char*,
                                      int, const HxString& format, HxArguments arguments) {
        if (HxString::initWithFormatArguments(format, arguments).hasPrefix("text should be"_hx)) {
          ++failuresOfThreads;
        }
      });
  const auto work = [] {
    for (int i = 0; i < 200; ++i) lengthBehindACheck(nullptr);
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  MoSetAssertionFailureHandler(former);
  EXPECT_EQ(failuresOfThreads, 800);
}

// ---- Parameters ---------------------------------------------------------------------------------

bool insertLine(int line) {
  MO_FUNCTION("BOOL insertLine(int)");
  HxParameterAssert(line > 0);
  return line > 0;
}

TEST(ParameterAssert, RaisesWithTheConditionAsReason) {
  try {
    insertLine(0);
    FAIL() << "nothing was raised";
  } catch (const HxException& exception) {
    EXPECT_EQ(exception.name(), HxInternalInconsistencyException);
    EXPECT_EQ(exception.reason(), "Invalid parameter not satisfying: line > 0"_hx);
  }
}

TEST(ParameterAssert, DoesNotCallTheSink) {
  failures.clear();
  const MoAssertionFailureSink former = MoSetAssertionFailureHandler(record);
  EXPECT_THROW(insertLine(0), HxException);
  MoSetAssertionFailureHandler(former);
  EXPECT_TRUE(failures.empty());
}

TEST(ParameterAssert, PassesInSilence) { EXPECT_TRUE(insertLine(1)); }

class Listening final : public HxAssertionHandler {
 public:
  void handleFailureInMethod(HxSelector method, const HxAny& object, const HxString& file,
                             HxInteger lineNumber, const HxString& description,
                             HxArguments arguments) override {
    heard = HxString::stringWithFormat(
        "%s|%d|%@|%ld|%@|%@"_hx, method.name(), object.object() == expectedObject, file, lineNumber,
        description, HxString::initWithFormatArguments(description, arguments));
  }
  HxString heard;
  const HxObject* expectedObject = nullptr;
};

class Page final : public HxObject {
 public:
  int insert(int at) {
    MO_OPERATION("-[Page insertString:atLine:]");
    line = __LINE__ + 1;
    HxParameterAssertText(at >= 0, "lineNumber >= 0");
    return at;
  }
  int line = 0;
};

TEST(ParameterAssert, TellsTheHandlerOfTheThreadAndGoesOnWhenItReturns) {
  const Ref<Listening> listening = makeRef<Listening>();
  const Ref<HxAssertionHandler> former = HxAssertionHandler::setCurrentHandler(listening);
  const Ref<Page> page = makeRef<Page>();
  listening->expectedObject = page.get();
  EXPECT_EQ(page->insert(-3), -3);
  HxAssertionHandler::setCurrentHandler(former);
  EXPECT_EQ(listening->heard,
            HxString::stringWithFormat("insertString:atLine:|1|%s|%d|Invalid parameter not "
                                       "satisfying: %%s|Invalid parameter not satisfying: "
                                       "lineNumber >= 0"_hx,
                                       __FILE__, page->line));
}

TEST(ParameterAssert, EachThreadHasItsOwnHandler) {
  const Ref<HxAssertionHandler> former =
      HxAssertionHandler::setCurrentHandler(makeRef<Listening>());
  bool raised = false;
  std::thread([&] {
    try {
      insertLine(0);
    } catch (const HxException&) {
      raised = true;
    }
  }).join();
  EXPECT_NO_THROW(insertLine(0));
  HxAssertionHandler::setCurrentHandler(nullptr);
  EXPECT_THROW(insertLine(0), HxException);
  HxAssertionHandler::setCurrentHandler(former);
  EXPECT_TRUE(raised);
}

}  // namespace
}  // namespace rondel
