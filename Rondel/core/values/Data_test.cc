// SPDX-License-Identifier: MIT
#include "Rondel/core/values/Data.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/Collections.h"
#include "Rondel/testing/Places.h"

namespace rondel::test {
namespace {

HxData dataOf(std::string_view bytes) { return HxData::dataWithBytes(bytes.data(), bytes.size()); }
std::string bytesOf(const HxData& data) {
  return std::string(reinterpret_cast<const char*>(data.bytes()), data.length());
}
HxString pathOf(const std::string& path) { return HxString(std::string_view(path)); }

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  unsigned state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1103515245 + 12345) >> 16);
  return bytes;
}

// ---- Making and reading -----------------------------------------------------------------------

TEST(Data, CopiesItsBytes) {
  char bytes[] = "a\0b";
  const HxData data = HxData::dataWithBytes(bytes, 3);
  const HxData same = HxData::initWithBytes(bytes, 3);
  bytes[0] = 'x';
  EXPECT_EQ(data.length(), 3U);
  EXPECT_EQ(bytesOf(data), std::string("a\0b", 3));
  EXPECT_EQ(bytesOf(same), std::string("a\0b", 3));
}

TEST(Data, OfNothingIsEmptyAndHasAPlace) {
  for (const HxData& data :
       {HxData::data(), HxData::dataWithBytes(nullptr, 0), HxData::dataWithBytes(nullptr, 7),
        HxData::initWithBytes("", 0), HxData(std::span<const std::byte>()),
        HxData::dataWithData(nullptr), HxData::initWithBytesNoCopy(nullptr, 7, true)}) {
    EXPECT_FALSE(data.isNil());
    EXPECT_TRUE(data.isEmpty());
    EXPECT_NE(data.bytes(), nullptr);
  }
}

TEST(Data, TakesOverABlock) {
  auto* block = static_cast<char*>(std::malloc(3));
  std::memcpy(block, "abc", 3);
  const HxData data = HxData::initWithBytesNoCopy(block, 3, true);
  EXPECT_EQ(data.bytes(), reinterpret_cast<std::uint8_t*>(block));
  EXPECT_EQ(bytesOf(data), "abc");
}

TEST(Data, BorrowsABlockThatItDoesNotFree) {
  char block[] = "abc";
  {
    const HxData data = HxData::initWithBytesNoCopy(block, 3, false);
    EXPECT_EQ(static_cast<const void*>(data.bytes()), block);
  }
  EXPECT_STREQ(block, "abc");
}

TEST(Data, IsASpanOfBytes) {
  const std::array<std::byte, 3> bytes{std::byte{1}, std::byte{2}, std::byte{255}};
  const HxData data{std::span(bytes)};
  std::size_t sum = 0;
  for (const std::byte byte : data.span()) sum += std::to_integer<std::size_t>(byte);
  EXPECT_EQ(sum, 258U);
  EXPECT_EQ(data.span().size(), 3U);
  EXPECT_TRUE(HxData().span().empty());
}

TEST(Data, ReturnsARangeOfItsBytes) {
  const HxData data = dataOf("abcdef");
  EXPECT_EQ(bytesOf(data.subdataWithRange({2, 3})), "cde");
  EXPECT_EQ(bytesOf(data.subdataWithRange({6, 0})), "");
  EXPECT_EQ(bytesOf(data.subdataWithRange({0, 6})), "abcdef");
  char buffer[4] = "...";
  data.getBytes(buffer, {1, 2});
  EXPECT_STREQ(buffer, "bc.");
  data.getBytes(nullptr, {6, 0});
}

TEST(Data, RaisesForARangeBeyondItsEnd) {
  const HxData data = dataOf("abc");
  char buffer[1];
  EXPECT_EQ(messageOf([&] {
              data.subdataWithRange({2, 2});
            }),
            "HxRangeException: -[HxData subdataWithRange:]: range {2, 2} beyond the end, 3");
  EXPECT_EQ(messageOf([&] {
              data.subdataWithRange({4, 0});
            }),
            "HxRangeException: -[HxData subdataWithRange:]: range {4, 0} beyond the end, 3");
  EXPECT_EQ(messageOf([&] {
              data.getBytes(buffer, {3, 1});
            }),
            "HxRangeException: -[HxData getBytes:range:]: range {3, 1} beyond the end, 3");
}

