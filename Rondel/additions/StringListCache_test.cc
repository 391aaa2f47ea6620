// SPDX-License-Identifier: MIT
#include "Rondel/additions/StringListCache.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/additions/StringList.h"
#include "Rondel/additions/internal/StringListTable.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/TextForms.h"
#include "Rondel/testing/Texts.h"

namespace rondel {
namespace {

using test::AllocationCounter;
using test::Texts;
using test::textsOf;

struct Slot {
  unsigned number;
  const char* key;
  Texts elements;
};

const Slot kFilledSlots[] = {
    {3, "ppc", {"ppc"}},
    {4, "i386", {"i386"}},
    {5, "debug", {"debug"}},
    {6, "normal", {"normal"}},
    {8, "i386 ppc", {"i386", "ppc"}},
    {11, "i386 x86_64", {"i386", "x86_64"}},
    {12, "normal debug", {"normal", "debug"}},
    {15, "i386 ppc x86_64", {"i386", "ppc", "x86_64"}},
    {16, "x86_64", {"x86_64"}},
    {21, "x86_64 i386", {"x86_64", "i386"}},
    {25, "x86_64 i386 ppc", {"x86_64", "i386", "ppc"}},
    {28, "haldenos", {"haldenos"}},
    {31, "com.ostrand.compilers.llvmgcc42", {"com.ostrand.compilers.llvmgcc42"}},
    {33, "headers build", {"headers", "build"}},
    {36, "com.ostrand.compilers.llvm.clang.1_0", {"com.ostrand.compilers.llvm.clang.1_0"}},
    {47,
     "com.ostrand.compilers.llvm.clang.1_0.astbuilder",
     {"com.ostrand.compilers.llvm.clang.1_0.astbuilder"}},
    {48,
     "armv6 armv7 i386 ppc ppc64 ppc7400 ppc970 x86_64",
     {"armv6", "armv7", "i386", "ppc", "ppc64", "ppc7400", "ppc970", "x86_64"}},
    {68,
     "com.ostrand.compilers.llvmgcc42 com.ostrand.compilers.llvm.clang.1_0",
     {"com.ostrand.compilers.llvmgcc42", "com.ostrand.compilers.llvm.clang.1_0"}},
    {79,
     "com.ostrand.compilers.llvmgcc42 com.ostrand.compilers.llvm.clang.1_0.astbuilder",
     {"com.ostrand.compilers.llvmgcc42", "com.ostrand.compilers.llvm.clang.1_0.astbuilder"}},
    {93,
     "com.ostrand.compilers.llvm.clang.1_0.compiler "
     "com.ostrand.compilers.llvm.clang.1_0.astbuilder",
     {"com.ostrand.compilers.llvm.clang.1_0.compiler",
      "com.ostrand.compilers.llvm.clang.1_0.astbuilder"}},
};

// What stands for a first byte in the hash.
unsigned valueOfFirstByte(unsigned byte) {
  if (byte == 'x') return 10;
  if (byte == 'h') return 20;
  return byte != 0 && std::strchr("acdinp", static_cast<int>(byte)) ? 0 : 94;
}

VantorStringListRow* rowOf(const std::string& text) {
  return _VNLookupVantorStringListValueInGlobalCache(text.c_str(),
                                                     static_cast<std::int32_t>(text.size()));
}

HxArray listOf(const std::string& text) {
  return MoLookupVantorSpecificStringListInCache(text.c_str(), text.size(), nullptr);
}

// ---- The table ----------------------------------------------------------------------------------

// Returns whether the rows hold more than their texts when they are filled with too many bytes.
bool isMoreInTheRows() {
  bool isMore = false;
  for (const char* const text : internal::kStringLists) {
    const std::string tooLong = std::string(text) + " more";
    isMore |= MoLookupVantorSpecificStringListInCache(tooLong.c_str(), std::strlen(text), nullptr)
                  .containsObject("more"_hx);
  }
  return isMore;
}

// In a process of its own, since a row is filled only once.
TEST(StringListCacheDeathTest, BytesThatGoOnAfterTheTextDoNotGetIntoItsRow) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(_exit(isMoreInTheRows() ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST(StringListCache, EachOfThe94SlotsHoldsTheTextWhoseHashItIs) {
  ASSERT_EQ(internal::kStringListSlots, 94U);
  const char* expected[94] = {};
  for (const Slot& slot : kFilledSlots) {
    const auto first = static_cast<unsigned char>(slot.key[0]);
    EXPECT_EQ(valueOfFirstByte(first) + std::strlen(slot.key), slot.number) << slot.key;
    ASSERT_EQ(expected[slot.number], nullptr) << slot.key;
    expected[slot.number] = slot.key;
  }
  for (unsigned number = 0; number < 94; ++number) {
    EXPECT_STREQ(internal::stringListRow(number).key, expected[number]) << number;
  }
}

TEST(StringListCache, TheAssociationTableHasAValueForEachOf256Bytes) {
  using Hash = internal::_VNHashVantorStringListValueForGlobalCache;
  ASSERT_EQ(Hash::asso_values.size(), 256U);
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(Hash::asso_values[byte], valueOfFirstByte(byte)) << byte;
    const char first = static_cast<char>(byte);
    EXPECT_EQ(Hash::hash(&first, 7), valueOfFirstByte(byte) + 7) << byte;
  }
}

TEST(StringListCache, EachTextFindsItsOwnRow) {
  for (const Slot& slot : kFilledSlots) {
    EXPECT_EQ(rowOf(slot.key), &internal::stringListRow(slot.number)) << slot.key;
  }
}

TEST(StringListCache, EachTextReturnsWhatTheSplitterMakesOfIt) {
  for (const Slot& slot : kFilledSlots) {
    const std::string text = slot.key;
    EXPECT_EQ(textsOf(listOf(text)), slot.elements);
    EXPECT_TRUE(listOf(text).isEqual(
        MoSplitWhitespaceSeparatedComponents(text.c_str(), text.size(), nullptr)));
  }
}

// ---- Hits and misses ----------------------------------------------------------------------------

TEST(StringListCache, ATextOfTheSameSlotMissesOnTheComparison) {
  EXPECT_EQ(rowOf("i386"), &internal::stringListRow(4));
  EXPECT_EQ(internal::_VNHashVantorStringListValueForGlobalCache::hash("i387", 4), 4U);
  EXPECT_EQ(rowOf("i387"), nullptr);
  EXPECT_EQ(rowOf("i286"), nullptr);
  EXPECT_EQ(rowOf("dbug"), nullptr);  // slot 4, but another first byte
  EXPECT_EQ(rowOf("a386"), nullptr);
}

TEST(StringListCache, AFirstByteThatNoTextBeginsWithMissesOnTheAssociationTable) {
  EXPECT_EQ(rowOf("I386"), nullptr);
  EXPECT_EQ(rowOf(" i386"), nullptr);
  EXPECT_EQ(rowOf("\xE9t\xE9"), nullptr);
  EXPECT_EQ(rowOf(std::string(4, '\0')), nullptr);
}

TEST(StringListCache, AnEmptySlotMisses) { EXPECT_EQ(rowOf("appleti"), nullptr); }

TEST(StringListCache, ATrailingBlankMissesAndTheTextIsSplit) {
  EXPECT_EQ(rowOf("i386 ppc "), nullptr);
  EXPECT_TRUE(listOf("i386 ppc ").isNil());
  EXPECT_EQ(textsOf(arrayByParsingAsStringList("i386 ppc "_hx)), (Texts{"i386", "ppc"}));
}

TEST(StringListCache, AShortTextMissesOnItsLength) {
  EXPECT_EQ(rowOf("ab"), nullptr);
  EXPECT_EQ(rowOf("p"), nullptr);
  EXPECT_EQ(rowOf(""), nullptr);
  EXPECT_TRUE(listOf("ab").isNil());
}

TEST(StringListCache, ALongTextMissesOnItsLength) {
  const std::string longest = kFilledSlots[19].key;
  ASSERT_EQ(longest.size(), 93U);
  EXPECT_NE(rowOf(longest), nullptr);
  EXPECT_EQ(rowOf(longest + "x"), nullptr);
  EXPECT_EQ(rowOf("x" + std::string(83, 'y')), nullptr);  // its hash is 94
  EXPECT_EQ(rowOf("x" + std::string(82, 'y')), nullptr);  // and 93
}

TEST(StringListCache, AnEmptyTextReturnsAnEmptyArrayAndLeavesTheErrorAlone) {
  const HxError before = HxError::posixError(2, nullptr);
  HxError error = before;
  for (const char* const bytes : {"", "i386", static_cast<const char*>(nullptr)}) {
    const HxArray list = MoLookupVantorSpecificStringListInCache(bytes, 0, &error);
    EXPECT_FALSE(list.isNil());
    EXPECT_EQ(list.count(), 0U);
  }
  EXPECT_EQ(error.object(), before.object());
}

TEST(StringListCache, TwoCallsReturnTheIdenticalArray) {
  EXPECT_EQ(listOf("debug").object(), listOf("debug").object());
  EXPECT_NE(listOf("debug").object(), listOf("normal").object());
}

TEST(StringListCache, TheOrderOfWordsIsPartOfTheKey) {
  EXPECT_EQ(rowOf("ppc i386"), nullptr);
  EXPECT_TRUE(listOf("ppc i386").isNil());
}

TEST(StringListCache, ALengthThatIsNotThatOfTheTextMisses) {
  EXPECT_EQ(_VNLookupVantorStringListValueInGlobalCache("i386 ppc", 4),
            &internal::stringListRow(4));
  EXPECT_EQ(_VNLookupVantorStringListValueInGlobalCache("i386", 8), nullptr);
  EXPECT_EQ(_VNLookupVantorStringListValueInGlobalCache("i386 ppc", -4), nullptr);
  EXPECT_TRUE(
      MoLookupVantorSpecificStringListInCache("i386", (std::size_t{1} << 32) + 4, nullptr).isNil());
}

TEST(StringListCache, NullBytesMiss) {
  EXPECT_EQ(_VNLookupVantorStringListValueInGlobalCache(nullptr, 4), nullptr);
  EXPECT_TRUE(MoLookupVantorSpecificStringListInCache(nullptr, 4, nullptr).isNil());
}

TEST(StringListCache, OneOtherByteMisses) {
  for (const Slot& slot : kFilledSlots) {
    const std::string text = slot.key;
    for (std::size_t i = 0; i < text.size(); ++i) {
      std::string other = text;
      other[i] = '!';
      EXPECT_EQ(rowOf(other), nullptr) << other;
    }
  }
}

TEST(StringListCache, APartOfATextIsFoundOnlyWhereItIsATextOfItsOwn) {
  for (const Slot& slot : kFilledSlots) {
    for (std::string part = slot.key; !part.empty(); part.pop_back()) {
      const bool isText = std::any_of(std::begin(kFilledSlots), std::end(kFilledSlots),
                                      [&](const Slot& other) { return part == other.key; });
      EXPECT_EQ(rowOf(part) != nullptr, isText) << part;
    }
  }
}

// ---- Errors -------------------------------------------------------------------------------------

TEST(StringListCache, AHitStoresTheErrorOfItsRowWhichIsNil) {
  for (const Slot& slot : kFilledSlots) {
    HxError error = HxError::posixError(2, nullptr);
    MoLookupVantorSpecificStringListInCache(slot.key, std::strlen(slot.key), &error);
    EXPECT_TRUE(error.isNil()) << slot.key;
  }
}

TEST(StringListCache, AMissLeavesTheErrorAlone) {
  const HxError before = HxError::posixError(2, nullptr);
  HxError error = before;
  EXPECT_TRUE(MoLookupVantorSpecificStringListInCache("i387", 4, &error).isNil());
  EXPECT_EQ(error.object(), before.object());
}

TEST(StringListCache, TheFirstToStoreKeepsItsListAndOthersTheirError) {
  static VantorStringListRow row("x");
  const HxArray first = HxArray::arrayWithObject("first"_hx);
  const HxArray second = HxArray::arrayWithObject("second"_hx);
  const HxError error = HxError::posixError(2, nullptr);
  EXPECT_TRUE(row.value().isNil());
  row.store(first, error);
  const HxArray kept = row.value();
  EXPECT_EQ(kept, first);
  EXPECT_TRUE(row.error().isNil());
  row.store(second, error);
  EXPECT_EQ(row.value().object(), kept.object());
  EXPECT_EQ(row.error().object(), error.object());
  EXPECT_TRUE(first.object()->isUniquelyReferenced());
  EXPECT_TRUE(second.object()->isUniquelyReferenced());
}

TEST(StringListCache, AKeptArrayIsNotCounted) {
  const HxArray kept = listOf("i386 ppc");
  for (int i = 0; i < 10; ++i) kept.object()->release();
  EXPECT_EQ(textsOf(kept), (Texts{"i386", "ppc"}));
  EXPECT_EQ(listOf("i386 ppc").object(), kept.object());
}

// ---- Behind the splitter ------------------------------------------------------------------------

TEST(StringListCache, IsAskedByTheParserOfStringListsForEveryClassOfString) {
  for (const Slot& slot : kFilledSlots) {
    const HxString text{std::string_view(slot.key)};
    const HxArray shared = listOf(slot.key);
    EXPECT_EQ(arrayByParsingAsStringList(text).object(), shared.object()) << slot.key;
    for (const test::TextForm form : test::kTextForms) {
      const HxString same = test::makeText(form, test::charactersOf(text));
      EXPECT_EQ(arrayByParsingAsStringList(same).object(), shared.object()) << test::nameOf(form);
    }
  }
  EXPECT_NE(arrayByParsingAsStringList("i387"_hx).object(),
            arrayByParsingAsStringList("i387"_hx).object());
}

TEST(StringListCache, IsAskedForTheTextUpToItsFirstNUL) {
  const HxString text{std::u16string_view(u"i386\0ppc", 8)};
  EXPECT_EQ(arrayByParsingAsStringList(text).object(), listOf("i386").object());
}

TEST(StringListCache, IsNotAskedByTheSplitterOfBytes) {
  EXPECT_NE(MoSplitWhitespaceSeparatedComponents("debug", 5, nullptr).object(),
            listOf("debug").object());
}

TEST(StringListCache, HitsAndMissesTakeNothingFromTheHeap) {
  for (const Slot& slot : kFilledSlots) listOf(slot.key);
  const HxString text = "i386 ppc x86_64"_hx;
  HxUInteger words = 0;
  const AllocationCounter counter;
  for (const Slot& slot : kFilledSlots) {
    words +=
        MoLookupVantorSpecificStringListInCache(slot.key, std::strlen(slot.key), nullptr).count();
  }
  words += arrayByParsingAsStringList(text).count();
  const bool isMiss = MoLookupVantorSpecificStringListInCache("i387", 4, nullptr).isNil();
  const std::size_t allocations = counter.count();
  EXPECT_EQ(words, 42U);
  EXPECT_TRUE(isMiss);
  EXPECT_EQ(allocations, 0U);
}

// ---- Threads ------------------------------------------------------------------------------------

constexpr std::size_t kThreads = 8;

// Runs `body(number)` on all threads at the same moment.
template <class Body>
void onAllThreads(const Body& body) {
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      ++ready;
      while (ready.load() < kThreads) std::this_thread::yield();
      body(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(StringListCache, OneArrayOfARowSurvivesWhenThreadsMakeItAtOnce) {
  static VantorStringListRow rows[100];  // what they keep is there for good
  for (VantorStringListRow& row : rows) {
    const char* const text = "i386 ppc";
    HxArray made[kThreads];
    HxArray seen[kThreads];
    onAllThreads([&](std::size_t number) {
      made[number] = MoSplitWhitespaceSeparatedComponents(text, 8, nullptr);
      row.store(made[number], nullptr);
      seen[number] = row.value();
    });
    const HxArray kept = row.value();
    EXPECT_EQ(textsOf(kept), (Texts{"i386", "ppc"}));
    std::size_t survivors = 0;
    for (std::size_t number = 0; number < kThreads; ++number) {
      EXPECT_EQ(seen[number].object(), kept.object());
      EXPECT_TRUE(made[number].object()->isUniquelyReferenced());
      survivors += made[number].objectAtIndex(0).object() == kept.objectAtIndex(0).object();
    }
    EXPECT_EQ(survivors, 1U);
  }
}

// Run alone, this is the first use of each row.
TEST(StringListCache, AllThreadsGetTheSameArrayOfEveryRow) {
  std::vector<const HxObject*> seen[kThreads];
  onAllThreads([&](std::size_t number) {
    for (std::size_t i = 0; i < std::size(kFilledSlots); ++i) {
      const HxArray list = listOf(kFilledSlots[i].key);
      seen[number].push_back(list.object());
      EXPECT_EQ(list.count(), kFilledSlots[i].elements.size());
      EXPECT_TRUE(listOf("i387").isNil());
    }
  });
  for (const auto& arrays : seen) EXPECT_EQ(arrays, seen[0]);
}

}  // namespace
}  // namespace rondel
