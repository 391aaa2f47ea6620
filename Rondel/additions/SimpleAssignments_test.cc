// SPDX-License-Identifier: MIT
#include "Rondel/additions/SimpleAssignments.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

#include "Rondel/additions/ReusableSubstring.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

using Entries = std::map<std::string, std::string>;

Entries entriesOf(const HxDictionary& dictionary) {
  Entries entries;
  for (auto [key, value] : dictionary) {
    entries[key.description().toStdString()] = as<HxString>(value).toStdString();
  }
  return entries;
}

HxMutableDictionary parsed(const HxString& text, HxString* errorString = nullptr) {
  return dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, errorString);
}

// What a good text holds; an entry that no text can hold for a bad one.
Entries readFrom(std::string_view text) {
  const HxMutableDictionary entries = parsed(HxString(text));
  return entries ? entriesOf(entries) : Entries{{"", "nil"}};
}

std::string messageOf(std::string_view text) {
  HxString message;
  EXPECT_TRUE(parsed(HxString(text), &message).isNil()) << text;
  return message.toStdString();
}

std::string outputOf(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "re");
  char buffer[256];
  const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return std::string(buffer, count);
}

// ---- Reading ------------------------------------------------------------------------------------

TEST(SimpleAssignments, NothingAndBlankLinesReturnAnEmptyDictionary) {
  for (const char* const text :
       {"", "\n", "\r\n\r\n", " ", "\t \n  \n", "\u2028\u2029\u0085", "\u00A0\u3000"}) {
    const HxMutableDictionary entries = parsed(HxString(text));
    ASSERT_FALSE(entries.isNil()) << text;
    EXPECT_EQ(entries.count(), 0U) << text;
  }
}

TEST(SimpleAssignments, TheValueIsTrimmedBeforeAndAfterItsSemicolon) {
  const Entries one{{"A", "1"}};
  for (const char* const text : {"A=1;", "A = 1 ; ", "A=1", " A = 1 ", "\tA\t=\t1\t;\t", "A=1;\n",
                                 "\u00A0A\u3000=\u20031\u00A0;\u00A0"}) {
    EXPECT_EQ(readFrom(text), one) << text;
  }
}

TEST(SimpleAssignments, AnEmptyValueIsLegal) {
  const Entries empty{{"A", ""}};
  for (const char* const text : {"A=", "A = ", "A=;", "A = ; ", "A= ;"}) {
    EXPECT_EQ(readFrom(text), empty) << text;
  }
}

TEST(SimpleAssignments, OneSemicolonIsTakenAndASecondOneStays) {
  EXPECT_EQ(readFrom("A=1;;"), (Entries{{"A", "1;"}}));
  EXPECT_EQ(readFrom("A=1 ; ;"), (Entries{{"A", "1 ;"}}));
  EXPECT_EQ(readFrom("A=;;"), (Entries{{"A", ";"}}));
  EXPECT_EQ(readFrom("A=1;2"), (Entries{{"A", "1;2"}}));
}

TEST(SimpleAssignments, CharactersThatAreOnlyEquivalentAreOthers) {
  EXPECT_EQ(readFrom("A=1\u037E"), (Entries{{"A", "1\u037E"}}));  // U+037E decomposes to ;
  EXPECT_EQ(readFrom("A=\u0338b"), (Entries{{"A", "\u0338b"}}));  // with the sign it is U+2260
}

TEST(SimpleAssignments, TheFirstEqualsSignCounts) {
  EXPECT_EQ(readFrom("A=b=c"), (Entries{{"A", "b=c"}}));
  EXPECT_EQ(readFrom("A== b"), (Entries{{"A", "= b"}}));
  EXPECT_EQ(readFrom("A = -DX=1 -DY=2;"), (Entries{{"A", "-DX=1 -DY=2"}}));
}

TEST(SimpleAssignments, QuotesAndCommentSignsAreCharactersOfTheValue) {
  EXPECT_EQ(readFrom("A = \"x y\";"), (Entries{{"A", "\"x y\""}}));
  EXPECT_EQ(readFrom("A = 'x;' // y"), (Entries{{"A", "'x;' // y"}}));
}

