// SPDX-License-Identifier: MIT
//
// The additions while memory is short: each operation ends in std::bad_alloc or in its result.
#include "Rondel/testing/OutOfMemory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/Escaping.h"
#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/Lines.h"
#include "Rondel/additions/Quoting.h"
#include "Rondel/additions/Replacing.h"
#include "Rondel/additions/ReusableSubstring.h"
#include "Rondel/additions/StringList.h"
#include "Rondel/additions/StringListCache.h"
#include "Rondel/additions/Substrings.h"
#include "Rondel/additions/TextDecoding.h"
#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/additions/Whitespace.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/IndexSet.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/SystemCallFailures.h"

namespace rondel::test {
namespace {

class AdditionsOutOfMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    RONDEL_NEEDS_FAILING_ALLOCATIONS();
    fileCalls.fsync = +[](int) { return 0; };  // takes most of the time of a file that is written
  }

 private:
  const SystemCallsKept _kept;
};

constexpr HxString kWords = "cc -c 'a name' \"b \\\" c\" -DX=\"y z\" \\n last"_hx;
constexpr HxString kWideWords = "\u00FCber 'a n\u00E4me' \"b \\\" c\" -DX=\"y z\" \u4E2D"_hx;

std::string joined(const HxArray& array) {
  return array.componentsJoinedByString("|"_hx).toStdString();
}

TEST_F(AdditionsOutOfMemory, TolerantDecoding) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const char bytes[] = "plain text, then \xFF, gr\xC3\xBC\xC3\x9F and a cut \xE2\x82";
    HxUInteger used = 0;
    HxUInteger malformed = 0;
    const HxString text =
        initWithPotentiallyMalformedUTF8Bytes(bytes, sizeof bytes - 1, true, &used, &malformed);
    return text.toStdString() + std::to_string(used) + std::to_string(malformed);
  }));
}

TEST_F(AdditionsOutOfMemory, TextFiles) {
  const TemporaryDirectory directory;
  const HxString path{std::string_view(directory.path("text"))};
  EXPECT_TRUE(survivesOutOfMemory([&] {
    HxStringEncoding encoding = 0;
    const bool isWritten = writeUsingFileSystemEncodingToFile(kWideWords, path, true);
    return initWithContentsOfFile(path, HxUTF8StringEncoding, &encoding).toStdString() +
           std::to_string(isWritten) + std::to_string(isFileUnicode(path, nullptr));
  }));
}

TEST_F(AdditionsOutOfMemory, SplittingOfCommandLines) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    std::string result;
    for (const HxString& words : {kWords, kWideWords}) {
      const HxArray parsed = arrayByParsingAsCommandLineArguments(words);
      result += joined(parsed) + joined(componentsSeparatedByUnquotedWhitespace(words)) +
                joined(arrayByExtractingCommandLineArgumentsHavingPrefix(parsed, "-D"_hx));
    }
    return result;
  }));
}

TEST_F(AdditionsOutOfMemory, SplittingOfStringLists) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    HxError error;
    constexpr std::string_view kBytes = "one two\\ three 'four five' six";
    return joined(arrayByParsingAsStringList(kWords)) +
           joined(arrayByParsingAsStringList(kWideWords)) +
           joined(MoSplitWhitespaceSeparatedComponents(kBytes.data(), kBytes.size(), &error));
  }));
}

TEST_F(AdditionsOutOfMemory, Quoting) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxArray words = HxArray::arrayWithObjects({kWords, kWideWords, "plain"_hx});
    return stringByConcatenatingObjectsAsCommandLineArguments(words).toStdString() +
           stringByConcatenatingObjectsAsStringList(words).toStdString() +
           stringByQuotingIfNeeded(kWideWords).toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, EscapingAndReplacing) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxString escaped = stringByEscapingForXML(kWideWords);
    return escaped.toStdString() + stringByUnescapingFromXML(escaped).toStdString() +
           stringByEscapingPercents("100%"_hx).toStdString() +
           stringByReplacingCharacter(kWideWords, u'a', u'\u4E2D').toStdString() +
           stringByReplacingSubstring(kWords, "na"_hx, "NA NA"_hx).toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, Expansion) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxDictionary variables = HxDictionary::dictionaryWithEntries(
        {{"NAME"_hx, "a ${OTHER} with some length"_hx}, {"OTHER"_hx, kWideWords}});
    const HxString text = "begin $(NAME), ${OTHER} and ${NAME:upper} at the end $(MISSING)"_hx;
    return MO_stringByExpandingVariables(text, variables, MoExpansionRescanExpansions)
               .toStdString() +
           joined(namesOfExpandableVariables(text)) +
           MO_stringByExpandingEnvironmentVariables("$NO_SUCH_VARIABLE, ${PATH}"_hx).toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, Lines) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxString text = "a\nb\r\nc\n\u00E9\nd"_hx;
    HxUInteger* offsets = nullptr;
    HxUInteger count = 0;
    getLineStartOffsets(text, &offsets, &count);
    std::free(offsets);
    HxMutableString changed = text.mutableCopy();
    insertStringAtLine(changed, "a line that was put in\n"_hx, 2);
    return std::to_string(count + lineStartOffsets(text).count()) + changed.toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, SubstringsAndWhitespace) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    const HxString padded = " \t a  name \u00E9  with   gaps  "_hx;
    return stringByConvertingWhitespaceRunsToSingleSpaces(padded).toStdString() +
           stringByRemovingLeadingAndTrailingWhitespace(padded).toStdString() +
           stringByDeletingAllWhitespace(padded).toStdString() +
           substringBetweenString(padded, "a"_hx, "with"_hx, true).toStdString() +
           stringByAbbreviatingWithEllipsisInMiddleToLength(kWords, 20).toStdString() +
           stringByManglingToLegalCIdentifier(kWideWords).toStdString() +
           uniqueStringAmongStrings("a"_hx, HxArray::arrayWithObjects({"a"_hx, "a 2"_hx}))
               .toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, ReusableSubstrings) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    ZevCheapReusableSubstring word =
        ZevCheapReusableSubstring::initWithRealString(kWideWords, {0, 4});
    const HxString kept = word.copy();
    return kept.stringByAppendingString(word).toStdString() + word.uppercaseString().toStdString();
  }));
}

TEST_F(AdditionsOutOfMemory, StringListCache) {
  EXPECT_TRUE(survivesOutOfMemory([] {
    constexpr std::string_view kList = "YES NO MAYBE";
    return joined(MoLookupVantorSpecificStringListInCache(kList.data(), kList.size(), nullptr));
  }));
}

}  // namespace
}  // namespace rondel::test
