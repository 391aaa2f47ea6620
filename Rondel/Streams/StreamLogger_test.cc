// SPDX-License-Identifier: MIT
#include "Rondel/Streams/StreamLogger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Rondel/testing/LogRecorder.h"
#include "Rondel/testing/StreamRecorder.h"

namespace rondel {
namespace {

std::string addressOf(const ZevMoStream* stream) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", static_cast<const void*>(stream));
  return text;
}

// The number of a report; and the report after it.
unsigned long numberOf(const std::string& report) {
  const std::string head = "Stream Logger\n";
  EXPECT_EQ(report.substr(0, head.size()), head);
  return std::stoul(report.substr(head.size()));
}
std::string bodyOf(const std::string& report) { return report.substr(report.find(": ") + 2); }

// The body of the report of one event on an unnamed head.
std::string expectedBody(const ZevMoStream* stream, const std::string& message) {
  return "stream:" + addressOf(stream) + "/src:" + addressOf(stream) + "\n" + message + "\n----\n";
}

struct Fixture {
  test::LogRecorder log;
  Ref<ZevMoStreamLogger> logger = ZevMoStreamLogger::init();
  Ref<ZevMoByteStream> stream = ZevMoByteStream::init();

  std::string dumpOf(const HxData& data) {
    logger->streamProcessBytes(stream.get(), data);
    return bodyOf(log.messages().back());
  }
};

TEST(StreamLogger, ReportsEveryEvent) {
  Fixture f;
  f.logger->streamDidEnd(f.stream.get());
  f.logger->streamProcessBytes(f.stream.get(), HxData::data());
  f.logger->streamProcessBytes(f.stream.get(), nullptr);
  f.logger->streamProcessCharacters(f.stream.get(), "some 'text'"_hx);
  f.logger->streamProcessLine(f.stream.get(), "a line\n"_hx);
  f.logger->streamProcessLine(f.stream.get(), "100%, 5%@ and %s"_hx);
  f.logger->streamProcessCharacters(f.stream.get(), nullptr);
  f.logger->streamProcessLine(f.stream.get(), nullptr);
  const char* const messages[] = {"EndOfStream",      "empty HxData",
                                  "empty HxData",     "chars->'some 'text''",
                                  "line->'a line\n'", "line->'100%, 5%@ and %s'",
                                  "chars->'(null)'",  "line->'(null)'"};
  ASSERT_EQ(f.log.messages().size(), std::size(messages));
  for (std::size_t i = 0; i < std::size(messages); ++i) {
    EXPECT_EQ(bodyOf(f.log.messages()[i]), expectedBody(f.stream.get(), messages[i]));
  }
}

TEST(StreamLogger, ReportsWhatAStreamSends) {
  Fixture f;
  f.stream->setByteStreamConsumer(f.logger);
  f.stream->sendBytes(test::dataOf("A"));
  f.stream->sendStreamDidEnd();
  ASSERT_EQ(f.log.messages().size(), 2u);
  EXPECT_EQ(bodyOf(f.log.messages()[0]), expectedBody(f.stream.get(), "\t  0: 0x41 "));
  EXPECT_EQ(bodyOf(f.log.messages()[1]), expectedBody(f.stream.get(), "EndOfStream"));
}

TEST(StreamLogger, ShowsTheNamesOfStreamAndSource) {
  Fixture f;
  const Ref<ZevMoByteStream> head = ZevMoByteStream::init();
  head->setName("the head"_hx);
  f.stream->setName("neighbour"_hx);
  f.stream->setUpstreamStream(head.get());
  f.logger->streamDidEnd(f.stream.get());
  f.stream->setUpstreamStream(nullptr);
  EXPECT_EQ(bodyOf(f.log.messages()[0]), "stream:" + addressOf(f.stream.get()) +
                                             "(neighbour)/src:" + addressOf(head.get()) +
                                             "(the head)\nEndOfStream\n----\n");
}

TEST(StreamLogger, LeavesAnEmptyNameOut) {
  Fixture f;
  f.stream->setName(""_hx);
  f.logger->streamDidEnd(f.stream.get());
  EXPECT_EQ(bodyOf(f.log.messages()[0]), expectedBody(f.stream.get(), "EndOfStream"));
}

TEST(StreamLogger, DumpsThreeBytesInOneRow) {
  Fixture f;
  const HxData data = test::dataOf(std::string_view("\0\n\xFF", 3));
  EXPECT_EQ(f.dumpOf(data), expectedBody(f.stream.get(), "\t  0: 0x0 0xa 0xff "));
}

TEST(StreamLogger, BeginsARowAtEverySixteenBytes) {
  Fixture f;
  std::string row = "\t  0: ";
  for (int i = 0; i < 16; ++i) row += "0x20 ";
  EXPECT_EQ(f.dumpOf(test::dataOf(std::string(16, ' '))), expectedBody(f.stream.get(), row));
  row += "\n\t 16: 0x20 ";
  EXPECT_EQ(f.dumpOf(test::dataOf(std::string(17, ' '))), expectedBody(f.stream.get(), row));
}

TEST(StreamLogger, OffsetsWidenPastThreeDigits) {
  Fixture f;
  const std::string body = f.dumpOf(test::dataOf(std::string(1009, 'x')));
  EXPECT_NE(body.find("\n\t992: "), std::string::npos);
  EXPECT_NE(body.find("\n\t1008: 0x78 \n----\n"), std::string::npos);
}

TEST(StreamLogger, NumbersTheReportsOfAllLoggersTogether) {
  Fixture f;
  const Ref<ZevMoStreamLogger> other = ZevMoStreamLogger::init();
  f.logger->streamDidEnd(f.stream.get());
  other->streamDidEnd(f.stream.get());
  f.logger->streamDidEnd(f.stream.get());
  EXPECT_EQ(numberOf(f.log.messages()[1]), numberOf(f.log.messages()[0]) + 1);
  EXPECT_EQ(numberOf(f.log.messages()[2]), numberOf(f.log.messages()[0]) + 2);
}

// In a process of its own, where no logger has reported yet.
TEST(StreamLogger, NumbersBeginAtZero) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto report = [] {
    ZevMoStreamLogger::init()->streamDidEnd(nullptr);
    std::_Exit(0);
  };
  EXPECT_EXIT(report(), testing::ExitedWithCode(0), "Stream Logger\n  0: stream:");
}

TEST(StreamLogger, NumbersArePaddedToThreeAndWidenAtAThousand) {
  Fixture f;
  do f.logger->streamDidEnd(f.stream.get());
  while (numberOf(f.log.messages().back()) < 1000);
  for (const std::string& report : f.log.messages()) {
    char head[64];
    std::snprintf(head, sizeof head, "Stream Logger\n%3lu: stream:", numberOf(report));
    ASSERT_EQ(report.substr(0, std::string(head).size()), head);
  }
}

TEST(StreamLogger, SurvivesANullStream) {
  Fixture f;
  f.logger->streamDidEnd(nullptr);
  EXPECT_EQ(bodyOf(f.log.messages()[0]), "stream:(nil)/src:(nil)\nEndOfStream\n----\n");
}

TEST(StreamLogger, IsNotOwnedByTheStreamItIsLinkedUnder) {
  Fixture f;
  f.stream->setByteStreamConsumer(f.logger);
  EXPECT_TRUE(f.logger->isUniquelyReferenced());
  EXPECT_FALSE(
      HxAny(f.logger).conformsToProtocol(protocolOf<ZevMoStreamConsumerRetaining>("mark")));
  f.stream->setByteStreamConsumer(nullptr);
}

}  // namespace
}  // namespace rondel