TEST(SimpleAssignments, EveryLineTerminatorEndsALine) {
  const Entries all{{"A", "1"}, {"B", "2"}, {"C", "3"}};
  for (const char* const end : {"\n", "\r", "\r\n", "\u2028", "\u2029", "\u0085", "\n\n \r\n"}) {
    const std::string text = std::string("A=1") + end + "B=2" + end + "C=3";
    EXPECT_EQ(readFrom(text), all) << end;
    EXPECT_EQ(readFrom(text + end), all) << end;
    EXPECT_EQ(readFrom(end + text), all) << end;
  }
}

TEST(SimpleAssignments, ALaterLineReplacesAnEarlierOneOfTheSameName) {
  EXPECT_EQ(readFrom("A=1\nB=2\nA=3"), (Entries{{"A", "3"}, {"B", "2"}}));
}

TEST(SimpleAssignments, NamesAreIdentifiers) {
  for (const char* const name : {"A", "_", "_1", "aZ09_", "__x"}) {
    EXPECT_EQ(readFrom(std::string(name) + "=x"), (Entries{{name, "x"}}));
  }
  // U+FFFF ends the reading of a name, as it does of any text; what was read is good.
  EXPECT_EQ(readFrom("A\uFFFF?=x"), (Entries{{"A\uFFFF?", "x"}}));
}

TEST(SimpleAssignments, ANameThatIsNoneFailsWithItsMessage) {
  EXPECT_EQ(messageOf("1A = 2"), "'1A' isn't a valid variable name");
  EXPECT_EQ(messageOf("= 2"), "'' isn't a valid variable name");
  EXPECT_EQ(messageOf(" A B = 2"), "'A B' isn't a valid variable name");
  EXPECT_EQ(messageOf("A[b]=2"), "'A[b]' isn't a valid variable name");
  EXPECT_EQ(messageOf("\u00E9t\u00E9 = 2"), "'\u00E9t\u00E9' isn't a valid variable name");
  EXPECT_EQ(messageOf("A%@ = 2"), "'A%@' isn't a valid variable name");
  EXPECT_EQ(messageOf("A\v = 2"), "'A\v' isn't a valid variable name");
}

TEST(SimpleAssignments, ALineWithoutEqualsSignFailsWithTheWholeLine) {
  EXPECT_EQ(messageOf("A"), "String 'A' isn't a valid variable assignment");
  EXPECT_EQ(messageOf("B=1\n  A ; \nC=2"), "String '  A ; ' isn't a valid variable assignment");
  EXPECT_EQ(messageOf("\v"), "String '\v' isn't a valid variable assignment");
  EXPECT_EQ(messageOf("%d"), "String '%d' isn't a valid variable assignment");
  EXPECT_EQ(messageOf("// a comment"), "String '// a comment' isn't a valid variable assignment");
}

TEST(SimpleAssignments, TheFirstBadLineIsReported) {
  EXPECT_EQ(messageOf("A=1\n2=3\nB"), "'2' isn't a valid variable name");
  EXPECT_EQ(messageOf("A=1\nB\n2=3"), "String 'B' isn't a valid variable assignment");
}

TEST(SimpleAssignments, ANullErrorPointerStillReturnsNil) {
  EXPECT_TRUE(parsed("1A = 2"_hx, nullptr).isNil());
  EXPECT_TRUE(parsed("A"_hx, nullptr).isNil());
}

TEST(SimpleAssignments, TheErrorStringIsLeftAloneWhenAllIsWell) {
  HxString message = "before"_hx;
  EXPECT_FALSE(parsed("A=1"_hx, &message).isNil());
  EXPECT_EQ(message, "before"_hx);
}

TEST(SimpleAssignments, NilTextReturnsNilWithoutAMessage) {
  HxString message = "before"_hx;
  EXPECT_TRUE(parsed(nullptr, &message).isNil());
  EXPECT_EQ(message, "before"_hx);
}

TEST(SimpleAssignments, EveryClassOfStringIsRead) {
  const Entries expected{{"NAME", "caf\u00E9"}, {"LONG", std::string(3000, 'x')}};
  const std::u16string text =
      u"NAME = caf\u00E9;\r\n\nLONG=" + std::u16string(3000, u'x') + u" ; \n";
  for (const TextForm form : kTextForms) {
    EXPECT_EQ(entriesOf(parsed(makeText(form, text))), expected) << nameOf(form);
  }
}

