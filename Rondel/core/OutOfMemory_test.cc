// SPDX-License-Identifier: MIT
//
// The value layer while memory is short: each operation ends in std::bad_alloc or in its result.
#include "Rondel/testing/OutOfMemory.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/propertylist/internal/UserDefaultsStore.h"
#include "Rondel/core/report/AspectLog.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/report/internal/AspectLogState.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel::test {
namespace {

class OutOfMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    RONDEL_NEEDS_FAILING_ALLOCATIONS();
    fileCalls.fsync = +[](int) { return 0; };  // takes most of the time of a file that is written
  }

 private:
  const SystemCallsKept _kept;
};

constexpr HxString kNarrow = "one two, three; four, five and six make twenty-one"_hx;
constexpr HxString kWide = "eins zw\u00F6lf, drei\u0308; vier, f\u00FCnf und sechs \U0001F600"_hx;

// ---- Text -------------------------------------------------------------------------------------

TEST_F(OutOfMemory, Decoding) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    std::string result;
    for (const HxStringEncoding encoding :
         {HxUTF8StringEncoding, HxUnicodeStringEncoding, HxHaldenOSRomanStringEncoding}) {
      const HxData bytes = kWide.dataUsingEncoding(encoding);
      result += HxString::initWithData(bytes, encoding).toStdString();
    }
    return result + HxString(std::string_view("caf\u00E9, long enough for the heap")).toStdString();
  }));
}

TEST_F(OutOfMemory, CuttingAndJoiningText) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxString result = kNarrow.substringFromIndex(4).stringByAppendingString(kWide);
    result = HxString::stringByConcatenating(result, kNarrow, kWide);
    result = result.stringByReplacingOccurrencesOfString("two"_hx, "2"_hx);
    return result.substringToIndex(70).stringByAppendingPathComponent("a"_hx).toStdString();
  }));
}

TEST_F(OutOfMemory, MutableText) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableString text = kNarrow.mutableCopy();
    for (int i = 0; i < 5; ++i) text.appendString(kNarrow);
    text.insertString(kWide, 3);
    text.deleteCharactersInRange({0, 2});
    text.replaceCharactersInRange({4, 3}, kWide);
    text.setString(text.copy());
    return text.toStdString();
  }));
}

TEST_F(OutOfMemory, AMutableStringKeepsItsTextWhereItCannotGrow) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableString text = "short"_hx.mutableCopy();
    for (const HxString& added : {kNarrow, kWide, kNarrow}) {
      const HxString before = text.copy();
      try {
        text.appendString(added);
      } catch (const std::bad_alloc&) {
        if (text != before) throw std::runtime_error("it changed");
        throw;
      }
    }
    return text.toStdString();
  }));
}

TEST_F(OutOfMemory, CaseAndNormalForms) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    return (kWide.uppercaseString().toStdString() + kNarrow.lowercaseString().toStdString()) +
           kWide.decomposedStringWithCanonicalMapping().toStdString() +
           kWide.precomposedStringWithCanonicalMapping().toStdString() +
           kWide.fileSystemRepresentation().c_str();
  }));
}

TEST_F(OutOfMemory, ComparingAndSearching) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxString decomposed = kWide.decomposedStringWithCanonicalMapping();
    return std::to_string(kWide.compare(decomposed)) +
           std::to_string(kWide.rangeOfString("fu\u0308nf"_hx).location) +
           std::to_string(decomposed.hasSuffix("\U0001F600"_hx)) +
           std::to_string(kWide.rangeOfString("DREI\u0308"_hx, HxCaseInsensitiveSearch).location) +
           std::to_string(kWide.rangeOfComposedCharacterSequenceAtIndex(13).length);
  }));
}

TEST_F(OutOfMemory, Splitting) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxArray narrow = kNarrow.componentsSeparatedByString(", "_hx);
    const HxArray wide = kWide.componentsSeparatedByString(", "_hx);
    return narrow.componentsJoinedByString("|"_hx).toStdString() +
           wide.componentsJoinedByString("|"_hx).toStdString();
  }));
}

TEST_F(OutOfMemory, Paths) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxString path = "/tmp/../tmp/./\u00E9tude/a.long.name.txt"_hx;
    return path.stringByStandardizingPath().toStdString() +
           path.stringByDeletingLastPathComponent().toStdString() +
           path.pathExtension().toStdString() +
           path.stringByResolvingSymlinksInPath().toStdString() +
           HxString::pathWithComponents(path.pathComponents()).toStdString();
  }));
}