TEST(Data, EqualsByBytes) {
  const HxData data = dataOf("abc");
  EXPECT_TRUE(data.isEqual(dataOf("abc")));
  EXPECT_TRUE(data.isEqualToData(HxMutableData::dataWithBytes("abc", 3)));
  EXPECT_EQ(data.hash(), HxMutableData::dataWithBytes("abc", 3).hash());
  EXPECT_FALSE(data.isEqual(dataOf("abd")));
  EXPECT_FALSE(data.isEqual(dataOf("ab")));
  EXPECT_FALSE(data.isEqual("abc"_hx));
  EXPECT_TRUE(HxData::data().isEqual(HxMutableData::data()));
  EXPECT_FALSE(dataOf(std::string(300, 'a') + "x").isEqual(dataOf(std::string(300, 'a') + "y")));
}

TEST(Data, DescribesItsBytesInGroupsOfFour) {
  EXPECT_EQ(shown(HxData::data()), "<>");
  EXPECT_EQ(shown(dataOf("\x0f\xbd")), "<0fbd>");
  EXPECT_EQ(shown(dataOf("abcd")), "<61626364>");
  EXPECT_EQ(shown(dataOf("abcde")), "<61626364 65>");
}

TEST(Data, OfKnownLengthTakesOneBlock) {
  const AllocationCounter counter;
  const HxData data = dataOf("abcdef");
  EXPECT_EQ(counter.count(), 1U);
  const HxData part = data.subdataWithRange({1, 2});
  EXPECT_EQ(counter.count(), 2U);
  EXPECT_EQ(data.copy().object(), data.object());
  EXPECT_EQ(HxData::dataWithData(data).object(), data.object());
  EXPECT_EQ(counter.count(), 2U);
}

// ---- The mutable form -------------------------------------------------------------------------

TEST(MutableData, Grows) {
  HxMutableData data = HxMutableData::initWithCapacity(2);
  EXPECT_EQ(data.length(), 0U);
  std::string expected;
  for (int i = 0; i < 300; ++i) {
    const char byte = static_cast<char>(i);
    data.appendBytes(&byte, 1);
    expected += byte;
  }
  data.appendData(dataOf("abc"));
  data.appendData(nullptr);
  data.appendData(HxData::data());
  data.appendBytes(nullptr, 5);
  data.appendBytes("x", 0);
  EXPECT_EQ(bytesOf(data), expected + "abc");
}

TEST(MutableData, AppendsItself) {
  HxMutableData data = HxMutableData::dataWithBytes("abc", 3);
  for (int i = 0; i < 8; ++i) data.appendData(data);
  data.appendBytes(data.bytes() + 1, 2);
  std::string expected;
  for (int i = 0; i < 256; ++i) expected += "abc";
  EXPECT_EQ(bytesOf(data), expected + "bc");
}

TEST(MutableData, TakesANewLength) {
  HxMutableData data = HxMutableData::initWithBytes("abc", 3);
  data.setLength(5);
  EXPECT_EQ(bytesOf(data), std::string("abc\0\0", 5));
  data.setLength(1);
  EXPECT_EQ(bytesOf(data), "a");
  data.setLength(3);
  EXPECT_EQ(bytesOf(data), std::string("a\0\0", 3));
  data.setLengthUninitialized(1000);
  EXPECT_EQ(data.length(), 1000U);
  EXPECT_EQ(data.bytes()[0], 'a');
  data.setLength(0);
  EXPECT_TRUE(data.isEmpty());
}

TEST(MutableData, IsWrittenInPlaceAndSharedByItsHandles) {
  HxMutableData data = HxMutableData::dataWithBytes("abc", 3);
  const HxData other = data;
  data.mutableBytes()[1] = 'x';
  EXPECT_EQ(bytesOf(other), "axc");
}