TEST(SimpleAssignments, ALineThatAViewIsOfIsNotKept) {
  auto line = ZevCheapReusableSubstring::initWithRealString("A=1 B=2"_hx, {0, 3});
  const HxMutableDictionary entries = parsed(line);
  HxString message;
  line.setRealString("A=1 B=2"_hx, {2, 3});
  EXPECT_TRUE(parsed(line, &message).isNil());
  line.setRealString("A=1 B=2"_hx, {4, 3});
  EXPECT_EQ(entriesOf(entries), (Entries{{"A", "1"}}));
  EXPECT_EQ(message, "String '1 B' isn't a valid variable assignment"_hx);
}

TEST(SimpleAssignments, ValuesAndNamesArePlainStringsThatOutliveTheText) {
  HxMutableString text = HxMutableString::stringWithString("A = one"_hx);
  const HxMutableDictionary entries = parsed(text);
  text.setString("B = two"_hx);
  EXPECT_EQ(entriesOf(entries), (Entries{{"A", "one"}}));
}

// ---- Messages from the tables -------------------------------------------------------------------

// A process finds the library's bundle once, so each set of tables is read by a process of its own.
std::string messageWithTables(const std::string& tables, const std::string& text) {
  const TemporaryDirectory data;
  data.write("rondel/Info.plist", "{ HxBundleIdentifier = \"com.ostrand.Vantor.Rondel\"; }");
  for (const char* const table : {"RondelKit", "RondlKit", "Rondel"}) {
    data.write("rondel/Resources/en.lproj/" + std::string(table) + ".strings",
               tables == table ? "\"String '%@' isn't a valid variable assignment\" = \"no: %@\";\n"
                                 "\"'%@' isn't a valid variable name\" = \"bad: %@\";\n"
                               : "");
  }
  return outputOf("XDG_DATA_HOME='" + data.path() + "' '" + programPath("read-assignments") +
                  "' '" + text + "'");
}

TEST(SimpleAssignments, TheMessageOnAssignmentsIsLookedUpInTheTableRondelKit) {
  EXPECT_EQ(messageWithTables("RondelKit", "A B"), "no: A B");
  EXPECT_EQ(messageWithTables("RondlKit", "A B"), "String 'A B' isn't a valid variable assignment");
  EXPECT_EQ(messageWithTables("Rondel", "A B"), "String 'A B' isn't a valid variable assignment");
}

TEST(SimpleAssignments, TheMessageOnNamesIsLookedUpInTheTableRondlKit) {
  EXPECT_EQ(messageWithTables("RondlKit", "1 = 2"), "bad: 1");
  EXPECT_EQ(messageWithTables("RondelKit", "1 = 2"), "'1' isn't a valid variable name");
  EXPECT_EQ(messageWithTables("Rondel", "1 = 2"), "'1' isn't a valid variable name");
}

// ---- Writing ------------------------------------------------------------------------------------

HxString written(const HxDictionary& entries) {
  return stringByConcatenatingEntriesAsLinesOfSimpleAssignments(entries);
}

TEST(SimpleAssignments, EntriesAreWrittenInOrderOfTheirNamesWithAFinalNewline) {
  const HxDictionary entries =
      HxDictionary::dictionaryWithEntries({{"B"_hx, "x"_hx}, {"A"_hx, "y z"_hx}});
  EXPECT_EQ(written(entries), "A = \"y z\"\nB = x\n"_hx);
}

TEST(SimpleAssignments, NamesAreOrderedByCompare) {
  HxMutableDictionary entries = HxMutableDictionary::dictionary();
  for (const char* const name : {"b", "_", "a1", "A", "a", "B"}) {
    entries.setObject("1"_hx, HxString(name));
  }
  EXPECT_EQ(written(entries), "A = 1\nB = 1\n_ = 1\na = 1\na1 = 1\nb = 1\n"_hx);
}

TEST(SimpleAssignments, AnEmptyDictionaryReturnsTheEmptyString) {
  EXPECT_EQ(written(HxDictionary::dictionary()), ""_hx);
  EXPECT_FALSE(written(HxDictionary::dictionary()).isNil());
}