TEST_F(OutOfMemory, Formats) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxArray array = HxArray::arrayWithObjects({kNarrow, kWide});
    return HxString::stringWithFormat("%@ %d %-20s|%5.2f %@ %x"_hx, kWide, 5, "text", 1.5, array,
                                      255)
        .toStdString();
  }));
}

TEST_F(OutOfMemory, CharacterSets) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableCharacterSet set = HxCharacterSet::whitespaceCharacterSet().mutableCopy();
    set.addCharactersInString(kWide);
    set.invert();
    return kNarrow.stringByTrimmingCharactersInSet(set.invertedSet()).toStdString();
  }));
}

// ---- Values and collections -------------------------------------------------------------------

TEST_F(OutOfMemory, DataNumbersAndDates) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableData data = HxMutableData::data();
    for (int i = 0; i < 40; ++i) data.appendBytes("0123456789", 10);
    const HxData part = data.subdataWithRange({5, 100});
    const HxNumber number = HxNumber::numberWithDouble(123456789.25);
    const HxDate date = HxDate::dateWithTimeIntervalSinceReferenceDate(1e9);
    return part.description().toStdString() + number.stringValue().toStdString() +
           date.rfc3339String().toStdString();
  }));
}

TEST_F(OutOfMemory, Arrays) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableArray array = HxMutableArray::array();
    for (int i = 0; i < 30; ++i) array.addObject(HxNumber::numberWithInt(1000 - i));
    array.insertObject(kNarrow, 3);
    array.removeObjectAtIndex(3);
    array.addObjectsFromArray(array.copy());
    HxMutableIndexSet indexes = HxMutableIndexSet::indexSet();
    for (HxUInteger i = 0; i < 20; i += 2) indexes.addIndex(i);
    const HxArray chosen = array.objectsAtIndexes(indexes);
    array.removeObjectsAtIndexes(indexes);
    array.sortUsingSelector(HxSelector("compare:"));
    return array.arrayByAddingObject(kWide).componentsJoinedByString(","_hx).toStdString() +
           chosen.description().toStdString();
  }));
}

TEST_F(OutOfMemory, DictionariesAndSets) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
    HxMutableSet set = HxMutableSet::set();
    for (int i = 0; i < 30; ++i) {
      const HxString key = HxString::stringWithFormat("key number %d"_hx, i);
      dictionary.setObject(HxNumber::numberWithInt(1000 + i), key.mutableCopy());
      set.addObject(key);
    }
    dictionary.removeObjectForKey("key number 5"_hx);
    dictionary.addEntriesFromDictionary(dictionary.copy());
    HxUInteger sum = 0;
    for (const auto& [key, value] : dictionary) {
      sum += HxUInteger(as<HxNumber>(value).integerValue());
    }
    return dictionary.mutableCopy().description().toStdString() + std::to_string(sum) +
           std::to_string(set.allObjects().count() + dictionary.allKeys().count());
  }));
}

// ---- Property lists ---------------------------------------------------------------------------

HxDictionary sampleList() {
  return HxDictionary::dictionaryWithEntries(
      {{"array"_hx, HxArray::arrayWithObjects({kNarrow, kWide, HxArray::array()})},
       {"data"_hx, HxData::dataWithBytes("\1\2\3\4\5\6\7\10\11\12", 10)},
       {"dictionary"_hx, HxDictionary::dictionaryWithObject("value"_hx, "long enough key"_hx)}});
}

std::string writtenAndRead(HxPropertyListFormat format) {
  HxError error;
  const HxData data = HxDataFromPropertyList(sampleList(), format, &error);
  return HxPropertyListWithData(data, &error).description().toStdString();
}

TEST_F(OutOfMemory, PropertyListAsText) {
  EXPECT_TRUE(survivesOutOfMemory([] { return writtenAndRead(HxPropertyListFormat::text); }));
}

TEST_F(OutOfMemory, PropertyListAsXML) {
  EXPECT_TRUE(survivesOutOfMemory([] { return writtenAndRead(HxPropertyListFormat::xml); }));
}