TEST(MutableData, StandsApartFromItsCopies) {
  HxMutableData data = HxMutableData::dataWithBytes("abc", 3);
  const HxData before = data.copy();
  const HxData kept = HxData::dataWithData(data);
  HxMutableData other = data.mutableCopy();
  HxMutableData third = HxMutableData::dataWithData(before);
  data.appendBytes("d", 1);
  other.setLength(1);
  third.mutableBytes()[0] = 'z';
  EXPECT_EQ(bytesOf(before), "abc");
  EXPECT_EQ(bytesOf(kept), "abc");
  EXPECT_EQ(bytesOf(data), "abcd");
  EXPECT_EQ(bytesOf(other), "a");
  EXPECT_EQ(bytesOf(third), "zbc");
}

TEST(MutableData, RoomForTheCapacityIsTakenAtOnce) {
  HxMutableData data = HxMutableData::initWithCapacity(1000);
  const AllocationCounter counter;
  for (int i = 0; i < 1000; ++i) data.appendBytes("a", 1);
  EXPECT_EQ(counter.count(), 0U);
}

TEST(MutableData, AnyCapacityIsFineAsAdvice) {
  HxMutableData data = HxMutableData::initWithCapacity(~HxUInteger{0});
  data.appendBytes("a", 1);
  EXPECT_EQ(bytesOf(data), "a");
}

TEST(MutableData, ALengthThatNoMemoryHasLeavesItAsItWas) {
  HxMutableData data = HxMutableData::dataWithBytes("abc", 3);
  EXPECT_THROW(data.setLength(~HxUInteger{0}), std::bad_alloc);
  EXPECT_EQ(bytesOf(data), "abc");
}

// ---- Files ------------------------------------------------------------------------------------

TEST(DataFile, IsReadWholeAndMapped) {
  const TemporaryDirectory folder;
  for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 300000U}) {
    const std::string bytes = randomBytes(size);
    const HxString path = pathOf(folder.write("file", bytes));
    EXPECT_EQ(bytesOf(HxData::initWithContentsOfFile(path)), bytes) << size;
    EXPECT_EQ(bytesOf(HxData::initWithContentsOfMappedFile(path)), bytes) << size;
  }
}

TEST(DataFile, OfKnownSizeIsReadIntoOneBlock) {
  const TemporaryDirectory folder;
  constexpr std::size_t kSize = 1 << 20;
  const HxString path = pathOf(folder.write("file", randomBytes(kSize)));
  const AllocationCounter counter;
  const HxData data = HxData::initWithContentsOfFile(path);
  EXPECT_LT(counter.bytes(), kSize + 1024);
  EXPECT_EQ(data.length(), kSize);
}

TEST(DataFile, WithoutASizeIsReadToItsEnd) {
  EXPECT_FALSE(HxData::initWithContentsOfFile("/proc/self/maps"_hx).isEmpty());
  EXPECT_FALSE(HxData::initWithContentsOfMappedFile("/proc/self/maps"_hx).isEmpty());
  EXPECT_TRUE(HxData::initWithContentsOfFile("/dev/null"_hx).isEmpty());
}