TEST(SimpleAssignments, ValuesAreQuotedAsArgumentsOfACommandLine) {
  struct Row {
    const char* value;
    const char* line;
  };
  const Row rows[] = {
      {"", "A = \n"},
      {"x", "A = x\n"},
      {"a=b", "A = a=b\n"},
      {"/usr/bin:x", "A = \"/usr/bin:x\"\n"},
      {"1;", "A = \"1;\"\n"},
      {"a\"b\\", "A = \"a\\\"b\\\\\"\n"},
      {"a\nb", "A = \"a\nb\"\n"},
      {"caf\u00E9", "A = caf\u00E9\n"},
  };
  for (const Row& row : rows) {
    const HxDictionary entries = HxDictionary::dictionaryWithObject(HxString(row.value), "A"_hx);
    EXPECT_EQ(written(entries).toStdString(), row.line);
  }
}

TEST(SimpleAssignments, AnEntryThatCannotBeWrittenReturnsNil) {
  const HxNumber number = HxNumber::numberWithInt(1);
  const HxDictionary::Entry entries[] = {
      {"1A"_hx, "x"_hx}, {""_hx, "x"_hx},  {"A B"_hx, "x"_hx},         {"\u00E9"_hx, "x"_hx},
      {number, "x"_hx},  {"A"_hx, number}, {"A"_hx, HxArray::array()},
  };
  for (const HxDictionary::Entry& entry : entries) {
    EXPECT_TRUE(written(HxDictionary::dictionaryWithEntries({entry, {"B"_hx, "y"_hx}})).isNil())
        << entry.key.description().toStdString();
  }
}

TEST(SimpleAssignments, NilEntriesReturnNil) { EXPECT_TRUE(written(nullptr).isNil()); }

TEST(SimpleAssignments, AValueWithABlankComesBackWithItsQuotes) {
  const HxDictionary entries = HxDictionary::dictionaryWithObject("y z"_hx, "A"_hx);
  EXPECT_EQ(entriesOf(parsed(written(entries))), (Entries{{"A", "\"y z\""}}));
}

TEST(SimpleAssignments, PlainWordsComeBackAsTheyWere) {
  const HxMutableDictionary entries = parsed("A=1\nB_2 = a/b.c,d+e-f=g\nC ="_hx);
  EXPECT_EQ(entriesOf(parsed(written(entries))), entriesOf(entries));
}

TEST(SimpleAssignments, EveryClassOfValueIsWritten) {
  for (const TextForm form : kTextForms) {
    const HxDictionary entries = HxDictionary::dictionaryWithEntries(
        {{"A"_hx, makeText(form, u"y z")}, {"B"_hx, makeText(form, u"caf\u00E9")}});
    EXPECT_EQ(written(entries), HxString("A = \"y z\"\nB = caf\u00E9\n")) << nameOf(form);
  }
}

// A dictionary of another class, which hands out its keys in the order that it is told.
class Odd final : public HxDictionaryObject {
 public:
  explicit Odd(HxArray keys) : _keys(std::move(keys)) {}
  HxUInteger count() const override { return _keys.count(); }
  HxAny objectForKey(const HxHandle&) const override { return "x"_hx; }
  HxEnumerator keyEnumerator() const override {
    class Keys final : public HxEnumeratorObject {
     public:
      explicit Keys(HxArray keys) : _keys(std::move(keys)) {}
      HxAny nextObject() override {
        return _next < _keys.count() ? _keys.objectAtIndex(_next++) : HxAny();
      }

     private:
      HxArray _keys;
      HxUInteger _next = 0;
    };
    return HxEnumerator(makeRef<Keys>(_keys));
  }

 private:
  HxArray _keys;
};

TEST(SimpleAssignments, EveryClassOfDictionaryIsWritten) {
  const FailureRecorder failures;
  const HxDictionary odd(makeRef<Odd>(HxArray::arrayWithObjects({"b"_hx, "a"_hx})));
  EXPECT_EQ(written(odd), "a = x\nb = x\n"_hx);
  EXPECT_TRUE(failures.messages().empty());
}

}  // namespace
}  // namespace rondel::test