TEST_F(OutOfMemory, DamagedPropertyLists) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    std::string result;
    for (const HxString& text :
         {"{ a = (b, c; }"_hx, "<plist><dict><key>a</key></dict></plist>"_hx, "<plist><bad/>"_hx}) {
      HxError error;
      HxPropertyListWithString(text, &error);
      result += error.localizedDescription().toStdString();
    }
    return result;
  }));
}

TEST_F(OutOfMemory, PropertyListFiles) {
  const TemporaryDirectory directory;
  const HxString path{std::string_view(directory.path("list"))};
  EXPECT_TRUE(survivesOutOfMemory([&] {
    const HxDictionary list = HxDictionary::dictionaryWithObject(kWide, kNarrow);
    const HxData data = HxDataFromPropertyList(list, HxPropertyListFormat::xml);
    const bool isWritten = data.writeToFile(path, true);
    return HxDictionary::dictionaryWithContentsOfFile(path).description().toStdString() +
           std::to_string(isWritten);
  }));
}

TEST_F(OutOfMemory, BundlesAndTheirStrings) {
  const TemporaryDirectory place;
  place.write("Info.plist", "{ HxBundleIdentifier = example; HxBundleDevelopmentRegion = en; }");
  place.write("en.lproj/Tool.strings", "{ Stop = \"Halt at once, whatever happens\"; }");
  const HxString path{std::string_view(place.path())};
  EXPECT_TRUE(survivesOutOfMemory([&] {
    const HxBundle bundle = HxBundle::bundleWithPath(path);
    return ZevMoCheckLocalizedStringInBundle(bundle, "Stop"_hx, ""_hx, "Tool"_hx).toStdString() +
           bundle.localizedStringForKey("Go"_hx, "Run"_hx, "None"_hx).toStdString();
  }));
}

// ---- Defaults ---------------------------------------------------------------------------------

TEST_F(OutOfMemory, Defaults) {
  const TemporaryDirectory directory;
  const HxString folder{std::string_view(directory.path("defaults"))};
  EXPECT_TRUE(survivesOutOfMemory([&] {
    const auto defaults = internal::UserDefaultsStore::makeDefaults(
        {folder, "application"_hx, HxArray::arrayWithObjects({"tool"_hx, "-Level"_hx, "3"_hx})});
    defaults->registerDefaults(HxDictionary::dictionaryWithObject("late"_hx, "Registered"_hx));
    defaults->setObject(kNarrow, "Text"_hx);
    const bool isWritten = defaults->synchronize();
    return defaults->stringForKey("Text"_hx).toStdString() +
           defaults->stringForKey("Registered"_hx).toStdString() +
           std::to_string(defaults->integerForKey("Level"_hx) + isWritten);
  }));
}

// ---- Failures ---------------------------------------------------------------------------------

TEST_F(OutOfMemory, Exceptions) {
  EXPECT_TRUE(survivesOutOfMemory([]() -> std::string {
    try {
      HxException::raise(HxRangeException, "%@ is too long"_hx, kWide);
    } catch (const HxException& exception) {
      return exception.what();
    }
  }));
}

TEST_F(OutOfMemory, FailedChecks) {
  EXPECT_TRUE(survivesOutOfMemory([]() -> std::string {
    const FailureRecorder failures;
    MO_FUNCTION("void check()");
    MoAssertWithMessage(kWide.length() == 0, "%@ is not empty"_hx, kWide);
    return failures.messages().at(0);
  }));
}

// ---- Log --------------------------------------------------------------------------------------

// A line is dropped if there is no memory for it, and nobody hears of it.

TEST_F(OutOfMemory, Log) {
  EXPECT_TRUE(survivesOutOfMemory([]() -> std::string {
    [&]() noexcept { HxLog("%@ and %@"_hx, kNarrow, kWide); }();
    return "";
  }));
}

TEST_F(OutOfMemory, AspectLog) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    internal::resetAspectLog();
    MoSetLogDetailLevelForAspect("Memory"_hx, 2);
    const HxUInteger level = MoGetLogDetailLevelForAspect("Memory"_hx);
    [&]() noexcept {
      MoLogIndent("Memory"_hx, 1, "deeper than %@"_hx, kNarrow);
      MO_LOG("Memory"_hx, 2, "wide: %@"_hx, kWide);
      MoLogOutdent("Memory"_hx, 1, "out"_hx);
    }();
    return std::to_string(level) + std::to_string(MoGetLogIndentLevel());
  }));
  internal::resetAspectLog();
}

}  // namespace
}  // namespace rondel::test