TEST(DataFile, APipeIsReadToItsEnd) {
  const TemporaryDirectory folder;
  const std::string path = folder.path("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const std::string bytes = randomBytes(200000);
  std::thread writer([&] { EXPECT_TRUE(dataOf(bytes).writeToFile(pathOf(path), false)); });
  EXPECT_EQ(bytesOf(HxData::initWithContentsOfFile(pathOf(path))), bytes);
  writer.join();
}

TEST(DataFile, ThatCannotBeReadReturnsNil) {
  const TemporaryDirectory folder;
  for (const HxString& path :
       {HxString(), ""_hx, pathOf(folder.path("none")), pathOf(folder.path()), "a\0b"_hx,
        HxString(std::u16string_view(u"/tmp/\xD83D", 6))}) {
    EXPECT_TRUE(HxData::initWithContentsOfFile(path).isNil()) << path.toStdString();
    EXPECT_TRUE(HxData::initWithContentsOfMappedFile(path).isNil()) << path.toStdString();
  }
}

TEST(DataFile, IsWrittenBothWays) {
  const TemporaryDirectory folder;
  for (const bool atomically : {false, true}) {
    for (const std::size_t size : {100000U, 3U, 0U}) {
      const HxString path = pathOf(folder.path("caf\u00e9"));
      const HxData data = dataOf(randomBytes(size));
      EXPECT_TRUE(data.writeToFile(path, atomically));
      EXPECT_EQ(HxData::initWithContentsOfFile(path), data);
    }
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(DataFile, KeepsItsModeAndItsLinkWhenReplaced) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("file", "old");
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  std::filesystem::create_symlink("file", folder.path("link"));
  std::filesystem::create_symlink("fresh", folder.path("dangling"));
  EXPECT_TRUE(dataOf("new").writeToFile(pathOf(folder.path("link")), true));
  EXPECT_EQ(bytesOf(HxData::initWithContentsOfFile(pathOf(path))), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path).permissions()), 0640U);
  EXPECT_TRUE(dataOf("x").writeToFile(pathOf(folder.path("dangling")), true));
  EXPECT_EQ(bytesOf(HxData::initWithContentsOfFile(pathOf(folder.path("fresh")))), "x");
}

TEST(DataFile, IsReplacedAtOneStroke) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("file", "old");
  const int reader = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_TRUE(dataOf("brand new").writeToFile(pathOf(path), true));
  char bytes[16];
  EXPECT_EQ(::read(reader, bytes, sizeof bytes), 3);
  ::close(reader);
}

TEST(DataFile, ThatIsADeviceIsWrittenWhereItStands) {
  EXPECT_TRUE(dataOf("abc").writeToFile("/dev/null"_hx, true));
  EXPECT_TRUE(dataOf("abc").writeToFile("/dev/null"_hx, false));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(DataFile, ThatCannotBeWrittenReturnsFalseAndErrno) {
  const TemporaryDirectory folder;
  std::filesystem::create_symlink("round", folder.path("round"));
  struct Case {
    HxString path;
    int error;
  };
  for (const bool atomically : {false, true}) {
    for (const Case& row :
         {Case{pathOf(folder.path("none/file")), ENOENT}, Case{pathOf(folder.path()), EISDIR},
          Case{""_hx, ENOENT}, Case{pathOf(folder.path("round")), ELOOP}}) {
      errno = 0;
      EXPECT_FALSE(dataOf("a").writeToFile(row.path, atomically)) << row.path.toStdString();
      EXPECT_EQ(errno, row.error) << row.path.toStdString() << ' ' << atomically;
    }
    EXPECT_FALSE(dataOf("a").writeToFile(nullptr, atomically));
    EXPECT_FALSE(HxData().writeToFile(pathOf(folder.path("file")), atomically));
    EXPECT_FALSE(std::filesystem::exists(folder.path("file")));
  }
  EXPECT_FALSE(dataOf("a").writeToFile("/dev/full"_hx, false));
}

// ---- nil --------------------------------------------------------------------------------------

TEST(NilData, AnswersZeroToEverything) {
  const HxData nil;
  char buffer[1] = {'x'};
  EXPECT_EQ(nil.bytes(), nullptr);
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_TRUE(nil.isEmpty());
  EXPECT_TRUE(nil.span().empty());
  nil.getBytes(buffer, {3, 4});
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_TRUE(nil.subdataWithRange({3, 4}).isNil());
  EXPECT_FALSE(nil.isEqualToData(nil));
  EXPECT_TRUE(nil.copy().isNil());
  EXPECT_TRUE(nil.mutableCopy().isNil());
}

TEST(NilMutableData, DoesNothing) {
  HxMutableData nil = nullptr;
  nil.appendBytes("a", 1);
  nil.appendData(dataOf("a"));
  nil.setLength(5);
  nil.setLengthUninitialized(5);
  EXPECT_EQ(nil.mutableBytes(), nullptr);
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_TRUE(nil.isNil());
}

}  // namespace
}  // namespace rondel::test
