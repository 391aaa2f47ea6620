// SPDX-License-Identifier: MIT
#include "Rondel/core/report/AssertionHandler.h"

#include <gtest/gtest.h>

#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/testing/FailureRecorder.h"

namespace rondel {
namespace {

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
  const test::FailureRecorder recorder;
  EXPECT_THROW(insertLine(0), HxException);
  EXPECT_TRUE(recorder.failures().empty());
}

TEST(ParameterAssert, PassesInSilence) { EXPECT_TRUE(insertLine(1)); }

class Listening final : public HxAssertionHandler {
 public:
  void handleFailureInMethod(HxSelector method, const HxHandle& object, const HxString& file,
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
